"""Where the library's worker threads run: within the process's cores when that set shrinks, and
never re-bound by a forked child. Each case runs in a process of its own, whose threads it moves."""

import os
import subprocess
import sys

import pytest

import vlmathdsp as vm

pytestmark = pytest.mark.skipif(len(os.sched_getaffinity(0)) < 2 or os.environ.get("VLMATHDSP_PIN_WORKERS") == "0",
                                reason="placement needs two cores and pinning")

PRELUDE = """
import os, sys, numpy as np
import vlmathdsp as vm
def tids():
    return [int(t) for t in os.listdir("/proc/self/task")]
def work():
    return vm.conv2(np.ones((600, 600)), np.ones((9, 9)))  # parallel: the workers join
first, second = sorted(os.sched_getaffinity(0))[:2]
"""


def run(code):
    package = os.path.dirname(os.path.dirname(vm.__file__))
    env = {**os.environ, "PYTHONPATH": package}
    done = subprocess.run([sys.executable, "-c", PRELUDE + code], capture_output=True, text=True, env=env, timeout=120)
    assert done.returncode == 0, done.stderr
    return done.stdout.strip().splitlines()[-1]


def test_workers_stay_within_a_process_set_that_shrinks():
    # As `taskset -a -p -c second PID` does: every thread's set becomes {second}, the caller moving
    # off the core the workers were last placed away from.
    assert run("""
work()
os.sched_setaffinity(0, {first})
work()
for t in tids():
    os.sched_setaffinity(t, {second})
work()
outside = [t for t in tids() if os.sched_getaffinity(t) - {second}]
print("outside" if outside else "within")
""") == "within"


def test_a_forked_child_leaves_its_parents_threads_alone():
    # The parent's workers are set free; a child that took them for its own would bind them to a
    # core away from its caller's.
    assert run("""
work()
os.sched_setaffinity(0, {first})
work()
every = {first, second}
workers = [t for t in tids() if t != os.getpid()]
for t in workers:
    os.sched_setaffinity(t, every)
child = os.fork()
if child == 0:
    os.sched_setaffinity(0, {second})
    work()
    os._exit(0)
os.waitpid(child, 0)
moved = [t for t in workers if os.path.exists(f"/proc/self/task/{t}") and os.sched_getaffinity(t) != every]
print("moved" if moved else "alone")
""") == "alone"


def test_a_first_call_from_a_thread_bound_to_one_core_leaves_the_process_its_cores():
    # The first call comes from a thread bound to one core; a later call from a free thread must
    # still share its work with a worker on another core (CPU time spent outside the caller).
    assert run("""
os.sched_setaffinity(0, {first})
work()
os.sched_setaffinity(0, {first, second})
def cpu_ticks():
    ticks = {}
    for t in tids():
        fields = open(f"/proc/self/task/{t}/stat").read().rsplit(")", 1)[1].split()
        ticks[t] = int(fields[11]) + int(fields[12])
    return ticks
before = cpu_ticks()
big = np.ones((3000, 3000))
for _ in range(3):
    vm.conv2(big, np.ones((15, 15)))
after = cpu_ticks()
caller = after[os.getpid()] - before[os.getpid()]
helpers = sum(after[t] - before.get(t, 0) for t in after if t != os.getpid())
print("shared" if 2 * helpers > caller else f"alone {helpers} {caller}")
""") == "shared"
