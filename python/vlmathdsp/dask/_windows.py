"""Convolutions of a chunked array by a kernel held whole, as map_overlap graphs.

Along each axis, output element j is element f0 + j * stride of the full result (zero-based),
which reads input elements f0 + j * stride - k + 1 .. f0 + j * stride. A task takes the input
its output chunk reads, convolves it in full (or samples it, strided) with the engine, and keeps
its own outputs. Every output then sums the same products in the same order as on one machine,
and borders stay where the whole array's are: no zeros are padded in, so a kernel holding inf
or NaN gives the bits it gives on one machine."""

import dask.array as da
import numpy as np

from ._tasks import as_dtype, bounds, least_chunks, task


class Axis:
    """One axis of a windowed convolution: input length m, kernel length k, outputs n_out from
    full index f0 in steps of stride."""

    def __init__(self, m, k, f0, n_out, stride=1, least_read=0):
        self.m, self.k, self.f0, self.n_out, self.stride = m, k, f0, n_out, stride
        self.least_read = min(least_read, m)  # a task reads this much at least, when the engine's path depends on it

    def out_bounds(self, ins, keep_chunks):
        """Output chunk boundaries: the input's when keep_chunks (and the lengths agree), else each
        output chunk holds the full indices that fall in its input chunk (the last also those past
        the input's end)."""
        if keep_chunks and self.n_out == self.m:
            return list(ins)
        s = self.stride
        inner = [min(max(-(-(b - self.f0) // s), 0), self.n_out) for b in ins[1:-1]]
        return [0] + inner + [self.n_out]

    def reads(self, j0, j1):
        """The input range [lo, hi) outputs j0 .. j1 - 1 read, within the input."""
        first, last = self.f0 + j0 * self.stride, self.f0 + (j1 - 1) * self.stride
        lo, hi = max(first - self.k + 1, 0), min(last + 1, self.m)
        if hi - lo < self.least_read:
            hi = min(lo + self.least_read, self.m)
            lo = hi - self.least_read
        return lo, hi

    def depth(self, ins, outs):
        left = right = 0
        for i in range(len(ins) - 1):
            if outs[i + 1] > outs[i]:
                lo, hi = self.reads(outs[i], outs[i + 1])
                left, right = max(left, ins[i] - lo), max(right, hi - ins[i + 1])
        return left, right


def windowed(A, axes, dtype, engine, keep_chunks=True, **extra):
    """map_overlap of A for per-axis Axis descriptions: engine(sub, starts, counts, **extra) returns
    the outputs of a sub-array whose first element is input element `starts` (per axis), the first
    output being full index f0 + j0 * stride relative to the sub-array, as `counts` outputs. The
    values of extra may be Delayed: each task then waits for them."""
    least = [max(ax.k - 1, ax.least_read, 1) for ax in axes]
    A = A.rechunk(tuple(least_chunks(c, n) for c, n in zip(A.chunks, least)))
    ins = [bounds(c) for c in A.chunks]
    outs = [ax.out_bounds(b, keep_chunks) for ax, b in zip(axes, ins)]
    depths = [ax.depth(i, o) for ax, i, o in zip(axes, ins, outs)]
    out_chunks = tuple(tuple(np.diff(o).tolist()) for o in outs)

    def block(sub, block_id=None, **given):
        shape, cut, full_first = [], [], []
        for d, ax in enumerate(axes):
            i = block_id[d]
            j0, j1 = outs[d][i], outs[d][i + 1]
            shape.append(j1 - j0)
            if j1 == j0:
                continue
            start = max(ins[d][i] - depths[d][0], 0)
            lo, hi = ax.reads(j0, j1)
            cut.append(slice(lo - start, hi - start))
            full_first.append(ax.f0 + j0 * ax.stride - lo)
        if 0 in shape:
            return np.zeros(shape, dtype)
        return as_dtype(engine(sub[tuple(cut)], full_first, shape, **given), dtype).reshape(shape)

    depth = {d: tuple(p) for d, p in enumerate(depths)}
    return da.map_overlap(task(block), A, depth=depth, boundary="none", trim=False, chunks=out_chunks,
                          dtype=dtype, meta=np.empty((0,) * A.ndim, dtype), **extra)


def cut_full(full, firsts, counts):
    """The window of a full result that a task keeps."""
    return full[tuple(slice(f, f + c) for f, c in zip(firsts, counts))]
