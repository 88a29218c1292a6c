#!/usr/bin/env python3
"""Draws the library's embedded images (PNG, RGBA) with the standard library only.

Run from this folder: python3 make_icons.py
Writes icons/add.png, icons/remove.png (24 x 24) and
icons/kivo_logo_128_transparente.png (128 x 128). Shapes are sampled 4 x 4 per
pixel for smooth edges.
"""
import math
import os
import struct
import zlib

SAMPLES = 4


def write_png(path, width, height, pixels):
    """pixels: rows of (r, g, b, a) tuples, 0..255."""
    raw = bytearray()
    for row in pixels:
        raw.append(0)  # filter type None
        for r, g, b, a in row:
            raw += bytes((r, g, b, a))

    def chunk(tag, data):
        body = tag + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xffffffff)

    png = b"\x89PNG\r\n\x1a\n"
    png += chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0))
    png += chunk(b"IDAT", zlib.compress(bytes(raw), 9))
    png += chunk(b"IEND", b"")
    with open(path, "wb") as f:
        f.write(png)


def render(size, shade):
    """shade(x, y) -> (r, g, b, a) floats for a point in pixel units, or None."""
    rows = []
    for py in range(size):
        row = []
        for px in range(size):
            acc = [0.0, 0.0, 0.0, 0.0]
            for sy in range(SAMPLES):
                for sx in range(SAMPLES):
                    c = shade(px + (sx + 0.5) / SAMPLES, py + (sy + 0.5) / SAMPLES)
                    if c:
                        r, g, b, a = c
                        acc[0] += r * a
                        acc[1] += g * a
                        acc[2] += b * a
                        acc[3] += a
            n = SAMPLES * SAMPLES
            alpha = acc[3] / n
            if alpha > 0:
                color = [acc[i] / acc[3] for i in range(3)]
            else:
                color = [0, 0, 0]
            row.append(tuple(int(round(v)) for v in color) + (int(round(alpha * 255)),))
        rows.append(row)
    return rows


def badge(size, fill, bar_vertical):
    """A round badge with a white bar (minus) or cross (plus)."""
    c = size / 2.0
    radius = size / 2.0 - 1.0
    half_len = size * 0.28
    half_w = size * 0.075

    def shade(x, y):
        dx, dy = x - c, y - c
        d = math.hypot(dx, dy)
        if d > radius:
            return None
        on_h = abs(dy) <= half_w and abs(dx) <= half_len
        on_v = bar_vertical and abs(dx) <= half_w and abs(dy) <= half_len
        if on_h or on_v:
            return (255, 255, 255, 1.0)
        # darker rim, lighter top for a little depth
        t = max(0.0, min(1.0, (y / size)))
        k = 1.1 - 0.3 * t
        if d > radius - 1.2:
            k *= 0.75
        return (min(255, fill[0] * k), min(255, fill[1] * k), min(255, fill[2] * k), 1.0)

    return render(size, shade)


def logo(size):
    """A blue disc with a white stylised K and an orange trend line."""
    c = size / 2.0
    radius = size / 2.0 - 2.0

    def segment_distance(x, y, ax, ay, bx, by):
        vx, vy = bx - ax, by - ay
        t = ((x - ax) * vx + (y - ay) * vy) / (vx * vx + vy * vy)
        t = max(0.0, min(1.0, t))
        return math.hypot(x - (ax + t * vx), y - (ay + t * vy))

    s = size / 128.0
    stem = (44 * s, 30 * s, 44 * s, 98 * s)
    arm_up = (48 * s, 66 * s, 88 * s, 30 * s)
    arm_down = (56 * s, 60 * s, 90 * s, 98 * s)
    trend = [(22 * s, 84 * s), (40 * s, 74 * s), (62 * s, 80 * s), (84 * s, 56 * s), (106 * s, 46 * s)]

    def shade(x, y):
        d = math.hypot(x - c, y - c)
        if d > radius:
            return None
        for seg in (stem, arm_up, arm_down):
            if segment_distance(x, y, *seg) <= 7.5 * s:
                return (255, 255, 255, 1.0)
        for (ax, ay), (bx, by) in zip(trend, trend[1:]):
            if segment_distance(x, y, ax, ay, bx, by) <= 3.0 * s:
                return (255, 160, 40, 1.0)
        if d > radius - 4 * s:
            return (20, 60, 120, 1.0)
        t = y / size
        return (30 + 30 * t, 90 + 40 * (1 - t), 170 + 40 * (1 - t), 0.92)

    return render(size, shade)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    out = os.path.join(here, "icons")
    os.makedirs(out, exist_ok=True)
    write_png(os.path.join(out, "add.png"), 24, 24, badge(24, (60, 170, 70), True))
    write_png(os.path.join(out, "remove.png"), 24, 24, badge(24, (200, 60, 50), False))
    write_png(os.path.join(out, "kivo_logo_128_transparente.png"), 128, 128, logo(128))


if __name__ == "__main__":
    main()
