#!/usr/bin/env bash
# Set-up, build, then the tour of the library on realistic workloads.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
PYTHONPATH=build/python /usr/bin/python3 python/tour.py
