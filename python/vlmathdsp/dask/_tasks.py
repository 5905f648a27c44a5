"""What every task of the Dask face shares: the thread count it runs the engine with, chunk
boundaries, and the dtype a result takes whatever its chunks hold."""

import inspect
import os
import threading

import dask.array as da
import numpy as np

from ..host import MAX_THREADS
from ..scipy._layout import threads


def host_threads():
    """{worker address: threads of all workers on its host} of the default distributed client, or
    None without one; tasks divide their host's cores by it."""
    try:
        from distributed import default_client
        workers = default_client().scheduler_info()["workers"]
    except (ImportError, ValueError):
        return None
    per_host = {}
    for info in workers.values():
        per_host[info["host"]] = per_host.get(info["host"], 0) + info["nthreads"]
    return {address: per_host[info["host"]] for address, info in workers.items()}


def _threads_beside(shares):
    """Threads of the scheduler running this task, with those of other workers on its host."""
    try:
        from distributed import get_worker
        worker = get_worker()
    except (ImportError, ValueError):
        worker = None
    if worker is not None:
        own = worker.state.nthreads if hasattr(worker, "state") else worker.nthreads
        return (shares or {}).get(worker.address, own)
    if threading.current_thread() is threading.main_thread():
        return 1  # the synchronous scheduler
    import dask
    return dask.config.get("num_workers", None) or os.cpu_count() or 1


def task_threads(shares):
    """The engine's threads for a task run in this thread: the cores over the threads that run
    tasks beside it.

    Parameters
    ----------
    shares : dict or None
        {worker address: threads of all workers on its host}, as made when the graph was built
        from the default distributed client; None without one.

    Returns
    -------
    int
        At least 1: the cores of this host (its affinity) divided by the threads of the distributed
        workers on it, by the threaded scheduler's pool, or by 1 on the calling thread.

    Examples
    --------
    >>> import os, vlmathdsp.dask as vd
    >>> vd.task_threads(None) == len(os.sched_getaffinity(0))  # the calling thread alone
    True
    """
    cores = len(os.sched_getaffinity(0))
    return max(1, min(MAX_THREADS, cores // max(1, _threads_beside(shares))))


class Task:
    """fn(*args) with the engine's thread count for this task set in this thread only."""

    def __init__(self, fn, shares):
        self.fn, self.shares = fn, shares
        self.__signature__ = inspect.signature(fn)  # map_blocks looks for block_id in it

    def __call__(self, *args, **kwargs):
        with threads(task_threads(self.shares)):
            return self.fn(*args, **kwargs)


def task(fn):
    return Task(fn, host_threads())


def bounds(chunks):
    """Chunk sizes as boundaries: (3, 4) -> [0, 3, 7]."""
    return np.concatenate([[0], np.cumsum(chunks, dtype=np.int64)]).tolist()


def least_chunks(chunks, least):
    """Chunks of at least `least` elements (all in one when the axis is shorter), by merging a
    short chunk with the next, or the last with the one before."""
    out = []
    for c in chunks:
        if out and out[-1] < least:
            out[-1] += c
        else:
            out.append(c)
    while len(out) > 1 and out[-1] < least:
        tail = out.pop()
        out[-1] += tail
    return tuple(out) if out else tuple(chunks)


def real_class(*dtypes):
    """The engine's working class: single when any operand is single, else double."""
    return np.float32 if any(np.dtype(d) in (np.float32, np.complex64) for d in dtypes) else np.float64


def complex_of(real):
    return np.complex64 if real == np.float32 else np.complex128


def result_dtype(*dtypes, complex_result=None):
    """The engine's class of the operands, complex when any is (or as complex_result says): the
    chunks are cast to it, as one chunk may come out real where another does not."""
    real = real_class(*dtypes)
    if complex_result is None:
        complex_result = any(np.dtype(d).kind == "c" for d in dtypes)
    return np.dtype(complex_of(real) if complex_result else real)


def as_dtype(result, dtype):
    result = np.asarray(result)
    return result if result.dtype == dtype else result.astype(dtype)


def host_dims(shape):
    """A NumPy shape as the host reads it: a vector is a row, a scalar 1 x 1."""
    return tuple(shape) if len(shape) >= 2 else ((1,) + tuple(shape) + (1,))[:2]


def host_shape(shape, vector):
    """The shape the host gives a result: trailing singletons beyond two dropped, and a vector
    one-dimensional when the principal argument was."""
    shape = list(shape)
    while len(shape) > 2 and shape[-1] == 1:
        shape.pop()
    if vector and len(shape) == 2 and 1 in shape:
        return (shape[0] * shape[1],)
    return tuple(shape)


def eager(A, fn, dtype):
    """Edge cases with an empty operand: the engine on the whole array, at once."""
    out = as_dtype(fn(np.asarray(A.compute() if isinstance(A, da.Array) else A)), dtype)
    return da.from_array(out, chunks=out.shape)
