"""pytest plugin: vlmathdsp.scipy.fft is scipy.fft's global backend for the session, with SciPy
not registered behind it; the summary counts, per function, the calls it served and those it
handed to SciPy's own implementation."""

import scipy.fft

import vlmathdsp.scipy.fft as ours

import counts


class CountingBackend:
    __ua_domain__ = ours.__ua_domain__

    @staticmethod
    def __ua_function__(method, args, kwargs):
        counts.calls[f"fft.{method.__name__}"] += 1
        return ours.__ua_function__(method, args, kwargs)


def pytest_configure(config):
    counts.count_hand_backs()
    scipy.fft.set_global_backend(CountingBackend)


def pytest_terminal_summary(terminalreporter):
    counts.summary(terminalreporter, "vlmathdsp.scipy.fft")
