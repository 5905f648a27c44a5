"""vlmathdsp.nn against torch.nn.functional, torch.nn.grad and torch's autograd on NCHW arrays and
tensors: values, shapes, dtypes, the kinds returned, and what is refused."""

import itertools

import numpy as np
import pytest
import torch
import torch.nn.functional as F

import tolerance
from vlmathdsp import nn
from transforms import assert_one_thread_matches_several


def tensor(shape, dtype=torch.float64, seed=0):
    return torch.from_numpy(np.random.default_rng(seed).standard_normal(shape)).to(dtype)


def close(got, want):
    assert type(got) is type(want) and tuple(got.shape) == tuple(want.shape) and got.dtype == want.dtype
    tolerance.assert_close(got.detach().numpy(), want.detach().numpy(), factor=100)


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


# Bad arguments: (ours, torch's) with the same arguments.
X, W = tensor((2, 3, 5, 5)), tensor((4, 3, 3, 3))
BAD = [
    lambda f: f.conv2d(X, W, stride=0),
    lambda f: f.conv2d(X, W, stride=-1),
    lambda f: f.conv2d(X, W, padding=-1, stride=0),
    lambda f: f.conv2d(X[:, :, :2, :2], W),
    lambda f: f.conv2d(X[:, :, :4, :4], W, padding=(0, 1), dilation=2),
    lambda f: f.conv2d(X[:, :2], W),
    lambda f: f.conv2d(X[0, 0], W),
    lambda f: f.conv2d(X, W.float()),
    lambda f: f.conv2d(X, W, torch.zeros(3, dtype=torch.float64)),
    lambda f: f.conv2d(X, W, groups=2),
    lambda f: f.conv2d(X, W, groups=0),
    lambda f: f.conv2d(tensor((1, 6, 5, 5)), tensor((3, 3, 3, 3)), groups=2),
    lambda f: f.conv2d(X, W, dilation=0),
    lambda f: f.conv2d(X, W, padding="full"),
    lambda f: f.conv2d(X, W, padding="same", stride=2),
    lambda f: f.conv2d(X, W, stride=(1, 2, 3)),
    lambda f: f.max_pool2d(X, 3, padding=2),
    lambda f: f.max_pool2d(X, (3, 2), padding=(1, 2)),
    lambda f: f.max_pool2d(X, 3, stride=0),
    lambda f: f.max_pool2d(X, 0, 1),
    lambda f: f.max_pool2d(X, 2, -1),
    lambda f: f.max_pool2d(X, 3, padding=-1),
    lambda f: f.max_pool2d(X[:, :, :2, :2], 3),
    lambda f: f.max_pool2d(X[0, 0], 2),
    lambda f: f.max_pool2d(X, (1, 2, 3)),
    lambda f: f.max_pool2d(X, 2, dilation=0),
    lambda f: f.avg_pool2d(X, 3, padding=2),
    lambda f: f.avg_pool2d(X, 3, stride=0),
    lambda f: f.avg_pool2d(X[:, :, :2, :2], 3),
    lambda f: f.avg_pool2d(X, 2, divisor_override=0),
    lambda f: f.local_response_norm(X[0, 0], 3),
]


@pytest.mark.parametrize("case", range(len(BAD)))
def test_bad_arguments_raise_what_torch_raises_in_its_words(case):
    with pytest.raises(Exception) as want:
        BAD[case](F)
    with pytest.raises(Exception) as got:
        BAD[case](nn)
    assert type(got.value) is type(want.value)
    assert str(got.value).split() == str(want.value).split()


def test_what_is_not_supported_says_so():
    x = tensor((1, 2, 6, 6))
    with pytest.raises(NotImplementedError, match="return_indices"):
        nn.max_pool2d(x, 2, return_indices=True)
    with pytest.raises(NotImplementedError, match="dilation"):
        nn.max_pool2d(x, 2, dilation=2)
    with pytest.raises(TypeError, match="int64"):
        nn.conv2d(np.ones((1, 1, 3, 3), np.int64), np.ones((1, 1, 2, 2), np.int64))


def test_any_padding_torch_takes_is_taken():
    x, g = tensor((2, 3, 6, 5), seed=11), None
    for w_shape, padding, stride, dilation in [((4, 3, 1, 1), 1, 1, 1), ((4, 3, 2, 3), (4, 5), 1, 1),
                                               ((2, 3, 3, 3), 7, (2, 3), 1), ((2, 3, 2, 2), (3, 1), 1, (2, 3))]:
        w = tensor(w_shape, seed=12)
        kw = dict(stride=stride, padding=padding, dilation=dilation)
        y = F.conv2d(x, w, **kw)
        close(nn.conv2d(x, w, **kw), y)
        g = tensor(tuple(y.shape), seed=13)
        xg, wg = x.clone().requires_grad_(), w.clone().requires_grad_()
        F.conv2d(xg, wg, **kw).backward(g)
        close(nn.conv2d_input(x.shape, w, g, **kw), xg.grad)
        close(nn.conv2d_weight(x, w.shape, g, **kw), wg.grad)


