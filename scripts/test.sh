#!/usr/bin/env bash
# Set-up, build, then what a newcomer does (the tour, pip install . from a pristine copy) and every
# test: C++ under CTest, Python under pytest, the documentation site, a short fuzz run; then the same three again in the
# address- and undefined-behaviour-sanitizer build, a short coverage-guided fuzz run and the C++
# tests under the thread sanitizer.
#   bash scripts/test.sh                 # everything (CI)
#   bash scripts/test.sh --no-sanitize   # the release build only
#   bash scripts/test.sh --sanitize      # the sanitizer build only
set -euo pipefail
cd "$(dirname "$0")/.."
mode=${1:-all}
source scripts/sanitizer_env.sh

step() { echo; echo "== $1 ($(date +%T))"; }

if [ "$mode" != --sanitize ]; then
  step "release build"
  bash scripts/setup.sh
  step "the README's first command, the tour, as a newcomer runs it (15 minutes at most)"
  timeout --kill-after=30 900 bash scripts/tour.sh
  step "C++ tests"
  (cd build && ctest -j"$(nproc)" --output-on-failure)
  step "install, and the getting-started C++ example against the installed package"
  bash tests/install/check.sh build
  step "pip install . into a virtual environment, offline, from a pristine copy of the source (no build folder)"
  timeout --kill-after=30 1200 bash tests/install/pip_check.sh
  step "Python tests"
  VLMATHDSP_PACKAGE_PATH="$PWD/build/python" /usr/bin/python3 -m pytest -q tests/python
  step "SciPy's own scipy.fft tests, with vlmathdsp.scipy.fft as the only global backend"
  scipy_tests=$(/usr/bin/python3 -c "import os, scipy; print(os.path.dirname(scipy.__file__))")
  (cd /tmp && PYTHONPATH="$OLDPWD/build/python:$OLDPWD/tests/scipy_suite" \
    /usr/bin/python3 -m pytest -q -p backend_plugin -p no:cacheprovider "$scipy_tests/fft/tests")
  step "SciPy's own tests of scipy.signal and scipy.ndimage, with vlmathdsp.scipy.patch() in place"
  (cd /tmp && PYTHONPATH="$OLDPWD/build/python:$OLDPWD/tests/scipy_suite" \
    /usr/bin/python3 -m pytest -q -p faces_plugin -p no:cacheprovider \
    "$scipy_tests/signal/tests/test_signaltools.py" "$scipy_tests/signal/tests/test_dltisys.py" \
    "$scipy_tests/signal/tests/test_spectral.py" "$scipy_tests/signal/tests/test_upfirdn.py" \
    "$scipy_tests/ndimage/tests/test_filters.py")
  step "the documentation site, every warning an error, and its pages in headless Chromium"
  bash scripts/docs.sh
  step "fuzz"
  /usr/bin/python3 tests/fuzz/fuzz.py --package build/python --cases 20000 --seed 1
  step "fuzz, structured: argument lists valid for their built-in or one mutation away"
  /usr/bin/python3 tests/fuzz/fuzz.py --package build/python --structured --cases 20000 --seed 3
fi
if [ "$mode" != --no-sanitize ]; then
  step "sanitizer build"
  bash scripts/setup.sh --sanitize
  step "C++ tests, sanitized"
  (cd build-asan && ctest -j"$(nproc)" --output-on-failure)
  step "Python tests, sanitized"
  VLMATHDSP_PACKAGE_PATH="$PWD/build-asan/python" sanitized /usr/bin/python3 -m pytest -q -p no:cacheprovider --capture=sys tests/python
  step "fuzz, sanitized"
  sanitized /usr/bin/python3 tests/fuzz/fuzz.py --package build-asan/python --cases 20000 --seed 2
  step "fuzz, structured, sanitized"
  sanitized /usr/bin/python3 tests/fuzz/fuzz.py --package build-asan/python --structured --cases 20000 --seed 4
  step "coverage-guided fuzz over the embedding API (clang, sanitized), 20 s per family"
  bash scripts/libfuzzer.sh 20
  step "C++ tests under the thread sanitizer, the concurrency tests among them"
  bash scripts/tsan.sh
fi
step "done"
