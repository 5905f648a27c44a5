"""A tour of vlmathdsp on realistic workloads: each step says what it is about to do, prints what
came out with our time against the peer's, then its own time and memory. Pictures go to
build/tour (or VLMATHDSP_TOUR_PICTURES) as PNG files.

This file imports nothing heavy at its top: the cluster step's worker processes start by
importing it again, and must not carry the peers (OpenCV, SciPy, PyTorch) they never use."""

import os
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

STEPS = [
    ("simulating a damped chain of 32 masses for 20000 steps (ltitr), and timing SciPy's dlsim", "state_space_workload"),
    ("blurring a 2048x2048 scene and finding its edges (conv2), against OpenCV and ndimage", "image_workload"),
    ("smoothing a 96^3 volume and probing its gradient (convn, strided_convn), against SciPy", "volume_workload"),
    ("a convolution layer forward and backward, normalisation and pooling, against PyTorch", "network_workload"),
    ("low-pass filtering 8 channels of 20 s of audio (filter), against SciPy's lfilter", "audio_workload"),
    ("spectra of 8 x 2^20 samples, an image's 2-D spectrum and cosine transform, against NumPy and SciPy",
     "spectrum_workload"),
    ("a SciPy user's own code (gaussian_filter, sobel, sosfiltfilt, welch) as it is, then with "
     "vlmathdsp.scipy.patched()", "scipy_user_workload"),
    ("a 1 GiB stack of images blurred and transformed on a local cluster of two processes (vlmathdsp.dask)",
     "cluster_workload"),
]


def main():
    sys.path.insert(0, os.path.join(ROOT, "bench"))
    import tour_cluster
    import tour_workloads
    from harness import Report, memory_bytes

    import vlmathdsp as vm

    print(f"vlmathdsp tour, {vm.get_num_threads()} threads; pictures go to {tour_workloads.PICTURES}")
    report = Report("workloads")
    report.header()
    begun = time.perf_counter()
    for number, (text, name) in enumerate(STEPS, 1):
        print(f"-> {number}/{len(STEPS)}: {text}", flush=True)
        start = time.perf_counter()
        workload = getattr(tour_cluster if name == "cluster_workload" else tour_workloads, name)
        workload(report)
        now, peak = memory_bytes()
        print(f"   step {number} took {time.perf_counter() - start:.1f} s; this process holds {now / 2**20:.0f} MiB "
              f"(peak so far {peak / 2**20:.0f} MiB)", flush=True)
    print(f"tour finished in {time.perf_counter() - begun:.0f} s", flush=True)


if __name__ == "__main__":
    main()
