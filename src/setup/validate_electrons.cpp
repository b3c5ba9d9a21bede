#include "setup/validate_electrons.h"

#include <cmath>

#include "job/atoms.h"
#include "job/kinds.h"
#include "job/state.h"
#include "link/link.h"
#include "setup/state.h"

namespace qsolve {

namespace {

/// One multiplicity: what is said of it, and what when the electrons are odd and should be even, or
/// the other way round.
struct SpinState {
    MessageId nUnrestricted;  ///< the log's name of the state
    MessageId nRestricted;    ///< a septet is called a sextet here: that is meant
    MessageId nWrongParity;
};

// clang-format off
constexpr SpinState kSpinStates[] = {  // by multiplicity - 1
    {kMsgSingletState,    kMsgSingletState,    kMsgSingletElectrons},
    {kMsgDoubletState,    kMsgDoubletState,    kMsgDoubletElectrons},
    {kMsgTripletState,    kMsgTripletState,    kMsgTripletElectrons},
    {kMsgQuartetState,    kMsgQuartetState,    kMsgQuartetElectrons},
    {kMsgQuintetState,    kMsgQuintetState,    kMsgQuintetElectrons},
    {kMsgSextetState,     kMsgSextetState,     kMsgSextetElectrons},
    {kMsgSeptetState,     kMsgSextetState,     kMsgSeptetElectrons},
};
// clang-format on
constexpr int kHighestMultiplicity = 7;

/// An occupancy this close to 1 is called single.
constexpr double kOccupancyTolerance = 1e-4;

constexpr double kSmallestShare = 1e-6;
constexpr double kUnrestrictedBias = 1.1;

/// Refuses a multiplicity that does not exist here or does not fit the number of electrons.
const SpinState& CheckMultiplicity(int nMultiplicity) {
    if (nMultiplicity < 1) Fatal(kMsgMultiplicityZero);
    if (nMultiplicity > kHighestMultiplicity) Fatal(kMsgMultiplicityTooHigh);
    const SpinState& state = kSpinStates[nMultiplicity - 1];
    if (setup.nElectrons % 2 != (nMultiplicity - 1) % 2) Fatal(state.nWrongParity);
    return state;
}

void CheckSpinElectrons(const char* sSpin, int nElectrons) {
    if (nElectrons < 0) Fatal(kMsgNegativeSpinElectrons, sSpin);
    if (nElectrons > setup.nOrbitals)
        Fatal(kMsgTooManySpinElectrons, sSpin, nElectrons, setup.nOrbitals);
}

void AssignUnrestricted() {
    if (options.fNextLowestState) Fatal(kMsgNextLowestUhf);
    if (options.nCiKind != 0) Fatal(kMsgCiUhf);
    LogFormat(kMsgUhf);
    setup.fCiActive = false;
    setup.Map.dOpenOccupancy = 1.0;

    const SpinState& state = CheckMultiplicity(options.nMultiplicity);
    LogFormat(state.nUnrestricted);
    LogFormat(kMsgElectrons, setup.nElectrons);
    FillUnrestrictedLevels(options.nMultiplicity);
    LogFormat(kMsgSpinElectrons, setup.nElectronsA, setup.nElectronsB);
}

/// Names the state in the log and returns its open levels.
int ChooseRestrictedState() {
    const int nMultiplicity = options.nMultiplicity;
    if (options.fNextLowestState && nMultiplicity > 1) Fatal(kMsgMultiplicityTooHigh);
    const SpinState& state = CheckMultiplicity(nMultiplicity);
    LogFormat(options.fNextLowestState ? kMsgNextLowestState : state.nRestricted);

    const int nOpen = options.fNextLowestState ? 2 : nMultiplicity - 1;
    if (setup.fCiActive)
        LogFormat(kMsgCiUsed);
    else if (nOpen != 0)
        LogFormat(kMsgHalfElectronUsed);
    LogFormat(kMsgElectrons, setup.nElectrons);
    return nOpen;
}

void LogRestrictedLevels() {
    const int nOpen = setup.nOccupied - setup.nDoublyOcc;
    const double dOccupancy = setup.Map.dOpenOccupancy;
    LogFormat(kMsgDoubleLevels, setup.nDoublyOcc);
    if (nOpen == 0) return;
    if (std::abs(dOccupancy - 1.0) < kOccupancyTolerance)
        LogFormat(kMsgSingleLevels, nOpen);
    else
        LogFormat(kMsgPartialLevels, dOccupancy, nOpen);
}

void AssignRestricted() {
    LogFormat(kMsgRhf);
    setup.fCiActive = options.nCiKind != 0;
    FillRestrictedLevels(ChooseRestrictedState());
    LogRestrictedLevels();
    const JobKind& kind = ThisKind();
    if (setup.fCiActive && kind.nWithCi != kGoes) Fatal(kind.nWithCi);
    const bool fOfState = further.Scf.fStateGradient && further.Scf.fGuarded;
    if (setup.nOccupied > setup.nDoublyOcc && kind.nHalfElectrons != kGoes && !fOfState)
        Warn(kind.nHalfElectrons);
}

}  // namespace

void CountElectrons() {
    double dCore = 0.0;
    ForEachCalculatedAtom([&](int, const AtomRecord& atom) { dCore += kCoreCharge[RowOf(atom)]; });
    const long long nElectrons = std::llround(dCore) - options.nTotalCharge;

    setup.nDoublyOcc = setup.nOccupied = 0;
    setup.nElectronsA = setup.nElectronsB = 0;
    if (nElectrons < 0) Fatal(kMsgNegativeElectrons);
    if (nElectrons + 1 < options.nMultiplicity) Fatal(kMsgTooFewElectrons);
    if (setup.nOrbitals < (nElectrons + 1) / 2) Fatal(kMsgTooManyElectrons);
    setup.nElectrons = static_cast<int>(nElectrons);
}

void FillUnrestrictedLevels(int nMultiplicity) {
    setup.nElectronsB = setup.nElectrons / 2 - (nMultiplicity - 1) / 2;
    setup.nElectronsA = setup.nElectrons - setup.nElectronsB;
    CheckSpinElectrons("Alpha", setup.nElectronsA);
    CheckSpinElectrons("Beta", setup.nElectronsB);
}

void FillRestrictedLevels(int nOpen) {
    // Without open levels asked for, an odd electron has one of its own.
    if (nOpen != 0 && nOpen % 2 != setup.nElectrons % 2) Fatal(kMsgOpenLevelParity);
    const int nSingle = nOpen != 0 ? nOpen : setup.nElectrons % 2;
    const int nDouble = setup.nElectrons / 2 - nOpen / 2;
    if (nDouble < 0) Fatal(kMsgNegativeDoubleLevels);
    if (nDouble + nSingle > setup.nOrbitals) Fatal(kMsgTooManyLevels);
    setup.nDoublyOcc = nDouble;
    setup.nOccupied = nDouble + nSingle;
    setup.Map.dOpenOccupancy = 1.0;
}

void AssignOccupation() {
    const bool fUnrestricted = options.nSpinTreatment == 1;
    if (fUnrestricted)
        AssignUnrestricted();
    else
        AssignRestricted();
    LogFormat(kMsgChargeAndOrbitals, options.nTotalCharge, setup.nOrbitals);

    setup.Map.nOccA = fUnrestricted ? setup.nElectronsA : setup.nOccupied;
    setup.Map.nOccB = fUnrestricted ? setup.nElectronsB : setup.nOccupied;
    setup.Map.nClosedLevels = setup.nDoublyOcc;
}

void SetGuessFractions() {
    OrbitalMap& map = setup.Map;
    map.dFractionA = map.dFractionB = 0.0;
    map.dSpinBias = 1.0;
    const double dElectrons = static_cast<double>(map.nOccA) + map.nOccB;
    if (dElectrons == 0.0) return;

    map.dFractionA = map.nOccA / dElectrons;
    if (map.dFractionA < kSmallestShare) map.dFractionA = 0.5;
    map.dFractionB = 1.0 - map.dFractionA;
    if (map.dFractionB < kSmallestShare) map.dFractionB = 0.5;
    if (options.nSpinTreatment == 1 && map.nOccA == map.nOccB) map.dSpinBias = kUnrestrictedBias;
}

}  // namespace qsolve
