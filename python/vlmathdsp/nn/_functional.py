"""The layers' functions on NumPy arrays and CPU tensors, over the library's network built-ins. A
C-ordered (N, C, H, W) array is the host's column-major (W, H, C, N) array: each function hands
the engine its input with no copy and swaps heights and widths in the arguments instead. With a
tensor that requires grad (and grad enabled), a function goes through its autograd Function."""

import numpy as np

from .. import functions as vm
from . import _checks


def _is_tensor(x):
    return type(x).__module__.startswith("torch")


def _needs_grad(*values):
    """Whether autograd must record the call: a tensor argument requires grad, and grad is on."""
    if not any(_is_tensor(v) and v.requires_grad for v in values):
        return False
    import torch
    return torch.is_grad_enabled()


def _autograd():
    from . import _autograd
    return _autograd


def _tensors(*values):
    """NumPy arrays among tensors as tensors (None stays None), for an autograd Function."""
    import torch
    return [v if v is None or _is_tensor(v) else torch.from_numpy(np.ascontiguousarray(v)) for v in values]


def _unwrap(x, name, dtype=None):
    """x as a C-ordered NCHW NumPy array, and whether it was a tensor."""
    is_tensor = _is_tensor(x)
    if is_tensor:
        if x.device.type != "cpu":
            raise TypeError(f"{name}: a tensor on {x.device} (only CPU tensors are taken)")
        x = x.detach().contiguous().numpy()
    x = np.ascontiguousarray(x)
    if x.dtype not in (np.float32, np.float64):
        raise TypeError(f"{name} must be float32 or float64, not {x.dtype}")
    if dtype is not None:
        _checks.same_dtype(dtype, x.dtype)
    return x, is_tensor


def _wrap(y, as_tensor):
    if as_tensor:
        import torch
        return torch.from_numpy(np.ascontiguousarray(y))
    return y


def _batch(x):
    """(N, C, H, W) from (C, H, W) too, and whether it was unbatched."""
    return (x[np.newaxis], True) if x.ndim == 3 else (x, False)


def _nchw(result, n, c, h, w):
    """The host's (W, H, C, N) result, whatever trailing singletons it dropped, as NCHW."""
    return np.asarray(result).reshape((w, h, c, n), order="F").T


def _host_padding(before_h, before_w, after_h, after_w):
    return np.array([before_w, before_h, after_w, after_h], dtype=float)


def _sides(padding, kh, kw):
    """(before_h, before_w, after_h, after_w) from a checked pair, "valid" or "same"."""
    if padding == "valid":
        return 0, 0, 0, 0
    if padding == "same":
        return (kh - 1) // 2, (kw - 1) // 2, kh - 1 - (kh - 1) // 2, kw - 1 - (kw - 1) // 2
    return padding[0], padding[1], padding[0], padding[1]


def _dilated(w, dilation):
    dh, dw = dilation
    if (dh, dw) == (1, 1):
        return w
    f, c, kh, kw = w.shape
    out = np.zeros((f, c, (kh - 1) * dh + 1, (kw - 1) * dw + 1), w.dtype)
    out[:, :, ::dh, ::dw] = w
    return out


class _Layer:
    """A convolution's geometry: the dilated kernel's extent (kh, kw), the paddings, and what the
    engine takes of them. The engine pads by at most the kernel's extent less one on a side;
    more than that is padded into the input with zeros (explicit, before and after each axis)."""

    def __init__(self, stride, padding, dilation, kh, kw):
        self.stride, self.dilation = stride, dilation
        self.kh, self.kw = kh, kw
        sides = _sides(padding, kh, kw)
        limits = (kh - 1, kw - 1, kh - 1, kw - 1)
        self.engine_sides = tuple(min(p, m) for p, m in zip(sides, limits))
        self.explicit = tuple(p - e for p, e in zip(sides, self.engine_sides))
        self.sides = sides
        self.pad = _host_padding(*self.engine_sides)
        self.strides = np.array([stride[1], stride[0]], dtype=float)

    def padded(self, x):
        """x with the explicit zeros (N, C, H, W)."""
        bh, bw, ah, aw = self.explicit
        if not any(self.explicit):
            return x
        return np.pad(x, ((0, 0), (0, 0), (bh, ah), (bw, aw)))

    def padded_size(self, h, w):
        bh, bw, ah, aw = self.explicit
        return h + bh + ah, w + bw + aw

    def output_size(self, h, w):
        bh, bw, ah, aw = self.sides
        _checks.kernel_fits((h + bh + ah, w + bw + aw), (self.kh, self.kw))
        return (h + bh + ah - self.kh) // self.stride[0] + 1, (w + bw + aw - self.kw) // self.stride[1] + 1