def test_functions_are_differentiable_and_pass_gradcheck():
    x = tensor((2, 3, 7, 6), seed=20).requires_grad_()
    w, b = tensor((4, 3, 3, 2), seed=21).requires_grad_(), tensor((4,), seed=22).requires_grad_()
    y = nn.conv2d(x, w, b, padding=1)
    assert y.grad_fn is not None and y.requires_grad
    checks = [
        (lambda x, w, b: nn.conv2d(x, w, b, 2, 1), (x, w, b)),
        (lambda x, w: nn.conv2d(x, w, None, 1, (3, 0), (2, 1), 1), (x, w)),
        (lambda x: nn.max_pool2d(x, 3, 2, 1), (x,)),
        (lambda x: nn.max_pool2d(x, (2, 3), 2, 0, ceil_mode=True), (x,)),
        (lambda x: nn.avg_pool2d(x, 3, 2, 1, count_include_pad=False), (x,)),
        (lambda x: nn.avg_pool2d(x, 2, divisor_override=3), (x,)),
        (lambda x: nn.local_response_norm(x, 2, 0.3, 0.75, 1.5), (x,)),
        (lambda x: nn.local_response_norm(x, 3, 0.2, 0.6, 2.0), (x,)),
        (lambda x: nn.Conv2dFunction.apply(x, w, b, 2, 1), (x,)),
        (lambda x: nn.AvgPool2dFunction.apply(x, 3, 2, 1, False), (x,)),
    ]
    for fn, inputs in checks:
        assert torch.autograd.gradcheck(fn, inputs)
    with torch.no_grad():
        assert nn.conv2d(x, w, b).grad_fn is None
    # A NumPy input with a weight that requires grad: the weight's gradient, as torch's.
    nn.conv2d(x.detach().numpy(), w, b, padding=1).square().sum().backward()
    want = w.detach().clone().requires_grad_()
    F.conv2d(x.detach(), want, b.detach(), padding=1).square().sum().backward()
    close(w.grad, want.grad)


def test_gradients_match_torch_where_maxima_tie():
    # Ties: the first maximum of a window in row order takes the gradient, as in torch.
    x = torch.tensor(np.random.default_rng(30).integers(0, 3, (2, 3, 9, 8)).astype(np.float64), requires_grad=True)
    for kernel, stride, padding in [(2, None, 0), (3, 2, 1), ((3, 2), (1, 2), (1, 0))]:
        grads = []
        for f in (F, nn):
            x.grad = None
            y = f.max_pool2d(x, kernel, stride, padding)
            y.backward(tensor(tuple(y.shape), seed=31))
            grads.append(x.grad.clone())
        close(grads[1], grads[0])
    lrn = tensor((2, 6, 3, 4, 2), seed=32)
    g = tensor(tuple(lrn.shape), seed=33)
    for size in (1, 2, 3, 4, 7):
        xg = lrn.clone().requires_grad_()
        F.local_response_norm(xg, size, 0.5, 0.75, 1.0).backward(g)
        close(nn.local_response_norm_backward(g, lrn, size, 0.5, 0.75, 1.0), xg.grad)
        close(nn.local_response_norm(lrn, size, 0.5, 0.75, 1.0), F.local_response_norm(lrn, size, 0.5, 0.75, 1.0))


def test_modules_behave_as_torch_modules():
    torch.manual_seed(0)
    pairs = [(torch.nn.Conv2d(3, 6, 3, stride=2, padding=2, bias=True), nn.Conv2d(3, 6, 3, stride=2, padding=2)),
             (torch.nn.Conv2d(4, 6, (3, 2), padding="same", groups=2, bias=False, padding_mode="reflect"),
              nn.Conv2d(4, 6, (3, 2), padding="same", groups=2, bias=False, padding_mode="reflect")),
             (torch.nn.MaxPool2d(3, 2, 1, ceil_mode=True), nn.MaxPool2d(3, 2, 1, ceil_mode=True)),
             (torch.nn.AvgPool2d(3, 2, 1, count_include_pad=False), nn.AvgPool2d(3, 2, 1, count_include_pad=False)),
             (torch.nn.LocalResponseNorm(4, 1e-2, 0.75, 2.0), nn.LocalResponseNorm(4, 1e-2, 0.75, 2.0))]
    for theirs, ours in pairs:
        assert isinstance(ours, type(theirs)) and repr(ours) == repr(theirs)
        assert ours.load_state_dict(theirs.state_dict()) is not None
        assert [n for n, _ in ours.named_parameters()] == [n for n, _ in theirs.named_parameters()]
        channels = 4 if getattr(theirs, "groups", 1) == 2 else 3
        x = tensor((2, channels, 11, 10), torch.float32, 40)
        xs = [x.clone().requires_grad_() for _ in range(2)]
        outs = [m(v) for m, v in zip((theirs, ours), xs)]
        close(outs[1], outs[0].detach())
        g = torch.ones_like(outs[0])
        for m, out in zip((theirs, ours), outs):
            m.zero_grad()
            out.backward(g)
        close(xs[1].grad, xs[0].grad)
        for (_, p), (_, q) in zip(ours.named_parameters(), theirs.named_parameters()):
            close(p.grad, q.grad)


def test_results_do_not_depend_on_threads(threads):
    x, w = tensor((4, 16, 40, 36), torch.float32, 8), tensor((32, 16, 3, 3), torch.float32, 9)
    g = tensor((4, 32, 40, 36), torch.float32, 10)
    assert_one_thread_matches_several(threads, lambda: [
        nn.conv2d(x, w, padding=1).numpy(), nn.conv2d_weight(x, w.shape, g, padding=1).numpy(),
        nn.conv2d_input(x.shape, w, g, padding=1).numpy(), nn.avg_pool2d(x, 3, 2, 1).numpy()])
