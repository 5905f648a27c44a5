"""max_pool and avg_pool against torch.nn.functional.max_pool2d and avg_pool2d, and
avg_pool_backward against torch.autograd.grad of avg_pool2d (its graph made outside the timing):
windows 3x3, stride 2, padding 1, a batch of 32 images of 64 channels, 112x112, single precision."""

import os

import numpy as np
import torch

from harness import Report, keep_freed_memory, median_times

import vlmathdsp as vm

N, C, H, W = 32, 64, 112, 112


def run(report):
    torch.set_num_threads(os.cpu_count())
    x = np.random.default_rng(0).standard_normal((N, C, H, W)).astype(np.float32)
    ours_x, tx = np.asfortranarray(x.transpose(2, 3, 1, 0)), torch.from_numpy(x)
    args = (np.array([3.0, 3]), np.ones(4), np.array([2.0, 2]))
    cases = (("max", vm.max_pool, lambda: torch.nn.functional.max_pool2d(tx, 3, 2, 1), "torch max_pool2d", 1.5),
             ("average", vm.avg_pool, lambda: torch.nn.functional.avg_pool2d(tx, 3, 2, 1), "torch avg_pool2d", 1.0))
    with torch.no_grad():
        for name, ours, peer, peer_name, goal in cases:
            t = median_times([lambda: ours(ours_x, *args), peer], repeats=9)
            diff = np.max(np.abs(ours(ours_x, *args).transpose(3, 2, 0, 1) - peer().numpy()))
            report.add(f"{name} pooling 3x3 s2 p1, {N}x{C}x{H}x{W} float32", t[0], peer_name, t[1], goal,
                       f"max diff {diff:.1e}")
    tx = torch.from_numpy(x).requires_grad_()
    y = torch.nn.functional.avg_pool2d(tx, 3, 2, 1)
    g = np.random.default_rng(1).standard_normal(tuple(y.shape)).astype(np.float32)
    ours_g, tg = np.asfortranarray(g.transpose(2, 3, 1, 0)), torch.from_numpy(g)
    back = args + (np.array([H, W], float),)
    t = median_times([lambda: vm.avg_pool_backward(ours_g, *back),
                      lambda: torch.autograd.grad(y, (tx,), tg, retain_graph=True)], repeats=9)
    want, = torch.autograd.grad(y, (tx,), tg, retain_graph=True)
    diff = np.max(np.abs(vm.avg_pool_backward(ours_g, *back).transpose(3, 2, 0, 1) - want.numpy()))
    report.add(f"average pooling backward, same layer", t[0], "torch autograd.grad", t[1], 1.0, f"max diff {diff:.1e}")


if __name__ == "__main__":
    keep_freed_memory()
    report = Report(f"pooling ({os.cpu_count()} cores)")
    report.header()
    run(report)
