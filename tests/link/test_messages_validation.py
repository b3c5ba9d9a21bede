"""Every text of the intake and of the validation of a job, raised through the process: what is
changed in a good job, and the text that comes of it, on its channel."""

from __future__ import annotations

import re
from typing import NamedTuple

import numpy as np
import pytest
import test_messages_parameters
from jobs import ROOT, Process, Script, capped, messages, restraint, single_point, water

from orbitrax.link import wire

INT_MIN = -2**31


class Case(NamedTuple):
    """A text, its channel, the method and job, and what is done to the job. The channel "refusal"
    is that of errors, and nothing but the text is sent."""

    message: str
    channel: str
    text: str
    method: str
    job: object
    changes: tuple


def case(message, channel, text, *changes, method="am1", job=water):
    return Case(message, channel, text, method, job, changes)


def refusal(message, text, *changes, **of):
    return case(message, "refusal", text, *changes, **of)


# ---- what is done to a job ----------------------------------------------------------------------


def options(**fields):
    return lambda script: [script.options.__setitem__(*item) for item in fields.items()]


def job_options(**fields):
    return lambda script: [script.job.__setitem__(*item) for item in fields.items()]


def atom(index, **fields):
    return lambda script: [script.atoms[index].__setitem__(*item) for item in fields.items()]


def packet(name, payload):
    return lambda script: script.changed.__setitem__(name, payload)


def head(index, payload):
    """One packet of the parameter intake: 0 word size, 1 method, 2 block, 3 count, 4 pairs."""
    return lambda script: script.head.__setitem__(index, payload)


def shorter(name):
    """A packet that lacks its last byte."""
    return lambda script: script.changed.__setitem__(name, script.payloads()[name][:-1])


def selection_entry(position, number):
    def change(script):
        block = bytearray(script.payloads()["selection"])
        block[36 + 4 * position:40 + 4 * position] = wire.word(number)
        script.changed["selection"] = bytes(block)
    return change


def restrained(*records):
    def change(script):
        script.job["fRestraints"], script.restraints = 1, list(records)
    return change


def record_with(kind, atoms, **fields):
    record = restraint(kind, atoms, 1.0)
    for name, value in fields.items():
        record[name] = value
    return record


def transit(script):
    script.job["nCalcKind"] = 6
    script.transit = [np.ones((len(script.atoms), 3)), np.ones((len(script.atoms), 3))]


def dummies_all(script):
    script.atoms["nAtomicNumber"] = 0


def molecule(*atoms):
    return lambda method: single_point(method, list(atoms))


def hydrogens(method):
    return single_point(method, [("H", 0, 0, 0), ("H", 0.74, 0, 0)])


def with_metal(symbol, outside=False):
    return molecule(("O", 0, 0, 0), ("H", 0.9572, 0, 0), ("H", -0.24, 0.9266, 0),
                    (symbol, 0, 0, 3, outside))


def bent(script):
    """A bond table that names an atom that is not there."""
    script.atoms[1]["nBonds"] = 1
    script.atoms[1]["nBonded"][0] = 3


CI = options(nCiKind=1, nCiSelection=1, nCiOccupied=1, nCiUnoccupied=1)
NAN = float("nan")


# ---- the intake ---------------------------------------------------------------------------------

