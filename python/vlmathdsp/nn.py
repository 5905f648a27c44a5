"""PyTorch's convolution, pooling and normalisation layers on NCHW arrays, over the library's network
built-ins. A C-ordered (N, C, H, W) array is the host's column-major (W, H, C, N) array: each
function hands the engine its input with no copy and swaps heights and widths in the arguments
instead. NumPy arrays and CPU torch tensors (float32 or float64) are taken alike; a tensor's
results are tensors::

    from vlmathdsp import nn
    y = nn.conv2d(x, weight, bias, stride=2, padding=1)            # as torch.nn.functional.conv2d
    gx = nn.conv2d_input(x.shape, weight, gy, stride=2, padding=1)  # as torch.nn.grad.conv2d_input
    y = nn.Conv2dFunction.apply(x, weight, bias, 2, 1)              # with autograd

Where it differs from PyTorch: a NaN in a max pooling window never wins (PyTorch returns it);
dilation other than 1 in the gradients and pooling, max pooling's return_indices and average
pooling's ceil_mode are not supported (NotImplementedError). Results do not depend on the thread
count.
"""

import numpy as np

from . import functions as vm

__all__ = ["conv2d", "conv2d_input", "conv2d_weight", "max_pool2d", "avg_pool2d", "avg_pool2d_backward",
           "local_response_norm", "Conv2dFunction", "AvgPool2dFunction"]


def _pair(value, name):
    if isinstance(value, (int, np.integer)):
        return int(value), int(value)
    pair = tuple(int(v) for v in value)
    if len(pair) != 2:
        raise ValueError(f"{name} must be an int or a pair of ints, got {value!r}")
    return pair


def _unwrap(x, name, dtype=None):
    """x as a C-ordered NCHW NumPy array, and whether it was a tensor."""
    is_tensor = type(x).__module__.startswith("torch")
    if is_tensor:
        if x.device.type != "cpu":
            raise TypeError(f"{name}: a tensor on {x.device} (only CPU tensors are taken)")
        x = x.detach().contiguous().numpy()
    x = np.ascontiguousarray(x)
    if x.dtype not in (np.float32, np.float64):
        raise TypeError(f"{name} must be float32 or float64, not {x.dtype}")
    if dtype is not None and x.dtype != dtype:
        raise TypeError(f"{name} is {x.dtype}, the input {dtype}: they must be of one dtype")
    return x, is_tensor


def _wrap(y, as_tensor):
    if as_tensor:
        import torch
        return torch.from_numpy(np.ascontiguousarray(y))
    return y


def _batch(x, name):
    if x.ndim == 3:
        return x[np.newaxis], True
    if x.ndim != 4:
        raise ValueError(f"{name} must be (N, C, H, W) or (C, H, W), got shape {x.shape}")
    return x, False


def _nchw(result, n, c, h, w):
    """The host's (W, H, C, N) result, whatever trailing singletons it dropped, as NCHW."""
    return np.asarray(result).reshape((w, h, c, n), order="F").T


def _host_padding(before_h, before_w, after_h, after_w):
    return np.array([before_w, before_h, after_w, after_h], dtype=float)


def _padding(padding, kh, kw, sh, sw):
    """(before_h, before_w, after_h, after_w) from an int, a pair, "valid" or "same"."""
    if isinstance(padding, str):
        if padding == "valid":
            return 0, 0, 0, 0
        if padding == "same":
            if (sh, sw) != (1, 1):
                raise ValueError("padding='same' is not supported for strided convolutions")
            return (kh - 1) // 2, (kw - 1) // 2, kh - 1 - (kh - 1) // 2, kw - 1 - (kw - 1) // 2
        raise ValueError(f"Invalid padding string {padding!r}, should be one of 'valid', 'same'")
    ph, pw = _pair(padding, "padding")
    return ph, pw, ph, pw


def _dilated(w, dilation):
    dh, dw = _pair(dilation, "dilation")
    if (dh, dw) == (1, 1):
        return w
    f, c, kh, kw = w.shape
    out = np.zeros((f, c, (kh - 1) * dh + 1, (kw - 1) * dw + 1), w.dtype)
    out[:, :, ::dh, ::dw] = w
    return out


