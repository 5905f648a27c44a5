"""torch.autograd.Function wrappers of the layers, so that torch records them: the functions of
vlmathdsp.nn go through these when a tensor argument requires grad, and a torch module can call
them itself:

    class Conv(torch.nn.Module):
        def forward(self, x):
            return nn.Conv2dFunction.apply(x, self.weight, self.bias, self.stride, self.padding)

Each gradient is computed once (not differentiable again)."""

import torch
from torch.autograd.function import once_differentiable

from . import _functional as F


def _tensor(y, like):
    """y, an array or tensor, as a tensor on like's device and dtype."""
    y = y if isinstance(y, torch.Tensor) else torch.from_numpy(y)
    return y.to(like.dtype)


class Conv2dFunction(torch.autograd.Function):
    """apply(input, weight, bias=None, stride=1, padding=0, dilation=1, groups=1): conv2d, with the
    gradients of input and weight from the library and the bias's as the sum of the output's."""

    @staticmethod
    def forward(ctx, input, weight, bias=None, stride=1, padding=0, dilation=1, groups=1):
        ctx.save_for_backward(input, weight)
        ctx.options = dict(stride=stride, padding=padding, dilation=dilation, groups=groups)
        ctx.has_bias = bias is not None
        return _tensor(F.conv2d(input.detach(), weight.detach(), None if bias is None else bias.detach(),
                                **ctx.options), input)

    @staticmethod
    @once_differentiable
    def backward(ctx, grad):
        input, weight = ctx.saved_tensors
        grad = grad.contiguous()
        gi = gw = gb = None
        if ctx.needs_input_grad[0]:
            gi = _tensor(F.conv2d_input(input.shape, weight, grad, **ctx.options), input)
        if ctx.needs_input_grad[1]:
            gw = _tensor(F.conv2d_weight(input, weight.shape, grad, **ctx.options), weight)
        if ctx.has_bias and ctx.needs_input_grad[2]:
            gb = grad.sum(dim=(0, 2, 3) if grad.dim() == 4 else (1, 2))
        return gi, gw, gb, None, None, None, None


class MaxPool2dFunction(torch.autograd.Function):
    """apply(input, kernel_size, stride=None, padding=0, dilation=1, ceil_mode=False,
    return_indices=False): max_pool2d, each window's gradient going to its maximum."""

    @staticmethod
    def forward(ctx, input, kernel_size, stride=None, padding=0, dilation=1, ceil_mode=False, return_indices=False):
        ctx.options = dict(kernel_size=kernel_size, stride=stride, padding=padding, dilation=dilation,
                           ceil_mode=ceil_mode)
        output = _tensor(F.max_pool2d(input.detach(), return_indices=return_indices, **ctx.options), input)
        ctx.save_for_backward(input, output)
        return output

    @staticmethod
    @once_differentiable
    def backward(ctx, grad):
        input, output = ctx.saved_tensors
        gi = _tensor(F._max_pool_gradient(grad.contiguous(), input, output, **ctx.options), input)
        return gi, None, None, None, None, None, None


class AvgPool2dFunction(torch.autograd.Function):
    """apply(input, kernel_size, stride=None, padding=0, count_include_pad=True, divisor_override=None,
    ceil_mode=False): avg_pool2d, with the gradient from the library."""

    @staticmethod
    def forward(ctx, input, kernel_size, stride=None, padding=0, count_include_pad=True, divisor_override=None,
                ceil_mode=False):
        ctx.save_for_backward(input)
        ctx.options = dict(kernel_size=kernel_size, stride=stride, padding=padding, ceil_mode=ceil_mode,
                           count_include_pad=count_include_pad, divisor_override=divisor_override)
        return _tensor(F.avg_pool2d(input.detach(), **ctx.options), input)

    @staticmethod
    @once_differentiable
    def backward(ctx, grad):
        (input,) = ctx.saved_tensors
        gi = _tensor(F.avg_pool2d_backward(grad.contiguous(), input, **ctx.options), input)
        return gi, None, None, None, None, None, None


class LocalResponseNormFunction(torch.autograd.Function):
    """apply(input, size, alpha=1e-4, beta=0.75, k=1.0): local_response_norm, with its whole
    gradient (each channel's part in its neighbours' windows included)."""

    @staticmethod
    def forward(ctx, input, size, alpha=1e-4, beta=0.75, k=1.0):
        ctx.save_for_backward(input)
        ctx.options = (size, alpha, beta, k)
        return _tensor(F.local_response_norm(input.detach(), *ctx.options), input)

    @staticmethod
    @once_differentiable
    def backward(ctx, grad):
        (input,) = ctx.saved_tensors
        gi = _tensor(F.local_response_norm_backward(grad.contiguous(), input, *ctx.options), input)
        return gi, None, None, None, None
