#!/usr/bin/env bash
# Installs the Debian packages the project needs (those missing only) and builds it.
# VLMATHDSP_EXTRA_PACKAGES names more packages to install.
# Options: --sanitize builds with address and undefined-behaviour sanitizers into build-asan.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(g++ cmake make binutils libgtest-dev libtbb-dev libfftw3-dev libopenblas-dev libboost-dev
          libboost-thread-dev pkg-config pybind11-dev python3-dev python3-pip python3-venv python3-numpy python3-scipy python3-pytest
          python3-opencv python3-torch python3-dask python3-distributed ${VLMATHDSP_EXTRA_PACKAGES:-})
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

build_dir=build
cmake_args=(-DCMAKE_BUILD_TYPE=Release)
if [ "${1:-}" = "--sanitize" ]; then
  build_dir=build-asan
  cmake_args=(-DCMAKE_BUILD_TYPE=Debug -DVLMATHDSP_SANITIZE=address,undefined -DVLMATHDSP_ISA_VARIANTS=OFF)
fi
cmake -S . -B "$build_dir" "${cmake_args[@]}" > /dev/null
cmake --build "$build_dir" -j"$(nproc)"
