"""The engine's entry points by name, in one table (the table's slots and the package functions),
and the calls that the package and its faces make of them."""

import functools

import numpy as np

from . import _vlmathdsp
from .errors import Error

_TRANSFORM = "veltra.internal.math.transform."

#: Slots of the library's table, by the name of their Python function.
SLOTS = {
    "conv_forward": 0, "conv_backward": 1, "conv2": 2, "convn": 3, "fft": 4, "ifft": 5, "fftn": 6, "ifftn": 7,
    "fftw": 8, "filter": 9, "ltitr": 11, "max_pool": 12, "avg_pool": 13, "avg_pool_backward": 14,
    "window_norm": 15,
}

#: Package functions, by the name of their Python function.
FUNCTIONS = {
    **{name: _TRANSFORM + "vl" + name for name in
       ("dct", "idct", "dst", "idst", "dctn", "idctn", "dstn", "idstn")},
    "strided_convn": "veltra.internal.math.stridedConvn",
    "conv_part": "veltra.internal.math.convPart",
    "fftw_version": "veltra.internal.language.versionPlugins.fftwVersionInfo",
}


def describe(value):
    """An argument in a few words: an array's shape and class, a short value's repr."""
    short = isinstance(value, (list, tuple)) and len(value) <= 6 and all(
        isinstance(v, (bool, int, float, np.number)) for v in value)
    if isinstance(value, (str, bool, int, float, complex)) or value is None or short:
        text = repr(list(value)) if short else repr(value)
        return text if len(text) <= 40 else text[:37] + "..."
    shape = getattr(value, "shape", None)
    dtype = getattr(value, "dtype", None)
    if shape is None or dtype is None:
        try:
            array = np.asarray(value)
            shape, dtype = array.shape, array.dtype
        except Exception:
            return type(value).__name__
    return "x".join(str(d) for d in shape) + f" {dtype}" if shape else f"scalar {dtype}"


def calling(run, args):
    """run(), its Error told which arguments it was called with."""
    try:
        return run()
    except Error as e:
        if not e.called_with:
            e.called_with = ", ".join(describe(a) for a in args)
        raise


def run(name, *args, nargout=1, principal=0):
    """The built-in `name` (a key of SLOTS or FUNCTIONS) with the host's arguments."""
    slot = SLOTS.get(name)
    if slot is not None:
        return calling(lambda: _vlmathdsp.call_slot(slot, args, nargout, principal), args)
    return calling(lambda: _vlmathdsp.call_function(FUNCTIONS[name], args, nargout, principal), args)


def complex_of_vector(name):
    """The slot's call f(x[, n]) for a small call: its result for a non-empty native 1-d ndarray x
    of the engine's floating types (and a length n), as complex of x's precision; None for any
    other x."""
    return functools.partial(_vlmathdsp.complex_of_vector, SLOTS[name])


def vectors_of_one_type(name, principal, quiet=False):
    """The slot's call f(*arrays) for a small call: its result for non-empty native 1-d ndarrays of
    one of the engine's floating types, as that type; None for any other arrays. Errors are the
    engine's, not told the arguments: a caller that takes this path falls back to a full call.
    A quiet call answers None for an error too."""
    call = _vlmathdsp.try_vectors_of_one_type if quiet else _vlmathdsp.vectors_of_one_type
    return functools.partial(call, SLOTS[name], principal)


def half_spectrum(x, n, dim):
    """The real-to-complex transform of x along the one-based dimension dim, padded or cut to n,
    kept to its n // 2 + 1 non-negative frequencies."""
    return _vlmathdsp.half_spectrum(x, n, dim)


def get_num_threads():
    """The thread count of this Python thread's calls."""
    return _vlmathdsp.get_num_threads()


def set_thread_num_threads(count):
    """The thread count of this Python thread's calls (0: the process's)."""
    _vlmathdsp.set_thread_num_threads(count)
