"""vlmathdsp.dask against the one-machine functions, bit for bit, on the threaded scheduler and on a
local cluster of two worker processes; chunks smaller than the kernel, uneven, single, empty."""

import os

import numpy as np
import pytest

da = pytest.importorskip("dask.array")
distributed = pytest.importorskip("distributed")
import dask  # noqa: E402
import scipy.signal  # noqa: E402

import vlmathdsp as vm  # noqa: E402
import vlmathdsp.dask as vd  # noqa: E402

rng = np.random.default_rng(7)


@pytest.fixture(scope="module")
def cluster():
    if "libasan" in os.environ.get("LD_PRELOAD", ""):
        pytest.skip("worker processes under the sanitizer: the threaded scheduler covers the same calls")
    import vlmathdsp
    path = os.path.dirname(os.path.dirname(vlmathdsp.__file__))
    os.environ["PYTHONPATH"] = os.pathsep.join(p for p in (path, os.environ.get("PYTHONPATH")) if p)
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None,
                                  silence_logs=40) as c:
        yield c


@pytest.fixture(params=["threads", "cluster"])
def run(request):
    """compute(*arrays) on the threaded scheduler or on the two-process cluster."""
    if request.param == "threads":
        yield lambda *a: dask.compute(*a, scheduler="threads")
        return
    with distributed.Client(request.getfixturevalue("cluster"), set_as_default=True) as client:
        yield lambda *a: client.compute(list(a), sync=True)


def same_bits(want, got):
    """got has want's shape and bits; a complex result whose one-machine twin dropped an all-zero
    imaginary part is compared by its real part."""
    want, got = np.asarray(want), np.asarray(got)
    assert got.shape == want.shape
    if got.dtype.kind == "c" and want.dtype.kind != "c":
        assert not np.any(got.imag)
        got = got.real
    assert got.dtype == want.dtype
    assert np.ascontiguousarray(got).tobytes() == np.ascontiguousarray(want).tobytes()


@pytest.mark.parametrize("chunks", [(7, 5), (2, 3), (37, 29)], ids=["uneven", "smaller-than-kernel", "one"])
def test_convolutions(run, chunks):
    A = rng.standard_normal((37, 29))
    B = rng.standard_normal((5, 4))
    Ac = (A + 1j * rng.standard_normal(A.shape)).astype(np.complex64)
    u, v = rng.standard_normal(20), rng.standard_normal(3)
    V, K = rng.standard_normal((19, 15, 11)), rng.standard_normal((3, 4, 2))
    for mode in ("full", "same", "valid"):
        cases = [(vm.conv2(A, B, mode), vd.conv2(da.from_array(A, chunks), B, mode)),
                 (vm.conv2(Ac, B, mode), vd.conv2(da.from_array(Ac, chunks), B, mode)),
                 (vm.conv2(u, v, A, mode), vd.conv2(u, v, da.from_array(A, chunks), mode)),
                 (vm.convn(V, K, mode), vd.convn(da.from_array(V, chunks + (4,)), K, mode))]
        for want, got in zip([w for w, _ in cases], run(*[g for _, g in cases])):
            same_bits(want, got)


def test_convolution_borders_and_large_kernels():
    """Non-finite values near chunk edges and a kernel longer than the separable form's short runs."""
    A = rng.standard_normal((120, 90))
    A[40, 30], A[41, 59] = np.inf, np.nan
    B = rng.standard_normal((19, 23))
    u, v = rng.standard_normal(33), rng.standard_normal(18)
    for mode in ("full", "same", "valid"):
        same_bits(vm.conv2(A, B, mode), vd.conv2(da.from_array(A, (40, 30)), B, mode).compute(scheduler="sync"))
        same_bits(vm.conv2(u, v, A, mode), vd.conv2(u, v, da.from_array(A, (25, 60)), mode).compute(scheduler="sync"))
    x = rng.standard_normal(500)
    same_bits(vm.conv2(x, B[:, 0], "same"), vd.conv2(da.from_array(x, 64), B[:, 0], "same").compute(scheduler="sync"))
    # Vectors: the engine's kernel for two vectors depends on their lengths, and a part must take the whole's.
    for n, k, chunk in [(700000, 31, 90000), (600000, 200, 50000), (1000, 300, 128), (5000, 300, 700)]:
        x, h = rng.standard_normal(n), rng.standard_normal(k)
        same_bits(vm.conv2(x, h, "same"), vd.conv2(da.from_array(x, chunk), h, "same").compute(scheduler="sync"))
        same_bits(vm.convn(x, h, "full"), vd.convn(da.from_array(x, chunk), h, "full").compute(scheduler="sync"))


