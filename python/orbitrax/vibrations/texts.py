"""Modes as the texts of files: a table of bands, a Molden file, a trajectory."""

from __future__ import annotations

import numpy as np

from orbitrax.molecules.elements import SYMBOLS
from orbitrax.units import CODATA_ANGSTROM_PER_BOHR

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence

    from orbitrax.arrays import Array
    from orbitrax.vibrations.modes import Modes

FRAMES = 24  # of one swing

_WIDEST = 0.35  # Angstrom: how far the atom that moves most goes


def bands_table(modes: Modes) -> str:
    """A line of comma-separated values for each mode."""
    lines = ["mode,frequency_cm1,intensity_km_mol,intensity_decadic_km_mol,symmetry"]
    for k, (nu, natural, decadic, label) in enumerate(
            zip(modes.frequencies, modes.intensities, modes.decadic, modes.labels)):
        lines.append(f"{k + 1},{nu:.4f},{natural:.5f},{decadic:.5f},{label.replace('?', '')}")
    return "\n".join(lines) + "\n"


def molden_text(modes: Modes, numbers: Sequence[int], positions: Array) -> str:
    """The modes of a molecule in the Molden format: wavenumbers, intensities in km/mol, places in
    bohr, displacements."""
    lines = ["[Molden Format]", "[Atoms] Angs"]
    for i, (number, place) in enumerate(zip(numbers, positions)):
        lines.append(f" {SYMBOLS[number]:<3}{i + 1:5d}{number:5d}{_columns(place, 14, 8)}")
    lines += ["[FREQ]", *(f"{nu:14.4f}" for nu in modes.frequencies)]
    lines += ["[INT]", *(f"{strength:14.5f}" for strength in modes.intensities)]
    lines.append("[FR-COORD]")
    for number, place in zip(numbers, positions):
        lines.append(f" {SYMBOLS[number]:<3}{_columns(place / CODATA_ANGSTROM_PER_BOHR, 15, 8)}")
    lines.append("[FR-NORM-COORD]")
    for k in range(len(modes)):
        lines.append(f"vibration {k + 1}")
        lines += [_columns(move, 12, 6) for move in _whole(modes, k, len(numbers))]
    return "\n".join(lines) + "\n"


def _columns(values: Array, width: int, digits: int) -> str:
    return "".join(f"{value:{width}.{digits}f}" for value in values)


def _whole(modes: Modes, mode: int, count: int) -> Array:
    """The displacements of a mode, for all atoms of the molecule."""
    found = np.zeros((count, 3))
    found[list(modes.atoms)] = modes.displacements[mode]
    return found


def frames_of(modes: Modes, mode: int, positions: Array) -> list[Array]:
    """The places of all atoms, n x 3, Angstrom, through one swing of a mode, which can be shown
    over and over. The atom that moves most goes a third of an Angstrom either way."""
    move = _whole(modes, mode, len(positions))
    move *= _WIDEST / np.linalg.norm(move, axis=1).max()
    return [positions + np.sin(2 * np.pi * step / FRAMES) * move for step in range(FRAMES)]


def trajectory_text(modes: Modes, mode: int, symbols: Sequence[str],
                    frames: Sequence[Array]) -> str:
    """The frames of a mode as an xyz file."""
    parts = []
    for step, places in enumerate(frames):
        parts.append(f"{len(symbols)}\nmode={mode + 1} frequency_cm1={modes.frequencies[mode]:.4f} "
                     f"step={step}\n")
        parts += [f"{symbol:<3}{_columns(place, 15, 8)}\n"
                  for symbol, place in zip(symbols, places)]
    return "".join(parts)
