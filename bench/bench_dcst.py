"""Cosine transforms against scipy.fft (2 workers), and what the "measure" planner gains."""

import numpy as np
import scipy.fft

from bench_fft import with_planner
from harness import Report, median_times

import vlmathdsp as vm

WORKERS = 2


def dctn_image(report):
    x = np.asfortranarray(np.random.default_rng(0).standard_normal((1024, 1024)))
    ref = scipy.fft.dctn(x, norm="ortho")
    diff = np.max(np.abs(vm.dctn(x) - ref)) / np.max(np.abs(ref))
    t = median_times([lambda: vm.dctn(x), lambda: scipy.fft.dctn(x, norm="ortho", workers=WORKERS)], repeats=15)
    report.add("dctn II double 1024x1024 orthonormal", t[0], "scipy.fft", t[1], 1.2, f"max rel diff {diff:.1e}")
    measured = with_planner("measure", lambda: median_times([lambda: vm.dctn(x)], repeats=15)[0])
    report.add("dctn II 1024x1024, measure planner", measured, "ours estimated", t[0])


def dct_long_columns(report):
    x = np.asfortranarray(np.random.default_rng(1).standard_normal((2**20, 8)))
    t = median_times([lambda: vm.dct(x), lambda: scipy.fft.dct(x, axis=0, workers=WORKERS)], repeats=5)
    report.add("dct II double 8 columns of 2^20", t[0], "scipy.fft", t[1], 1.2, "peer unnormalised")
    measured = with_planner("measure", lambda: median_times([lambda: vm.dct(x)], repeats=5)[0])
    report.add("dct II 8 x 2^20, measure planner", measured, "ours estimated", t[0])


def run(report):
    dctn_image(report)
    dct_long_columns(report)


if __name__ == "__main__":
    report = Report("cosine transforms")
    report.header()
    run(report)