INTAKE = [
    *[refusal("OptionUnknown", f"The value of the option {name} is not known ({value}).",
              options(**{name: value}))
      for name, highest in (("nSpinTreatment", 1), ("nCiKind", 2))
      for value in (highest + 1, -1, INT_MIN)],
    *[refusal("SettingNotANumber", "The setting flConvergenceLimit is not a number.",
              options(flConvergenceLimit=value)) for value in (NAN, np.inf, -np.inf)],
    refusal("SettingNotANumber", "The setting flRmsGradient is not a number.",
            job_options(flRmsGradient=NAN)),
    *[refusal("AtomCount", f"The number of atoms is not in range ({n}).",
              packet("atom count", wire.word(n))) for n in (0, -1, INT_MIN)],
    *[refusal("OutOfMemorySetUp", "The molecule selected for calculation is too large and has "
              "consumed all available memory.", packet("atom count", wire.word(n)))
      for n in (2**24 + 1, 2**31 - 1)],
    *[refusal("ElementTooHigh", f"Sorry, the element with atomic number {z} is not available in "
              "the current method, which ends at atomic number 105; please switch to another "
              "method.", atom(1, nAtomicNumber=z)) for z in (106, 2**31 - 1)],
    *[refusal("AtomNotANumber", "A coordinate or the charge of an atom is not a number (atom 2).",
              atom(1, **{name: value}))
      for name in ("flX", "flY", "flZ", "flCharge") for value in (NAN, np.inf, 1e6, -1e6)],
    case("BondTable", "error", "The bond table names an atom that is not there (atom 2).", bent),
    *[refusal("RestraintAtom", f"The restraint 1 names an atom that is not there ({said}).",
              restrained(record_with(1, (0, index))))
      for index, said in ((3, 4), (-1, 0), (2**31 - 1, 2**31), (INT_MIN, INT_MIN + 1))],
    refusal("RestraintAtom", "The restraint 2 names an atom that is not there (9).",
            restrained(record_with(0, (1,)), record_with(2, (0, 1, 8)))),
    *[refusal("SamePosition", "Two or more atoms are in the same position.",
              restrained(record_with(kind, atoms)))
      for kind, atoms in ((1, (1, 1)), (2, (0, 1, 0)), (3, (0, 1, 2, 2)))],
    refusal("SettingNotANumber", "The setting restraint force constant is not a number.",
            restrained(record_with(1, (0, 1), flForceConstant=NAN))),
    *[refusal("SettingNotANumber", "The setting restraint target is not a number.",
              restrained(record_with(0, (1,), **{name: np.inf})))
      for name in ("flTarget", "flTargetY", "flTargetZ")],
    *[refusal("OutOfMemoryRestraints", "Unable to allocate memory for restraints.",
              restrained(record_with(0, (1,))), packet("restraint counts", counts))
      for counts in (wire.word(-1) * 4, wire.word(2**31 - 1) * 4,
                     wire.word(INT_MIN) + wire.word(0) * 3)],
    *[refusal("SelectionEntry", f"The entry {position + 1} of the selection names an atom that is "
              f"not there, is there twice or is not selected ({number}).",
              selection_entry(position, number), job=job)
      for position, number, job in ((0, 0, water), (2, 4, water), (1, -1, water), (1, 1, water),
                                    (0, INT_MIN, water), (1, 3, capped), (1, 4, capped))],
    *[refusal("MethodNotLoaded", f"The parameters of method {loaded} are loaded, but the job asks "
              f"for method {asked}; please start a new backend.",
              lambda script, asked=asked: setattr(script, "asked_method", asked), method=method)
      for method, loaded, asked in (("am1", 5, 6), ("cndo", 1, 3), ("zindos", 8, 7),
                                    ("am1", 5, 10), ("am1", 5, -1), ("am1", 5, INT_MIN))],
    *[refusal("ParameterMethod", f"The method of the parameters is not in range ({n}).",
              head(1, wire.word(n))) for n in (10, -1, INT_MIN)],
    *[refusal("PairCount", f"The number of bond pairs is not in range ({n}).",
              head(3, wire.word(n)), method="mindo3") for n in (-1, 22156, 2**31 - 1)],
    case("BondPairCode", "error", "Invalid parameter(s) in mindo3_3.abp",
         head(3, wire.word(1)), head(4, np.array([0.0, 1, 1, 1]).tobytes()), method="mindo3"),
]

