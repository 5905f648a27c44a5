"""The named built-ins, each a thin call of its slot or package function. Arguments take the
host's order and form: arrays are column-major (a C-ordered NumPy array is read as its transpose
only by the SciPy faces, not here), dimensions are one-based, text options are str. Failures
raise `vlmathdsp.Error`, whose `identifier` names the cause."""

from ._engine import run


def conv_forward(input, filters, *rest):
    """The forward pass of a convolution layer: conv_forward(input, filters[, padding[, stride]]).

    Parameters
    ----------
    input : ndarray, float32 or float64
        Images (H, W, C, N), column-major; fewer dimensions count as 1 (a matrix is one
        single-channel image).
    filters : ndarray of the same dtype
        (kH, kW, C, F).
    padding : four whole numbers, optional
        Rows before, columns before, rows after, columns after (default 0).
    stride : two whole numbers, optional
        Rows and columns (default 1).

    Returns
    -------
    ndarray
        (oH, oW, F, N), oH = (H + p0 + p2 - kH) // s0 + 1: the cross-correlation
        out[o, q, f, n] = sum over u, v, c of input[s0 o + u - p0, s1 q + v - p1, c, n]
        filters[u, v, c, f], positions outside the image counting as zero.

    Notes
    -----
    From NCHW (PyTorch's layout, x of shape (N, C, H, W), weight (F, C, kH, kW)): pass
    x.transpose(2, 3, 1, 0) and weight.transpose(2, 3, 1, 0); the result's transpose(3, 2, 0, 1)
    is conv2d(x, weight, stride=(s0, s1), padding=(p0, p1)) when p2 = p0 and p3 = p1.

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.conv_forward(np.arange(16.0).reshape(4, 4, 1, 1), np.ones((2, 2, 1, 1)))
    array([[10., 14., 18.],
           [26., 30., 34.],
           [42., 46., 50.]])
    """
    return run("conv_forward", input, filters, *rest)


def conv_backward(first, second, padding, stride, filterSize, *expansion):
    """The gradients of conv_forward: conv_backward(first, second, padding, stride, filterSize[,
    expansion]), for the padding and stride of the forward pass.

    Parameters
    ----------
    first, second : ndarray, float32 or float64, column-major
        With expansion true: the images (H, W, C, N) and the output's gradient dY (oH, oW, F, N).
        With expansion false: dY and the filters (kH, kW, C, F).
    padding : four whole numbers, float64
        As in conv_forward.
    stride : two whole numbers, float64
        As in conv_forward.
    filterSize : two whole numbers, float64
        (kH, kW) with expansion true, the image size (H, W) with expansion false.
    expansion : bool or scalar, optional
        Which gradient (default true: the filters').

    Returns
    -------
    ndarray
        The filter gradient (kH, kW, C, F), shorter where the padded image ends before the
        filter would; or the image gradient (H, W, C, N), zero where no output reached the image.

    Notes
    -----
    From NCHW (x (N, C, H, W), weight (F, C, kH, kW), grad of the output (N, F, oH, oW)): pass each
    as a.transpose(2, 3, 1, 0); the filter gradient's transpose(3, 2, 0, 1) is weight.grad and the
    image gradient's transpose(3, 2, 0, 1) is x.grad, for padding=(p0, p1) = (p2, p3).

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> x, dy = np.arange(16.0).reshape(4, 4, 1, 1), np.ones((3, 3, 1, 1))
    >>> vm.conv_backward(x, dy, [0.0, 0.0, 0.0, 0.0], [1.0, 1.0], [2.0, 2.0])
    array([[45., 54.],
           [81., 90.]])
    >>> vm.conv_backward(dy, np.ones((2, 2, 1, 1)), [0.0, 0.0, 0.0, 0.0], [1.0, 1.0], [4.0, 4.0], False)
    array([[1., 2., 2., 1.],
           [2., 4., 4., 2.],
           [2., 4., 4., 2.],
           [1., 2., 2., 1.]])
    """
    return run("conv_backward", first, second, padding, stride, filterSize, *expansion)


