"""Ctrl-C during a long call: it stops soon, leaves nothing behind (Python's handler included),
and the next call is right."""
import os
import subprocess
import sys

import vlmathdsp as vm

# A conv2 of some four seconds, a SIGINT half a second in; prints what happened and when.
LONG_CALL = """
import ctypes, os, signal, threading, time
import numpy as np, vlmathdsp as vm
from vlmathdsp import _vlmathdsp as core
rng = np.random.default_rng(5)
a, k = rng.random((3000, 3000)), rng.random((80, 80))
def timed(k):
    vm.conv2(a[:20], k, "same")
    started = time.perf_counter()
    vm.conv2(a[:100], k, "same")
    return time.perf_counter() - started
took = timed(k)
if took > 0.5:  # an unoptimised build: smaller tasks, so that they end soon after the signal
    k = k[:24, :24]
    took = timed(k)
before = vm.conv2(a[:100], k, "same")
# Rows for a call of about four seconds on this build, whatever its speed.
rows = int(min(3000, max(300, 100 * 4.0 / took)))
a = a[:rows]
live = core.live_arrays(), core.live_blocks()
{setup}
def handler():  # the process's SIGINT handler, as the kernel has it
    action = ctypes.create_string_buffer(256)
    ctypes.CDLL(None).sigaction(signal.SIGINT, None, action)
    return action.raw[:8]
handler_before = handler()
sent = []
def interrupt():
    time.sleep(0.5)
    sent.append(time.perf_counter())
    os.kill(os.getpid(), signal.SIGINT)
threading.Thread(target=interrupt).start()
try:
    vm.conv2(a, k, "same")
    outcome = "finished"
except KeyboardInterrupt:
    outcome = "KeyboardInterrupt"
except vm.Error as e:
    outcome = e.identifier
waited = time.perf_counter() - sent[0]
tidy = (core.live_arrays(), core.live_blocks()) == live and handler() == handler_before
print(outcome, round(waited, 3), tidy, np.array_equal(vm.conv2(a[:100], k, "same"), before))
"""


def run_long_call(setup=""):
    package = os.path.dirname(os.path.dirname(vm.__file__))
    script = f"import sys; sys.path.insert(0, {package!r})\n" + LONG_CALL.format(setup=setup)
    done = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, timeout=300)
    assert done.returncode == 0, done.stderr
    outcome, waited, tidy, same = done.stdout.split()
    return outcome, float(waited), tidy == "True", same == "True"


def test_ctrl_c_stops_a_long_call_within_a_fraction_of_a_second():
    outcome, waited, tidy, same = run_long_call()
    assert outcome == "KeyboardInterrupt"
    assert waited < 0.5
    assert tidy and same


def test_a_handler_that_does_not_raise_sees_the_call_end_with_an_identifier():
    outcome, waited, tidy, same = run_long_call(
        "seen = []\nsignal.signal(signal.SIGINT, lambda *args: seen.append(1))")
    assert outcome == "VELTRA:interrupted" and waited < 0.5
    assert tidy and same


def test_an_ignored_sigint_leaves_the_call_to_finish():
    outcome, waited, tidy, same = run_long_call("signal.signal(signal.SIGINT, signal.SIG_IGN)")
    assert outcome == "finished" and waited > 0.05, "the call went on past the signal"
    assert tidy and same