SHORT = "The packet \"{}\" is too short: it has {} bytes, and needs {}."
PACKETS = [
    *[refusal("PacketShort", SHORT.format(step, size - 1, size), shorter(name), job=capped)
      for name, step, size in (
          ("debug word", "debug word", 4), ("run options", "run options", 184),
          ("job options", "job options", 152), ("atom count", "atom count", 4),
          ("atoms", "atoms", 4 * 96), ("restraint counts", "restraint counts", 16),
          ("restraints 3", "restraints", 36), ("selection", "selection", 44))],
    *[refusal("PacketShort", SHORT.format(name, 35, 36), transit, shorter(name))
      for name in ("reactant", "product")],
    refusal("PacketShort", SHORT.format("parameter method", 3, 4), head(1, bytes(3))),
    *[refusal("PacketShort", SHORT.format("parameters", 0, size), head(2, b""), method=method)
      for method, size in (("cndo", 10368), ("mindo3", 42000), ("mndo", 42000), ("am1", 92400),
                           ("pm3", 92400), ("zindo1", 27648), ("zindos", 30240),
                           ("mndod", 42000))],
    refusal("PacketShort", SHORT.format("count of bond pairs", 0, 4), head(3, b""),
            method="mindo3"),
    refusal("PacketShort", SHORT.format("bond pairs", 63, 64), head(3, wire.word(2)),
            head(4, bytes(63)), method="mindo3"),
    refusal("AtomNotANumber", "A coordinate or the charge of an atom is not a number (atom 2).",
            transit, packet("product", np.array([1] * 5 + [NAN] * 4, "<f4").tobytes())),
]

# ---- atoms and elements -------------------------------------------------------------------------

HIGH = ("Sorry, the element with atomic number {} is not available in the current method, which "
        "ends at atomic number {}; please switch to another method.")
METALS = ("Sorry, the current method that you have chosen is not available for systems with "
          "transition metals (atom {}), please switch to ZINDO/1 or ZINDO/S.")
INNER = ("Sorry, the current method that you have chosen is not available for systems with {} "
         "(atom 4), please switch to Extended-Huckel.")


def capping_element(number):
    return atom(2, nAtomicNumber=number)


ATOMS = [
    case("AtomsSuperpose", "error", "Atom 1 superposes atom 3, their separate distance is 0.000900 "
         "angstroms.  Please correct this fault", atom(2, flX=0.0009, flY=0)),
    *[refusal("MassTooSmall", f"The mass for atom 3 is too small ({said}).", atom(2, flMass=mass))
      for mass, said in ((0, "0.000000"), (-1, "-1.000000"), (1e-10, "0.000000"))],
    refusal("NoRealAtom", "There is no real atom in the molecule.", dummies_all),
    refusal("NoRealAtomSelected", "There is no real atom among the selected atoms.",
            atom(0, nAtomicNumber=0), atom(1, nAtomicNumber=0), job=capped),
    *[refusal("ElementTooHigh", HIGH.format(55, 54), job=with_metal("Cs", outside), method=method)
      for method in ("cndo", "indo", "zindo1", "zindos") for outside in (False, True)],
    refusal("ElementTooHigh", HIGH.format(55, 54), capping_element(55), job=capped, method="cndo"),
    refusal("ElementTooHigh", HIGH.format(89, 88), capping_element(89), job=capped, method="am1"),
    *[refusal("TransitionMetal", METALS.format(4), job=with_metal(symbol), method=method)
      for method in ("cndo", "indo", "mindo3") for symbol in ("Sc", "Cu", "Y", "Ag")],
    refusal("TransitionMetal", METALS.format(3), capping_element(26), job=capped, method="indo"),
    *[case(message, "error", INNER.format(words), job=with_metal(symbol), method=method)
      for method in ("mndo", "am1", "pm3", "mndod")
      for message, words, symbols in (("Lanthanide", "Lanthanides", ("Ce", "Lu")),
                                      ("Actinide", "Actinides", ("Th", "Lr")))
      for symbol in symbols],
]

# ---- electrons and levels -----------------------------------------------------------------------

STATES = [("Singlet", "an even"), ("Doublet", "an odd"), ("Triplet", "an even"),
          ("Quartet", "an odd"), ("Quintet", "an even"), ("Sextet", "an odd"),
          ("Septet", "an even")]
NO_MULTIPLICITY = ("Sorry, this spin multiplicity is not available; please choose 1 to 7, or 1 for "
                   "the next lowest state.")

