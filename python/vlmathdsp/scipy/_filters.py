"""lfilter, sosfilt and dlsim with scipy.signal's conventions, on the engine's filter and ltitr."""

import numpy as np

from .. import functions as vm
from .. import _engine
from ._layout import HostView, Unsupported, axis_index

_FLOATS = (np.float32, np.float64, np.complex64, np.complex128)


def _common(*arrays):
    """The arrays in their common floating dtype; other kinds are SciPy's."""
    arrays = [np.asarray(a) for a in arrays]
    dtype = np.result_type(*arrays)
    if dtype.type not in _FLOATS:
        raise Unsupported
    return [np.asarray(a, dtype=dtype) for a in arrays]


def _coefficients(b, a):
    if not (type(b) is np.ndarray and b.ndim == 1):
        b = np.atleast_1d(b)
    if not (type(a) is np.ndarray and a.ndim == 1):
        a = np.atleast_1d(a)
    if b.ndim != 1 or a.ndim != 1 or b.size == 0 or a.size == 0 or a[0] == 0:
        raise Unsupported
    return b, a


def _states_in(zi, x, axis, order):
    """SciPy's zi (x's shape with `order` along axis, or 1 for any other dimension to be repeated)
    as the engine's: order first, then x's other dimensions in the host's order."""
    expected = x.shape[:axis] + (order,) + x.shape[axis + 1:]
    if zi.shape != expected:
        fits = zi.ndim == x.ndim and all(z == e or (k != axis and z == 1)
                                         for k, (z, e) in enumerate(zip(zi.shape, expected)))
        if not fits:
            raise ValueError(f"Unexpected shape for zi: expected {expected}, found {zi.shape}.")
        zi = np.broadcast_to(zi, expected)
    return np.ascontiguousarray(np.moveaxis(zi, axis, -1)).T


def _states_out(zf, x, axis, order):
    shape = x.shape[:axis] + x.shape[axis + 1:] + (order,)
    return np.moveaxis(np.asarray(zf).reshape(shape[::-1], order="F").T, -1, axis)


def _run(b, a, x, axis, zi):
    """y, and zf when zi is given; b, a, x (and zi) of one dtype."""
    order = max(b.size, a.size) - 1
    view = HostView(x)
    # The engine moves a dimension it is given to the front, a copy each way; the first one it
    # finds by itself when that is the one.
    dim = view.dim(axis)
    given = () if dim == 1 and view.array.shape[0] != 1 else (dim,)
    if zi is None:
        if given:
            given = (np.zeros((0, 0), x.dtype),) + given
        return view.back(vm.filter(b, a, view.array, *given), x.shape).astype(x.dtype, copy=False)
    y, zf = vm.filter(b, a, view.array, _states_in(zi, x, axis, order), *given, nargout=2)
    return (view.back(y, x.shape).astype(x.dtype, copy=False),
            _states_out(zf, x, axis, order).astype(x.dtype, copy=False))


_FILTER_OF_VECTORS = _engine.vectors_of_one_type("filter", 2)

#: lfilter(b, a, x) of vectors of one type straight to the engine's slot (the host's row, filtered
#: along), every check in the extension; None for other arrays and for errors (a[0] == 0 among
#: them), which take the full path.
LFILTER_OF_VECTORS = _engine.vectors_of_one_type("filter", 2, quiet=True)


def lfilter(b, a, x, axis=-1, zi=None):
    b, a = _coefficients(b, a)
    if zi is None and type(x) is np.ndarray and x.ndim == 1 and x.size and (axis == -1 or axis == 0):
        # Vectors of mixed types: NumPy's promotion first.
        args = tuple(v.astype(np.result_type(b, a, x), copy=False) for v in (b, a, x))
        r = _engine.calling(lambda: _FILTER_OF_VECTORS(*args), args)
        if r is not None:
            return r
    x = np.asarray(x)
    if x.ndim == 0 or x.size == 0:
        raise Unsupported
    axis = axis_index(axis, x.ndim)
    if zi is None:
        b, a, x = _common(b, a, x)
        return _run(b, a, x, axis, None)
    b, a, x, zi = _common(b, a, x, zi)
    return _run(b, a, x, axis, zi)


def as_sections(sos):
    """sos as an array of second-order sections: one row b0, b1, b2, 1, a1, a2 each."""
    sos = np.atleast_2d(sos)
    if sos.ndim != 2 or sos.shape[1] != 6:
        raise ValueError(f"sos array must be shape (n_sections, 6): sos of shape {sos.shape}")
    if not (sos[:, 3] == 1).all():
        raise ValueError("sos[:, 3] should be all ones")
    return sos


def sosfilt(sos, x, axis=-1, zi=None):
    sos, x = as_sections(sos), np.asarray(x)
    if x.ndim == 0 or x.size == 0 or sos.shape[0] == 0:
        raise Unsupported
    axis = axis_index(axis, x.ndim)
    sections = sos.shape[0]
    if zi is None:
        sos, x = _common(sos, x)
        for s in range(sections):
            x = _run(sos[s, :3], sos[s, 3:], x, axis, None)
        return x
    sos, x, zi = _common(sos, x, zi)
    expected = (sections,) + x.shape[:axis] + (2,) + x.shape[axis + 1:]
    if zi.shape != expected:
        raise ValueError(f"Invalid zi shape. With axis={axis}, an input with shape {x.shape}, and an sos "
                         f"array with {sections} sections, zi must have shape {expected}, got {zi.shape}.")
    zf = np.empty_like(zi)
    for s in range(sections):
        x, zf[s] = _run(sos[s, :3], sos[s, 3:], x, axis, zi[s])
    return x, zf


def dlsim(system, u, t=None, x0=None):
    """Simulation of a discrete system at its own steps: (tout, yout, xout)."""
    import scipy.signal
    if isinstance(system, scipy.signal.lti):
        raise AttributeError("dlsim can only be used with discrete-time dlti systems.")
    sys = system._as_ss() if isinstance(system, scipy.signal.dlti) else scipy.signal.dlti(*system[:-1], dt=system[-1])._as_ss()
    u = np.atleast_1d(u)
    if u.ndim == 1:
        u = u[:, np.newaxis]
    steps = u.shape[0]
    if t is not None or u.ndim != 2 or steps == 0 or sys.B.size == 0:
        raise Unsupported
    if u.shape[1] != sys.inputs:
        raise ValueError("The number of inputs in U is not compatible")
    A, B, C, D = (np.asarray(m, dtype=np.float64) for m in (sys.A, sys.B, sys.C, sys.D))
    if np.iscomplexobj(u) or (x0 is not None and np.iscomplexobj(x0)):
        raise Unsupported
    states = A.shape[0]
    x0 = np.zeros(states) if x0 is None else np.broadcast_to(np.asarray(x0, dtype=np.float64).reshape(-1), (states,))
    xout = np.asarray(vm.ltitr(A, B, np.asfortranarray(u, dtype=np.float64), x0))
    xout = xout.reshape(steps, states)
    yout = xout @ C.T + u @ D.T
    tout = np.linspace(0.0, (steps - 1) * sys.dt, num=steps)
    return tout, yout, xout
