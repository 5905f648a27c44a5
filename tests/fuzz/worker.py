"""Runs fuzz cases named on stdin, one JSON line of outcome per case on stdout; with the argument
`structured` after the seed, the cases of structured.py.

Per case it checks what a crash would not show: the inputs are unchanged, nothing the call made
is left alive, a refusal is an identifier (or a TypeError/ValueError of ours), and a result is
the same bit for bit with another thread count."""
import gc
import hashlib
import json
import os
import resource
import sys
import warnings

import numpy as np
import scipy.sparse as sp

import cases
import structured
import vlmathdsp as vm
from vlmathdsp import _vlmathdsp as core

def limit_memory():
    """A ceiling on what a case may take, so that a size the host takes is its out-of-memory error
    instead of the machine's, and no case is minutes of legitimate work: room for a result of the
    budget, its rerun and their work. Sanitizer runs set theirs through ASAN_OPTIONS."""
    if "asan" in os.environ.get("LD_PRELOAD", ""):
        return
    budget = int(os.environ.get("VLMATHDSP_FUZZ_MEMORY_MB", "1024")) << 20
    status = dict(line.split(":", 1) for line in open("/proc/self/status"))
    now = int(status["VmSize"].split()[0]) << 10
    resource.setrlimit(resource.RLIMIT_AS, (now + 4 * budget, now + 4 * budget))


def raw_bytes(x):
    """The bytes of an array in memory order; without a copy when contiguous, as results are."""
    for view in (x, x.T):
        if view.flags.c_contiguous:
            return memoryview(view.reshape(-1).view(np.uint8))
    return x.tobytes(order="A")


def digest(value, h=None):
    """A hash of a value's kind, shape and bytes, through tuples and sparse matrices."""
    top = h is None
    h = h or hashlib.sha256()
    if isinstance(value, tuple):
        for v in value:
            digest(v, h)
    elif isinstance(value, np.ndarray):
        h.update(repr((value.dtype.str, value.shape, value.strides, value.flags.writeable)).encode())
        h.update(repr(value.tolist()).encode() if value.dtype == object else raw_bytes(value))
    elif sp.issparse(value):
        for part in (value.data, value.indices if hasattr(value, "indices") else value.row,
                     value.indptr if hasattr(value, "indptr") else value.col):
            digest(part, h)
    elif isinstance(value, vm.strings.StringArray):
        h.update(repr((value.values, value.shape)).encode())
    else:
        h.update(repr(value).encode("utf-8", "surrogatepass"))
    return h.hexdigest() if top else h


def refusal_is_ours(e):
    if isinstance(e, vm.Error):
        return e.identifier.startswith("VELTRA:") and e.identifier != "VELTRA:internal"
    return type(e) in (TypeError, ValueError) and str(e).startswith("vlmathdsp")


def out_of_memory(e):
    """The rerun holds the first result as well: running out of memory there is no fault."""
    return getattr(e, "identifier", "") == "VELTRA:nomem"


def attempt(target, args, nargout, threads):
    vm.set_num_threads(threads)
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        try:
            return "result", cases.invoke(target, args, nargout)
        except Exception as e:  # classified by the caller
            return "refused", e


def run(seed, index, all_targets, make_case=cases.make_case):
    target, args, nargout, threads = make_case(seed, index, all_targets)
    before = [digest(a) for a in args]
    arrays, blocks = core.live_arrays(), core.live_blocks()
    kind, value = attempt(target, args, nargout, threads)
    findings = []
    if kind == "refused":
        outcome = getattr(value, "identifier", type(value).__name__)
        if not refusal_is_ours(value):
            findings.append(f"foreign refusal {type(value).__name__}: {str(value)[:200]}")
    else:
        outcome = "result"
        # The planner and wisdom commands answer with the state they then change: a rerun differs.
        if target[0] != "threads" and target != ("slot", 8):
            other_kind, other = attempt(target, args, nargout, 1 if threads > 1 else 2)
            if other_kind == "result" and digest(other) != digest(value):
                findings.append(f"result changes with the thread count ({threads} against another)")
            elif other_kind != "result" and not out_of_memory(other):
                findings.append(f"refused with another thread count: {type(other).__name__}: {other}")
            del other
    del value
    if [digest(a) for a in args] != before:
        findings.append("an input was written")
    if (core.live_arrays(), core.live_blocks()) != (arrays, blocks):
        gc.collect()  # only when needed: a collection per case would double the run
    if (core.live_arrays(), core.live_blocks()) != (arrays, blocks):
        findings.append(f"left alive: {core.live_arrays() - arrays} arrays, {core.live_blocks() - blocks} blocks")
    return {"index": index, "target": target[1], "outcome": outcome, "findings": findings}


def main():
    seed = int(sys.argv[1])
    make_case = structured.make_case if sys.argv[2:] == ["structured"] else cases.make_case
    all_targets = cases.targets()
    limit_memory()
    np.seterr(all="ignore")
    for line in sys.stdin:
        report = run(seed, int(line), all_targets, make_case)
        sys.stdout.write(json.dumps(report) + "\n")
        sys.stdout.flush()


if __name__ == "__main__":
    main()
