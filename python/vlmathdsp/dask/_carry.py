"""The state a recursive filter hands from one chunk to the next, summed in the order the engine
sums it into the outputs ahead of the last sample: for each sample in turn its forward term, then
its feedback term. (The engine's final conditions sum all forward terms first, so carrying them
would change the bits of the next chunk.)"""

import numpy as np


def _smith(u, v, p, q):
    """(u + v i) / (p + q i) as the engine divides, by Smith's method."""
    nan = u.dtype.type(np.nan)
    if np.isnan(p) or np.isnan(q):
        return np.full_like(u, nan), np.full_like(u, nan)
    if abs(p) <= abs(q):
        if q == 0:
            return np.full_like(u, nan), np.full_like(u, nan)
        w = p / q
        s = w * p + q
        if np.isnan(s) or s == 0:
            return np.full_like(u, nan), np.full_like(u, nan)
        return (u * w + v) / s, (v * w + (-u)) / s
    w = q / p
    s = w * q + p
    if np.isnan(s) or s == 0:
        return np.full_like(u, nan), np.full_like(u, nan)
    return (v * w + u) / s, (v + (-u) * w) / s


def normalised(c, a0, real):
    """Coefficients c divided by a0 as the engine does, in the working class `real`."""
    c = np.ravel(c)
    a0c = np.iscomplexobj(a0)
    p, q = real(np.real(a0)), real(np.imag(a0))
    if p == 1 and q == 0:
        return c.astype(np.result_type(real, np.complex64) if np.iscomplexobj(c) else real)
    u, v = np.real(c).astype(real), np.imag(c).astype(real)
    if not a0c:
        if not np.iscomplexobj(c):
            return u / p
        re, im = u / p, v / p
    else:
        re, im = _smith(u, v, p, q)
    out = np.empty(c.shape, np.result_type(real, np.complex64))
    out.real, out.imag = re, im
    return out


def _add(z, s, v, long_form):
    """z += s * v as the engine's update step, z (n, columns), s (columns,), v (n,); long_form
    when the step is longer than the engine's inline loops."""
    v = v[:, None]
    if not np.iscomplexobj(s) and not np.iscomplexobj(v):
        if np.iscomplexobj(z):  # on the real parts, skipping zero samples
            np.add(z.real, s * v, out=z.real, where=(s != 0)[None, :])
        else:
            z += s * v
    elif not np.iscomplexobj(v):
        sr, si = s.real, s.imag
        zero = v.dtype.type(0)
        inline = np.ones(sr.shape, bool) if not long_form else (sr == 0) & (si == 0)
        z.real[...] = np.where(inline, z.real + (sr * v + (-si) * zero), z.real + sr * v)
        z.imag[...] = np.where(inline, z.imag + (si * v + sr * zero), z.imag + si * v)
    elif not np.iscomplexobj(s):
        z.real += v.real * s
        z.imag += v.imag * s
    else:
        sr, si = s.real, s.imag
        z.real += v.real * sr + v.imag * (-si)
        z.imag += v.imag * sr + v.real * si


def carried_state(b, a, x, y, zi, order, dtype, remaining):
    """The state after x (L, columns) and its outputs y, given the state zi (order, columns) it
    started from (None for zeros); b and a are normalised, and `remaining` samples of the whole
    column start with x's first (an update's length, so its form, depends on it)."""
    L, cols = x.shape
    z = np.zeros((order, cols), dtype)
    if zi is not None and L < order:
        z[:order - L] = zi[L:]
    nb, na = len(b), len(a)
    for k in range(max(L - order, 0), L):
        off = L - k
        if nb > off:
            _add(z[:min(nb - off, order)], x[k], b[off:off + order], min(nb, remaining - k) > 16)
        if na > off:
            _add(z[:min(na - off, order)], -y[k], a[off:off + order], min(na - 1, remaining - k - 1) > 16)
    return z
