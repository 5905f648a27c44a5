"""vlmathdsp.nn on NCHW arrays against torch.nn.functional on the same tensors (both with this
machine's cores), the face's cost over the host-convention calls on the transposed view, and a
training step through each module (forward and backward through autograd) against torch's."""

import os

import numpy as np
import torch
import torch.nn.functional as F

from harness import Report, keep_freed_memory, median_times

import vlmathdsp as vm
from vlmathdsp import nn

N, C, H, W, FILTERS = 32, 64, 56, 56, 64


def peer_rows(report):
    torch.set_num_threads(os.cpu_count())
    rng = np.random.default_rng(0)
    x = torch.from_numpy(rng.standard_normal((N, C, H, W)).astype(np.float32))
    w = torch.from_numpy(rng.standard_normal((FILTERS, C, 3, 3)).astype(np.float32))
    g = torch.from_numpy(rng.standard_normal((N, FILTERS, H, W)).astype(np.float32))
    pooled = torch.from_numpy(rng.standard_normal((N, C, H // 2, W // 2)).astype(np.float32))
    xg, wg = x.clone().requires_grad_(), w.clone().requires_grad_()
    graph = F.conv2d(xg, wg, padding=1)
    cases = [
        ("conv2d 3x3 pad 1", lambda: nn.conv2d(x, w, padding=1), lambda: F.conv2d(x, w, padding=1)),
        ("conv2d_input", lambda: nn.conv2d_input(x.shape, w, g, padding=1),
         lambda: torch.autograd.grad(graph, xg, g, retain_graph=True)),
        ("conv2d_weight", lambda: nn.conv2d_weight(x, w.shape, g, padding=1),
         lambda: torch.autograd.grad(graph, wg, g, retain_graph=True)),
        ("max_pool2d 3 s2 p1", lambda: nn.max_pool2d(x, 3, 2, 1), lambda: F.max_pool2d(x, 3, 2, 1)),
        ("avg_pool2d 2", lambda: nn.avg_pool2d(x, 2), lambda: F.avg_pool2d(x, 2)),
        ("avg_pool2d_backward 2", lambda: nn.avg_pool2d_backward(pooled, x, 2),
         lambda: torch.ops.aten.avg_pool2d_backward(pooled, x, [2, 2], [2, 2], [0, 0], False, True, None)),
        ("local_response_norm 5", lambda: nn.local_response_norm(x, 5), lambda: F.local_response_norm(x, 5)),
    ]
    for name, ours, theirs in cases:
        with torch.no_grad():
            t = median_times([ours, theirs], repeats=5)
        report.add(f"nn {N}x{C}x{H}x{W} float32: {name}", t[0], "torch", t[1], 1.0)


def overhead_rows(report):
    rng = np.random.default_rng(1)
    x = rng.standard_normal((N, C, H, W)).astype(np.float32)
    w = rng.standard_normal((FILTERS, C, 3, 3)).astype(np.float32)
    pad, stride = np.ones(4), np.ones(2)
    cases = [
        ("conv2d", lambda: nn.conv2d(x, w, padding=1), lambda: vm.conv_forward(x.T, w.T, pad, stride)),
        ("max_pool2d", lambda: nn.max_pool2d(x, 3, 2, 1),
         lambda: vm.max_pool(x.T, np.array([3.0, 3.0]), pad, np.array([2.0, 2.0]))),
    ]
    for name, ours, host in cases:
        t = median_times([ours, host])
        report.add(f"face over host: nn.{name}", t[0], "host call", t[1], 0.95)


def training_rows(report):
    """A training step through the modules: forward, then backward of a given output gradient to
    the input and the parameters, ours (torch's weights loaded) against torch's modules."""
    torch.set_num_threads(os.cpu_count())
    torch.manual_seed(0)
    x = torch.randn(N, C, H, W)
    layers = [("Conv2d 3x3 pad 1", torch.nn.Conv2d(C, FILTERS, 3, padding=1), nn.Conv2d(C, FILTERS, 3, padding=1)),
              ("MaxPool2d 3 s2 p1", torch.nn.MaxPool2d(3, 2, 1), nn.MaxPool2d(3, 2, 1)),
              ("AvgPool2d 2", torch.nn.AvgPool2d(2), nn.AvgPool2d(2)),
              ("LocalResponseNorm 5", torch.nn.LocalResponseNorm(5), nn.LocalResponseNorm(5))]
    for name, theirs, ours in layers:
        ours.load_state_dict(theirs.state_dict())
        g = torch.randn(theirs(x).shape)

        def step(module):
            xg = x.clone().requires_grad_()
            module.zero_grad()
            module(xg).backward(g)
            return xg.grad

        t = median_times([lambda: step(ours), lambda: step(theirs)], repeats=5)
        report.add(f"training step {N}x{C}x{H}x{W} float32: {name}", t[0], "torch", t[1])


def run(report):
    peer_rows(report)
    overhead_rows(report)
    training_rows(report)


if __name__ == "__main__":
    keep_freed_memory()
    report = Report("vlmathdsp.nn against torch")
    report.header()
    run(report)
