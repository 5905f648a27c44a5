"""Argument lists that are valid for their built-in, or one mutation away from valid: sizes,
strides, paddings, windows and lengths near their edges, every class and layout, so that most
cases reach the kernels. The same for the same seed and index, as in cases.py."""
import numpy as np

from cases import DTYPES, _laid_out, _values, text

REAL = [np.float64, np.float32]
DATA = [np.float64, np.float32, np.complex128, np.complex64]


def array(rng, shape, dtypes=DATA, zeros=0.0):
    x = _values(rng, tuple(int(s) for s in shape), dtypes[rng.integers(len(dtypes))])
    if zeros and x.size:  # sparse-looking data takes the engine's other paths
        x[rng.random(x.shape) < zeros] = 0
    return _laid_out(rng, x)


def small(rng, low=1, high=9):
    return int(rng.integers(low, high + 1))


def vec(values, dtype=np.float64):
    return np.asarray(values, dtype=dtype)


def zeros_share(rng):
    return float(rng.choice([0.0, 0.0, 0.5, 0.9]))


def conv2_args(rng):
    if rng.random() < 0.3:  # the separable form
        args = [array(rng, (small(rng),)), array(rng, (small(rng),)), array(rng, (small(rng), small(rng)))]
    else:
        args = [array(rng, (small(rng, 1, 24), small(rng, 1, 24)), zeros=zeros_share(rng)),
                array(rng, (small(rng, 1, 7), small(rng, 1, 7)), zeros=zeros_share(rng))]
    if rng.random() < 0.7:
        args.append(str(rng.choice(["full", "same", "valid"])))
    return args


def convnc_args(rng):
    nd = small(rng, 1, 4)
    return [array(rng, [small(rng, 1, 10) for _ in range(nd)], zeros=zeros_share(rng)),
            array(rng, [small(rng, 1, 4) for _ in range(small(rng, 1, nd))], zeros=zeros_share(rng)),
            str(rng.choice(["full", "same", "valid"]))]


def layer(rng):
    """A convolution layer's sizes: image (H, W, C, N), kernel (kH, kW), padding, stride."""
    kh, kw = small(rng, 1, 4), small(rng, 1, 4)
    pad = [int(rng.integers(0, kh)), int(rng.integers(0, kw)), int(rng.integers(0, kh)), int(rng.integers(0, kw))]
    stride = [small(rng, 1, 3), small(rng, 1, 3)]
    h, w = small(rng, kh, kh + 12), small(rng, kw, kw + 12)
    return (h, w, small(rng, 1, 4), small(rng, 1, 3)), (kh, kw), pad, stride


def conv_forward_args(rng):
    (h, w, c, n), (kh, kw), pad, stride = layer(rng)
    dtype = REAL[rng.integers(2)]
    args = [array(rng, (h, w, c, n), [dtype]), array(rng, (kh, kw, c, small(rng, 1, 5)), [dtype])]
    if rng.random() < 0.8:
        args.append(vec(pad))
        if rng.random() < 0.7:
            args.append(vec(stride))
    return args


def conv_backward_args(rng):
    (h, w, c, n), (kh, kw), pad, stride = layer(rng)
    f = small(rng, 1, 4)
    dtype = REAL[rng.integers(2)]
    oh, ow = (h + pad[0] + pad[2] - kh) // stride[0] + 1, (w + pad[1] + pad[3] - kw) // stride[1] + 1
    dy = array(rng, (oh, ow, f, n), [dtype])
    if rng.random() < 0.5:  # the filters' gradient
        return [array(rng, (h, w, c, n), [dtype]), dy, vec(pad), vec(stride), vec([kh, kw])]
    return [dy, array(rng, (kh, kw, c, f), [dtype]), vec(pad), vec(stride), vec([h, w]), False]


