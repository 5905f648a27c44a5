"""scipy.fft's cosine and sine transforms from the engine's orthonormal ones.

SciPy's transform of type t is S = c * So * U * Si, with U its unnormalised definition, c the
scale of its norm, and So, Si the diagonal factors of its "orthogonalize" option (on the outputs
and on the inputs). The engine's orthonormal transform is O = ct * Do * U * Di, with Do, Di the
factors that make the matrix orthonormal. So S = (c / ct) * (So / Do) * O * (Si / Di): factors on
the ends of the input, the engine's call, factors on the ends of the output.
"""

import math

import numpy as np

from .. import functions as vm
from ._layout import Unsupported, run_along

_R2 = math.sqrt(2.0)

# (kind, type): ((Do on y[0], Do on y[N-1]), (Di on x[0], Di on x[N-1]))
_ORTHONORMAL = {
    ("dct", 1): ((1 / _R2, 1 / _R2), (_R2, _R2)), ("dct", 2): ((1 / _R2, 1), (1, 1)),
    ("dct", 3): ((1, 1), (_R2, 1)), ("dct", 4): ((1, 1), (1, 1)),
    ("dst", 1): ((1, 1), (1, 1)), ("dst", 2): ((1, 1 / _R2), (1, 1)),
    ("dst", 3): ((1, 1), (1, _R2)), ("dst", 4): ((1, 1), (1, 1)),
}
# SciPy's orthogonalize factors, in the same form.
_ORTHOGONALIZE = {
    ("dct", 1): ((1 / _R2, 1 / _R2), (_R2, _R2)), ("dct", 2): ((1 / _R2, 1), (1, 1)),
    ("dct", 3): ((1, 1), (_R2, 1)), ("dst", 2): ((1 / _R2, 1), (1, 1)), ("dst", 3): ((1, 1), (_R2, 1)),
}
_INVERSE_TYPE = {1: 1, 2: 3, 3: 2, 4: 4}


def _logical(kind, t, n):
    """SciPy's logical length: the norm scales by it."""
    if t == 1:
        return 2 * (n - 1) if kind == "dct" else 2 * (n + 1)
    return 2 * n


def _norm_scale(norm, kind, t, n):
    if norm not in (None, "backward", "ortho", "forward"):
        raise ValueError(f'Invalid norm value {norm!r}, should be "backward", "ortho" or "forward"')
    m = _logical(kind, t, n)
    c = {"ortho": 1 / math.sqrt(m), "forward": 1 / m}.get(norm, 1.0)
    return c * math.sqrt(m)  # over the orthonormal transform's own scale 1 / sqrt(m)


def _ends(x, axis, first, last, copy=True):
    """x with its first and last entries along axis multiplied (a copy when any factor is not 1)."""
    if first == 1 and last == 1:
        return x
    if copy:
        x = np.array(x, copy=True)
    index = [slice(None)] * x.ndim
    if x.shape[axis] >= 1 and first != 1:
        index[axis] = 0
        x[tuple(index)] *= x.real.dtype.type(first)
    if x.shape[axis] >= 2 and last != 1:
        index[axis] = x.shape[axis] - 1
        x[tuple(index)] *= x.real.dtype.type(last)
    return x


def transform(x, kind, t, sizes, axes, norm, orthogonalize):
    """SciPy's forward transform `kind` of type t along `axes` (sizes after padding or cutting)."""
    if t not in (1, 2, 3, 4):
        raise Unsupported  # SciPy's own error
    if kind == "dct" and t == 1 and min(sizes) < 2:
        raise Unsupported  # SciPy says why
    orth = norm == "ortho" if orthogonalize is None else bool(orthogonalize)
    (do_first, do_last), (di_first, di_last) = _ORTHONORMAL[kind, t]
    (so_first, so_last), (si_first, si_last) = _ORTHOGONALIZE.get((kind, t), ((1, 1), (1, 1))) if orth \
        else ((1, 1), (1, 1))
    # Sizes first, so that the input's factors fall on the ends of the padded or cut sequences.
    index = [slice(None)] * x.ndim
    for n, a in zip(sizes, axes):
        index[a] = slice(0, n)
    x = x[tuple(index)]
    scale = 1.0
    for n, a in zip(sizes, axes):
        x = _ends(x, a, si_first / di_first, si_last / di_last if x.shape[a] == n >= 2 else 1)
        scale *= _norm_scale(norm, kind, t, n)
    whole, one = (vm.dctn, vm.dct) if kind == "dct" else (vm.dstn, vm.dst)
    y = run_along(x, sizes, axes, lambda r, siz: whole(r, siz, "Variant", t),
                  lambda r, n, dim: one(r, n, dim, "Variant", t))  # the engine's own result
    for n, a in zip(sizes, axes):
        y = _ends(y, a, so_first / do_first, so_last / do_last if n >= 2 else 1, copy=False)
    if scale != 1:
        y *= y.real.dtype.type(scale)
    return y


def inverse_type(t):
    return _INVERSE_TYPE.get(t, t)
