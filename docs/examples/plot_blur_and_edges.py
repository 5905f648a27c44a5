"""
Blur an image and find its edges
================================

A synthetic scene is blurred with :func:`vlmathdsp.conv2` (a 9 x 9 box, the host's
conventions), then its edges are found with the Sobel filters of
:mod:`vlmathdsp.scipy.ndimage` (SciPy's conventions), on the same engine.
"""

import matplotlib.pyplot as plt
import numpy as np

import vlmathdsp as vm
from vlmathdsp.scipy import ndimage

# A scene of discs and bars on a gradient, with noise.
y, x = np.mgrid[0:256, 0:256] / 256.0
scene = 0.3 * x
for cx, cy, r in [(0.3, 0.3, 0.12), (0.7, 0.35, 0.08), (0.5, 0.72, 0.15)]:
    scene += ((x - cx) ** 2 + (y - cy) ** 2 < r * r).astype(float)
scene[40:60, 150:240] += 0.8
scene += np.random.default_rng(0).normal(0, 0.15, scene.shape)

# The host takes column-major arrays: a Fortran-ordered one goes in with no copy.
blurred = vm.conv2(np.asfortranarray(scene), np.ones((9, 9)) / 81, "same")
edges = np.hypot(ndimage.sobel(blurred, axis=0), ndimage.sobel(blurred, axis=1))

fig, axes = plt.subplots(1, 3, figsize=(10, 3.6))
for ax, image, title in zip(axes, [scene, blurred, edges], ["scene", "conv2, 9 x 9 box", "Sobel magnitude"]):
    ax.imshow(image, cmap="gray")
    ax.set_title(title)
    ax.axis("off")
fig.tight_layout()
plt.show()
