"""The order of a session: what the backend asks for and sends, packet by packet."""

import numpy as np
import pytest
from sessions import (BLOCK_BYTES, ETHANE_PART, KEYS, NO_FORCE_MATRIX, NOTHING_TO_PLOT, WATER, Step,
                      again, calculation, connect, first, grid, options, play, ready, reset,
                      restraint_steps, tables)

from orbitrax.link import wire

ASKS = wire.REQUEST_NEXT
NO_CALCULATION = {"fCalculate": 0}
QUIET = {"nLogLevel": 10}
NOTHING = {"nCalcKind": 3}  # a job that does nothing
ALPHA_OF_HYDROGEN = 9  # the tenth number of the first row


def refusal(name: str, came: int, needed: int) -> str:
    return f'The packet "{name}" is too short: it has {came} bytes, and needs {needed}.'


def restraint(kind: int, *atoms: int) -> np.ndarray:
    record = np.zeros(1, wire.RESTRAINT_RECORD)
    record["nKind"] = kind
    record["nAtom"][0, :len(atoms)] = atoms
    record["flForceConstant"] = record["flTarget"] = 1.0
    return record


@pytest.mark.parametrize("method", KEYS)
def test_a_first_session_asks_for_the_tables_and_then_for_the_job(start, method):
    steps = calculation(method)
    intake = [*tables(method), *steps]
    assert len(intake[2].payload) == BLOCK_BYTES[method]
    transcript = first(start(), steps, method)
    head = transcript.packets[:1 + len(intake)]
    assert (head[0].kind, head[0].payload) == (wire.DATA, wire.word(1))
    assert [packet.kind for packet in head[1:]] == [ASKS] * len(intake)
    assert ASKS not in [packet.kind for packet in transcript.after_intake]


@pytest.mark.parametrize("method", KEYS)
def test_a_later_session_asks_for_the_job_alone(start, method):
    peer, steps = start(), calculation(method)
    ready(peer, method)
    for _ in range(2):
        transcript = again(peer, steps)
        assert transcript.kinds[:len(steps)] == [ASKS] * len(steps)
        assert ASKS not in [packet.kind for packet in transcript.after_intake]


@pytest.mark.parametrize("method", KEYS)
def test_each_step_needs_all_its_bytes_and_says_so(start, method):
    peer, intake = start(), [*tables(method), *calculation(method)]
    assert connect(peer) == 1
    loaded = len(tables(method))
    for i, step in enumerate(intake):
        if step.name is None:
            continue
        size = len(step.payload)
        # What has been refused once is asked for again from its session's beginning.
        told = intake[:i] if i < loaded + 1 else intake[loaded:i]
        short = step._replace(payload=step.payload[:-1])
        transcript = play(peer, [*told, short])
        assert transcript.errors == [refusal(step.name, size - 1, size)]
        assert transcript.packets[-1].kind == wire.ERROR_LINE
        reset(peer)
    assert play(peer, calculation(method)).told == len(calculation(method))


def test_reactant_product_and_restraints_need_all_their_bytes_too(start):
    peer = start()
    ready(peer)
    kept = restraint_steps([0, 1, 0, 0], restraint(1, 0, 1))
    steps = calculation(job={"nCalcKind": 6}, restraints=kept)
    names = [step.name for step in steps]
    for name in ("restraint counts", "restraints", "reactant", "product"):
        i = names.index(name)
        size = len(steps[i].payload)
        short = steps[i]._replace(payload=steps[i].payload[:-4])
        transcript = again(peer, [*steps[:i], short])
        assert transcript.errors == [refusal(name, size - 4, size)]


@pytest.mark.parametrize("method", ["am1", "mindo3"])
def test_bytes_beyond_what_a_step_asks_for_are_dropped(start, method):
    steps = calculation(method)
    longer = [step._replace(payload=step.payload + b"\xa5" * 64) for step in steps]
    exact, cut = start(), start()
    expected = first(exact, steps, method)
    assert first(cut, longer, method).packets == expected.packets


