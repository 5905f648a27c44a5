"""The conversion layer, errors, warnings and threads of the Python package."""

import threading
import warnings

import numpy as np
import pytest
import scipy.sparse

import vlmathdsp as vm
from vlmathdsp import _vlmathdsp as core

DTYPES = [np.float64, np.float32, np.complex128, np.complex64, np.bool_, np.int8, np.uint8,
          np.int16, np.uint16, np.int32, np.uint32, np.int64, np.uint64]


def echo(x):
    return core._echo((x,))


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("shape", [(3, 4), (2, 3, 4), (0, 5), (1, 1), (5, 1)])
def test_every_dtype_round_trips_with_its_shape(dtype, shape):
    rng = np.random.default_rng(1)
    x = (rng.standard_normal(shape) * 100).astype(dtype)
    if np.iscomplexobj(x):
        x = x + 1j * x.real.astype(dtype)
    y = echo(x)
    assert y.dtype == x.dtype and y.shape == x.shape
    np.testing.assert_array_equal(y, x)
    assert not np.shares_memory(x, y), "a result never aliases an input"


def test_shapes_follow_the_host_rules():
    assert echo(np.float64(3)).shape == (1, 1)
    assert echo(np.arange(4.0)).shape == (4,), "1-d in, vector out: 1-d"
    assert echo([[1.0, 2.0]]).shape == (1, 2)
    assert echo(np.ones((2, 3, 1, 1))).shape == (2, 3), "trailing singletons go"
    assert echo(None).shape == (0, 0)
    assert echo(np.ones((2, 1, 3))).shape == (2, 1, 3)
    # Python numbers take NumPy's classes without NumPy: float as double, int as int64, bool as
    # logical; an int past int64 is NumPy's to place.
    for value, dtype in [(2.5, np.float64), (-7, np.int64), (2**63 - 1, np.int64), (True, np.bool_),
                         (2**63, np.uint64), (1.5 + 2j, np.complex128)]:
        y = echo(value)
        assert y.shape == (1, 1) and y.dtype == dtype and y[0, 0] == value


def test_fortran_arrays_enter_without_a_copy_and_others_are_copied_once():
    f = np.asfortranarray(np.arange(12.0).reshape(3, 4))
    assert core._host_data_address(f) == f.ctypes.data
    c = np.arange(12.0).reshape(3, 4)
    assert core._host_data_address(c) != c.ctypes.data
    strided = np.arange(20.0)[::2]
    assert core._host_data_address(strided) != strided.ctypes.data
    np.testing.assert_array_equal(echo(strided), strided)
    np.testing.assert_array_equal(echo(c), c)
    big_endian = np.arange(6.0).astype(">f8").reshape(2, 3)
    np.testing.assert_array_equal(echo(big_endian), big_endian)


def test_results_own_their_memory():
    A = np.array([[0.5]])
    X = vm.ltitr(A, [[1.0]], np.ones((4, 1)))
    assert X.flags.f_contiguous and not X.flags.owndata
    del A
    X[0, 0] = 7.0  # the memory stays valid and writable once the inputs are gone
    assert X[0, 0] == 7.0


def test_text_strings_and_sparse():
    assert echo("same") == "same"
    assert echo("") == ""
    assert echo("h\u00e9llo \u2603") == "h\u00e9llo \u2603"
    s = echo(vm.string_array(["a", None, "ccc", "d"], shape=(2, 2)))
    assert s.shape == (2, 2) and s[0, 0] == "a" and s[1, 0] is None and s[0, 1] == "ccc"
    row = echo(vm.string_array(["x", "y"]))
    assert row.shape == (1, 2)
    m = scipy.sparse.random(6, 5, density=0.3, random_state=2, format="csr")
    back = echo(m)
    assert scipy.sparse.issparse(back)
    np.testing.assert_array_equal(back.toarray(), m.toarray())
    z = scipy.sparse.csc_matrix(np.array([[0, 1 + 2j], [3, 0]]))
    np.testing.assert_array_equal(echo(z).toarray(), z.toarray())
    counts = scipy.sparse.csc_matrix(np.array([[0, 7], [-3, 0]], dtype=np.int16))
    back = echo(counts)
    assert back.dtype == np.float64, "sparse data of other classes is held as double"
    np.testing.assert_array_equal(back.toarray(), [[0, 7], [-3, 0]])


def test_values_only_the_host_makes_reach_python_in_their_nearest_form():
    text, cell, records, handle = core._host_values()
    np.testing.assert_array_equal(text, [["a", "b", "c"], ["d", "e", "f"]])
    assert cell.dtype == object and cell.shape == (1, 2) and cell[0, 1] == "ab"
    np.testing.assert_array_equal(cell[0, 0], np.zeros((1, 2)))
    assert records.shape == (1, 2) and records[0, 0] == {"a": "x", "b": "y"}
    assert records[0, 1] == {"a": "z", "b": "cos"}
    assert handle == "sin"
    assert core.live_arrays() == 0


