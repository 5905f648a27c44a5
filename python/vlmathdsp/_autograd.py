"""torch.autograd.Function wrappers of vlmathdsp.nn, so that a torch module can train through them:

    class Conv(torch.nn.Module):
        def forward(self, x):
            return nn.Conv2dFunction.apply(x, self.weight, self.bias, self.stride, self.padding)
"""

import torch

from . import nn


class Conv2dFunction(torch.autograd.Function):
    """apply(input, weight, bias=None, stride=1, padding=0, groups=1): conv2d, with both gradients
    from the library and the bias's as the sum of the output's gradient."""

    @staticmethod
    def forward(ctx, input, weight, bias=None, stride=1, padding=0, groups=1):
        ctx.save_for_backward(input, weight)
        ctx.options = dict(stride=stride, padding=padding, groups=groups)
        ctx.has_bias = bias is not None
        return nn.conv2d(input, weight, bias, **ctx.options)

    @staticmethod
    def backward(ctx, grad):
        input, weight = ctx.saved_tensors
        grad = grad.contiguous()
        gi = nn.conv2d_input(input.shape, weight, grad, **ctx.options) if ctx.needs_input_grad[0] else None
        gw = nn.conv2d_weight(input, weight.shape, grad, **ctx.options) if ctx.needs_input_grad[1] else None
        gb = grad.sum(dim=(0, 2, 3) if grad.dim() == 4 else (1, 2)) if ctx.has_bias and ctx.needs_input_grad[2] else None
        return gi, gw, gb, None, None, None


class AvgPool2dFunction(torch.autograd.Function):
    """apply(input, kernel_size, stride=None, padding=0, count_include_pad=True): avg_pool2d, with
    the gradient from the library."""

    @staticmethod
    def forward(ctx, input, kernel_size, stride=None, padding=0, count_include_pad=True):
        ctx.save_for_backward(input)
        ctx.options = dict(kernel_size=kernel_size, stride=stride, padding=padding, count_include_pad=count_include_pad)
        return nn.avg_pool2d(input, **ctx.options)

    @staticmethod
    def backward(ctx, grad):
        (input,) = ctx.saved_tensors
        return nn.avg_pool2d_backward(grad.contiguous(), input, **ctx.options), None, None, None, None
