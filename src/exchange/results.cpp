#include "exchange/results.h"

#include <algorithm>
#include <cstring>

#include "ci/state.h"
#include "gradient/state.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/state.h"
#include "setup/parameters.h"

namespace qsolve {

namespace {

/// Atoms in one packet of coordinates or velocities: as many as a payload holds.
constexpr int kAtomsPerBatch = kMaxPayload / (3 * static_cast<int>(sizeof(float)));
static_assert(kAtomsPerBatch == 1365);

struct PreciseHeader {
    int nVersion = 1;
    int nFlags = 0;  ///< bit 0: a gradient follows
};

float Narrow(double d) {
    return static_cast<float>(d);
}

/// Three floats of each atom, from 0 to nAtoms, in packets of kAtomsPerBatch atoms.
void SendXyz(const float* pXyz, int nAtoms) {
    for (int nSent = 0; nSent < nAtoms; nSent += kAtomsPerBatch) {
        const int n = std::min(nAtoms - nSent, kAtomsPerBatch);
        SendPacket(kPacketData, pXyz + 3 * static_cast<std::size_t>(nSent),
                   3 * static_cast<int>(sizeof(float)) * n);
    }
}

/// Coordinates in Angstrom of every atom, as they are computed.
void FillCoordinates(float* pXyz) {
    const double dFactor = UsesAtomicUnits(system.MethodId) ? kAngstromPerBohr : 1.0;
    for (std::size_t i = 0; i < system.pCoords.Size(); ++i)
        pXyz[i] = Narrow(system.pCoords[i] * dFactor);
}

/// The atom that a singly bonded atom follows through the box, or -1. Of two that are bonded only
/// to each other the first stays and the second follows it.
int PartnerOf(int nAtom) {
    const AtomRecord& atom = system.pAtoms[nAtom];
    if (atom.nBonds != 1) return -1;
    const int nPartner = atom.nBonded[0];
    if (nPartner < 0 || nPartner >= system.nAtoms) return -1;
    return system.pAtoms[nPartner].nBonds == 1 && nPartner >= nAtom ? -1 : nPartner;
}

/// The image of dAtom nearest to dPartner on one axis; an axis without an edge has none.
double NearestImage(double dAtom, double dPartner, double dEdge, double dHalf) {
    const double dDelta = dPartner - dAtom;
    if (!(dEdge > 0.0)) return dAtom;
    if (dDelta >= dHalf) return dAtom + dEdge;
    return dDelta > -dHalf ? dAtom : dAtom - dEdge;
}

/// Puts singly bonded atoms beside their partners. pXyz and pWrapped are three values an atom,
/// Angstrom; pWrapped begins as a copy of pXyz.
void Wrap(const float* pXyz, float* pWrapped) {
    const double dEdge[3] = {static_cast<double>(job.flBoxX), static_cast<double>(job.flBoxY),
                             static_cast<double>(job.flBoxZ)};
    const double dHalf[3] = {system.dHalfBoxX, system.dHalfBoxY, system.dHalfBoxZ};
    for (int nAtom = 0; nAtom < system.nAtoms; ++nAtom) {
        const int nPartner = PartnerOf(nAtom);
        if (nPartner < 0) continue;
        for (int k = 0; k < 3; ++k)
            pWrapped[3 * nAtom + k] = Narrow(
                NearestImage(static_cast<double>(pXyz[3 * nAtom + k]),
                             static_cast<double>(pXyz[3 * nPartner + k]), dEdge[k], dHalf[k]));
    }
}

}  // namespace

void SendResultBlock() {
    SendPacket(kPacketData, &results.Block, sizeof results.Block);
}

void SendCharges() {
    Array<float> vCharge;
    vCharge.Take(system.pAtoms.Size(), kWork);
    for (std::size_t i = 0; i < vCharge.Size(); ++i) vCharge[i] = system.pAtoms[i].flCharge;
    SendChunked(kPacketCharges, vCharge.Data(), vCharge.Size() * sizeof(float));
}

void SendCoordinates() {
    Array<float> pXyz, pWrapped;
    pXyz.Take(system.pCoords.Size(), kWork);
    pWrapped.Take(system.pCoords.Size(), kWork);
    FillCoordinates(pXyz.Data());
    std::copy(pXyz.begin(), pXyz.end(), pWrapped.begin());
    if (job.fPeriodicBox) Wrap(pXyz.Data(), pWrapped.Data());
    SendXyz(pWrapped.Data(), system.nAtoms);
}

void SendVelocities(const double* pVelocities) {
    Array<float> pXyz;
    pXyz.Take(system.pAtoms.Size(), 3, kWork);
    for (int i = 0; i < system.nSelected; ++i)
        for (int k = 0; k < 3; ++k)
            pXyz[3 * (system.nSelectedAtoms[i] - 1) + k] = Narrow(pVelocities[3 * i + k]);
    SendXyz(pXyz.Data(), system.nAtoms);
}

void SendCiStates() {
    if (options.nCiKind != kSingles) return;
    Array<UvRecord> records;
    records.Take(static_cast<std::size_t>(ci.nCiStates), kWork);
    int nKept = 0;
    for (int k = 0; k < ci.nCiStates; ++k)
        if (k == 0 || !(ci.CiStateTable[k].flEnergy < 0.0F)) records[nKept++] = ci.CiStateTable[k];
    SendPacket(kPacketData, &nKept, sizeof nKept);
    SendChunked(kPacketData, records.Data(), static_cast<std::size_t>(nKept) * sizeof(UvRecord));
}

void FillGradient(double* pGradient) {
    const double dFactor = UsesAtomicUnits(system.MethodId) ? kBohrPerAngstrom : 1.0;
    for (int i = 0; i < system.nSelected; ++i)
        for (int k = 0; k < 3; ++k)
            pGradient[3 * (system.nSelectedAtoms[i] - 1) + k] =
                gradient.pGradient[3 * i + k] * dFactor;
}

void SendPreciseResults() {
    if (AsksForSections(options.nExtensions)) return SendSections();
    if (options.nExtensions != kPreciseResults) return;
    const bool fGradient = gradient.fComputed && gradient.pGradient;
    const std::size_t nGradient = fGradient ? 3 * system.pAtoms.Size() : 0;
    const PreciseHeader header{.nFlags = fGradient ? 1 : 0};
    static_assert(sizeof header == sizeof(double));

    Array<double> block;
    block.Take(2 + nGradient, kWork);
    std::memcpy(block.Data(), &header, sizeof header);
    block[1] = scf.dTotalEnergy;
    if (fGradient) FillGradient(block.Data() + 2);
    SendChunked(kPacketPrecise, block.Data(), block.Size() * sizeof(double));
}

}  // namespace qsolve
