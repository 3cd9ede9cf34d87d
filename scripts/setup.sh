#!/usr/bin/env bash
# Installs the Debian packages that building and testing need, skipping what
# is already present. Runs without a terminal (CI has no standard input).
set -euo pipefail

# dpkg-dev (dpkg-shlibdeps) and file: cpack -G DEB finds the Debian package's
# runtime dependencies with them (scripts/consumer_check.sh builds it).
# python3-minimal: the layer check (scripts/check_layers.py).
# nlohmann-json3-dev: the tests read the tool's JSON lines with it.
# python3-pytest, python3-dask, python3-distributed, python3-pip,
# python3-setuptools, python3-wheel: the Python package's tests, the Dask batch
# example and the offline pip install (scripts/bindings_check.sh). The Node
# package uses the machine's Node.js and npm (see README, Dependencies).
# libmicrohttpd-dev: the HTTP server of invoice-extract serve; libcpp-httplib-dev:
# the compiled HTTP client of its benchmark (bench/serve_bench).
# chromium, chromium-driver, python3-selenium: the test of its web page in a real browser.
packages=(g++ cmake make pkg-config zlib1g-dev libexempi-dev libexpat1-dev nettle-dev libgtest-dev
  nlohmann-json3-dev dpkg-dev file python3-minimal python3-pytest python3-dask python3-distributed python3-pip
  python3-setuptools python3-wheel libmicrohttpd-dev libcpp-httplib-dev chromium chromium-driver python3-selenium)
# Other scripts name the tools of their own that they need instead:
#   bash scripts/setup.sh clang-format
if [ "$#" -gt 0 ]; then packages=("$@"); fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ "${#missing[@]}" -eq 0 ]; then
  exit 0
fi

echo "setup: installing ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}" </dev/null
