"""The planner and wisdom commands: words and prefixes, the caches they clear and keep, wisdom
moved out and back in, and the identifiers of every refusal."""

import ctypes
import os
import subprocess
import sys
import warnings

import numpy as np
import pytest

import vlmathdsp as vm
import vlmathdsp._vlmathdsp as core

FFTW_MEASURE, FFTW_WISDOM_ONLY, FFTW_FORWARD = 0, 1 << 21, -1


@pytest.fixture(autouse=True)
def restored_planner():
    before = vm.fftw("planner")
    yield
    vm.fftw("planner", before)
    vm.fftw("rows", 4.0)
    vm.fftw("withthreads")


def fresh_plans(call):
    """How many plans call() made."""
    before = core._plans_made()
    call()
    return core._plans_made() - before


def test_planner_words_and_prefixes():
    assert vm.fftw("planner") == "estimate", "the default method"
    for given, word in [("measure", "measure"), ("PAT", "patient"), ("ex", "exhaustive"), ("es", "estimate"),
                        ("h", "hybrid"), ("m", "measure"), ("Estimate", "estimate")]:
        vm.fftw("p", given)
        assert vm.fftw("planner") == word
    assert vm.fftw("planner", "measure") == "estimate", "the first result is the method before the command"
    for bad in ("e", "estimates", "", "x"):
        with pytest.raises(vm.Error) as info:
            vm.fftw("planner", bad)
        assert info.value.identifier == "VELTRA:fftfcn:invalidPlannerArg"
    with pytest.raises(vm.Error) as info:
        vm.fftw("planner", 3.0)
    assert info.value.identifier == "VELTRA:fftfcn:invalidPlannerArg"


def test_planner_clears_every_cache_and_rows_keeps_them():
    from vlmathdsp.scipy import fft as face
    x = np.random.default_rng(1).standard_normal((96, 3))
    # The half spectrum of the face's rfft keeps its plans in the transform library's container.
    run = lambda: (vm.fft(x), vm.dct(x), vm.dst(x, "Variant", 4), face.rfft(x.T))
    run()
    assert fresh_plans(run) == 0
    vm.fftw("planner", vm.fftw("planner"))  # the current method, still clears
    assert fresh_plans(run) == 4
    vm.fftw("rows", 7.0)
    vm.fftw("r", 4.0)
    assert fresh_plans(run) == 0, "rows keeps the caches"
    vm.fftw("planner", "hybrid")
    assert fresh_plans(run) == 4, "every container, whichever transform was in use"


def test_rows_values():
    vm.fftw("rows", 0.5)  # stored as 0
    for bad, key in [(None, "needRowsArg"), (0.0, "invalidRowsArg"), (np.nan, "invalidRowsArg"),
                     (-1.0, "invalidRowsArg"), (np.inf, "invalidRowsArg"), (np.float32(2), "invalidRowsArg"),
                     (2 + 1j, "invalidRowsArg"), (np.zeros((0, 0)), "invalidRowsArg"), ("2", "invalidRowsArg")]:
        with pytest.raises(vm.Error) as info:
            vm.fftw("rows") if bad is None else vm.fftw("rows", bad)
        assert info.value.identifier == "VELTRA:fftfcn:" + key


def test_threads_commands_change_where_pieces_run_not_the_plans(threads):
    x = np.random.default_rng(2).standard_normal((2**15, 4)) * (1 + 1j)
    want = vm.fft(x)
    assert fresh_plans(lambda: vm.fft(x)) == 0
    assert vm.fftw("nothreads") is None
    assert fresh_plans(lambda: vm.fft(x)) == 0, "the plan is made for its pieces, not for a thread count"
    assert vm.fft(x).tobytes() == want.tobytes()
    threads(1)
    assert vm.fftw("wit") is None
    assert vm.fft(x).tobytes() == want.tobytes()


