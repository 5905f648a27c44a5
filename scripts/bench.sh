#!/usr/bin/env bash
# Set-up, build, then every benchmark against its peer, printed as ratios and written to
# bench/results.json, from which the documentation draws its performance page.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
PYTHONPATH=build/python /usr/bin/python3 bench/run_all.py bench/results.json
# The headline kernels against this machine's peak and bandwidth.
PYTHONPATH=build/python /usr/bin/python3 bench/bench_roofline.py
# The host's loops at each instruction-set level, side by side.
build/bench/host_levels
