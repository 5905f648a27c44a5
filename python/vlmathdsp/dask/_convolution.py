"""conv2, convn, convnc and strided_convn over a chunked first operand."""

import dask
import dask.array as da
import numpy as np
from dask.core import istask
from dask.delayed import Delayed
from dask.graph_manipulation import bind
from dask.highlevelgraph import HighLevelGraph, MaterializedLayer

from .. import functions as vm
from .._engine import run
from ._tasks import eager, host_dims, host_shape, real_class, result_dtype
from ._windows import Axis, cut_full, windowed

_MODES = ("full", "same", "valid")


def _mode(shape, probe):
    """The mode's name; a text the engine refuses raises its own error from a probe call."""
    if isinstance(shape, str) and shape:
        for m in _MODES:
            if m.startswith(shape.lower()):
                return m
    probe()
    raise ValueError(f"vlmathdsp.dask: shape must be 'full', 'same' or 'valid', got {shape!r}")


def _axis(mode, m, k, least_read=0):
    if mode == "full":
        return Axis(m, k, 0, m + k - 1, 1, least_read)
    if mode == "same":
        return Axis(m, k, k // 2, m, 1, least_read)
    return Axis(m, k, k - 1, max(m - k + 1, 0), 1, least_read)


# The separable form runs a pass along C's own runs when they are longer than the vector and than
# this, else along the vector; a task's part of C must choose as the whole does.
_SHORT_RUN = 16


def _long_run(m, k):
    return max(k, _SHORT_RUN) + 1 if m > k and m > _SHORT_RUN else 0


def _padded(A, kernel_shape):
    """A in the host's form, with trailing axes of length 1 up to the kernel's dimensions."""
    shape, kernel = host_dims(A.shape), host_dims(kernel_shape)
    n = max(len(shape), len(kernel))
    return A.reshape(shape + (1,) * (n - len(shape))), kernel + (1,) * (n - len(kernel))


# conv2 of two vectors picks its kernel, and which operand leads, from their lengths: a dot form
# for a short side of 256 to 512 and a long one up to 1024, a phased form (double) for a short
# side up to 128 and a long one from 524288 on, else scaled runs led by the longer operand unless
# the long side is past 262144 and 51 times the short one. A task's part must fall in the whole's.
_DOT, _PHASED, _AXPY_LONG, _AXPY_RATIO = (256, 512, 1024), (128, 524288, 524288 + 33030145), 262144, 51


def _vector_kind(m, k, double):
    small, large = min(m, k), max(m, k)
    if _DOT[0] <= small <= _DOT[1] and large <= _DOT[2]:
        return "dot", m > k
    if double and small <= _PHASED[0] and _PHASED[1] <= large < _PHASED[2]:
        return "phased", m > k
    if large <= _AXPY_LONG or large < _AXPY_RATIO * small:
        return "axpy", m > k
    return "axpy", m < k


def _vector_least_read(m, k, double):
    """The shortest part of a vector of m whose conv2 with k takes the whole vector's kernel, when
    every part from it up to m does (lengths where the kind changes are the edges tried)."""
    if m <= k + 1:
        return m
    edges = sorted({k + 1, _DOT[2] + 1, _AXPY_LONG + 1, _AXPY_RATIO * k, _PHASED[1], _PHASED[2], m})
    edges = [e for e in edges if k + 1 <= e <= m]
    want, least = _vector_kind(m, k, double), m
    for e in reversed(edges):
        if _vector_kind(e, k, double) != want:
            break
        least = e
    return least


# A part of the first operand is convolved with the whole's sizes and facts given, which choose
# the engine's path, operand order and loop order: the part's window then has the whole's bits.


def _working(a):
    """An operand in the engine's classes (single or double, real or complex), as it converts."""
    a = np.asarray(a)
    return a if a.dtype in (np.float32, np.float64, np.complex64, np.complex128) else a.astype(np.float64)


def _block_facts(block):
    return np.count_nonzero(block), bool(np.isfinite(block).all())


def _whole_facts(parts):
    return float(sum(n for n, _ in parts)), float(all(f for _, f in parts))


def _facts(P, given):
    """What the engine's choice of path reads of the whole first operand P (its count of non-zero
    elements and whether all are finite, as a pair of floats or a Delayed of one), and P to read
    the parts from. Unless the caller gives the facts, a pass over P's chunks in the graph counts
    them, and the parts are P's chunks made anew once that pass is done, so that no chunk waits
    in memory for the count: building the graph computes nothing."""
    if given is not None:
        if isinstance(given, str) and given == "dense":
            return (float(P.size), 1.0), P
        try:
            nonzeros, finite = given
            return (float(nonzeros), float(bool(finite))), P
        except (TypeError, ValueError):
            raise ValueError(f"vlmathdsp.dask: facts must be 'dense' or (non-zeros, all finite), got {given!r}") from None
    counted = dask.delayed(_whole_facts)([dask.delayed(_block_facts)(b) for b in P.to_delayed().ravel()])
    held = _held(P)
    if set(P.__dask_layers__()) <= set(held):
        return counted, P  # P's chunks are data: the parts wait for the count with nothing to hold
    omit = [Delayed(next(iter(P.dask.layers[name])), HighLevelGraph({name: P.dask.layers[name]}, {name: set()}),
                    layer=name) for name in held]
    return counted, bind(P, counted, omit=omit, seed=P.name)


def _held(P):
    """The names of P's layers whose chunks are arrays already (an array given whole, persisted
    chunks): nothing in them is made anew, or sent twice. Layers of small plain values (the
    block information of map_blocks) are made anew with the rest, so that the parts' roots stay
    roots that the scheduler releases a few at a time."""
    def data(v):
        return not istask(v) and (isinstance(v, np.ndarray) or type(v).__name__ == "Future")
    return [name for name, layer in P.dask.layers.items()
            if isinstance(layer, MaterializedLayer) and len(layer) and all(data(v) for v in layer.values())]


def _vec(values):
    return np.asarray(values, dtype=np.float64).reshape(1, -1)


def _convolve(A, kernel_shape, mode, dtype, full_of, whole, vector, separable=False, vectors=None, part=None,
              given=None):
    """A convolved by a kernel of kernel_shape in mode: full_of(sub) is the engine's full result,
    whole(a) its result in mode, part(sub, size, facts, lo, hi) the window [lo, hi) of a part's full
    result given the whole's size and facts (the caller's, given, or counted in the graph); vectors,
    for conv2 of two vectors, whether both are double."""
    A = da.asarray(A)
    P, ks = _padded(A, kernel_shape)
    if P.size == 0 or 0 in ks:
        return eager(A, whole, dtype)
    # A task's part is never shorter than the kernel, which the engine would take as the image.
    least = [max(k + 1, _long_run(m, k) if separable else 0) for m, k in zip(P.shape, ks)]
    long_axes = [d for d, (m, k) in enumerate(zip(P.shape, ks)) if m != 1 or k != 1]
    matrix_vectors = P.ndim == 2 and len(long_axes) == 1
    if vectors is not None and matrix_vectors:
        d = long_axes[0]
        least[d] = max(least[d], _vector_least_read(P.shape[d], ks[d], vectors))
    axes = [_axis(mode, m, k, r) for m, k, r in zip(P.shape, ks, least)]
    # Two vectors take their kernel from their lengths alone, which the least read keeps.
    shape = P.shape
    if part is None or matrix_vectors:
        def engine(sub, firsts, counts):
            full = np.asarray(full_of(sub)).reshape(tuple(s + k - 1 for s, k in zip(sub.shape, ks)))
            return cut_full(full, firsts, counts)
        out = windowed(P, axes, dtype, engine, keep_chunks=mode == "same")
    else:
        def engine(sub, firsts, counts, facts):
            return part(sub, shape, facts, firsts, [f + c for f, c in zip(firsts, counts)])
        facts, P = _facts(P, given)
        out = windowed(P, axes, dtype, engine, keep_chunks=mode == "same", facts=facts)
    return out.reshape(host_shape(out.shape, vector))


def conv2(*args, facts=None):
    """vlmathdsp.conv2 of a chunked A (or C, with the separable kernel u v'): conv2(A, B[, shape])
    or conv2(u, v, C[, shape]), B, u and v being NumPy arrays held whole by every task; facts as
    in convnc."""
    separable = len(args) >= 3 and not isinstance(args[2], str)
    if separable:
        u, v, A = np.asarray(args[0]), np.asarray(args[1]), da.asarray(args[2])
        kernel, rest, shape = (u.size, v.size), args[3:], (args[3] if len(args) > 3 else "full")
        operands = (u, v)
    else:
        A, B = da.asarray(args[0]), np.asarray(args[1])
        kernel, rest, shape = B.shape, args[2:], (args[2] if len(args) > 2 else "full")
        operands = (B,)
    small = np.zeros((1,) * max(A.ndim, 1), A.dtype)  # stands for A in calls that only check
    if len(rest) > 1 or A.ndim > 2 or any(np.ndim(o) > 2 for o in operands):
        vm.conv2(*(operands + (small,) + tuple(rest) if separable else (small,) + operands + tuple(rest)))
        raise ValueError("vlmathdsp.dask.conv2: A must have at most two dimensions")
    dtype = result_dtype(A.dtype, *(o.dtype for o in operands))
    mode = _mode(shape, lambda: vm.conv2(*(operands + (small,) if separable else (small,) + operands), shape))

    def call(a, m):
        return vm.conv2(*(operands + (a, m) if separable else (a,) + operands + (m,)))

    vectors = None if separable else real_class(A.dtype) == real_class(B.dtype) == np.float64
    part = None if separable else _part_of("conv2", _working(B), mode)
    return _convolve(A, kernel, mode, dtype, lambda a: call(a, "full"), lambda a: call(a, mode), A.ndim == 1,
                     separable, vectors, part, facts)


def _part_of(name, B, mode):
    def part(sub, size, facts, lo, hi):
        return run("conv_part", name, _working(sub), B, mode, _vec(size), *facts, _vec(lo), _vec(hi))
    return part


def convnc(A, B, shape, facts=None):
    """vlmathdsp.convnc of a chunked A by a NumPy kernel B. The engine's path follows the whole A's
    count of non-zeros and finiteness: a pass over A in the graph counts them, and A's chunks are
    read again after it. facts="dense" (or the pair (non-zeros, all finite)) says them instead and
    saves that pass; the result then has the one machine's bits when they are true."""
    A, B = da.asarray(A), np.asarray(B)
    dtype = result_dtype(A.dtype, B.dtype)
    mode = _mode(shape, lambda: vm.convnc(np.zeros((1,) * max(A.ndim, 1), A.dtype), B, shape))
    vectors = real_class(A.dtype) == real_class(B.dtype) == np.float64
    return _convolve(A, B.shape, mode, dtype, lambda a: vm.convnc(a, B, "full"), lambda a: vm.convnc(a, B, mode),
                     A.ndim == 1, vectors=vectors, part=_part_of("convnc", B, mode), given=facts)


def convn(A, B, shape="full", facts=None):
    """vlmathdsp.convn of a chunked A by a NumPy kernel B; facts as in convnc."""
    return convnc(A, B, shape, facts)


def _per_dim(value, nd, default, first_only):
    """A stride or corner as one whole number per dimension: a scalar is every dimension's (or,
    with first_only, dimension 1's, the others keeping their default)."""
    v = np.ravel(np.asarray(value, dtype=np.float64))
    if v.size == 1:
        return [int(v[0])] * nd if not first_only else [int(v[0])] + list(default[1:])
    if v.size > nd or np.any(v != np.floor(v)):
        raise ValueError(f"vlmathdsp.dask.strided_convn: {value!r} does not give one whole number per dimension")
    return [int(t) for t in v] + list(default[v.size:])


def strided_convn(A, B, *args, facts=None):
    """vlmathdsp.strided_convn of a chunked A: strided_convn(A, B[, stride[, startIndex[, endIndex]]][,
    option]); each task samples the full result over the outputs of its chunk; facts as in convnc."""
    A, B = da.asarray(A), np.asarray(B)
    options = [v for v in args if isinstance(v, str)]
    numbers = [v for v in args if not isinstance(v, str)]
    small = np.zeros((1,) * max(A.ndim, 1), A.dtype)  # stands for A in calls that only check
    vm.strided_convn(small, B, *options)  # the engine's checks of the option
    if len(numbers) > 3 or len(options) > 1:
        vm.strided_convn(small, B, *args)
    dtype = result_dtype(A.dtype, B.dtype)
    P, ks = _padded(A, B.shape)
    nd = P.ndim
    full = [m + k - 1 for m, k in zip(P.shape, ks)]
    stride = _per_dim(numbers[0], nd, [1] * nd, False) if numbers else [1] * nd
    start = _per_dim(numbers[1], nd, [1] * nd, True) if len(numbers) > 1 else [1] * nd
    end = _per_dim(numbers[2], nd, full, True) if len(numbers) > 2 else full
    if any(s < 1 for s in stride) or any(not 1 <= s <= f for s, f in zip(start, full)) or \
            any(e > f for e, f in zip(end, full)) or P.size == 0 or 0 in ks:
        return eager(A, lambda a: vm.strided_convn(a, B, *args), dtype)  # the engine decides
    counts = [max((e - s) // t + 1, 0) for s, e, t in zip(start, end, stride)]
    axes = [Axis(m, k, s - 1, n, t, k + 1) for m, k, s, n, t in zip(P.shape, ks, start, counts, stride)]
    if 0 in counts:
        return eager(A, lambda a: vm.strided_convn(a, B, *args), dtype)
    Bw = _working(B)
    is_corr = float(bool(options) and options[0][:3].lower() == "cor")

    def box(firsts, shape):
        return _vec(firsts), _vec([f + (c - 1) * t + 1 for f, c, t in zip(firsts, shape, stride)])

    whole = box([s - 1 for s in start], counts)

    size = P.shape

    def engine(sub, firsts, shape, facts):
        return run("conv_part", "strided", _working(sub), Bw, _vec(stride), _vec(size), *facts,
                             *box(firsts, shape), *whole, is_corr)

    counted, P = _facts(P, facts)
    out = windowed(P, axes, dtype, engine, keep_chunks=False, facts=counted)
    return out.reshape(host_shape(out.shape, A.ndim == 1))
