"""What the network tests share: layers, the layout adapter from PyTorch's NCHW (and F, C, kH,
kW) to our H, W, C, N column-major and back, and the check of one refused call."""

import numpy as np
import pytest

import vlmathdsp as vm

# Layers both passes are tested on: H, W, C, N, kH, kW, F, padding, stride.
LAYERS = [
    (9, 8, 3, 4, 3, 2, 5, (0, 0, 0, 0), (1, 1)),
    (9, 8, 3, 4, 3, 3, 5, (1, 0, 0, 0), (1, 1)),      # each side on its own
    (9, 8, 3, 4, 3, 3, 5, (0, 2, 0, 0), (1, 1)),
    (9, 8, 3, 4, 3, 3, 5, (0, 0, 1, 0), (1, 1)),
    (9, 8, 3, 4, 3, 3, 5, (0, 0, 0, 4), (1, 1)),      # trailing padding beyond the filter
    (9, 8, 3, 4, 3, 2, 5, (2, 1, 0, 3), (2, 3)),      # asymmetric, mixed strides
    (13, 12, 2, 2, 3, 3, 3, (1, 2, 2, 1), (3, 1)),
]


def to_ours(x):
    """NCHW (or FCkHkW) to H, W, C, N column-major."""
    return np.asfortranarray(x.transpose(2, 3, 1, 0))


def from_ours(y):
    y = np.asarray(y)
    return y.reshape(y.shape + (1,) * (4 - y.ndim)).transpose(3, 2, 0, 1)


def expect_error(slot, args, kwargs, identifier, text):
    """The call of `slot` fails with `identifier` and, when given, `text`; lists are doubles."""
    args = tuple(np.array(a, float) if isinstance(a, list) else a for a in args)
    with pytest.raises(vm.Error) as info:
        vm.call(slot, *args, **kwargs)
    assert info.value.identifier == identifier
    if text:
        assert text in str(info.value)