@pytest.mark.parametrize("bad", [np.array([1], dtype=np.float16), np.array(["a"], dtype=object),
                                 np.array([1], dtype=np.longdouble), np.array([1j], dtype=np.clongdouble)])
def test_dtypes_without_a_class_raise_type_error(bad):
    with pytest.raises(TypeError):
        echo(bad)


def test_errors_carry_identifier_component_key_and_text():
    with pytest.raises(vm.Error) as info:
        vm.ltitr(np.ones((2, 3)), np.ones((2, 1)), np.ones((4, 1)))
    e = info.value
    assert e.identifier == "VELTRA:legacy_two_part:square"
    assert (e.component, e.key, e.arguments) == ("VELTRA:legacy_two_part", "square", ())
    assert e.args == ("The matrix must be square.",)
    assert str(e) == ("[VELTRA:legacy_two_part:square] The matrix must be square. "
                      "(called with 2x3 float64, 2x1 float64, 4x1 float64)")
    with pytest.raises(vm.Error, match=r"\(called with 3x3 float32, 'sideways'\)$"):
        vm.call(2, np.ones((3, 3), np.float32), "sideways")
    with pytest.raises(vm.Error) as info:
        vm.max_pool(np.ones((5, 5)), [2.0], [0.0], [1.0, 1.0])
    assert info.value.identifier == "VELTRA:legacy_two_part:badsubscript"
    assert info.value.arguments == ("Invalid pooling size.",)
    assert str(info.value).endswith("Invalid pooling size. (called with 5x5 float64, [2.0], [0.0], [1.0, 1.0])")
    with pytest.raises(vm.Error) as info:
        vm.call_function("veltra.no.such")
    assert info.value.identifier == "VELTRA:undefinedFunction"
    with pytest.raises(vm.Error) as info:
        vm.call(11, np.ones((1, 1)), np.ones((1, 1)))
    assert info.value.identifier == "VELTRA:minrhs"


def test_host_warnings_become_python_warnings_and_the_call_returns():
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        result = core._warn()
    assert result.shape == (1, 1)
    assert len(caught) == 1 and issubclass(caught[0].category, vm.HostWarning)
    assert caught[0].message.identifier == "VELTRA:fftfcn:WisdomImportFailed"
    assert issubclass(vm.HostWarning, UserWarning)


def test_thread_setting(threads):
    threads(1)
    assert vm.get_num_threads() == 1
    threads(3)
    assert vm.get_num_threads() == 3


def test_many_python_threads_call_at_once():
    rng = np.random.default_rng(5)
    A = rng.standard_normal((30, 30)) / 40
    B = rng.standard_normal((30, 3))
    inputs = [rng.standard_normal((500, 3)) for _ in range(8)]
    expected = [vm.ltitr(A, B, U) for U in inputs]
    results = [None] * 8
    errors = []

    def work(i):
        try:
            for _ in range(10):
                results[i] = vm.ltitr(A, B, inputs[i])
        except Exception as exc:  # noqa: BLE001 - reported below
            errors.append(exc)

    pool = [threading.Thread(target=work, args=(i,)) for i in range(8)]
    for t in pool:
        t.start()
    for t in pool:
        t.join()
    assert not errors
    for got, want in zip(results, expected):
        np.testing.assert_array_equal(got, want)
    live = core.live_arrays()
    vm.ltitr(A, B, inputs[0])
    assert core.live_arrays() == live


def test_every_named_function_reaches_its_builtin():
    names = set(core.package_functions())
    assert "veltra.internal.math.transform.vldct" in names
    assert "veltra.internal.math.stridedConvn" in names
    np.testing.assert_array_equal(vm.strided_convn(np.ones(3), np.ones(2)), [1, 2, 2, 1])
    np.testing.assert_allclose(vm.dct(np.ones(4)), [2, 0, 0, 0], atol=1e-15)
    assert vm.fftw_version().startswith("fftw-")


def test_the_version_is_the_projects():
    import os
    import re
    root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    with open(os.path.join(root, "CMakeLists.txt")) as f:
        version = re.search(r"project\(vlmathdsp VERSION ([\d.]+)", f.read()).group(1)
    assert vm.__version__ == ".".join(version.split(".")[:3])


def test_the_fast_calls_refuse_as_the_general_ones_do():
    x = np.ones(8)
    with pytest.raises(vm.Error) as info:
        core.complex_of_vector(99, x)
    assert info.value.identifier == "VELTRA:noSuchSlot"
    with pytest.raises(TypeError):
        core.complex_of_vector(4)
    with pytest.raises(TypeError):
        core.vectors_of_one_type(9, "principal", x, x, x)
    assert core.complex_of_vector(4, np.ones((2, 2))) is None, "not its case: the general path takes it"


@pytest.mark.parametrize("n", [0, 2.5, np.array([4, 4]), -1])
def test_the_half_spectrum_takes_whole_lengths_only(n):
    # The faces check lengths first: what reaches it otherwise is the package's own fault.
    with pytest.raises(vm.Error, match="n must be a whole number of at least 1") as info:
        core.half_spectrum(np.ones(8), n, 1)
    assert info.value.identifier == "VELTRA:internal"