def _layer(weight_shape, stride, padding, dilation, groups):
    stride, padding, dilation = _checks.conv_numbers(stride, padding, dilation, groups)
    kh, kw = ((k - 1) * d + 1 for k, d in zip(weight_shape[2:], dilation))
    return _Layer(stride, padding, dilation, kh, kw)


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
        Zeros on both sides, any number of them; "same" (stride 1) puts the odd one after, as
        PyTorch does.
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
    if _needs_grad(input, weight, bias):
        return _autograd().Conv2dFunction.apply(*_tensors(input, weight, bias), stride, padding, dilation, groups)
    x, as_tensor = _unwrap(input, "input")
    w, _ = _unwrap(weight, "weight")
    _checks.conv_input(x, w)
    _checks.same_dtype(x.dtype, w.dtype)
    layer = _layer(w.shape, stride, padding, dilation, groups)
    x, unbatched = _batch(x)
    b = None
    if bias is not None:
        b, _ = _unwrap(bias, "bias", x.dtype)
    _checks.conv_shapes(x.shape, w.shape, groups, None if b is None else b.shape)
    n, c, h, wd = x.shape
    f = w.shape[0]
    oh, ow = layer.output_size(h, wd)
    per_in, per_out = c // groups, f // groups
    if n == 0 or f == 0:
        y = np.zeros((n, f, oh, ow), x.dtype)
    else:
        w, x = _dilated(w, layer.dilation), layer.padded(x)
        parts = _grouped(groups, lambda xg, wg: _nchw(vm.conv_forward(xg.T, wg.T, layer.pad, layer.strides),
                                                      n, per_out, oh, ow), (x, 1, per_in), (w, 0, per_out))
        y = np.concatenate(parts, axis=1) if groups > 1 else parts[0]
    if b is not None:
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
    stride, padding, dilation, groups
        As in conv2d.

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
    w, as_tensor = _unwrap(weight, "weight")
    g, _ = _unwrap(grad_output, "grad_output", w.dtype)
    g, unbatched = _batch(g)
    n, f, oh, ow = g.shape
    size = tuple(int(s) for s in input_size)
    c, h, wd = size[-3], size[-2], size[-1]
    layer = _layer(w.shape, stride, padding, dilation, groups)
    per_in, per_out = c // groups, f // groups
    w = _dilated(w, layer.dilation)
    ph, pw = layer.padded_size(h, wd)
    engine_size = np.array([pw, ph], dtype=float)
    parts = _grouped(groups, lambda gk, wk: _nchw(vm.conv_backward(gk.T, wk.T, layer.pad, layer.strides, engine_size,
                                                                   False), n, per_in, ph, pw),
                     (g, 1, per_out), (w, 0, per_out))
    gx = np.concatenate(parts, axis=1) if groups > 1 else parts[0]
    bh, bw = layer.explicit[:2]
    gx = np.ascontiguousarray(gx[:, :, bh:bh + h, bw:bw + wd])
    return _wrap(gx[0] if unbatched else gx, as_tensor)