def test_strided_convolution():
    """Samples of the full result per output chunk, with the whole array's loop order and path."""
    A, B = rng.standard_normal((40, 33, 12)), rng.standard_normal((3, 4, 5))
    S = A * (rng.random(A.shape) < np.linspace(0.05, 1, 40)[:, None, None])  # sparse rows, dense rows
    for X in (A, S):
        for args in [(), (2,), ([2, 3, 1],), (2, [3, 2, 4], [40, 30, 14]), (3, "corr"), (1, 5, 20)]:
            want = vm.strided_convn(X, B, *args)
            for chunks in [(7, 9, 5), (3, 3, 3)]:
                same_bits(want, vd.strided_convn(da.from_array(X, chunks), B, *args).compute(scheduler="sync"))
    x = rng.standard_normal(1000)
    same_bits(vm.strided_convn(x, np.ones(5), 3), vd.strided_convn(da.from_array(x, 77), np.ones(5), 3).compute())
    # A batch of images against a bank of filters, correlated: matrix products on one machine.
    images, bank = rng.standard_normal((20, 18, 3, 1, 4)), rng.standard_normal((3, 3, 3, 5))
    for args in [(1, "corr"), ([2, 2, 1, 1, 1], [1, 1, 3, 1, 1], [22, 20, 3, 5, 4], "corr")]:
        same_bits(vm.strided_convn(images, bank, *args),
                  vd.strided_convn(da.from_array(images, (7, 6, 3, 1, 2)), bank, *args).compute(scheduler="sync"))


