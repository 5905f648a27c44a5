"""pytest plugin: scipy.signal's convolution and filtering functions are vlmathdsp.scipy.signal's
for the session, so that SciPy's own tests of them run against the face. What the face passes to
SciPy is counted apart."""

import collections
import functools

import scipy.signal

import vlmathdsp.scipy.signal as ours
from vlmathdsp.scipy import _layout

counts = collections.Counter()


def counting(name):
    face = getattr(ours, name)

    @functools.wraps(face)
    def call(*args, **kwargs):
        counts["calls"] += 1
        return face(*args, **kwargs)
    return call


def pytest_configure(config):
    original = _layout.Unsupported.__init__

    def counted(self, *args):
        counts["passed to SciPy"] += 1
        original(self, *args)
    _layout.Unsupported.__init__ = counted
    for name in ours.__all__:
        setattr(scipy.signal, name, counting(name))


def pytest_terminal_summary(terminalreporter):
    terminalreporter.write_line(f"vlmathdsp.scipy.signal: {counts['calls']} calls, "
                                f"{counts['passed to SciPy']} of them passed to SciPy")
