"""States as they come over the link, what they are called, and the orbitals that make them."""

import math
import struct

import numpy as np
import pytest
from support import ROOT  # noqa: F401

from orbitrax.errors import CalculationFailed, ProtocolError
from orbitrax.orbitals.transitions import transition_pairs
from orbitrax.results.result import Result
from orbitrax.results.spectra import uv_absorption, uv_range
from orbitrax.results.states import from_rows
from orbitrax.link.ci_states import read_ci_states
from orbitrax.tasks.task import judge_states

HEAD = {"kind": 1, "configurations": 5, "states": 2, "contributions": 3, "first_level": 4,
        "levels": 4, "alpha": 2, "beta": 2, "wanted": 0}
STATES = [(0, 1, -0.5, 0.0, 0.0, 0.0, 1, 2, 3, 0, 0, 0),
          (3, 2, 2.5, 0.0, 0.0, 0.25, 4, 5, 6, 0, 0, 1.5)]
CONTRIBUTIONS = [(-1, 0, 0, 1.0), (0, 5, 6, 0.7), (1, 5, 6, -0.7)]


def section(head=HEAD, states=STATES, contributions=CONTRIBUTIONS):
    return (struct.pack("<10i", *head.values(), 0)
            + b"".join(struct.pack("<2i10d", *row) for row in states)
            + b"".join(struct.pack("<4id", *row[:3], 0, row[3]) for row in contributions))


def made(head=HEAD, states=STATES, contributions=CONTRIBUTIONS):
    return from_rows(*read_ci_states(section(head, states, contributions)))


def test_a_section_becomes_states():
    states = made()
    assert (states.kind, states.configurations, len(states)) == ("singles", 5, 2)
    assert states.window == "2 occupied and 2 empty orbitals"
    assert states.energies.tolist() == [0.0, 3.0]
    assert states.oscillator_strengths.tolist() == [0.0, 0.25]
    assert states.dipoles.tolist() == [[1, 2, 3], [4, 5, 6]]
    assert states.transition_dipoles.tolist() == [[0, 0, 0], [0, 0, 1.5]]
    assert states[1].energy_above_scf == 2.5
    assert states[1].wavelength == pytest.approx(1239.841984 / 3.0)  # h c / E
    assert states[0].wavelength is None
    assert states.main(states[1]) == f"HOMO -> LUMO {0.7 * math.sqrt(2):.2f}"


@pytest.mark.parametrize("change,words", [
    ({"kind": 3}, "unknown kind 3"), ({"states": 0}, "0 of 5"), ({"states": -1}, "-1 of 5"),
    ({"states": 6}, "6 of 5"), ({"states": 2 ** 31 - 1, "configurations": 2 ** 31 - 1}, "length"),
    ({"contributions": -1}, "-1 contributions"), ({"contributions": 2}, "do not fit|does not fit"),
    ({"first_level": 0}, "from 0"), ({"alpha": 5}, "5 and 2 electrons"),
    ({"beta": -1}, "2 and -1 electrons"), ({"wanted": 2}, "without the state 2"),
])
def test_heads_that_cannot_be_are_refused(change, words):
    with pytest.raises(ProtocolError, match=words.replace("length", "bytes long")):
        read_ci_states(section({**HEAD, **change}))


@pytest.mark.parametrize("row", [(0, 5, 5, 0.1), (0, 3, 6, 0.1), (1, 5, 8, 0.1), (-1, 1, 0, 0.1),
                                 (2, 16, 0, 0.1), (2, -1, 0, 0.1), (7, 5, 6, 0.1),
                                 (0, 5, 6, math.nan)])
def test_configurations_that_cannot_be_are_refused(row):
    with pytest.raises(ProtocolError, match="configuration|not finite"):
        read_ci_states(section(contributions=[CONTRIBUTIONS[0], row, CONTRIBUTIONS[2]]))


def test_other_words_that_cannot_be_are_refused():
    for place in range(40):
        with pytest.raises(ProtocolError, match="bytes long"):
            read_ci_states(section()[:place])
    for counts in ((0, 2), (-1, 4)):
        rows = [(row[0], count, *row[2:]) for row, count in zip(STATES, counts)]
        with pytest.raises(ProtocolError, match="other counts"):
            read_ci_states(section(states=rows))
    with pytest.raises(ProtocolError, match="not finite"):
        read_ci_states(section(states=[STATES[0], (*STATES[1][:5], math.inf, *STATES[1][6:])]))


