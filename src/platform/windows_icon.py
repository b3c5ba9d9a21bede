#!/usr/bin/python3
"""Draws the icon of qsolve.exe: the two lobes of a p orbital. Writes windows_icon.ico beside it."""

from __future__ import annotations

import struct
from pathlib import Path

import numpy as np

SIZES = (16, 32, 48)
SAMPLES = 8  # a side of a pixel, to smooth the edges
BLUE, RED = (208, 96, 32), (48, 64, 208)  # as blue, green, red


def lobes(size: int) -> tuple[np.ndarray, np.ndarray]:
    """How much of each pixel the upper and the lower lobe cover, 0 to 1, size x size each."""
    middle = np.arange(size * SAMPLES) + 0.5
    x, y = np.meshgrid(middle / (size * SAMPLES) * 2 - 1, 1 - middle / (size * SAMPLES) * 2)
    # The angular part of the orbital, r = c |cos(angle)|: two circles, leaned to the right.
    lean = np.radians(25)
    along = x * np.sin(lean) + y * np.cos(lean)
    inside = x**2 + y**2 <= 0.95 * np.abs(along)

    def pixels(mask: np.ndarray) -> np.ndarray:
        return mask.reshape(size, SAMPLES, size, SAMPLES).mean(axis=(1, 3))

    return pixels(inside & (along > 0)), pixels(inside & (along < 0))


def image(size: int) -> bytes:
    """One image of the icon: a bitmap header, pixels from the bottom row up, an empty mask."""
    upper, lower = lobes(size)
    covered = upper + lower
    share = upper / np.where(covered > 0, covered, 1)
    colour = share[..., None] * np.array(BLUE) + (1 - share[..., None]) * np.array(RED)
    pixels = np.dstack([colour, covered * 255]).round().astype(np.uint8)[::-1]
    mask = bytes((size + 31) // 32 * 4 * size)
    head = struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, 32, 0, pixels.size, 0, 0, 0, 0)
    return head + pixels.tobytes() + mask


def icon() -> bytes:
    """The whole file."""
    images = [image(size) for size in SIZES]
    start = 6 + 16 * len(images)
    entries = b""
    for size, data in zip(SIZES, images):
        entries += struct.pack("<BBBBHHII", size, size, 0, 0, 1, 32, len(data), start)
        start += len(data)
    return struct.pack("<HHH", 0, 1, len(images)) + entries + b"".join(images)


if __name__ == "__main__":
    Path(__file__).with_suffix(".ico").write_bytes(icon())