ELECTRONS = [
    refusal("NegativeElectrons", "The number of electrons is less than zero; the total charge is "
            "too high.", options(nTotalCharge=9)),
    refusal("TooFewElectrons", "There are too few electrons for the spin multiplicity.",
            options(nMultiplicity=4), job=hydrogens),
    refusal("TooManyElectrons", "There are too many electrons for the number of orbitals.",
            options(nTotalCharge=-5)),
    refusal("VibrationsOneAtom", "Sorry, vibrational analysis is not available for a system with "
            "only one atom.", job_options(nCalcKind=4), options(fComputeForceMatrix=1),
            job=molecule(("O", 0, 0, 0))),
    refusal("NextLowestUhf", "Sorry, the next lowest state can not be used with UHF in the current "
            "Molarium.", options(nSpinTreatment=1, fNextLowestState=1)),
    refusal("CiUhf", "Sorry, configuration interaction can not be used with UHF in the current "
            "Molarium.", options(nSpinTreatment=1), CI),
    *[refusal("MultiplicityZero", "The spin multiplicity may not be less than 1.",
              options(nMultiplicity=value, nSpinTreatment=spin))
      for value in (-1, INT_MIN) for spin in (0, 1)],
    *[refusal("MultiplicityTooHigh", NO_MULTIPLICITY, options(nMultiplicity=8, nSpinTreatment=spin))
      for spin in (0, 1)],
    refusal("MultiplicityTooHigh", NO_MULTIPLICITY, options(nMultiplicity=3, fNextLowestState=1)),
    *[refusal(f"{state}Electrons", f"A {state.lower()} state must have {parity} number of "
              "electrons; please change the total charge or the spin multiplicity.",
              options(nMultiplicity=number, nTotalCharge=number % 2, nSpinTreatment=spin))
      for number, (state, parity) in enumerate(STATES, 1) for spin in (0, 1)],
    refusal("SingletElectrons", "A singlet state must have an even number of electrons; please "
            "change the total charge or the spin multiplicity.",
            options(fNextLowestState=1, nTotalCharge=1)),
    refusal("TooManySpinElectrons", "The number of Alpha electrons (3) is greater than the number "
            "of orbitals (2).", options(nTotalCharge=-2, nMultiplicity=3, nSpinTreatment=1),
            job=hydrogens),
    refusal("NegativeDoubleLevels", "The number of double occupied levels is less than zero.",
            options(nTotalCharge=2, fNextLowestState=1), job=hydrogens),
    refusal("TooManyLevels", "The number of occupied levels is greater than the number of "
            "orbitals.", options(nTotalCharge=-2, nMultiplicity=3), job=hydrogens),
    refusal("OptimizeCi", "Sorry, geometry optimization with configuration interaction is not "
            "available in the current version of Molarium.", CI, job_options(nCalcKind=1)),
    *[refusal("DynamicsCi", "Sorry, molecular dynamics, Langevin dynamics and Monte Carlo with "
              "configuration interaction are not available in the current version of Molarium.",
              CI, job_options(nCalcKind=kind)) for kind in (2, 7, 8)],
    refusal("VibrationsCi", "Sorry, vibrational analysis with configuration interaction is not "
            "available in the current version of Molarium.", CI, job_options(nCalcKind=4),
            options(fComputeForceMatrix=1)),
    case("HalfElectronGeometry", "warning", "The optimized geometry may not correspond to the "
         "geometry with the minimum energy because of the half electron approximation.",
         options(nMultiplicity=3), job_options(nCalcKind=1, nMaxCycles=1)),
]

# Water has four occupied levels of six; of the next lowest singlet three and one half-filled.
INTERACTION = [
    refusal("MicrostateCriterion", "The energy criterion for choosing the molecular orbitals in CI "
            "may not be used in Microstates CI calculation.", options(nCiKind=2, nCiSelection=0)),
    *[refusal("CiExcitationNegative", "The maximum excitation energy in CI may not be less than "
              "0.", options(nCiKind=1, flCiMaxExcitation=value)) for value in (-0.1, NAN)],
    refusal("CiOccupiedTooFew", "The number of occupied orbitals in CI may not be less than 1.",
            CI, options(nCiOccupied=0)),
    refusal("CiUnoccupiedNegative", "The number of unoccupied orbitals in CI may not be less than "
            "0.", CI, options(nCiUnoccupied=-1)),
    *[refusal("CiOccupiedTooMany", "The number of occupied orbitals in CI may not be greater than "
              "4.", CI, options(nCiOccupied=5, fNextLowestState=state)) for state in (0, 1)],
    *[refusal("CiUnoccupiedTooMany", "The number of unoccupied orbitals in CI may not be greater "
              "than 2.", CI, options(nCiUnoccupied=3, fNextLowestState=state))
      for state in (0, 1)],
    case("LargeCi", "warning", "A large CI matrix must be calculated.  Please wait...",
         CI, options(nCiKind=2, nCiOccupied=4, nCiUnoccupied=2)),
]

