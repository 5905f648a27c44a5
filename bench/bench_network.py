"""conv_forward against torch.nn.functional.conv2d: a layer of batch 32, 64 channels, 56x56,
64 filters 3x3, padding 1, at stride 1 and 2, in single and double. Our GFLOP/s is printed with
its share of this machine's sgemm peak, measured here on a large square product. conv_backward,
both gradients, against torch.autograd.grad on the same layer's graph, made outside the timing."""

import os
import subprocess
import sys
import time

import numpy as np
import torch

from harness import Report, keep_freed_memory, median_times

import vlmathdsp as vm

N, C, H, W, F, K = 32, 64, 56, 56, 64, 3


def sgemm_peak():
    """GFLOP/s of the best of several 2048^3 single products through NumPy's BLAS."""
    a = np.random.default_rng(0).standard_normal((2048, 2048)).astype(np.float32)
    a @ a
    best = min(_timed(lambda: a @ a) for _ in range(5))
    return 2 * 2048 ** 3 / best / 1e9


def own_choice_peak():
    """The same peak, in a fresh process, with the kernels OpenBLAS picks for this CPU when
    OPENBLAS_CORETYPE (which fixes them) is not set; None when it is not set here either."""
    if not os.environ.get("OPENBLAS_CORETYPE"):
        return None
    code = "import bench_network; print(bench_network.sgemm_peak())"
    env = {k: v for k, v in os.environ.items() if k != "OPENBLAS_CORETYPE"}
    out = subprocess.run([sys.executable, "-c", code], env=env, capture_output=True, text=True,
                         cwd=os.path.dirname(os.path.abspath(__file__)))
    return float(out.stdout) if out.returncode == 0 else None


def _timed(fn):
    start = time.perf_counter()
    fn()
    return time.perf_counter() - start


def run(report):
    threads = os.cpu_count()
    torch.set_num_threads(threads)
    peak = sgemm_peak()
    own = own_choice_peak()
    kernels = os.environ.get("OPENBLAS_CORETYPE", "chosen by OpenBLAS")
    print(f"  OpenBLAS kernels: {kernels}; sgemm peak {peak:.0f} GFLOP/s" +
          (f"; {own:.0f} GFLOP/s with the kernels OpenBLAS picks itself (not used in this run)" if own else ""))
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

    for stride in (1, 2):
        run_backward(report, stride, peak)


def run_backward(report, stride, peak):
    rng = np.random.default_rng(1)
    x = rng.standard_normal((N, C, H, W)).astype(np.float32)
    w = rng.standard_normal((F, C, K, K)).astype(np.float32)
    tx, tw = torch.tensor(x, requires_grad=True), torch.tensor(w, requires_grad=True)
    y = torch.nn.functional.conv2d(tx, tw, stride=stride, padding=1)
    g = rng.standard_normal(tuple(y.shape)).astype(np.float32)
    tg = torch.from_numpy(g)
    ours_x, ours_w, ours_g = (np.asfortranarray(a.transpose(2, 3, 1, 0)) for a in (x, w, g))
    pad, s = np.ones(4), np.array([stride, stride], float)
    ours = lambda: (vm.conv_backward(ours_x, ours_g, pad, s, np.array([K, K], float)),
                    vm.conv_backward(ours_g, ours_w, pad, s, np.array([H, W], float), False))
    tor = lambda: torch.autograd.grad(y, (tx, tw), tg, retain_graph=True)
    t = median_times([ours, tor], repeats=7)
    gw, gx = ours()
    want_x, want_w = (a.numpy() for a in tor())
    diff = max(np.max(np.abs(gw.transpose(3, 2, 0, 1) - want_w)) / np.max(np.abs(want_w)),
               np.max(np.abs(gx.transpose(3, 2, 0, 1) - want_x)) / np.max(np.abs(want_x)))
    gflops = 2 * 2 * N * F * g.shape[2] * g.shape[3] * C * K * K / t[0] / 1e9
    name = f"conv backward, both gradients, s{stride}, float32"
    report.add(name, t[0], "torch autograd.grad", t[1], 1.0 if stride == 1 else None,
               f"{gflops:.0f} GFLOP/s = {100 * gflops / peak:.0f} % of sgemm peak; max rel diff {diff:.1e}")


if __name__ == "__main__":
    keep_freed_memory()
    report = Report(f"network convolution ({os.cpu_count()} cores)")
    report.header()
    run(report)
