"""Side-by-side timing: our function and a peer's, interleaved in one process, medians of
several runs, reported as ratios."""

import ctypes
import os
import statistics
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.environ.get("VLMATHDSP_PACKAGE_PATH", os.path.join(ROOT, "build", "python")))


def keep_freed_memory():
    """Large blocks stay with the process once freed, instead of going back to the system and
    being faulted in again, page by page, by the next call. Whether a peer (or we) paid for those
    faults otherwise depended on the allocator's history: PyTorch's conv2d took 20 ms or 150 ms
    on the same call. Every party gets the faster state. A benchmark's main calls it: the setting
    holds for the whole process, so importing this module must not make it."""
    try:
        libc = ctypes.CDLL("libc.so.6")
    except OSError:
        return
    M_TRIM_THRESHOLD, M_TOP_PAD, M_MMAP_THRESHOLD = -1, -2, -3
    libc.mallopt(M_MMAP_THRESHOLD, 1 << 30)
    libc.mallopt(M_TRIM_THRESHOLD, 1 << 62)
    libc.mallopt(M_TOP_PAD, 1 << 28)


def memory_bytes():
    """This process's resident memory now and its peak, in bytes. The peak is that of the process's
    own image: a process started by fork and exec does not inherit its parent's, as getrusage's
    would."""
    fields = {}
    with open("/proc/self/status") as status:
        for line in status:
            key, _, value = line.partition(":")
            if key in ("VmRSS", "VmHWM"):
                fields[key] = int(value.split()[0]) * 1024
    return fields.get("VmRSS", 0), fields.get("VmHWM", 0)


def peak_memory():
    """This process's peak resident memory, in bytes (see memory_bytes)."""
    return memory_bytes()[1]


# Pause before each timed call: thread pools (ours and the peers') spin for a while after a
# parallel region, and on a small machine that spin would be charged to whoever runs next.
SETTLE_SECONDS = 0.02


def median_times(functions, repeats=7, warmup=1, pause=SETTLE_SECONDS):
    """Runs each function `warmup` times, then `repeats` rounds in which every function runs
    once, in turn, `pause` seconds after the previous call; returns the median seconds of each."""
    for fn in functions:
        for _ in range(warmup):
            fn()
    samples = [[] for _ in functions]
    for _ in range(repeats):
        for i, fn in enumerate(functions):
            if pause:
                time.sleep(pause)
            start = time.perf_counter()
            fn()
            samples[i].append(time.perf_counter() - start)
    return [statistics.median(s) for s in samples]


class Report:
    """Collects rows of (workload, our time, peer, peer time) and prints them as a table; `family`
    names the benchmark the next rows come from, and write() saves them all with the machine and
    the date, for the documentation's plots."""

    def __init__(self, title):
        self.title = title
        self.rows = []
        self.family = ""

    def add(self, workload, ours, peer, theirs, goal=None, note=""):
        self.rows.append({"family": self.family, "workload": workload, "ours": ours, "peer": peer,
                          "theirs": theirs, "goal": goal, "note": note})
        speedup = theirs / ours if ours > 0 else float("inf")
        goal_text = "" if goal is None else (f"  goal {goal:g}x: " + ("met" if speedup >= goal else "NOT met"))
        print(f"{workload:<44} ours {ours * 1e3:9.3f} ms   {peer} {theirs * 1e3:9.3f} ms"
              f"   speed-up {speedup:7.2f}x{goal_text}{('  ' + note) if note else ''}", flush=True)
        return speedup

    def header(self):
        print(f"== {self.title} ==", flush=True)

    def write(self, path):
        import datetime
        import json
        import platform
        import vlmathdsp
        cpu = next((line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name")),
                   platform.processor())
        machine = {"cpu": cpu, "cores": os.cpu_count(), "system": platform.platform(),
                   "python": platform.python_version(), "threads": vlmathdsp.get_num_threads(),
                   "library": os.path.basename(vlmathdsp.MODULE_PATH)}
        with open(path, "w") as f:
            json.dump({"date": datetime.datetime.now(datetime.timezone.utc).isoformat(timespec="minutes"),
                       "machine": machine, "rows": self.rows}, f, indent=1)
            f.write("\n")
