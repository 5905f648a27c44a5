"""filter and lfilter along a chunked axis, and ltitr over a long input split in time: each chunk
starts from the state the chunk before it left, so the result is the one machine's, bit for bit."""

import dask.array as da
import numpy as np

from .. import functions as vm
from ._carry import carried_state, normalised
from ._scan import gathered, scan
from ._tasks import (as_dtype, bounds, complex_of, eager, host_dims, host_shape, least_chunks, real_class,
                     result_dtype, task)


_NONE = np.zeros((0, 0))  # no initial conditions


def _dim_unless_first(shape, dim):
    """(dim,), or () when it is the first dimension that is not 1: the engine copies the array into
    the filtered dimension's order whenever a dimension is named."""
    first = next((d + 1 for d, n in enumerate(shape) if n != 1), 1)
    return () if dim == first else (dim,)


def _whole_number(v):
    """v as a positive int, or None when it is not one."""
    try:
        f = float(v)
        return int(f) if f == int(f) and f >= 1 else None
    except (TypeError, ValueError, OverflowError):
        return None


def filter(b, a, x, *rest, nargout=1):
    """vlmathdsp.filter of a chunked x: filter(b, a, x[, zi[, dim]], nargout=1); b, a and zi are
    NumPy arrays. The final conditions, with nargout=2, are a dask array too."""
    b, a, x = np.asarray(b), np.asarray(a), da.asarray(x)
    zi = np.asarray(rest[0]) if rest and rest[0] is not None else np.zeros((0, 0))
    hs = host_dims(x.shape)
    dim1 = rest[1] if len(rest) > 1 else next((d + 1 for d, n in enumerate(hs) if n != 1), 1)
    d = _whole_number(dim1)
    probe = list(hs) + [1] * max((d or 0) - len(hs), 0)
    probe[(d or 1) - 1] = 0
    _, zf0 = vm.filter(b, a, np.zeros(probe, x.dtype), zi, dim1, nargout=2)  # the engine's checks
    if d is None:
        raise ValueError(f"vlmathdsp.dask.filter: dim must be a positive whole number, got {dim1!r}")
    dim1 = d
    shape = hs + (1,) * (dim1 - len(hs))
    ax = dim1 - 1
    others = shape[:ax] + shape[ax + 1:]
    operands = [b, a, x] + ([zi] if zi.size else [])
    real = real_class(*(o.dtype for o in operands))
    dtype = result_dtype(*(o.dtype for o in operands))
    fir = a.size == 1
    order = max(b.size, 1) - 1 if fir else max(a.size, b.size) - 1
    vector = x.ndim == 1

    if x.size == 0 or b.size == 0 or a.size == 0 or (order == 0 and (nargout == 2 or not fir)):
        if nargout == 1:
            return eager(x, lambda v: vm.filter(b, a, v, *rest), dtype)
        results = vm.filter(b, a, np.asarray(x.compute()), *rest, nargout=2)
        return tuple(eager(r, lambda v: v, dtype) for r in results)

    xs = x.reshape(shape)
    if nargout >= 2 or fir:
        xs = xs.rechunk({ax: least_chunks(xs.chunks[ax], max(order, 1))})
    z0 = as_dtype(zf0, dtype).reshape((order,) + others) if zi.size else None
    bn, an = normalised(b, a.flat[0], real), normalised(a, a.flat[0], real)
    work = complex_of(real) if dtype.kind == "c" else real
    total = shape[ax]
    other_bounds = [np.cumsum((0,) + c) for c in xs.chunks[:ax] + xs.chunks[ax + 1:]]

    def first_state(other):
        if z0 is None:
            return None
        return z0[(slice(None),) + tuple(slice(bd[i], bd[i + 1]) for bd, i in zip(other_bounds, other))]

    def engine(block, state, nargout=2):
        """The engine's y (and zf) of a chunk starting from state, in the chunk's layout."""
        ob = block.shape[:ax] + block.shape[ax + 1:]
        if block.ndim >= 2 and block.flags.c_contiguous and not block.flags.f_contiguous:
            # A C-ordered chunk is the host's array with its dimensions reversed: no copies. Its
            # columns run in C order of the other dimensions.
            zi = _NONE if state is None else state.reshape(order, -1)
            r = vm.filter(b, a, block.T, zi, *_dim_unless_first(block.shape[::-1], block.ndim - ax), nargout=nargout)
            y = as_dtype(r[0] if nargout == 2 else r, dtype).reshape(block.shape[::-1]).T
            zf = as_dtype(r[1], dtype).reshape((order, -1), order="F").reshape((order,) + ob) if nargout == 2 else None
        else:
            zi = _NONE if state is None else state.reshape((order, -1), order="F")
            r = vm.filter(b, a, block, zi, *_dim_unless_first(block.shape, dim1), nargout=nargout)
            y = as_dtype(r[0] if nargout == 2 else r, dtype).reshape(block.shape)
            zf = as_dtype(r[1], dtype).reshape((order,) + ob) if nargout == 2 else None
        return y, zf

    if fir and nargout == 1:
        return _fir_by_overlap(xs, ax, order, engine, first_state, dtype).reshape(x.shape)

    def step(block, state, start, last):
        y, zf = engine(block, state)
        if fir or last:
            return y, zf, zf
        columns = lambda v: np.moveaxis(v, ax, 0).reshape(v.shape[ax], -1)
        xt = np.asarray(block, work if np.iscomplexobj(block) else real)
        zin = None if state is None else state.reshape(order, -1)
        z = carried_state(bn, an, columns(xt), columns(y), zin, order, dtype, total - start)
        return y, z.reshape(zf.shape), None

    meta = np.empty((0,) * xs.ndim, dtype)
    y, graph, last = scan(xs, ax, step, first_state, "vlmathdsp-filter", xs.chunks, dtype, meta)
    y = y.reshape(x.shape)
    if nargout == 1:
        return y
    zchunks = ((order,),) + xs.chunks[:ax] + xs.chunks[ax + 1:]
    zf = gathered(graph, last, "vlmathdsp-filter-zf", zchunks, dtype, np.empty((0,) * len(zchunks), dtype))
    return y, zf.reshape(host_shape(zf.shape, vector))


