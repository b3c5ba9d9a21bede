"""Every text about a wrong parameter, raised through the process: one value of a good table is
changed, or several, and the text comes whole and on its channel."""

from __future__ import annotations

from typing import NamedTuple

import pytest
from jobs import Process, Script, bond, capped, set_parameter, single_point, water

from orbitrax.tables.columns import SECTIONS

FILE = "the parameter files of the method"  # in the texts below: the one that has the value
FILES = f"in {FILE} is not positive."
ADVICE = "  Please correct it, or deselect all atoms to do a calculation."


class Fault(NamedTuple):
    """A text, and the values that raise it: element ("*C" a capping one), column, value."""

    message: str
    text: str
    method: str
    values: tuple
    job: object = capped
    channel: str = "warning"


def metal(symbol):
    """A complex of a transition metal with two hydrogens."""
    def job(method):
        return single_point(method, [(symbol, 0, 0, 0), ("H", 1.6, 0, 0), ("H", -1.6, 0, 0)])
    return job


def twice_capped(method) -> Script:
    """A nitrogen with two cut bonds, to carbon and to oxygen."""
    script = single_point(method, [("N", 0, 0, 0), ("H", 0.5, 0.9, 0), ("C", -1.4, 0, 0, True),
                                   ("O", 0.7, -1.2, 0, True)])
    for other in (1, 2, 3):
        bond(script, 0, other)
    return script


def capped_and_charged(method) -> Script:
    """One in which neither the classical nor any other atom is of the element of the first."""
    script = single_point(method, [("O", 0, 0, 0), ("H", 0.95, 0, 0), ("C", -0.4, 1.33, 0, True),
                                   ("N", 3, 3, 3, True)])
    bond(script, 0, 2)
    return script


def of(number, element, words, before="Atom"):
    return f"{before} {number} with atomic number {element}: {words}"


def oxygen(words):
    """What is said of atom 1, an oxygen."""
    return of(1, 8, words)


def carbon(words):
    """What is said of atom 3, a capping carbon."""
    return of(3, 6, words, "Capping atom")


def one(symbol, column, value):
    return ((symbol, column, value),)


def fatal(*arguments, job=capped):
    return Fault(*arguments, job=job, channel="error")


CINDO = [
    *[fatal("CindoExponent", oxygen(f"the Slater exponent of orbital {l.lower()} in cindo.abp is "
                                    "not positive."), method, one("O", f"dZeta{l}", value))
      for l in "SP" for method in ("cndo", "indo") for value in (0, -1)],
    *[fatal("CappingCindoExponent",
            carbon(f"the Slater exponent of orbital {l.lower()} in cindo.abp is not positive."
                   + ADVICE), "cndo", one("*C", f"dZeta{l}", 0)) for l in "SP"],
    fatal("CindoExponent", of(4, 7, "the Slater exponent of orbital s in cindo.abp is not "
                              "positive."), "cndo", one("N", "dZetaS", 0), job=capped_and_charged),
    *[Fault("CindoMean", oxygen("the mean of ionization potential and electron affinity of orbital "
                                f"{l.lower()} in cindo.abp is not negative."),
            "indo", one("O", f"dHalfIpEa{l}", value)) for l in "SP" for value in (0, 1)],
    *[Fault("CappingCindoMean",
            carbon("the mean of ionization potential and electron affinity of orbital "
                   f"{l.lower()} in cindo.abp is not negative."),
            "cndo", one("*C", f"dHalfIpEa{l}", 0)) for l in "SP"],
    Fault("CindoBeta", oxygen("the bonding parameter in cindo.abp is not positive."), "cndo",
          one("O", "dBeta", 0)),
    Fault("CappingCindoBeta", carbon("the bonding parameter in cindo.abp is not positive."),
          "cndo", one("*C", "dBeta", -1)),
    Fault("CindoSlater", oxygen("the Slater-Condon constant G1(s,p) in cindo.abp is not "
                                "positive."), "indo", one("O", "dSlaterG1", 0)),
    Fault("CindoSlater", oxygen("the Slater-Condon constant F2(p,p) in cindo.abp is not "
                                "positive."), "indo", one("O", "dSlaterF2", 0)),
]

ZINDO_SP = [
    ("Exponent", "dZeta{}", "the Slater exponent of orbital {} "),
    ("Ionisation", "dIonisation{}", "the ionization potential of orbital {} "),
    ("Beta", "dBeta{}", "the bonding parameter of orbital {} "),
]
ZINDO_D = [("Ionisation", "dIonisationD", "ionization potential of orbital d"),
           ("Beta", "dBetaD", "bonding parameter of orbital d"),
           *[("Slater", f"dSlater{name[:2]}{name[3]}{name[5]}", f"Slater-Condon constant {name}")
             for name in ("F2(p,d)", "F2(d,d)", "F4(d,d)", "G1(p,d)", "G2(s,d)", "G3(p,d)")]]
MIXED = ("the coefficients mixing the configurations of ground state of the transition metal are "
         "{}")

