#!/usr/bin/env bash
# Installs what is missing, builds the library and its command-line front end,
# and runs it on the bundled sample invoice: first the check, then the
# extraction of the invoice XML into out/.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target invoice_extract_cli

mkdir -p out
status=0
build/invoice_extract_cli samples/sample-invoice.pdf || status=$?
build/invoice_extract_cli samples/sample-invoice.pdf out/ZUGFeRD-invoice.xml || status=$?
exit $status
