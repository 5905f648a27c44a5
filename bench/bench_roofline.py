"""The headline kernels against this machine's limits. bench/roofline_probe (built with the
library) measures the two-rounding peak (register-only multiply and add streams, double and
single, every core) and the memory bandwidth (a streaming copy and a streaming read); each kernel
is then timed at every core and at one thread, and printed with its GFLOP/s, its GB/s, the share
of each limit it reaches, the limit that binds it and the share of that roof it reaches, and its
parallel efficiency (1-thread time / (cores x all-core time)). The roof is the lower of the peak
and the bandwidth times the kernel's flops per byte: memory binds a kernel whose flops per byte
are too few to reach the peak at full bandwidth.

Flops count each multiply and each add; the transforms use 5 n log2 n per complex transform of
length n (2.5 n log2 n real). Bytes are the least traffic: every input read once, every output
written once."""

import math
import os
import subprocess
import sys

import numpy as np

from harness import keep_freed_memory, median_times

import vlmathdsp as vm

PROBE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "build", "bench", "roofline_probe")


def limits():
    out = subprocess.run([os.environ.get("VLMATHDSP_ROOFLINE_PROBE", PROBE)], check=True, capture_output=True,
                         text=True).stdout
    return {key: float(value) for key, value in (line.split() for line in out.splitlines())}


def kernels():
    """(name, call, flops, bytes, precision)"""
    rng = np.random.default_rng(0)
    N = 2048
    image = np.asfortranarray(rng.standard_normal((N, N)))
    single = np.asfortranarray(image.astype(np.float32))
    k7 = rng.standard_normal((7, 7))
    g = np.exp(-np.arange(-15, 16) ** 2 / 50.0)
    volume, cube = np.asfortranarray(rng.standard_normal((128, 128, 128))), rng.standard_normal((5, 5, 5))
    strided_out = ((N - 7) // 2 + 1) ** 2
    rows = np.asfortranarray(rng.standard_normal((10 ** 6, 8)))
    h64 = rng.standard_normal(64)
    b4, a4 = [0.1, 0.2, 0.3, 0.2, 0.1], [1.0, -0.5, 0.3, -0.1, 0.05]
    A = np.linalg.qr(rng.standard_normal((64, 64)))[0] * 0.9
    B, U = rng.standard_normal((64, 4)), rng.standard_normal((20000, 4))
    c20 = rng.standard_normal(2 ** 20) + 1j * rng.standard_normal(2 ** 20)
    cols = np.asfortranarray(rng.standard_normal((1000, 1000)))
    layer = np.asfortranarray(rng.standard_normal((112, 112, 64, 32)).astype(np.float32))
    pool_out = 56 * 56 * 64 * 32
    lrn = np.asfortranarray(rng.standard_normal((56, 56, 64, 32)).astype(np.float32))
    return [
        ("conv2 2048^2 by 7x7 'same', double", lambda: vm.conv2(image, k7, "same"), 2 * 49 * N * N, 2 * 8 * N * N, "double"),
        ("conv2 2048^2 by 7x7 'same', single", lambda: vm.conv2(single, k7.astype(np.float32), "same"),
         2 * 49 * N * N, 2 * 4 * N * N, "single"),
        ("conv2 separable 31 + 31 taps, double", lambda: vm.conv2(g, g, image, "same"), 2 * 2 * 31 * N * N,
         2 * 8 * N * N, "double"),
        ("convn 128^3 by 5^3 'same', double", lambda: vm.convn(volume, cube, "same"), 2 * 125 * 128 ** 3,
         2 * 8 * 128 ** 3, "double"),
        ("strided correlation 2048^2 by 7x7, stride 2", lambda: vm.strided_convn(image, k7, [2, 2], [7, 7], [N, N], "corr"),
         2 * 49 * strided_out, 8 * (N * N + strided_out), "double"),
        ("FIR 64 taps, 10^6 x 8, double", lambda: vm.filter(h64, 1.0, rows), 2 * 64 * rows.size, 2 * 8 * rows.size,
         "double"),
        ("IIR order 4, 10^6 x 8, double", lambda: vm.filter(b4, a4, rows), 18 * rows.size, 2 * 8 * rows.size, "double"),
        ("ltitr 64 states, 4 inputs, 20000 steps", lambda: vm.ltitr(A, B, U), 2 * 64 * 68 * 20000,
         8 * (U.size + 64 * 20000), "double"),
        ("fft complex 2^20, double", lambda: vm.fft(c20), 5 * 2 ** 20 * 20, 2 * 16 * 2 ** 20, "double"),
        ("fft real 1000 x 1000 columns, double", lambda: vm.fft(cols), 2.5 * 1000 * math.log2(1000) * 1000,
         8 * 10 ** 6 + 16 * 10 ** 6, "double"),
        ("dct 1000 x 1000 columns, double", lambda: vm.dct(cols), 2.5 * 1000 * math.log2(1000) * 1000,
         2 * 8 * 10 ** 6, "double"),
        ("max pooling 3x3 s2 p1, 32x64x112x112 single", lambda: vm.max_pool(layer, np.array([3.0, 3]), np.ones(4),
                                                                            np.array([2.0, 2])),
         9 * pool_out, 4 * (layer.size + pool_out), "single"),
        ("window normalisation n=5, 32x64x56x56 single", lambda: vm.window_norm(lrn, 5, 1e-4, 0.75, 2.0),
         14 * lrn.size, 2 * 4 * lrn.size, "single"),
    ]


def main():
    keep_freed_memory()
    lim = limits()
    cores = int(lim["cores"])
    bandwidth = max(lim["copy"], lim["read"])
    print(f"== roofline: peak {lim['peak_double']:.0f} GFLOP/s double, {lim['peak_single']:.0f} single "
          f"({cores} cores, one core {lim['peak_double_1']:.0f} double); memory {lim['copy']:.1f} GB/s copy, "
          f"{lim['read']:.1f} GB/s read ==")
    print(f"{'kernel':<46} {'ms':>8} {'GFLOP/s':>8} {'peak':>6} {'GB/s':>7} {'memory':>7}  {'binds':<7} {'roof':>5} "
          f"{'par.eff':>7}")
    for name, call, flops, nbytes, precision in kernels():
        vm.set_num_threads(cores)
        t_all = median_times([call], repeats=7)[0]
        vm.set_num_threads(1)
        t_one = median_times([call], repeats=3)[0]
        vm.set_num_threads(cores)
        gflops, gbs = flops / t_all / 1e9, nbytes / t_all / 1e9
        peak = lim[f"peak_{precision}"]
        of_peak, of_memory = gflops / peak, gbs / bandwidth
        binds = "compute" if flops / nbytes * bandwidth >= peak else "memory"
        print(f"{name:<46} {t_all * 1e3:8.3f} {gflops:8.1f} {of_peak:6.0%} {gbs:7.1f} {of_memory:7.0%}  {binds:<7} "
              f"{of_peak if binds == 'compute' else of_memory:5.0%} {t_one / (cores * t_all):7.2f}",
              flush=True)


if __name__ == "__main__":
    sys.exit(main())
