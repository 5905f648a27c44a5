"""Faces with SciPy's conventions over the library's engine: zero-based axes, the last axis by
default, SciPy's dtype rules. See `vlmathdsp.scipy.fft`."""
