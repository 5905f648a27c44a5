"""strided_convn correlation with stride 2 against cv2.filter2D then every second sample, and
against torch.nn.functional.conv2d with stride 2, in double."""

import os

import cv2
import numpy as np
import torch

from harness import Report, keep_freed_memory, median_times

import vlmathdsp as vm

N = 2048


def run(report):
    torch.set_num_threads(os.cpu_count())
    rng = np.random.default_rng(0)
    A = np.asfortranarray(rng.standard_normal((N, N)))
    B = rng.standard_normal((7, 7))
    C = np.ascontiguousarray(A)
    tA = torch.from_numpy(C).reshape(1, 1, N, N)
    tB = torch.from_numpy(np.ascontiguousarray(B)).reshape(1, 1, 7, 7)
    # "valid" correlation sampled from the first full overlap: start 7, end N, stride 2.
    ours = lambda: vm.strided_convn(A, B, [2, 2], [7, 7], [N, N], "corr")
    ocv = lambda: cv2.filter2D(C, -1, B, anchor=(0, 0), borderType=cv2.BORDER_CONSTANT)[:N - 6:2, :N - 6:2]
    tor = lambda: torch.nn.functional.conv2d(tA, tB, stride=2)
    t = median_times([ours, ocv, tor])
    ref = tor().numpy()[0, 0]
    diff = np.max(np.abs(ours() - ref)) / np.max(np.abs(ref))
    name = f"strided corr {N}^2 * 7x7, stride 2, double"
    report.add(name, t[0], "cv2.filter2D[::2, ::2]", t[1], 1.5, f"max rel diff {diff:.1e}")
    report.add(name, t[0], "torch conv2d stride 2", t[2], 1.5)


if __name__ == "__main__":
    keep_freed_memory()
    report = Report(f"strided_convn ({os.cpu_count()} cores)")
    report.header()
    run(report)
