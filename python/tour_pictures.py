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


def nice_ticks(lo, hi, count=6):
    """Round values from at most lo to at least hi in steps of 1, 2 or 5 times a power of ten, the
    step nearest to making count of them."""
    raw = max(hi - lo, 1e-12) / max(count - 1, 1)
    power = 10.0 ** np.floor(np.log10(raw))
    step = min((m * power for m in (1, 2, 5, 10)), key=lambda v: abs(np.log(v / raw)))
    first, last = np.floor(lo / step + 1e-9) * step, np.ceil(hi / step - 1e-9) * step
    return np.arange(round((last - first) / step) + 1) * step + first


def _tick_text(v, ticks, unit):
    step = ticks[1] - ticks[0] if len(ticks) > 1 else 1.0
    digits = max(0, -int(np.floor(np.log10(step) + 1e-9)))
    return f"{v:.{digits}f}" + (f" {unit}" if unit else "")


def save_plot(path, x, curves, title, xlabel, ylabel, marks=(), size=(900, 540), units=("", ""), ylim=None):
    """Curves (label, y) over x; marks are (x, label, curve index) points to annotate. Ticks are
    round values with units; ylim, when given, bounds the y axis, and a curve that leaves it is cut
    at the frame rather than drawn along it."""
    w, h = size
    left, right, bottom = 90, 40, 60
    top = 40 + 20 * len(curves) + 16  # the title, then the legend, one row a curve, above the axes
    canvas = np.full((h, w, 3), 255, np.uint8)
    x = np.asarray(x, dtype=float)
    ys = [np.asarray(y, dtype=float) for _, y in curves]
    xt = nice_ticks(x.min(), x.max())
    if ylim is None:
        finite = np.concatenate([y[np.isfinite(y)] for y in ys])
        yt = nice_ticks(finite.min(), finite.max(), 8)
    else:
        yt = nice_ticks(*ylim, 8)
    x0, x1, y0, y1 = xt[0], xt[-1], yt[0], yt[-1]
    px = lambda v: left + (v - x0) / (x1 - x0) * (w - left - right)
    py = lambda v: h - bottom - (v - y0) / (y1 - y0) * (h - top - bottom)
    for v in yt:
        cv2.line(canvas, (left, int(py(v))), (w - right, int(py(v))), GREY, 1)
        text = _tick_text(v, yt, units[1])
        width = cv2.getTextSize(text, FONT, 0.45, 1)[0][0]
        cv2.putText(canvas, text, (left - 8 - width, int(py(v)) + 5), FONT, 0.45, BLACK, 1, cv2.LINE_AA)
    for v in xt:
        cv2.line(canvas, (int(px(v)), top), (int(px(v)), h - bottom), GREY, 1)
        text = _tick_text(v, xt, units[0])
        width = cv2.getTextSize(text, FONT, 0.45, 1)[0][0]
        cv2.putText(canvas, text, (int(px(v)) - width // 2, h - bottom + 20), FONT, 0.45, BLACK, 1, cv2.LINE_AA)
    # Curves are drawn on the plot area alone, which cuts them at the frame.
    area = canvas[top:h - bottom + 1, left:w - right + 1].copy()
    span = y1 - y0
    for i, y in enumerate(ys):
        y = np.clip(np.nan_to_num(y, nan=y0 - span, neginf=y0 - span, posinf=y1 + span), y0 - span, y1 + span)
        points = np.stack([px(x) - left, py(y) - top], axis=1).round().astype(np.int32)
        cv2.polylines(area, [points], False, COLOURS[i % len(COLOURS)], 2, cv2.LINE_AA)
    canvas[top:h - bottom + 1, left:w - right + 1] = area
    cv2.rectangle(canvas, (left, top), (w - right, h - bottom), BLACK, 1)
    for mx, label, c in marks:
        y = ys[c]
        lo, hi = np.searchsorted(x, mx - 0.004 * (x1 - x0)), np.searchsorted(x, mx + 0.004 * (x1 - x0))
        i = lo + int(np.argmax(y[lo:max(hi, lo + 1)]))  # the curve's highest point near mx
        cv2.circle(canvas, (int(px(x[i])), int(py(y[i]))), 5, COLOURS[3], 2)
        cv2.putText(canvas, label, (int(px(x[i])) + 8, int(py(y[i])) - 6), FONT, 0.45, COLOURS[3], 1, cv2.LINE_AA)
    cv2.putText(canvas, title, (left, 26), FONT, 0.6, BLACK, 1, cv2.LINE_AA)
    for i, (label, _) in enumerate(curves):
        row = 50 + 20 * i
        cv2.line(canvas, (left, row - 5), (left + 24, row - 5), COLOURS[i % len(COLOURS)], 3)
        cv2.putText(canvas, label, (left + 32, row), FONT, 0.5, BLACK, 1, cv2.LINE_AA)
    width = cv2.getTextSize(xlabel, FONT, 0.5, 1)[0][0]
    cv2.putText(canvas, xlabel, ((left + w - right - width) // 2, h - 15), FONT, 0.5, BLACK, 1, cv2.LINE_AA)
    cv2.putText(canvas, ylabel, (8, top - 10), FONT, 0.5, BLACK, 1, cv2.LINE_AA)
    return _write(path, canvas)


def _write(path, picture):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    if not cv2.imwrite(path, picture):
        raise OSError(f"could not write {path}")
    print(f"  picture: {path}")
    return path