def _one_dilation(dilation, what):
    if _pair(dilation, "dilation") != (1, 1):
        raise NotImplementedError(f"{what}: dilation {dilation!r} (only 1)")


def _groups(groups, c, f):
    if groups < 1 or c % groups or f % groups:
        raise ValueError(f"groups={groups} must divide the input channels {c} and the output channels {f}")
    return c // groups, f // groups


def _layer(stride, padding, kh, kw):
    """The paddings (before_h, before_w, after_h, after_w), and the engine's padding and stride."""
    sh, sw = _pair(stride, "stride")
    sides = _padding(padding, kh, kw, sh, sw)
    return sides, _host_padding(*sides), np.array([sw, sh], dtype=float)


def _grouped(groups, run, *operands):
    """[run(parts of group k) for each k]: operands are (array, axis, size) and group k's part is
    channels k size .. (k + 1) size along axis, contiguous."""
    results = []
    for k in range(groups):
        parts = [a if groups == 1 else
                 np.ascontiguousarray(a[(slice(None),) * axis + (slice(k * size, (k + 1) * size),)])
                 for a, axis, size in operands]
        results.append(run(*parts))
    return results


def conv2d(input, weight, bias=None, stride=1, padding=0, dilation=1, groups=1):
    """The two-dimensional convolution layer (a cross-correlation), as torch.nn.functional.conv2d.

    Parameters
    ----------
    input : ndarray or Tensor, (N, C, H, W) or (C, H, W)
    weight : ndarray or Tensor, (F, C / groups, kH, kW)
    bias : ndarray or Tensor, (F,), optional
    stride : int or (int, int), optional
    padding : int, (int, int), "valid" or "same", optional
        Zeros on both sides; "same" (stride 1) puts the odd one after, as PyTorch does.
    dilation : int or (int, int), optional
        Spacing of the kernel's taps (made into a kernel with zeros between them).
    groups : int, optional
        Input and output channels in this many independent groups.

    Returns
    -------
    ndarray or Tensor, (N, F, oH, oW)
        Of the input's kind and dtype.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp import nn
    >>> nn.conv2d(np.arange(16.0).reshape(1, 1, 4, 4), np.ones((1, 1, 2, 2)))
    array([[[[10., 14., 18.],
             [26., 30., 34.],
             [42., 46., 50.]]]])
    """
    x, as_tensor = _unwrap(input, "input")
    w, _ = _unwrap(weight, "weight", x.dtype)
    x, unbatched = _batch(x, "input")
    w = _dilated(w, dilation)
    n, c, h, wd = x.shape
    f, cg, kh, kw = w.shape
    (bh, bw, ah, aw), pad, strides = _layer(stride, padding, kh, kw)
    per_in, per_out = _groups(groups, c, f)
    if cg != per_in:
        raise ValueError(f"weight of shape {w.shape} expects {cg * groups} input channels, got {c}")
    oh, ow = (h + bh + ah - kh) // int(strides[1]) + 1, (wd + bw + aw - kw) // int(strides[0]) + 1
    parts = _grouped(groups, lambda xg, wg: _nchw(vm.conv_forward(xg.T, wg.T, pad, strides), n, per_out, oh, ow),
                     (x, 1, per_in), (w, 0, per_out))
    y = np.concatenate(parts, axis=1) if groups > 1 else parts[0]
    if bias is not None:
        b, _ = _unwrap(bias, "bias", x.dtype)
        y = y + b.reshape(1, -1, 1, 1)
    return _wrap(y[0] if unbatched else y, as_tensor)


