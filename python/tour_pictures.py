"""The tour's pictures, drawn with OpenCV into PNG files: images side by side, and line plots with
axes, ticks and labels."""

import os

import cv2
import numpy as np

WHITE, BLACK, GREY = (255, 255, 255), (0, 0, 0), (200, 200, 200)
COLOURS = [(180, 90, 20), (30, 120, 230), (60, 160, 60), (40, 40, 200)]  # BGR
FONT = cv2.FONT_HERSHEY_SIMPLEX


def _grey(image):
    """A real image scaled from its 0.5th to 99.5th percentile onto 0..255."""
    low, high = np.percentile(image, [0.5, 99.5])
    return np.clip((image - low) / max(high - low, 1e-12) * 255, 0, 255).astype(np.uint8)


def save_images(path, images, titles, size=512):
    """Real images side by side, each scaled to size x size, a title above each."""
    tiles = []
    for image, title in zip(images, titles):
        tile = cv2.resize(_grey(np.asarray(image, dtype=float)), (size, size), interpolation=cv2.INTER_AREA)
        tile = cv2.cvtColor(tile, cv2.COLOR_GRAY2BGR)
        band = np.full((36, size, 3), 255, np.uint8)
        cv2.putText(band, title, (8, 25), FONT, 0.6, BLACK, 1, cv2.LINE_AA)
        tiles.append(np.vstack([band, tile]))
        tiles.append(np.full((size + 36, 8, 3), 255, np.uint8))
    return _write(path, np.hstack(tiles[:-1]))


def save_plot(path, x, curves, title, xlabel, ylabel, marks=(), size=(900, 520)):
    """Curves (label, y) over x; marks are (x, label, curve index) points to annotate."""
    w, h = size
    left, right, top, bottom = 80, 20, 50 + 20 * len(curves), 60  # the legend above the axes
    canvas = np.full((h, w, 3), 255, np.uint8)
    x = np.asarray(x, dtype=float)
    ys = [np.asarray(y, dtype=float) for _, y in curves]
    x0, x1 = x.min(), x.max()
    y0, y1 = min(y.min() for y in ys), max(y.max() for y in ys)
    y1 += 0.05 * (y1 - y0) + 1e-12
    px = lambda v: int(left + (v - x0) / (x1 - x0) * (w - left - right))
    py = lambda v: int(h - bottom - (v - y0) / (y1 - y0) * (h - top - bottom))
    for v in np.linspace(y0, y1, 6):
        cv2.line(canvas, (left, py(v)), (w - right, py(v)), GREY, 1)
        cv2.putText(canvas, f"{v:.0f}", (8, py(v) + 5), FONT, 0.45, BLACK, 1, cv2.LINE_AA)
    for v in np.linspace(x0, x1, 6):
        cv2.line(canvas, (px(v), top), (px(v), h - bottom), GREY, 1)
        cv2.putText(canvas, f"{v:.0f}", (px(v) - 18, h - bottom + 20), FONT, 0.45, BLACK, 1, cv2.LINE_AA)
    cv2.rectangle(canvas, (left, top), (w - right, h - bottom), BLACK, 1)
    for i, ((label, _), y) in enumerate(zip(curves, ys)):
        points = np.stack([[px(a) for a in x], [py(b) for b in y]], axis=1).astype(np.int32)
        cv2.polylines(canvas, [points], False, COLOURS[i % len(COLOURS)], 2, cv2.LINE_AA)
        cv2.putText(canvas, label, (w - right - 300, 22 + 20 * i), FONT, 0.5, COLOURS[i % len(COLOURS)], 1,
                    cv2.LINE_AA)
    for mx, label, c in marks:
        y = ys[c]
        lo, hi = np.searchsorted(x, mx - 0.01 * (x1 - x0)), np.searchsorted(x, mx + 0.01 * (x1 - x0))
        i = lo + int(np.argmax(y[lo:max(hi, lo + 1)]))  # the curve's highest point near mx
        cv2.circle(canvas, (px(x[i]), py(y[i])), 5, COLOURS[3], 2)
        cv2.putText(canvas, label, (px(x[i]) + 8, py(y[i]) + 4), FONT, 0.45, COLOURS[3], 1, cv2.LINE_AA)
    cv2.putText(canvas, title, (left, 24), FONT, 0.6, BLACK, 1, cv2.LINE_AA)
    cv2.putText(canvas, xlabel, (w // 2 - 60, h - 15), FONT, 0.5, BLACK, 1, cv2.LINE_AA)
    cv2.putText(canvas, ylabel, (8, top - 10), FONT, 0.5, BLACK, 1, cv2.LINE_AA)
    return _write(path, canvas)


def _write(path, picture):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    if not cv2.imwrite(path, picture):
        raise OSError(f"could not write {path}")
    print(f"  picture: {path}")
    return path
