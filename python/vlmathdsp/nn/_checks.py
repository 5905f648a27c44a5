"""Arguments of the layers checked as PyTorch checks them, in its order and with its exceptions and
words, in the user's terms: (N, C, H, W) shapes, kernel_size, stride, padding as given."""

import numpy as np

_TYPE_NAMES = {np.dtype(np.float64): "Double", np.dtype(np.float32): "Float"}


def _ints(value):
    return [int(v) for v in value] if isinstance(value, (tuple, list)) else None


def conv_pair(value, name):
    """stride, padding or dilation of conv2d as (h, w)."""
    if isinstance(value, (int, np.integer)):
        return int(value), int(value)
    values = _ints(value)
    if values is None or len(values) not in (1, 2):
        raise RuntimeError(f"expected {name} to be a single integer value or a list of 2 values to match the "
                           f"convolution dimensions, but got {name}={values if values is not None else value}")
    return (values[0], values[0]) if len(values) == 1 else tuple(values)


def conv_input(x, weight):
    if x.ndim not in (3, 4):
        raise RuntimeError(f"Expected 3D (unbatched) or 4D (batched) input to conv2d, but got input of size: "
                           f"{list(x.shape)}")
    if weight.ndim != 4:
        raise RuntimeError(f"Expected 4-dimensional weight for {x.ndim}-dimensional input {list(x.shape)}, but got "
                           f"{weight.ndim}-dimensional weight of size {list(weight.shape)} instead")


def same_dtype(expected, found):
    if expected != found:
        raise RuntimeError(f"expected scalar type {_TYPE_NAMES.get(expected, expected)} but found "
                           f"{_TYPE_NAMES.get(found, found)}")


def conv_numbers(stride, padding, dilation, groups):
    """The pairs of conv2d, checked; padding stays a str when it is one."""
    if isinstance(padding, str):
        if padding not in ("valid", "same"):
            raise RuntimeError(f"Invalid padding string: {padding!r}")
    else:
        padding = conv_pair(padding, "padding")
    stride, dilation = conv_pair(stride, "stride"), conv_pair(dilation, "dilation")
    if not isinstance(padding, str) and min(padding) < 0:
        raise RuntimeError("negative padding is not supported")
    if min(stride) <= 0:
        raise RuntimeError("non-positive stride is not supported")
    if min(dilation) <= 0:
        raise RuntimeError(f"dilation should be greater than zero, but got {list(dilation)}")
    if groups <= 0:
        raise RuntimeError("non-positive groups is not supported")
    if padding == "same" and stride != (1, 1):
        raise RuntimeError("padding='same' is not supported for strided convolutions")
    return stride, padding, dilation


def conv_shapes(x_shape, w_shape, groups, bias_shape=None):
    """Channels of input (N, C, H, W), weight (F, C / groups, kH, kW) and bias (F,)."""
    f, per_group = w_shape[0], w_shape[1]
    if f % groups:
        raise RuntimeError(f"Given groups={groups}, expected weight to be divisible by {groups} at dimension 0, "
                           f"but got weight of size [{list(w_shape)}] instead")
    if x_shape[1] != per_group * groups:
        raise RuntimeError(f"Given groups={groups}, weight of size {list(w_shape)}, expected input{list(x_shape)} to "
                           f"have {per_group * groups} channels, but got {x_shape[1]} channels instead")
    if bias_shape is not None and tuple(bias_shape) != (f,):
        raise RuntimeError(f"Given weight of size {list(w_shape)}, expected bias to be 1-dimensional with {f} "
                           f"elements, but got bias of size {list(bias_shape)} instead")


def kernel_fits(padded, extent):
    """The padded input (h, w) holds the dilated kernel's extent (h, w)."""
    if padded[0] < extent[0] or padded[1] < extent[1]:
        raise RuntimeError(f"Calculated padded input size per channel: ({padded[0]} x {padded[1]}). Kernel size: "
                           f"({extent[0]} x {extent[1]}). Kernel size can't be greater than actual input size")


def pool_pair(value, what, name, may_be_empty=False):
    if isinstance(value, (int, np.integer)):
        return int(value), int(value)
    values = _ints(value)
    if values is None or len(values) not in ((0, 1, 2) if may_be_empty else (1, 2)) or not values and not may_be_empty:
        forms = "either be omitted, a single int, or a tuple of two ints" if may_be_empty else \
            "either be a single int, or a tuple of two ints"
        raise RuntimeError(f"{what}: {name} must {forms}")
    if not values:
        return None
    return (values[0], values[0]) if len(values) == 1 else tuple(values)


def pool_numbers(what, x_shape, kernel_size, stride, padding, dilation=1):
    """(kh, kw, sh, sw, ph, pw) of max_pool2d or avg_pool2d, checked."""
    if len(x_shape) not in (3, 4) or 0 in x_shape[-3:]:
        raise RuntimeError(f"Expected 3D or 4D (batch mode) tensor with optional 0 dim batch size for input, but "
                           f"got:{list(x_shape)}" if len(x_shape) in (3, 4) else
                           "non-empty 3D or 4D (batch mode) tensor expected for input")
    kh, kw = pool_pair(kernel_size, what, "kernel_size")
    given = None if stride is None else pool_pair(stride, what, "stride", may_be_empty=True)
    sh, sw = given if given is not None else (kh, kw)
    ph, pw = pool_pair(padding, what, "padding")
    dh, dw = pool_pair(dilation, what, "dilation")
    if sh == 0 or sw == 0:
        raise RuntimeError("stride should not be zero")
    if kh <= 0 or kw <= 0:
        raise RuntimeError(f"kernel size should be greater than zero, but got kH: {kh} kW: {kw}")
    if sh < 0 or sw < 0:
        raise RuntimeError(f"stride should be greater than zero, but got dH: {sh} dW: {sw}")
    if dh <= 0 or dw <= 0:
        raise RuntimeError(f"dilation should be greater than zero, but got dilationH: {dh} dilationW: {dw}")
    for p, k in ((ph, kh), (pw, kw)):
        if p < 0:
            raise RuntimeError(f"pad must be non-negative, but got pad: {p}")
        if 2 * p > k:
            raise RuntimeError(f"pad should be at most half of kernel size, but got pad={p} and kernel_size={k}")
    return kh, kw, sh, sw, ph, pw


def pool_output(x_shape, oh, ow):
    if oh < 1 or ow < 1:
        c, h, w = x_shape[-3:]
        raise RuntimeError(f"Given input size: ({c}x{h}x{w}). Calculated output size: ({c}x{oh}x{ow}). "
                           "Output size is too small")


def norm_input(x_shape, size):
    if len(x_shape) < 3:
        raise ValueError(f"Expected 3D or higher dimensionality input (got {len(x_shape)} dimensions)")
    if size <= 0:
        raise RuntimeError(f"size should be greater than zero, but got {size}")


def divisor(value):
    if value is not None and value == 0:
        raise RuntimeError("divisor must be not zero")
