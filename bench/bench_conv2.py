"""conv2 against OpenCV, SciPy and NumPy: dense and separable image filters, a long signal,
and a sparse kernel against the dense path."""

import cv2
import numpy as np
from scipy import ndimage, signal

from harness import Report, keep_freed_memory, median_times

import vlmathdsp as vm

N = 2048


def image(dtype, seed=0):
    rng = np.random.default_rng(seed)
    f = np.asfortranarray(rng.standard_normal((N, N)).astype(dtype))
    return f, np.ascontiguousarray(f)


def dense(report, dtype, size=7, goal=1.0):
    f, c = image(dtype)
    k = np.random.default_rng(1).standard_normal((size, size)).astype(dtype)
    flipped = np.ascontiguousarray(k[::-1, ::-1])
    ours = lambda: vm.conv2(f, k, "same")
    ocv = lambda: cv2.filter2D(c, -1, flipped, borderType=cv2.BORDER_CONSTANT)
    scipy_ = lambda: ndimage.convolve(c, k, mode="constant")
    t = median_times([ours, ocv, scipy_])
    diff = np.max(np.abs(ours() - ocv())) / np.max(np.abs(ocv()))
    name = f"{N}x{N} {np.dtype(dtype).name}, {size}x{size} 'same'"
    report.add(name, t[0], "cv2.filter2D", t[1], goal=goal, note=f"max rel diff {diff:.1e}")
    report.add(name, t[0], "ndimage.convolve", t[2], goal=1.0)
    return min(t[1], t[2]) / t[0] >= goal


def separable(report):
    f, c = image(np.float64)
    g = signal.windows.gaussian(31, 5.0)
    g /= g.sum()
    ours = lambda: vm.conv2(g, g, f, "same")
    ocv = lambda: cv2.sepFilter2D(c, -1, g, g, borderType=cv2.BORDER_CONSTANT)
    scipy_ = lambda: ndimage.convolve1d(ndimage.convolve1d(c, g, axis=0, mode="constant"), g, axis=1, mode="constant")
    t = median_times([ours, ocv, scipy_])
    diff = np.max(np.abs(ours() - ocv()))
    name = f"{N}x{N} double, separable 31-tap Gaussian"
    report.add(name, t[0], "cv2.sepFilter2D", t[1], goal=1.0, note=f"max abs diff {diff:.1e}")
    report.add(name, t[0], "ndimage.convolve1d x2", t[2], goal=1.0)
    return t[0] <= min(t[1], t[2])


def one_dimensional(report):
    rng = np.random.default_rng(2)
    x, h = rng.standard_normal(10**6), rng.standard_normal(101)
    ours = lambda: vm.conv2(x, h)
    t = median_times([ours, lambda: np.convolve(x, h), lambda: signal.oaconvolve(x, h)])
    diff = np.max(np.abs(ours() - np.convolve(x, h)))
    name = "10^6 samples * 101 taps, double"
    report.add(name, t[0], "numpy.convolve", t[1], goal=1.5, note=f"max abs diff {diff:.1e}")
    report.add(name, t[0], "signal.oaconvolve", t[2], goal=1.5)
    return min(t[1], t[2]) / t[0] >= 1.5


def sparse_kernel(report):
    f, _ = image(np.float64)
    rng = np.random.default_rng(3)
    k = rng.standard_normal((15, 15)) * (rng.random((15, 15)) < 0.1)
    full = np.where(k == 0, 1e-300, k)  # the same taps, none zero: the dense path
    t = median_times([lambda: vm.conv2(f, k, "same"), lambda: vm.conv2(f, full, "same")])
    report.add(f"{N}x{N} double, 15x15 kernel {np.count_nonzero(k)} non-zeros", t[0], "our dense path", t[1])


def run(report):
    met = [dense(report, np.float64), dense(report, np.float32), dense(report, np.float32, 3, 1.2),
           separable(report), one_dimensional(report)]
    sparse_kernel(report)
    return met


if __name__ == "__main__":
    keep_freed_memory()
    report = Report("conv2")
    report.header()
    run(report)