def conv2d_input(input_size, weight, grad_output, stride=1, padding=0, dilation=1, groups=1):
    """The gradient of conv2d with respect to its input, as torch.nn.grad.conv2d_input.

    Parameters
    ----------
    input_size : sequence of int
        The input's shape, (N, C, H, W).
    weight : ndarray or Tensor, (F, C / groups, kH, kW)
    grad_output : ndarray or Tensor, (N, F, oH, oW)
    stride, padding, groups
        As in conv2d.
    dilation : 1
        Others are not supported.

    Returns
    -------
    ndarray or Tensor, (N, C, H, W)
        Zero where no output reached the input.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp import nn
    >>> nn.conv2d_input((1, 1, 3, 3), np.ones((1, 1, 2, 2)), np.ones((1, 1, 2, 2)))
    array([[[[1., 2., 1.],
             [2., 4., 2.],
             [1., 2., 1.]]]])
    """
    _one_dilation(dilation, "conv2d_input")
    w, as_tensor = _unwrap(weight, "weight")
    g, _ = _unwrap(grad_output, "grad_output", w.dtype)
    g, unbatched = _batch(g, "grad_output")
    n, f, oh, ow = g.shape
    size = tuple(int(s) for s in input_size)
    c, h, wd = size[-3], size[-2], size[-1]
    _, cg, kh, kw = w.shape
    _, pad, strides = _layer(stride, padding, kh, kw)
    per_in, per_out = _groups(groups, c, f)
    size = np.array([wd, h], dtype=float)
    parts = _grouped(groups, lambda gk, wk: _nchw(vm.conv_backward(gk.T, wk.T, pad, strides, size, False),
                                                  n, per_in, h, wd), (g, 1, per_out), (w, 0, per_out))
    gx = np.concatenate(parts, axis=1) if groups > 1 else parts[0]
    return _wrap(gx[0] if unbatched else gx, as_tensor)


def conv2d_weight(input, weight_size, grad_output, stride=1, padding=0, dilation=1, groups=1):
    """The gradient of conv2d with respect to its weight, as torch.nn.grad.conv2d_weight.

    Parameters
    ----------
    input : ndarray or Tensor, (N, C, H, W)
    weight_size : sequence of int
        The weight's shape, (F, C / groups, kH, kW).
    grad_output : ndarray or Tensor, (N, F, oH, oW)
    stride, padding, groups
        As in conv2d.
    dilation : 1
        Others are not supported.

    Returns
    -------
    ndarray or Tensor, weight_size

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp import nn
    >>> nn.conv2d_weight(np.arange(9.0).reshape(1, 1, 3, 3), (1, 1, 2, 2), np.ones((1, 1, 2, 2)))
    array([[[[ 8., 12.],
             [20., 24.]]]])
    """
    _one_dilation(dilation, "conv2d_weight")
    x, as_tensor = _unwrap(input, "input")
    g, _ = _unwrap(grad_output, "grad_output", x.dtype)
    x, _ = _batch(x, "input")
    g, _ = _batch(g, "grad_output")
    f, _, kh, kw = (int(s) for s in weight_size)
    c = x.shape[1]
    _, pad, strides = _layer(stride, padding, kh, kw)
    per_in, per_out = _groups(groups, c, f)
    size = np.array([kw, kh], dtype=float)

    def group(xk, gk):
        # The engine stops where the padded image ends before the filter would: zeros beyond.
        r = np.asarray(vm.conv_backward(xk.T, gk.T, pad, strides, size))
        rw, rh = (r.shape + (1, 1))[:2]
        full = np.zeros((per_out, per_in, kh, kw), x.dtype)
        full[:, :, :rh, :rw] = _nchw(r, per_out, per_in, rh, rw)
        return full

    parts = _grouped(groups, group, (x, 1, per_in), (g, 1, per_out))
    return _wrap(np.concatenate(parts, axis=0) if groups > 1 else parts[0], as_tensor)


def _pool_arguments(x, kernel_size, stride, padding):
    kh, kw = _pair(kernel_size, "kernel_size")
    sh, sw = _pair(kernel_size if stride is None or (not isinstance(stride, int) and len(stride) == 0) else stride,
                   "stride")
    ph, pw = _pair(padding, "padding")
    if 2 * ph > kh or 2 * pw > kw:
        raise ValueError(f"pad should be at most half of effective kernel size, but got pad={padding!r}, "
                         f"kernel_size={kernel_size!r}")
    return kh, kw, sh, sw, ph, pw