@pytest.mark.parametrize("alpha,beta,names", [
    (2, 2, ["HOMO-1", "HOMO", "LUMO", "LUMO+1"]), (2, 1, ["HOMO", "SOMO", "LUMO", "LUMO+1"]),
    (3, 1, ["HOMO", "SOMO1", "SOMO2", "LUMO"])])
def test_orbitals_have_the_names_that_chemists_give_them(alpha, beta, names):
    states = made({**HEAD, "alpha": alpha, "beta": beta})
    assert [states.name(number) for number in (4, 5, 6, 7)] == names


def test_microstates_show_their_electrons_by_level():
    rows = [(2, 0b0011, 0b0101, 0.9), (2, 0b0011, 0b0011, 0.3), (2, 0b1001, 0b0011, -0.2)]
    states = made({**HEAD, "kind": 2}, contributions=rows)
    assert states.microstates(states[0]) == [("2ud0", 0.9)]
    assert states.main(states[1]) == "2200 0.30"


@pytest.mark.parametrize("square,name", [(0.0, "singlet"), (2.03, "triplet"), (0.75, "doublet"),
                                         (0.84, "S=0.54"), (6.0, "quintet")])
def test_a_spin_has_a_name_where_it_is_one(square, name):
    spin = math.sqrt(square + 0.25) - 0.5
    rows = [STATES[0], (*STATES[1][:3], square, spin, *STATES[1][5:])]
    assert made(states=rows)[1].spin_name == name


def test_states_that_refer_to_no_ground_state_are_refused():
    def judged(square, energy):
        spin = math.sqrt(square + 0.25) - 0.5
        result = Result("uv", "zindos", 0, 1, "RHF", [], [])
        result.states = made(states=[STATES[0], (3, 2, energy, square, spin, *STATES[1][5:])])
        judge_states(result)

    judged(0.0, -0.4)  # above the reference
    judged(2.0, -0.9)  # a triplet may be the ground state
    for square in (0.0, 0.6):
        with pytest.raises(CalculationFailed, match="lies 0.40 eV below the first singlet"):
            judged(square, -0.9)


def test_transition_orbitals_are_those_of_a_matrix_with_known_singular_values():
    """Holes turned by 30 degrees, particles by 50: singular values 0.6 and 0.3, for both spins."""
    def turn(angle):
        c, s = math.cos(math.radians(angle)), math.sin(math.radians(angle))
        return np.array([[c, -s], [s, c]])

    matrix = turn(30) @ np.diag([0.6, 0.3]) @ turn(50).T
    rows = [(spin, hole, particle, sign * matrix[hole - 4, particle - 6])
            for spin, sign in ((0, 1), (1, -1)) for hole in (4, 5) for particle in (6, 7)]
    head = {**HEAD, "contributions": 9}
    states = made(head, [STATES[0], (3, 8, *STATES[1][2:])], [CONTRIBUTIONS[0], *rows])
    first, second = transition_pairs(states[1])
    assert (first.weight, second.weight) == pytest.approx((2 * 0.36, 2 * 0.09))
    expected = np.outer(turn(30)[:, 0], turn(50)[:, 0])
    found = np.outer([first.hole[4], first.hole[5]], [first.particle[6], first.particle[7]])
    assert np.allclose(found, expected)
    assert first.text(states) == "from HOMO-1 0.87 HOMO 0.50 to LUMO+1 0.77 LUMO 0.64"


def test_the_area_under_a_band_is_that_of_its_strength():
    """f = 4.319e-9 times the area; here of two lines far apart."""
    at = uv_range([30000.0, 90000.0], 3226.0, 20001)
    curve = uv_absorption([(30000.0, 0.25), (90000.0, 0.5), (60000.0, -1.0)], 3226.0, at)
    area = sum(curve) * (at[1] - at[0])
    assert 4.319e-9 * area == pytest.approx(0.75, rel=1e-3)
    half = uv_absorption([(30000.0, 1.0)], 3226.0, [30000.0, 33226.0])
    assert half[1] / half[0] == pytest.approx(math.exp(-1))
    assert all(nu > 0 for nu in uv_range([1500.0], 3226.0)) and len(uv_range([], 3226.0)) == 1000
