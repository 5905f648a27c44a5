"""Digests of our results on the benchmark inputs and on inputs that take the other paths, to
show that a change of code leaves every bit as it was.

    digests.py --write FILE    records the digests of this build
    digests.py --check FILE    compares this build with a record; exit status 1 on a difference

Each case runs with 1 and with 2 threads, which must agree. The transforms use the default
planner (estimate), whose plans do not depend on timing.
"""

import argparse
import hashlib
import json
import sys

import numpy as np
from scipy import signal

import harness  # noqa: F401  (puts the package on the path)
import vlmathdsp as vm


def rng(seed):
    return np.random.default_rng(seed)


def fortran(shape, seed, complex_=False):
    g = rng(seed)
    x = g.standard_normal(shape)
    if complex_:
        x = x + 1j * g.standard_normal(shape)
    return np.asfortranarray(x)


def conv2_cases():
    image = fortran((2048, 2048), 0)
    k7 = rng(1).standard_normal((7, 7))
    g = signal.windows.gaussian(31, 5.0)
    g /= g.sum()
    sparse = rng(3).standard_normal((15, 15)) * (rng(3).random((15, 15)) < 0.1)
    x, h = rng(2).standard_normal(10**6), rng(2).standard_normal(101)
    small = fortran((67, 45), 4)
    return {
        "conv2 dense double same": lambda: vm.conv2(image, k7, "same"),
        "conv2 dense single same": lambda: vm.conv2(image.astype(np.float32), k7.astype(np.float32), "same"),
        "conv2 separable": lambda: vm.conv2(g, g, image, "same"),
        "conv2 1-d long": lambda: vm.conv2(x, h),
        "conv2 sparse kernel": lambda: vm.conv2(image, sparse, "same"),
        "conv2 kind 1": lambda: vm.conv2(x[:300], h.repeat(10)[:1000]),
        "conv2 single 1-d": lambda: vm.conv2(x.astype(np.float32), h.astype(np.float32)),
        "conv2 complex pair valid": lambda: vm.conv2(fortran((60, 50), 5, complex_=True),
                                                     fortran((9, 4), 6, complex_=True), "valid"),
        "conv2 mixed precision full": lambda: vm.conv2(small.astype(np.float32), fortran((5, 8), 7, complex_=True)),
        "conv2 separable complex": lambda: vm.conv2(fortran(9, 8, complex_=True), fortran(5, 9), small, "full"),
        "conv2 non-finite": lambda: vm.conv2(np.where(small > 1.5, np.inf, small), k7, "same"),
    }


def filter_cases():
    x = fortran((10**6, 8), 0)
    b, a = signal.butter(8, 0.1)
    h = signal.firwin(64, 0.2)
    long = fortran((8 * 10**6,), 0)
    xs = fortran((500, 7), 10)
    zc = fortran((3, 7), 11, complex_=True)
    return {
        "filter IIR bench": lambda: vm.filter(b, a, x),
        "filter FIR bench": lambda: vm.filter(h, 1.0, x),
        "filter FIR one column": lambda: vm.filter(h, 1.0, long),
        "filter IIR long order zf": lambda: vm.filter(fortran(30, 12), np.r_[1.0, 0.01 * fortran(20, 13)], xs,
                                                      nargout=2),
        "filter IIR complex zi zf": lambda: vm.filter(fortran(4, 14, complex_=True), [2.0, 0.3, -0.2, 0.1], xs, zc,
                                                      nargout=2),
        "filter FIR single dim 2 zf": lambda: vm.filter(fortran(5, 15).astype(np.float32), 1.0,
                                                        fortran((6, 300, 3), 16).astype(np.float32),
                                                        np.zeros((0, 0)), 2, nargout=2),
        "filter FIR complex long column": lambda: vm.filter(fortran(40, 17, complex_=True), 3.0,
                                                            fortran((5000,), 18), nargout=2),
        "filter a0 complex": lambda: vm.filter(fortran(3, 19), [1 + 1j, 0.2], xs),
    }


def fft_cases():
    c20 = rng(0).standard_normal(2**20) + 1j * rng(0).standard_normal(2**20)
    r = fortran((1000, 1000), 1)
    g = rng(2)
    cube = np.asfortranarray(g.standard_normal((256, 256, 256)) + 1j * g.standard_normal((256, 256, 256)))
    odd = fortran((33, 40, 5), 20)
    oddc = fortran((33, 40, 5), 21, complex_=True)
    sym = np.real(np.fft.ifft(fortran((64, 9), 22, complex_=True), axis=0))
    return {
        "fft complex 2^20": lambda: vm.fft(c20),
        "fft real columns": lambda: vm.fft(r),
        "fftn complex 256^3": lambda: vm.fftn(cube),
        "fft real dim 2 padded": lambda: vm.fft(odd, 50, 2),
        "fft complex dim 3 truncated": lambda: vm.fft(oddc, 3, 3),
        "fft single many columns": lambda: vm.fft(fortran((37, 2000), 23).astype(np.float32)),
        "fft wide stride": lambda: vm.fft(fortran((300, 20), 24, complex_=True), [], 2),
        "ifft real padded": lambda: vm.ifft(odd, 70),
        "ifft symmetric": lambda: vm.ifft(np.fft.fft(sym, axis=0)),
        "ifft symmetric option": lambda: vm.ifft(oddc, [], 2, "symmetric"),
        "ifft complex": lambda: vm.ifft(oddc, [], 1),
        "fftn real sized": lambda: vm.fftn(odd, [40, 7, 6]),
        "ifftn complex": lambda: vm.ifftn(oddc),
        "ifftn real symmetric": lambda: vm.ifftn(odd, "symmetric"),
    }


