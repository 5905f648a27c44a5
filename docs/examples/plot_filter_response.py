"""
A filter's frequency response
=============================

The frequency response of two low-pass filters of order 6, a Butterworth and a Chebyshev
type I, measured the engine's way: :func:`vlmathdsp.filter` gives each impulse response and
:func:`vlmathdsp.fft` its spectrum. SciPy's ``freqz`` draws the same curves from the
coefficients.
"""

import matplotlib.pyplot as plt
import numpy as np
import scipy.signal

import vlmathdsp as vm

n = 4096
impulse = np.zeros(n)
impulse[0] = 1.0
fig, ax = plt.subplots(figsize=(8, 4))
for name, (b, a) in [("Butterworth", scipy.signal.butter(6, 0.2)), ("Chebyshev I, 1 dB", scipy.signal.cheby1(6, 1, 0.2))]:
    h = vm.filter(b, a, impulse)                # the impulse response, n samples
    spectrum = vm.fft(h)[: n // 2]
    f = np.arange(n // 2) / n * 2               # as a fraction of Nyquist
    ax.plot(f, 20 * np.log10(np.abs(spectrum) + 1e-300), label=f"{name} (engine)")
    w, reference = scipy.signal.freqz(b, a, worN=512)
    ax.plot(w / np.pi, 20 * np.log10(np.abs(reference) + 1e-300), "k:", linewidth=1)
ax.set_xlabel("frequency (fraction of Nyquist)")
ax.set_ylabel("gain (dB)")
ax.set_ylim(-100, 5)
ax.grid(True, alpha=0.3)
ax.legend(title="dotted: scipy.signal.freqz")
fig.tight_layout()
plt.show()
