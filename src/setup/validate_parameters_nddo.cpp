#include "link/link.h"
#include "setup/parameter_check.h"
#include "setup/state.h"
#include "setup/validate_parameters.h"

namespace qsolve {

namespace {

using R = NddoRow;
using enum Fault;
using enum Shell;
using enum Reach;

// clang-format off
/// Of the U's only that of s has a sign that is certain: cadmium's Upp in PM3 is positive.
constexpr ParameterCheck<R> kNddoChecks[] = {
    {&R::dUss,   kPositive,    kS, kMsgCoreAttraction, kMsgCappingCoreAttraction, "Uss"},
    {&R::dZetaS, kNotPositive, kS, kMsgNddoExponent,   kMsgCappingNddoExponent,   "s",     kWithClassical},
    {&R::dGss,   kNegative,    kS, kMsgOneCentre,      kMsgCappingOneCentre,      "G(ss)"},
    {&R::dZetaP, kNotPositive, kP, kMsgNddoExponent,   kMsgCappingNddoExponent,   "p",     kWithClassical},
    {&R::dGsp,   kNegative,    kP, kMsgOneCentre,      kMsgCappingOneCentre,      "G(sp)"},
    {&R::dGpp,   kNegative,    kP, kMsgOneCentre,      kMsgCappingOneCentre,      "G(pp)"},
    {&R::dGp2,   kNegative,    kP, kMsgOneCentre,      kMsgCappingOneCentre,      "G(p2)"},
    {&R::dHsp,   kNegative,    kP, kMsgOneCentre,      kMsgCappingOneCentre,      "H(sp)"},
};

/// What MINDO/3 has no use for.
constexpr ParameterCheck<R> kMultipoleChecks[] = {
    {&R::dAlpha,          kNotPositive, kS, kMsgCoreAlpha,           kMsgCappingCoreAlpha,           nullptr},
    {&R::dRho0,           kNotPositive, kS, kMsgMonopole,            kMsgCappingMonopole,            nullptr},
    {&R::dBetaS,          kNotNegative, kS, kMsgNddoBeta,            kMsgCappingNddoBeta,            "s"},
    {&R::dBetaP,          kNotNegative, kP, kMsgNddoBeta,            kMsgCappingNddoBeta,            "p"},
    {&R::dRho1,           kNotPositive, kP, kMsgDipoleParameter,     kMsgCappingDipoleParameter,     nullptr},
    {&R::dRho2,           kNotPositive, kP, kMsgQuadrupoleParameter, kMsgCappingQuadrupoleParameter, nullptr},
    {&R::dDipoleDistance, kNotPositive, kP, kMsgDipoleDistance,      kMsgCappingDipoleDistance,      nullptr},
    {&R::dQuadDistance,   kNotPositive, kP, kMsgQuadrupoleDistance,  kMsgCappingQuadrupoleDistance,  nullptr},
};

/// MINDO/3 keeps other values in the places of the multipole parameters.
constexpr double R::*kMindoAverage = &R::dRho1;
constexpr double R::*kMindoIonisationS = &R::dDipoleDistance;
constexpr double R::*kMindoIonisationP = &R::dQuadDistance;

constexpr ParameterCheck<R> kMindo3Checks[] = {
    {kMindoAverage,     kZero,        kS, kMsgOneCentreAverage, kMsgCappingOneCentreAverage, nullptr},
    {kMindoIonisationS, kNotNegative, kS, kMsgMindoIonisation,  kMsgCappingMindoIonisation,  "s"},
    {kMindoIonisationP, kNotNegative, kP, kMsgMindoIonisation,  kMsgCappingMindoIonisation,  "p"},
};

/// Message of a bond pair, by whether its first and its second atom are capping atoms.
constexpr MessageId kBondPairMessage[2][2] = {{kMsgBondPair, kMsgCappingBondPairSecond},
                                              {kMsgCappingBondPairFirst, kMsgCappingBondPairBoth}};
// clang-format on

/// The first two atoms of each row that the molecule has; atom numbers from 1, 0 for none.
struct RowsInUse {
    int nRowsUsed = 0;
    int nRow[kRows] = {};  ///< rows in the order of their first atoms
    int nFirst[kRows] = {};
    int nSecond[kRows] = {};
};

RowsInUse FindRowsInUse() {
    RowsInUse used;
    ForEachCalculatedAtom([&](int nAtom, const AtomRecord& atom) {
        const int nRow = RowOf(atom);
        if (used.nFirst[nRow] == 0) {
            used.nRow[used.nRowsUsed++] = nRow;
            used.nFirst[nRow] = nAtom;
        } else if (used.nSecond[nRow] == 0) {
            used.nSecond[nRow] = nAtom;
        }
    });
    return used;
}

void CheckBondPair(int nFirst, int nSecond) {
    const AtomRecord& a = AtomByNumber(nFirst);
    const AtomRecord& b = AtomByNumber(nSecond);
    const int nIndex = MindoPairIndex(RowOf(a) + 1, RowOf(b) + 1);
    const MindoPair& pair = setup.pMindoPairs[nIndex];
    const MessageId nMessage = kBondPairMessage[IsCapping(a)][IsCapping(b)];
    const int za = ElementOf(a), zb = ElementOf(b);
    if (!(pair.dAlphaAB > 0.0)) Warn(nMessage, nFirst, za, nSecond, zb, "alpha");
    if (!(pair.dBetaAB > 0.0)) Warn(nMessage, nFirst, za, nSecond, zb, "beta");
}

/// Each pair of rows that stands in the molecule, once, named by its first atoms. A row makes a
/// pair with itself when it has two atoms.
void CheckBondPairs() {
    const RowsInUse used = FindRowsInUse();
    for (int i = 0; i < used.nRowsUsed; ++i) {
        const int nRow = used.nRow[i];
        if (used.nSecond[nRow] != 0) CheckBondPair(used.nFirst[nRow], used.nSecond[nRow]);
        for (int j = i + 1; j < used.nRowsUsed; ++j)
            CheckBondPair(used.nFirst[nRow], used.nFirst[used.nRow[j]]);
    }
}

}  // namespace

void ValidateNddoParameters() {
    RunChecks(kNddoChecks, setup.pNddo.Data());
    RunChecks(kMultipoleChecks, setup.pNddo.Data());
}

void ValidateMindo3Parameters() {
    RunChecks(kNddoChecks, setup.pNddo.Data());
    RunChecks(kMindo3Checks, setup.pNddo.Data());
    CheckBondPairs();
}

}  // namespace qsolve
