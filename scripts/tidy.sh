#!/usr/bin/env bash
# Runs the checks of .clang-tidy over the library and the tool, with the
# compile commands of the build in build/ (made by scripts/test.sh).
# Any finding fails.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh clang-tidy
if [ ! -f build/compile_commands.json ]; then
  cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
# One file per run: clang-tidy 14's va_list check carries state from one file
# of a run into the next, and then reports an uninitialized va_list in
# PDF_Message_Report that a run of that file alone does not.
git ls-files 'src/*.cpp' 'tool/*.cpp' | xargs -P"$(nproc)" -n1 clang-tidy -p build --quiet
echo "tidy: no findings"
