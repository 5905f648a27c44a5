#!/usr/bin/env bash
# The C++ tests under the thread sanitizer: a build in build-tsan, then CTest with the
# suppressions of tests/tsan/suppressions.txt (each one explained there). Any report fails.
#   bash scripts/tsan.sh [CTEST ARGUMENTS...]     e.g. -R 'Concurrency|Interrupt|Calls'
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh > /dev/null
cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=Debug -DVLMATHDSP_SANITIZE=thread -DVLMATHDSP_ISA_VARIANTS=OFF > /dev/null
cmake --build build-tsan -j"$(nproc)" --target host_tests module_tests vlmathdsp > /dev/null
export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 suppressions=$PWD/tests/tsan/suppressions.txt"
cd build-tsan && ctest -j"$(nproc)" --output-on-failure -E 'exports_exactly|no_fused' "$@"
