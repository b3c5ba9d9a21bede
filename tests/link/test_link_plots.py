"""The plot step: grids of every kind as they come over the link, and what is refused."""

import numpy as np
import pytest
from sessions import (ETHANE_PART, ITEM, NOTHING_TO_PLOT, WATER, Step, again, calculation, connect,
                      first, options, play, poke, reset, tables, to_demand)
from waits import at_work

from orbitrax.link import wire
from orbitrax.molecules.molecule import Molecule

BOHR = 1.889726
POTENTIAL, DENSITY, ORBITAL, SQUARE, SPIN = range(5)
BAD_KIND = "Plotting type is not in range."
NO_MEMORY = "This application has exhausted all available memory."
HYDROGEN_ATOM = Molecule([1], [[0.1, -0.2, 0.3]], masses=[1.008])
OXYGEN = Molecule([8, 8], [[0.0, 0.0, -0.6], [0.1, 0.0, 0.6]], masses=[15.999, 15.999])

# Three rows of five points, in general directions, Angstrom.
ORIGIN, COLUMN, ROW = (-1.3, -0.9, -0.7), (0.61, 0.13, -0.05), (0.04, 0.72, 0.33)


def plot(kind: int, planes: int = 1, columns: int = 5, rows: int = 3, **more) -> dict:
    """Run options of a plot, without a calculation unless they say so."""
    return {"fCalculate": 0, "fPlot": 1, "nPlotKind": kind, "nGridCols": columns,
            "nGridRows": rows, "nPlotPlanes": planes, "flPlotGrid": (*ORIGIN, *COLUMN, *ROW),
            **more}


def of_number(number: int, **more) -> dict:
    return {"nPlotOrbitalMode": 2, "nPlotOrbitalOffset": number, **more}


def values(transcript, planes: int = 1, columns: int = 5, rows: int = 3) -> np.ndarray:
    """The grids of a session that sent no other data after its intake."""
    data = b"".join(p.payload for p in transcript.after_intake if p.kind == wire.DATA)
    return np.frombuffer(data, "<f4").astype(float).reshape(planes, rows, columns)


def ask(peer, run: dict, job: dict | None = None):
    return again(peer, options(run, job))


def points(planes: int = 1, columns: int = 5, rows: int = 3) -> np.ndarray:
    """The points of a plot in bohr: planes, rows, columns, xyz."""
    origin, column, row = (np.array(v, "<f4").astype(float) for v in (ORIGIN, COLUMN, ROW))
    p, j, i = np.meshgrid(np.arange(planes), np.arange(rows), np.arange(columns), indexing="ij")
    grid = origin + j[..., None] * row + i[..., None] * column
    grid[..., 2] += p * column[0]
    return BOHR * grid


def slater(n: int, zeta: float, kind: str, vector: np.ndarray) -> np.ndarray:
    """A real Slater orbital at vectors from its nucleus, bohr."""
    x, y, z = np.moveaxis(vector, -1, 0)
    r = np.sqrt(x * x + y * y + z * z)
    norm = (2 * zeta) ** (n + 0.5) / np.sqrt(np.prod(np.arange(1.0, 2 * n + 1)))
    angular = {"s": np.sqrt(1 / (4 * np.pi)), "x": np.sqrt(3 / (4 * np.pi)) * x / r,
               "y": np.sqrt(3 / (4 * np.pi)) * y / r, "z": np.sqrt(3 / (4 * np.pi)) * z / r}[kind]
    return norm * r ** (n - 1) * np.exp(-zeta * r) * angular


def exponent(number: int, kind: str) -> float:
    """Of AM1, 1/bohr, out of the parameters as they are sent: 12 numbers an element come first."""
    rows = np.frombuffer(tables("am1")[2].payload[:210 * 12 * 8], "<f8").reshape(210, 12)
    return rows[number - 1, 6 if kind == "s" else 7]


