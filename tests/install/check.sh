#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds the getting-started page's C++ example
# (docs/getting_started/ltitr.cpp) against it with pkg-config and with find_package, and runs
# each from another directory.
#   bash tests/install/check.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/../.."
build=${1:-build}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$build" --prefix "$scratch/prefix" > /dev/null
cp docs/getting_started/ltitr.cpp "$scratch/ltitr.cpp"
expected=$'0 0\n1 0\n1.5 0\n1.75 0'
libdir=$(ls -d "$scratch"/prefix/lib*/pkgconfig | head -1)
# shellcheck disable=SC2046
g++ -std=c++17 "$scratch/ltitr.cpp" $(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs vlmathdsp) -o "$scratch/by_pkg_config"
cmake -S tests/install/consumer -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$scratch/prefix" \
  -DEXAMPLE_SOURCE="$scratch/ltitr.cpp" > /dev/null
cmake --build "$scratch/consumer" > /dev/null
for program in "$scratch/by_pkg_config" "$scratch/consumer/example"; do
  got=$(cd / && "$program")
  if [ "$got" != "$expected" ]; then
    echo "install check: $program printed:"; echo "$got"; exit 1
  fi
done
echo "install check: the getting-started example built with pkg-config and with find_package, and ran"
