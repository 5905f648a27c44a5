"""Random argument lists for every slot and package function, the same for the same seed and index.

Arguments are drawn as a hostile caller would: 0 to 7 of them, every class and layout, empties,
1-d to 4-d, NaN and Inf, sizes that are huge, negative or fractional, text in every position."""
import numpy as np
import scipy.sparse as sp

import vlmathdsp as vm
from vlmathdsp import _vlmathdsp as core

SLOTS = 16
DTYPES = [np.float64, np.float32, np.complex128, np.complex64, np.bool_, np.int8, np.uint8, np.int16,
          np.uint16, np.int32, np.uint32, np.int64, np.uint64]
FOREIGN = [np.float16, np.longdouble, "U3", "M8[s]"]  # dtypes with no host class
WORDS = ["same", "full", "valid", "symmetric", "nonsymmetric", "Type", "convolution", "correlation",
         "estimate", "measure", "patient", "exhaustive", "hybrid", "planner", "wisdom", "dwisdom",
         "swisdom", "rows", "s", "F", "v", "", " ", "\ud800", "\udfff\ud800", "n\u00e9", "x" * 300]
# Sizes a caller might pass: ordinary ones, and ones whose products or sums overflow.
SMALL = [0, 1, 2, 3, 4, 5, 7, 8, 16, 17, 64, 255]
HUGE = [2**31, 2**32, 2**40, 2**53, 2**62, 2**63 - 1, 2**63, 2**64 - 1]
ODD = [-1, -2**63, 0.5, 2.5, -0.0, np.nan, np.inf, -np.inf, 1e300]


def targets():
    """(kind, name) of everything callable: the slots, the package functions, the thread setting."""
    names = sorted(n for n in core.package_functions() if n.startswith("veltra."))
    return [("slot", s) for s in range(SLOTS)] + [("function", n) for n in names] + [("threads", "set_num_threads")]


def _values(rng, shape, dtype):
    if np.dtype(dtype).kind in "UM":
        return np.zeros(shape, dtype)
    x = np.array(rng.standard_normal(shape) * rng.choice([1.0, 4.0, 1e150]))
    special = rng.random(shape) < rng.choice([0.0, 0.0, 0.1, 0.5])
    x[special] = rng.choice([np.nan, np.inf, -np.inf, 0.0, -0.0, 1e308], size=int(special.sum()))
    if np.dtype(dtype).kind == "c":
        x = x + 1j * rng.standard_normal(shape)
    if np.dtype(dtype).kind in "biu":
        x = np.nan_to_num(x, nan=0.0, posinf=100.0, neginf=-100.0).clip(-1e6, 1e6)
    with np.errstate(all="ignore"):
        return x.astype(dtype)


def _laid_out(rng, x):
    """The same values in another memory layout: C order, a strided view, misaligned, read-only."""
    how = rng.integers(6)
    if how == 1:
        x = np.ascontiguousarray(x)
    elif how == 2 and x.ndim >= 1:
        big = np.repeat(x, 2, axis=0)
        x = big[::2]
    elif how == 3 and x.size:
        raw = np.zeros(x.nbytes + 1, np.uint8)
        view = np.frombuffer(raw.data, dtype=x.dtype, count=x.size, offset=1).reshape(x.shape)
        view[...] = x
        x = view
    else:
        x = np.asfortranarray(x)
    if rng.random() < 0.3:
        x.flags.writeable = False
    return x


def numeric(rng):
    dtype = DTYPES[rng.integers(len(DTYPES))] if rng.random() > 0.02 else FOREIGN[rng.integers(len(FOREIGN))]
    ndim = int(rng.choice([0, 1, 1, 2, 2, 2, 3, 4]))
    shape = tuple(int(rng.choice([0, 1, 1, 2, 3, 4, 5, 8, 13])) for _ in range(ndim))
    return _laid_out(rng, _values(rng, shape, dtype))


def size_like(rng):
    pool = [SMALL, SMALL, HUGE, ODD][rng.integers(4)]
    count = int(rng.choice([1, 1, 2, 3, 4, 5]))
    v = np.array([pool[rng.integers(len(pool))] for _ in range(count)], dtype=object)
    dtype = rng.choice(["float64", "float64", "int64", "uint64", "float32", "complex128", "int8", "bool"])
    with np.errstate(all="ignore"):
        try:
            a = np.array([complex(e) if dtype == "complex128" else e for e in v]).astype(dtype)
        except (OverflowError, ValueError):
            a = np.array([float(e) for e in v])
    return a if count > 1 or rng.random() < 0.5 else a.reshape(())


def huge_empty(rng):
    side = int(rng.choice([2**31, 2**40, 2**59, 2**62]))
    shape = (0, side) if rng.random() < 0.5 else (side, 0)
    return np.zeros(shape, dtype=rng.choice([np.bool_, np.uint8, np.int8]))


def text(rng):
    word = WORDS[rng.integers(len(WORDS))]
    how = rng.integers(4)
    if how == 0:
        return vm.string_array(word)
    if how == 1:
        return vm.string_array([word, None][: 1 + rng.integers(2)])
    return word


def sparse(rng):
    m, n = int(rng.integers(0, 5)), int(rng.integers(0, 5))
    nnz = int(rng.integers(0, 6)) if m and n else 0
    rows, cols = rng.integers(0, max(m, 1), nnz), rng.integers(0, max(n, 1), nnz)
    dtype = rng.choice([np.float64, np.bool_, np.complex128, np.int32])
    coo = sp.coo_matrix((_values(rng, nnz, dtype), (rows, cols)), shape=(m, n))
    return [coo, coo.tocsc(), coo.tocsr()][rng.integers(3)]


def scalar(rng):
    return [0.0, 1, -1, 2.5, True, 3 + 4j, np.float32(2), float("nan"), 2**62][rng.integers(9)]


KINDS = [(numeric, 10), (size_like, 5), (text, 4), (lambda rng: None, 1), (huge_empty, 1), (sparse, 1), (scalar, 2)]


def argument(rng):
    weights = np.array([w for _, w in KINDS], dtype=float)
    make = KINDS[rng.choice(len(KINDS), p=weights / weights.sum())][0]
    return make(rng)


def make_case(seed, index, all_targets):
    """(target, args, nargout, threads) of case `index`."""
    rng = np.random.default_rng([seed, index])
    target = all_targets[index % len(all_targets)]
    if target[0] == "threads":
        return target, [int(rng.choice([0, 1, 2, 3, 1024, 1025, -1, 2**31, 2**64]))], 1, 1
    if rng.random() < 0.6:  # a plausible call: data first, then a few of anything
        args = [numeric(rng)] + [argument(rng) for _ in range(int(rng.choice([0, 1, 1, 2, 2, 3])))]
        nargout = 1
    else:
        args = [argument(rng) for _ in range(int(rng.integers(0, 8)))]
        nargout = int(rng.choice([1, 1, 0, 2, 3]))
    return target, args, nargout, int(rng.choice([1, 2, 3]))


def invoke(target, args, nargout):
    kind, name = target
    if kind == "slot":
        return vm.call(name, *args, nargout=nargout)
    if kind == "function":
        return vm.call_function(name, *args, nargout=nargout)
    return vm.set_num_threads(*args)
