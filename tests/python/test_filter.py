"""filter against scipy.signal.lfilter: FIR and IIR, every complexity, classes, dimensions,
initial and final conditions, non-finite data, threads and errors."""

import numpy as np
import pytest
from scipy import signal

import tolerance
import vlmathdsp as vm


def rand(rng, shape, complex_=False, dtype=np.float64):
    x = rng.standard_normal(shape)
    if complex_:
        x = x + 1j * rng.standard_normal(shape)
    return x.astype(np.result_type(dtype, np.complex64) if complex_ else dtype)


def stable_denominator(rng, na, complex_=False):
    """A monic polynomial whose roots lie inside radius 0.5, times a non-unit a[0]."""
    roots = 0.5 * rng.random(na - 1) * np.exp(2j * np.pi * rng.random(na - 1))
    if not complex_:
        roots = np.concatenate([roots[: (na - 1) // 2], np.conj(roots[: (na - 1) // 2])])
        if len(roots) < na - 1:
            roots = np.append(roots, 0.5)
    a = np.poly(roots)
    return 1.7 * (a if complex_ else a.real)


def lfilter_reference(b, a, x, zi, axis):
    """lfilter in double or complex double; zi given with the order axis first."""
    zi_along = None if zi is None else np.moveaxis(np.asarray(zi, dtype=complex), 0, axis)
    wide = lambda v: np.asarray(v, dtype=complex)
    y, zf = signal.lfilter(wide(b), wide(a), wide(x), axis=axis,
                           zi=zi_along if zi is not None else np.zeros(
                               tuple(max(len(a), len(b)) - 1 if i == axis else s for i, s in enumerate(np.shape(x))),
                               dtype=complex))
    return y, np.moveaxis(zf, axis, 0)


def close(got, want, dtype):
    """Equal within a tolerance from the precision's epsilon and the size of the values."""
    tolerance.assert_close(got, want, dtype, factor=2000)


@pytest.mark.parametrize("nb,na", [(10, 1), (16, 1), (17, 1), (64, 1), (3, 3), (5, 17), (17, 5), (20, 20), (1, 2)])
@pytest.mark.parametrize("cb,ca,cx,czi", [(0, 0, 0, 0), (1, 0, 0, 0), (0, 1, 0, 0), (0, 0, 1, 0), (0, 0, 0, 1),
                                          (1, 1, 1, 1), (0, 1, 1, 0)])
def test_matches_lfilter_with_initial_and_final_conditions(nb, na, cb, ca, cx, czi):
    rng = np.random.default_rng(nb * 100 + na + 7 * (cb + 2 * ca + 4 * cx + 8 * czi))
    b = rand(rng, nb, cb)
    a = stable_denominator(rng, na, ca) if na > 1 else (np.array([1.3 + 0.4j]) if ca else np.array([1.3]))
    order = max(na, nb) - 1
    x = rand(rng, (300, 5), cx)
    zi = rand(rng, (order, 5), czi)
    y, zf = vm.filter(b, a, x, zi, nargout=2)
    ry, rzf = lfilter_reference(b, a, x, zi, 0)
    close(y, ry, np.float64)
    close(zf, rzf, np.float64)
    assert (y.dtype.kind == "c") == bool(cb or ca or cx or czi) or not np.iscomplexobj(ry) or np.all(ry.imag == 0)


@pytest.mark.parametrize("dim", [1, 2, 3])
@pytest.mark.parametrize("shared", [False, True])
def test_each_dimension_of_a_3d_array(dim, shared):
    rng = np.random.default_rng(dim)
    b, a = signal.butter(3, 0.3)
    x = rand(rng, (6, 7, 5))
    others = tuple(s for i, s in enumerate(x.shape) if i != dim - 1)
    zi = rand(rng, (3, 1)) if shared else rand(rng, (3,) + others)
    y, zf = vm.filter(b, a, x, zi, dim, nargout=2)
    full_zi = np.broadcast_to(zi.reshape((3,) + (1,) * len(others)), (3,) + others) if shared else zi
    ry, rzf = lfilter_reference(b, a, x, full_zi, dim - 1)
    assert y.shape == x.shape and zf.shape == (3,) + others, "zf keeps the order axis first"
    close(y, ry.real, np.float64)
    close(zf, rzf.real, np.float64)


def test_dimension_past_the_last_and_the_default_dimension():
    rng = np.random.default_rng(3)
    x = rand(rng, (4, 5))
    y, zf = vm.filter([1.0, 0.5], [2.0], x, None, 3, nargout=2)
    np.testing.assert_array_equal(y, x / 2)
    assert zf.shape == (1, 4, 5)
    np.testing.assert_array_equal(zf[0], x / 4)
    row = rand(rng, (1, 30))
    close(vm.filter([1.0, 1.0], [1.0], row), signal.lfilter([1.0, 1.0], [1.0], row, axis=1), np.float64)


@pytest.mark.parametrize("dtype", [np.float32, np.complex64])
def test_single_precision(dtype):
    rng = np.random.default_rng(4)
    b, a = signal.butter(4, 0.25)
    x = rand(rng, (400, 3), np.dtype(dtype).kind == "c", np.float32)
    y = vm.filter(b, a, x)
    assert y.dtype == dtype
    close(y, lfilter_reference(b, a, x, None, 0)[0], np.float32)


def test_integer_and_logical_inputs_run_in_double():
    y = vm.filter(np.int8([1, 2]), [1.0], np.array([True, False, True]))
    np.testing.assert_array_equal(y, [1.0, 2.0, 1.0])
    assert y.dtype == np.float64


def test_a_nan_poisons_everything_after_it_on_the_recursive_path():
    b, a = signal.butter(2, 0.2)
    for nb_extra in (0, 30):  # inline updates and long ones
        x = np.ones(200)
        x[50] = np.nan
        y = vm.filter(np.concatenate([b, np.zeros(nb_extra)]), a, x)
        assert not np.isnan(y[:50]).any() and np.isnan(y[50:]).all()


def test_zero_samples_against_an_infinite_coefficient():
    b = np.ones(20)
    b[3] = np.inf
    x = np.ones(60)
    x[10] = 0.0
    y = vm.filter(b, 1.0, x)  # the zero sample stays inline and multiplies the Inf
    assert np.isnan(y[13])
    y = vm.filter(b, 1.0, x, np.zeros(19) + 0j)  # real b and x into complex y: the zero is skipped
    assert y[13] == 13.0 and np.isinf(y[12])


@pytest.mark.parametrize("case", ["chunked", "columns", "iir-columns"])
def test_one_thread_and_several_give_the_same_bits(threads, case):
    rng = np.random.default_rng(6)
    if case == "chunked":
        b, a, x = rand(rng, 40), [1.0], rand(rng, 50000)
    elif case == "columns":
        b, a, x = rand(rng, 25), [0.7], rand(rng, (3000, 9))
    else:
        b, a = signal.butter(6, 0.1)
        x = rand(rng, (3000, 9))
    threads(1)
    one = vm.filter(b, a, x, nargout=2)
    for n in (2, 3, 5):
        threads(n)
        again = vm.filter(b, a, x, nargout=2)
        np.testing.assert_array_equal(again[0], one[0])
        np.testing.assert_array_equal(again[1], one[1])


def test_edge_cases_of_the_front_end():
    rng = np.random.default_rng(8)
    b = rand(rng, 5)
    x = rand(rng, 40)
    y = vm.filter(b, [1.0], x)  # no division: b is used as given
    close(y, np.convolve(x, b)[:40], np.float64)
    y, zf = vm.filter([1.0], [2.0, 0.0], x, nargout=2)  # two-element a: the recursive path, order 1
    np.testing.assert_array_equal(y, x / 2)
    assert zf.shape == (1,)
    assert vm.filter(b, 1.0, x, np.zeros((0, 0))).shape == (40,), "0-by-0 counts as no initial conditions"
    with pytest.raises(vm.Error):
        vm.filter(b, 1.0, x, np.zeros((0, 4)))
    assert vm.filter([2.0], 1.0, x, np.zeros((0, 1))).shape == (40,), "order 0 takes a 0-by-1 zi"
    y = vm.filter(b, 1.0, x, np.zeros(4) + 0j)
    assert y.dtype == np.float64, "imaginary parts that stay zero leave a real result"
    y, zf = vm.filter(b, 1.0, x, None, complex(1, 0), nargout=2)
    assert y.dtype == np.float64 and zf.dtype == np.float64
    _, zf = vm.filter(b, 1.0, np.zeros((0, 1)), np.arange(4.0), nargout=2)
    np.testing.assert_array_equal(zf.ravel(), np.arange(4.0))  # no data: zf is zi


@pytest.mark.parametrize("args,identifier", [
    (([1.0], [1.0], np.ones(3), np.ones((2, 2))), "VELTRA:filter:invalidInitialConditions"),
    (([1.0, 1.0], [0.0, 1.0], np.ones(3), np.ones((5, 5))), "VELTRA:filter:invalidInitialConditions"),
    (([1.0, 1.0], [-0.0, 1.0], np.ones(3)), "VELTRA:filter:firstElementOfDenominatorFilterZero"),
    ((np.zeros((1, 0)), [np.inf], np.ones(3)), "VELTRA:filter:firstElementOfDenominatorFilterNotFinite"),
    (([1.0], [complex(1, np.nan), 1], np.ones(3)), "VELTRA:filter:firstElementOfDenominatorFilterNotFinite"),
    ((np.ones((2, 2)), [1.0], np.ones(3)), "VELTRA:filter:notVectorInput"),
    (([1.0], np.ones((2, 2)), np.ones(3)), "VELTRA:filter:notVectorInput"),
    (([1.0], [1.0], "abc"), "VELTRA:filter:inputType"),
    (([1.0], [1.0], np.ones(3), None, "x"), "VELTRA:filter:inputType"),
    (([1.0], [1.0]), "VELTRA:minrhs"),
    (([1.0], [1.0], np.ones(3), None, 1, 1), "VELTRA:maxrhs"),
])
def test_errors_in_their_order(args, identifier):
    with pytest.raises(vm.Error) as info:
        vm.call(9, *args)
    assert info.value.identifier == identifier


def test_sparse_and_result_count_errors():
    import scipy.sparse
    with pytest.raises(vm.Error) as info:
        vm.filter([1.0], [1.0], scipy.sparse.eye(3, format="csc"))
    assert info.value.identifier == "VELTRA:filter:sparseInput"
    with pytest.raises(vm.Error) as info:
        vm.filter([1.0], [1.0], np.ones(3), nargout=3)
    assert info.value.identifier == "VELTRA:maxlhs"
    np.testing.assert_array_equal(vm.call(10, [1.0], [1.0], np.ones(3)), np.ones(3)), "slot 10 is the same filter"


@pytest.mark.parametrize("order", [1, 2, 8, 16, 17, 24, 32, 33])
@pytest.mark.parametrize("dtype", [np.float64, np.float32])
def test_the_register_delay_line_gives_the_bits_of_the_general_path(order, dtype, threads):
    """Eleven columns: two groups that run in step and three alone, at 1 and 2 threads."""
    rng = np.random.default_rng(order)
    b = rand(rng, order + 1).astype(dtype)
    a = stable_denominator(rng, order + 1).astype(dtype)
    x = rand(rng, (500, 11)).astype(dtype)
    zi = rand(rng, (order, 11)).astype(dtype)
    general = vm.filter(b, a, x.astype(np.result_type(dtype, np.complex64)), zi, nargout=2)  # the general kernel
    assert general[0].dtype == dtype
    for count in (1, 2):
        threads(count)
        real = vm.filter(b, a, x, zi, nargout=2)
        np.testing.assert_array_equal(real[0], general[0])
        np.testing.assert_array_equal(real[1], general[1])


@pytest.mark.parametrize("dtype", [np.float64, np.float32])
def test_nans_carry_their_sign_alike_in_groups_and_alone(dtype, threads):
    """A column filtered in a group that runs in step and the same column alone: the same bytes,
    the signs of NaNs included, at 1, 2 and 3 threads."""
    rng = np.random.default_rng(8)
    b, a = signal.butter(4, 0.2)
    b, a = b.astype(dtype), a.astype(dtype)
    x = rand(rng, (400, 16)).astype(dtype)  # 16 columns: tasks of four run in step
    x[300, 0], x[200, 1], x[100, 10] = np.nan, -np.inf, np.nan
    alone = [vm.filter(b, a, x[:, j]) for j in range(16)]
    assert np.isnan(alone[0][-1]) and np.isnan(alone[1][-1])
    for count in (1, 2, 3):
        threads(count)
        y = vm.filter(b, a, x)
        for j in range(16):
            assert y[:, j].tobytes() == alone[j].tobytes(), (count, j)


def fir_in_order(b, x, zi):
    """A real FIR as plain steps: each output starts from its initial condition (or 0) and adds
    b[t] * x[j - t] for t descending, each product and sum rounded in x's precision."""
    y = np.zeros_like(x)
    y[: len(zi)] = zi[: len(x)]
    for t in range(len(b) - 1, -1, -1):
        if t < len(x):
            y[t:] = y[t:] + b[t] * x[: len(x) - t]
    return y


@pytest.mark.parametrize("dtype", [np.float64, np.float32])
def test_real_fir_gives_the_bits_of_plain_steps(dtype, threads):
    """Blocks of outputs in registers, ragged ends, taps longer than the column, initial
    conditions, a column long enough to be cut among threads: bit for bit against plain steps."""
    rng = np.random.default_rng(11)
    for nb, n in [(1, 50), (4, 1), (7, 200), (16, 333), (17, 129), (64, 5000), (300, 250), (40, 50000)]:
        b, x = rand(rng, nb, dtype=dtype), rand(rng, n, dtype=dtype)
        zi = rand(rng, nb - 1, dtype=dtype)
        want = fir_in_order(b, x, np.zeros(0, dtype))
        want_zi = fir_in_order(b, x, zi)
        for count in (1, 2):
            threads(count)
            np.testing.assert_array_equal(vm.filter(b, dtype(1), x), want)
            if nb > 1:
                np.testing.assert_array_equal(vm.filter(b, dtype(1), x, zi), want_zi)
        # the columns of a matrix, each its own (a single row is filtered along itself)
        X = np.asfortranarray(rand(rng, (max(n, 2), 3), dtype=dtype))
        got = vm.filter(b, dtype(1), X)
        for c in range(3):
            np.testing.assert_array_equal(got[:, c], fir_in_order(b, X[:, c], np.zeros(0, dtype)))


@pytest.mark.parametrize("a0", [0.3 + 2.0j, 2.0j, -1e-3 - 4.0j, 1e200 + 3e200j])
@pytest.mark.parametrize("cb", [False, True])
def test_a_leading_coefficient_led_by_its_imaginary_part(a0, cb):
    # Normalising by a[0] divides in the branch where the divisor's imaginary part is the larger;
    # the reference divides first with NumPy's scaled division (lfilter's own overflows at 1e200).
    rng = np.random.default_rng(31)
    b = rand(rng, 4, cb)
    a = stable_denominator(rng, 3, True) / 1.7 * a0
    x = rand(rng, (200, 3))
    y = vm.filter(b, a, x)
    bn, an = np.asarray(b, complex) / a[0], a / a[0]
    an[0] = 1
    ry, _ = lfilter_reference(bn, an, x, None, 0)
    np.testing.assert_allclose(y, ry, rtol=1e-12, atol=0)
