"""The loaded library and the generic entry points."""

import operator
import os

import numpy as np

from .errors import Error, HostWarning


def _extension():
    """The compiled extension; a package folder without it says how to build it."""
    import importlib.util
    if importlib.util.find_spec(f"{__package__}._vlmathdsp") is None:
        raise ImportError(f"vlmathdsp: the compiled extension _vlmathdsp is missing from {os.path.dirname(__file__)}; "
                          "build it with `bash scripts/setup.sh` (then PYTHONPATH=build/python) or `pip install .`")
    from . import _vlmathdsp
    return _vlmathdsp


_vlmathdsp = _extension()


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

#: The file of the library loaded: the copy for the newest instruction set this processor runs
#: (libvlmathdsp-x86-64-v4.so, -x86-64-v3.so, or the baseline libvlmathdsp.so; VLMATHDSP_ISA
#: asks for one). Results are the same bits with each.
MODULE_PATH = _vlmathdsp.module_path()

#: The largest thread count set_num_threads takes.
MAX_THREADS = _vlmathdsp.max_threads

from ._engine import calling as _calling  # noqa: E402  (after the extension is loaded)


def call(slot, *args, nargout=1, principal=0):
    """Calls a slot of the library's table with the host's arguments.

    Parameters
    ----------
    slot : int
        The slot (0 conv_forward ... 15 window_norm; 11 is ltitr).
    *args
        Arrays, numbers, str, None or [] (the empty 0-by-0 double array) or string arrays.
    nargout : int, optional
        Results asked for (default 1).
    principal : int, optional
        The argument whose 1-d form makes vector results 1-d (-1 for none).

    Returns
    -------
    object or tuple
        One result, or a tuple of nargout.

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.call(11, np.array([[0.5]]), np.array([[1.0]]), np.ones((2, 1)))
    array([[0.],
           [1.]])
    """
    return _calling(lambda: _vlmathdsp.call_slot(operator.index(slot), tuple(args), operator.index(nargout),
                                                 int(principal)), args)


def call_function(name, *args, nargout=1, principal=0):
    """Calls a package function by its full dotted name.

    Parameters
    ----------
    name : str
        As "veltra.internal.math.transform.vldct".
    *args, nargout, principal
        As in call.

    Returns
    -------
    object or tuple

    Examples
    --------
    >>> import vlmathdsp as vm
    >>> vm.call_function("veltra.internal.language.versionPlugins.fftwVersionInfo", principal=-1)[:6]
    'fftw-3'
    """
    if not isinstance(name, str):
        raise TypeError("vlmathdsp: a function name must be a str")
    return _calling(lambda: _vlmathdsp.call_function(name, tuple(args), operator.index(nargout), int(principal)),
                    args)


def set_num_threads(n):
    """Bounds the parallelism of every later call in the process.

    Parameters
    ----------
    n : int
        1 to MAX_THREADS, else Error VELTRA:threadCount. Results do not depend on it.

    Returns
    -------
    None

    Examples
    --------
    >>> import vlmathdsp as vm
    >>> before = vm.get_num_threads()
    >>> vm.set_num_threads(1); vm.get_num_threads()
    1
    >>> vm.set_num_threads(before)
    """
    _vlmathdsp.set_num_threads(operator.index(n))


def get_num_threads():
    """The thread count of this Python thread's calls.

    Returns
    -------
    int
        The count set for this thread's calls (SciPy faces' workers), else the process's.

    Examples
    --------
    >>> import vlmathdsp as vm
    >>> 1 <= vm.get_num_threads() <= vm.MAX_THREADS
    True
    """
    return _vlmathdsp.get_num_threads()
