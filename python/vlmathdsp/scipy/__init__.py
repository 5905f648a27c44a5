"""Faces with SciPy's conventions over the library's engine: zero-based axes, the last axis by
default, SciPy's signatures and dtype rules. `vlmathdsp.scipy.fft`, `vlmathdsp.scipy.signal` and
`vlmathdsp.scipy.ndimage` are used as SciPy's modules are, or put in their place by `patch()`."""

import contextlib

__all__ = ["fft", "signal", "ndimage", "patch", "unpatch", "patched"]
_FACES = ("fft", "signal", "ndimage")

# (SciPy's module, name) -> SciPy's own function, while patched.
_saved = {}


def _face_modules():
    import importlib
    import scipy.ndimage
    import scipy.signal
    return [(scipy.signal, importlib.import_module(f"{__name__}.signal")),
            (scipy.ndimage, importlib.import_module(f"{__name__}.ndimage"))]


def patch():
    """Puts every face function in place of SciPy's: in ``scipy.signal`` and ``scipy.ndimage`` by
    name, and this package's fft module as scipy.fft's global backend.

    What it cannot reach: a name bound before the patch (``from scipy.signal import welch`` in a
    module imported earlier keeps SciPy's), and SciPy's own functions calling each other inside
    its modules. A second call changes nothing.

    Returns
    -------
    None

    Examples
    --------
    >>> import scipy.signal, vlmathdsp.scipy
    >>> vlmathdsp.scipy.patch()
    >>> scipy.signal.lfilter.__module__
    'vlmathdsp.scipy.signal'
    >>> vlmathdsp.scipy.unpatch()
    >>> scipy.signal.lfilter.__module__
    'scipy.signal._signaltools'
    """
    if _saved:
        return
    import importlib
    import scipy.fft
    for module, face in _face_modules():
        for name in face.__all__:
            if hasattr(module, name):
                _saved[module, name] = getattr(module, name)
                setattr(module, name, getattr(face, name))
    scipy.fft.set_global_backend(importlib.import_module(f"{__name__}.fft"))


def unpatch():
    """Restores SciPy's functions and its own fft backend as the global one.

    Returns
    -------
    None

    Examples
    --------
    >>> import scipy.ndimage, vlmathdsp.scipy
    >>> with vlmathdsp.scipy.patched():
    ...     pass
    >>> vlmathdsp.scipy.unpatch()  # not patched: nothing to do
    >>> scipy.ndimage.gaussian_filter.__module__
    'scipy.ndimage._filters'
    """
    if not _saved:
        return
    import scipy.fft
    for (module, name), value in _saved.items():
        setattr(module, name, value)
    _saved.clear()
    scipy.fft.set_global_backend("scipy")


@contextlib.contextmanager
def patched():
    """Context manager: patch() on entry, unpatch() on exit, unless the faces were already in place.

    Returns
    -------
    context manager

    Examples
    --------
    >>> import numpy as np, scipy.signal, vlmathdsp.scipy
    >>> with vlmathdsp.scipy.patched():
    ...     scipy.signal.lfilter([1.0], [1.0, -0.5], np.ones(3))
    array([1.  , 1.5 , 1.75])
    """
    already = bool(_saved)
    patch()
    try:
        yield
    finally:
        if not already:
            unpatch()


def __getattr__(name):
    if name in _FACES:
        import importlib
        return importlib.import_module(f"{__name__}.{name}")
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")


def __dir__():
    return sorted(__all__)