def orbitals_of(molecule: Molecule, grid: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """Values of all AM1 orbitals of hydrogen and second-row atoms, and the atom of each."""
    found, owner = [], []
    for a, (number, place) in enumerate(zip(molecule.numbers, molecule.positions)):
        n, kinds = (1, "s") if number == 1 else (2, "sxyz")
        for kind in kinds:
            zeta = exponent(number, kind)
            found.append(slater(n, zeta, kind, grid - BOHR * np.array(place, "<f4").astype(float)))
            owner.append(a)
    return np.array(found), np.array(owner)


def eigenvectors(transcript, count: int, spins: int = 1) -> np.ndarray:
    """The matrices that a session which did nothing else has sent."""
    data = b"".join(p.payload for p in transcript.after_intake if p.kind == wire.DATA)
    return np.frombuffer(data, "<f4").astype(float).reshape(spins, count, count)


def calculated(start, molecule: Molecule = WATER, spins: int = 1, **run):
    """A peer with a finished calculation, and the orbitals of it."""
    peer = start()
    first(peer, calculation("am1", molecule, run=run or None))
    count = sum(1 if number == 1 else 4 for number in molecule.numbers)
    sent = ask(peer, {"fCalculate": 0, "fSendOrbitals": 1})
    return peer, eigenvectors(sent, count, spins)


def one_centre(owner: np.ndarray, chi: np.ndarray, density: np.ndarray) -> np.ndarray:
    """The density in space of the blocks of single atoms."""
    kept = density * (owner[:, None] == owner[None, :])
    return np.einsum("i...,ij,j...->...", chi, kept, chi)


def check(found: np.ndarray, expected: np.ndarray, scale: float = 1.0) -> None:
    """Equal to what the orbitals' single precision on the wire leaves."""
    np.testing.assert_allclose(found, expected, rtol=2e-5, atol=scale * 5e-7)


def test_every_orbital_and_its_square_are_their_sums_of_slater_orbitals(start):
    peer, vectors = calculated(start)
    chi, _ = orbitals_of(WATER, points())
    for k, vector in enumerate(vectors[0]):
        expected = np.tensordot(vector, chi, 1)
        check(values(ask(peer, plot(ORBITAL, **of_number(k + 1)))), expected)
        check(values(ask(peer, plot(SQUARE, **of_number(k + 1)))), expected**2)


def test_orbitals_are_named_from_the_gap(start):
    peer, vectors = calculated(start)
    chi, _ = orbitals_of(WATER, points())
    for mode, offset, number in ((0, 0, 5), (0, 1, 6), (0, -1, 4), (1, 0, 4), (1, 3, 1),
                                 (1, -1, 5), (2, 4, 4)):
        grid = values(ask(peer, plot(ORBITAL, nPlotOrbitalMode=mode, nPlotOrbitalOffset=offset)))
        check(grid, np.tensordot(vectors[0][number - 1], chi, 1))


def test_the_density_is_the_sum_of_the_atoms_blocks(start):
    peer, vectors = calculated(start)
    chi, owner = orbitals_of(WATER, points(planes=4))
    expected = one_centre(owner, chi, 2 * vectors[0][:4].T @ vectors[0][:4])
    check(values(ask(peer, plot(DENSITY, planes=4)), planes=4), expected)


@pytest.mark.parametrize("beta", [0, 1])
def test_the_two_spins_have_orbitals_of_their_own(start, beta):
    peer, vectors = calculated(start, OXYGEN, 2, nSpinTreatment=1, nMultiplicity=3)
    chi, _ = orbitals_of(OXYGEN, points())
    highest = (7, 5)[beta]
    assert np.abs(vectors[0] - vectors[1]).max() > 0.01
    grid = values(ask(peer, plot(ORBITAL, nPlotOrbitalMode=1, fPlotBetaSpin=beta)))
    check(grid, np.tensordot(vectors[beta][highest - 1], chi, 1))


@pytest.mark.parametrize("spins", [1, 2])
def test_the_spin_density_is_that_of_the_unpaired_electrons(start, spins):
    peer, vectors = calculated(start, OXYGEN, spins, nSpinTreatment=spins - 1, nMultiplicity=3)
    chi, owner = orbitals_of(OXYGEN, points())
    if spins == 2:
        density = vectors[0][:7].T @ vectors[0][:7] - vectors[1][:5].T @ vectors[1][:5]
    else:
        density = vectors[0][5:7].T @ vectors[0][5:7]
    expected = one_centre(owner, chi, density)
    assert np.abs(expected).max() > 0.01
    check(values(ask(peer, plot(SPIN))), expected)


def test_a_closed_shell_has_no_spin_density(start):
    peer, _ = calculated(start)
    assert not values(ask(peer, plot(SPIN))).any()


def test_the_potential_comes_before_the_density_of_its_plane(start):
    peer, _ = calculated(start)
    pairs = values(ask(peer, plot(POTENTIAL, planes=2)), planes=4)
    density = values(ask(peer, plot(DENSITY, planes=2)), planes=2)
    check(pairs[1::2], density)
    # On the oxygen's side of a water molecule its lone pairs make the potential negative.
    far = plot(POTENTIAL, columns=1, rows=1, flPlotGrid=(-1.2, -1.6, 0, *COLUMN, *ROW))
    assert -0.2 < values(ask(peer, far), 2, 1, 1)[0] < -0.01


def test_a_hydrogen_atom_is_its_closed_form(start):
    peer = start()
    first(peer, calculation("am1", HYDROGEN_ATOM, run={"nMultiplicity": 2}))
    r = np.linalg.norm(points() - BOHR * np.array(HYDROGEN_ATOM.positions[0], "<f4"), axis=-1)
    zeta = exponent(1, "s")
    orbital = np.sqrt(zeta**3 / np.pi) * np.exp(-zeta * r)
    check(np.abs(values(ask(peer, plot(ORBITAL, nPlotOrbitalMode=1)))), orbital)
    for kind in (DENSITY, SPIN):
        check(values(ask(peer, plot(kind))), orbital**2)
    potential = (1 / r) * (1 + zeta * r) * np.exp(-2 * zeta * r)
    check(values(ask(peer, plot(POTENTIAL)), planes=2)[:1], potential)


def test_a_grid_longer_than_a_packet_comes_in_pieces(start):
    peer, vectors = calculated(start)
    transcript = ask(peer, plot(ORBITAL, planes=2, columns=67, rows=70, **of_number(4)))
    sizes = [p.length for p in transcript.after_intake]
    assert sizes == [16384, 67 * 70 * 4 - 16384] * 2
    chi, _ = orbitals_of(WATER, points(2, 67, 70))
    check(values(transcript, 2, 67, 70), np.tensordot(vectors[0][3], chi, 1))


@pytest.mark.parametrize("kind", range(5))
def test_a_later_session_plots_the_same_bytes_as_the_calculation_s_own(start, kind):
    """Of a later session's options nothing but the plot itself counts."""
    peer = start()
    run = {"nSpinTreatment": 1, "nMultiplicity": 3}
    own = first(peer, calculation("cndo", OXYGEN, run={**plot(kind), **run, "fCalculate": 1}),
                "cndo")
    other = {"nSpinTreatment": 0, "nMultiplicity": 1, "nCiKind": 2, "fDiis": 1, "nTotalCharge": -2,
             "fNextLowestState": 1}
    for options_of_plot in (run, other):
        later = ask(peer, {**plot(kind), **options_of_plot})
        count = len(later.after_intake)
        assert count == 1 + (kind == POTENTIAL) and values(later, count).any()
        assert own.after_intake[-count:] == later.after_intake


def test_orbitals_of_another_treatment_are_not_asked_for(start):
    """A later session with other options sends the vectors there are, and no more."""
    peer, vectors = calculated(start)
    for run in ({"nSpinTreatment": 1}, {"nCiKind": 2}, {"nMultiplicity": 3}):
        sent = ask(peer, {"fCalculate": 0, "fSendOrbitals": 1, **run})
        assert np.array_equal(eigenvectors(sent, 6), vectors)


def test_many_plots_leave_the_atoms_where_they_are(start):
    """To bohr and back moves a coordinate in its last digits, and no farther the next time."""
    peer, _ = calculated(start)
    before = values(ask(peer, plot(DENSITY)))
    for _ in range(300):
        after = values(ask(peer, plot(DENSITY)))
    check(after, before)


@pytest.mark.parametrize("number", [0, -1, 7, 2**31 - 1, -2**31])
def test_an_orbital_that_is_not_there_is_a_warning_and_zeros(start, number):
    peer, _ = calculated(start)
    for run in (of_number(number), {"nPlotOrbitalMode": 3, "nPlotOrbitalOffset": 1}):
        said = number if run["nPlotOrbitalMode"] == 2 else 0
        transcript = ask(peer, plot(ORBITAL, **run), {"fShowWarnings": 1})
        assert transcript.texts(wire.WARNING_LINE) == [
            f"The orbital to be plotted ({said}) doesn't exist; please choose one from 1 to 6."]
        assert not values(transcript).any()


@pytest.mark.parametrize(("mode", "offset"), [(0, 2**31 - 1), (0, -2**31), (1, 2**31 - 1),
                                              (1, -2**31)])
def test_an_offset_beyond_all_orbitals_does_not_come_round(start, mode, offset):
    peer, _ = calculated(start)
    number = 5 + offset if mode == 0 else 4 - offset
    transcript = ask(peer, plot(ORBITAL, nPlotOrbitalMode=mode, nPlotOrbitalOffset=offset),
                     {"fShowWarnings": 1})
    assert f"({number})" in transcript.texts(wire.WARNING_LINE)[0]


@pytest.mark.parametrize("planes", [0, -1, -2**31])
def test_no_planes_are_nothing(start, planes):
    peer, _ = calculated(start)
    assert ask(peer, plot(9, planes, 0, -5)).after_intake == []


@pytest.mark.parametrize(("columns", "rows"), [(0, 3), (3, 0), (-1, 3), (3, -2**31), (0, 0)])
def test_a_grid_without_points_is_refused(start, columns, rows):
    peer, _ = calculated(start)
    transcript = ask(peer, plot(DENSITY, 1, columns, rows))
    assert transcript.errors == [
        f"The grid of the plot is not in range ({columns} columns and {rows} rows)."]
    assert len(transcript.after_intake) == 1


@pytest.mark.parametrize(("columns", "rows"), [(2**31 - 1, 2**31 - 1), (2**14 + 1, 2**14),
                                               (2**31 - 1, 1), (65536, 65536)])
def test_a_grid_beyond_memory_is_refused(start, columns, rows):
    peer, _ = calculated(start)
    transcript = ask(peer, plot(DENSITY, 1, columns, rows))
    assert [packet.text for packet in transcript.after_intake] == [NO_MEMORY]


@pytest.mark.parametrize("kind", [-1, 5, 2**31 - 1, -2**31])
def test_an_unknown_kind_is_refused_and_the_next_calculation_plots(start, kind):
    peer, _ = calculated(start)
    assert [p.text for p in ask(peer, plot(kind)).after_intake] == [BAD_KIND]
    assert ask(peer, plot(DENSITY)).errors == [NOTHING_TO_PLOT]
    again(peer, calculation())
    assert values(ask(peer, plot(DENSITY))).all()


@pytest.mark.parametrize("bits", [0x7FC00000, 0x7F800000, 0xFF800000, 0x7E967699, 0x00000001])
def test_a_grid_of_odd_numbers_gives_values_all_the_same(start, bits):
    peer, _ = calculated(start)
    steps = options(plot(DENSITY, planes=3))
    for word in range(9):
        payload = bytearray(steps[1].payload)
        payload[52 + 4 * word:56 + 4 * word] = bits.to_bytes(4, "little")
        bent = [steps[0], Step(steps[1].name, bytes(payload)), steps[2]]
        assert np.isfinite(values(again(peer, bent), planes=3)).all()


@pytest.mark.parametrize("broken", [{"nMultiplicity": 2}, {"nTotalCharge": 100}])
def test_a_calculation_that_failed_leaves_nothing_to_plot(start, broken):
    peer, _ = calculated(start)
    failed = again(peer, calculation(run={**plot(DENSITY), **broken, "fCalculate": 1}))
    assert failed.errors[-1] == NOTHING_TO_PLOT
    assert ask(peer, plot(DENSITY)).errors == [NOTHING_TO_PLOT]


def test_an_intake_that_failed_leaves_nothing_to_plot(start):
    """Atoms for which no orbitals are, in the place of those that had some."""
    peer, _ = calculated(start)
    steps = calculation(job={"nCalcKind": 4})
    steps = [*steps[:-1], steps[-1]._replace(payload=b"")]
    assert again(peer, steps).errors
    assert ask(peer, plot(DENSITY)).errors == [NOTHING_TO_PLOT]


def test_another_molecule_of_a_job_that_computes_nothing_is_not_plotted(start):
    """Vibrations on a stored force matrix keep the orbitals, of another molecule."""
    peer, _ = calculated(start)
    run = {**plot(ORBITAL), "fCalculate": 1}
    transcript = again(peer, calculation("am1", ETHANE_PART, run, {"nCalcKind": 4}))
    assert transcript.errors[-1] == NOTHING_TO_PLOT
    assert ask(peer, plot(DENSITY)).errors == [NOTHING_TO_PLOT]


def test_extended_hueckel_says_that_it_has_no_potential(start):
    """A job of a method that computes nothing, and its plot."""
    peer = start()
    head = [Step(None, wire.word(4)), Step("parameter method", wire.word(0))]
    assert connect(peer) == 1
    play(peer, [*head, *calculation(method_id=0)])
    transcript = ask(peer, plot(POTENTIAL), {"fShowWarnings": 1})
    assert transcript.texts(wire.WARNING_LINE) == [
        "Sorry, the electrostatic potential is not available in the Extended-Huckel method."]
    assert not values(transcript, 2).any()
    assert ask(peer, plot(DENSITY)).errors == [NOTHING_TO_PLOT]


def test_a_selected_part_is_plotted_with_its_caps_alone(start):
    peer = start()
    first(peer, calculation("am1", ETHANE_PART, select=[1, 2, 3, 4]))
    line = {"columns": 1, "rows": 1}
    # At the place of the cap there is an orbital of it; its core is 0.3 Angstrom away.
    cap = plot(DENSITY, **line, flPlotGrid=(1.2, 0, 0, *COLUMN, *ROW))
    assert values(ask(peer, cap), 1, **line) > 0.05


@pytest.mark.parametrize(("columns", "rows"), [(2**27, 1), (1, 2**27), (2**13, 2**13)])
@pytest.mark.parametrize("kind", range(5))
def test_the_process_ends_when_its_client_goes_in_the_middle_of_a_plot(start, kind, columns, rows):
    peer = start()
    first(peer, calculation("am1", OXYGEN, run={"nSpinTreatment": 1, "nMultiplicity": 3}))
    reset(peer)
    to_demand(peer, options(plot(kind, 1, columns, rows, nPlotOrbitalMode=1))[:-1])
    assert poke(peer, options()[-1].packet()) == wire.ACKNOWLEDGED
    peer.send(wire.REQUEST, ITEM)
    at_work(peer)
    peer.leave()
    assert peer.wait() == 0