# ---- the log of the settings --------------------------------------------------------------------

TIMES = job_options(flHeatTime=0.25, flRunTime=0.5, flCoolTime=0.125, flTimeStep=0.25)
TEMPERATURES = job_options(flStartTemp=1, flSimTemp=300.5, flFinalTemp=2, flTempStep=30)
RUN_LOG = "Starting temperature = 1.00 K  Simulation temperature = 300.50 K"
END_LOG = "Final temperature = 2.00 K  Temperature step = 30.00 K"
DYNAMICS_LOG = ("Heat time = 0.2500 ps  Run time = 0.5000 ps  Cool time = 0.1250 ps  Time step = "
                "0.250000 ps")


def log(message, text, *changes, **of):
    return case(message, "log", text, *changes, **of)


SETTINGS = [
    log("ConvergenceLimit", "Convergence limit = 0.0010000  Iteration limit = 7",
        options(flConvergenceLimit=0.001, nIterationLimit=7)),
    log("OverlapWeights", "Overlap weighting factors: P(Sigma-Sigma) = 1.2670 and P(Pi-Pi) = "
        "0.5850", options(flOverlapSigma=1.267, flOverlapPi=0.585), method="zindos"),
    log("Accelerate", "Accelerate convergence = YES", options(fDiis=5)),
    log("Accelerate", "Accelerate convergence = NO", options(fDiis=0)),
    *[log("Optimizer", f"Optimization algorithm = {name}",
          job_options(nCalcKind=1, nOptimiser=i, nMaxCycles=1))
      for i, name in enumerate(("Steepest Descent", "Fletcher-Reeves", "Polak-Ribiere"))],
    log("OptimizeLimits", "Criterion of RMS gradient = 0.2500 kcal/(Ang mol)  Maximum cycles = 1",
        job_options(nCalcKind=1, flRmsGradient=0.25, nMaxCycles=1)),
    *[log(message, text, job_options(nCalcKind=kind), TIMES, TEMPERATURES) for kind in (2, 7)
      for message, text in (("DynamicsTimes", DYNAMICS_LOG), ("RunTemperatures", RUN_LOG),
                            ("EndTemperatures", END_LOG))],
    log("Friction", "Friction coefficient = 0.7500 1/ps", TIMES,
        job_options(nCalcKind=7, flFriction=0.75)),
    log("MonteCarloSettings", "Heat steps = 1  Run steps = 2  Cool steps = 3  Maximum delta = "
        "0.0500 Ang", job_options(nCalcKind=8, flHeatTime=1.9, flRunTime=2, flCoolTime=3,
                                  flTimeStep=0.05)),
    log("Rhf", "RHF Calculation:\n"),
    log("Uhf", "UHF Calculation:\n", options(nSpinTreatment=1)),
    log("Electrons", "Number of electrons = 7", options(nTotalCharge=1, nMultiplicity=2)),
    *[log(f"{state}State", f"{said} state calculation",
          options(nMultiplicity=number, nTotalCharge=1 - number % 2, nSpinTreatment=spin),
          job=with_metal("O"))
      for spin in (0, 1) for number, (state, _) in enumerate(STATES, 1)
      for said in (["Sextet"] if number == 7 and not spin else [state])],
    log("NextLowestState", "The next lowest singlet state calculation",
        options(fNextLowestState=1)),
    log("SpinElectrons", "in which\nNumber of Alpha Electrons = 5\nNumber of Beta Electrons = 3",
        options(nSpinTreatment=1, nMultiplicity=3)),
    log("CiUsed", "Configuration interaction will be used", CI),
    log("HalfElectronUsed", "The half-electron approximation will be used",
        options(nMultiplicity=3)),
    log("DoubleLevels", "Number of Double Occupied Levels = 4"),
    log("SingleLevels", "Number of Single Occupied Levels = 2", options(nMultiplicity=3)),
    log("ChargeAndOrbitals", "Charge on the system = -2  Total number of orbitals = 6",
        options(nTotalCharge=-2)),
    log("CiCounts", "CI occupied orbitals = 2  CI unoccupied orbitals = 1",
        CI, options(nCiOccupied=2)),
    log("CiExcitation", "CI maximum excitation energy = 9.5000 eV",
        options(nCiKind=1, flCiMaxExcitation=9.5)),
    *[case(f"Start{name}", "status", f"Starting a{article} {title} calculation with 6 orbitals.",
           method=title.lower().replace("/", ""))
      for name, article, title in (
          ("Cndo", "", "CNDO"), ("Indo", "n", "INDO"), ("Mindo3", "", "MINDO/3"),
          ("Mndo", "n", "MNDO"), ("Am1", "n", "AM1"), ("Pm3", "", "PM3"),
          ("Zindo1", "", "ZINDO/1"), ("ZindoS", "", "ZINDO/S"), ("MndoD", "n", "MNDO/d"))],
]