def conv2d_weight(input, weight_size, grad_output, stride=1, padding=0, dilation=1, groups=1):
    """The gradient of conv2d with respect to its weight, as torch.nn.grad.conv2d_weight.

    Parameters
    ----------
    input : ndarray or Tensor, (N, C, H, W)
    weight_size : sequence of int
        The weight's shape, (F, C / groups, kH, kW).
    grad_output : ndarray or Tensor, (N, F, oH, oW)
    stride, padding, dilation, groups
        As in conv2d.

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
    x, as_tensor = _unwrap(input, "input")
    g, _ = _unwrap(grad_output, "grad_output", x.dtype)
    x, _ = _batch(x)
    g, _ = _batch(g)
    f, cg, kh0, kw0 = (int(s) for s in weight_size)
    layer = _layer((f, cg, kh0, kw0), stride, padding, dilation, groups)
    kh, kw = layer.kh, layer.kw
    per_in, per_out = x.shape[1] // groups, f // groups
    size = np.array([kw, kh], dtype=float)
    x = layer.padded(x)

    def group(xk, gk):
        # The engine stops where the padded image ends before the filter would: zeros beyond.
        r = np.asarray(vm.conv_backward(xk.T, gk.T, layer.pad, layer.strides, size))
        rw, rh = (r.shape + (1, 1))[:2]
        full = np.zeros((per_out, per_in, kh, kw), x.dtype)
        full[:, :, :rh, :rw] = _nchw(r, per_out, per_in, rh, rw)
        return full

    parts = _grouped(groups, group, (x, 1, per_in), (g, 1, per_out))
    gw = np.concatenate(parts, axis=0) if groups > 1 else parts[0]
    dh, dw = layer.dilation
    return _wrap(np.ascontiguousarray(gw[:, :, ::dh, ::dw]), as_tensor)


def _pool_geometry(what, x, kernel_size, stride, padding, dilation=1, ceil_mode=False):
    """(kh, kw, sh, sw, ph, pw) checked, and the output's (oh, ow)."""
    kh, kw, sh, sw, ph, pw = _checks.pool_numbers(what, x.shape, kernel_size, stride, padding, dilation)
    h, w = x.shape[-2:]
    oh, ow = (h + 2 * ph - kh) // sh + 1, (w + 2 * pw - kw) // sw + 1
    if ceil_mode:  # one more window where it starts inside the image or the leading padding
        oh += (h + 2 * ph - kh) % sh != 0 and (oh * sh < h + ph)
        ow += (w + 2 * pw - kw) % sw != 0 and (ow * sw < w + pw)
    _checks.pool_output(x.shape, oh, ow)
    return (kh, kw, sh, sw, ph, pw), (oh, ow)


def _pooled(run, x, kh, kw, sh, sw, bh, bw, ah, aw, oh, ow):
    n, c, _, _ = x.shape
    if n == 0:
        return np.zeros((0, c, oh, ow), x.dtype)
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
    if _needs_grad(input):
        return _autograd().MaxPool2dFunction.apply(input, kernel_size, stride, padding, dilation, ceil_mode,
                                                   return_indices)
    x, as_tensor = _unwrap(input, "input")
    (kh, kw, sh, sw, ph, pw), (oh, ow) = _pool_geometry("max_pool2d", x, kernel_size, stride, padding, dilation,
                                                        ceil_mode)
    if _checks.pool_pair(dilation, "max_pool2d", "dilation") != (1, 1):
        raise NotImplementedError(f"max_pool2d: dilation {dilation!r} (only 1)")
    if return_indices:
        raise NotImplementedError("max_pool2d: return_indices=True")
    x, unbatched = _batch(x)
    h, w = x.shape[2:]
    # The padding after the image that makes the engine's count oh (it takes no part in a maximum).
    ah, aw = max(ph, (oh - 1) * sh + kh - h - ph), max(pw, (ow - 1) * sw + kw - w - pw)
    y = _pooled(vm.max_pool, x, kh, kw, sh, sw, ph, pw, ah, aw, oh, ow)
    return _wrap(y[0] if unbatched else y, as_tensor)


