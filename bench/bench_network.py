"""conv_forward against torch.nn.functional.conv2d: a layer of batch 32, 64 channels, 56x56,
64 filters 3x3, padding 1, at stride 1 and 2, in single and double. Our GFLOP/s is printed with
its share of this machine's sgemm peak, measured here on a large square product."""

import os
import time

import numpy as np
import torch

from harness import Report, median_times

import vlmathdsp as vm

N, C, H, W, F, K = 32, 64, 56, 56, 64, 3


def sgemm_peak():
    """GFLOP/s of the best of several 2048^3 single products through NumPy's BLAS."""
    a = np.random.default_rng(0).standard_normal((2048, 2048)).astype(np.float32)
    a @ a
    best = min(_timed(lambda: a @ a) for _ in range(5))
    return 2 * 2048 ** 3 / best / 1e9


def _timed(fn):
    start = time.perf_counter()
    fn()
    return time.perf_counter() - start


def run(report):
    threads = os.cpu_count()
    torch.set_num_threads(threads)
    peak = sgemm_peak()
    rng = np.random.default_rng(0)
    for dtype, stride in ((np.float32, 1), (np.float32, 2), (np.float64, 1)):
        x = rng.standard_normal((N, C, H, W)).astype(dtype)
        w = rng.standard_normal((F, C, K, K)).astype(dtype)
        ours_x, ours_w = np.asfortranarray(x.transpose(2, 3, 1, 0)), np.asfortranarray(w.transpose(2, 3, 1, 0))
        tx, tw = torch.from_numpy(x), torch.from_numpy(w)
        pad, s = np.ones(4), np.array([stride, stride], float)
        ours = lambda: vm.conv_forward(ours_x, ours_w, pad, s)
        tor = lambda: torch.nn.functional.conv2d(tx, tw, stride=stride, padding=1)
        with torch.no_grad():
            t = median_times([ours, tor], repeats=9)
            ref = tor().numpy()
        got = ours().transpose(3, 2, 0, 1)
        diff = np.max(np.abs(got - ref)) / np.max(np.abs(ref))
        o = (H - 1) // stride + 1
        gflops = 2 * N * F * o * o * C * K * K / t[0] / 1e9
        note = f"{gflops:.0f} GFLOP/s"
        if dtype == np.float32:
            note += f" = {100 * gflops / peak:.0f} % of sgemm peak {peak:.0f}"
        name = f"conv forward {N}x{C}x{H}x{W} * {F}x{K}x{K}, s{stride}, {np.dtype(dtype).name}"
        report.add(name, t[0], "torch conv2d", t[1], 1.0 if dtype == np.float32 else None,
                   f"{note}; max rel diff {diff:.1e}")


if __name__ == "__main__":
    report = Report(f"network convolution ({os.cpu_count()} cores)")
    report.header()
    run(report)
