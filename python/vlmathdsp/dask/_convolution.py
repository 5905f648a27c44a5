"""conv2, convn, convnc and strided_convn over a chunked first operand."""

import dask.array as da
import numpy as np

from .. import functions as vm
from ._tasks import eager, host_dims, host_shape, result_dtype
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


def _convolve(A, kernel_shape, mode, dtype, full_of, whole, vector, separable=False):
    """A convolved by a kernel of kernel_shape in mode: full_of(sub) is the engine's full result,
    whole(a) its result in mode."""
    A = da.asarray(A)
    P, ks = _padded(A, kernel_shape)
    if P.size == 0 or 0 in ks:
        return eager(A, whole, dtype)
    # A task's part is never shorter than the kernel, which the engine would take as the image.
    axes = [_axis(mode, m, k, max(k + 1, _long_run(m, k) if separable else 0)) for m, k in zip(P.shape, ks)]

    def engine(sub, firsts, counts):
        full = np.asarray(full_of(sub)).reshape(tuple(s + k - 1 for s, k in zip(sub.shape, ks)))
        return cut_full(full, firsts, counts)

    out = windowed(P, axes, dtype, engine, keep_chunks=mode == "same")
    return out.reshape(host_shape(out.shape, vector))


def conv2(*args):
    """vlmathdsp.conv2 of a chunked A (or C, with the separable kernel u v'): conv2(A, B[, shape])
    or conv2(u, v, C[, shape]), B, u and v being NumPy arrays held whole by every task."""
    separable = len(args) >= 3 and not isinstance(args[2], str)
    if separable:
        u, v, A = np.asarray(args[0]), np.asarray(args[1]), da.asarray(args[2])
        kernel, rest, shape = (u.size, v.size), args[3:], (args[3] if len(args) > 3 else "full")
        operands = (u, v)
    else:
        A, B = da.asarray(args[0]), np.asarray(args[1])
        kernel, rest, shape = B.shape, args[2:], (args[2] if len(args) > 2 else "full")
        operands = (B,)
    if len(rest) > 1 or A.ndim > 2 or any(np.ndim(o) > 2 for o in operands):
        vm.conv2(*args)  # the engine names what is wrong
    dtype = result_dtype(A.dtype, *(o.dtype for o in operands))
    small = np.zeros((1,) * max(A.ndim, 1), A.dtype)
    mode = _mode(shape, lambda: vm.conv2(*(operands + (small,) if separable else (small,) + operands), shape))

    def call(a, m):
        return vm.conv2(*(operands + (a, m) if separable else (a,) + operands + (m,)))

    return _convolve(A, kernel, mode, dtype, lambda a: call(a, "full"), lambda a: call(a, mode), A.ndim == 1,
                     separable)


def convnc(A, B, shape):
    """vlmathdsp.convnc of a chunked A by a NumPy kernel B."""
    A, B = da.asarray(A), np.asarray(B)
    dtype = result_dtype(A.dtype, B.dtype)
    mode = _mode(shape, lambda: vm.convnc(np.zeros((1,) * max(A.ndim, 1), A.dtype), B, shape))
    return _convolve(A, B.shape, mode, dtype, lambda a: vm.convnc(a, B, "full"), lambda a: vm.convnc(a, B, mode),
                     A.ndim == 1)


def convn(A, B, shape="full"):
    """vlmathdsp.convn of a chunked A by a NumPy kernel B."""
    return convnc(A, B, shape)
