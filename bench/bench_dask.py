"""vlmathdsp.dask on a local cluster of two single-threaded worker processes, against the same work
done the way a Dask user would without it: time, and each worker's peak memory.

    /usr/bin/python3 bench/bench_dask.py [--scale 1.0] [--only iir fir volume stack]

Workloads (at scale 1): an IIR filter (Butterworth, order 4) over 8 channels of 10^8 samples in 10
chunks along time (and 2 along channels, so that each worker has a line of chunks to carry state
along), against a hand-written per-chunk scipy.signal.lfilter loop with carried zi; and convn
"same" of a 512^3 volume by a 5^3 kernel in 8 chunks, against dask.array's map_overlap over
scipy.ndimage.convolve; and convn "same" of a 64 x 512 x 512 stack held in memory and handed over by
da.from_array in 8 x 256 x 256 chunks, by a 1 x 9 x 9 Gaussian, against the same map_overlap.
Except for the stack, inputs are made inside the graph, chunk by chunk; each result is reduced to
its sum, so that neither side holds the whole array; "input only" times that part.
Every measurement has a cluster of its own, so that the peak memory is its own, and is timed on
its second run."""

import argparse
import os
import sys
import time
import uuid

import numpy as np

import harness  # noqa: F401  (puts the package on the path)

import dask
import dask.array as da
import distributed
import scipy.ndimage
import scipy.signal

import vlmathdsp.dask as vd


LIMIT = 6 * 2**30


def measure(make):
    """Seconds of the second compute of make()'s result on a new cluster (the first warms the
    workers' memory and plans, as a long-lived cluster's are), and its workers' peak memory."""
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, memory_limit=LIMIT,
                                  dashboard_address=None, silence_logs=40) as cluster, \
            distributed.Client(cluster) as client:
        client.run(harness.keep_freed_memory)  # as in every benchmark here, for both sides
        client.compute(make(), sync=True)
        result = make()
        start = time.perf_counter()
        value = client.compute(result, sync=True)
        seconds = time.perf_counter() - start
        peaks = client.run(harness.peak_memory)
    return seconds, max(peaks.values()), value


def uniform(shape, chunks, dtype=np.float64):
    """A reproducible random array made chunk by chunk inside the graph."""
    def block(block_info=None):
        info = block_info[None]
        seed = abs(hash(tuple(info["chunk-location"]))) % (2**32)
        return np.random.default_rng(seed).random(info["chunk-shape"], dtype=dtype)
    # A name of its own each time: no run finds another's results still on the workers.
    return da.map_blocks(block, chunks=chunks, dtype=dtype, meta=np.empty((0,) * len(shape), dtype),
                         name=f"uniform-{uuid.uuid4().hex}")


def scipy_lfilter_loop(b, a, x):
    """lfilter chunk by chunk along the last axis, each chunk from the zf of the one before."""
    order = max(np.size(a), np.size(b)) - 1
    blocks = x.to_delayed()
    lines = []
    for row in blocks:
        zi = np.zeros((x.chunks[0][0], order))
        sums = []
        for block in row:
            out = dask.delayed(scipy.signal.lfilter, nout=2)(b, a, block, axis=-1, zi=zi)
            sums.append(dask.delayed(np.sum)(out[0]))
            zi = out[1]
        lines.append(dask.delayed(sum)(sums))
    return dask.delayed(sum)(lines)


def report(name, ours, peer, peer_name, limit):
    ratio = peer[0] / ours[0]
    print(f"{name}: ours {ours[0]:.2f} s, peak {ours[1] / 2**30:.2f} GiB per worker; {peer_name} {peer[0]:.2f} s, "
          f"peak {peer[1] / 2**30:.2f} GiB; ratio {ratio:.2f}x (memory limit {limit / 2**30:.1f} GiB)")
    return ratio


