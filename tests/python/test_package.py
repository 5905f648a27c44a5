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


ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

# Frees a block of 256 MiB and tells whether the process gave its memory back, as glibc does by
# default; a process whose allocator keeps freed memory (as the benchmarks' mains set it) does not.
GIVES_BACK = """
import ctypes
libc = ctypes.CDLL("libc.so.6")
libc.malloc.restype = ctypes.c_void_p
def rss():
    return int(next(l for l in open("/proc/self/status") if l.startswith("VmRSS")).split()[1])
before = rss()
block = libc.malloc(256 << 20)
ctypes.memset(block, 1, 256 << 20)
libc.free(ctypes.c_void_p(block))
print("gives back" if rss() - before < 64 << 10 else "keeps")
"""


@pytest.mark.skipif("libasan" in os.environ.get("LD_PRELOAD", ""), reason="the sanitizer has its own allocator")
def test_importing_the_package_the_tour_or_the_harness_leaves_the_allocator_alone():
    env = {**os.environ, "PYTHONPATH": os.pathsep.join([os.path.dirname(os.path.dirname(vm.__file__)),
                                                         os.path.join(ROOT, "bench"), os.path.join(ROOT, "python")])}
    imports = "import vlmathdsp.nn, vlmathdsp.dask, vlmathdsp.scipy.signal, harness, tour, tour_workloads, tour_cluster"
    for code, want in [(imports, "gives back"), ("import harness; harness.keep_freed_memory()", "keeps")]:
        run = subprocess.run([sys.executable, "-c", code + "\n" + GIVES_BACK], capture_output=True, text=True, env=env)
        assert run.returncode == 0, run.stderr
        assert run.stdout.split("\n")[-2] == want, (code, run.stdout)


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
