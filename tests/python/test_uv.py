"""States and spectra from the backend to the files, through the command line and in Python."""

import csv
import json
import subprocess

import numpy as np
import pytest
from support import ROOT

from orbitrax import Backend, Job, Molecule, read_molecule, to_cclib
from orbitrax.errors import CalculationFailed, InputError, OrbitraxError, UsageError
from orbitrax.grids.combine import combined_orbitals
from orbitrax.orbitals.transitions import transition_pairs
from orbitrax.tasks.optimize import Optimize
from orbitrax.tasks.uv import Uv, usual_window

pytestmark = pytest.mark.timeout(300)

NUMBERS = {"H": 1, "He": 2, "C": 6, "O": 8}

BENZENE = [("H", 0, 2.484212, 0), ("H", 0, -2.484212, 0), ("H", 2.15139, 1.242106, 0),
           ("H", -2.15139, -1.242106, 0), ("H", -2.15139, 1.242106, 0),
           ("H", 2.15139, -1.242106, 0), ("C", 0, 1.396792, 0), ("C", 0, -1.396792, 0),
           ("C", 1.209657, 0.698396, 0), ("C", -1.209657, -0.698396, 0),
           ("C", -1.209657, 0.698396, 0), ("C", 1.209657, -0.698396, 0)]
CARBON_MONOXIDE = [("C", 0, 0, 0), ("O", 1.173, 0, 0)]
ALLYL = [("C", 0, 0, 0.44), ("C", 0, 1.22, -0.2), ("C", 0, -1.22, -0.2), ("H", 0, 0, 1.53),
         ("H", 0, 1.3, -1.28), ("H", 0, -1.3, -1.28), ("H", 0, 2.15, 0.35), ("H", 0, -2.15, 0.35)]


def molecule(atoms, **more):
    return Molecule([NUMBERS[atom[0]] for atom in atoms], [atom[1:] for atom in atoms], **more)


def states_of(what, **settings):
    settings = {"method": "zindos", **settings}
    method = settings.pop("method")
    with Backend() as backend:
        task = Uv(**settings)
        return task.start(what, method).execute(backend)


def command(*words, status=0):
    run = subprocess.run([ROOT / "orbitrax", "uv", *words], capture_output=True, text=True,
                         check=False)
    assert run.returncode == status, run.stderr
    return run


# ---- numbers ------------------------------------------------------------------------------------

@pytest.mark.parametrize("atoms,window,wanted", [
    # as MOPAC's manual and its tests print them, INDO CIS; its eV is another: 0.0005 of 10 eV
    (BENZENE, None, [(4.7082902, 0.0), (5.361233, 0.0), (6.2211294, 0.872452),
                     (6.2211297, 0.872452)]),
    (CARBON_MONOXIDE, (3, 3), [(6.6907017, 0.0), (6.8863695, 0.063497), (6.8863695, 0.063497),
                               (7.1878187, 0.0), (7.1878187, 0.0), (12.5208403, 0.502805)]),
])
def test_states_are_those_that_a_peer_has_printed(atoms, window, wanted):
    result = states_of(molecule(atoms), window=window)
    found = [state for state in result.states.alike()[1:]][:len(wanted)]
    for state, (energy, strength) in zip(found, wanted):
        assert state.energy == pytest.approx(energy, abs=0.004)
    assert sum(state.oscillator_strength for state in found) == pytest.approx(
        sum(strength for _, strength in wanted), abs=0.002)


@pytest.mark.parametrize("settings", [
    {}, {"microstates": True, "window": (3, 2)}, {"method": "am1", "microstates": True}])
def test_the_moment_of_the_first_state_is_that_of_the_charges(examples, settings):
    """One comes from the configurations, the other from density and charges; their constants
    differ in the sixth digit."""
    result = states_of(read_molecule(str(examples / "formaldehyde.xyz")), **settings)
    assert np.abs(result.states.dipoles[0] - np.asarray(result.dipole)[:3]).max() < 1e-4


def test_strengths_follow_from_energies_and_moments(examples):
    """f = 2/3 E mu^2 in atomic units, for every state."""
    states = states_of(read_molecule(str(examples / "formaldehyde.xyz"))).states
    energies = states.energies / 27.211396
    moments = (states.transition_dipoles ** 2).sum(axis=1) / 2.541766 ** 2
    expected = 2 / 3 * energies * moments
    assert np.allclose(states.oscillator_strengths, expected, rtol=2e-3, atol=1e-6)
    assert states.oscillator_strengths.max() > 0.1