def iir(scale, limit):
    """IIR order 4 over 8 channels in 10 chunks, against a per-chunk lfilter loop."""
    samples = int(10**8 * scale) // 10 * 10
    b, a = scipy.signal.butter(4, 0.05)
    x = lambda: uniform((8, samples), ((4, 4), (samples // 10,) * 10))  # noqa: E731
    base = measure(lambda: x().sum())
    ours = measure(lambda: vd.lfilter(b, a, x(), axis=-1).sum())
    peer = measure(lambda: scipy_lfilter_loop(b, a, x()))
    print(f"IIR order 4, 8 x {samples:.0e} samples in 10 chunks; input only {base[0]:.2f} s")
    report("  lfilter", ours, peer, "per-chunk scipy lfilter with zi", limit)
    print(f"  sums agree to {abs(ours[2] - peer[2]) / abs(peer[2]):.1e}")


def fir(scale, limit):
    """FIR 64 taps over one channel in 10 chunks, by overlap and by carried state."""
    samples = int(10**8 * scale) // 10 * 10
    taps = scipy.signal.firwin(64, 0.1)
    one = lambda: uniform((1, samples), ((1,), (samples // 10,) * 10))  # noqa: E731
    overlap = measure(lambda: vd.filter(taps, 1.0, one(), np.zeros((0, 0)), 2).sum())
    carried = measure(lambda: vd.filter(taps, 1.0, one(), np.zeros((0, 0)), 2, nargout=2)[0].sum())
    peer = measure(lambda: scipy_lfilter_loop(taps, [1.0], one()))
    print(f"FIR 64 taps, 1 x {samples:.0e} samples in 10 chunks")
    report("  by overlap (chunks at once)", overlap, peer, "per-chunk scipy lfilter with zi", limit)
    report("  by carried state (in turn)", carried, peer, "per-chunk scipy lfilter with zi", limit)


def volume(scale, limit):
    """convn same of a volume made in the graph, against map_overlap over ndimage.convolve."""
    side = int(512 * scale ** (1 / 3)) // 2 * 2
    kernel = np.random.default_rng(0).random((5, 5, 5))
    v = lambda: uniform((side,) * 3, ((side // 2,) * 2,) * 3)  # noqa: E731
    base = measure(lambda: v().sum())
    ours = measure(lambda: vd.convn(v(), kernel, "same").sum())
    peer = measure(lambda: da.map_overlap(scipy.ndimage.convolve, v(), depth=2, boundary=0,
                                                  weights=kernel, mode="constant", dtype=np.float64).sum())
    print(f"convn same {side}^3 * 5^3 in 8 chunks; input only {base[0]:.2f} s")
    report("  convn", ours, peer, "map_overlap over scipy.ndimage.convolve", limit)
    print(f"  sums agree to {abs(ours[2] - peer[2]) / abs(peer[2]):.1e}")


def stack(scale, limit):
    """convn same of a stack held in memory (da.from_array), against map_overlap over ndimage.convolve."""
    # A stack the user holds in memory, handed over by da.from_array: the graph carries its chunks,
    # and the count of non-zeros is a pass in the graph over data that is already there.
    images = max(8, int(64 * scale) // 8 * 8)
    stack = np.random.default_rng(1).standard_normal((images, 512, 512))
    g = np.exp(-0.5 * (np.arange(-4, 5) / 1.5) ** 2)
    blur = (np.outer(g, g) / np.outer(g, g).sum())[None]
    chunked = lambda: da.from_array(stack, chunks=(8, 256, 256))  # noqa: E731
    start = time.perf_counter()
    graph = vd.convn(chunked(), blur, "same")
    built = time.perf_counter() - start
    ours = measure(lambda: vd.convn(chunked(), blur, "same").sum())
    dense = measure(lambda: vd.convn(chunked(), blur, "same", facts="dense").sum())
    peer = measure(lambda: da.map_overlap(scipy.ndimage.convolve, chunked(), depth=(0, 4, 4), boundary=0,
                                          weights=blur, mode="constant", dtype=np.float64).sum())
    print(f"convn same of a da.from_array stack {images} x 512 x 512 in 8 x 256 x 256 chunks by a 1 x 9 x 9 Gaussian; "
          f"building the graph took {built * 1e3:.1f} ms ({len(graph.dask)} tasks)")
    report("  convn, facts counted in the graph", ours, peer, "map_overlap over scipy.ndimage.convolve", limit)
    report("  convn, facts='dense'", dense, peer, "map_overlap over scipy.ndimage.convolve", limit)
    print(f"  sums agree to {abs(ours[2] - peer[2]) / abs(peer[2]):.1e}")


WORKLOADS = {"iir": iir, "fir": fir, "volume": volume, "stack": stack}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--scale", type=float, default=1.0, help="fraction of the samples and of the volume's side")
    parser.add_argument("--only", choices=sorted(WORKLOADS), nargs="*", help="these workloads alone")
    args = parser.parse_args()
    os.environ["PYTHONPATH"] = os.pathsep.join(p for p in [os.path.dirname(os.path.dirname(vd.__file__))] +
                                               sys.path if p)
    for name, workload in WORKLOADS.items():
        if not args.only or name in args.only:
            workload(args.scale, LIMIT)


if __name__ == "__main__":
    main()
