"""What a newcomer meets first: the public names of each module, a package folder without its
compiled extension, and the host's [] written as a Python []."""

import importlib
import os
import shutil
import subprocess
import sys

import numpy as np
import pytest

import vlmathdsp as vm

PUBLIC_MODULES = ["vlmathdsp", "vlmathdsp.scipy", "vlmathdsp.scipy.fft", "vlmathdsp.scipy.signal", "vlmathdsp.nn",
                  "vlmathdsp.dask"]


@pytest.mark.parametrize("name", PUBLIC_MODULES)
def test_public_modules_list_only_public_names(name):
    module = importlib.import_module(name)
    names = dir(module)
    assert names, name
    for n in names:
        assert not n.startswith("_"), (name, n)
        assert getattr(module, n) is not None, (name, n)
    subpackages = {"dask", "nn", "scipy", "fft", "signal"}
    assert set(names) - subpackages == set(module.__all__) - subpackages


def test_a_package_without_its_extension_says_how_to_build_it(tmp_path):
    shutil.copytree(os.path.dirname(vm.__file__), tmp_path / "vlmathdsp",
                    ignore=shutil.ignore_patterns("_vlmathdsp*.so", "__pycache__"))
    run = subprocess.run([sys.executable, "-c", "import vlmathdsp"], cwd=tmp_path, capture_output=True, text=True,
                         env={**os.environ, "PYTHONPATH": str(tmp_path)})
    assert run.returncode != 0
    last = run.stderr.strip().splitlines()[-1]
    assert last.startswith("ImportError: vlmathdsp: the compiled extension _vlmathdsp is missing"), last
    assert "bash scripts/setup.sh" in last and "pip install ." in last


def test_an_empty_list_is_the_hosts_empty_array():
    b, a, x = [0.5, 0.25], [1.0, -0.3], np.random.default_rng(0).standard_normal((6, 3))
    want = vm.filter(b, a, x, None, 2)
    assert np.array_equal(vm.filter(b, a, x, [], 2), want)
    y, zf = vm.filter(b, a, x, [], 1, nargout=2)
    assert np.array_equal(y, vm.filter(b, a, x, None, 1))
    assert np.array_equal(vm.fft(x, []), vm.fft(x))
    assert vm.fftn([]).shape == (0, 0)
    # Other empty shapes keep their rules: NumPy's empty vector is a 1-by-0 row.
    with pytest.raises(vm.Error):
        vm.filter(b, a, x, np.array([]), 2)