def test_the_gradient_is_given_for_the_scf_alone(examples):
    formaldehyde = read_molecule(str(examples / "formaldehyde.xyz"))
    with Backend() as backend:
        ours = backend.run(Job(formaldehyde, "am1", ci="singles", window="3 3"))
        plain = backend.run(Job(formaldehyde, "am1"))
        other = backend.run(Job(formaldehyde, "am1", ci="microstates", window=(2, 2)))
    assert ours.total_energy == pytest.approx(plain.total_energy, abs=1e-6)
    assert np.allclose(ours.gradient, plain.gradient, atol=1e-6)
    assert other.total_energy < plain.total_energy - 1
    assert other.gradient is None and other.rms_gradient is None
    assert plain.states is None and ours.states[0].energy_above_scf == pytest.approx(0, abs=1e-9)


# ---- orbitals -----------------------------------------------------------------------------------

def test_pairs_of_orbitals_hold_the_whole_state_and_can_be_drawn(examples):
    with Backend() as backend:
        run = Uv(plot_state=4, window=(3, 3)).start(
            read_molecule(str(examples / "benzene.xyz")), "zindos")
        run.draws = True
        result = run.execute(backend)
        state = result.states[4]
        assert sum(pair.weight for pair in transition_pairs(state, 0.0)) == pytest.approx(
            1, abs=2e-3)  # coefficients below 0.02 are not sent
        assert len(run.grids) == 2 * len(run.pairs)
        one, = combined_orbitals(backend, result, [{12: 0.6, 17: -0.8}], ["x"], lambda *_: None)
        alone = [combined_orbitals(backend, result, [{k: 1.0}], ["x"], lambda *_: None)[0]
                 for k in (12, 17)]
    assert np.allclose(one.values, 0.6 * alone[0].values - 0.8 * alone[1].values, atol=1e-6)
    assert abs(one.values).max() > 0.05


# ---- windows ------------------------------------------------------------------------------------

def test_the_usual_window_keeps_equal_levels_together():
    assert usual_window([-3, -2, -1, 1, 2], 3, 15) == (3, 2)
    assert usual_window([-3, -2, -1, 1, 2], 3, 2) == (2, 2)
    assert usual_window([-9, -3, -3, -1, 1, 2, 2, 5], 4, 2) == (1, 1)
    assert usual_window([-3, -3, 1, 2], 2, 1) == (1, 2) or usual_window(
        [-3, -3, 1, 2], 2, 1) == (1, 1)
    assert usual_window([-3], 1, 15) == (1, 0)


@pytest.mark.parametrize("settings,words", [
    ({"window": (3, 3), "max_excitation": 5.0}, "both choose"), ({"uhf": True}, "restricted"),
    ({"microstates": True, "max_excitation": 5.0}, "takes a"),
    ({"microstates": True, "plot_state": 1}, "single excitations"),
    ({"window": "3"}, "two numbers"),
    ({"window": (0, 3)}, "1 or more"), ({"window": "3 x"}, "two numbers"),
    ({"states": 0}, "1 or above"), ({"width_ev": 0.0}, "above 0|choose from")])
def test_settings_that_do_not_go_together_are_refused(settings, words):
    with pytest.raises(UsageError, match=words):
        Uv(**settings)


def test_searches_with_configuration_interaction_are_refused():
    with pytest.raises(UsageError, match="no searches with configuration interaction"):
        Optimize(ci="singles", window=(1, 1))


def test_more_orbitals_than_there_are_are_refused(water):
    with pytest.raises(InputError, match="may not be greater than 4"):
        states_of(water, window=(5, 1))
    with pytest.raises(UsageError, match="the states 1 to 4"):
        states_of(water, window=(2, 1), plot_state=9)


def test_a_radical_whose_states_refer_to_none_is_refused_and_microstates_help():
    with pytest.raises(CalculationFailed, match="below the first doublet.*microstates"):
        states_of(molecule(ALLYL, multiplicity=2))
    states = states_of(molecule(ALLYL, multiplicity=2), microstates=True).states
    assert states[0].spin_name == "doublet" and not states.below()
    assert states[1].energy > 1.0
    assert "SOMO" in states.name(states.first_level + states.occupied - 1)


def test_nothing_above_the_ground_state_is_said(water):
    run = Uv(window=(1, 0)).start(water, "zindos")
    with Backend() as backend:
        result = run.execute(backend)
    assert "no states above the ground state" in "\n".join(run.summary(result))


# ---- the command line ---------------------------------------------------------------------------

