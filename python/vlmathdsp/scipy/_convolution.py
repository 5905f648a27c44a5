"""convolve, correlate and their 2-D and FFT forms with scipy.signal's conventions, on the engine's
direct convolution or on its transforms, whichever costs less."""

import math
import operator
import warnings

import numpy as np

from .. import functions as vm
from . import fft as _fft
from ._layout import HostView, Unsupported

_MODES = ("full", "same", "valid")
_FLOATS = (np.float32, np.float64, np.complex64, np.complex128)
_SINGLE = (np.float32, np.complex64)

# The transforms' path is taken where the direct sum's multiply-adds exceed this many times
# N log2 N of the full size N (2 cores: even at 15 for 2^20 against 301 points and 512 x 512
# against 17 x 17, the transforms 2 times faster at 45 for 1024 x 1024 against 31 x 31).
FFT_PER_DIRECT = 20.0
# A long sequence against one this many times shorter goes through the transforms in blocks of
# OVERLAP_BLOCK times the shorter one's length, rounded up to a power of two.
OVERLAP_RATIO = 16
OVERLAP_BLOCK = 8
# The same threshold for the blocks, against their nfft log2 nfft summed (2^20 against 65 points:
# direct 2.5 ms, blocks 5.9 ms at 6; against 129: 12.3 and 5.8 ms at 11).
OVERLAP_PER_DIRECT = 8.0


def operands(in1, in2, names="in1 and in2", integers=False):
    """in1, in2 in their common floating dtype; other kinds, empty and 0-d inputs are SciPy's.
    With integers, integer inputs come as float64 too, where every sum is exact (see
    integer_result)."""
    in1, in2 = np.asarray(in1), np.asarray(in2)
    if in1.ndim != in2.ndim:
        raise ValueError(f"{names} should have the same dimensionality: {in1.ndim} and {in2.ndim}")
    dtype = np.result_type(in1, in2)
    if in1.size == 0 or in2.size == 0 or in1.ndim == 0:
        raise Unsupported
    if integers and dtype.kind in "iu" and _exact_in_double(in1, in2, dtype):
        return in1.astype(np.float64), in2.astype(np.float64)
    if dtype.type not in _FLOATS:
        raise Unsupported
    return in1.astype(dtype, copy=False), in2.astype(dtype, copy=False)


def _exact_in_double(in1, in2, dtype):
    """Whether every sum of products of in1 and in2 is bounded by max |in1| times the sum of |in2|
    below 2^53 and the integer type's largest value: then double precision holds it exactly, and
    SciPy's integer arithmetic does not wrap."""
    big = float(np.max(np.abs(in1.astype(np.float64)))) * float(np.sum(np.abs(in2.astype(np.float64))))
    return big < min(2.0 ** 53, float(np.iinfo(dtype).max))


def integer_result(out, in1, in2):
    """The result in the inputs' integer type, rounded from the transforms' approximation, as
    SciPy returns it; floating results as they are."""
    dtype = np.result_type(in1, in2)
    if dtype.kind not in "iu":
        return out
    return np.rint(out).astype(dtype)


def mode_of(mode):
    if mode not in _MODES:
        raise ValueError(f"Acceptable mode flags are 'valid', 'same', or 'full', not mode={mode}")
    return mode


def swap_needed(mode, s1, s2):
    """SciPy's valid mode takes the larger input first; one must be as large in every dimension."""
    if mode != "valid":
        return False
    if all(a >= b for a, b in zip(s1, s2)):
        return False
    if all(a <= b for a, b in zip(s1, s2)):
        return True
    raise ValueError("For 'valid' mode, one must be at least as large as the other in every dimension: "
                     f"{tuple(s1)} and {tuple(s2)}")


def _out_shape(mode, s1, s2):
    if mode == "full":
        return [a + b - 1 for a, b in zip(s1, s2)]
    if mode == "same":
        return list(s1)
    return [a - b + 1 for a, b in zip(s1, s2)]


