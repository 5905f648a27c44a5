"""pytest plugin: every scipy.fft call of the session goes to vlmathdsp.scipy.fft first, and to
SciPy's own backend for what it hands back. The summary counts both."""

import collections

import scipy.fft

import vlmathdsp.scipy.fft as ours

counts = collections.Counter()


class CountingBackend:
    __ua_domain__ = ours.__ua_domain__

    @staticmethod
    def __ua_function__(method, args, kwargs):
        result = ours.__ua_function__(method, args, kwargs)
        counts["handed back" if result is NotImplemented else "served"] += 1
        return result


def pytest_configure(config):
    scipy.fft.set_global_backend(CountingBackend)
    scipy.fft.register_backend("scipy")


def pytest_terminal_summary(terminalreporter):
    terminalreporter.write_line(f"vlmathdsp.scipy.fft: {counts['served']} calls served, "
                                f"{counts['handed back']} handed back to SciPy")
