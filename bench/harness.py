"""Side-by-side timing: our function and a peer's, interleaved in one process, medians of
several runs, reported as ratios."""

import os
import statistics
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.environ.get("VLMATHDSP_PACKAGE_PATH", os.path.join(ROOT, "build", "python")))


# Pause before each timed call: thread pools (ours and the peers') spin for a while after a
# parallel region, and on a small machine that spin would be charged to whoever runs next.
SETTLE_SECONDS = 0.02


def median_times(functions, repeats=7, warmup=1):
    """Runs each function `warmup` times, then `repeats` rounds in which every function runs
    once, in turn; returns the median seconds of each."""
    for fn in functions:
        for _ in range(warmup):
            fn()
    samples = [[] for _ in functions]
    for _ in range(repeats):
        for i, fn in enumerate(functions):
            time.sleep(SETTLE_SECONDS)
            start = time.perf_counter()
            fn()
            samples[i].append(time.perf_counter() - start)
    return [statistics.median(s) for s in samples]


class Report:
    """Collects rows of (workload, our time, peer, peer time) and prints them as a table."""

    def __init__(self, title):
        self.title = title
        self.rows = []

    def add(self, workload, ours, peer, theirs, goal=None, note=""):
        self.rows.append((workload, ours, peer, theirs, goal, note))
        speedup = theirs / ours if ours > 0 else float("inf")
        goal_text = "" if goal is None else (f"  goal {goal:g}x: " + ("met" if speedup >= goal else "NOT met"))
        print(f"{workload:<44} ours {ours * 1e3:9.3f} ms   {peer} {theirs * 1e3:9.3f} ms"
              f"   speed-up {speedup:7.2f}x{goal_text}{('  ' + note) if note else ''}", flush=True)
        return speedup

    def header(self):
        print(f"== {self.title} ==", flush=True)
