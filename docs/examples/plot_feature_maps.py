"""
A convolution layer's feature maps
==================================

A bank of eight oriented edge filters, applied to an image as a network layer does it:
:func:`vlmathdsp.conv_forward` (images (H, W, C, N), filters (kH, kW, C, F)), then a 2 x 2 max
pooling with :func:`vlmathdsp.max_pool`.
"""

import matplotlib.pyplot as plt
import numpy as np

import vlmathdsp as vm

y, x = np.mgrid[-1:1:128j, -1:1:128j]
image = ((x ** 2 + y ** 2 < 0.5) ^ (np.abs(x - y) < 0.2)).astype(np.float64)

# Eight 7 x 7 filters: derivatives of a Gaussian along eight directions.
u, v = np.mgrid[-3:4, -3:4].astype(float)
angles = np.arange(8) * np.pi / 8
filters = np.stack([(np.cos(a) * u + np.sin(a) * v) * np.exp(-(u ** 2 + v ** 2) / 4) for a in angles], axis=-1)
filters = np.asfortranarray(filters.reshape(7, 7, 1, 8))

maps = vm.conv_forward(np.asfortranarray(image.reshape(128, 128, 1, 1)), filters, np.full(4, 3.0))
pooled = vm.max_pool(np.maximum(maps, 0), np.array([2.0, 2]), np.zeros(4), np.array([2.0, 2]))   # ReLU, then pooling

fig, axes = plt.subplots(2, 5, figsize=(11, 4.6))
axes[0, 0].imshow(image, cmap="gray")
axes[0, 0].set_title("input")
axes[1, 0].axis("off")
for k in range(8):
    ax = axes[k // 4, 1 + k % 4]
    ax.imshow(pooled[:, :, k], cmap="magma")
    ax.set_title(f"{np.degrees(angles[k]):.1f} deg")
for ax in axes.flat:
    ax.set_xticks([])
    ax.set_yticks([])
fig.tight_layout()
plt.show()
