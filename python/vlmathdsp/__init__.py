"""vlmathdsp: numeric built-ins (convolution, transforms, filtering, state space, network
primitives) over NumPy arrays. Arguments take the host's order and form: dimensions are
one-based, text options are str. Faces: `vlmathdsp.scipy` (fft, signal, ndimage) with SciPy's
conventions, `vlmathdsp.nn` with PyTorch's, `vlmathdsp.dask` over chunked arrays."""

__version__ = "0.1.0"  # the project's version in CMakeLists.txt, to three parts

from .errors import Error, HostWarning
from .strings import string_array
from .host import MAX_THREADS, MODULE_PATH, call, call_function, get_num_threads, set_num_threads
from .functions import (
    avg_pool, avg_pool_backward, conv2, conv_backward, conv_forward, convn, convnc, dct, dctn,
    dst, dstn, fft, fftn, fftw, fftw_version, filter, idct, idctn, idst, idstn, ifft, ifftn,
    ltitr, max_pool, strided_convn, window_norm,
)

__all__ = [
    "Error", "HostWarning", "MAX_THREADS", "MODULE_PATH", "string_array", "call", "call_function", "get_num_threads",
    "set_num_threads", "avg_pool", "avg_pool_backward", "conv2", "conv_backward", "conv_forward",
    "convn", "convnc", "dct", "dctn", "dst", "dstn", "fft", "fftn", "fftw", "fftw_version",
    "filter", "idct", "idctn", "idst", "idstn", "ifft", "ifftn", "ltitr", "max_pool",
    "strided_convn", "window_norm",
]


# The faces are subpackages, imported when first asked for.
_FACES = ("dask", "nn", "scipy")


def __getattr__(name):
    if name in _FACES:
        import importlib
        return importlib.import_module(f"{__name__}.{name}")
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")


def __dir__():
    return sorted(__all__ + list(_FACES))