def _centered(full, shape):
    start = [(f - s) // 2 for f, s in zip(full.shape, shape)]
    return full[tuple(slice(a, a + s) for a, s in zip(start, shape))]


def direct(in1, in2, mode, centre_low=True):
    """The engine's convolution, exact, in1 and in2 of one dtype. The engine centres "same" at
    k // 2 of the full result; SciPy's convolutions at (k - 1) // 2 (centre_low): a leading zero
    on each even length of in2 makes them one."""
    if swap_needed(mode, in1.shape, in2.shape):
        in1, in2 = in2, in1
    shape = _out_shape(mode, in1.shape, in2.shape)
    if mode == "same" and centre_low and any(k % 2 == 0 for k in in2.shape):
        in2 = np.pad(in2, [(1 - k % 2, 0) for k in in2.shape])
    a, b = HostView(in1), HostView(in2)
    run = vm.conv2 if in1.ndim <= 2 else vm.convn
    return a.back(run(a.array, b.array, mode), shape).astype(in1.dtype, copy=False)


def _wide(x):
    """Single precision as double: the transforms' rounding then stays below the result's."""
    return x.astype(np.complex128 if np.iscomplexobj(x) else np.float64) if x.dtype in _SINGLE else x


def by_transforms(in1, in2, mode):
    """The product of the spectra, at a length of small prime factors."""
    if swap_needed(mode, in1.shape, in2.shape):
        in1, in2 = in2, in1
    dtype = in1.dtype
    in1, in2 = _wide(in1), _wide(in2)
    real = not (np.iscomplexobj(in1) or np.iscomplexobj(in2))
    full = [a + b - 1 for a, b in zip(in1.shape, in2.shape)]
    import scipy.fft
    fast = [scipy.fft.next_fast_len(n, real) for n in full]
    axes = list(range(in1.ndim))
    if real:
        r = _fft.irfftn(_fft.rfftn(in1, fast, axes) * _fft.rfftn(in2, fast, axes), fast, axes)
    else:
        r = _fft.ifftn(_fft.fftn(in1, fast, axes) * _fft.fftn(in2, fast, axes), fast, axes)
    r = r[tuple(slice(0, n) for n in full)]
    return np.ascontiguousarray(_centered(r, _out_shape(mode, in1.shape, in2.shape))).astype(dtype, copy=False)


def overlap_add(in1, in2, mode):
    """One-dimensional: the longer input cut into blocks, each convolved with the shorter by one
    batch of transforms of a few times its length, the blocks' results added where they overlap."""
    if swap_needed(mode, in1.shape, in2.shape) or in2.size > in1.size:
        long, short = in2, in1
    else:
        long, short = in1, in2
    dtype = in1.dtype
    long, short = _wide(long), _wide(short)
    k = short.size
    nfft, step, blocks = _blocks(long.size, k)
    rows = np.zeros((blocks, step), long.dtype)
    rows.reshape(-1)[:long.size] = long
    real = not (np.iscomplexobj(long) or np.iscomplexobj(short))
    if real:
        r = _fft.irfft(_fft.rfft(rows, nfft) * _fft.rfft(short, nfft), nfft)
    else:
        r = _fft.ifft(_fft.fft(rows, nfft) * _fft.fft(short, nfft), nfft)
    full = np.zeros((blocks + 1) * step, r.dtype)  # the last block reaches k - 1 <= step past its start
    full[:blocks * step].reshape(blocks, step)[...] = r[:, :step]
    full[step:step + blocks * step].reshape(blocks, step)[:, :nfft - step] += r[:, step:]
    out = full[:long.size + k - 1]
    return np.ascontiguousarray(_centered(out, _out_shape(mode, in1.shape, in2.shape) if mode != "valid" else
                                          [long.size - k + 1])).astype(dtype, copy=False)


def _blocks(length, k):
    """The transform length, the step between blocks and their count for overlap_add."""
    nfft = 1 << (OVERLAP_BLOCK * k - 1).bit_length()
    step = nfft - k + 1
    return nfft, step, -(-length // step)


def _in_blocks(in1, in2):
    small, big = sorted((in1.size, in2.size))
    return in1.ndim == 1 and small * OVERLAP_RATIO <= big


def by_transforms_fastest(in1, in2, mode):
    """The transforms over the whole, or in blocks for a long sequence against a short one."""
    return overlap_add(in1, in2, mode) if _in_blocks(in1, in2) else by_transforms(in1, in2, mode)


def transforms_pay(in1, in2, mode):
    """Whether the transforms' path costs less than the direct sum."""
    big, small = (in2, in1) if swap_needed(mode, in1.shape, in2.shape) else (in1, in2)
    out = math.prod(_out_shape(mode, big.shape, small.shape))
    if _in_blocks(in1, in2):
        nfft, _, blocks = _blocks(max(in1.size, in2.size), min(in1.size, in2.size))
        return out * min(in1.size, in2.size) > OVERLAP_PER_DIRECT * blocks * nfft * math.log2(nfft)
    n = math.prod(a + b - 1 for a, b in zip(big.shape, small.shape))
    return out * small.size > FFT_PER_DIRECT * n * math.log2(max(n, 2))


def convolve(in1, in2, mode="full", method="auto"):
    given = np.asarray(in1), np.asarray(in2)
    mode = mode_of(mode)
    if method not in ("auto", "direct", "fft"):
        raise ValueError(f"Acceptable method flags are 'auto', 'direct', or 'fft', not method={method}")
    in1, in2 = operands(*given, "volume and kernel", integers=True)
    return integer_result(_floating_convolve(in1, in2, mode, method), *given)


def _floating_convolve(in1, in2, mode, method):
    if method == "fft":
        out = by_transforms_fastest(in1, in2, mode)
        if not np.isfinite(out.flat[0]):  # SciPy's test: a NaN or inf anywhere reaches everything
            warnings.warn("Use of fft convolution on input with NAN or inf results in NAN or inf output. "
                          "Consider using method = 'direct' instead.", RuntimeWarning, stacklevel=4)
        return out
    if method == "auto" and transforms_pay(in1, in2, mode):
        return by_transforms_fastest(in1, in2, mode)
    return direct(in1, in2, mode)


def reverse_conj(x):
    return x[(slice(None, None, -1),) * x.ndim].conj()


def correlate(in1, in2, mode="full", method="auto"):
    given = np.asarray(in1), np.asarray(in2)
    in1, in2 = operands(*given, integers=True)
    return integer_result(convolve(in1, reverse_conj(in2), mode, method), *given)


def _two_d(in1, in2, boundary, fillvalue):
    if boundary not in ("fill", "pad") or fillvalue != 0:
        raise Unsupported
    in1, in2 = np.asarray(in1), np.asarray(in2)
    if in1.ndim != 2 or in2.ndim != 2:
        raise ValueError(f"convolve2d inputs must both be 2-D arrays, not {in1.ndim}-D and {in2.ndim}-D")
    return operands(in1, in2, integers=True)


def convolve2d(in1, in2, mode="full", boundary="fill", fillvalue=0):
    a, b = _two_d(in1, in2, boundary, fillvalue)
    return integer_result(direct(a, b, mode_of(mode)), np.asarray(in1), np.asarray(in2))


def correlate2d(in1, in2, mode="full", boundary="fill", fillvalue=0):
    a, b = _two_d(in1, in2, boundary, fillvalue)
    mode = mode_of(mode)
    if swap_needed(mode, a.shape, b.shape):
        out = direct(b, a[::-1, ::-1].conj(), mode)[::-1, ::-1].copy()
    else:
        out = direct(a, b[::-1, ::-1].conj(), mode, centre_low=False)
    return integer_result(out, np.asarray(in1), np.asarray(in2))


def _all_axes(axes, ndim):
    """Whether SciPy's axes name every axis once; anything else (some axes, or a malformed value
    SciPy will refuse with its own words) is SciPy's."""
    if axes is None:
        return True
    try:
        named = [operator.index(a) for a in np.atleast_1d(axes).tolist()]
    except TypeError:
        return False
    return all(-ndim <= a < ndim for a in named) and sorted(a % ndim for a in named) == list(range(ndim))


def fftconvolve(in1, in2, mode="full", axes=None):
    if not _all_axes(axes, max(np.ndim(in1), 1)):
        raise Unsupported
    in1, in2 = operands(in1, in2)
    mode = mode_of(mode)
    return by_transforms_fastest(in1, in2, mode) if transforms_pay(in1, in2, mode) else direct(in1, in2, mode)


def oaconvolve(in1, in2, mode="full", axes=None):
    return fftconvolve(in1, in2, mode, axes)
