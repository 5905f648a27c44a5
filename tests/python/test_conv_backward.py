"""conv_backward against torch.autograd on the same layer: both gradients with paddings and
strides, the filter-size rules, empty ranges, the expansion flag, threads, errors in order."""

import numpy as np
import pytest
import scipy.sparse
import torch

import vlmathdsp as vm
from network_layout import LAYERS, expect_error, from_ours, to_ours


def torch_gradients(x, w, g, pad, stride):
    """x.grad and weight.grad of conv2d on explicitly padded images for the result's gradient g."""
    tx, tw = torch.tensor(x, requires_grad=True), torch.tensor(w, requires_grad=True)
    y = torch.nn.functional.conv2d(torch.nn.functional.pad(tx, (pad[1], pad[3], pad[0], pad[2])), tw, stride=stride)
    gx, gw = torch.autograd.grad(y, (tx, tw), torch.from_numpy(g))
    return gx.numpy(), gw.numpy()


def result_shape(H, W, kH, kW, pad, stride):
    return (H + pad[0] + pad[2] - kH) // stride[0] + 1, (W + pad[1] + pad[3] - kW) // stride[1] + 1


def filter_gradient(x, g, pad, stride, size):
    return vm.conv_backward(to_ours(x), to_ours(g), np.array(pad, float), np.array(stride, float),
                            np.array(size, float))


def image_gradient(g, w, pad, stride, size, expansion=False):
    return vm.conv_backward(to_ours(g), to_ours(w), np.array(pad, float), np.array(stride, float),
                            np.array(size, float), expansion)


CASES = LAYERS + [
    (12, 11, 2, 3, 3, 3, 2, (1, 1, 1, 1), (2, 1)),    # one dimension strided
    (12, 11, 2, 3, 3, 3, 2, (1, 1, 1, 1), (1, 2)),
    (11, 10, 2, 3, 4, 3, 2, (0, 0, 0, 0), (3, 2)),    # remainders: rows no output reached
    (7, 6, 5, 3, 1, 1, 4, (0, 0, 0, 0), (2, 2)),      # 1x1 filters
    (7, 6, 2, 3, 7, 6, 2, (0, 0, 0, 0), (1, 1)),      # filter as large as the image
    (7, 6, 2, 3, 6, 5, 2, (5, 4, 5, 4), (1, 1)),      # large filter, full padding
    (8, 9, 1, 1, 3, 3, 1, (1, 1, 1, 1), (1, 1)),      # C = 1, N = 1, F = 1
    (6, 5, 40, 6, 3, 3, 300, (1, 1, 1, 1), (2, 1)),   # image gradient rows in several tiles
]


@pytest.mark.parametrize("dtype", [np.float64, np.float32])
@pytest.mark.parametrize("H,W,C,N,kH,kW,F,pad,stride", CASES)
def test_both_gradients_against_torch_autograd(H, W, C, N, kH, kW, F, pad, stride, dtype):
    rng = np.random.default_rng(H * 1000 + N + F)
    x = rng.standard_normal((N, C, H, W)).astype(dtype)
    w = rng.standard_normal((F, C, kH, kW)).astype(dtype)
    g = rng.standard_normal((N, F) + result_shape(H, W, kH, kW, pad, stride)).astype(dtype)
    want_x, want_w = torch_gradients(x, w, g, pad, stride)
    got_w = from_ours(filter_gradient(x, g, pad, stride, (kH, kW)))
    got_x = from_ours(image_gradient(g, w, pad, stride, (H, W)))
    tol = 1e-4 if dtype == np.float32 else 1e-12
    for got, want, terms in ((got_w, want_w, N * g.shape[2] * g.shape[3]), (got_x, want_x, F * kH * kW)):
        assert got.dtype == dtype and got.shape == want.shape
        np.testing.assert_allclose(got, want, rtol=tol, atol=tol * np.sqrt(terms))


