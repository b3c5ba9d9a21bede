#include <algorithm>
#include <cstring>

#include "ci/state.h"
#include "exchange/results.h"
#include "exchange/section_block.h"
#include "gradient/state.h"
#include "job/state.h"
#include "properties/state.h"
#include "scf/account.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

void AddEnergies(SectionBlock& block) {
    EnergyRecord record{.dTotal = scf.dTotalEnergy,
                        .dElectronic = scf.dElectronic,
                        .dCore = scf.dCoreRepulsion,
                        .dAtomic = setup.dAtomicEnergy,
                        .dBinding = scf.dBinding,
                        .dHeatOfFormation = scf.dHeatOfFormation,
                        .dStateCorrection = scf.dStateCorrection,
                        .dRmsGradient = gradient.dRmsGradient};
    std::copy_n(gradient.dRestraintEnergy, 4, record.dRestraint);
    block.AddRecord(kEnergySection, record);
}

void AddGradient(SectionBlock& block) {
    if (!gradient.fComputed || !gradient.pGradient) return;
    if (double* p = block.Add(kGradientSection, 3 * system.pAtoms.Size())) FillGradient(p);
}

/// A single atom has no dipole.
void AddDipole(SectionBlock& block) {
    if (system.nSelected > 1) block.AddRecord(kDipoleSection, properties.dDipoleTable);
}

/// The places as the client would give them; no image in the box is looked for.
void AddCoordinates(SectionBlock& block) {
    const double dBohr = UsesAtomicUnits(system.MethodId) ? kIntakeBohrPerAngstrom : 1.0;
    double* p = block.Add(kCoordinateSection, system.pCoords.Size());
    if (!p) return;
    for (const double d : system.pCoords) *p++ = d / dBohr;
}

/// Those that were computed; an atom outside the selection has the one that came.
void AddCharges(SectionBlock& block) {
    double* p = block.Add(kChargeSection, system.pAtoms.Size());
    if (!p) return;
    for (std::size_t i = 0; i < system.pAtoms.Size(); ++i)
        p[i] = static_cast<double>(system.pAtoms[i].flCharge);
    if (!scf.fResultsValid) return;
    for (std::size_t i = 0; i < properties.vCharge.Size(); ++i)
        p[system.nSelectedAtoms[i] - 1] = properties.vCharge[i];
}

void AddScf(SectionBlock& block) {
    block.AddRecord(kScfSection, scf.Account);
    StartScfCount();
}

/// Copies records behind what is there, and returns where the next go.
unsigned char* Append(const void* pRecords, std::size_t nBytes, unsigned char* pTo) {
    if (nBytes != 0) std::memcpy(pTo, pRecords, nBytes);
    return pTo + nBytes;
}

/// The states of the last configuration interaction, if there is one.
void AddCiStates(SectionBlock& block) {
    const CiDetails& d = ci.Details;
    if (!d.States) return;
    const CiSectionHead head{.nKind = scf.nCiKind,
                             .nConfigs = d.nConfigs,
                             .nStates = static_cast<int>(d.States.Size()),
                             .nContributions = static_cast<int>(d.Contributions.Size()),
                             .nFirstLevel = d.nFirstLevel,
                             .nLevels = d.nLevels,
                             .nAlpha = d.nAlpha,
                             .nBeta = d.nBeta,
                             .nWanted = d.nWanted};
    const std::size_t nStates = d.States.Size() * sizeof(CiStateDetail);
    const std::size_t nContributions = d.Contributions.Size() * sizeof(CiContribution);
    double* p = block.Add(kCiSection, (sizeof head + nStates + nContributions) / sizeof(double));
    if (!p) return;
    auto* pTo = Append(&head, sizeof head, reinterpret_cast<unsigned char*>(p));
    pTo = Append(d.States.Data(), nStates, pTo);
    Append(d.Contributions.Data(), nContributions, pTo);
}

/// The coordinates of the atoms that vibrate in the order of the molecule: place of each among
/// those in the order of the selection.
Array<std::size_t> CoordinatesInAtomOrder(std::size_t n) {
    Array<std::size_t> vPlace;
    vPlace.Take(n, kWork);
    std::size_t* p = vPlace.Data();
    for (int nAtom = 1; nAtom <= system.nAtoms; ++nAtom)
        for (std::size_t i = 0; i < n / 3; ++i)
            for (std::size_t k = 0; k < 3 && system.nSelectedAtoms[i] == nAtom; ++k)
                *p++ = 3 * i + k;
    return vPlace;
}

/// The modes of this job, if it has made any, with the matrix that they come from.
void AddModes(SectionBlock& block) {
    const ModeResults& modes = results.Modes;
    const auto n = static_cast<std::size_t>(modes.nModes);
    if (n == 0 || modes.mForces.Size() != n * n) return;
    const ModeSectionHead head{.nCoordinates = modes.nModes,
                               .nExternalModes = modes.nExternalModes,
                               .nPoints = modes.nPoints,
                               .nUnconverged = modes.nUnconverged,
                               .nWorkers = modes.nWorkers,
                               .nCycles = modes.nCycles};
    double* p = block.Add(kModeSection, sizeof head / sizeof(double) + n * (2 * n + 5));
    if (!p) return;
    std::memcpy(p, &head, sizeof head);
    p += sizeof head / sizeof(double);
    const Array<std::size_t> vPlace = CoordinatesInAtomOrder(n);
    for (const std::size_t i : vPlace)
        for (const std::size_t j : vPlace) *p++ = modes.mForces[n * i + j];
    for (const std::size_t i : vPlace) p = std::copy_n(&modes.mDipoles[3 * i], 3, p);
    p = std::copy(modes.vFrequencies.begin(), modes.vFrequencies.end(), p);
    p = std::copy(modes.vIntensities.begin(), modes.vIntensities.end(), p);
    for (std::size_t i = 0; i < n; ++i)
        for (const std::size_t j : vPlace) *p++ = modes.mModes[n * i + j];
}

void AddState(SectionBlock& block) {
    block.AddRecord(kStateSection, scf.End);
}

/// Nothing where the gradients that the client knows of old are all that it wants.
void AddForces(SectionBlock& block) {
    if (further.Scf.fStateGradient && gradient.fComputed) block.AddRecord(kForceSection, scf.Force);
}

/// What a client may ask for: the bit that does, and what then writes its sections. A new section
/// is a kind in link/packets.h, or beside its records, and a row here.
struct SectionRow {
    unsigned nBit;
    void (*Write)(SectionBlock& block);
};
constexpr SectionRow kSectionRows[] = {
    {1U << kEnergySection, AddEnergies}, {1U << kGradientSection, AddGradient},
    {1U << kDipoleSection, AddDipole},   {1U << kCoordinateSection, AddCoordinates},
    {1U << kChargeSection, AddCharges},  {1U << kScfSection, AddScf},
    {1U << kCiSection, AddCiStates},     {1U << kStateSection, AddState},
    {1U << kModeSection, AddModes},      {1U << kForceSection, AddForces},
};

}  // namespace

void SendSections() {
    SectionBlock block;
    for (const SectionRow& row : kSectionRows)
        if (AsksFor(options.nExtensions, row.nBit)) row.Write(block);
    block.Send();
}

}  // namespace qsolve
