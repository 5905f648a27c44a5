"""The loaded library and the generic entry points."""

import os

from . import _vlmathdsp
from .errors import Error, HostWarning

_vlmathdsp.load(os.path.join(os.path.dirname(__file__), "libvlmathdsp.so"), Error, HostWarning)


def call(slot, *args, nargout=1, principal=0):
    """Calls table slot `slot` with the host's arguments. `principal` is the argument whose
    1-d form makes vector results 1-d (-1 for none)."""
    return _vlmathdsp.call_slot(int(slot), tuple(args), int(nargout), int(principal))


def call_function(name, *args, nargout=1, principal=0):
    """Calls a package function by its full dotted name."""
    return _vlmathdsp.call_function(str(name), tuple(args), int(nargout), int(principal))


def set_num_threads(n):
    """Bounds the parallelism of every later call in the process."""
    n = int(n)
    if n < 1:
        raise ValueError("set_num_threads: the count must be at least 1")
    _vlmathdsp.set_num_threads(n)


def get_num_threads():
    return _vlmathdsp.get_num_threads()