ZINDO = [
    *[Fault(f"Zindo{kind}", oxygen(words.format(l.lower()) + FILES), method,
            one("O", column.format(l), 0),
            channel="error" if kind == "Exponent" else "warning")
      for kind, column, words in ZINDO_SP for l in "SP" for method in ("zindo1", "zindos")],
    *[Fault(f"CappingZindo{kind}", carbon(words.format(l.lower()) + FILES
                                          + (ADVICE if kind == "Exponent" else "")),
            "zindo1", one("*C", column.format(l), 0),
            channel="error" if kind == "Exponent" else "warning")
      for kind, column, words in ZINDO_SP for l in "SP"],
    *[Fault(f"{before}ZindoSlater", say(f"the Slater-Condon constant {name} {FILES}"), "zindos",
            one(symbol, column, -1))
      for before, say, symbol in (("", oxygen, "O"), ("Capping", carbon, "*C"))
      for name, column in (("F2(p,p)", "dSlaterF2pp"), ("G1(s,p)", "dSlaterG1sp"))],
    *[Fault(f"Zindo{kind}", of(1, z, f"the {words} {FILES}"), "zindo1", one(symbol, column, 0),
            metal(symbol))
      for kind, column, words in ZINDO_D for symbol, z in (("Fe", 26), ("Ag", 47))],
    *[fatal(f"{word}DExponent", of(1, 26, f"the {word.lower()} exponent of the double-zeta d "
                                   f"function {FILES}"), "zindo1",
            (("Fe", f"dCoefD{i}", 0.5), ("Fe", f"dZetaD{i}", 0)), job=metal("Fe"))
      for i, word in ((1, "First"), (2, "Second"))],
    fatal("CoulombDExponent", of(1, 26, "the exponent of orbital d for the Coulomb integrals "
                                 + FILES), "zindo1", one("Fe", "dZetaD", 0), job=metal("Fe")),
    *[Fault("ConfigurationMix", of(1, z, MIXED.format("not normalized.")), "zindos",
            one(symbol, "dConfigMix[0]", 0.7001) + tuple(
                (symbol, f"dConfigMix[{i}]", value) for i, value in enumerate(rest, 1)),
            metal(symbol)) for symbol, z, rest in (("Fe", 26, (0.3,)), ("Ag", 47, (0.3, 0.0)))],
    fatal("ConfigurationMixZero", of(1, 26, MIXED.format("all zero.")), "zindos",
          (("Fe", "dConfigMix[0]", 0), ("Fe", "dConfigMix[1]", 0)), job=metal("Fe")),
    *[Fault("SecondIonisation", of(1, 26, f"the ionization potential of orbital {l.lower()} for "
                                   "the second configuration " + FILES), "zindo1",
            (("Fe", "dConfigMix[0]", 0.5), ("Fe", "dConfigMix[1]", 0.5),
             ("Fe", f"dIonisation2{l}", 0)), metal("Fe")) for l in "SPD"],
    *[Fault("CoulombZero", of(1, z, f"the two-electron Coulomb parameter {name} in the parameter "
                              "files of the method is zero."), "zindos",
            one(symbol, f"dGamma{name.upper()}", 0), metal(symbol))
      for symbol, z, name in (("Fe", 26, "ss"), ("Fe", 26, "sd"), ("Ag", 47, "dd"))],
    Fault("CappingCoulombZero", carbon("the two-electron Coulomb parameter ss in the parameter "
                                       "files of the method is zero."), "zindos",
          one("*C", "dGammaSS", 0)),
    Fault("DoubleZeta", "The double-zeta d function of the element Fe is not normalized; it has "
          "been normalized.", "zindo1", one("Fe", "dCoefD1", 2.0), metal("Fe")),
]

NDDO_SHARED = [
    *[Fault(f"{before}CoreAttraction", say("the one-center core-electron attraction Uss in the "
                                           "parameter files of the method is positive."), method,
            one(symbol, "dUss", 1))
      for before, say, symbol in (("", oxygen, "O"), ("Capping", carbon, "*C"))
      for method in ("mindo3", "mndo", "am1", "pm3", "mndod")],
    *[fatal(f"{before}NddoExponent", say(f"the Slater exponent of orbital {l.lower()} {FILES}"
                                         + (ADVICE if before else "")),
            method, one(symbol, f"dZeta{l}", 0))
      for before, say, symbol in (("", oxygen, "O"), ("Capping", carbon, "*C"))
      for l in "SP" for method in ("mindo3", "mndo", "am1", "pm3", "mndod")],
    *[Fault(f"{before}OneCentre", say(f"the one-center two-electron integral {name} in the "
                                      "parameter files of the method is negative."), method,
            one(symbol, "d" + name.replace("(", "").replace(")", "").capitalize(), -1))
      for before, say, symbol in (("", oxygen, "O"), ("Capping", carbon, "*C"))
      for name in ("G(ss)", "G(sp)", "G(pp)", "G(p2)", "H(sp)") for method in ("mindo3", "mndo")],
]

