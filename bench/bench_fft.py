"""Fourier transforms against numpy.fft and scipy.fft (all cores)."""

import os

import numpy as np
import scipy.fft

from harness import Report, median_times

import vlmathdsp as vm

WORKERS = os.cpu_count()


def complex_1d(report):
    rng = np.random.default_rng(0)
    x = rng.standard_normal(2**20) + 1j * rng.standard_normal(2**20)
    t = median_times([lambda: vm.fft(x), lambda: np.fft.fft(x), lambda: scipy.fft.fft(x, workers=WORKERS)])
    diff = np.max(np.abs(vm.fft(x) - np.fft.fft(x))) / np.max(np.abs(np.fft.fft(x)))
    report.add("fft complex double 2^20", t[0], "numpy.fft", t[1], 1.5, f"max rel diff {diff:.1e}")
    report.add("fft complex double 2^20", t[0], "scipy.fft", t[2], 1.5)


def real_columns(report):
    x = np.asfortranarray(np.random.default_rng(1).standard_normal((1000, 1000)))
    t = median_times([lambda: vm.fft(x), lambda: np.fft.fft(x, axis=0),
                      lambda: scipy.fft.fft(x, axis=0, workers=WORKERS)])
    diff = np.max(np.abs(vm.fft(x) - np.fft.fft(x, axis=0))) / np.max(np.abs(np.fft.fft(x, axis=0)))
    report.add("fft real double 1000x1000 columns", t[0], "numpy.fft", t[1], 1.5, f"max rel diff {diff:.1e}")
    report.add("fft real double 1000x1000 columns", t[0], "scipy.fft", t[2], 1.5)


def complex_3d(report):
    rng = np.random.default_rng(2)
    x = np.asfortranarray(rng.standard_normal((256, 256, 256)) + 1j * rng.standard_normal((256, 256, 256)))
    t = median_times([lambda: vm.fftn(x), lambda: np.fft.fftn(x), lambda: scipy.fft.fftn(x, workers=WORKERS)],
                     repeats=3)
    ref = scipy.fft.fftn(x, workers=WORKERS)
    diff = np.max(np.abs(vm.fftn(x) - ref)) / np.max(np.abs(ref))
    report.add("fftn complex double 256^3", t[0], "numpy.fft", t[1], 1.2, f"max rel diff {diff:.1e}")
    report.add("fftn complex double 256^3", t[0], "scipy.fft", t[2], 1.2)


def fftw_overhead(report):
    """Our call against a bare execution of the same cached FFTW plan, from the C++ benchmark."""
    import subprocess
    exe = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "build", "bench", "fftw_overhead")
    if not os.path.exists(exe):
        print("fftw_overhead: not built")
        return
    for line in subprocess.run([exe], capture_output=True, text=True, check=True).stdout.splitlines():
        name, ours, bare = line.split(",")
        report.add(f"{name}, over bare FFTW", float(ours), "bare plan", float(bare), note="goal: ours/bare <= 1.1")


def run(report):
    complex_1d(report)
    real_columns(report)
    complex_3d(report)
    fftw_overhead(report)


if __name__ == "__main__":
    report = Report("fft")
    report.header()
    run(report)
