"""
A spectrum and its peaks
========================

Three tones in noise, sampled at 8 kHz. :func:`vlmathdsp.scipy.signal.welch` estimates the
power spectral density (SciPy's signature and defaults, on the engine's transforms); SciPy's
``find_peaks`` marks the tones.
"""

import matplotlib.pyplot as plt
import numpy as np
import scipy.signal

from vlmathdsp.scipy import signal

fs = 8000.0
t = np.arange(2 ** 18) / fs
x = (np.sin(2 * np.pi * 440 * t) + 0.5 * np.sin(2 * np.pi * 1250 * t) + 0.2 * np.sin(2 * np.pi * 2900 * t)
     + np.random.default_rng(1).normal(0, 0.5, t.size))

f, power = signal.welch(x, fs=fs, nperseg=2048)
peaks, _ = scipy.signal.find_peaks(10 * np.log10(power), prominence=15)

fig, ax = plt.subplots(figsize=(8, 4))
ax.semilogy(f, power)
ax.semilogy(f[peaks], power[peaks], "rv")
for p in peaks:
    ax.annotate(f"{f[p]:.0f} Hz", (f[p], power[p]), textcoords="offset points", xytext=(4, 6))
ax.set_xlabel("frequency (Hz)")
ax.set_ylabel("power spectral density (V^2/Hz)")
ax.grid(True, alpha=0.3)
fig.tight_layout()
plt.show()