def test_a_length_word_is_not_believed_beyond_the_bytes_that_came(start):
    peer = start()
    assert connect(peer) == 1
    lying = Step("parameter method", b"\1", length=2**31 - 1)
    transcript = play(peer, [tables("am1")[0], lying])
    assert transcript.errors == [refusal("parameter method", 1, 4)]


@pytest.mark.parametrize("tag", [b"", wire.word(2), wire.word(-1), b"\0" * 8])
def test_any_word_size_is_taken(start, tag):
    peer = start()
    assert connect(peer) == 1
    intake = [Step(None, tag), *tables("am1")[1:], *options(NO_CALCULATION)]
    assert play(peer, intake).after_intake == []


def test_the_types_of_incoming_packets_mean_nothing(start):
    usual, odd = start(), start()
    steps = calculation()
    expected = first(usual, steps)
    assert connect(odd) == 1
    changed = [step._replace(kind=12345) for step in [*tables("am1"), *steps]]
    assert play(odd, changed).packets == expected.packets


@pytest.mark.parametrize("number", [-1, 10, 2**31 - 1])
def test_parameters_of_a_method_that_is_none_are_refused(start, number):
    peer = start()
    assert connect(peer) == 1
    transcript = play(peer, [tables("am1")[0], Step(None, wire.word(number))])
    assert transcript.errors == [f"The method of the parameters is not in range ({number})."]


def test_bond_pairs_are_asked_for_only_where_there_are_some(start):
    peer = start()
    assert connect(peer) == 1
    intake = tables("mindo3")
    assert len(intake[4].payload) == 32 * int.from_bytes(intake[3].payload, "little")
    none = [*intake[:3], Step("count of bond pairs", wire.word(0)), *options(NO_CALCULATION)]
    assert play(peer, none).after_intake == []


@pytest.mark.parametrize("count", [-1, 22156, 2**31 - 1])
def test_a_count_of_bond_pairs_out_of_range_is_refused(start, count):
    peer = start()
    assert connect(peer) == 1
    transcript = play(peer, [*tables("mindo3")[:3], Step(None, wire.word(count))])
    assert transcript.errors == [f"The number of bond pairs is not in range ({count})."]


def test_a_session_without_calculation_asks_for_three_packets(start):
    peer = start()
    ready(peer)
    transcript = again(peer, options(NO_CALCULATION))
    assert transcript.kinds == [ASKS] * 3


@pytest.mark.parametrize("kind", [3, 9, 10, 2**31 - 1, -1])
def test_a_job_of_no_kind_does_nothing(start, kind):
    peer = start()
    transcript = first(peer, calculation(job={"nCalcKind": kind}))
    assert transcript.after_intake == []
    assert again(peer, calculation(job=NOTHING)).after_intake == []


@pytest.mark.parametrize("kind", [3, 9])
def test_a_job_of_no_kind_still_comes_to_the_plot(start, kind):
    transcript = first(start(), calculation(run={"fPlot": 1}, job={"nCalcKind": kind}))
    assert [packet.text for packet in transcript.after_intake] == [NOTHING_TO_PLOT]


def test_dynamics_of_an_unknown_kind_are_set_up_and_end(start):
    for kind in (-1, 3):
        steps = calculation(run=QUIET, job={"nCalcKind": 2, "nMdKind": kind})
        transcript = first(start(), steps)
        assert [(p.kind, p.text) for p in transcript.after_intake if p.text] == [
            (wire.STATUS_LINE, "Starting an AM1 calculation with 6 orbitals.")]


@pytest.mark.parametrize("sessions", [1, 2])
def test_a_plot_without_a_calculation_is_refused(start, sessions):
    peer = start()
    steps = options({"fCalculate": 0, "fPlot": 1})
    transcript = first(peer, steps)
    for _ in range(1, sessions):
        transcript = again(peer, steps)
    assert transcript.errors == [NOTHING_TO_PLOT]
    assert transcript.packets[-1].kind == wire.ERROR_LINE


