"""pytest plugin: vlmathdsp.scipy.patch() for the session, so that SciPy's own tests of
scipy.signal and scipy.ndimage run against the faces; the summary counts, per function, the
calls each face served and those it handed to SciPy's own function."""

import functools

import scipy.ndimage
import scipy.signal

import vlmathdsp.scipy

import counts


def counting(name, face):
    @functools.wraps(face)
    def call(*args, **kwargs):
        counts.calls[f"{face.__module__.rsplit('.', 1)[-1]}.{name}"] += 1
        return face(*args, **kwargs)
    return call


def pytest_configure(config):
    counts.count_hand_backs()
    vlmathdsp.scipy.patch()
    for module in (scipy.signal, scipy.ndimage):
        for (patched, name) in list(vlmathdsp.scipy._saved):
            if patched is module:
                setattr(module, name, counting(name, getattr(module, name)))


def pytest_terminal_summary(terminalreporter):
    counts.summary(terminalreporter, "vlmathdsp.scipy.signal and .ndimage")