MULTIPOLES = [("CoreAlpha", "dAlpha", "core-core repulsion parameter alpha"),
              ("Monopole", "dRho0", "monopole parameter"),
              ("DipoleParameter", "dRho1", "dipole parameter"),
              ("QuadrupoleParameter", "dRho2", "quadrupole parameter"),
              ("DipoleDistance", "dDipoleDistance", "dipole charge separation"),
              ("QuadrupoleDistance", "dQuadDistance", "quadrupole charge separation")]

NDDO = [
    *[Fault(f"{before}{name}", say(f"the {words} {FILES}"), method, one(symbol, column, -1))
      for before, say, symbol in (("", oxygen, "O"), ("Capping", carbon, "*C"))
      for name, column, words in MULTIPOLES for method in ("mndo", "am1")],
    *[Fault(f"{before}NddoBeta", say(f"the bonding parameter beta of orbital {l.lower()} in the "
                                     "parameter files of the method is not negative."), "am1",
            one(symbol, f"dBeta{l}", 0))
      for before, say, symbol in (("", oxygen, "O"), ("Capping", carbon, "*C")) for l in "SP"],
    Fault("NddoParameters", "Error in loading nddo/d parameters!", "mndo", one("O", "dHsp", 0)),
]

MINDO = [
    *[Fault(f"{before}OneCentreAverage", say("the averaged one-center two-electron integral in the "
                                             "parameter files of the method is zero."), "mindo3",
            one(symbol, "dRho1", 0))
      for before, say, symbol in (("", oxygen, "O"), ("Capping", carbon, "*C"))],
    *[Fault(f"{before}MindoIonisation", say(f"the ionization energy of orbital {l.lower()} in the "
                                            "parameter files of the method is not negative."),
            "mindo3", one(symbol, f"dIonisation{l}", 0))
      for before, say, symbol in (("", oxygen, "O"), ("Capping", carbon, "*C")) for l in "SP"],
]

# Without any bond pair each one in use is missing.
PAIR = "the bond parameter {}(AB) in mindo3_3.abp is not positive."
PAIRS = [
    Fault(name, f"{words}: {PAIR.format(which)}", "mindo3", (), twice_capped)
    for which in ("alpha", "beta") for name, words in (
        ("BondPair", "Atom 1 with atomic number 7 and atom 2 with atomic number 1"),
        ("CappingBondPairSecond",
         "Atom 1 with atomic number 7 and capping atom 3 with atomic number 6"),
        ("CappingBondPairBoth",
         "Capping atom 3 with atomic number 6 and capping atom 4 with atomic number 8"))
]

FAULTS = [*CINDO, *ZINDO, *NDDO_SHARED, *NDDO, *MINDO, *PAIRS]


def named(fault: Fault) -> str:
    """The text with the file's name, by the column that is wrong."""
    sections = SECTIONS.get(fault.method, ())
    name = [f"{fault.method}_{n}.abp" for n, columns in enumerate(sections, 1)
            if fault.values and fault.values[-1][1] in columns]
    return fault.text.replace(FILE, *name) if FILE in fault.text else fault.text


def good_job(fault: Fault) -> Script:
    script = fault.job(fault.method)
    if fault in PAIRS:
        script.head[3:] = [bytes(4)]
    return script


@pytest.mark.parametrize("fault", FAULTS, ids=lambda fault: f"{fault.message}-{fault.method}")
def test_a_wrong_parameter_is_reported_with_its_text(fault):
    script = good_job(fault)
    for symbol, column, value in fault.values:
        set_parameter(script, symbol, column, value)
    with Process() as process:
        outcome = process.session(script)
    if fault.channel == "error":  # a refusal: nothing but its text
        assert outcome.texts("error") == [named(fault)] and not outcome.has_results
    else:
        assert outcome.texts("warning").count(named(fault)) == 1


@pytest.mark.parametrize("method", ["cndo", "indo", "mindo3", "mndo", "am1", "pm3", "zindo1",
                                    "zindos", "mndod"])
@pytest.mark.parametrize("job", [water, capped], ids=["water", "capped"])
def test_good_parameters_raise_no_text(method, job):
    with Process() as process:
        outcome = process.session(job(method))
    assert outcome.texts("warning") == []
    assert ".abp" not in "".join(outcome.texts("error"))


def test_what_is_wrong_is_said_anew_in_each_job():
    script = water("am1")
    set_parameter(script, "O", "dAlpha", 0)
    with Process() as process:
        first, second = process.session(script), process.session(script)
    assert len(first.texts("warning")) == 1 and first.packets == second.packets


def test_a_normalised_d_function_is_mentioned_once_in_a_process():
    script = metal("Fe")("zindo1")
    set_parameter(script, "Fe", "dCoefD1", 2.0)
    with Process() as process:
        said = [sum("double-zeta" in text for text in process.session(script).texts("warning"))
                for _ in range(3)]
    assert said == [1, 0, 0]


def test_a_fault_of_an_element_that_is_not_there_is_not_mentioned():
    script = water("am1")
    for symbol in ("N", "*C", "*O"):
        set_parameter(script, symbol, "dZetaS", 0)
    with Process() as process:
        outcome = process.session(script)
    assert "exponent" not in "".join(outcome.texts("error") + outcome.texts("warning"))
