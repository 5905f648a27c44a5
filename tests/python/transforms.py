"""What the transform tests share: the host's shape rule and a tolerance from the precision, the
transform length and the size of the values."""

import threading

import numpy as np

import tolerance


def host_shape(shape):
    """A shape as the host keeps it: no trailing singleton beyond the second dimension."""
    shape = list(shape)
    while len(shape) > 2 and shape[-1] == 1:
        shape.pop()
    return tuple(shape)


def assert_transform_close(got, want, n, single=False):
    """got equals want within 20 eps log2(n) of want's largest magnitude: the error of a transform
    of length n (or n points in all) grows with log n and scales with the values."""
    want = np.asarray(want)
    tolerance.assert_close(np.asarray(got).reshape(want.shape), want, np.float32 if single else np.float64, terms=n,
                           growth="log", factor=20, scale=tolerance.largest(want, np.finfo(np.float64).tiny))


def assert_one_thread_matches_several(set_threads, run):
    """run() with 2 threads against run() in a new Python thread started after set_threads(1),
    whose scope plans single-threaded: the results must be the same bits."""
    set_threads(2)
    several = run()
    set_threads(1)
    one = []
    worker = threading.Thread(target=lambda: one.extend(run()))
    worker.start()
    worker.join()
    assert len(one) == len(several)
    for a, b in zip(one, several):
        np.testing.assert_array_equal(a, b)
