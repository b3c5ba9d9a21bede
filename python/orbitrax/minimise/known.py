"""A Hessian that is known from elsewhere, a force field's say, as what the model lacks to it.

Carried over to internal coordinates without more, a Hessian of positions would mix soft coordinates
with stiff ones, and be wrong as soon as a group has turned. So the model keeps its say in how
forces are shared among the coordinates: with W its constants, M = B^T W B, and H v = k M v, the
vectors W B v are what is added to it, k - 1 times.
"""

from __future__ import annotations

import numpy as np

from orbitrax.minimise.arrays import Array

_LEAST, _MOST = 0.3, 10.0  # times as stiff as the model says; more is not believed
_ALIKE = 0.3  # ways to deform whose stiffness differs by this part of the model's are left to it


def beyond_model(hessian: Array, slopes: Array, stiffness: Array,
                 floor: float) -> tuple[Array, Array]:
    """Vectors, coordinates x any number, whose outer products are to be added to the model, and
    those to be taken away. hessian: 3n x 3n, kcal/(mol square Angstrom), need not be positive;
    slopes: B, coordinates x 3n, where it was computed; stiffness: the model's, one for each
    coordinate; floor: kcal/(mol square Angstrom), the model's for each position."""
    model = (slopes.T * stiffness) @ slopes + floor * np.eye(slopes.shape[1])
    inverse = np.linalg.inv(np.linalg.cholesky(model))
    times, ways = np.linalg.eigh(inverse @ hessian @ inverse.T)
    excess = np.clip(times, _LEAST, _MOST) - 1.0
    vectors = stiffness[:, None] * (slopes @ (inverse.T @ ways))
    vectors *= np.sqrt(np.abs(excess))
    return vectors[:, excess > _ALIKE], vectors[:, excess < -_ALIKE]
