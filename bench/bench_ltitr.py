"""ltitr against scipy.signal.dlsim: 64 states, 4 inputs, 20000 steps."""

import numpy as np
from scipy import signal

from harness import Report, keep_freed_memory, median_times

import vlmathdsp as vm

GOAL = 20.0


def system(n=64, m=4, L=20000, seed=0):
    rng = np.random.default_rng(seed)
    A = rng.standard_normal((n, n))
    A /= 1.05 * np.max(np.abs(np.linalg.eigvals(A)))
    return A, rng.standard_normal((n, m)), rng.standard_normal((L, m)), rng.standard_normal(n)


def run(report):
    A, B, U, x0 = system()
    n, m = B.shape
    # dlsim also forms an output; the smallest one (one state) keeps its extra work least.
    C, D = np.eye(n)[:1], np.zeros((1, m))
    ours = lambda: vm.ltitr(A, B, U, x0)
    theirs = lambda: signal.dlsim((A, B, C, D, 1.0), U, x0=x0)
    X, x = ours(), theirs()[2]
    agreement = np.max(np.abs(X - x)) / np.max(np.abs(x))
    before = vm.get_num_threads()
    try:
        for threads in (1, 2):
            vm.set_num_threads(threads)
            assert np.array_equal(ours(), X), "thread count changed the result"
            t_ours, t_theirs = median_times([ours, theirs])
            report.add(f"ltitr 64 states, 4 inputs, 20000 steps, {threads} thread{'s' if threads > 1 else ''}",
                       t_ours, "dlsim", t_theirs, GOAL, f"max rel diff {agreement:.1e}")
    finally:
        vm.set_num_threads(before)


if __name__ == "__main__":
    keep_freed_memory()
    report = Report("ltitr")
    report.header()
    run(report)