def _fir_by_overlap(xs, ax, order, engine, first_state, dtype):
    """An FIR filter's outputs with no state handed on: each chunk is filtered with the order
    samples before it in front, from zero, and keeps its own outputs, which sum the same terms in
    the same order as on one machine. Chunks run at once, along the axis too."""
    starts = bounds(xs.chunks[ax])

    def block(ext, block_info=None):
        index = block_info[0]["chunk-location"]
        begin = starts[index[ax]]
        skip = begin - max(begin - order, 0)
        state = first_state(index[:ax] + index[ax + 1:]) if begin == 0 else None
        y, _ = engine(ext, state, nargout=1)
        return y[(slice(None),) * ax + (slice(skip, None),)]

    return da.map_overlap(task(block), xs, depth={ax: (order, 0)}, boundary="none", trim=False,
                          chunks=xs.chunks, dtype=dtype, meta=np.empty((0,) * xs.ndim, dtype))


def lfilter(b, a, x, axis=-1, zi=None):
    """scipy.signal.lfilter of a chunked x along `axis`, on the engine's filter: (y) or, with zi,
    (y, zf) in SciPy's layout (zi of x's shape with the filter's order along axis)."""
    x = da.asarray(x)
    b, a = np.atleast_1d(np.asarray(b)), np.atleast_1d(np.asarray(a))
    dtype = np.result_type(b.dtype, a.dtype, x.dtype, *(() if zi is None else (np.asarray(zi).dtype,)))
    if dtype.kind in "biu":
        dtype = np.dtype(np.float64)
    b, a, x = b.astype(dtype), a.astype(dtype), x.astype(dtype)
    axis = axis % x.ndim if x.ndim else 0
    dim = 2 if x.ndim == 1 else axis + 1  # a vector is the host's row
    if zi is None:
        return filter(b, a, x, _NONE, dim)
    zi = np.moveaxis(np.asarray(zi, dtype), axis, 0)
    y, zf = filter(b, a, x, zi, dim, nargout=2)
    return y, da.moveaxis(zf.reshape(zi.shape), 0, axis)


def ltitr(A, B, U, *x0):
    """vlmathdsp.ltitr with U (one row per time step) chunked in time: each chunk starts from the
    state the last one reached. A, B and x0 are NumPy arrays."""
    A, B, U = np.asarray(A), np.asarray(B), da.asarray(U)
    vm.ltitr(A, B, np.zeros((0,) + U.shape[1:], U.dtype), *x0)  # the engine's checks
    dtype = result_dtype(A.dtype, B.dtype, U.dtype, *(np.asarray(v).dtype for v in x0))
    n = A.shape[0] if A.ndim == 2 else 1
    if U.size == 0 or U.ndim > 2:
        return eager(U, lambda u: vm.ltitr(A, B, u, *x0), dtype)
    U2 = U.reshape(host_dims(U.shape)).rechunk({1: -1})

    def step(block, state, start, last):
        # One row more: its state is where the next chunk starts, made by the same step.
        padded = np.concatenate([block, np.zeros((1, block.shape[1]), block.dtype)])
        X = as_dtype(vm.ltitr(A, B, padded, *([] if state is None else [state])), dtype).reshape(-1, n)
        return X[:-1], X[-1].copy(), None

    first = np.asarray(x0[0]) if x0 else None
    chunks = (U2.chunks[0], (n,))
    out, _, _ = scan(U2, 0, step, lambda other: first, "vlmathdsp-ltitr", chunks, dtype, np.empty((0, 0), dtype))
    return out
