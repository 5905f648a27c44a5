"""The scipy.fft face: scipy.fft with vlmathdsp.scipy.fft as its backend against SciPy's default
backend (2 workers), and the face's cost over the host-convention functions on the same work."""

import os

import numpy as np
import scipy.fft

from harness import Report, keep_freed_memory, median_times

import vlmathdsp as vm
import vlmathdsp.scipy.fft as face

WORKERS = os.cpu_count()


def backend_rows(report):
    rng = np.random.default_rng(0)
    z = rng.standard_normal(2**20) + 1j * rng.standard_normal(2**20)
    image = rng.standard_normal((1024, 1024))
    square = rng.standard_normal((1000, 1000))
    long = rng.standard_normal((8, 2**20))
    cases = [
        ("fft complex 2^20", lambda f, w: f.fft(z, workers=w)),
        ("fft real 1000x1000 along axis 0", lambda f, w: f.fft(square, axis=0, workers=w)),
        ("fftn + ifftn real 1024x1024", lambda f, w: f.ifftn(f.fftn(image, workers=w), workers=w)),
        ("rfftn + irfftn real 1024x1024", lambda f, w: f.irfftn(f.rfftn(image, workers=w), workers=w)),
        ("fft real 8 x 2^20 along the last axis", lambda f, w: f.fft(long, workers=w)),
        ("rfft real 8 x 2^20", lambda f, w: f.rfft(long, workers=w)),
        ("dctn II ortho 1024x1024", lambda f, w: f.dctn(image, norm="ortho", workers=w)),
        ("dct II 8 x 2^20", lambda f, w: f.dct(long, workers=w)),
    ]
    for name, work in cases:
        def ours():
            with scipy.fft.set_backend(face, only=True):
                return work(scipy.fft, None)
        t = median_times([ours, lambda: work(scipy.fft, WORKERS)])
        report.add(f"scipy.fft backend: {name}", t[0], "scipy default", t[1], 1.0)


def overhead_rows(report):
    """The face's call against the host-convention call that does the same work."""
    rng = np.random.default_rng(1)
    z = rng.standard_normal(2**20) + 1j * rng.standard_normal(2**20)
    long = rng.standard_normal((8, 2**20))
    image = rng.standard_normal((1024, 1024))
    cases = [
        ("fft complex 2^20", lambda: face.fft(z), lambda: vm.fft(z)),
        ("fft real 8 x 2^20", lambda: face.fft(long), lambda: vm.fft(long.T)),
        ("fft2 complex 1024x1024", lambda: face.fft2(image + 0j), lambda: vm.fftn((image + 0j).T)),
    ]
    for name, ours, host in cases:
        t = median_times([ours, host])
        report.add(f"face over host: {name}", t[0], "host call", t[1], 0.95)


def run(report):
    backend_rows(report)
    overhead_rows(report)


if __name__ == "__main__":
    keep_freed_memory()
    report = Report("scipy.fft face")
    report.header()
    run(report)
