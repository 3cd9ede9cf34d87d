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
git ls-files 'src/*.cpp' 'tool/*.cpp' | xargs -P"$(nproc)" -n4 clang-tidy -p build --quiet
echo "tidy: no findings"