CASES = [*INTAKE, *PACKETS, *ATOMS, *ELECTRONS, *INTERACTION, *SETTINGS]

# Texts that stand in the code of the rooms below and that no packet can raise, with the reason.
OUT_OF_REACH = {
    "OpenLevelParity": "the multiplicity, which gives the open levels, has passed its own test of "
                       "parity, and the next lowest state has two for an even number",
    "NegativeSpinElectrons": "with fewer electrons than the multiplicity needs the job has been "
                             "refused by TooFewElectrons",
    "PartialLevels": "the occupancy of an open level is 1 in every state that can be asked for",
    "CappingBondPairFirst": "capping atoms stand last in the selection, and a pair is named in its "
                            "order, so that its first atom is capping only if the second is too",
}


@pytest.mark.parametrize("case", CASES, ids=lambda case: f"{case.message}-{case.method}")
def test_a_text_comes_whole_and_on_its_channel(case):
    script: Script = case.job(case.method)
    for change in case.changes:
        change(script)
    with Process() as process:
        outcome = process.session(script)
    if case.channel == "refusal":
        assert outcome.texts("error") == [case.text] and not outcome.has_results
    else:
        assert outcome.texts(case.channel).count(case.text) == 1


def test_a_log_level_of_ten_silences_the_settings_and_not_the_warnings():
    script = water("mindo3")
    script.options["nLogLevel"], script.head[3:] = 10, [bytes(4)]
    with Process() as process:
        outcome = process.session(script)
    assert not re.search("limit|Calculation", "".join(outcome.texts("log")))
    assert len(outcome.texts("warning")) == 4


def test_a_client_that_wants_no_warnings_gets_none_and_all_else():
    script = water("mindo3")
    script.job["fShowWarnings"], script.head[3:] = 0, [bytes(4)]
    with Process() as process:
        outcome = process.session(script)
    assert outcome.texts("warning") == [] and outcome.texts("log")


def test_every_text_of_intake_and_validation_has_a_case():
    used = set()
    paths = [*(ROOT / "src" / "setup").glob("*.cpp"), *(ROOT / "src" / "link").glob("intake*")]
    for path in paths:
        code = re.sub(r"//[^\n]*", "", path.read_text(encoding="utf-8"))
        used |= set(re.findall(r"\bkMsg(\w+)", code))
    covered = {row.message for row in [*CASES, *test_messages_parameters.FAULTS]}
    assert len(used) > 100
    assert sorted(used - covered - set(OUT_OF_REACH)) == []
    assert sorted(covered & set(OUT_OF_REACH)) == [] and set(OUT_OF_REACH) <= used


def test_every_case_names_a_text_of_the_table_that_its_words_come_from():
    for row in [*CASES, *test_messages_parameters.FAULTS]:
        form = messages()[row.message]
        if test_messages_parameters.FILE in row.text:
            form = re.sub(r"\S+\.abp", test_messages_parameters.FILE, form)
        if row.message == "SeptetState":
            continue  # a restricted septet is called a sextet
        pieces = [re.escape(piece) for piece in re.split(r"%[-\d.]*l?[a-z]", form)]
        assert re.fullmatch(".*".join(pieces), row.text), row