def _pooled(run, x, kh, kw, sh, sw, bh, bw, ah, aw, oh, ow):
    n, c, _, _ = x.shape
    r = run(x.T, np.array([kw, kh], dtype=float), _host_padding(bh, bw, ah, aw), np.array([sw, sh], dtype=float))
    return _nchw(r, n, c, oh, ow)


def max_pool2d(input, kernel_size, stride=None, padding=0, dilation=1, ceil_mode=False, return_indices=False):
    """Maximum pooling, as torch.nn.functional.max_pool2d.

    Parameters
    ----------
    input : ndarray or Tensor, (N, C, H, W) or (C, H, W)
    kernel_size : int or (int, int)
    stride : int or (int, int), optional
        Default: kernel_size.
    padding : int or (int, int), optional
        At most half the kernel; it takes no part in a maximum.
    dilation : 1
    ceil_mode : bool, optional
        One more window where the last one starts inside the image or its leading padding.
    return_indices : False

    Returns
    -------
    ndarray or Tensor, (N, C, oH, oW)
        A NaN never wins a window.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp import nn
    >>> nn.max_pool2d(np.arange(16.0).reshape(1, 1, 4, 4), 2)
    array([[[[ 5.,  7.],
             [13., 15.]]]])
    """
    _one_dilation(dilation, "max_pool2d")
    if return_indices:
        raise NotImplementedError("max_pool2d: return_indices=True")
    x, as_tensor = _unwrap(input, "input")
    x, unbatched = _batch(x, "input")
    kh, kw, sh, sw, ph, pw = _pool_arguments(x, kernel_size, stride, padding)
    h, w = x.shape[2:]
    oh, ow = (h + 2 * ph - kh) // sh + 1, (w + 2 * pw - kw) // sw + 1
    if ceil_mode:  # one more window where it starts inside the image or the leading padding
        oh += (h + 2 * ph - kh) % sh != 0 and (oh * sh < h + ph)
        ow += (w + 2 * pw - kw) % sw != 0 and (ow * sw < w + pw)
    # The padding after the image that makes the engine's count oh (it takes no part in a maximum).
    ah, aw = max(ph, (oh - 1) * sh + kh - h - ph), max(pw, (ow - 1) * sw + kw - w - pw)
    y = _pooled(vm.max_pool, x, kh, kw, sh, sw, ph, pw, ah, aw, oh, ow)
    return _wrap(y[0] if unbatched else y, as_tensor)


def _average_scale(x, kh, kw, sh, sw, ph, pw, count_include_pad, divisor_override):
    """What the engine's averages (sums over kh kw) are multiplied by: None for nothing."""
    if divisor_override is not None:
        return kh * kw / divisor_override
    if count_include_pad or (ph, pw) == (0, 0):
        return None
    h, w = x.shape[2:]
    ones = np.ones((1, 1, h, w), x.dtype)
    oh, ow = (h + 2 * ph - kh) // sh + 1, (w + 2 * pw - kw) // sw + 1
    covered = _pooled(vm.avg_pool, ones, kh, kw, sh, sw, ph, pw, ph, pw, oh, ow)  # count / (kh kw)
    return 1 / covered


def avg_pool2d(input, kernel_size, stride=None, padding=0, ceil_mode=False, count_include_pad=True,
               divisor_override=None):
    """Average pooling, as torch.nn.functional.avg_pool2d.

    Parameters
    ----------
    input : ndarray or Tensor, (N, C, H, W) or (C, H, W)
    kernel_size, stride, padding
        As in max_pool2d.
    ceil_mode : False
    count_include_pad : bool, optional
        Divide by the whole window (default), or by its cells inside the image.
    divisor_override : int, optional
        Divide by this instead.

    Returns
    -------
    ndarray or Tensor, (N, C, oH, oW)

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp import nn
    >>> nn.avg_pool2d(np.arange(16.0).reshape(1, 1, 4, 4), 2)
    array([[[[ 2.5,  4.5],
             [10.5, 12.5]]]])
    """
    if ceil_mode:
        raise NotImplementedError("avg_pool2d: ceil_mode=True")
    x, as_tensor = _unwrap(input, "input")
    x, unbatched = _batch(x, "input")
    kh, kw, sh, sw, ph, pw = _pool_arguments(x, kernel_size, stride, padding)
    h, w = x.shape[2:]
    oh, ow = (h + 2 * ph - kh) // sh + 1, (w + 2 * pw - kw) // sw + 1
    y = _pooled(vm.avg_pool, x, kh, kw, sh, sw, ph, pw, ph, pw, oh, ow)
    scale = _average_scale(x, kh, kw, sh, sw, ph, pw, count_include_pad, divisor_override)
    if scale is not None:
        y = y * np.asarray(scale, x.dtype)
    return _wrap(y[0] if unbatched else y, as_tensor)