def max_pool2d_backward(grad_output, input, kernel_size, stride=None, padding=0, dilation=1, ceil_mode=False):
    """The gradient of max_pool2d with respect to its input: each window's gradient goes to its
    maximum, the first in row order where several are equal, as PyTorch's.

    Parameters
    ----------
    grad_output : ndarray or Tensor, (N, C, oH, oW)
    input : ndarray or Tensor, (N, C, H, W) or (C, H, W)
        The pooled input.
    kernel_size, stride, padding, dilation, ceil_mode
        As in max_pool2d.

    Returns
    -------
    ndarray or Tensor, the input's shape

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp import nn
    >>> nn.max_pool2d_backward(np.ones((1, 1, 1, 1)), np.array([[[[1.0, 3.0], [3.0, 2.0]]]]), 2)
    array([[[[0., 1.],
             [0., 0.]]]])
    """
    return _max_pool_gradient(grad_output, input, None, kernel_size, stride, padding, dilation, ceil_mode)


def _max_pool_gradient(grad_output, input, output, kernel_size, stride, padding, dilation, ceil_mode):
    """max_pool2d_backward, given the pooled output when it is at hand (else pooled here)."""
    x, as_tensor = _unwrap(input, "input")
    g, _ = _unwrap(grad_output, "grad_output", x.dtype)
    y = max_pool2d(x, kernel_size, stride, padding, dilation, ceil_mode) if output is None else \
        _unwrap(output, "output", x.dtype)[0]
    (kh, kw, sh, sw, ph, pw), (oh, ow) = _pool_geometry("max_pool2d", x, kernel_size, stride, padding, dilation,
                                                        ceil_mode)
    x, unbatched = _batch(x)
    y, g = y.reshape((x.shape[0], x.shape[1], oh, ow)), g.reshape((x.shape[0], x.shape[1], oh, ow))
    n, c, h, w = x.shape
    # Padding is NaN, which equals no maximum.
    padded = np.full((n, c, max(h + 2 * ph, (oh - 1) * sh + kh), max(w + 2 * pw, (ow - 1) * sw + kw)), np.nan, x.dtype)
    padded[:, :, ph:ph + h, pw:pw + w] = x
    gx = np.zeros_like(padded)
    taken = np.zeros(y.shape, bool)
    for i in range(kh):
        for j in range(kw):
            at = (slice(None), slice(None), slice(i, i + (oh - 1) * sh + 1, sh), slice(j, j + (ow - 1) * sw + 1, sw))
            hit = (padded[at] == y) & ~taken
            gx[at] += np.where(hit, g, 0)
            taken |= hit
    gx = np.ascontiguousarray(gx[:, :, ph:ph + h, pw:pw + w])
    return _wrap(gx[0] if unbatched else gx, as_tensor)


def _average_scale(x, kh, kw, sh, sw, ph, pw, count_include_pad, divisor_override):
    """What the engine's averages (sums over kh kw) are multiplied by: None for nothing."""
    _checks.divisor(divisor_override)
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
    if _needs_grad(input):
        return _autograd().AvgPool2dFunction.apply(input, kernel_size, stride, padding, count_include_pad,
                                                   divisor_override, ceil_mode)
    x, as_tensor = _unwrap(input, "input")
    (kh, kw, sh, sw, ph, pw), (oh, ow) = _pool_geometry("avg_pool2d", x, kernel_size, stride, padding)
    if ceil_mode:
        raise NotImplementedError("avg_pool2d: ceil_mode=True")
    x, unbatched = _batch(x)
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
    g, as_tensor = _unwrap(grad_output, "grad_output")
    x, _ = _unwrap(input, "input", g.dtype)
    (kh, kw, sh, sw, ph, pw), (oh, ow) = _pool_geometry("avg_pool2d", x, kernel_size, stride, padding)
    if ceil_mode:
        raise NotImplementedError("avg_pool2d_backward: ceil_mode=True")
    x, unbatched = _batch(x)
    n, c, h, w = x.shape
    g = g.reshape((n, c, oh, ow))
    scale = _average_scale(x, kh, kw, sh, sw, ph, pw, count_include_pad, divisor_override)
    if scale is not None:
        g = np.ascontiguousarray(g * np.asarray(scale, g.dtype))
    if n == 0:
        return _wrap(np.zeros(x.shape[unbatched:], x.dtype), as_tensor)
    r = vm.avg_pool_backward(g.T, np.array([kw, kh], dtype=float), _host_padding(ph, pw, ph, pw),
                             np.array([sw, sh], dtype=float), np.array([w, h], dtype=float))
    gx = _nchw(r, n, c, h, w)
    return _wrap(gx[0] if unbatched else gx, as_tensor)


