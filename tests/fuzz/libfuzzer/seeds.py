"""Writes the seed corpus of the coverage-guided fuzzers: valid calls of every built-in, drawn by
the structured fuzzer's generators and written in the targets' byte format (decode.hpp).

    PYTHONPATH=build/python /usr/bin/python3 tests/fuzz/libfuzzer/seeds.py [--per-builtin N]"""
import argparse
import os
import struct
import sys

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.dirname(HERE))
import structured  # noqa: E402

TRANSFORM = "veltra.internal.math.transform."
# Each family's built-ins in the order of its target's list (target.cpp).
FAMILIES = {
    "conv": [("slot", 2), ("slot", 3), ("function", "veltra.internal.math.stridedConvn"),
             ("function", "veltra.internal.math.convPart")],
    "fourier": [("slot", 4), ("slot", 5), ("slot", 6), ("slot", 7)],
    "dcst": [("function", TRANSFORM + f) for f in
             ["vldct", "vlidct", "vldst", "vlidst", "vldctn", "vlidctn", "vldstn", "vlidstn"]],
    "filter": [("slot", 9)],
    "statespace": [("slot", 11)],
    "network": [("slot", 0), ("slot", 1), ("slot", 12), ("slot", 13), ("slot", 14), ("slot", 15)],
}
CLASSES = [np.float64, np.float32, np.int8, np.uint8, np.int16, np.uint16, np.int32, np.uint32, np.int64,
           np.uint64, np.bool_]
CHAR = 11
MAX_ELEMENTS, MAX_SEED_ELEMENTS = 4096, 512


def encode_array(value):
    """The bytes of one argument, or None when the format cannot hold it."""
    if isinstance(value, str):
        codes = [ord(c) for c in value]
        if len(value) > 255 or any(c > 255 for c in codes):
            return None
        return bytes([CHAR, 0, 1, len(codes)]) + bytes(codes)
    x = np.asarray(value)
    if x.dtype == np.complex128 or x.dtype == np.complex64:
        kind = 16 | (1 if x.dtype == np.complex64 else 0)
    else:
        matches = [k for k, c in enumerate(CLASSES) if x.dtype == c]
        if not matches:
            return None
        kind = matches[0]
    shape = list(x.shape) if x.ndim >= 2 else [1, x.size] if x.ndim == 1 else [1, 1]
    if len(shape) > 4 or max(shape) > 255 or x.size > MAX_SEED_ELEMENTS:
        return None
    head = bytes([kind, len(shape) - 2]) + bytes(shape)
    flat = x.reshape(shape).flatten(order="F")
    if x.dtype.kind == "c":
        flat = np.column_stack([flat.real, flat.imag]).reshape(-1)
    flat = flat.astype(np.float64)
    if np.all(np.isfinite(flat)) and np.all(flat == np.round(flat)) and np.all(np.abs(flat) <= 127):
        return head + bytes([0]) + bytes(int(v) & 255 for v in flat)
    return head + bytes([1]) + b"".join(struct.pack("<d", float(v)) for v in flat)


def encode_case(which, nargout, args):
    parts = [bytes([which, nargout, len(args)])]
    for a in args:
        encoded = encode_array(a)
        if encoded is None or len(args) > 15:
            return None
        parts.append(encoded)
    return b"".join(parts)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--per-builtin", type=int, default=6)
    parser.add_argument("--out", default=os.path.join(os.path.dirname(HERE), "corpus"))
    options = parser.parse_args()
    for family, targets in FAMILIES.items():
        folder = os.path.join(options.out, family)
        os.makedirs(folder, exist_ok=True)
        for which, target in enumerate(targets):
            made, index = 0, 0
            while made < options.per_builtin and index < 200:
                rng = np.random.default_rng([7, which, index])
                index += 1
                args = structured.generator(target)(rng)
                nargout = 2 if target == ("slot", 9) and made % 2 else 1
                case = encode_case(which, nargout, args)
                if case is not None:
                    with open(os.path.join(folder, f"{which:02d}-{made:02d}"), "wb") as f:
                        f.write(case)
                    made += 1
            print(f"{family} {target[1]}: {made} seeds")


if __name__ == "__main__":
    main()