def pool_args(rng, backward=False):
    ph, pw = small(rng, 1, 4), small(rng, 1, 4)
    pad = [int(rng.integers(0, ph)), int(rng.integers(0, pw)), int(rng.integers(0, ph)), int(rng.integers(0, pw))]
    stride = [small(rng, 1, 3), small(rng, 1, 3)]
    h, w, c, n = small(rng, ph, ph + 10), small(rng, pw, pw + 10), small(rng, 1, 4), small(rng, 1, 3)
    dtype = REAL[rng.integers(2)]
    if not backward:
        return [array(rng, (h, w, c, n), [dtype]), vec([ph, pw]), vec(pad), vec(stride)]
    oh, ow = (h + pad[0] + pad[2] - ph) // stride[0] + 1, (w + pad[1] + pad[3] - pw) // stride[1] + 1
    args = [array(rng, (oh, ow, c, n), [dtype]), vec([ph, pw]), vec(pad), vec(stride), vec([h, w])]
    if rng.random() < 0.5:
        args.append(bool(rng.random() < 0.5))
    return args


def window_norm_args(rng):
    x = array(rng, [small(rng, 1, 6) for _ in range(small(rng, 2, 5))], REAL)
    args = [x, float(small(rng, 1, 7)), float(rng.choice([1e-4, 0.5, 2.0])), float(rng.choice([0.75, 0.5, 0.25, 0.6])),
            float(rng.choice([1.0, 2.0]))]
    if rng.random() < 0.4:
        args.append(array(rng, x.shape, [x.dtype]))
    return args


def transform_args(rng, inverse=False, cosine=False):
    x = array(rng, [small(rng, 1, 40) for _ in range(small(rng, 1, 3))])
    args = [x]
    if rng.random() < 0.6:
        args.append(small(rng, 1, 48) if not (cosine and rng.random() < 0.2) else [])
        if rng.random() < 0.5:
            args.append(small(rng, 1, max(x.ndim, 2)))
    if inverse and not cosine and rng.random() < 0.3:
        args.append(str(rng.choice(["symmetric", "nonsymmetric"])))
    if cosine and rng.random() < 0.5:
        args += ["Variant", small(rng, 1, 4)]
    return args


def transform_n_args(rng, inverse=False, cosine=False):
    x = array(rng, [small(rng, 1, 16) for _ in range(small(rng, 1, 3))])
    args = [x]
    if rng.random() < 0.5:
        args.append(vec([small(rng, 1, 20) for _ in range(max(x.ndim, 2))]))
    if inverse and not cosine and rng.random() < 0.3:
        args.append(str(rng.choice(["symmetric", "nonsymmetric"])))
    if cosine and rng.random() < 0.5:
        args += ["Variant", small(rng, 1, 4)]
    return args


def filter_args(rng):
    x = array(rng, [small(rng, 1, 30) for _ in range(small(rng, 1, 3))])
    b = array(rng, (small(rng, 1, 6),))
    a = vec([1.0]) if rng.random() < 0.4 else np.concatenate([[1.0], 0.3 * rng.standard_normal(small(rng, 0, 5))])
    args = [b, a, x]
    order = max(b.size, a.size) - 1
    if rng.random() < 0.5:
        dim = small(rng, 1, max(x.ndim, 2))
        columns = int(np.prod([s for d, s in enumerate(np.atleast_2d(x).shape) if d != dim - 1]))
        args.append(None if rng.random() < 0.3 or order == 0 else array(rng, (order, columns)))
        args.append(dim)
    return args


def ltitr_args(rng):
    n, m = small(rng, 1, 5), small(rng, 1, 3)
    dtype = DATA[rng.integers(4)]
    args = [0.5 * array(rng, (n, n), [dtype]), array(rng, (n, m), [dtype]), array(rng, (small(rng, 1, 30), m), [dtype])]
    if rng.random() < 0.4:
        args.append(array(rng, (n,), [dtype]))
    return args


def strided_args(rng):
    nd = small(rng, 1, 3)
    args = [array(rng, [small(rng, 1, 12) for _ in range(nd)], zeros=zeros_share(rng)),
            array(rng, [small(rng, 1, 4) for _ in range(nd)])]
    if rng.random() < 0.7:
        args.append(vec([small(rng, 1, 3) for _ in range(nd)]))
        if rng.random() < 0.5:
            args.append(vec([small(rng, 1, 3) for _ in range(nd)]))
    if rng.random() < 0.4:
        args.append(str(rng.choice(["conv", "corr", "CoR"])))
    return args


