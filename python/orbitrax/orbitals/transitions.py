"""Natural transition orbitals: the orbitals between which an electron moves in an excited state.

The coefficients of the single excitations of one spin are a matrix, holes by particles. Its
singular vectors are combinations of holes and of particles such that each hole goes with one
particle; the squares of the singular values are the weights of the pairs.
R. L. Martin, J. Chem. Phys. 118, 4775 (2003).
"""

from __future__ import annotations

import numpy as np

from orbitrax.results.states import ALPHA, BETA

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.arrays import Array
    from typing import Any

    from orbitrax.results.states import State, States

_LEAST = 0.01  # weight of a pair that is worth a picture
_NAMED = 0.3  # coefficients from here on are named
_ALONE = 0.995  # an orbital with this coefficient needs none


class TransitionPair:
    """A hole and the particle that goes with it. weight: their share of the state. hole, particle:
    the coefficients of orbitals, by number from 1. spin: "alpha" or "beta"."""

    __slots__ = ("weight", "hole", "particle", "spin")

    def __init__(self, weight: float, hole: dict[int, float], particle: dict[int, float],
                 spin: str):
        self.weight, self.hole, self.particle, self.spin = weight, hole, particle, spin

    def text(self, states: States) -> str:
        """The pair in words: from HOMO to LUMO 0.87 LUMO+2 -0.47."""
        return f"from {_in_words(self.hole, states)} to {_in_words(self.particle, states)}"

    def to_dict(self) -> dict[str, Any]:
        """The pair as the JSON document has it; coefficients by number of the orbital, from 1."""
        return {"weight": self.weight, "spin": self.spin,
                "hole": {str(number): c for number, c in self.hole.items()},
                "particle": {str(number): c for number, c in self.particle.items()}}


def transition_pairs(state: State, least: float = _LEAST) -> list[TransitionPair]:
    """The pairs of a state of single excitations, by falling weight, with weights above `least`. In
    a state whose alpha and beta electrons do the same they are given once, for both."""
    blocks = {name: _block(state, kind) for kind, name in ((ALPHA, "alpha"), (BETA, "beta"))}
    alpha, beta = blocks["alpha"], blocks["beta"]
    if alpha[0] == beta[0] and alpha[1] == beta[1] and np.allclose(
            np.abs(alpha[2]), np.abs(beta[2]), atol=1e-6):
        blocks = {"alpha": (alpha[0], alpha[1], np.sqrt(2.0) * alpha[2])}
    found = [pair for spin, block in blocks.items() for pair in _pairs(*block, spin)]
    return sorted((pair for pair in found if pair.weight > least), key=lambda one: -one.weight)


def _block(state: State, kind: int) -> tuple[list[int], list[int], Array]:
    ours = [one for one in state.contributions if one.kind == kind]
    holes = sorted({one.hole for one in ours})
    particles = sorted({one.particle for one in ours})
    matrix = np.zeros((len(holes), len(particles)))
    for one in ours:
        matrix[holes.index(one.hole), particles.index(one.particle)] = one.coefficient
    return holes, particles, matrix


def _pairs(holes: list[int], particles: list[int], matrix: Array, spin: str
           ) -> list[TransitionPair]:
    if not matrix.size:
        return []
    left, values, right = np.linalg.svd(matrix, full_matrices=False)
    found = []
    for k, value in enumerate(values):
        sign = np.sign(left[np.argmax(np.abs(left[:, k])), k]) or 1.0
        found.append(TransitionPair(
            float(value) ** 2, dict(zip(holes, (sign * left[:, k]).tolist())),
            dict(zip(particles, (sign * right[k]).tolist())), spin))
    return found


def _in_words(orbital: dict[int, float], states: States) -> str:
    parts = sorted(orbital.items(), key=lambda one: -abs(one[1]))
    if abs(parts[0][1]) > _ALONE:
        return states.name(parts[0][0])
    return " ".join(f"{states.name(number)} {c:.2f}" for number, c in parts if abs(c) >= _NAMED)
