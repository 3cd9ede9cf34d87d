#!/usr/bin/env bash
# Builds the test suite with ThreadSanitizer in build-tsan/ and runs the test
# that calls both exported functions from eight threads at once.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DINVOICE_EXTRACT_TSAN=ON >/dev/null
cmake --build build-tsan -j"$(nproc)" --target invoice_extract_tests invoice_extract

export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$PWD/tests/tsan.supp"
cd build-tsan
ctest --output-on-failure -R '^Threads\.' --timeout 900
