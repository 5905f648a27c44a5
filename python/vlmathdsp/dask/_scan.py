"""A graph that runs along one axis of a chunked array chunk by chunk, each task handing a state to
the next, and across the other axes in parallel."""

import operator

import dask.array as da
from dask.base import tokenize
from dask.highlevelgraph import HighLevelGraph

from ._tasks import bounds, task


def scan(x, axis, step, first_state, name, out_chunks, dtype, meta):
    """Runs step(block, state, start, last) along `axis` of x, block by block in order; it returns
    (output block, next state, extra). first_state(other_index) is the state of the first block of
    each line of blocks (other_index: x's block index with the axis left out). Returns the output
    as a dask array of out_chunks, and {other_index: key of the last step of its line} whose
    element 2 is the last extra."""
    prefix = f"{name}-{tokenize(x, axis, step, out_chunks)}"
    steps, states, out = prefix + "-step", prefix + "-state", prefix
    starts = bounds(x.chunks[axis])
    fn = task(step)
    n = x.numblocks[axis]
    dsk, last = {}, {}
    for index in _indices(x.numblocks):
        i = index[axis]
        other = index[:axis] + index[axis + 1:]
        if i == 0:
            state = first_state(other)
        else:
            state = (states,) + index[:axis] + (i - 1,) + index[axis + 1:]
        dsk[(steps,) + index] = (fn, (x.name,) + index, state, starts[i], i == n - 1)
        # Its own key, so that the next chunk's task, wherever it runs, fetches the state alone.
        dsk[(states,) + index] = (operator.getitem, (steps,) + index, 1)
        dsk[(out,) + index] = (operator.getitem, (steps,) + index, 0)
        if i == n - 1:
            last[other] = (steps,) + index
    graph = HighLevelGraph.from_collections(out, dsk, dependencies=[x])
    return da.Array(graph, out, out_chunks, dtype=dtype, meta=meta), graph, last


def _indices(numblocks):
    if not numblocks:
        yield ()
        return
    for head in range(numblocks[0]):
        for tail in _indices(numblocks[1:]):
            yield (head,) + tail


def gathered(graph, last, name, chunks, dtype, meta):
    """The extras of the last steps as one dask array: block (0, *other_index) is line other_index's."""
    key = f"{name}-{tokenize(sorted(last.items()))}"
    dsk = {(key, 0) + other: (operator.getitem, step, 2) for other, step in last.items()}
    g = HighLevelGraph.merge(graph, HighLevelGraph({key: dsk}, {key: set(graph.layers)}))
    return da.Array(g, key, chunks, dtype=dtype, meta=meta)