def test_two_and_three_dimensional_arguments():
    rng = np.random.default_rng(4)
    image, g = rng.standard_normal((8, 7, 3)), rng.standard_normal((6, 6))  # C = 3, N = 1, F = 1
    w = rng.standard_normal((3, 2, 3))
    want_x, want_w = torch_gradients(image.transpose(2, 0, 1)[None], w.transpose(2, 0, 1)[None], g[None, None],
                                     (0, 0, 0, 0), (1, 1))
    got_w = vm.conv_backward(image, g, np.zeros(4), np.ones(2), np.array([3.0, 2]))
    got_x = vm.conv_backward(g, w, np.zeros(4), np.ones(2), np.array([8.0, 7]), False)
    np.testing.assert_allclose(from_ours(got_w), want_w, rtol=1e-12, atol=1e-12)
    np.testing.assert_allclose(from_ours(got_x), want_x, rtol=1e-12, atol=1e-12)


def test_the_flag_is_a_truth_value():
    rng = np.random.default_rng(5)
    x, g = rng.standard_normal((5, 5, 2, 2)), rng.standard_normal((3, 3, 2, 2))
    args = (np.zeros(4), np.ones(2), np.array([3.0, 3]))
    image = vm.conv_backward(g, x[:3, :3], *args, np.array(False))
    np.testing.assert_array_equal(vm.conv_backward(g, x[:3, :3], *args, 0.0), image)
    filters = vm.conv_backward(x, g, *args)
    for true in (2.5, np.nan, np.array(True)):
        np.testing.assert_array_equal(vm.conv_backward(x, g, *args, true), filters)


def test_filter_sizes():
    rng = np.random.default_rng(6)
    x, g, w = rng.standard_normal((5, 5, 2, 3)), rng.standard_normal((3, 3, 4, 3)), rng.standard_normal((3, 3, 2, 4))
    # The filter gradient stops where the padded image ends, whatever size is asked.
    exact = vm.conv_backward(x, g, np.zeros(4), np.ones(2), np.array([3.0, 3]))
    np.testing.assert_array_equal(vm.conv_backward(x, g, np.zeros(4), np.ones(2), np.array([5.0, 4])), exact)
    np.testing.assert_array_equal(vm.conv_backward(x, g, np.zeros(4), np.ones(2), np.array([2.0, 3])), exact[:2])
    # The image gradient keeps its computed extent (5 x 5 here) and is enlarged with zeros.
    image = vm.conv_backward(g, w, np.zeros(4), np.ones(2), np.array([5.0, 5]), False)
    np.testing.assert_array_equal(vm.conv_backward(g, w, np.zeros(4), np.ones(2), np.array([2.0, 1]), False), image)
    larger = vm.conv_backward(g, w, np.zeros(4), np.ones(2), np.array([7.0, 6]), False)
    assert larger.shape == (7, 6, 2, 3)
    np.testing.assert_array_equal(larger[:5, :5], image)
    assert not larger[5:].any() and not larger[:, 5:].any()


def test_empty_ranges_give_zeros_of_the_requested_size():
    g, w, x = np.ones((2, 2, 5, 3)), np.ones((2, 2, 4, 5)), np.ones((2, 2, 4, 3))
    # Image gradient: the leading padding covers the whole full convolution (length 3).
    y = vm.conv_backward(g, w, np.array([3.0, 0, 0, 0]), np.ones(2), np.array([4.0, 6]), False)
    assert y.shape == (4, 6, 4, 3) and not y.any()
    # Filter gradient: no filter rows asked; the dimensions read filters before channels.
    y = vm.conv_backward(x, g, np.zeros(4), np.ones(2), np.array([0.0, 2]))
    assert y.shape == (0, 2, 5, 4)
    # The image (2 rows) ends before the first tap (the gradient is 4 rows).
    y = vm.conv_backward(x, np.ones((4, 2, 5, 3)), np.zeros(4), np.ones(2), np.array([2.0, 2]))
    assert y.shape == (2, 2, 5, 4) and not y.any()


