"""Runs every benchmark and prints the ratios against the peers; with a path, also writes the
rows there (JSON, with the machine and the date) for the documentation's performance page."""

import sys

import bench_conv2
import bench_convn
import bench_dcst
import bench_scipy_fft
import bench_scipy_signal
import bench_fft
import bench_filter
import bench_ltitr
import bench_ndimage
import bench_network
import bench_numpy_layout
import bench_nn
import bench_parity
import bench_pooling
import bench_strided
import bench_window_norm
from harness import Report, keep_freed_memory

if __name__ == "__main__":
    keep_freed_memory()
    report = Report("vlmathdsp against its peers (speed-up = peer time / our time)")
    report.header()
    for bench in (bench_ltitr, bench_conv2, bench_convn, bench_strided, bench_network, bench_pooling, bench_window_norm,
                  bench_filter, bench_fft, bench_dcst, bench_scipy_fft, bench_scipy_signal, bench_ndimage, bench_numpy_layout, bench_nn,
                  bench_parity):
        report.family = bench.__name__.removeprefix("bench_")
        bench.run(report)
    if len(sys.argv) > 1:
        report.write(sys.argv[1])