def conv_part_args(rng):
    kind = str(rng.choice(["conv2", "convnc", "strided"]))
    whole = [small(rng, 2, 16), small(rng, 2, 16)]
    part = [small(rng, 2, whole[0]), small(rng, 2, whole[1])]  # a part of 1 needs a whole of 1
    A, B = array(rng, part, REAL), array(rng, (small(rng, 1, 4), small(rng, 1, 4)), REAL)
    full = [p + k - 1 for p, k in zip(part, B.shape)]
    lo = [int(rng.integers(0, f)) for f in full]
    hi = [int(rng.integers(l + 1, f + 1)) for l, f in zip(lo, full)]
    facts = [float(rng.integers(0, whole[0] * whole[1] + 1)), float(rng.random() < 0.8)]
    if kind != "strided":
        return [kind, A, B, str(rng.choice(["full", "same", "valid"])), vec(whole), *facts, vec(lo), vec(hi)]
    stride = vec([small(rng, 1, 3), small(rng, 1, 3)])
    return [kind, A, B, stride, vec(whole), *facts, vec(lo), vec(hi), vec(lo), vec(hi), float(rng.random() < 0.5)]


def fftw_args(rng):
    # Commands that leave the worker as fast as before: no measuring planner.
    how = rng.integers(5)
    if how == 0:
        return ["planner"] + (["estimate"] if rng.random() < 0.5 else [])
    if how == 1:
        return [str(rng.choice(["wisdom", "dwisdom", "swisdom"]))]
    if how == 2:
        return ["rows"] + ([float(small(rng, 1, 8))] if rng.random() < 0.7 else [])
    if how == 3:
        return [str(rng.choice(["wisdom", "swisdom"])), ""]
    return [str(rng.choice(["withthreads", "nothreads"]))]


TRANSFORMS = {"vldct": (False, True), "vlidct": (True, True), "vldst": (False, True), "vlidst": (True, True)}
GENERATORS = {
    0: conv_forward_args, 1: conv_backward_args, 2: conv2_args, 3: convnc_args,
    4: lambda rng: transform_args(rng), 5: lambda rng: transform_args(rng, inverse=True),
    6: lambda rng: transform_n_args(rng), 7: lambda rng: transform_n_args(rng, inverse=True), 8: fftw_args,
    9: filter_args, 10: filter_args, 11: ltitr_args, 12: pool_args, 13: pool_args,
    14: lambda rng: pool_args(rng, backward=True), 15: window_norm_args,
}


def generator(target):
    kind, name = target
    if kind == "slot":
        return GENERATORS[name]
    short = name.rsplit(".", 1)[-1]
    if short in TRANSFORMS:
        return lambda rng: transform_args(rng, *TRANSFORMS[short])
    if short.rstrip("n") in TRANSFORMS and short.endswith("n"):
        return lambda rng: transform_n_args(rng, *TRANSFORMS[short[:-1]])
    if short == "stridedConvn":
        return strided_args
    if short == "convPart":
        return conv_part_args
    return lambda rng: []


def mutated(rng, args):
    """One change that a careless caller makes: an argument dropped, doubled or of another class,
    a size one off, an empty array, text where a number goes."""
    args = list(args)
    if not args:
        return [text(rng)]
    i = int(rng.integers(len(args)))
    how = rng.integers(6)
    a = args[i]
    if how == 0:
        del args[i]
    elif how == 1:
        args.insert(i, a)
    elif how == 2 and isinstance(a, np.ndarray) and a.dtype.kind in "fc":
        args[i] = a.astype(DTYPES[rng.integers(len(DTYPES))])
    elif how == 3 and isinstance(a, np.ndarray) and a.size:
        args[i] = np.asfortranarray(a.reshape(-1)[: a.size - 1]) if rng.random() < 0.5 else np.zeros((0, 0), a.dtype)
    elif how == 4 and isinstance(a, np.ndarray) and a.dtype.kind in "f" and a.size <= 4:
        args[i] = a + rng.choice([-1, 1])
    else:
        args[i] = text(rng)
    return args


def make_case(seed, index, all_targets):
    """(target, args, nargout, threads) of structured case `index`."""
    rng = np.random.default_rng([seed, index, 1])
    target = all_targets[index % len(all_targets)]
    if target[0] == "threads":
        return target, [int(rng.choice([1, 2, 3, 1024]))], 1, 1
    args = generator(target)(rng)
    if rng.random() < 0.25:
        args = mutated(rng, args)
    nargout = 2 if target == ("slot", 9) and rng.random() < 0.4 else 1
    return target, args, nargout, int(rng.choice([1, 2, 3]))
