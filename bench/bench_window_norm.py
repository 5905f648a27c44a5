"""window_norm against torch.nn.functional.local_response_norm: window 5, a batch of 32 images of
64 channels, 56x56, single precision; the forward form, and the gradient form against autograd's
gradient of local_response_norm (its graph made outside the timing)."""

import os

import numpy as np
import torch

from harness import Report, keep_freed_memory, median_times

import vlmathdsp as vm

N, C, H, W, SIZE = 32, 64, 56, 56, 5
ALPHA, BETA, K = 1e-4, 0.75, 2.0


def run(report):
    torch.set_num_threads(os.cpu_count())
    rng = np.random.default_rng(0)
    x = rng.standard_normal((N, C, H, W)).astype(np.float32)
    g = rng.standard_normal((N, C, H, W)).astype(np.float32)
    ours_x, ours_g = np.asfortranarray(x.transpose(2, 3, 1, 0)), np.asfortranarray(g.transpose(2, 3, 1, 0))
    lrn = lambda t: torch.nn.functional.local_response_norm(t, SIZE, alpha=ALPHA, beta=BETA, k=K)
    tx = torch.from_numpy(x)
    with torch.no_grad():
        t = median_times([lambda: vm.window_norm(ours_x, SIZE, ALPHA, BETA, K), lambda: lrn(tx)], repeats=9)
        diff = np.max(np.abs(vm.window_norm(ours_x, SIZE, ALPHA, BETA, K).transpose(3, 2, 0, 1) - lrn(tx).numpy()))
    report.add(f"window norm forward, n={SIZE}, {N}x{C}x{H}x{W} float32", t[0], "torch local_response_norm", t[1],
               1.5, f"max diff {diff:.1e}")
    txg = torch.from_numpy(x).requires_grad_()
    y = lrn(txg)
    tg = torch.from_numpy(g)
    t = median_times([lambda: vm.window_norm(ours_x, SIZE, ALPHA, BETA, K, ours_g),
                      lambda: torch.autograd.grad(y, (txg,), tg, retain_graph=True)], repeats=9)
    report.add("window norm gradient form, same layer", t[0], "torch autograd.grad", t[1], 1.5,
               "our per-element form, not the full gradient")


if __name__ == "__main__":
    keep_freed_memory()
    report = Report(f"window normalisation ({os.cpu_count()} cores)")
    report.header()
    run(report)
