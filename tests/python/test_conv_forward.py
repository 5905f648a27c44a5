"""conv_forward against torch.nn.functional.conv2d through a layout adapter: paddings, strides,
filter sizes, both unit-stride plans, argument shapes and classes; threads; errors in order."""

import numpy as np
import pytest
import scipy.sparse
import torch

import vlmathdsp as vm
from network_layout import LAYERS, expect_error, from_ours, to_ours


def torch_forward(x, w, pad=(0, 0, 0, 0), stride=(1, 1)):
    """conv2d on explicitly padded images: rows before, columns before, rows after, columns after."""
    xp = np.pad(x, ((0, 0), (0, 0), (pad[0], pad[2]), (pad[1], pad[3])))
    with torch.no_grad():
        return torch.nn.functional.conv2d(torch.from_numpy(xp), torch.from_numpy(w), stride=stride).numpy()


def ours(x, w, pad=(0, 0, 0, 0), stride=(1, 1)):
    return from_ours(vm.conv_forward(to_ours(x), to_ours(w), np.array(pad, float), np.array(stride, float)))


def test_the_adapter_on_trivial_cases():
    # One image, one channel, a 1x1 filter of 2: the image doubled, in our layout and back.
    x = np.arange(12.0).reshape(1, 1, 3, 4)
    y = vm.conv_forward(x[0, 0], np.array([[2.0]]))
    np.testing.assert_array_equal(y, 2 * x[0, 0])
    np.testing.assert_array_equal(from_ours(y), 2 * x)
    # A filter picking the element below: correlation, not convolution.
    w = np.array([[0.0], [1.0]])
    np.testing.assert_array_equal(vm.conv_forward(x[0, 0], w), x[0, 0, 1:, :])


CASES = LAYERS + [
    (7, 6, 5, 3, 1, 1, 4, (0, 0, 0, 0), (1, 1)),      # 1x1 filters
    (7, 6, 5, 3, 1, 1, 4, (0, 0, 0, 0), (2, 3)),      # strides beyond the filter: phases without taps
    (11, 10, 2, 3, 2, 2, 3, (1, 1, 1, 0), (3, 4)),
    (7, 6, 2, 3, 7, 6, 2, (0, 0, 0, 0), (1, 1)),      # filter as large as the image
    (7, 6, 2, 3, 6, 5, 2, (5, 4, 5, 4), (1, 1)),      # large filter, full padding
    (8, 9, 1, 1, 3, 3, 1, (1, 1, 1, 1), (1, 1)),      # C = 1, N = 1, F = 1
    (9, 8, 2, 9000, 3, 3, 3, (1, 1, 1, 1), (1, 1)),   # many images, few filters: image per row
    (6, 5, 40, 6, 3, 3, 300, (1, 1, 1, 1), (2, 1)),   # merged taps beyond a product's tile
]


@pytest.mark.parametrize("dtype", [np.float64, np.float32])
@pytest.mark.parametrize("H,W,C,N,kH,kW,F,pad,stride", CASES)
def test_against_torch(H, W, C, N, kH, kW, F, pad, stride, dtype):
    rng = np.random.default_rng(H * 1000 + N)
    x = rng.standard_normal((N, C, H, W)).astype(dtype)
    w = rng.standard_normal((F, C, kH, kW)).astype(dtype)
    got, want = ours(x, w, pad, stride), torch_forward(x, w, pad, stride)
    assert got.dtype == dtype and got.shape == want.shape
    tol = 1e-4 if dtype == np.float32 else 1e-12
    np.testing.assert_allclose(got, want, rtol=tol, atol=tol * np.sqrt(C * kH * kW))


def test_two_and_three_dimensional_arguments():
    rng = np.random.default_rng(1)
    image, filters = rng.standard_normal((8, 7, 3)), rng.standard_normal((3, 2, 3))  # C = 3, N = 1, F = 1
    got = vm.conv_forward(image, filters)
    want = torch_forward(image.transpose(2, 0, 1)[None], filters.transpose(2, 0, 1)[None])[0, 0]
    np.testing.assert_allclose(got, want, rtol=1e-12, atol=1e-12)


def test_a_filter_larger_than_the_padded_image_gives_an_empty_result():
    y = vm.conv_forward(np.ones((4, 4, 2, 3)), np.ones((6, 3, 2, 5)), np.array([1.0, 0, 0, 0]))
    assert y.shape == (0, 2, 5, 3) and y.dtype == np.float64


@pytest.mark.parametrize("H,W,C,N,F,stride", [(40, 36, 8, 6, 8, (1, 1)),      # filter per tap
                                              (20, 18, 2, 9000, 3, (1, 1)),   # image per row
                                              (40, 36, 8, 6, 8, (2, 3))])
def test_one_thread_and_several_give_the_same_bits(threads, H, W, C, N, F, stride):
    rng = np.random.default_rng(2)
    x, w = rng.standard_normal((H, W, C, N)), rng.standard_normal((3, 3, C, F))
    pad, s = np.array([1.0, 1, 1, 1]), np.array(stride, float)
    threads(1)
    one = vm.conv_forward(x, w, pad, s)
    for n in (2, 3):
        threads(n)
        np.testing.assert_array_equal(vm.conv_forward(x, w, pad, s), one)


X, K = np.ones((5, 5, 2, 2)), np.ones((3, 3, 2, 4))
BAD = "VELTRA:legacy_two_part:badsubscript"


@pytest.mark.parametrize("args,kwargs,identifier,text", [
    ((X, K), {"nargout": 2}, "VELTRA:maxlhs", None),
    ((X, K, [0.0] * 4, [1.0, 1], 1), {}, "VELTRA:maxrhs", None),
    ((X,), {}, "VELTRA:minrhs", None),
    ((scipy.sparse.eye(3, format="csc"), K), {}, "VELTRA:stridedConvn:SparseInput", None),
    ((X.astype(np.float32), K), {}, BAD, "Invalid array input."),
    ((X * 1j, K), {}, BAD, "Invalid array input."),
    ((np.ones((0, 3)), K), {}, BAD, "Invalid array input."),
    ((np.ones((2, 2, 2, 2, 2)), K), {}, BAD, "Invalid array input."),
    ((X, K, [0.0] * 3), {}, BAD, "Invalid padding specification."),  # before the channels
    ((X[:, :, :1], K), {}, BAD, "Array inputs must share the same number of channels."),
    ((X, K, [3.0, 0, 0, 0]), {}, BAD, "Padding exceeds array bounds."),
    ((X, K, [-1.0, 0, 0, 0]), {}, BAD, "Padding exceeds array bounds."),  # wraps to a huge value
    ((X, K, [3.0, 0, 0, 0], "ab"), {}, BAD, "Padding exceeds array bounds."),  # before the stride
    ((X, K, [0.0] * 4, np.float32([1, 1])), {}, "VELTRA:stridedConvn:StrideClass", None),
    ((X, K, [0.0] * 4, [1.0, 1, 1]), {}, BAD, "Invalid stride specification."),
    ((X, K, [0.0] * 4, [0.5, 1]), {}, "VELTRA:stridedConvn:InvalidStride", None),
])
def test_errors_in_their_order(args, kwargs, identifier, text):
    expect_error(0, args, kwargs, identifier, text)


def test_a_stride_of_one_point_nine_counts_as_one():
    rng = np.random.default_rng(3)
    x, w = rng.standard_normal((6, 6, 2, 2)), rng.standard_normal((2, 2, 2, 3))
    np.testing.assert_array_equal(vm.conv_forward(x, w, np.zeros(4), np.array([1.9, 1.0])), vm.conv_forward(x, w))