def conv2(*args):
    """The two-dimensional convolution: conv2(A, B[, shape]), or conv2(u, v, C[, shape]) for the
    separable kernel u v' (C convolved with the column u, then the row v).

    Parameters
    ----------
    A, B : array_like
        Matrices, real or complex, of any numeric class.
    shape : str, optional
        "full" (default: every overlap), "same" (the size of A, from index floor(size(B) / 2) of
        the full result on) or "valid" (where B lies wholly inside A).

    Returns
    -------
    ndarray
        Double unless an input is single; complex when either is, unless the imaginary part is
        all zero.

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.conv2(np.array([[1.0, 2.0], [3.0, 4.0]]), np.ones((2, 2)))
    array([[ 1.,  3.,  2.],
           [ 4., 10.,  6.],
           [ 3.,  7.,  4.]])
    >>> vm.conv2([1.0, 2.0], [1.0, -1.0], np.eye(2), "same")
    array([[-1., -1.],
           [ 2., -2.]])
    """
    return run("conv2", *args)


def convnc(A, B, shape):
    """The N-dimensional convolution of A and B: convnc(A, B, shape).

    Parameters
    ----------
    A, B : ndarray, float32 or float64, real or complex
    shape : str
        "full" (every overlap), "same" (the size of A, the full result from index
        floor(size(B) / 2) on) or "valid" (only where B lies wholly inside A); any prefix, any case.

    Returns
    -------
    ndarray
        Double when both are double, else single; complex when either is, unless its imaginary
        part is all zero.

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.convnc(np.ones((2, 2, 2)), np.ones((2, 2, 2)), "valid")
    array([[8.]])
    """
    return run("convn", A, B, shape)


def convn(A, B, shape="full"):
    """convnc with the full result by default: convn(A, B, shape="full").

    Parameters
    ----------
    A, B : ndarray, float32 or float64, real or complex
    shape : str, optional
        As in convnc.

    Returns
    -------
    ndarray

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.convn(np.array([1.0, 2.0, 3.0]), np.array([1.0, 1.0]))
    array([1., 3., 5., 3.])
    """
    return run("convn", A, B, shape)


def fft(x, *args):
    """The discrete Fourier transform along one dimension: fft(x[, n[, dim]]).

    Parameters
    ----------
    x : array_like, float32 or float64, real or complex
    n : int, optional
        Points: x is padded with zeros or truncated (default the length along dim).
    dim : int, optional
        One-based dimension (default the first that is not 1; a 1-d array is a column).

    Returns
    -------
    ndarray
        Complex, unless every value came out real.

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.fft(np.array([1.0, 2.0, 3.0, 4.0]))
    array([10.+0.j, -2.+2.j, -2.+0.j, -2.-2.j])
    """
    return run("fft", x, *args)


def ifft(x, *args):
    """The inverse discrete Fourier transform along one dimension: ifft(x[, n[, dim]][, option]).

    Parameters
    ----------
    x : array_like, float32 or float64, real or complex
    n, dim : int, optional
        As in fft.
    option : str, optional
        "symmetric": x is taken as conjugate symmetric (only its first n // 2 + 1 values are read)
        and the result is real; "nonsymmetric" (default): real only when x is exactly symmetric.

    Returns
    -------
    ndarray
        Divided by n.

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.ifft(np.array([10, -2 + 2j, -2, -2 - 2j]), "symmetric")
    array([1., 2., 3., 4.])
    """
    return run("ifft", x, *args)


def fftn(x, *args):
    """The N-dimensional discrete Fourier transform: fftn(x[, siz]).

    Parameters
    ----------
    x : array_like, float32 or float64, real or complex
    siz : sequence of int, optional
        Sizes to pad or truncate to, at least one per dimension of x (more add dimensions).

    Returns
    -------
    ndarray

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.fftn(np.ones((2, 2)))
    array([[4., 0.],
           [0., 0.]])
    """
    return run("fftn", x, *args)


def ifftn(x, *args):
    """The N-dimensional inverse discrete Fourier transform: ifftn(x[, siz][, option]).

    Parameters
    ----------
    x : array_like, float32 or float64, real or complex
    siz : sequence of int, optional
        As in fftn.
    option : str, optional
        "symmetric" or "nonsymmetric", as in ifft.

    Returns
    -------
    ndarray
        Divided by the product of the sizes.

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.ifftn(np.array([[4.0, 0.0], [0.0, 0.0]]))
    array([[1., 1.],
           [1., 1.]])
    """
    return run("ifftn", x, *args)


