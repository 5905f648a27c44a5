"""The tour's cluster workload: a stack of images larger than a worker's memory, blurred and
transformed by vlmathdsp.dask on a local cluster of two worker processes."""

import os
import time

import numpy as np
from harness import peak_memory

# The step gives up rather than wait for ever on workers that cannot go on.
TIMEOUT_SECONDS = 600


def cluster_workload(report, images=128, side=1024, per_chunk=2):
    import dask.array as da
    import distributed

    import vlmathdsp as vm
    import vlmathdsp.dask as vd

    limit = 768 * 2**20
    package = os.path.dirname(os.path.dirname(vm.__file__))
    os.environ["PYTHONPATH"] = os.pathsep.join(p for p in (package, os.environ.get("PYTHONPATH")) if p)
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, memory_limit=limit,
                                  dashboard_address=":8787", silence_logs=40) as cluster, \
            distributed.Client(cluster) as client:
        link = cluster.dashboard_link
        print(f"  local cluster: 2 worker processes of 1 thread, {limit // 2**20} MiB each; dashboard at {link}"
              " (served when bokeh is installed)")

        def scene(block_info=None):
            first = block_info[None]["array-location"][0][0]
            count = block_info[None]["chunk-shape"][0]
            y, x = np.mgrid[0:side, 0:side] / side
            out = np.empty((count, side, side))
            for i in range(count):
                rng = np.random.default_rng(first + i)
                f = 8 + (first + i) % 24  # each image has stripes of its own frequency
                out[i] = np.sin(2 * np.pi * f * x) * np.cos(2 * np.pi * 3 * y) + 0.5 * rng.standard_normal((side, side))
            return out

        stack = da.map_blocks(scene, chunks=((per_chunk,) * (images // per_chunk), (side,), (side,)), dtype=np.float64)
        g = np.exp(-0.5 * (np.arange(-4, 5) / 1.5) ** 2)
        kernel = (np.outer(g, g) / np.outer(g, g).sum())[None]  # 1 x 9 x 9: each image alone
        start = time.perf_counter()
        blurred = vd.convn(stack, kernel, "same")
        spectra = vd.fft(vd.fft(blurred, [], 2), [], 3)
        power = (abs(spectra) ** 2).mean(axis=0)
        print(f"  {images} images of {side}x{side} ({stack.nbytes / 2**30:.1f} GiB, {stack.nbytes / limit:.1f} times a "
              f"worker's memory) blurred by a 9x9 Gaussian (convn) and transformed (fft along both image axes)")
        # One graph for both results: the stack's count of non-zeros is made once.
        futures = client.compute([power, spectra[0:1]])
        distributed.wait(futures, timeout=TIMEOUT_SECONDS)
        mean_power, got = (f.result() for f in futures)
        seconds = time.perf_counter() - start
        peaks = client.run(peak_memory)
        row, column = np.unravel_index(np.argmax(mean_power[:, 1:side // 2]), (side, side // 2 - 1))
        strongest = (row - side if row > side // 2 else row, column + 1)
        print(f"  {seconds:.1f} s; peak memory per worker {max(peaks.values()) / 2**20:.0f} MiB of {limit // 2**20} MiB; "
              f"the mean spectrum's strongest peak: {strongest} cycles per image (rows, columns)")
        one = scene({None: {"array-location": [(0, 1)], "chunk-shape": (1, side, side)}})
        want = vm.fft(vm.fft(vm.convn(one, kernel, "same"), [], 2), [], 3)
        same = np.array_equal(np.asarray(want).reshape(got.shape), got)
        print(f"  the first image's spectrum against one machine's calls: {'the same bits' if same else 'DIFFERENT'}")
        if not same or max(peaks.values()) > limit:
            raise SystemExit("the cluster step went wrong: see above")
