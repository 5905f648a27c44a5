"""The tour's workloads on one machine: for each, what it computed, our time, the peer's time,
and how closely the two agree; pictures of the results go to PICTURES as PNG files."""

import os

import cv2
import numpy as np
from scipy import ndimage, signal

from harness import median_times
from tour_pictures import save_images, save_plot

import vlmathdsp as vm

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PICTURES = os.environ.get("VLMATHDSP_TOUR_PICTURES", os.path.join(ROOT, "build", "tour"))


def picture(name):
    return os.path.join(PICTURES, name)


def mass_spring_chain(masses=32, dt=1e-3):
    """A chain of masses joined by springs and dampers, the first tied to a wall, driven by
    forces on four masses: 64 states (positions, then velocities), discretised exactly."""
    k, c, mass = 400.0, 0.4, 1.0
    K = np.zeros((masses, masses))
    for i in range(masses):
        K[i, i] = 2 * k if i < masses - 1 else k
        if i > 0:
            K[i, i - 1] = K[i - 1, i] = -k
    Cd = K * (c / k)
    Ac = np.block([[np.zeros((masses, masses)), np.eye(masses)], [-K / mass, -Cd / mass]])
    driven = [0, masses // 3, 2 * masses // 3, masses - 1]
    Bc = np.zeros((2 * masses, len(driven)))
    for j, i in enumerate(driven):
        Bc[masses + i, j] = 1.0 / mass
    A, B, _, _, _ = signal.cont2discrete((Ac, Bc, np.eye(2 * masses), np.zeros((2 * masses, len(driven)))), dt)
    return A, B


def state_space_workload(report):
    A, B = mass_spring_chain()
    steps = 20000
    t = np.arange(steps) * 1e-3
    rng = np.random.default_rng(1)
    # Forces: a chirp on the first mass, a pulse train, noise, and a step at the far end.
    U = np.column_stack([np.sin(2 * np.pi * (1 + 4 * t) * t), (np.sin(2 * np.pi * 3 * t) > 0.95) * 5.0,
                         0.5 * rng.standard_normal(steps), (t > 10) * 2.0])
    n = A.shape[0]
    C, D = np.eye(n)[:1], np.zeros((1, U.shape[1]))
    t_ours, t_scipy = median_times([lambda: vm.ltitr(A, B, U), lambda: signal.dlsim((A, B, C, D, 1e-3), U)],
                                   repeats=5)
    X = vm.ltitr(A, B, U)
    x = signal.dlsim((A, B, C, D, 1e-3), U)[2]
    masses = n // 2
    print(f"  damped chain of {masses} masses, {n} states, {steps} steps of 1 ms:")
    print(f"  largest excursion of the last mass {np.max(np.abs(X[:, masses - 1])):.4f} m, "
          f"final speed of the first mass {X[-1, masses]:+.4f} m/s")
    report.add("state-space response (ltitr vs dlsim)", t_ours, "scipy", t_scipy,
               note=f"max rel diff {np.max(np.abs(X - x)) / np.max(np.abs(x)):.1e}")


def synthetic_image(n=2048, seed=2):
    """A scene of discs and bars on a smooth gradient, with sensor noise."""
    rng = np.random.default_rng(seed)
    y, x = np.mgrid[0:n, 0:n] / n
    img = 0.3 * x + 0.2 * y
    for _ in range(40):
        cx, cy, r = rng.random(2).tolist() + [0.02 + 0.08 * rng.random()]
        img += 0.5 * ((x - cx) ** 2 + (y - cy) ** 2 < r * r)
    for _ in range(20):
        x0, y0 = rng.random(2)
        img += 0.4 * ((np.abs(x - x0) < 0.004) & (np.abs(y - y0) < 0.2))
    return np.asfortranarray(img + 0.05 * rng.standard_normal((n, n)))


def image_workload(report):
    img = synthetic_image()
    c = np.ascontiguousarray(img)
    g = signal.windows.gaussian(15, 3.0)
    g /= g.sum()
    blur2d = np.outer(g, g)
    sobel = np.array([[1.0, 0, -1], [2, 0, -2], [1, 0, -1]])
    flip = lambda k: np.ascontiguousarray(k[::-1, ::-1])

    blurred = vm.conv2(img, blur2d, "same")
    t = median_times([lambda: vm.conv2(img, blur2d, "same"),
                      lambda: cv2.filter2D(c, -1, flip(blur2d), borderType=cv2.BORDER_CONSTANT),
                      lambda: ndimage.convolve(c, blur2d, mode="constant")], repeats=5)
    ref = cv2.filter2D(c, -1, flip(blur2d), borderType=cv2.BORDER_CONSTANT)
    flat = (slice(1000, 1032), slice(8, 40))  # a patch of plain background
    print(f"  2048x2048 synthetic scene: a 15x15 Gaussian blur (sigma 3) takes the noise of a plain patch "
          f"from {np.std(img[flat]):.4f} to {np.std(blurred[flat]):.4f}")
    report.add("image blur, dense 15x15", t[0], "cv2.filter2D", t[1], note=f"max diff {np.max(np.abs(blurred - ref)):.1e}")
    report.add("image blur, dense 15x15", t[0], "ndimage.convolve", t[2])

    sep = vm.conv2(g, g, img, "same")
    t = median_times([lambda: vm.conv2(g, g, img, "same"),
                      lambda: cv2.sepFilter2D(c, -1, g, g, borderType=cv2.BORDER_CONSTANT)], repeats=5)
    report.add("image blur, separable 15+15 taps", t[0], "cv2.sepFilter2D", t[1],
               note=f"max diff to the dense blur {np.max(np.abs(sep - blurred)):.1e}")

    gx = vm.conv2(blurred, sobel, "same")
    gy = vm.conv2(blurred, sobel.T, "same")
    magnitude = np.hypot(gx, gy)
    edges = magnitude > 4 * np.median(magnitude)
    t = median_times([lambda: vm.conv2(blurred, sobel, "same"),
                      lambda: cv2.filter2D(np.ascontiguousarray(blurred), -1, flip(sobel), borderType=cv2.BORDER_CONSTANT)],
                     repeats=5)
    ref = cv2.filter2D(np.ascontiguousarray(blurred), -1, flip(sobel), borderType=cv2.BORDER_CONSTANT)
    print(f"  Sobel edges: {100 * edges.mean():.2f} % of the pixels lie on an edge")
    report.add("edge detection, Sobel 3x3", t[0], "cv2.filter2D", t[1], note=f"max diff {np.max(np.abs(gx - ref)):.1e}")
    save_images(picture("scene_blur_edges.png"), [img, blurred, edges],
                ["the scene, with noise", "15x15 Gaussian blur", "Sobel edges of the blur"])


def volume_workload(report):
    """A 3-D volume: a bright sphere in noise, smoothed by a 5x5x5 Gaussian."""
    n = 96
    axis = np.arange(n) - n / 2
    x, y, z = np.meshgrid(axis, axis, axis, indexing="ij")
    sphere = (x**2 + y**2 + z**2 < (n / 4) ** 2).astype(float)
    volume = np.asfortranarray(sphere + 0.5 * np.random.default_rng(4).standard_normal((n, n, n)))
    g = signal.windows.gaussian(5, 1.0)
    kernel = np.einsum("i,j,k->ijk", g, g, g) / g.sum() ** 3
    smooth = vm.convn(volume, kernel, "same")
    c = np.ascontiguousarray(volume)
    t = median_times([lambda: vm.convn(volume, kernel, "same"),
                      lambda: ndimage.convolve(c, kernel, mode="constant"),
                      lambda: signal.convolve(c, kernel, mode="same", method="fft")], repeats=3)
    ref = ndimage.convolve(c, kernel, mode="constant")
    inside, outside = smooth[sphere > 0], smooth[(sphere == 0) & (np.abs(x) < n / 2 - 3)]
    print(f"  {n}^3 volume, a sphere in noise: after a 5x5x5 Gaussian the voxels inside average "
          f"{inside.mean():.3f} (spread {inside.std():.3f}), outside {outside.mean():.3f} (spread {outside.std():.3f})")
    report.add("volume smoothing, 5x5x5", t[0], "ndimage.convolve", t[1],
               note=f"max diff {np.max(np.abs(smooth - ref)):.1e}")
    report.add("volume smoothing, 5x5x5", t[0], "signal.convolve fft", t[2])

    # Where does the sphere's surface lie? Correlate with a 3x3x3 gradient probe on every
    # second voxel, as a coarse detector would.
    probe = np.zeros((3, 3, 3))
    probe[0], probe[2] = -1, 1
    coarse = vm.strided_convn(smooth, probe, [2, 2, 2], [3, 3, 3], [n, n, n], "corr")
    sampled = lambda: signal.correlate(np.ascontiguousarray(smooth), probe, mode="valid", method="direct")[::2, ::2, ::2]
    t = median_times([lambda: vm.strided_convn(smooth, probe, [2, 2, 2], [3, 3, 3], [n, n, n], "corr"), sampled],
                     repeats=3)
    ref = sampled()
    edge = np.abs(coarse) > 0.5 * np.max(np.abs(coarse))
    print(f"  a gradient probe on every second voxel ({coarse.shape[0]}^3 samples) finds the surface in "
          f"{100 * edge.mean():.1f} % of them")
    report.add("volume gradient, every 2nd voxel", t[0], "signal.correlate[::2]", t[1],
               note=f"max diff {np.max(np.abs(coarse - ref)):.1e}")


def network_workload(report):
    """One convolution layer, forward and backward: 16 generated 32x32 images of 16 channels, 32
    filters 3x3, padding 1, in single precision, against PyTorch's conv2d and autograd on the same
    data in NCHW, then a normalisation across channels and a max pooling of its rectified maps. The
    backward pass takes the gradient of a squared-error loss."""
    import torch
    torch.set_num_threads(vm.get_num_threads())
    rng = np.random.default_rng(5)
    x = rng.standard_normal((16, 16, 32, 32)).astype(np.float32)
    w = (rng.standard_normal((32, 16, 3, 3)) / 12).astype(np.float32)
    ours_x, ours_w = np.asfortranarray(x.transpose(2, 3, 1, 0)), np.asfortranarray(w.transpose(2, 3, 1, 0))
    tx, tw = torch.tensor(x, requires_grad=True), torch.tensor(w, requires_grad=True)
    pad, unit = np.ones(4), np.ones(2)
    with torch.no_grad():
        t = median_times([lambda: vm.conv_forward(ours_x, ours_w, pad),
                          lambda: torch.nn.functional.conv2d(tx, tw, padding=1)], repeats=9)
        ref = torch.nn.functional.conv2d(tx, tw, padding=1).numpy()
    y = vm.conv_forward(ours_x, ours_w, pad)
    active = np.maximum(y, 0)

    print(f"  a layer of 32 filters on 16 images: {100 * (active > 0).mean():.1f} % of the rectified "
          f"responses are positive")
    report.add("network layer forward, 16x16x32x32", t[0], "torch conv2d", t[1],
               note=f"max diff {np.max(np.abs(y.transpose(3, 2, 0, 1) - ref)):.1e}")

    # Normalisation across 5 neighbouring channels of the rectified maps.
    active_f, tactive = np.asfortranarray(active), torch.from_numpy(np.ascontiguousarray(active.transpose(3, 2, 0, 1)))
    lrn = lambda: torch.nn.functional.local_response_norm(tactive, 5, alpha=1e-3, beta=0.75, k=1.0)
    with torch.no_grad():
        t = median_times([lambda: vm.window_norm(active_f, 5, 1e-3, 0.75, 1.0), lrn], repeats=9)
        normed_ref = lrn().numpy()
    normed = vm.window_norm(active_f, 5, 1e-3, 0.75, 1.0)
    on = active > 0
    print(f"  normalising across 5 channels scales the positive responses by {np.min(normed[on] / active[on]):.3f}"
          f" to {np.max(normed[on] / active[on]):.3f}")
    report.add("network window normalisation, 5 channels", t[0], "torch local_response_norm", t[1],
               note=f"max diff {np.max(np.abs(normed.transpose(3, 2, 0, 1) - normed_ref)):.1e}")

    # Max pooling 3x3, stride 2, of the rectified maps.
    pool_args = (np.array([3.0, 3]), np.ones(4), np.array([2.0, 2]))
    with torch.no_grad():
        t = median_times([lambda: vm.max_pool(active_f, *pool_args),
                          lambda: torch.nn.functional.max_pool2d(tactive, 3, 2, 1)], repeats=9)
        pooled_ref = torch.nn.functional.max_pool2d(tactive, 3, 2, 1).numpy()
    pooled = vm.max_pool(active_f, *pool_args)
    print(f"  max pooling keeps {pooled.shape[0]}x{pooled.shape[1]} of the 32x32 maps; "
          f"{100 * (pooled > 0).mean():.1f} % of the pooled responses are positive")
    report.add("network max pooling 3x3 s2", t[0], "torch max_pool2d", t[1],
               note=f"max diff {np.max(np.abs(pooled.transpose(3, 2, 0, 1) - pooled_ref)):.1e}")

    # Loss 0.5 |y - target|^2: its gradient with respect to y is y - target.
    target = rng.standard_normal(y.shape).astype(np.float32)
    dy = np.asfortranarray(y - target)
    ty = torch.nn.functional.conv2d(tx, tw, padding=1)
    tdy = torch.from_numpy(np.ascontiguousarray(dy.transpose(3, 2, 0, 1)))
    ours = lambda: (vm.conv_backward(ours_x, dy, pad, unit, np.array([3.0, 3])),
                    vm.conv_backward(dy, ours_w, pad, unit, np.array([32.0, 32]), False))
    t = median_times([ours, lambda: torch.autograd.grad(ty, (tx, tw), tdy, retain_graph=True)], repeats=9)
    dw, dx = ours()
    want_x, want_w = (a.numpy() for a in torch.autograd.grad(ty, (tx, tw), tdy, retain_graph=True))
    step = 1e-3 / np.max(np.abs(dw))
    before = 0.5 * np.sum((y - target) ** 2)
    after = 0.5 * np.sum((vm.conv_forward(ours_x, ours_w - step * dw, pad) - target) ** 2)
    print(f"  one gradient step on the filters lowers the squared error from {before:.1f} to {after:.1f}")
    diff = max(np.max(np.abs(dw.transpose(3, 2, 0, 1) - want_w)) / np.max(np.abs(want_w)),
               np.max(np.abs(dx.transpose(3, 2, 0, 1) - want_x)) / np.max(np.abs(want_x)))
    report.add("network layer backward, both gradients", t[0], "torch autograd", t[1], note=f"max rel diff {diff:.1e}")
    feature_maps_picture()


def feature_maps_picture():
    """What a layer's filters see: the scene through four 3x3 filters, rectified."""
    scene = synthetic_image(512, seed=7)[::2, ::2].astype(np.float32)
    sobel = np.array([[1, 0, -1], [2, 0, -2], [1, 0, -1]], np.float32)
    bank = np.stack([sobel, sobel.T, -sobel, np.array([[0, 1, 0], [1, -4, 1], [0, 1, 0]], np.float32)], axis=-1)
    maps = np.maximum(vm.conv_forward(np.asfortranarray(scene[:, :, None, None]), np.asfortranarray(bank[:, :, None, :]),
                                      np.ones(4)), 0)
    save_images(picture("feature_maps.png"), [scene] + [maps[:, :, f] for f in range(4)],
                ["a 256x256 scene", "falls to the right", "falls downwards", "rises to the right",
                 "Laplacian, rectified"], size=256)


def audio_workload(report):
    """Eight channels of 20 s at 48 kHz: a melody of tones with noise and a high whistle, low-passed
    at 4 kHz by an 8th-order Butterworth filter and by a 64-tap FIR."""
    rate, seconds, channels = 48000, 20, 8
    t = np.arange(rate * seconds) / rate
    rng = np.random.default_rng(4)
    notes = 220 * 2 ** (np.floor(t * 4) % 12 / 12)
    x = np.empty((t.size, channels), order="F")
    for c in range(channels):
        x[:, c] = (np.sin(2 * np.pi * notes * (1 + 0.01 * c) * t) + 0.3 * np.sin(2 * np.pi * 12000 * t)
                   + 0.1 * rng.standard_normal(t.size))
    b, a = signal.butter(8, 4000, fs=rate)
    h = signal.firwin(64, 4000, fs=rate)

    def whistle_db(y):
        spectrum = np.abs(np.fft.rfft(y[: 2**16, 0]))
        k = int(12000 * 2**16 / rate)
        return 20 * np.log10(spectrum[k - 2:k + 3].max())

    y_iir = vm.filter(b, a, x)
    y_fir = vm.filter(h, 1.0, x)
    print(f"  {channels} channels of {seconds} s at {rate} Hz: the 12 kHz whistle falls by "
          f"{whistle_db(x) - whistle_db(y_iir):.0f} dB through the IIR low-pass and by "
          f"{whistle_db(x) - whistle_db(y_fir):.0f} dB through the FIR")
    t_iir = median_times([lambda: vm.filter(b, a, x), lambda: signal.lfilter(b, a, x, axis=0)], repeats=5)
    report.add("audio low-pass, IIR 8th order", t_iir[0], "lfilter", t_iir[1],
               note=f"max diff {np.max(np.abs(y_iir - signal.lfilter(b, a, x, axis=0))):.1e}")
    t_fir = median_times([lambda: vm.filter(h, 1.0, x), lambda: signal.lfilter(h, 1.0, x, axis=0)], repeats=5)
    report.add("audio low-pass, FIR 64 taps", t_fir[0], "lfilter", t_fir[1],
               note=f"max diff {np.max(np.abs(y_fir - signal.lfilter(h, 1.0, x, axis=0))):.1e}")
    # The filters' frequency responses, measured: the engine's spectrum of its own impulse responses.
    impulse = np.zeros(2**14)
    impulse[0] = 1.0
    half = 2**13 + 1
    freqs = np.arange(half) * rate / 2**14
    with np.errstate(divide="ignore"):
        db = lambda r: 20 * np.log10(np.abs(vm.fft(r)[:half]))
        curves = [("Butterworth, 8th order (IIR)", db(vm.filter(b, a, impulse))),
                  ("64-tap FIR", db(vm.filter(h, 1.0, impulse)))]
    save_plot(picture("filter_response.png"), freqs / 1000, curves,
              "frequency response of the two low-pass filters at 4 kHz", "frequency", "gain",
              marks=[(4, "4 kHz", 0), (12, "the whistle, 12 kHz", 0)], units=("kHz", "dB"), ylim=(-140, 10))


def spectrum_workload(report):
    """The spectrum of 8 channels of 2^20 samples, the 2-D spectrum of an image and back, and the
    image's cosine transform kept in part."""
    import scipy.fft
    rate, n = 48000, 2**20
    t = np.arange(n) / rate
    rng = np.random.default_rng(5)
    x = np.asfortranarray(np.stack([np.sin(2 * np.pi * (440 * (c + 1)) * t) + 0.5 * rng.standard_normal(n)
                                    for c in range(8)], axis=1))
    X = vm.fft(x)
    peaks = np.argmax(np.abs(X[: n // 2]), axis=0) * rate / n
    print(f"  spectra of 8 channels of {n} samples: tones found at {', '.join(f'{p:.0f}' for p in peaks)} Hz")
    tt = median_times([lambda: vm.fft(x), lambda: np.fft.fft(x, axis=0), lambda: scipy.fft.fft(x, axis=0, workers=2)],
                      repeats=5)
    diff = np.max(np.abs(X - scipy.fft.fft(x, axis=0))) / np.max(np.abs(X))
    report.add("spectrum, 8 x 2^20 real", tt[0], "numpy.fft", tt[1], note=f"max rel diff {diff:.1e}")
    report.add("spectrum, 8 x 2^20 real", tt[0], "scipy.fft", tt[2])
    shown = int(2000 * n / rate) // 900 * 900  # bins up to about 2 kHz, 900 columns of the largest
    level = lambda c: 20 * np.log10(np.abs(X[:shown, c]).reshape(900, -1).max(axis=1) + 1e-12)
    save_plot(picture("spectrum_peaks.png"), np.arange(900) * (shown // 900) * rate / n,
              [(f"channel {c + 1}: {440 * (c + 1)} Hz in noise", level(c)) for c in range(3)],
              f"spectra of three channels, {n} samples each", "frequency", "magnitude",
              marks=[(p, f"{p:.0f} Hz", c) for c, p in enumerate(peaks[:3])], units=("Hz", "dB"))

    img = synthetic_image(1024)
    F = vm.fftn(img)
    back = vm.ifftn(F)
    low = np.abs(F[:32, :32]).sum() / np.abs(F).sum()
    print(f"  1024x1024 image: {100 * low:.1f} % of the spectrum's magnitude lies in the lowest 32x32 frequencies; "
          f"the round trip is {'real' if back.dtype.kind == 'f' else 'complex'}, off by {np.max(np.abs(back - img)):.1e}")
    tt = median_times([lambda: vm.ifftn(vm.fftn(img)), lambda: np.fft.ifftn(np.fft.fftn(img)).real,
                       lambda: scipy.fft.ifftn(scipy.fft.fftn(img, workers=2), workers=2).real], repeats=5)
    report.add("image 2-D spectrum and back", tt[0], "numpy.fft", tt[1])
    report.add("image 2-D spectrum and back", tt[0], "scipy.fft", tt[2])

    # Transform coding: keep the largest 5 % of the orthonormal DCT-II coefficients, invert.
    C = vm.dctn(img)
    kept = np.where(np.abs(C) >= np.quantile(np.abs(C), 0.95), C, 0)
    approx = vm.idctn(kept)
    energy = 100 * np.sum(kept**2) / np.sum(C**2)
    print(f"  the largest 5 % of its DCT coefficients hold {energy:.1f} % of the energy (orthonormal: the same share "
          f"of the image's, {100 * (1 - np.sum((approx - img)**2) / np.sum(img**2)):.1f} %)")
    tt = median_times([lambda: vm.dctn(img), lambda: scipy.fft.dctn(img, norm="ortho", workers=2)], repeats=5)
    report.add("image DCT-II, orthonormal", tt[0], "scipy.fft", tt[1],
               note=f"max diff {np.max(np.abs(C - scipy.fft.dctn(img, norm='ortho'))):.1e}")


def scipy_code(image, sound, rate):
    """A SciPy user's own analysis, unchanged: it calls scipy.ndimage and scipy.signal by name."""
    import scipy.ndimage
    import scipy.signal
    smooth = scipy.ndimage.gaussian_filter(image, 3.0)
    edges = np.hypot(scipy.ndimage.sobel(smooth, 0), scipy.ndimage.sobel(smooth, 1))
    sos = scipy.signal.butter(8, 4000, fs=rate, output="sos")
    clean = scipy.signal.sosfiltfilt(sos, sound)
    freqs, density = scipy.signal.welch(clean, fs=rate, nperseg=4096)
    return edges, freqs, density


def scipy_user_workload(report):
    """The same SciPy code run as it is, then with vlmathdsp.scipy.patched() around it."""
    import vlmathdsp.scipy
    image = synthetic_image(2048)
    rate = 48000
    t = np.arange(rate * 20) / rate
    sound = np.stack([np.sin(2 * np.pi * 440 * (c + 1) * t) + 0.3 * np.sin(2 * np.pi * 12000 * t)
                      for c in range(4)])
    edges, freqs, density = scipy_code(image, sound, rate)
    with vlmathdsp.scipy.patched():
        ours = scipy_code(image, sound, rate)
        t_ours = median_times([lambda: scipy_code(image, sound, rate)], repeats=3)[0]
    t_scipy = median_times([lambda: scipy_code(image, sound, rate)], repeats=3)[0]
    peak = freqs[np.argmax(density[0])]
    diff = max(np.max(np.abs(a - b)) / np.max(np.abs(b)) for a, b in zip(ours, (edges, freqs, density)))
    print(f"  the code finds edges up to {edges.max():.3f} and the first channel's peak at {peak:.0f} Hz, "
          f"with SciPy's functions and with the faces in their place")
    report.add("SciPy code, patched (ndimage, signal)", t_ours, "as it is", t_scipy, note=f"max rel diff {diff:.1e}")
