#!/usr/bin/env bash
# Coverage-guided fuzzing over the embedding API: one libFuzzer target per family of built-ins,
# under the address and undefined-behaviour sanitizers, grown from tests/fuzz/corpus.
#   bash scripts/libfuzzer.sh [SECONDS per family, default 60] [FAMILY ...]
# Families: conv fourier dcst filter statespace network. A finding ends its family's run and is
# kept in build-fuzz/findings/; replay it with VLFUZZ_SHOW=1 build-fuzz/fuzz/fuzz_FAMILY FILE.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
families=("${@:2}")
[ ${#families[@]} -eq 0 ] && families=(conv fourier dcst filter statespace network)
VLMATHDSP_EXTRA_PACKAGES="clang libclang-rt-dev" bash scripts/setup.sh > /dev/null
cmake -S . -B build-fuzz -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug -DVLMATHDSP_LIBFUZZER=ON \
  -DVLMATHDSP_SANITIZE=address,undefined -DVLMATHDSP_ISA_VARIANTS=OFF > /dev/null
cmake --build build-fuzz -j"$(nproc)" > /dev/null
mkdir -p build-fuzz/findings
status=0
for family in "${families[@]}"; do
  grown=build-fuzz/corpus/$family log=build-fuzz/fuzz_$family.log
  mkdir -p "$grown"
  # A request beyond 1 GiB answers null, which the host reports as out of memory: a case whose
  # result alone is gigabytes would otherwise spend the time limit, and the memory limit on the
  # copies the target keeps to compare, before its second run.
  ASAN_OPTIONS="detect_leaks=0:allocator_may_return_null=1:max_allocation_size_mb=1024" \
  UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" \
    "build-fuzz/fuzz/fuzz_$family" -max_total_time="$seconds" -timeout=60 -rss_limit_mb=8192 -max_len=65536 \
    -print_final_stats=1 -artifact_prefix="build-fuzz/findings/$family-" "$grown" "tests/fuzz/corpus/$family" \
    > "$log" 2>&1 || { echo "$family: FINDING, see $log and build-fuzz/findings/"; status=1; }
  runs=$(grep -a "stat::number_of_executed_units" "$log" | awk '{print $2}')
  echo "$family: ${runs:-?} cases in ${seconds} s, $(grep -a -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -1), corpus $(ls "$grown" | wc -l)"
done
exit $status