def test_vibrations_without_a_force_matrix_are_refused(start):
    transcript = first(start(), calculation(job={"nCalcKind": 4}))
    assert transcript.errors == [NO_FORCE_MATRIX]
    assert [packet.text for packet in transcript.after_intake if packet.kind < 9000] == []


def test_a_job_that_fails_does_not_keep_the_session_from_its_plot(start):
    transcript = first(start(), calculation(run={"fPlot": 1}, job={"nCalcKind": 4}))
    assert transcript.errors == [NO_FORCE_MATRIX, NOTHING_TO_PLOT]


@pytest.mark.parametrize(("loaded", "asked"), [("am1", 6), ("mndo", 9), ("cndo", 3), ("zindo1", 8),
                                               ("pm3", 10), ("am1", -1)])
def test_a_job_for_a_method_without_tables_is_refused(start, loaded, asked):
    peer = start()
    ready(peer, loaded)
    transcript = again(peer, calculation(loaded, method_id=asked))
    number = KEYS.index(loaded) + 1
    assert transcript.errors == [
        f"The parameters of method {number} are loaded, but the job asks for method {asked}; "
        "please start a new backend."]
    assert again(peer, calculation(loaded, job=NOTHING)).after_intake == []


@pytest.mark.parametrize(("loaded", "asked", "name"),
                         [("cndo", 2, "an INDO"), ("indo", 1, "a CNDO")])
def test_two_methods_share_one_set_of_tables(start, loaded, asked, name):
    peer = start()
    ready(peer, loaded)
    status = again(peer, calculation(loaded, run=QUIET, method_id=asked)).texts(wire.STATUS_LINE)
    assert status[0] == f"Starting {name} calculation with 6 orbitals."


@pytest.mark.parametrize(("atoms", "pulls"), [(1, 1), (170, 1), (171, 2), (340, 2), (341, 3)])
def test_atoms_come_in_pulls_of_170(start, atoms, pulls):
    steps = calculation(molecule=grid(atoms), job=NOTHING)
    assert [step.name for step in steps].count("atoms") == pulls
    assert first(start(), steps).after_intake == []


@pytest.mark.parametrize("count", [0, -1])
def test_a_molecule_without_atoms_is_refused(start, count):
    steps = [*options(), Step("atom count", wire.word(count))]
    assert first(start(), steps).errors == [f"The number of atoms is not in range ({count})."]


@pytest.mark.parametrize(("count", "pulls"), [(1, 1), (455, 1), (456, 2), (911, 3)])
def test_restraints_come_in_pulls_of_16384_bytes(start, count, pulls):
    kept = restraint_steps([0, count, 0, 0], np.repeat(restraint(1, 0, 1), count))
    assert len(kept) == 1 + pulls
    assert first(start(), calculation(job=NOTHING, restraints=kept)).after_intake == []


def test_restraints_come_list_by_list(start):
    records = np.concatenate([restraint(0, 2), restraint(1, 0, 1), restraint(2, 1, 0, 2),
                              restraint(2, 1, 0, 7)])
    kept = restraint_steps([1, 1, 2, 0], records)
    assert [step.name for step in kept] == ["restraint counts"] + ["restraints"] * 3
    steps = calculation(job=NOTHING, restraints=kept)
    names = [step.name for step in steps]
    until = len(names) - names[::-1].index("restraints")
    assert first(start(), steps[:until]).errors == [
        "The restraint 4 names an atom that is not there (8)."]


def test_lists_without_restraints_are_not_asked_for(start):
    kept = restraint_steps([0, 0, 0, 0])
    assert len(kept) == 1
    assert first(start(), calculation(job=NOTHING, restraints=kept)).after_intake == []


def test_the_selection_names_the_selected_atoms_and_no_capping_atoms(start):
    steps = calculation(molecule=ETHANE_PART, select=[1, 2, 3, 4], run=QUIET)
    assert len(steps[-1].payload) == 36 + 4 * 4
    status = first(start(), steps).texts(wire.STATUS_LINE)
    # Carbon and the capping atom have four orbitals each, the three hydrogens one.
    assert status[0] == "Starting an AM1 calculation with 11 orbitals."


