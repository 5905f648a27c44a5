"""The named built-ins, each a thin call of its slot or package function."""

from .host import call, call_function

_TRANSFORM = "veltra.internal.math.transform."


def conv_forward(input, filters, *rest):
    """conv_forward(input, filters[, padding[, stride]]): the forward pass of a convolution layer.

    input: images (H, W, C, N), column-major, single or double; fewer dimensions count as 1
    (a matrix is one single-channel image). filters: (kH, kW, C, F) of the same class. padding:
    four whole numbers, rows before, columns before, rows after, columns after (default 0);
    stride: two, rows and columns (default 1). The result (oH, oW, F, N) is the cross-correlation
    out[o, q, f, n] = sum over u, v, c of input[s0 o + u - p0, s1 q + v - p1, c, n] filters[u, v,
    c, f], outside positions counting as zero; oH = (H + p0 + p2 - kH) // s0 + 1.

    From NCHW (PyTorch's layout, x of shape (N, C, H, W), weight (F, C, kH, kW)): pass
    x.transpose(2, 3, 1, 0) and weight.transpose(2, 3, 1, 0); the result's transpose(3, 2, 0, 1)
    is conv2d(x, weight, stride=(s0, s1), padding=(p0, p1)) when p2 = p0 and p3 = p1."""
    return call(0, input, filters, *rest)


def conv_backward(first, second, padding, stride, filterSize, *expansion):
    """conv_backward(first, second, padding, stride, filterSize[, expansion]): the gradients of
    conv_forward, for the same padding and stride. Layouts as there, column-major: images (H, W,
    C, N), filters (kH, kW, C, F), the result's gradient dY (oH, oW, F, N).

    expansion true (the default; a double or logical scalar, non-zero is true): first is the
    images, second dY, filterSize (kH, kW); the result is the filter gradient (kH, kW, C, F),
    shorter where the padded image ends before the filter would. expansion false: first is dY,
    second the filters, filterSize (H, W); the result is the image gradient (H, W, C, N), with
    zeros where no output reached the image (the forward division by the stride left a remainder).

    From NCHW (x (N, C, H, W), weight (F, C, kH, kW), grad of the output (N, F, oH, oW)): pass
    each as a.transpose(2, 3, 1, 0); the filter gradient's transpose(3, 2, 0, 1) is weight.grad
    and the image gradient's transpose(3, 2, 0, 1) is x.grad, for padding=(p0, p1) = (p2, p3)."""
    return call(1, first, second, padding, stride, filterSize, *expansion)


def conv2(*args):
    """conv2(A, B[, shape]) or conv2(u, v, C[, shape])."""
    return call(2, *args)


def convnc(A, B, shape):
    """convnc(A, B, shape): the N-dimensional convolution of A and B, single or double, real or
    complex. shape is "full" (every overlap), "same" (the size of A, the full result from index
    floor(size(B) / 2) on) or "valid" (only where B lies wholly inside A); any prefix, any case.
    The result is double when both are double, else single; complex when either is, unless its
    imaginary part is all zero."""
    return call(3, A, B, shape)


def convn(A, B, shape="full"):
    """convn(A, B, shape="full"): convnc with the full result by default."""
    return call(3, A, B, shape)


def fft(x, *args):
    """fft(x[, n[, dim]])"""
    return call(4, x, *args)


def ifft(x, *args):
    """ifft(x[, n[, dim]][, option])"""
    return call(5, x, *args)


def fftn(x, *args):
    """fftn(x[, siz])"""
    return call(6, x, *args)


def ifftn(x, *args):
    """ifftn(x[, siz][, option])"""
    return call(7, x, *args)