def local_response_norm(input, size, alpha=1e-4, beta=0.75, k=1.0):
    """Normalisation across neighbouring channels, as torch.nn.functional.local_response_norm.

    Parameters
    ----------
    input : ndarray or Tensor, (N, C, ...)
        Channels along axis 1, at least 3 dimensions.
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
    if _needs_grad(input):
        return _autograd().LocalResponseNormFunction.apply(input, size, alpha, beta, k)
    x, as_tensor = _unwrap(input, "input")
    _checks.norm_input(x.shape, size)
    shape = x.shape
    # (N, C, spatial...) as the engine's (pixels, C, N): C-ordered (N, C, S, 1) is (1, S, C, N).
    x = x.reshape(shape[0], shape[1], -1, 1)
    # The engine's even window reaches one channel further up, PyTorch's one further down: the
    # channels reversed make one the other.
    flip = size % 2 == 0
    if flip:
        x = np.ascontiguousarray(x[:, ::-1])
    n, c, p, _ = x.shape
    if x.size == 0:
        return _wrap(np.zeros(shape, x.dtype), as_tensor)
    y = _nchw(vm.window_norm(x.T, float(size), float(alpha), float(beta), float(k)), n, c, p, 1)
    if flip:
        y = y[:, ::-1]
    return _wrap(np.ascontiguousarray(y).reshape(shape), as_tensor)


def _window_sums(a, before, after):
    """Sums along axis 1 of a over the channels c - before .. c + after that exist."""
    c = a.shape[1]
    widths = [(0, 0)] * a.ndim
    widths[1] = (before + 1, after)
    running = np.cumsum(np.pad(a, widths), axis=1)
    return running[:, before + 1 + after:before + 1 + after + c] - running[:, :c]


def local_response_norm_backward(grad_output, input, size, alpha=1e-4, beta=0.75, k=1.0):
    """The gradient of local_response_norm with respect to its input: each channel's own term and
    its part in its neighbours' windows.

    Parameters
    ----------
    grad_output : ndarray or Tensor, the input's shape
    input : ndarray or Tensor, (N, C, ...)
    size, alpha, beta, k
        As in local_response_norm.

    Returns
    -------
    ndarray or Tensor, the input's shape

    Examples
    --------
    >>> import numpy as np
    >>> from vlmathdsp import nn
    >>> nn.local_response_norm_backward(np.ones((1, 2, 1, 1)), np.ones((1, 2, 1, 1)), 1, 1.0, 1.0, 1.0).ravel()
    array([0., 0.])
    """
    x, as_tensor = _unwrap(input, "input")
    g, _ = _unwrap(grad_output, "grad_output", x.dtype)
    _checks.norm_input(x.shape, size)
    g = g.reshape(x.shape)
    # Channel c's window is c - size // 2 .. c + (size - 1) // 2; channel i lies in the windows of
    # i - (size - 1) // 2 .. i + size // 2.
    t = k + alpha / size * _window_sums(x * x, size // 2, (size - 1) // 2)
    scale = t ** -beta
    spread = _window_sums(g * x * scale / t, (size - 1) // 2, size // 2)
    gx = g * scale - x.dtype.type(2 * alpha * beta / size) * x * spread
    return _wrap(gx.astype(x.dtype, copy=False), as_tensor)