def dcst_cases():
    img = fortran((1024, 1024), 30)
    odd = fortran((33, 40, 5), 31, complex_=True)
    return {
        "dctn II 1024^2": lambda: vm.dctn(img),
        "dct II long columns": lambda: vm.dct(fortran((2**17, 4), 32)),
        "idctn sized": lambda: vm.idctn(fortran((33, 40, 5), 33), [30, 41, 5, 2]),
        "dst complex wide stride": lambda: vm.dst(odd, 37, 2, "Variant", 3),
        "dct I single padded": lambda: vm.dct(fortran((19, 30), 34).astype(np.float32), 25, 1, "Variant", 1),
        "dstn IV complex": lambda: vm.dstn(odd, "Variant", 4),
    }


def convn_cases():
    vol, k5 = fortran((64, 48, 40), 10), rng(11).standard_normal((5, 5, 5))
    sparse9 = rng(12).standard_normal((9, 9, 9)) * (rng(13).random((9, 9, 9)) < 0.05)
    img, k7 = fortran((512, 512), 14), rng(15).standard_normal((7, 7))
    images, filters = fortran((20, 18, 8, 1, 12), 16), fortran((3, 3, 8, 10, 1), 17)
    sparse_filters = np.asfortranarray(filters * (rng(18).random(filters.shape) < 0.1))
    box = ([3, 3, 8, 1, 1], [20, 18, 8, 10, 12])
    return {"convn same": lambda: vm.convn(vol, k5, "same"),
            "convn sparse": lambda: vm.convn(vol, sparse9, "same"),
            "strided corr": lambda: vm.strided_convn(img, k7, [2, 2], "corr"),
            "strided batch unit": lambda: vm.strided_convn(images, filters, [1, 1, 1, 1, 1], *box, "corr"),
            "strided batch sampled": lambda: vm.strided_convn(images, filters, [2, 3, 1, 1, 1], *box, "corr"),
            "strided batch sparse": lambda: vm.strided_convn(images, sparse_filters, [1, 1, 1, 1, 1], *box, "corr")}


def network_cases():
    x, w = fortran((30, 28, 8, 6), 20).astype(np.float32), fortran((3, 3, 8, 10), 21).astype(np.float32)
    pad = np.ones(4)
    g1, g2 = fortran((30, 28, 10, 6), 22).astype(np.float32), fortran((15, 14, 10, 6), 23).astype(np.float32)
    return {"network forward s1": lambda: vm.conv_forward(x, w, pad),
            "network forward s2": lambda: vm.conv_forward(x, w, pad, np.array([2.0, 2])),
            "network backward s1": lambda: (vm.conv_backward(x, g1, pad, np.ones(2), np.array([3.0, 3])),
                                            vm.conv_backward(g1, w, pad, np.ones(2), np.array([30.0, 28]), False)),
            "network backward s2": lambda: (vm.conv_backward(x, g2, pad, np.array([2.0, 2]), np.array([3.0, 3])),
                                            vm.conv_backward(g2, w, pad, np.array([2.0, 2]), np.array([30.0, 28]),
                                                             False))}


def ltitr_cases():
    g = rng(0)
    n, m, L = 64, 4, 20000
    A = g.standard_normal((n, n))
    A /= 1.05 * np.max(np.abs(np.linalg.eigvals(A)))
    B, U, x0 = g.standard_normal((n, m)), g.standard_normal((L, m)), g.standard_normal(n)
    return {"ltitr bench": lambda: vm.ltitr(A, B, U, x0),
            "ltitr complex": lambda: vm.ltitr(A[:5, :5] * (1 + 0.5j), B[:5], U[:50], x0[:5])}


def digest(result):
    parts = result if isinstance(result, tuple) else (result,)
    h = hashlib.sha256()
    for p in parts:
        a = np.asarray(p)
        h.update(f"{a.dtype.str}{a.shape}".encode())
        h.update(np.asfortranarray(a).tobytes(order="F"))
    return h.hexdigest()[:32]


def compute():
    out = {}
    for cases in (conv2_cases, convn_cases, network_cases, filter_cases, fft_cases, dcst_cases, ltitr_cases):
        for name, call in cases().items():
            per_threads = []
            for threads in (1, 2):
                vm.set_num_threads(threads)
                per_threads.append(digest(call()))
            if per_threads[0] != per_threads[1]:
                raise SystemExit(f"{name}: 1 and 2 threads differ")
            out[name] = per_threads[0]
            print(f"{name:<36} {out[name]}", flush=True)
    return out


def main():
    parser = argparse.ArgumentParser()
    group = parser.add_mutually_exclusive_group(required=True)
    group.add_argument("--write")
    group.add_argument("--check")
    args = parser.parse_args()
    digests = compute()
    if args.write:
        with open(args.write, "w") as f:
            json.dump(digests, f, indent=1)
        return 0
    with open(args.check) as f:
        recorded = json.load(f)
    changed = [k for k in recorded if digests.get(k) != recorded[k]]
    missing = [k for k in digests if k not in recorded]
    for k in changed:
        print(f"CHANGED: {k}")
    for k in missing:
        print(f"not recorded: {k}")
    print(f"{len(recorded) - len(changed)} of {len(recorded)} recorded results unchanged")
    return 1 if changed else 0


if __name__ == "__main__":
    sys.exit(main())