def fftw(command, *value):
    """fftw(command[, value]): the planner and wisdom of every later transform of this thread.
    Commands, any case, abbreviated down to the letters shown in capitals:
    "WISdom" / "Dwisdom" [, text]: returns FFTW's double-precision wisdom as it was; with text,
    imports it (a warning when FFTW refuses it), with "" or None forgets it. "Swisdom": the same
    for single precision. "Planner" [, method]: returns the method as it was, and sets "ESTimate"
    (the default), "Measure", "Patient", "EXhaustive" or "Hybrid" (measure up to 2^14 points,
    estimate above). "Rows", value: plans use threads from this many sequences (default 4).
    "WIThthreads" / "Nothreads": plans use the thread count of this thread's start, or one.
    Importing or forgetting wisdom and setting the method drop every cached plan.
    Measured plans are faster for large transforms, but their results may differ in the last bits
    from one planning to the next; estimated plans give the same bits every time."""
    return call(8, command, *value, principal=-1)


def filter(b, a, x, *rest, nargout=1):
    """filter(b, a, x[, zi[, dim]]); with nargout=2 returns (y, zf)."""
    return call(9, b, a, x, *rest, nargout=nargout, principal=2)


def ltitr(A, B, U, *x0):
    """State trajectory of x[k+1] = A x[k] + B u[k]: ltitr(A, B, U[, x0])."""
    return call(11, A, B, U, *x0)


def max_pool(input, poolSize, padding, stride):
    """max_pool(input, poolSize, padding, stride): maximum pooling of images (H, W, C, N),
    column-major, single or double (fewer dimensions count as 1), into (oH, oW, C, N).
    poolSize (k0, k1): window rows and columns; padding (p0, p1, p2, p3): rows before, columns
    before, rows after, columns after; stride (s0, s1). Whole numbers of any numeric class,
    rounded. oH = (H + p0 + p2 - k0) // s0 + 1. The padding takes no part: a window's maximum is
    over its image cells, NaN never wins, and a window wholly in the padding (or of only NaN)
    gives the most negative finite value of the class.

    From NCHW: input x.transpose(2, 3, 1, 0); the result's transpose(3, 2, 0, 1) is
    max_pool2d(x, (k0, k1), (s0, s1), (p0, p1)) when p2 = p0 and p3 = p1."""
    return call(12, input, poolSize, padding, stride)


def avg_pool(input, poolSize, padding, stride):
    """avg_pool(input, poolSize, padding, stride): average pooling, arguments and layout as in
    max_pool. Each output is the sum of its window's image cells divided by k0 k1: padding cells
    count as zeros, also where the window is cut at the border. NaN in a window gives NaN.

    From NCHW: as max_pool, with avg_pool2d(x, (k0, k1), (s0, s1), (p0, p1),
    count_include_pad=True) where the windows lie inside the padded image."""
    return call(13, input, poolSize, padding, stride)


def avg_pool_backward(grad, poolSize, padding, stride, inputSize, *compensation):
    """avg_pool_backward(grad, poolSize, padding, stride, inputSize[, compensation]): the gradient
    of avg_pool. grad (oH, oW, C, N) column-major, single or double; poolSize, padding and stride
    as in avg_pool; inputSize (H, W) of the pooled images. The result (H, W, C, N) gives each pixel
    the sum of the gradient elements whose windows cover it, divided by k0 k1. compensation (a
    double or logical scalar, default true): when false and some padding is not 0, the first and
    last rows and columns divide instead by the window less the padding on their side.

    From NCHW: grad g.transpose(2, 3, 1, 0); the result's transpose(3, 2, 0, 1) is x.grad of
    avg_pool2d(x, (k0, k1), (s0, s1), (p0, p1), count_include_pad=True) for that g."""
    return call(14, grad, poolSize, padding, stride, inputSize, *compensation)


