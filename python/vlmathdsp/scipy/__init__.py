"""Faces with SciPy's conventions over the library's engine: zero-based axes, the last axis by
default, SciPy's dtype rules. See `vlmathdsp.scipy.fft`."""


__all__ = ["fft", "signal"]


def __getattr__(name):
    if name in __all__:
        import importlib
        return importlib.import_module(f"{__name__}.{name}")
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")


def __dir__():
    return sorted(__all__)
