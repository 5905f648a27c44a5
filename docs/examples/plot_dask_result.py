"""
A Dask graph's result
=====================

A stack of 16 images of 256 x 256 in chunks of 4 x 128 x 128, blurred by a 1 x 9 x 9 Gaussian
with :func:`vlmathdsp.dask.convn` (``map_overlap`` by the kernel's extent), then computed on
Dask's threaded scheduler. The result has one machine's bits: it equals
:func:`vlmathdsp.convn` of the whole stack exactly.
"""

import dask.array as da
import matplotlib.pyplot as plt
import numpy as np

import vlmathdsp as vm
import vlmathdsp.dask as vd

rng = np.random.default_rng(2)
stack = np.zeros((16, 256, 256))
for k in range(16):
    yy, xx = np.mgrid[0:256, 0:256]
    stack[k] = np.sin(xx / (6 + k)) * np.cos(yy / 9) > 0.3
stack += rng.normal(0, 0.3, stack.shape)

g = np.exp(-np.arange(-4, 5) ** 2 / 8.0)
kernel = (g[:, None] * g[None, :] / g.sum() ** 2).reshape(1, 9, 9)

chunked = da.from_array(stack, chunks=(4, 128, 128))
blurred = vd.convn(chunked, kernel, "same").compute(scheduler="threads")
whole = vm.convn(stack, kernel, "same")
print("equal to one machine's call, bit for bit:", np.array_equal(blurred, whole))

fig, axes = plt.subplots(1, 2, figsize=(8, 4))
for ax, image, title in zip(axes, [stack[5], blurred[5]], ["image 5 of the stack", "vd.convn, 1 x 9 x 9 Gaussian"]):
    ax.imshow(image, cmap="gray")
    for edge in (128,):
        ax.axhline(edge, color="tab:orange", linewidth=1)
        ax.axvline(edge, color="tab:orange", linewidth=1)
    ax.set_title(title)
    ax.axis("off")
fig.suptitle("orange: the chunk boundaries")
fig.tight_layout()
plt.show()
