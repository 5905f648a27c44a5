"""The layers as torch modules: torch's own classes (their parameters, initialisation, state_dict
and repr), with the forward pass computed by the library."""

import torch

from . import _functional as F


class Conv2d(torch.nn.Conv2d):
    """torch.nn.Conv2d computed by vlmathdsp.nn.conv2d; a state_dict of torch's Conv2d loads as it is.

    Examples
    --------
    >>> import torch
    >>> from vlmathdsp import nn
    >>> layer = nn.Conv2d(3, 8, 3, padding=1)
    >>> layer.load_state_dict(torch.nn.Conv2d(3, 8, 3, padding=1).state_dict())
    <All keys matched successfully>
    >>> layer(torch.ones(1, 3, 16, 16)).shape
    torch.Size([1, 8, 16, 16])
    """

    def _conv_forward(self, input, weight, bias):
        if self.padding_mode != "zeros":
            input = torch.nn.functional.pad(input, self._reversed_padding_repeated_twice, mode=self.padding_mode)
            return F.conv2d(input, weight, bias, self.stride, 0, self.dilation, self.groups)
        return F.conv2d(input, weight, bias, self.stride, self.padding, self.dilation, self.groups)


class MaxPool2d(torch.nn.MaxPool2d):
    """torch.nn.MaxPool2d computed by vlmathdsp.nn.max_pool2d.

    Examples
    --------
    >>> import torch
    >>> from vlmathdsp import nn
    >>> nn.MaxPool2d(2)(torch.arange(16.0).reshape(1, 1, 4, 4))
    tensor([[[[ 5.,  7.],
              [13., 15.]]]])
    """

    def forward(self, input):
        return F.max_pool2d(input, self.kernel_size, self.stride, self.padding, self.dilation,
                            ceil_mode=self.ceil_mode, return_indices=self.return_indices)


class AvgPool2d(torch.nn.AvgPool2d):
    """torch.nn.AvgPool2d computed by vlmathdsp.nn.avg_pool2d.

    Examples
    --------
    >>> import torch
    >>> from vlmathdsp import nn
    >>> nn.AvgPool2d(2)(torch.arange(16.0).reshape(1, 1, 4, 4))
    tensor([[[[ 2.5000,  4.5000],
              [10.5000, 12.5000]]]])
    """

    def forward(self, input):
        return F.avg_pool2d(input, self.kernel_size, self.stride, self.padding, self.ceil_mode,
                            self.count_include_pad, self.divisor_override)


class LocalResponseNorm(torch.nn.LocalResponseNorm):
    """torch.nn.LocalResponseNorm computed by vlmathdsp.nn.local_response_norm.

    Examples
    --------
    >>> import torch
    >>> from vlmathdsp import nn
    >>> nn.LocalResponseNorm(3, 1.0, 0.5, 1.0)(torch.ones(1, 3, 1, 1)).flatten()
    tensor([0.7746, 0.7071, 0.7746])
    """

    def forward(self, input):
        return F.local_response_norm(input, self.size, self.alpha, self.beta, self.k)