def test_the_table_names_the_bands(examples):
    lines = command(str(examples / "benzene.xyz"), "--states", "3").stdout.splitlines()
    assert "ZINDO/S" in lines[0] and "15 occupied and 15 empty orbitals" in lines[2]
    state = lines[-1].split()
    assert 195 < float(state[1]) < 205 and float(state[4]) > 0.8 and state[5] == "singlet"
    assert "HOMO" in lines[-1] and "LUMO" in lines[-1] and len(lines) == 11


def test_the_document_has_states_and_orbitals(examples):
    run = command(str(examples / "formaldehyde.xyz"), "--plot-state", "2", "--json",
                  "--triplets", "--window", "3", "2")
    block = json.loads(run.stdout)["uv"]
    assert block["window"] == [3, 2] and block["configurations"] == 13
    assert [state["state"] for state in block["states"]] == list(range(1, 11))
    state = block["states"][1]
    assert state["wavelength_nm"] * state["energy_ev"] == pytest.approx(1239.842, abs=0.01)
    assert {one["kind"] for one in state["contributions"]} == {"alpha", "beta"}
    pair, = block["natural_transition_orbitals"]
    assert pair["weight"] > 0.97 and pair["hole"]["6"] == pytest.approx(1, abs=0.01)


def test_tables_of_states_and_of_the_curve(examples, tmp_path):
    target = tmp_path / "b.csv"
    command(str(examples / "benzene.xyz"), "-o", str(target), "--window", "3", "3")
    lines = target.read_text().splitlines()
    rows = list(csv.DictReader(line for line in lines if not line.startswith("#")))
    assert float(rows[2]["oscillator_strength"]) > 0.5 and len(rows) == 9
    curve = (tmp_path / "b-curve.csv").read_text().splitlines()
    assert "1.3062974e8 f/sigma" in curve[1] and "sigma 0.4 eV (3226 1/cm)" in curve[1]
    points = np.array([[float(x) for x in line.split(",")] for line in curve[3:]])
    assert np.allclose(points[:, 0] * points[:, 1], 1e7, rtol=1e-4)
    total = sum(float(row["oscillator_strength"]) for row in rows)
    area = points[:, 3].sum() * (points[1, 0] - points[0, 0])
    assert 4.319e-9 * area == pytest.approx(total, rel=2e-2)


def test_a_picture_of_the_spectrum_and_of_the_orbitals(examples, tmp_path):
    target = tmp_path / "f.png"
    command(str(examples / "formaldehyde.xyz"), "-o", str(target), "--window", "2", "2",
            "--plot-state", "2", "-q")
    assert sorted(path.name for path in tmp_path.iterdir()) == [
        "f-state2-1-hole.cube", "f-state2-1-hole.png", "f-state2-1-particle.cube",
        "f-state2-1-particle.png", "f.png"]
    assert all(path.read_bytes().startswith(b"\x89PNG") for path in tmp_path.glob("*.png"))


def test_the_same_spectrum_is_the_same_picture(examples, tmp_path):
    pictures = []
    for name in ("a.svg", "b.svg"):
        command(str(examples / "formaldehyde.xyz"), "-o", str(tmp_path / name), "-q")
        pictures.append((tmp_path / name).read_text())
    assert pictures[0] == pictures[1]
    for words in ("HOMO", "wavelength (nm)", "energy (eV)", "1.3062974e8", "sigma 0.4 eV"):
        assert words in pictures[0]


def test_energy_lists_the_states_too(examples):
    run = subprocess.run([ROOT / "orbitrax", "energy", examples / "formaldehyde.xyz", "-m",
                          "zindos", "--ci", "singles", "--window", "3", "3"],
                         capture_output=True, text=True, check=True)
    assert "triplet  A2   HOMO -> LUMO" in run.stdout and "RMS gradient" in run.stdout


def test_light_is_taken_where_the_species_allows_it():
    """In D2H a transition is allowed to B1U, B2U and B3U, the species of z, y and x, and its dipole
    lies on that axis; of pi to pi* of ethylene that of the bond."""
    ethylene = molecule([("C", 0, 0, 0.665), ("C", 0, 0, -0.665), ("H", 0, 0.93, 1.24),
                         ("H", 0, -0.93, 1.24), ("H", 0, 0.93, -1.24), ("H", 0, -0.93, -1.24)])
    states = states_of(ethylene).states
    species = [state.symmetry for state in states]
    assert None not in species and len(set(species)) == 8 and species[0] == "AG"
    for state in states.alike()[1:]:
        assert (state.oscillator_strength > 1e-6) <= (state.symmetry in ("B1U", "B2U", "B3U"))
    axes = {state.symmetry: int(np.abs(state.transition_dipole).argmax()) for state in
            states.alike()[1:] if state.oscillator_strength > 1e-6}
    assert len(axes) == len(set(axes.values())) == 3
    first = states.alike()[1]
    assert "HOMO -> LUMO 0.9" in states.main(first) and axes[first.symmetry] == 2