@pytest.mark.parametrize("stride", [(1, 1), (2, 3)])
def test_one_thread_and_several_give_the_same_bits(threads, stride):
    rng = np.random.default_rng(7)
    H, W, C, N, F = 40, 36, 8, 6, 8
    x, w = rng.standard_normal((H, W, C, N)), rng.standard_normal((3, 3, C, F))
    oH, oW = result_shape(H, W, 3, 3, (1, 1, 1, 1), stride)
    g = rng.standard_normal((oH, oW, F, N))
    pad, s = np.ones(4), np.array(stride, float)
    run = lambda: (vm.conv_backward(x, g, pad, s, np.array([3.0, 3])),
                   vm.conv_backward(g, w, pad, s, np.array([H, W], float), False))
    threads(1)
    one = run()
    for n in (2, 3):
        threads(n)
        for got, want in zip(run(), one):
            np.testing.assert_array_equal(got, want)


X, G, K = np.ones((5, 5, 2, 2)), np.ones((3, 3, 4, 2)), np.ones((3, 3, 2, 4))
P, S, Z = [0.0] * 4, [1.0, 1], [3.0, 3]
BAD = "VELTRA:legacy_two_part:badsubscript"


@pytest.mark.parametrize("args,kwargs,identifier,text", [
    ((X, G, P, S, Z), {"nargout": 2}, "VELTRA:maxlhs", None),
    ((X, G, P, S, Z, 1.0, 1.0), {}, "VELTRA:maxrhs", None),
    ((X, G, P, S), {}, "VELTRA:minrhs", None),
    ((scipy.sparse.eye(3, format="csc"), G, P, S, Z), {}, "VELTRA:stridedConvn:SparseInput", None),
    ((X.astype(np.float32), G, P, S, Z), {}, BAD, "Invalid array input."),
    ((X, G * 1j, P, S, Z), {}, BAD, "Invalid array input."),
    ((X, np.ones((0, 3)), P, S, Z), {}, BAD, "Invalid array input."),
    ((np.ones((2, 2, 2, 2, 2)), G, P, S, Z), {}, BAD, "Invalid array input."),
    ((X, G, [0.0] * 3, [1.0], Z), {}, BAD, "Invalid padding specification."),  # before the stride
    ((X, G, P, np.float32([1, 1]), [3.0]), {}, "VELTRA:stridedConvn:StrideClass", None),  # before the size
    ((X, G, P, [1.0, 1, 1], Z), {}, BAD, "Invalid stride specification."),
    ((X, G, P, [0.5, 1], Z), {}, "VELTRA:stridedConvn:InvalidStride", None),
    ((X, G, P, S, [3.0], [1.0, 1]), {}, BAD, "Invalid filter size specification."),  # before the flag
    ((X, G, P, S, Z, [1.0, 1]), {}, BAD, "Invalid expansion specification."),
    ((X, G[..., :1], P, S, Z, np.float32(1)), {}, BAD, "Invalid expansion specification."),  # before channels
    ((X, G[..., :1], [9.0, 0, 0, 0], S, Z), {}, BAD, "Array inputs must share the same number of channels."),
    ((G, K[..., :3], P, S, Z, False), {}, BAD, "Array inputs must share the same number of channels."),
    ((X, G, [3.0, 0, 0, 0], S, Z), {}, BAD, "Padding exceeds array bounds."),
    ((X, G, [0.0, 5, 0, 0], [1.0, 2], Z), {}, BAD, "Padding exceeds array bounds."),
])
def test_errors_in_their_order(args, kwargs, identifier, text):
    expect_error(1, args, kwargs, identifier, text)


def test_the_padding_bound_is_the_expanded_gradient_and_holds_for_the_filter_gradient_only():
    # The gradient's 3 columns at stride 2 stand for 5: a padding of 4 is in bounds.
    y = vm.call(1, X, G, np.array([0.0, 4, 0, 0]), np.array([1.0, 2]), np.array(Z))
    assert y.shape[2:] == (2, 4)
    y = vm.call(1, G, K, np.array([9.0, 9, 0, 0]), np.ones(2), np.array(Z), False)
    assert y.shape == (3, 3, 2, 2) and not y.any()
