"""scipy.ndimage's rules for inputs, outputs and kernels, for the ndimage face."""

import operator
import warnings

import numpy as np

from ._layout import Unsupported

_ENGINE = (np.float32, np.float64, np.complex64, np.complex128)


def array(input):
    """The input as an ndarray the engine takes (integers and floats, real or complex, at least
    one dimension and one element); anything else is SciPy's."""
    x = np.asarray(input)
    if x.dtype.kind not in "iufc" or (x.dtype.kind in "fc" and x.dtype.type not in _ENGINE):
        raise Unsupported
    if x.ndim == 0 or x.size == 0:
        raise Unsupported
    if not x.dtype.isnative:
        x = x.astype(x.dtype.newbyteorder("="))
    return x


def work_dtype(x, complex_weights=False, result=None):
    """The dtype the engine computes in: single precision for float32 and complex64 input to a
    result of that precision, else double (as SciPy computes); complex when the input or the
    weights are."""
    single = x.dtype.type in (np.float32, np.complex64) and (result is None or result.type in (np.float32, np.complex64))
    if x.dtype.kind == "c" or complex_weights:
        return np.dtype(np.complex64 if single else np.complex128)
    return np.dtype(np.float32 if single else np.float64)


def output(output, x, complex_output=False):
    """(the array to write or None, the result's dtype) from SciPy's `output`: None for the
    input's dtype (complex if the output is), a dtype or type (promoted to complex, with a
    warning, if the output is complex), a dtype's name, or an array of the input's shape."""
    if isinstance(output, np.ndarray):
        if output.shape != x.shape:
            raise RuntimeError(f"output shape not correct: output has shape {output.shape}, input {x.shape}")
        array, dtype = output, output.dtype
        if complex_output and dtype.kind != "c":
            raise RuntimeError(f"output must have complex dtype: output of dtype {dtype}")
    elif output is None:
        array, dtype = None, np.promote_types(x.dtype, np.complex64) if complex_output else x.dtype
    elif isinstance(output, (type, np.dtype)):
        array, dtype = None, np.dtype(output)
        if complex_output and dtype.kind != "c":
            warnings.warn("promoting specified output dtype to complex", stacklevel=4)
            dtype = np.promote_types(dtype, np.complex64)
    elif isinstance(output, str):
        array, dtype = None, np.dtype(np.sctypeDict[output])
        if complex_output and dtype.kind != "c":
            raise RuntimeError(f"output must have complex dtype: output={output!r}")
    else:
        raise Unsupported
    if dtype.kind not in "iufc" or (dtype.kind in "fc" and dtype.type not in _ENGINE):
        raise Unsupported
    return array, dtype


def store(result, array, dtype):
    """The result in the output: written into `array` when given (and returned), else as dtype."""
    with np.errstate(invalid="ignore"):  # NaN and infinities to integers, as SciPy casts them
        if array is None:
            return result.astype(dtype, copy=False)
        np.copyto(array, result, casting="unsafe")
    return array


def caster(dtype, work):
    """What a pass writes to when it is not the engine's dtype (SciPy writes every pass into the
    output's dtype: integers truncate between passes); None when it is."""
    if dtype == work:
        return None

    def cast(r):
        with np.errstate(invalid="ignore"):
            return r.astype(dtype).astype(work, copy=False)
    return cast


def weights1d(weights, work):
    w = np.asarray(weights)
    if w.dtype.kind not in "biufc" or w.dtype.type in (np.longdouble, np.clongdouble):
        raise Unsupported
    if w.ndim != 1 or w.shape[0] < 1:
        raise RuntimeError(f"no filter weights given: weights of shape {w.shape}")
    return w.astype(work)


def check_origin(size, origin, name="origin"):
    origin = operator.index(origin)
    if not 0 <= size // 2 + origin < size:
        raise ValueError(f"invalid origin: {name}={origin} for a filter of size {size}")
    return origin


def gaussian_kernel(sigma, order, radius):
    """The weights of the Gaussian of standard deviation sigma over -radius..radius, normalised to
    sum 1, or of its derivative of the given order: the Gaussian times the polynomial q with
    q0 = 1 and q(n+1) = q(n)' - x q(n) / sigma^2."""
    if order < 0:
        raise ValueError(f"order must be non-negative: order={order}")
    x = np.arange(-radius, radius + 1, dtype=np.float64)
    phi = np.exp(-0.5 / (sigma * sigma) * x * x)
    phi /= phi.sum()
    if order == 0:
        return phi
    q = np.zeros(order + 1)  # coefficients of x^0 .. x^order
    q[0] = 1.0
    for _ in range(order):
        derivative = np.zeros_like(q)
        derivative[:-1] = q[1:] * np.arange(1, order + 1)
        shifted = np.zeros_like(q)
        shifted[1:] = q[:-1]
        q = derivative - shifted / (sigma * sigma)
    return np.polynomial.polynomial.polyval(x, q) * phi


def smoothing(weights, work):
    """Weights that sum to 1, in the engine's dtype. In single precision they are rounded to the
    grid of the largest one's last place, with the centre taking what the rest leave, so that they
    sum to exactly 1: rounded one by one they would scale every output by a few parts in 1e8, which
    a sum over many outputs shows."""
    w = np.asarray(weights, np.float64)
    if work.type not in (np.float32, np.complex64):
        return w.astype(work)
    grid = float(np.spacing(np.float32(w.max())))
    q = np.round(w / grid) * grid
    centre = int(np.argmax(w))
    q[centre] += 1.0 - q.sum()
    single = q.astype(np.float32)
    if single.astype(np.float64).sum() != 1.0:
        return w.astype(work)
    return single.astype(work)


def radius_of(sigma, truncate, radius):
    if radius is None:
        return int(truncate * float(sigma) + 0.5)
    if not isinstance(radius, (int, np.integer)) or isinstance(radius, bool) or radius < 0:
        raise ValueError(f"Radius must be a nonnegative integer: radius={radius!r}")
    return int(radius)


def size_of(size):
    size = operator.index(size)
    if size < 1:
        raise RuntimeError(f"incorrect filter size: size={size}")
    return size
