"""What a search does where it ends: is it a minimum, or does the energy fall beyond?"""

import numpy as np
import pytest
import support  # the package from the checkout
from orbitrax.minimise.curvature import softest


@pytest.mark.parametrize("factor", [-0.3, 0.02, 0.2])
def test_the_softest_motion_of_a_known_matrix_is_found(factor):
    """One motion in twenty is not as stiff as the Hessian says; the others are, within a fifth."""
    random = np.random.default_rng(3)
    ways, _ = np.linalg.qr(random.normal(size=(20, 20)))
    believed = np.geomspace(0.1, 500.0, 20)
    times = random.uniform(0.9, 1.1, 20)
    times[2] = factor
    true = (ways * (believed * times)) @ ways.T
    found = softest((ways * believed) @ ways.T, lambda step: true @ step)
    assert found.times == pytest.approx(factor, abs=0.02)
    way = found.step / np.linalg.norm(found.step)
    assert abs(way @ ways[:, 2]) == pytest.approx(1.0, abs=0.02)
    assert 0.5 * found.step @ ((ways * believed) @ ways.T) @ found.step == pytest.approx(0.005)
