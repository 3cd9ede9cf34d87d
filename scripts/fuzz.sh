#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer and
# UndefinedBehaviorSanitizer) in build-fuzz/, replays every committed seed and
# every past finding as a regression test, then fuzzes each target for a
# bounded time. Any crash, leak, sanitizer report or timeout fails.
#   bash scripts/fuzz.sh            replay, then about 30 s per target
#   FUZZ_SECONDS=1200 bash scripts/fuzz.sh target...   longer runs of some targets
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

bash scripts/setup.sh
bash scripts/setup.sh clang libclang-rt-14-dev

all_targets=(fuzz_flate fuzz_lzw fuzz_predictor fuzz_parser fuzz_text fuzz_xmp fuzz_xref fuzz_open)
if [ -f src/front/zugf_xml.h ]; then all_targets+=(fuzz_xml); fi
targets=("${@:-${all_targets[@]}}")
seconds=${FUZZ_SECONDS:-30}

CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DINVOICE_EXTRACT_FUZZ=ON \
  -DINVOICE_EXTRACT_TESTS=OFF >/dev/null
cmake --build build-fuzz -j"$(nproc)" --target "${targets[@]}"

# Longest input per target: small for the decoders, whole files for the rest.
max_len() {
  case "$1" in
    fuzz_open | fuzz_xref) echo 16384 ;;
    fuzz_xmp | fuzz_xml) echo 8192 ;;
    *) echo 4096 ;;
  esac
}
dictionary() {
  case "$1" in
    fuzz_parser | fuzz_xref | fuzz_open) echo "-dict=$root/fuzz/pdf.dict" ;;
  esac
}

export ASAN_OPTIONS="allocator_may_return_null=1:detect_leaks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
failed=0
passed=0
for target in "${targets[@]}"; do
  binary=build-fuzz/fuzz/$target
  inputs=()
  for folder in fuzz/seeds/$target fuzz/regressions/$target; do
    if [ -d "$folder" ] && [ -n "$(ls -A "$folder")" ]; then inputs+=("$folder"); fi
  done
  artifacts=build-fuzz/artifacts/$target
  corpus=build-fuzz/corpus/$target
  mkdir -p "$artifacts" "$corpus"
  log=build-fuzz/$target.log
  # Every committed seed and past finding, once each.
  if [ "${#inputs[@]}" -gt 0 ] && ! "$binary" -runs=0 -timeout=30 -rss_limit_mb=2048 \
      -artifact_prefix="$artifacts/" "${inputs[@]}" >"$log" 2>&1; then
    echo "fuzz: $target: a seed or regression input fails (see $log)"
    tail -n 40 "$log"
    failed=$((failed + 1))
    continue
  fi
  # Then a bounded run from the seeds; new inputs go to build-fuzz/corpus.
  if ! nice "$binary" "$corpus" "${inputs[@]}" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 \
      -max_len="$(max_len "$target")" $(dictionary "$target") -print_final_stats=1 \
      -artifact_prefix="$artifacts/" >>"$log" 2>&1; then
    echo "fuzz: $target: finding in $artifacts (see $log)"
    grep -a -A30 -E 'ERROR|SUMMARY' "$log" | head -n 60
    failed=$((failed + 1))
    continue
  fi
  runs=$(grep -a 'stat::number_of_executed_units' "$log" | tail -n 1 | awk '{print $2}')
  coverage=$(grep -a -E '^#[0-9]+.*cov:' "$log" | tail -n 1 | sed -E 's/.*(cov: [0-9]+ ft: [0-9]+).*/\1/')
  echo "fuzz: $target: ${runs:-?} runs, ${coverage:-no coverage line}"
  passed=$((passed + 1))
done
echo "fuzz: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