def fftw(command, *value):
    """The planner and wisdom of every later transform of this thread: fftw(command[, value]).

    Parameters
    ----------
    command : str
        Any case, abbreviated down to the letters shown in capitals. "WISdom" / "Dwisdom" [, text]:
        returns FFTW's double-precision wisdom as it was; with text, imports it (a warning when
        FFTW refuses it), with "" or None forgets it. "Swisdom": the same for single precision.
        "Planner" [, method]: returns the method as it was, and sets "ESTimate" (the default),
        "Measure", "Patient", "EXhaustive" or "Hybrid" (measure up to 2^14 points, estimate
        above). "Rows", value: plans use threads from this many sequences (default 4).
        "WIThthreads" / "Nothreads": plans use the thread count of this thread's start, or one.
    value : optional
        The new setting.

    Returns
    -------
    str or float
        The setting as it was.

    Notes
    -----
    Importing or forgetting wisdom and setting the method drop every cached plan. Measured plans
    are faster for large transforms, but their results may differ in the last bits from one
    planning to the next; estimated plans give the same bits every time.

    Examples
    --------
    >>> import vlmathdsp as vm
    >>> vm.fftw("planner")
    'estimate'
    """
    return run("fftw", command, *value, principal=-1)


def filter(b, a, x, *rest, nargout=1):
    """The rational transfer function b / a along one dimension: filter(b, a, x[, zi[, dim]]).

    Parameters
    ----------
    b, a : array_like
        Numerator and denominator coefficients (vectors); a[0] must not be 0 (both are divided by
        it).
    x : array_like
        The data, filtered along dim (default the first dimension that is not 1).
    zi : array_like, optional
        Initial conditions: max(len(a), len(b)) - 1 rows, one column per sequence (or one vector
        for all); an empty array for none.
    dim : int, optional
        One-based dimension.
    nargout : int, optional
        2 to have the final conditions too.

    Returns
    -------
    y : ndarray
    zf : ndarray
        With nargout=2: the final conditions, in the layout of zi.

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.filter([1.0, 1.0], [1.0], np.array([1.0, 2.0, 3.0]))
    array([1., 3., 5.])
    >>> vm.filter([1.0], [1.0, -0.5], np.ones(4), nargout=2)
    (array([1.   , 1.5  , 1.75 , 1.875]), array([0.9375]))
    """
    return run("filter", b, a, x, *rest, nargout=nargout, principal=2)


def ltitr(A, B, U, *x0):
    """The state trajectory of x[k+1] = A x[k] + B u[k]: ltitr(A, B, U[, x0]).

    Parameters
    ----------
    A : array_like, (n, n)
    B : array_like, (n, m)
    U : array_like, (L, m)
        One row per time step.
    x0 : array_like, optional
        The initial state, n values (default zeros).

    Returns
    -------
    ndarray, (L, n)
        Row k is x[k]; the first is x0.

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.ltitr(np.array([[0.5]]), np.array([[1.0]]), np.ones((4, 1)))
    array([[0.  ],
           [1.  ],
           [1.5 ],
           [1.75]])
    """
    return run("ltitr", A, B, U, *x0)


def max_pool(input, poolSize, padding, stride):
    """Maximum pooling of images: max_pool(input, poolSize, padding, stride).

    Parameters
    ----------
    input : ndarray, float32 or float64
        Images (H, W, C, N), column-major; fewer dimensions count as 1.
    poolSize : (k0, k1)
        Window rows and columns.
    padding : (p0, p1, p2, p3)
        Rows before, columns before, rows after, columns after.
    stride : (s0, s1)
        Whole numbers of any numeric class, rounded.

    Returns
    -------
    ndarray, (oH, oW, C, N)
        oH = (H + p0 + p2 - k0) // s0 + 1. The padding takes no part: a window's maximum is over
        its image cells, NaN never wins, and a window wholly in the padding (or of only NaN)
        gives the most negative finite value of the class.

    Notes
    -----
    From NCHW: input x.transpose(2, 3, 1, 0); the result's transpose(3, 2, 0, 1) is
    max_pool2d(x, (k0, k1), (s0, s1), (p0, p1)) when p2 = p0 and p3 = p1.

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.max_pool(np.arange(16.0).reshape(4, 4), [2, 2], [0, 0, 0, 0], [2, 2])
    array([[ 5.,  7.],
           [13., 15.]])
    """
    return run("max_pool", input, poolSize, padding, stride)


