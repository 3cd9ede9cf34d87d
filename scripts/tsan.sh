#!/usr/bin/env bash
# Builds the test suite with ThreadSanitizer in build-tsan/ and runs the test
# that calls both exported functions from eight threads at once.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DINVOICE_EXTRACT_TSAN=ON >/dev/null
cmake --build build-tsan -j"$(nproc)" --target invoice_extract_tests invoice_extract

# No suppressions: Exempi is not instrumented, and nothing of it is reported.
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
cd build-tsan
ctest --output-on-failure -R '^Threads\.' --timeout 900