SHAPES = [(n, c) for n in (64, 100, 1000, 4096, 65536) for c in (1, 3, 4, 8, 64)]

# Each count runs in a process of its own, from the same start, whose plan containers are made
# with that count; counts above the cores stand for a bigger machine.
BY_COUNT = """
import hashlib, sys
import numpy as np
import vlmathdsp as vm
vm.set_num_threads(int(sys.argv[1]))
rng = np.random.default_rng(11)
digest = hashlib.sha256()
for shape in SHAPES:
    x = rng.random(shape)
    for y in (vm.fft(x), vm.ifft(x * (1 + 1j)), vm.dct(x), vm.idst(x)):
        digest.update(y.tobytes())
cube = rng.random((32, 48, 8))
for y in (vm.fftn(cube), vm.ifftn(cube), vm.dctn(cube)):
    digest.update(y.tobytes())
print(digest.hexdigest())
"""


# A new thread plans again, on buffers the heap puts elsewhere: FFTW's threaded plans pick each
# piece's codelets by its address, so plans must not depend on where buffers lie.
IN_A_NEW_THREAD = """
import threading
import numpy as np
import vlmathdsp as vm
def run():
    rng = np.random.default_rng(11)
    out = []
    for x in (rng.random(shape) for shape in SHAPES):
        out += [vm.fft(x), vm.ifft(x * (1 + 1j)), vm.dct(x), vm.idst(x)]
    return out
here, differ = run(), 0
for _ in range(4):
    there = []
    worker = threading.Thread(target=lambda: there.extend(run()))
    worker.start()
    worker.join()
    differ += sum(a.tobytes() != b.tobytes() for a, b in zip(here, there))
print(differ)
"""


def run_fresh(code, *args):
    package = os.path.dirname(os.path.dirname(vm.__file__))
    done = subprocess.run([sys.executable, "-c", f"SHAPES = {SHAPES!r}\n" + code, *args], capture_output=True,
                          text=True, timeout=300, env={**os.environ, "PYTHONPATH": package})
    assert done.returncode == 0, done.stderr
    return done.stdout.strip()


def test_results_do_not_depend_on_the_thread_count_up_to_64():
    one = run_fresh(BY_COUNT, "1")
    for count in (2, 3, 4, 5, 8, 16, 64):
        assert run_fresh(BY_COUNT, str(count)) == one, count


def test_a_new_thread_gives_the_bits_of_the_main_thread():
    assert run_fresh(IN_A_NEW_THREAD) == "0"


def wisdom_holds_a_plan(n):
    """Whether FFTW's double wisdom knows a measured forward complex transform of length n."""
    fftw = ctypes.CDLL("libfftw3.so.3")
    fftw.fftw_plan_dft_1d.restype = ctypes.c_void_p
    fftw.fftw_plan_dft_1d.argtypes = [ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int, ctypes.c_uint]
    fftw.fftw_destroy_plan.argtypes = [ctypes.c_void_p]
    fftw.fftw_malloc.restype = ctypes.c_void_p
    fftw.fftw_free.argtypes = [ctypes.c_void_p]
    a, b = fftw.fftw_malloc(16 * n), fftw.fftw_malloc(16 * n)
    plan = fftw.fftw_plan_dft_1d(n, a, b, FFTW_FORWARD, FFTW_MEASURE | FFTW_WISDOM_ONLY)
    if plan:
        fftw.fftw_destroy_plan(plan)
    fftw.fftw_free(a), fftw.fftw_free(b)
    return bool(plan)