def window_norm(input, windowSize, alpha, beta, k, *gradient):
    """window_norm(input, windowSize, alpha, beta, k[, gradient]): cross-channel normalisation.
    input X, single or double, any dimensions: pixels along the first two, channels the third,
    images all further ones (column-major, e.g. H, W, C, N). Each element is divided by
    t^beta, t = k + alpha / n * S, S the sum of X^2 over the channels c + h + 1 - n .. c + h of its
    pixel (h = n // 2: centred for odd n, one more after c for even n; shorter at the ends). With
    gradient G (same class and dimensions), the result is G * (t - 2 alpha / n beta S) / t^(beta+1),
    element by element. Scalars: windowSize n (at least 1, truncated), alpha, beta, k.

    From NCHW: x.transpose(2, 3, 1, 0); for odd n the result's transpose(3, 2, 0, 1) is
    local_response_norm(x, n, alpha, beta, k)."""
    return call(15, input, windowSize, alpha, beta, k, *gradient)


def dct(x, *args):
    """dct(x[, n[, dim]][, "Variant", type]): the orthonormal discrete cosine transform of type 1
    to 4 (default 2) along dimension dim (default the first that is not 1; 1-d input is a row),
    padded with zeros or truncated to n. Single stays single, complex stays complex (real and
    imaginary parts transformed alike). The transform matrix is orthonormal, so that
    idct(dct(x)) == x to rounding; "Variant" may be abbreviated and written in any case.
    Type 1 needs n >= 2.

    From SciPy: scipy.fft.dct(x, type, n, axis, norm="ortho") for types 2 to 4 (a column-major x:
    axis = dim - 1); for type 1 with orthogonalize=True where SciPy has it."""
    return call_function(_TRANSFORM + "vldct", x, *args)


def idct(x, *args):
    """idct(x[, n[, dim]][, "Variant", type]): the inverse of dct of that type (default 2): a DCT
    of type 3 for type 2, of type 2 for type 3; types 1 and 4 are their own inverses."""
    return call_function(_TRANSFORM + "vlidct", x, *args)


def dst(x, *args):
    """dst(x[, n[, dim]][, "Variant", type]): the orthonormal discrete sine transform of type 1
    to 4 (default 2), arguments as in dct. Type 1 of length 1 is the identity."""
    return call_function(_TRANSFORM + "vldst", x, *args)


def idst(x, *args):
    """idst(x[, n[, dim]][, "Variant", type]): the inverse of dst of that type (default 2)."""
    return call_function(_TRANSFORM + "vlidst", x, *args)


def dctn(x, *args):
    """dctn(x[, siz][, "Variant", type]): dct along every dimension in turn, after padding or
    truncating x to the sizes siz (at least ndims(x) of them; more add dimensions). Type 1 needs
    every size to be at least 2."""
    return call_function(_TRANSFORM + "vldctn", x, *args)


def idctn(x, *args):
    """idctn(x[, siz][, "Variant", type]): the inverse of dctn of that type (default 2)."""
    return call_function(_TRANSFORM + "vlidctn", x, *args)


def dstn(x, *args):
    """dstn(x[, siz][, "Variant", type]): dst along every dimension in turn, sizes as in dctn."""
    return call_function(_TRANSFORM + "vldstn", x, *args)


def idstn(x, *args):
    """idstn(x[, siz][, "Variant", type]): the inverse of dstn of that type (default 2)."""
    return call_function(_TRANSFORM + "vlidstn", x, *args)


def strided_convn(A, B, *args):
    """strided_convn(A, B[, stride[, startIndex[, endIndex]]][, option]): samples of the
    N-dimensional convolution ("conv", the default) or correlation ("corr": B reversed along its
    first three dimensions) of A and B. stride: one whole number for every dimension, or one per
    dimension (default 1). startIndex, endIndex: one-based, inclusive corners of the box of the
    full result to sample, per dimension from the first (a scalar names dimension 1 only);
    defaults: the whole full result. The option may stand last at any position from the third.
    Result element i along d is full-result element startIndex[d] + i * stride[d]; double when A
    and B are double (other numeric and logical inputs count as double), else single."""
    return call_function("veltra.internal.math.stridedConvn", A, B, *args)


def fftw_version():
    """The version of the FFTW library the transforms run on, as "fftw-3.3.10"."""
    return call_function("veltra.internal.language.versionPlugins.fftwVersionInfo", principal=-1)
