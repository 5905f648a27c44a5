"""The loaded library and the generic entry points."""

import operator
import os

import numpy as np

from . import _vlmathdsp
from .errors import Error, HostWarning



def _numpy_max_dims():
    """The most dimensions a NumPy array may have (32 before NumPy 2, 64 since)."""
    for n in (64, 32):
        try:
            np.empty((1,) * n)
            return n
        except ValueError:
            pass
    return 32


# Results with more dimensions than NumPy holds are refused by the host before the work.
_vlmathdsp.load(os.path.join(os.path.dirname(__file__), "libvlmathdsp.so"), Error, HostWarning,
                _numpy_max_dims())

#: The largest thread count set_num_threads takes.
MAX_THREADS = _vlmathdsp.max_threads


def call(slot, *args, nargout=1, principal=0):
    """Calls table slot `slot` with the host's arguments. `principal` is the argument whose
    1-d form makes vector results 1-d (-1 for none)."""
    return _vlmathdsp.call_slot(operator.index(slot), tuple(args), operator.index(nargout), int(principal))


def call_function(name, *args, nargout=1, principal=0):
    """Calls a package function by its full dotted name."""
    if not isinstance(name, str):
        raise TypeError("vlmathdsp: a function name must be a str")
    return _vlmathdsp.call_function(name, tuple(args), operator.index(nargout), int(principal))


def set_num_threads(n):
    """Bounds the parallelism of every later call in the process: 1 to MAX_THREADS, else
    Error VELTRA:threadCount."""
    _vlmathdsp.set_num_threads(operator.index(n))


def get_num_threads():
    return _vlmathdsp.get_num_threads()