def test_wisdom_out_forgotten_and_back_in():
    x = np.random.default_rng(3).standard_normal(360) + 1j * np.random.default_rng(4).standard_normal(360)
    assert vm.fftw("wisdom", "") is not None
    assert vm.fftw("WIS") == "" or "fftw_wisdom" in vm.fftw("WIS")
    assert not wisdom_holds_a_plan(360)
    vm.fftw("planner", "measure")
    vm.fft(x)
    kept = vm.fftw("dwisdom")
    assert "fftw_wisdom" in kept and wisdom_holds_a_plan(360)
    assert vm.fftw("wisdom", np.zeros((0, 0))) == kept, "the old wisdom comes back"
    assert not wisdom_holds_a_plan(360)
    assert fresh_plans(lambda: vm.fft(x)) == 1, "forgetting cleared the caches"
    vm.fftw("wisdom", np.zeros((0, 0), bool))
    assert vm.fftw("wisdom", kept) != kept
    assert wisdom_holds_a_plan(360), "a plan after the import uses the wisdom instead of measuring"
    assert fresh_plans(lambda: vm.fft(x)) == 1, "importing cleared the caches"
    single = vm.fftw("s")
    assert single.startswith("(fftw-3") and vm.fftw("swisdom", "") == single


def test_a_failing_import_warns_and_keeps_the_caches():
    x = np.random.default_rng(5).standard_normal(77)
    vm.fft(x)
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        assert fresh_plans(lambda: vm.fftw("wisdom", "(not wisdom")) == 0
    assert [w.message.identifier for w in caught] == ["VELTRA:fftfcn:WisdomImportFailed"]
    assert fresh_plans(lambda: vm.fft(x)) == 0


@pytest.mark.parametrize("args,identifier", [
    ((3.0,), "VELTRA:fftfcn:FirstInputNotString"),
    ((None,), "VELTRA:fftfcn:FirstInputNotString"),
    (("wi",), "VELTRA:fftfcn:FirstInputInvalidString"),
    (("",), "VELTRA:fftfcn:FirstInputInvalidString"),
    (("plannerx",), "VELTRA:fftfcn:FirstInputInvalidString"),
    (("wisdom", np.zeros((0, 0), np.float32)), "VELTRA:fftfcn:invalidWisdomArg"),
    (("wisdom", 5.0), "VELTRA:fftfcn:invalidWisdomArg"),
    (("planner", "measure", 1), "VELTRA:maxrhs"),
])
def test_errors(args, identifier):
    with pytest.raises(vm.Error) as info:
        vm.fftw(*args)
    assert info.value.identifier == identifier


def test_strings_and_the_version():
    assert vm.fftw(vm.string_array(["planner"])) == "estimate"
    with pytest.raises(vm.Error) as info:
        vm.fftw(vm.string_array([None]))
    assert info.value.identifier == "VELTRA:string:MissingNotSupported"
    assert vm.fftw_version().startswith("fftw-3.")
    with pytest.raises(vm.Error) as info:
        vm.call_function("veltra.internal.language.versionPlugins.fftwVersionInfo", 1)
    assert info.value.identifier == "VELTRA:maxrhs"
    with pytest.raises(vm.Error) as info:
        vm.call(8, nargout=0)
    assert info.value.identifier == "VELTRA:minrhs"


def test_wisdom_commands_while_another_thread_plans():
    # Wisdom read, imported and forgotten in one thread while another plans new lengths: FFTW's
    # planner and wisdom are one state, which every call must take in turn.
    import threading
    x = np.ones((5000, 2))
    stop, failures = threading.Event(), []

    def plans():
        n = 100
        try:
            while not stop.is_set():
                y = vm.fft(x, n)
                if not np.allclose(y[0], n):
                    failures.append(n)
                n = 100 + (n + 37) % 1500
        except Exception as e:  # noqa: BLE001 -- reported below
            failures.append(e)

    worker = threading.Thread(target=plans)
    worker.start()
    try:
        for i in range(1500):
            text = vm.fftw("wisdom")
            if i % 100 == 50:
                vm.fftw("wisdom", text)
            if i % 100 == 99:
                vm.fftw("wisdom", "")
                vm.fftw("swisdom", "")
    finally:
        stop.set()
        worker.join()
    assert failures == []
    assert vm.fftw("wisdom").startswith("(fftw-3")