def avg_pool2d_backward(grad_output, input, kernel_size, stride=None, padding=0, ceil_mode=False,
                        count_include_pad=True, divisor_override=None):
    """The gradient of avg_pool2d with respect to its input.

    Parameters
    ----------
    grad_output : ndarray or Tensor, (N, C, oH, oW)
    input : ndarray or Tensor, (N, C, H, W)
        The pooled input (only its shape is read).
    kernel_size, stride, padding, ceil_mode, count_include_pad, divisor_override
        As in avg_pool2d.

    Returns
    -------
    ndarray or Tensor, (N, C, H, W)

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp import nn
    >>> nn.avg_pool2d_backward(np.ones((1, 1, 2, 2)), np.zeros((1, 1, 4, 4)), 2)[0, 0, :2]
    array([[0.25, 0.25, 0.25, 0.25],
           [0.25, 0.25, 0.25, 0.25]])
    """
    if ceil_mode:
        raise NotImplementedError("avg_pool2d_backward: ceil_mode=True")
    g, as_tensor = _unwrap(grad_output, "grad_output")
    x, _ = _unwrap(input, "input", g.dtype)
    g, unbatched = _batch(g, "grad_output")
    x, _ = _batch(x, "input")
    kh, kw, sh, sw, ph, pw = _pool_arguments(x, kernel_size, stride, padding)
    scale = _average_scale(x, kh, kw, sh, sw, ph, pw, count_include_pad, divisor_override)
    if scale is not None:
        g = np.ascontiguousarray(g * np.asarray(scale, g.dtype))
    n, c, h, w = x.shape
    r = vm.avg_pool_backward(g.T, np.array([kw, kh], dtype=float), _host_padding(ph, pw, ph, pw),
                             np.array([sw, sh], dtype=float), np.array([w, h], dtype=float))
    gx = _nchw(r, n, c, h, w)
    return _wrap(gx[0] if unbatched else gx, as_tensor)


def local_response_norm(input, size, alpha=1e-4, beta=0.75, k=1.0):
    """Normalisation across neighbouring channels, as torch.nn.functional.local_response_norm.

    Parameters
    ----------
    input : ndarray or Tensor, (N, C, H, W) or (C, H, W)
    size : int
        Channels in the window: size // 2 before, (size - 1) // 2 after.
    alpha, beta, k : float, optional

    Returns
    -------
    ndarray or Tensor
        input / (k + alpha / size * sum of input^2 over the window)^beta.

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp import nn
    >>> nn.local_response_norm(np.ones((1, 3, 1, 1)), 3, 1.0, 0.5, 1.0).ravel()
    array([0.77459667, 0.70710678, 0.77459667])
    """
    x, as_tensor = _unwrap(input, "input")
    x, unbatched = _batch(x, "input")
    # The engine's even window reaches one channel further up, PyTorch's one further down: the
    # channels reversed make one the other.
    flip = size % 2 == 0
    if flip:
        x = np.ascontiguousarray(x[:, ::-1])
    n, c, h, w = x.shape
    y = _nchw(vm.window_norm(x.T, float(size), float(alpha), float(beta), float(k)), n, c, h, w)
    if flip:
        y = np.ascontiguousarray(y[:, ::-1])
    return _wrap(y[0] if unbatched else y, as_tensor)


def __getattr__(name):
    """The autograd functions, made when first asked for (they need torch)."""
    if name in ("Conv2dFunction", "AvgPool2dFunction"):
        from . import _autograd
        return getattr(_autograd, name)
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
