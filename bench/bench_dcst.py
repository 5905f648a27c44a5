"""Cosine transforms against scipy.fft (2 workers), and what the "measure" planner gains."""

import numpy as np
import scipy.fft

from bench_fft import measure_gain
from harness import Report, keep_freed_memory, median_times

import vlmathdsp as vm

WORKERS = 2


def dctn_image(report):
    x = np.asfortranarray(np.random.default_rng(0).standard_normal((1024, 1024)))
    ref = scipy.fft.dctn(x, norm="ortho")
    diff = np.max(np.abs(vm.dctn(x) - ref)) / np.max(np.abs(ref))
    t = median_times([lambda: vm.dctn(x), lambda: scipy.fft.dctn(x, norm="ortho", workers=WORKERS)], repeats=15)
    report.add("dctn II double 1024x1024 orthonormal", t[0], "scipy.fft", t[1], 1.2, f"max rel diff {diff:.1e}")
    return lambda: vm.dctn(x)


def dct_long_columns(report):
    x = np.asfortranarray(np.random.default_rng(1).standard_normal((2**20, 8)))
    t = median_times([lambda: vm.dct(x), lambda: scipy.fft.dct(x, axis=0, workers=WORKERS)], repeats=5)
    report.add("dct II double 8 columns of 2^20", t[0], "scipy.fft", t[1], 1.2, "peer unnormalised")
    return lambda: vm.dct(x)


def run(report):
    measure_gain(report, [("dctn II 1024x1024", dctn_image(report)), ("dct II 8 x 2^20", dct_long_columns(report))])


if __name__ == "__main__":
    keep_freed_memory()
    report = Report("cosine transforms")
    report.header()
    run(report)
