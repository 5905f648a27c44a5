#!/usr/bin/env bash
# pip install . with no package index into a virtual environment that sees Debian's NumPy and
# SciPy, then the installed package from another directory.
#   bash tests/install/pip_check.sh              # from a pristine copy of the tracked files (no build folder)
#   bash tests/install/pip_check.sh build-dir    # from this tree, reusing that build folder
set -euo pipefail
cd "$(dirname "$0")/../.."
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
/usr/bin/python3 -m venv --system-site-packages "$scratch/venv"
source=$PWD
if [ -n "${1:-}" ]; then
  export VLMATHDSP_BUILD_DIR="$PWD/$1"
else
  # What a fresh clone holds: the tracked files as they stand in the work tree, nothing built.
  source=$scratch/source
  mkdir "$source"
  git ls-files -z | xargs -0 cp --parents -t "$source"
  unset VLMATHDSP_BUILD_DIR
fi
"$scratch/venv/bin/pip" install --no-index --quiet "$source"
cd /
"$scratch/venv/bin/python" - "$scratch" <<'PY'
import sys
import numpy as np
import vlmathdsp as vm
import vlmathdsp.scipy.fft as fft
import vlmathdsp.scipy.signal as signal
import dask.array as da
import vlmathdsp.dask as vd
assert vm.__file__.startswith(sys.argv[1] + "/venv"), vm.__file__
np.testing.assert_allclose(signal.convolve([1.0, 2.0], [1.0, 1.0]), [1.0, 3.0, 2.0])
np.testing.assert_allclose(vd.conv2(da.ones((4, 4), chunks=2), np.ones((1, 2)), "valid").compute(scheduler="sync"),
                           2 * np.ones((4, 3)))
np.testing.assert_allclose(fft.irfft(fft.rfft(np.arange(6.0))), np.arange(6.0), atol=1e-12)
np.testing.assert_allclose(vm.conv2(np.eye(3), np.ones((2, 2))), [[1, 1, 0, 0], [1, 2, 1, 0], [0, 1, 2, 1], [0, 0, 1, 1]])
print(f"pip check: vlmathdsp {vm.__version__} installed and working in {sys.prefix}")
PY
