"""Transforms along an axis of a chunked array, the axis made one chunk, and N-dimensional ones as
passes along each axis in turn. Plans are made once in each worker process and reused."""

import dask
import dask.array as da
import numpy as np
from dask.utils import parse_bytes

from .. import functions as vm
from ._tasks import as_dtype, complex_of, eager, host_dims, host_shape, real_class, task

_OPTIONS = ("symmetric", "nonsymmetric")


def _split(args):
    """(numbers, options): the leading numeric arguments, then the text options and their values."""
    for i, v in enumerate(args):
        if isinstance(v, str):
            return list(args[:i]), list(args[i:])
    return list(args), []


def _dtype(x, options, kind):
    real = real_class(x.dtype)
    if kind == "fourier":
        symmetric = any(isinstance(o, str) and o.lower().startswith("sym") for o in options)
        return np.dtype(real if symmetric else complex_of(real))
    return np.dtype(complex_of(real) if x.dtype.kind == "c" else real)


def _axis_of(fn, x, n, options):
    """The axis the engine takes when no dim is given, from a probe of x's pattern of singletons."""
    probe = np.zeros([1 if s == 1 else i + 2 for i, s in enumerate(x.shape)], x.dtype)
    size = 7 if n in (None, []) else None
    out = np.asarray(fn(probe, 7, *options) if size else fn(probe, n, *options))
    for d, (before, after) in enumerate(zip(probe.shape, out.shape)):
        if before != after or (size and after == 7):
            return d
    return 0


def _gathered(x, ax):
    """Chunks with the axis whole, and the dimensions before it too (the host's inner ones) when a
    chunk stays within dask's array.chunk-size: the engine's plans then see the whole array's
    strides and give its bits. Past that size a plan may differ in the last bits."""
    inner = int(np.prod(x.shape[:ax + 1], dtype=np.int64))
    outer = max((max(c) if c else 0 for c in x.chunks[ax + 1:]), default=1)
    limit = parse_bytes(dask.config.get("array.chunk-size"))
    whole = inner * outer * x.dtype.itemsize * 2 <= limit
    return {d: -1 for d in range(ax + 1)} if whole else {ax: -1}


def along(fn, x, args, kind):
    """fn(x, n, dim, *options) with x's dimension dim one chunk."""
    x = da.asarray(x)
    if x.ndim == 1:  # the host's row
        out = along(fn, x.reshape(host_dims(x.shape)), args, kind)
        return out.reshape(host_shape(out.shape, True)) if out.ndim == 2 else out
    numbers, options = _split(args)
    fn(np.zeros((1,) * max(x.ndim, 1), x.dtype), *args)  # the engine's checks of the arguments
    dtype = _dtype(x, options, kind)
    if x.size == 0 or x.ndim == 0 or len(numbers) > 2:
        return eager(x, lambda v: fn(v, *args), dtype)
    n = numbers[0] if numbers else None
    ax = int(numbers[1]) - 1 if len(numbers) > 1 else _axis_of(fn, x, n, options)
    if ax >= x.ndim:  # each element alone: no axis to gather
        return x.map_blocks(task(lambda b: as_dtype(fn(b, n, ax + 1, *options), dtype).reshape(b.shape)),
                            dtype=dtype) if n in (None, []) else eager(x, lambda v: fn(v, *args), dtype)
    length = x.shape[ax] if n in (None, []) else int(n)
    x = x.rechunk(_gathered(x, ax))
    chunks = x.chunks[:ax] + ((length,),) + x.chunks[ax + 1:]

    def block(b):
        shape = b.shape[:ax] + (length,) + b.shape[ax + 1:]
        return as_dtype(fn(b, [] if n is None else n, ax + 1, *options), dtype).reshape(shape)

    return x.map_blocks(task(block), chunks=chunks, dtype=dtype, meta=np.empty((0,) * x.ndim, dtype))


def passes(fn, x, args, kind):
    """An N-dimensional transform as fn (the 1-d one) along each dimension in turn, padded or cut
    to siz when given."""
    x = da.asarray(x)
    if x.ndim == 1:  # the host's row
        out = passes(fn, x.reshape(host_dims(x.shape)), args, kind)
        return out.reshape(host_shape(out.shape, True))
    numbers, options = _split(args)
    siz = list(np.ravel(numbers[0])) if numbers else list(x.shape)
    if x.size == 0 or len(numbers) > 1 or len(siz) < x.ndim:
        return eager(x, lambda v: fn(v, *args), _dtype(x, options, kind))
    if len(siz) > x.ndim:
        x = x.reshape(x.shape + (1,) * (len(siz) - x.ndim))
    real_input = x.dtype.kind != "c"
    plain = [o for o in options if not (isinstance(o, str) and o.lower() in _OPTIONS)]
    for d, n in enumerate(siz):  # a symmetric inverse makes its last pass the real one
        x = along(fn, x, [int(n), d + 1] + (options if d == len(siz) - 1 else plain), kind)
    if fn is vm.fft and real_input:
        x = _mirrored(x)
    return x


def _mirrored(X):
    """A forward transform of real input made conjugate symmetric to the last bit, as the engine's
    N-dimensional one is: of each element and its mirror (-index mod shape), the one later in
    column-major order becomes the conjugate of the other, and an element its own mirror loses its
    imaginary part."""
    axes = tuple(range(X.ndim))
    mirror = da.conj(da.roll(da.flip(X, axes), (1,) * X.ndim, axes)).rechunk(X.chunks)
    shape = X.shape

    def pick(own, other, block_info=None):
        index = np.indices(own.shape) + np.array([lo for lo, _ in block_info[0]["array-location"]]).reshape(
            (-1,) + (1,) * own.ndim)
        linear = np.ravel_multi_index(tuple(index), shape, order="F")
        mirrored = np.ravel_multi_index(tuple((-i) % n for i, n in zip(index, shape)), shape, order="F")
        out = np.where(mirrored < linear, other, own)
        return np.where(mirrored == linear, out.real.astype(own.dtype), out)

    return da.map_blocks(pick, X, mirror, dtype=X.dtype)
