"""The library's copies for newer instruction sets: the best one this processor runs is loaded by
default, one can be asked for, and every one gives the baseline's bits."""

import os
import subprocess
import sys

import vlmathdsp as vm

PACKAGE_PARENT = os.path.dirname(os.path.dirname(vm.__file__))
LEVELS = ["baseline", "x86-64-v3", "x86-64-v4"]

# Every kernel family on inputs that take their vector paths, hashed together.
PROBE = r"""
import hashlib, sys
import numpy as np
sys.path.insert(0, sys.argv[1])
import vlmathdsp as vm
rng = np.random.default_rng(0)
f = lambda *s: np.asfortranarray(rng.standard_normal(s))
img, vol = f(300, 257), f(40, 37, 33)
x4 = np.asfortranarray(f(20, 18, 8, 3).astype(np.float32))
w4 = np.asfortranarray(f(3, 3, 8, 6).astype(np.float32))
sig = f(5000, 6)
one, two = np.ones(4), np.array([2.0, 2.0])
results = [
    vm.conv2(img, f(7, 7), "same"), vm.conv2(img.astype(np.float32), f(5, 4).astype(np.float32)),
    vm.conv2(f(31), f(31), img, "same"), vm.convn(vol, f(5, 4, 3), "same"), vm.convn(f(10000), f(101)),
    vm.strided_convn(vol, f(3, 3, 3), 2), vm.conv_forward(x4, w4, one),
    vm.conv_backward(x4, vm.conv_forward(x4, w4, one), one, np.ones(2), np.array([3.0, 3.0])),
    vm.max_pool(x4, np.array([3.0, 3.0]), one, two), vm.avg_pool(x4, np.array([3.0, 3.0]), one, two),
    vm.window_norm(x4, 5, 1e-3, 0.75, 1.0), vm.filter(f(64).ravel(), 1.0, sig),
    vm.filter([0.2, 0.3, 0.1], [1.0, -0.5, 0.1], sig), vm.dct(sig), vm.fft(sig), vm.ifftn(vm.fftn(img)),
    vm.ltitr(np.eye(4) * 0.9, f(4, 2), f(500, 2)), vm.ltitr(f(64, 64) / 16, f(64, 4), f(300, 4)),
    # The host's loops: C-order inputs of 4, 8 and 16 bytes an element are transposed on entry,
    # integers converted, a complex result with zero imaginary parts made real.
    vm.conv2(np.ascontiguousarray(img), f(3, 3)), vm.fft(np.ascontiguousarray(img.astype(np.float32))),
    vm.fft(np.ascontiguousarray(img + 1j * img)), vm.filter([1.0, 2.0], 1.0, (sig * 1000).astype(np.int16)),
    vm.conv2(img + 0j, f(3, 3)),
    # The transform library's loops: the cosine passes both ways, the inverse's scaling, the
    # conjugate fill, single precision.
    vm.idct(sig), vm.idst(sig[:1000]), vm.dct(sig.astype(np.float32)), vm.ifft(vm.fft(sig)),
    vm.ifft(vm.fft(np.ascontiguousarray(sig.T)), 5000, 1), vm.fft(f(4096)),
]
digest = hashlib.sha256()
for r in results:
    digest.update(np.ascontiguousarray(r).tobytes())
print(vm.MODULE_PATH)
print(digest.hexdigest())
"""


def run(level):
    env = dict(os.environ)
    env.pop("VLMATHDSP_ISA", None)
    if level is not None:
        env["VLMATHDSP_ISA"] = level
    return subprocess.run([sys.executable, "-c", PROBE, PACKAGE_PARENT], env=env, capture_output=True, text=True,
                          timeout=300)


def test_every_copy_gives_the_baselines_bits_and_the_best_is_the_default():
    ran = {}
    for level in LEVELS:
        out = run(level)
        if out.returncode != 0:
            assert "VELTRA:isaUnavailable" in out.stderr, out.stderr
            assert level != "baseline"
            continue
        path, digest = out.stdout.split()
        assert os.path.basename(path) == ("libvlmathdsp.so" if level == "baseline" else f"libvlmathdsp-{level}.so")
        ran[level] = digest
    assert "baseline" in ran
    assert len(set(ran.values())) == 1, ran
    best = [level for level in LEVELS if level in ran][-1]
    default = run(None)
    assert default.returncode == 0, default.stderr
    assert default.stdout.split() == [run(best).stdout.split()[0], ran[best]]


def test_an_unknown_instruction_set_is_refused_by_name():
    out = run("x86-64-v9")
    assert out.returncode != 0 and "VELTRA:isaUnavailable" in out.stderr and "x86-64-v9" in out.stderr
