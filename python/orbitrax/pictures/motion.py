"""Molecules in motion, as pictures that move."""

from __future__ import annotations

import numpy as np

from orbitrax.errors import OrbitraxError
from orbitrax.pictures.render import draw
from orbitrax.pictures.scene import camera, molecule

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence

    from orbitrax.arrays import Array

_VIEW = (22.0, 40.0)  # degrees
_WIDTH = 480  # pixels
_MILLISECONDS = 50  # a frame
_COLOURS = 64


def save_motion(numbers: Array, frames: Sequence[Array], path: str, width: int = _WIDTH) -> None:
    """Writes frames of a molecule, n x 3, Angstrom, as a GIF that is shown over and over."""
    try:
        from PIL import Image
    except ImportError:
        raise OrbitraxError("drawing motion needs Pillow, which is not installed; on Debian: "
                            "apt-get install python3-pil") from None
    scenes = [molecule(numbers, places) for places in frames]
    still = camera([mesh for scene in scenes for mesh in scene], np.mean(frames, axis=0), *_VIEW,
                   width)
    pictures = [Image.fromarray(np.round(255 * np.clip(draw(scene, still), 0, 1)).astype(np.uint8))
                for scene in scenes]
    plain = [picture.quantize(_COLOURS) for picture in pictures]
    plain[0].save(path, format="GIF", save_all=True, append_images=plain[1:], loop=0,
                  duration=_MILLISECONDS)
