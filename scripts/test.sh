#!/usr/bin/env bash
# Installs what is missing, configures, builds and runs every test.
#   bash scripts/test.sh            the ordinary build, in build/, then the Python and
#                                   Node packages over it (scripts/bindings_check.sh)
#   bash scripts/test.sh --sanitize AddressSanitizer and UndefinedBehaviorSanitizer, in build-sanitize/
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

# CI sets INVOICE_EXTRACT_WERROR=ON, so that a new warning fails the run.
werror=-DINVOICE_EXTRACT_WERROR=${INVOICE_EXTRACT_WERROR:-OFF}
build=build
options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo "$werror")
if [ "${1:-}" = "--sanitize" ]; then
  build=build-sanitize
  options=(-DCMAKE_BUILD_TYPE=Debug -DINVOICE_EXTRACT_SANITIZE=ON "$werror")
  export ASAN_OPTIONS="allocator_may_return_null=1:detect_leaks=1:abort_on_error=1:strict_string_checks=1:detect_stack_use_after_return=1"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
  export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0"
fi

cmake -S . -B "$build" "${options[@]}"
cmake --build "$build" -j"$(nproc)"

# The shared library must export the entry points and nothing else: the two
# path calls under the symbol version INVOICE_EXTRACT_1.0, the buffer calls and
# ZUGF_Free under INVOICE_EXTRACT_1.1 (nm lists each node name as an absolute
# symbol of its own), and carry the SONAME of major version 1.
exports=$(nm -D --defined-only --with-symbol-versions "$build/libinvoice_extract.so" | awk '{print $3}' | LC_ALL=C sort |
  tr '\n' ' ')
expected="INVOICE_EXTRACT_1.0 INVOICE_EXTRACT_1.1 ZUGF_Check_Zugferd@@INVOICE_EXTRACT_1.0 \
ZUGF_Check_Zugferd_Buffer@@INVOICE_EXTRACT_1.1 ZUGF_Extract_Zugferd@@INVOICE_EXTRACT_1.0 \
ZUGF_Extract_Zugferd_Buffer@@INVOICE_EXTRACT_1.1 ZUGF_Free@@INVOICE_EXTRACT_1.1 "
if [ "$exports" != "$expected" ]; then
  echo "unexpected exports: $exports" >&2
  exit 1
fi
dynamic=$(readelf -d "$build/libinvoice_extract.so")
if [[ "$dynamic" != *"Library soname: [libinvoice_extract.so.1]"* ]]; then
  echo "libinvoice_extract.so has no SONAME libinvoice_extract.so.1" >&2
  exit 1
fi

(cd "$build" && ctest --output-on-failure -j"$(nproc)" --timeout 600)

# The Python and Node packages and the Dask batch, over the library installed
# into a temporary prefix. Not under the sanitizers: the interpreters would
# have to preload their runtimes.
if [ "$build" = build ]; then
  bash scripts/bindings_check.sh "$build"
fi
