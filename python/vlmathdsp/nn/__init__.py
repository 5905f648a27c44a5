"""PyTorch's convolution, pooling and normalisation layers on NCHW arrays, over the library's network
built-ins. NumPy arrays and CPU torch tensors (float32 or float64) are taken alike; a tensor's
results are tensors, recorded by autograd when an argument requires grad::

    from vlmathdsp import nn
    y = nn.conv2d(x, weight, bias, stride=2, padding=1)            # as torch.nn.functional.conv2d
    gx = nn.conv2d_input(x.shape, weight, gy, stride=2, padding=1)  # as torch.nn.grad.conv2d_input
    layer = nn.Conv2d(3, 16, 3, padding=1)                          # as torch.nn.Conv2d, trainable

Arguments are checked as PyTorch checks them, and a bad one raises what PyTorch raises, in the
same words. Where it differs from PyTorch: a NaN in a max pooling window never wins (PyTorch
returns it); dilation in pooling, max pooling's return_indices and average pooling's ceil_mode
are not supported (NotImplementedError); gradients are not differentiable again. Results do not
depend on the thread count.
"""

from ._functional import (
    avg_pool2d, avg_pool2d_backward, conv2d, conv2d_input, conv2d_weight, local_response_norm,
    local_response_norm_backward, max_pool2d, max_pool2d_backward,
)

_FUNCTIONS = ["conv2d", "conv2d_input", "conv2d_weight", "max_pool2d", "max_pool2d_backward", "avg_pool2d",
              "avg_pool2d_backward", "local_response_norm", "local_response_norm_backward"]
# Made when first asked for: they need torch.
_AUTOGRAD = ["Conv2dFunction", "MaxPool2dFunction", "AvgPool2dFunction", "LocalResponseNormFunction"]
_MODULES = ["Conv2d", "MaxPool2d", "AvgPool2d", "LocalResponseNorm"]

__all__ = _FUNCTIONS + _AUTOGRAD + _MODULES


def __getattr__(name):
    if name in _AUTOGRAD:
        from . import _autograd
        return getattr(_autograd, name)
    if name in _MODULES:
        from . import _modules
        return getattr(_modules, name)
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")


def __dir__():
    return sorted(__all__)
