"""vlmathdsp.nn against torch.nn.functional, torch.nn.grad and torch's autograd on NCHW arrays and
tensors: values, shapes, dtypes, the kinds returned, and what is refused."""

import itertools

import numpy as np
import pytest
import torch
import torch.nn.functional as F

from vlmathdsp import nn
from transforms import assert_one_thread_matches_several


def tensor(shape, dtype=torch.float64, seed=0):
    return torch.from_numpy(np.random.default_rng(seed).standard_normal(shape)).to(dtype)


def close(got, want):
    assert type(got) is type(want) and tuple(got.shape) == tuple(want.shape) and got.dtype == want.dtype
    eps = 1e-5 if want.dtype == torch.float32 else 1e-12
    scale = max(float(want.abs().max()), 1.0)
    assert float((got - want).abs().max()) <= eps * scale


# input shape, weight shape, stride, padding, dilation, groups
LAYERS = [
    ((2, 3, 9, 8), (4, 3, 3, 2), 1, 0, 1, 1),
    ((2, 3, 9, 8), (4, 3, 3, 3), (2, 1), (1, 0), 1, 1),
    ((1, 4, 12, 11), (6, 2, 3, 3), (3, 2), 2, 1, 2),        # groups, a stride that leaves a remainder
    ((3, 2, 10, 10), (5, 2, 2, 3), 1, "same", 1, 1),          # even kernel: PyTorch pads after
    ((2, 2, 11, 9), (3, 2, 3, 2), 1, "valid", (2, 3), 1),     # dilation
    ((3, 9, 7), (2, 3, 3, 3), 2, 1, 1, 1),                    # unbatched
]


@pytest.mark.parametrize("layer", LAYERS)
def test_conv2d_and_its_gradients_match_torch(layer):
    xs, ws, stride, padding, dilation, groups = layer
    for dtype in (torch.float64, torch.float32):
        x, w, b = tensor(xs, dtype, 1), tensor(ws, dtype, 2), tensor(ws[:1], dtype, 3)
        kw = dict(stride=stride, padding=padding, dilation=dilation, groups=groups)
        y = F.conv2d(x, w, b, **kw)
        close(nn.conv2d(x, w, b, **kw), y)
        got = nn.conv2d(x.numpy(), w.numpy(), b.numpy(), **kw)
        assert isinstance(got, np.ndarray) and got.flags.c_contiguous
        close(torch.from_numpy(got), y)
        if dilation != 1 or x.dim() == 3:
            continue
        g = tensor(tuple(y.shape), dtype, 4)
        xg, wg = x.clone().requires_grad_(), w.clone().requires_grad_()
        F.conv2d(xg, wg, None, **kw).backward(g)
        close(nn.conv2d_input(x.shape, w, g, stride, padding, 1, groups), xg.grad)
        close(nn.conv2d_weight(x, w.shape, g, stride, padding, 1, groups), wg.grad)


def test_pooling_matches_torch():
    x = tensor((2, 3, 11, 10), seed=5)
    for kernel, stride, padding in [(2, None, 0), (3, 2, 1), ((3, 2), (1, 2), (1, 0)), (4, 3, 2)]:
        close(nn.max_pool2d(x, kernel, stride, padding), F.max_pool2d(x, kernel, stride, padding))
        close(nn.max_pool2d(x, kernel, stride, padding, ceil_mode=True),
              F.max_pool2d(x, kernel, stride, padding, ceil_mode=True))
        for include, divisor in itertools.product([True, False], [None, 5]):
            kw = dict(count_include_pad=include, divisor_override=divisor)
            y = F.avg_pool2d(x, kernel, stride, padding, **kw)
            close(nn.avg_pool2d(x, kernel, stride, padding, **kw), y)
            xg = x.clone().requires_grad_()
            g = tensor(tuple(y.shape), seed=6)
            F.avg_pool2d(xg, kernel, stride, padding, **kw).backward(g)
            close(nn.avg_pool2d_backward(g, x, kernel, stride, padding, **kw), xg.grad)
    close(nn.max_pool2d(x[0], 3), F.max_pool2d(x[0], 3))


def test_local_response_norm_matches_torch_for_odd_and_even_windows():
    x = tensor((2, 7, 5, 4), torch.float32, 7)
    for size in (1, 2, 3, 4, 5, 9):
        close(nn.local_response_norm(x, size, 1e-2, 0.75, 2.0), F.local_response_norm(x, size, 1e-2, 0.75, 2.0))


def test_autograd_functions_train_through_the_library():
    x, w, b = (tensor(s, seed=i).requires_grad_() for i, s in enumerate([(2, 3, 7, 6), (4, 3, 3, 2), (4,)]))
    assert torch.autograd.gradcheck(lambda x, w, b: nn.Conv2dFunction.apply(x, w, b, 2, 1), (x, w, b))
    assert torch.autograd.gradcheck(lambda x: nn.AvgPool2dFunction.apply(x, 3, 2, 1, False), (x,))

    class Net(torch.nn.Module):
        def __init__(self):
            super().__init__()
            self.conv = torch.nn.Conv2d(3, 4, 3, padding=1).double()

        def forward(self, x, ours):
            if ours:
                return nn.Conv2dFunction.apply(x, self.conv.weight, self.conv.bias, 1, 1).square().sum()
            return self.conv(x).square().sum()

    net = Net()
    grads = []
    for ours in (True, False):
        net.zero_grad()
        net(x.detach(), ours).backward()
        grads.append([p.grad.clone() for p in net.parameters()])
    for a, b in zip(*grads):
        close(a, b)


def test_refusals_name_their_cause():
    x, w = tensor((1, 2, 6, 6)), tensor((2, 2, 3, 3))
    g = tensor((1, 2, 4, 4))
    with pytest.raises(NotImplementedError, match="dilation"):
        nn.conv2d_input(x.shape, w, g, dilation=2)
    with pytest.raises(NotImplementedError, match="return_indices"):
        nn.max_pool2d(x, 2, return_indices=True)
    with pytest.raises(TypeError, match="float32"):
        nn.conv2d(x, w.float())
    with pytest.raises(ValueError, match="groups=3"):
        nn.conv2d(x, w, groups=3)
    with pytest.raises(ValueError, match="pad should be at most half"):
        nn.avg_pool2d(x, 2, padding=2)


def test_results_do_not_depend_on_threads(threads):
    x, w = tensor((4, 16, 40, 36), torch.float32, 8), tensor((32, 16, 3, 3), torch.float32, 9)
    g = tensor((4, 32, 40, 36), torch.float32, 10)
    assert_one_thread_matches_several(threads, lambda: [
        nn.conv2d(x, w, padding=1).numpy(), nn.conv2d_weight(x, w.shape, g, padding=1).numpy(),
        nn.conv2d_input(x.shape, w, g, padding=1).numpy(), nn.avg_pool2d(x, 3, 2, 1).numpy()])
