"""NumPy arrays to the host's column-major view and back, without copies where the memory allows."""

import contextlib
import operator
import os

import numpy as np

from .. import _engine
from ..host import MAX_THREADS


class Unsupported(Exception):
    """A call the engine does not take: the face hands it to SciPy."""


class HostView:
    """x as a column-major host array: x read as its transpose, so that NumPy axis a is host
    dimension ndim - a. A C-ordered array enters as it is; another order is copied by the binding
    into the layout a C-ordered one has (one tiled copy, in parallel, without the GIL), so that a
    result never depends on the input's memory order. A vector is a column."""

    def __init__(self, x):
        self.ndim = x.ndim
        self.array = x.reshape(-1, 1) if x.ndim == 1 else x.T

    def dim(self, axis):
        """The host's one-based dimension of NumPy axis `axis` (already non-negative)."""
        return self.ndim - axis if self.ndim >= 2 else 1

    def back(self, result, shape):
        """The host's result as a C-ordered NumPy array of `shape`."""
        return np.asarray(result).reshape(tuple(shape)[::-1], order="F").T


def run_along(x, sizes, axes, whole, one, kept=None):
    """The engine along `axes` of x, padded or cut to `sizes`, as a C-ordered array: whole(array,
    host sizes) in one call when the axes are all of x's (and whole is given), else one(array, n,
    dim) axis by axis, the last axis first as the host's N-d calls go. kept(n) is the length a
    transform of n points leaves (n when not given)."""
    view = HostView(x)
    shape = list(x.shape)
    for n, a in zip(sizes, axes):
        shape[a] = kept(n) if kept else n
    r = view.array
    if whole is not None and x.ndim >= 2 and sorted(axes) == list(range(x.ndim)):
        r = whole(r, shape[::-1])
    else:
        for n, a in sorted(zip(sizes, axes), key=lambda p: -p[1]):
            r = one(r, n, view.dim(a))
    return view.back(r, shape)


def along(ndim, axis, index):
    """The index of x[..., index, ...] with index at `axis` of `ndim`."""
    where = [slice(None)] * ndim
    where[axis] = index
    return tuple(where)


def take(x, axis, index):
    """x[..., index, ...] with index at `axis`: a view for a slice."""
    return x[along(x.ndim, axis, index)]


def float_array(x):
    """x with SciPy's floating dtype: float16 to float32, integers and bools to float64; long
    doubles and other kinds are not the engine's."""
    x = np.asarray(x)
    if x.dtype == np.float16:
        return x.astype(np.float32)
    if x.dtype.kind in "biu":
        return x.astype(np.float64)
    if x.dtype.type not in (np.float32, np.float64, np.complex64, np.complex128):
        raise Unsupported
    if not x.dtype.isnative:
        x = x.astype(x.dtype.newbyteorder("="))
    return x


def complex_dtype(dtype):
    return np.complex64 if dtype in (np.float32, np.complex64) else np.complex128


def axis_index(axis, ndim):
    a = operator.index(axis)
    if not -ndim <= a < ndim:
        raise np.AxisError(a, ndim)
    return a % ndim


def thread_count(workers):
    """SciPy's workers: None for the library's own setting, negative counts from the core count."""
    if workers is None:
        return None
    w = operator.index(workers)
    cores = os.cpu_count() or 1
    if w < 0:
        if w < -cores:
            raise ValueError(f"workers value out of range; got {w}, must not be less than {-cores}")
        w += 1 + cores
    elif w == 0:
        raise ValueError("workers must not be zero")
    return min(w, MAX_THREADS)


@contextlib.contextmanager
def threads(workers):
    """The calls inside run on `workers` threads, in this Python thread only."""
    count = thread_count(workers)
    if count is None:
        yield
        return
    _engine.set_thread_num_threads(count)
    try:
        yield
    finally:
        _engine.set_thread_num_threads(0)
