#!/usr/bin/env bash
# Fuzzes every built-in with random argument lists. Set-up and build first.
#   bash scripts/fuzz.sh [--sanitize] [--cases N] [--seed S] [--timeout SECONDS]
# With --sanitize the workers load the address- and undefined-behaviour-instrumented build.
set -euo pipefail
cd "$(dirname "$0")/.."
build=(); package=build/python
if [ "${1:-}" = "--sanitize" ]; then
  shift; build=(--sanitize); package=build-asan/python
fi
bash scripts/setup.sh "${build[@]}"
source scripts/sanitizer_env.sh
run=(/usr/bin/python3 tests/fuzz/fuzz.py --package "$package" "$@")
if [ "$package" = build-asan/python ]; then sanitized "${run[@]}"; else "${run[@]}"; fi
