#!/usr/bin/env bash
# Set-up, build, then every benchmark against its peer, printed as ratios.
set -euo pipefail
cd "$(dirname "$0")/.."
VLMATHDSP_EXTRA_PACKAGES=python3-torch bash scripts/setup.sh
PYTHONPATH=build/python /usr/bin/python3 bench/run_all.py