def avg_pool(input, poolSize, padding, stride):
    """Average pooling of images: avg_pool(input, poolSize, padding, stride), as max_pool.

    Parameters
    ----------
    input, poolSize, padding, stride
        As in max_pool.

    Returns
    -------
    ndarray, (oH, oW, C, N)
        The sum of each window's image cells divided by k0 k1: padding cells count as zeros,
        also where the window is cut at the border. NaN in a window gives NaN.

    Notes
    -----
    From NCHW: as max_pool, with avg_pool2d(x, (k0, k1), (s0, s1), (p0, p1),
    count_include_pad=True) where the windows lie inside the padded image.

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.avg_pool(np.arange(16.0).reshape(4, 4), [2, 2], [0, 0, 0, 0], [2, 2])
    array([[ 2.5,  4.5],
           [10.5, 12.5]])
    """
    return run("avg_pool", input, poolSize, padding, stride)


def avg_pool_backward(grad, poolSize, padding, stride, inputSize, *compensation):
    """The gradient of avg_pool: avg_pool_backward(grad, poolSize, padding, stride, inputSize[,
    compensation]).

    Parameters
    ----------
    grad : ndarray, float32 or float64
        (oH, oW, C, N), column-major.
    poolSize, padding, stride
        As in avg_pool.
    inputSize : (H, W)
        Of the pooled images.
    compensation : bool or scalar, optional
        Default true; when false and some padding is not 0, the first and last rows and columns
        divide instead by the window less the padding on their side.

    Returns
    -------
    ndarray, (H, W, C, N)
        Each pixel: the sum of the gradient elements whose windows cover it, divided by k0 k1.

    Notes
    -----
    From NCHW: grad g.transpose(2, 3, 1, 0); the result's transpose(3, 2, 0, 1) is x.grad of
    avg_pool2d(x, (k0, k1), (s0, s1), (p0, p1), count_include_pad=True) for that g.

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.avg_pool_backward(np.ones((2, 2)), [2, 2], [0, 0, 0, 0], [2, 2], [4, 4])[:2]
    array([[0.25, 0.25, 0.25, 0.25],
           [0.25, 0.25, 0.25, 0.25]])
    """
    return run("avg_pool_backward", grad, poolSize, padding, stride, inputSize, *compensation)


def window_norm(input, windowSize, alpha, beta, k, *gradient):
    """Normalisation across neighbouring channels: window_norm(input, windowSize, alpha, beta, k[,
    gradient]).

    Parameters
    ----------
    input : ndarray, float32 or float64
        X: pixels along the first two dimensions, channels the third, images all further ones
        (column-major, e.g. H, W, C, N).
    windowSize : scalar
        n, at least 1, truncated.
    alpha, beta, k : scalar
    gradient : ndarray, optional
        G, of the class and dimensions of X.

    Returns
    -------
    ndarray
        Each element divided by t^beta, t = k + alpha / n * S, S the sum of X^2 over the channels
        c + h + 1 - n .. c + h of its pixel (h = n // 2: centred for odd n, one more after c for
        even n; shorter at the ends). With G: G * (t - 2 alpha / n beta S) / t^(beta+1).

    Notes
    -----
    From NCHW: x.transpose(2, 3, 1, 0); for odd n the result's transpose(3, 2, 0, 1) is
    local_response_norm(x, n, alpha, beta, k).

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.window_norm(np.ones((1, 1, 3)), 3, 1.0, 0.5, 1.0).ravel()
    array([0.77459667, 0.70710678, 0.77459667])
    """
    return run("window_norm", input, windowSize, alpha, beta, k, *gradient)


def dct(x, *args):
    """The orthonormal discrete cosine transform: dct(x[, n[, dim]][, "Variant", type]).

    Parameters
    ----------
    x : array_like, float32 or float64, real or complex
        Real and imaginary parts are transformed alike.
    n : int, optional
        Points: padded with zeros or truncated. Type 1 needs n >= 2.
    dim : int, optional
        One-based (default the first dimension that is not 1; 1-d input is a row).
    "Variant", type : optional
        The type, 1 to 4 (default 2); the name may be abbreviated and written in any case.

    Returns
    -------
    ndarray
        Single stays single, complex stays complex. The transform matrix is orthonormal, so
        idct(dct(x)) == x to rounding.

    Notes
    -----
    From SciPy: scipy.fft.dct(x, type, n, axis, norm="ortho") for types 2 to 4 (a column-major x:
    axis = dim - 1); for type 1 with orthogonalize=True where SciPy has it.

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> np.round(vm.dct(np.array([1.0, 2.0, 3.0, 4.0])), 6)
    array([ 5.      , -2.230442,  0.      , -0.158513])
    """
    return run("dct", x, *args)