def test_convolution_paths_follow_the_whole_array():
    """Chunks denser or sparser than the whole, chunks whose extents would order the engine's loops
    otherwise: each task takes the whole array's path, operand order and loop order."""
    for trial in range(24):
        nd = trial % 3 + 2
        shape = tuple(int(m) for m in rng.integers(8, 30, nd))
        A = rng.standard_normal(shape) * (rng.random(shape) < (0.1 if trial % 2 else 2))
        half = shape[0] // 2
        A[:half] *= rng.random((half,) + shape[1:]) < 0.9  # dense chunks in a sparse whole, or the reverse
        if trial % 5 == 0:
            A = A.astype(np.float32)
        B = rng.standard_normal(tuple(int(k) for k in rng.integers(1, 6, nd)))
        if trial % 4 == 1:
            B *= rng.random(B.shape) < 0.2
        if trial % 6 == 3:
            A[half, 0] = np.inf
        chunks = tuple(max(2, m // 3) for m in shape)
        f, g = (vm.conv2, vd.conv2) if nd == 2 else (vm.convn, vd.convn)
        for mode in ("full", "same", "valid"):
            same_bits(f(A, B, mode), g(da.from_array(A, chunks), B, mode).compute(scheduler="sync"))
    # Kernels of length 1 along some dimensions: a part orders those loops as suits it.
    for trial in range(40):
        nd = int(rng.integers(3, 5))
        shape = tuple(int(m) for m in rng.integers(1, 40, nd))
        A = rng.standard_normal(shape) * (rng.random(shape) < (0.15 if trial % 3 == 0 else 2))
        B = rng.standard_normal(tuple(int(k) if rng.random() < 0.6 else 1 for k in rng.integers(2, 6, nd)))
        chunks = tuple(int(c) for c in rng.integers(1, 20, nd))
        mode, stride = ("full", "same", "valid")[trial % 3], [int(t) for t in rng.integers(1, 4, nd)]
        same_bits(vm.convn(A, B, mode), vd.convn(da.from_array(A, chunks), B, mode).compute(scheduler="sync"))
        same_bits(vm.strided_convn(A, B, stride, "corr"),
                  vd.strided_convn(da.from_array(A, chunks), B, stride, "corr").compute(scheduler="sync"))


def _filters():
    b4, a4 = scipy.signal.butter(4, 0.2)
    return {"butter4": (b4, a4), "fir6": (rng.standard_normal(6), np.array([1.0])),
            "order20": (rng.standard_normal(21), np.r_[1.0, 0.02 * rng.standard_normal(20)]),
            "a0-complex": (rng.standard_normal(3), np.array([2.0 - 1j, 0.3, 0.1j])),
            "b-shorter": (rng.standard_normal(2), np.array([1.5, -0.5, 0.2, 0.1]))}


def test_building_a_graph_computes_nothing_and_facts_skip_the_count():
    made = []

    def block(block_info=None):
        info = block_info[None]
        made.append(info["chunk-location"])
        return np.random.default_rng(sum(info["array-location"][0])).standard_normal(info["chunk-shape"])

    source = lambda: da.map_blocks(block, chunks=((6, 6, 5), (9, 9)), dtype=np.float64)  # noqa: E731
    kernel = rng.standard_normal((3, 4))
    whole = np.asarray(source().compute(scheduler="sync"))
    graphs = [vd.convn(source(), kernel, "same"), vd.conv2(source(), kernel, "valid"),
              vd.strided_convn(source(), kernel, [2, 3], "corr")]
    made.clear()
    given = [vd.convn(source(), kernel, "same", facts="dense"), vd.convn(source(), kernel, facts=(whole.size, True))]
    assert made == []
    wants = [vm.convn(whole, kernel, "same"), vm.conv2(whole, kernel, "valid"),
             vm.strided_convn(whole, kernel, [2, 3], "corr"), vm.convn(whole, kernel, "same"), vm.convn(whole, kernel)]
    for graph, want in zip(graphs, wants):
        made.clear()
        same_bits(want, graph.compute(scheduler="sync"))
        assert len(made) == 2 * 6  # the counting pass, then the parts
    for graph, want in zip(given, wants[3:]):
        made.clear()
        same_bits(want, graph.compute(scheduler="sync"))
        assert len(made) == 6  # no counting pass
    with pytest.raises(ValueError, match="facts"):
        vd.convn(source(), kernel, facts="sparse")


@pytest.mark.parametrize("name", list(_filters()))
def test_filter_carries_state(run, name):
    b, a = _filters()[name]
    order = max(len(a), len(b)) - 1
    x = rng.standard_normal((400, 6))
    xc = (x + 1j * rng.standard_normal(x.shape)).T.copy()
    zi = rng.standard_normal((order, 6))
    cases = []
    for chunks in [(37, 4), (3, 6), (400, 6)]:
        cases.append((vm.filter(b, a, x, nargout=2), vd.filter(b, a, da.from_array(x, chunks), nargout=2)))
        cases.append((vm.filter(b, a, xc, zi, 2, nargout=2), vd.filter(b, a, da.from_array(xc, chunks[::-1]), zi, 2,
                                                                      nargout=2)))
    x32 = x[:, 0].astype(np.float32)
    cases.append(((vm.filter(b, a, x32),), (vd.filter(b, a, da.from_array(x32, 50)),)))
    results = run(*[g for _, got in cases for g in got])
    for want, got in zip([w for want, _ in cases for w in want], results):
        same_bits(want, got)


def test_filter_along_any_axis_of_chunked_volumes():
    """Chunks split along the filtered axis and the others at once, C- and Fortran-ordered."""
    b, a = scipy.signal.butter(3, 0.2)
    x = rng.standard_normal((5, 4, 300))
    zi = rng.standard_normal((3, 5, 4))
    for axis in range(3):
        xx = np.moveaxis(x, 2, axis).copy()
        chunks = [2, 3]
        chunks.insert(axis, 70)
        want = vm.filter(b, a, xx, zi, axis + 1, nargout=2)
        for data in (xx, np.asfortranarray(xx)):
            got = dask.compute(*vd.filter(b, a, da.from_array(data, tuple(chunks)), zi, axis + 1, nargout=2),
                               scheduler="sync")
            same_bits(want[0], got[0])
            same_bits(want[1], got[1])


def test_fir_by_overlap(run):
    """FIR filters without final conditions: chunks filtered at once, each with the samples before it."""
    h = rng.standard_normal(41)
    x = rng.standard_normal((6, 900)) + 1j * rng.standard_normal((6, 900))
    zi = rng.standard_normal((40, 6))
    cases = [(vm.filter(h, 1.0, x, zi, 2), vd.filter(h, 1.0, da.from_array(x, (4, 25)), zi, 2)),
             (vm.filter(h[:3], 2.0, x.real), vd.filter(h[:3], 2.0, da.from_array(x.real, (2, 7)))),
             (vm.filter([0.5], 1.0, x.real), vd.filter([0.5], 1.0, da.from_array(x.real, (3, 100)))),
             (vm.filter(h, 1.0, x.real.T.astype(np.float32)), vd.filter(h, 1.0, da.from_array(x.real.T.astype(np.float32), 300)))]
    for (want, _), got in zip(cases, run(*[g for _, g in cases])):
        same_bits(want, got)


def test_lfilter_and_ltitr(run):
    b, a = scipy.signal.butter(3, 0.3)
    x = rng.standard_normal((6, 300)).astype(np.float32)
    zi = rng.standard_normal((6, 3))
    y, zf = dask.compute(*vd.lfilter(b, a, da.from_array(x, (3, 70)), axis=1, zi=zi), scheduler="sync")
    want_y, want_zf = scipy.signal.lfilter(b, a, x, axis=1, zi=zi)
    assert y.dtype == want_y.dtype == np.float64
    np.testing.assert_allclose(y, want_y, rtol=1e-12, atol=1e-12)
    np.testing.assert_allclose(zf, want_zf, rtol=1e-12, atol=1e-12)
    same_bits(vm.filter(b, a, x.astype(np.float64), np.zeros((0, 0)), 2),
              vd.lfilter(b, a, da.from_array(x, (6, 33)), axis=-1).compute(scheduler="sync"))
    v = x[0].astype(np.float64)
    y, zf = dask.compute(*vd.lfilter(b, a, da.from_array(v, 41), zi=zi[0]), scheduler="sync")
    want_y, want_zf = scipy.signal.lfilter(b, a, v, zi=zi[0])
    np.testing.assert_allclose(y, want_y, rtol=1e-12, atol=1e-12)
    np.testing.assert_allclose(zf, want_zf, rtol=1e-12, atol=1e-12)

    A = np.array([[0.9, 0.1, 0.0], [-0.2, 0.8, 0.1], [0.0, 0.3, 0.5]])
    B, U = rng.standard_normal((3, 2)), rng.standard_normal((1000, 2))
    cases = [(vm.ltitr(A, B, U, *x0), vd.ltitr(A, B, da.from_array(U, chunks), *x0))
             for chunks, x0 in [((97, 2), (np.array([1.0, -2.0, 0.5]),)), ((1, 2), ()), ((1000, 2), ())]]
    strided = vm.strided_convn(U, B.T, 3, "corr")
    *got, got_strided = run(*[g for _, g in cases], vd.strided_convn(da.from_array(U, (97, 2)), B.T, 3, "corr"))
    for (want, _), result in zip(cases, got):
        same_bits(want, result)
    same_bits(strided, got_strided)


def test_transforms(run):
    """1-d transforms give the one machine's bits; N-d ones, made of 1-d passes, its values to rounding."""
    X = rng.standard_normal((24, 18, 10))
    Xc = (X + 1j * rng.standard_normal(X.shape)).astype(np.complex64)
    dX, dXc = da.from_array(X, (7, 5, 10)), da.from_array(Xc, (7, 5, 10))
    S = vm.fftn(X)
    exact = [(vm.fft(X), vd.fft(dX)), (vm.fft(X, 40, 2), vd.fft(dX, 40, 2)), (vm.ifft(Xc, 11, 3), vd.ifft(dXc, 11, 3)),
             (vm.ifft(S, [], 1, "symmetric"), vd.ifft(da.from_array(S, 9), [], 1, "symmetric")),
             (vm.dct(X, 30, 2), vd.dct(dX, 30, 2)), (vm.idst(Xc), vd.idst(dXc)), (vm.dst(X[:, 0, 0]), vd.dst(dX[:, 0, 0]))]
    close = [(vm.fftn(X), vd.fftn(dX)), (vm.fftn(X, [30, 7, 10, 2]), vd.fftn(dX, [30, 7, 10, 2])),
             (vm.ifftn(Xc), vd.ifftn(dXc)), (vm.ifftn(S, "symmetric"), vd.ifftn(da.from_array(S, 6), "symmetric")),
             (vm.dctn(X), vd.dctn(dX)), (vm.idstn(Xc, [20, 20, 4]), vd.idstn(dXc, [20, 20, 4]))]
    results = run(*[g for _, g in exact + close])
    for (want, _), got in zip(exact, results):
        same_bits(want, got)
    for (want, _), got in zip(close, results[len(exact):]):
        assert got.shape == want.shape and got.dtype == want.dtype
        tol = 1e-4 if want.dtype in (np.complex64, np.float32) else 1e-12
        np.testing.assert_allclose(got, want, rtol=tol, atol=tol * np.abs(want).max())
    # The mirror of a real input's forward transform is exact, as the one machine's is.
    F = vd.fftn(dX).compute()
    assert np.array_equal(F[1:, 1:, 1:], np.conj(F[:0:-1, :0:-1, :0:-1]))


def test_empty_and_single_chunks():
    E = np.zeros((0, 5))
    same_bits(vm.conv2(E, np.ones((2, 2))), vd.conv2(da.from_array(E), np.ones((2, 2))).compute())
    same_bits(vm.filter([1.0, 0.5], [1.0, -0.2], E), vd.filter([1.0, 0.5], [1.0, -0.2], da.from_array(E)).compute())
    same_bits(vm.fft(E), vd.fft(da.from_array(E)).compute())
    x = rng.standard_normal(50)
    same_bits(vm.conv2(x, np.ones(3), "valid"), vd.conv2(da.from_array(x, 50), np.ones(3), "valid").compute())
    same_bits(vm.filter([1.0], [1.0, -0.5], x, nargout=2)[1],
              vd.filter([1.0], [1.0, -0.5], da.from_array(x, 9), nargout=2)[1].compute())


def test_errors_name_their_cause_when_the_graph_is_built():
    A = da.ones((10, 10), chunks=5)
    with pytest.raises(vm.Error) as e:
        vd.conv2(A, np.ones((2, 2)), "sideways")
    assert e.value.identifier == "VELTRA:conv2:unknownShapeParameter"
    with pytest.raises(vm.Error) as e:
        vd.filter([1.0, 2.0, 3.0], [1.0], A, np.ones((5, 5)))
    assert e.value.identifier == "VELTRA:filter:invalidInitialConditions"


def test_each_task_runs_on_its_share_of_the_cores(cluster):
    cores = len(os.sched_getaffinity(0))

    def count():
        return vm.get_num_threads()

    with distributed.Client(cluster, set_as_default=True) as client:
        got = client.compute(dask.delayed(vd._tasks.task(count))(), sync=True)
    assert got == max(1, cores // 2)  # two single-threaded workers share the host
    with dask.config.set(num_workers=1):
        assert dask.delayed(vd._tasks.task(count))().compute(scheduler="threads") == cores
    before = vm.get_num_threads()
    assert dask.delayed(vd._tasks.task(count))().compute(scheduler="sync") == cores
    assert vm.get_num_threads() == before  # the task's count stays the task's


def test_persisted_and_held_chunks_are_read_where_they_are(cluster):
    x = rng.standard_normal((24, 30))
    x[:, :20] = 0  # sparse enough for the engine's other path
    kernel = rng.standard_normal((3, 2))
    with distributed.Client(cluster, set_as_default=True) as client:
        persisted = client.persist(da.from_array(x, chunks=(7, 9)))
        graph = vd.convn(persisted, kernel, "same")
        # The persisted chunks stay as they are: nothing of the input is made again.
        assert not any(key[0] != persisted.name and key[0].startswith("array-") for key in graph.dask
                       if isinstance(key, tuple))
        same_bits(vm.convn(x, kernel, "same"), client.compute(graph, sync=True))