def test_a_synchronous_transit_asks_for_two_geometries(start):
    steps = calculation(job={"nCalcKind": 6})
    assert [(step.name, len(step.payload)) for step in steps[-2:]] == [("reactant", 36),
                                                                       ("product", 36)]
    assert first(start(), steps).told == len(tables("am1")) + len(steps)


@pytest.mark.parametrize("optimiser", range(5))
def test_an_optimisation_of_a_method_without_energies_sends_its_end(start, optimiser):
    # The only molecules of method 0 are those without electrons, since it has no orbitals either.
    peer = start()
    assert connect(peer) == 1
    steps = calculation(run={**QUIET, "nTotalCharge": 8}, method_id=0,
                        job={"nCalcKind": 1, "nOptimiser": optimiser})
    head = [Step(None, wire.word(4)), Step("parameter method", wire.word(0))]
    transcript = play(peer, [*head, *steps])
    assert transcript.errors == []
    sent = [packet for packet in transcript.after_intake if packet.kind < 9000]
    assert [len(packet.payload) for packet in sent] == [172, 36, 12, 4, 4]
    places = np.frombuffer(sent[1].payload, "<f4").reshape(-1, 3)
    np.testing.assert_array_equal(places, WATER.positions.astype("<f4"))


def test_vectors_of_a_job_that_left_none_are_zeros(start):
    peer = start()
    vectors = {**QUIET, "fSendOrbitals": 1}
    good = first(peer, calculation(run=vectors)).after_intake[-1].payload
    assert len(good) == 4 * 6 * 6 and any(good)
    # A job of no kind frees the orbitals of the last one, an intake that fails too.
    assert again(peer, calculation(run=vectors, job=NOTHING)).after_intake[-1].payload == bytes(144)
    assert again(peer, calculation(run=vectors)).after_intake[-1].payload == good
    refused = [*options(vectors), Step("atom count", wire.word(0))]
    assert again(peer, refused).errors == ["The number of atoms is not in range (0)."]
    zeros = again(peer, options({**vectors, "fCalculate": 0, "nSpinTreatment": 1})).after_intake
    assert [packet.payload for packet in zeros] == [bytes(144)] * 2


def test_a_silent_log_leaves_the_status_line(start):
    peer = start()
    loud = first(peer, calculation(run={"nLogLevel": 9}))
    quiet = again(peer, calculation(run=QUIET))
    assert "Accelerate convergence = YES" in loud.texts(wire.LOG_LINE)
    assert set(quiet.texts(wire.LOG_LINE)) == {""}  # the gaps around the start always come
    start_line = "Starting an AM1 calculation with 6 orbitals."
    assert loud.texts(wire.STATUS_LINE)[0] == quiet.texts(wire.STATUS_LINE)[0] == start_line


def test_warnings_come_only_to_a_job_that_shows_them(start):
    # Hydrogen with no core-core exponent, which is worth a warning in every job.
    block = np.frombuffer(tables("am1")[2].payload, "<f8").copy()
    block[ALPHA_OF_HYDROGEN] = 0.0
    peer = start()
    assert connect(peer) == 1
    shown = play(peer, [*tables("am1", block.tobytes()), *calculation()])
    hidden = again(peer, calculation(job={"fShowWarnings": 0}))
    warnings = [text for text in shown.texts(wire.WARNING_LINE) if "alpha" in text]
    assert warnings == [
        f"Atom {atom} with atomic number 1: the core-core repulsion parameter alpha in "
        "am1_1.abp is not positive." for atom in (2, 3)]
    assert hidden.texts(wire.WARNING_LINE) == []
    assert hidden.texts(wire.STATUS_LINE)[0] == shown.texts(wire.STATUS_LINE)[0]


@pytest.mark.parametrize("shown", [0, 1])
def test_errors_come_to_every_job(start, shown):
    job = {"nCalcKind": 4, "fShowWarnings": shown}
    assert first(start(), calculation(run=QUIET, job=job)).errors == [NO_FORCE_MATRIX]
