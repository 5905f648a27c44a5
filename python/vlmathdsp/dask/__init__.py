"""The built-ins over Dask arrays: the same names, arguments and results as the top-level
functions, with a dask.array in place of the array operated on (kernels, coefficients and
initial conditions stay NumPy arrays). Graphs run on any scheduler: threads, a local cluster of
processes, a remote cluster.

Results equal the one machine's bit for bit: convolutions overlap chunks by the kernel's extent,
keep the whole array's borders, and take the whole array's path and loop order (its count of
non-zeros and finiteness are read by a pass in the graph, before the parts are convolved, unless
the caller gives them with facts=); filter, lfilter and ltitr
hand each chunk's state to the next along the filtered axis, in parallel across the other axes;
1-d transforms gather their axis in one chunk. The differences: N-dimensional transforms pass
along each axis in turn and may differ from the one machine's in the last bits; a result is
complex whenever the one machine's could be (its chunks cannot agree to drop an all-zero
imaginary part); an empty operand is computed at once.

Each task runs the engine on the cores of its host divided by the threads running tasks there
(all workers of a distributed client on that host, the pool of the threaded scheduler), set for
that task's thread only."""

from ._convolution import conv2, convn, convnc, strided_convn
from ._docs import document
from ._filtering import filter, lfilter, ltitr
from ._tasks import task_threads
from ._transforms import along, passes
from .. import functions as _vm


def fft(x, *args):
    """vlmathdsp.fft of a chunked x: fft(x[, n[, dim]])."""
    return along(_vm.fft, x, args, "fourier")


def ifft(x, *args):
    """vlmathdsp.ifft of a chunked x: ifft(x[, n[, dim]][, option])."""
    return along(_vm.ifft, x, args, "fourier")


def fftn(x, *args):
    """vlmathdsp.fftn of a chunked x as fft along each dimension in turn: fftn(x[, siz])."""
    return passes(_vm.fft, x, args, "fourier")


def ifftn(x, *args):
    """vlmathdsp.ifftn of a chunked x as ifft along each dimension in turn: ifftn(x[, siz][, option])."""
    return passes(_vm.ifft, x, args, "fourier")


def dct(x, *args):
    """vlmathdsp.dct of a chunked x: dct(x[, n[, dim]][, "Variant", type])."""
    return along(_vm.dct, x, args, "cosine")


def idct(x, *args):
    """vlmathdsp.idct of a chunked x."""
    return along(_vm.idct, x, args, "cosine")


def dst(x, *args):
    """vlmathdsp.dst of a chunked x."""
    return along(_vm.dst, x, args, "cosine")


def idst(x, *args):
    """vlmathdsp.idst of a chunked x."""
    return along(_vm.idst, x, args, "cosine")


def dctn(x, *args):
    """vlmathdsp.dctn of a chunked x as dct along each dimension in turn."""
    return passes(_vm.dct, x, args, "cosine")


def idctn(x, *args):
    """vlmathdsp.idctn of a chunked x as idct along each dimension in turn."""
    return passes(_vm.idct, x, args, "cosine")


def dstn(x, *args):
    """vlmathdsp.dstn of a chunked x as dst along each dimension in turn."""
    return passes(_vm.dst, x, args, "cosine")


def idstn(x, *args):
    """vlmathdsp.idstn of a chunked x as idst along each dimension in turn."""
    return passes(_vm.idst, x, args, "cosine")


for _function in (conv2, convn, convnc, strided_convn, filter, lfilter, ltitr, fft, ifft, fftn, ifftn, dct, idct,
                  dst, idst, dctn, idctn, dstn, idstn):
    document(_function)

__all__ = ["conv2", "convn", "convnc", "dct", "dctn", "dst", "dstn", "fft", "fftn", "filter", "idct",
           "idctn", "idst", "idstn", "ifft", "ifftn", "lfilter", "ltitr", "strided_convn", "task_threads"]


def __dir__():
    return sorted(__all__)