def idct(x, *args):
    """The inverse of dct of that type: idct(x[, n[, dim]][, "Variant", type]).

    Parameters
    ----------
    x, n, dim, "Variant", type
        As in dct. A DCT of type 3 undoes type 2, type 2 undoes type 3; types 1 and 4 are their
        own inverses.

    Returns
    -------
    ndarray

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> x = np.array([1.0, 2.0, 3.0, 4.0])
    >>> np.allclose(vm.idct(vm.dct(x, "Variant", 3), "Variant", 3), x)
    True
    """
    return run("idct", x, *args)


def dst(x, *args):
    """The orthonormal discrete sine transform: dst(x[, n[, dim]][, "Variant", type]).

    Parameters
    ----------
    x, n, dim, "Variant", type
        As in dct (type 1 of length 1 is the identity).

    Returns
    -------
    ndarray

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.dst(np.array([1.0, 0.0]), "Variant", 1)
    array([0.70710678, 0.70710678])
    """
    return run("dst", x, *args)


def idst(x, *args):
    """The inverse of dst of that type: idst(x[, n[, dim]][, "Variant", type]).

    Parameters
    ----------
    x, n, dim, "Variant", type
        As in dst.

    Returns
    -------
    ndarray

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> x = np.array([1.0, 2.0, 3.0])
    >>> np.allclose(vm.idst(vm.dst(x)), x)
    True
    """
    return run("idst", x, *args)


def dctn(x, *args):
    """dct along every dimension in turn: dctn(x[, siz][, "Variant", type]).

    Parameters
    ----------
    x : array_like
    siz : sequence of int, optional
        Sizes to pad or truncate to, at least one per dimension of x (more add dimensions). Type
        1 needs every size to be at least 2.
    "Variant", type : optional
        As in dct.

    Returns
    -------
    ndarray

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> np.round(vm.dctn(np.ones((2, 2))), 12)
    array([[2., 0.],
           [0., 0.]])
    """
    return run("dctn", x, *args)


def idctn(x, *args):
    """The inverse of dctn of that type: idctn(x[, siz][, "Variant", type]).

    Parameters
    ----------
    x, siz, "Variant", type
        As in dctn.

    Returns
    -------
    ndarray

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> x = np.arange(6.0).reshape(2, 3)
    >>> np.allclose(vm.idctn(vm.dctn(x)), x)
    True
    """
    return run("idctn", x, *args)


def dstn(x, *args):
    """dst along every dimension in turn: dstn(x[, siz][, "Variant", type]), sizes as in dctn.

    Parameters
    ----------
    x, siz, "Variant", type
        As in dctn.

    Returns
    -------
    ndarray

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.dstn(np.ones((2, 2)), "Variant", 4)
    array([[1.70710678, 0.70710678],
           [0.70710678, 0.29289322]])
    """
    return run("dstn", x, *args)


def idstn(x, *args):
    """The inverse of dstn of that type: idstn(x[, siz][, "Variant", type]).

    Parameters
    ----------
    x, siz, "Variant", type
        As in dstn.

    Returns
    -------
    ndarray

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> np.allclose(vm.idstn(vm.dstn(np.eye(2))), np.eye(2))
    True
    """
    return run("idstn", x, *args)


def strided_convn(A, B, *args):
    """Samples of an N-dimensional convolution or correlation: strided_convn(A, B[, stride[,
    startIndex[, endIndex]]][, option]).

    Parameters
    ----------
    A, B : array_like
        Double when both are double (other numeric and logical inputs count as double), else
        single.
    stride : int or sequence of int, optional
        One for every dimension, or one per dimension (default 1).
    startIndex, endIndex : sequence of int, optional
        One-based, inclusive corners of the box of the full result to sample, per dimension from
        the first (a scalar names dimension 1 only); default the whole full result.
    option : str, optional
        "conv" (default) or "corr" (B reversed along its first three dimensions); it may stand
        last at any position from the third.

    Returns
    -------
    ndarray
        Element i along d is full-result element startIndex[d] + i * stride[d].

    Examples
    --------
    >>> import numpy as np, vlmathdsp as vm
    >>> vm.strided_convn(np.arange(6.0), np.array([1.0, 1.0]), 2)
    array([0., 3., 7., 5.])
    """
    return run("strided_convn", A, B, *args)


def fftw_version():
    """The version of the FFTW library the transforms run on.

    Returns
    -------
    str
        As "fftw-3.3.10-sse2-avx".

    Examples
    --------
    >>> import vlmathdsp as vm
    >>> vm.fftw_version().startswith("fftw-3")
    True
    """
    return run("fftw_version", principal=-1)