def test_help_says_what_the_method_is(examples):
    assert "default zindos" in " ".join(command("--help").stdout.split())
    assert "no parameters for He" in command("--smiles", "[He]", status=2).stderr


def test_cclib_has_the_transitions(examples):
    formaldehyde = read_molecule(str(examples / "formaldehyde.xyz"))
    job = Job(formaldehyde, "zindos", ci="singles", window=(3, 3))
    with Backend() as backend:
        result = backend.run(job)
    data = to_cclib(job, result)
    assert data.etenergies[1] == pytest.approx(result.states[2].energy * 8065.544, rel=1e-6)
    assert data.etoscs.max() > 0.3 and data.etsyms[:2] == ["Triplet-A2", "Singlet-A2"]
    (hole, spin), (particle, _), coefficient = data.etsecs[0][0]
    assert (hole, particle) == (data.homos[0], data.homos[0] + 1) and spin in (0, 1)
    assert abs(coefficient) == pytest.approx(0.7, abs=0.02)


def test_errors_are_the_package_s_own():
    with pytest.raises(OrbitraxError):
        states_of(molecule([("He", 0, 0, 0)]))


def test_a_bare_core_is_refused_in_words_of_its_own():
    with pytest.raises(UsageError, match=r"charge \+1 there are no valence electrons left"):
        Uv(charge=1).start(Molecule([3], [[0, 0, 0]]), "zindos").execute(Backend())


# ---- states that are doubtful -------------------------------------------------------------------

def warned(*words):
    done = command(*words)
    return [line.partition("warning: ")[2] for line in done.stderr.splitlines()]


def test_a_state_of_another_spin_below_the_ground_state_is_told(tmp_path):
    """Hydrogen pulled apart, whose triplet lies below the closed shell."""
    path = tmp_path / "h2.xyz"
    path.write_text("2\n\nH 0 0 0\nH 0 0 2.2\n")
    [told] = warned(path, "-m", "am1")
    assert told.startswith("a triplet lies 2.26 eV below the singlet to which energies and")
    done = command(path, "-m", "am1", "--triplets")
    assert "-0.0000" not in done.stdout and "Remark: the atoms by themselves" in done.stdout
    assert warned(path, "-m", "am1", "-s", "3") == warned(ROOT / "examples" / "benzene.xyz") == []


def test_a_ground_state_that_is_an_excitation_is_told(tmp_path):
    """Oxygen as a closed shell: the other half of its singlet delta lies below it."""
    path = tmp_path / "o2.xyz"
    path.write_text("2\n\nO 0 0 0\nO 0 0 1.2\n")
    told = warned(path, "-s", "1")
    assert told[0].startswith("the ground state is HOMO -> LUMO 1.00, 0.41 eV below the closed")
    assert "triplet" in told[1] and len(told) == 2
    assert all("the ground state is" not in text for text in warned(
        path, "-s", "1", "--microstates", "-m", "am1"))


@pytest.mark.parametrize("window", [(1, 1), (2, 1), (1, 2), (3, 3), (4, 2), (2, 2)])
def test_a_window_that_parts_equal_levels_is_told(window):
    """Benzene."""
    result = states_of(read_molecule(ROOT / "examples" / "benzene.xyz"), window=window)
    levels = result.orbital_energies
    homo = 14
    low, high = homo + 1 - window[0], homo + 1 + window[1]
    parted = [levels[low] - levels[low - 1] < 0.01, levels[high] - levels[high - 1] < 0.01]
    told = [text for text in result.warnings if "equal levels" in text]
    assert bool(told) == any(parted)
    for text in told:
        wanted = [int(word) for word in text.split("--window ")[1].split()[:2]]
        low, high = homo + 1 - wanted[0], homo + 1 + wanted[1]
        assert levels[low] - levels[low - 1] > 0.01 and levels[high] - levels[high - 1] > 0.01
        assert [a - b for a, b in zip(wanted, window)] == [int(one) for one in parted]


def test_the_energy_is_said_to_be_that_of_the_state_that_is_asked_for():
    done = command(ROOT / "examples" / "formaldehyde.xyz", "--next-lowest")
    assert "kcal/mol, state 2\n" in done.stdout
    assert "state 2\n" not in command(ROOT / "examples" / "formaldehyde.xyz").stdout
