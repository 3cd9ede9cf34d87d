#!/usr/bin/env bash
# The Python and Node packages over the installed library (run by
# scripts/test.sh after the suite; bash scripts/bindings_check.sh [BUILD]):
#  1. installs BUILD (default build/) into a temporary prefix;
#  2. runs the Python package's tests with Debian's python3 and pytest against
#     the module that install put there, and the Dask batch example on a
#     two-worker local cluster against the tool's verdicts;
#  3. installs the Python package with Debian's pip (offline, no build
#     isolation) into a folder of its own and checks the bundled sample with it;
#  4. packs the Node package with npm pack, installs the tarball offline into
#     an empty project (node-gyp against this Node.js's own headers and the
#     library found by pkg-config), and runs the Node tests against it.
# Nothing is installed on the machine itself.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}

fail() {
  echo "bindings check: FAILED: $*" >&2
  exit 1
}
command -v node >/dev/null && command -v npm >/dev/null ||
  fail "node and npm (Node.js 18 or later, with its headers) are needed for the Node package"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
started=$SECONDS
step() { echo "bindings check: $* ($((SECONDS - started)) s)"; }

# --- 1. the library in a temporary prefix -----------------------------------------
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:PATH=//p' "$build/CMakeCache.txt")
module=$(find "$prefix" -path '*/invoice_extract/__init__.py')
[ -n "$module" ] || fail "cmake --install put no Python module under $prefix"
export PATH="$prefix/bin:$PATH"
step "installed into a temporary prefix"

# --- 2. Python tests and the Dask batch -------------------------------------------
# The module loads the library installed beside it: no INVOICE_EXTRACT_LIBRARY,
# no LD_LIBRARY_PATH.
PYTHONPATH=$(dirname "$(dirname "$module")") PYTHONDONTWRITEBYTECODE=1 \
  /usr/bin/python3 -m pytest -q -p no:cacheprovider bindings/python/tests examples/dask/test_batch.py
step "Python tests and the Dask batch passed"

# --- 3. pip install, offline ------------------------------------------------------
cp -r bindings/python "$work/python-source"
/usr/bin/python3 -m pip install --quiet --no-build-isolation --no-index --no-deps --disable-pip-version-check \
  --no-cache-dir --root-user-action=ignore --target "$work/pip" "$work/python-source"
result=$(PYTHONPATH=$work/pip LD_LIBRARY_PATH=$prefix/$libdir /usr/bin/python3 -c \
  'import invoice_extract, sys; print(invoice_extract.check(sys.argv[1]).name, invoice_extract.__file__)' \
  samples/sample-invoice.pdf)
[[ "$result" == "INVOICE $work/pip/"* ]] || fail "the module installed by pip gives: $result"
step "pip install works"

# --- 4. the Node package: pack, install offline, test -------------------------------
mkdir "$work/node-source" "$work/app"
cp -r bindings/node/package.json bindings/node/package-lock.json bindings/node/index.js bindings/node/index.d.ts \
  bindings/node/binding.gyp bindings/node/README.md bindings/node/src bindings/node/scripts "$work/node-source/"
# node-addon-api (headers only) from npm's cache, or the registry the first time.
(cd "$work/node-source" && npm ci --ignore-scripts --prefer-offline --no-audit --no-fund --loglevel=error >/dev/null)
tarball=$(cd "$work/node-source" && npm pack --silent --pack-destination "$work")
listing=$(tar -tzf "$work/$tarball")
[[ "$listing" == *package/node_modules/node-addon-api/napi.h* ]] || fail "$tarball does not bundle node-addon-api"
step "packed $tarball"
(cd "$work/app" && echo '{"name":"app","private":true}' >package.json &&
  PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig npm install --offline --no-audit --no-fund --loglevel=error \
    "$work/$tarball" >"$work/npm-install.log" 2>&1) || {
  cat "$work/npm-install.log" >&2
  fail "the tarball does not install offline"
}
step "installed $tarball offline"
INVOICE_EXTRACT_NODE_PACKAGE=$work/app/node_modules/invoice-extract node --test --test-reporter=spec bindings/node/test/
step "Node tests passed"
