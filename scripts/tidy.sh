#!/usr/bin/env bash
# Runs the checks of .clang-tidy over the library and the tool, with the
# compile commands of the build in build/ (made by scripts/test.sh).
# Any finding fails.
set -euo pipefail
cd "$(dirname "$0")/.."

if ! command -v clang-tidy >/dev/null 2>&1; then
  echo "tidy: installing clang-tidy"
  sudo=""
  if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -q
  $sudo apt-get install -y -q --no-install-recommends clang-tidy </dev/null
fi
if [ ! -f build/compile_commands.json ]; then
  cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
git ls-files 'src/*.cpp' 'tool/*.cpp' | xargs -P"$(nproc)" -n4 clang-tidy -p build --quiet
echo "tidy: no findings"
