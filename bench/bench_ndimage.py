"""The scipy.ndimage face against scipy.ndimage and OpenCV on the same images: the Gaussian,
a dense 7x7 and 5x5x5 convolution, and the box mean, with reflecting or nearest borders."""

import os

import numpy as np
import scipy.ndimage

from harness import Report, keep_freed_memory, median_times

from vlmathdsp.scipy import ndimage as face


def run(report):
    import cv2
    cv2.setNumThreads(os.cpu_count())
    rng = np.random.default_rng(0)
    image = rng.standard_normal((2048, 2048))
    kernel = rng.standard_normal((7, 7))
    volume, cube = rng.standard_normal((128, 128, 128)), rng.standard_normal((5, 5, 5))
    for dtype in (np.float64, np.float32):
        x = image.astype(dtype)
        name = np.dtype(dtype).name
        # OpenCV's kernel for sigma 3 has SciPy's 25 taps (truncate 4); BORDER_REFLECT is SciPy's
        # reflect (d c b a | a b c d).
        t = median_times([lambda: face.gaussian_filter(x, 3.0), lambda: scipy.ndimage.gaussian_filter(x, 3.0),
                          lambda: cv2.GaussianBlur(x, (25, 25), 3.0, borderType=cv2.BORDER_REFLECT)], repeats=5)
        report.add(f"gaussian_filter s3 2048^2 {name}", t[0], "ndimage", t[1], 2.0)
        report.add(f"gaussian_filter s3 2048^2 {name}", t[0], "cv2.GaussianBlur", t[2], 1.2)
    # filter2D correlates; a dense 7x7 kernel flipped is the same work as ndimage's convolve.
    flipped = np.ascontiguousarray(kernel[::-1, ::-1])
    t = median_times([lambda: face.convolve(image, kernel), lambda: scipy.ndimage.convolve(image, kernel),
                      lambda: cv2.filter2D(image, -1, flipped, borderType=cv2.BORDER_REFLECT)], repeats=5)
    report.add("convolve 2048^2 * 7x7 reflect", t[0], "ndimage", t[1], 2.0)
    report.add("convolve 2048^2 * 7x7 reflect", t[0], "cv2.filter2D", t[2], 1.2)
    t = median_times([lambda: face.convolve(volume, cube, mode="nearest"),
                      lambda: scipy.ndimage.convolve(volume, cube, mode="nearest")], repeats=3)
    report.add("convolve 128^3 * 5^3 nearest", t[0], "ndimage", t[1], 3.0)
    x = image.astype(np.float32)
    t = median_times([lambda: face.uniform_filter(x, 9), lambda: scipy.ndimage.uniform_filter(x, 9),
                      lambda: cv2.blur(x, (9, 9), borderType=cv2.BORDER_REFLECT)], repeats=5)
    report.add("uniform_filter 9 2048^2 float32", t[0], "ndimage", t[1])
    report.add("uniform_filter 9 2048^2 float32", t[0], "cv2.blur", t[2], 1.0)


if __name__ == "__main__":
    keep_freed_memory()
    report = Report("scipy.ndimage face")
    report.header()
    run(report)
