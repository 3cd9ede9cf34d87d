#!/usr/bin/env bash
# Formats every C and C++ file of the project with .clang-format.
#   bash scripts/format.sh          rewrites the files in place
#   bash scripts/format.sh --check  changes nothing; fails and lists the files that differ
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh clang-format

mapfile -t files < <(git ls-files '*.c' '*.cpp' '*.h')
if [ "${1:-}" = "--check" ]; then
  differ=()
  for file in "${files[@]}"; do
    if ! clang-format "$file" | cmp -s - "$file"; then differ+=("$file"); fi
  done
  if [ "${#differ[@]}" -gt 0 ]; then
    echo "format: these files differ from .clang-format (run bash scripts/format.sh):" >&2
    printf '  %s\n' "${differ[@]}" >&2
    exit 1
  fi
  echo "format: ${#files[@]} files as .clang-format has them"
else
  clang-format -i "${files[@]}"
fi
