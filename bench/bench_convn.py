"""convn against SciPy: a 128^3 volume with a dense 5x5x5 kernel and a sparse 9x9x9 one."""

import os

import numpy as np
from scipy import ndimage, signal

from harness import Report, keep_freed_memory, median_times

import vlmathdsp as vm

N = 128


def volume():
    return np.asfortranarray(np.random.default_rng(0).standard_normal((N, N, N)))


def same(full, a_shape, b_shape):
    return full[tuple(slice(b // 2, b // 2 + a) for a, b in zip(a_shape, b_shape))]


def dense(report):
    A = volume()
    B = np.random.default_rng(1).standard_normal((5, 5, 5))
    C = np.ascontiguousarray(A)
    ours = lambda: vm.convn(A, B, "same")
    direct = lambda: signal.convolve(C, B, mode="same", method="direct")
    fft = lambda: signal.convolve(C, B, mode="same", method="fft")
    nd = lambda: ndimage.convolve(C, B, mode="constant")
    t = median_times([ours, direct, fft, nd], repeats=3)
    ref = same(signal.convolve(C, B, method="fft"), A.shape, B.shape)
    diff = np.max(np.abs(ours() - ref)) / np.max(np.abs(ref))
    name = f"convn {N}^3 * 5^3 'same', double"
    report.add(name, t[0], "signal.convolve direct", t[1], 1.0, f"max rel diff {diff:.1e}")
    report.add(name, t[0], "signal.convolve fft", t[2], 1.0)
    report.add(name, t[0], "ndimage.convolve", t[3], 1.0)


def sparse(report):
    A = volume()
    rng = np.random.default_rng(2)
    B = rng.standard_normal((9, 9, 9)) * (rng.random((9, 9, 9)) < 0.05)
    dense_b = np.where(B == 0, 1e-300, B)  # the same taps, none zero: the dense walk
    C = np.ascontiguousarray(A)
    t = median_times([lambda: vm.convn(A, B, "same"), lambda: vm.convn(A, dense_b, "same"),
                      lambda: signal.convolve(C, B, mode="same", method="fft")], repeats=3)
    name = f"convn {N}^3 * 9^3 with {np.count_nonzero(B)} non-zeros"
    report.add(name, t[0], "our dense walk", t[1])
    report.add(name, t[0], "signal.convolve fft", t[2])


def run(report):
    dense(report)
    sparse(report)


if __name__ == "__main__":
    keep_freed_memory()
    report = Report(f"convn ({os.cpu_count()} cores)")
    report.header()
    run(report)
