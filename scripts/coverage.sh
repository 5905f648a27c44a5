#!/usr/bin/env bash
# Line coverage per folder under the tests and the fuzzers: a build with gcov's counters in
# build-cov, then CTest, pytest and both fuzz modes on it, then gcovr's report per folder.
#   bash scripts/coverage.sh [--cases N]    (fuzz cases per mode, default 5000)
set -euo pipefail
cd "$(dirname "$0")/.."
cases=5000
if [ "${1:-}" = "--cases" ]; then cases=$2; fi
VLMATHDSP_EXTRA_PACKAGES="gcovr" bash scripts/setup.sh > /dev/null
cmake -S . -B build-cov -DCMAKE_BUILD_TYPE=Debug -DVLMATHDSP_COVERAGE=ON -DVLMATHDSP_ISA_VARIANTS=OFF > /dev/null
cmake --build build-cov -j"$(nproc)"
find build-cov -name '*.gcda' -delete
# Each run counts lines whatever its verdict; a failure is said, not hidden.
counted() { "$@" > /dev/null 2>&1 || echo "coverage: '$*' failed (its lines are counted all the same)"; }
counted bash -c "cd build-cov && ctest -j$(nproc)"
VLMATHDSP_PACKAGE_PATH="$PWD/build-cov/python" counted /usr/bin/python3 -m pytest -q tests/python
counted /usr/bin/python3 tests/fuzz/fuzz.py --package build-cov/python --cases "$cases" --seed 11
counted /usr/bin/python3 tests/fuzz/fuzz.py --package build-cov/python --structured --cases "$cases" --seed 12
report=build-cov/coverage.txt
for folder in module common conv network fourier dcst filter statespace fftlib host python; do
  line=$(gcovr -r . --object-directory build-cov --filter "$folder/" --gcov-ignore-parse-errors --txt - 2>/dev/null | grep "^TOTAL" || true)
  printf '%-12s %s\n' "$folder" "${line#TOTAL}"
done | tee "$report"
echo "per folder: lines, lines run, share; per file: gcovr -r . --object-directory build-cov --filter FOLDER/"
