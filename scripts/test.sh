#!/usr/bin/env bash
# Set-up, build, then every test: C++ under CTest, Python under pytest.
# With --sanitize the C++ tests run in the sanitizer build.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh "$@"
build_dir=build
[ "${1:-}" = "--sanitize" ] && build_dir=build-asan
(cd "$build_dir" && ctest -j"$(nproc)" --output-on-failure)
if [ "$build_dir" = build ]; then
  VLMATHDSP_PACKAGE_PATH="$PWD/build/python" /usr/bin/python3 -m pytest -q tests/python
fi
