#include <algorithm>
#include <cstddef>
#include <utility>

#include "exchange/intake.h"
#include "exchange/intake_checks.h"
#include "job/state.h"
#include "link/link.h"
#include "link/messages.h"
#include "link/packets.h"
#include "setup/parameters.h"

namespace qsolve {
namespace {

/// Most atoms of a molecule. Three coordinates of each, as doubles, are counted in 32 bits on the
/// wire.
constexpr int kMostAtoms = 1 << 24;

/// Counts of a molecule that is being taken in.
struct AtomCounts {
    int nSelected = 0;
    int nCapping = 0;
    double dClassicalCharge = 0.0;
};

/// The record's words as the engine relies on them; nNumber counts from 1.
void CheckAtom(AtomRecord& atom, std::size_t nNumber) {
    atom.nState = atom.nState != 0 ? kClassical : kSelected;
    atom.nAtomicNumber = std::max(atom.nAtomicNumber, 0);
    if (atom.nAtomicNumber > kHighestElement)
        Fatal(kMsgElementTooHigh, atom.nAtomicNumber, kHighestElement);
    for (float fl : {atom.flX, atom.flY, atom.flZ, atom.flCharge})
        if (!IsCoordinate(fl)) Fatal(kMsgAtomNotANumber, nNumber);
}

/// Leaves only bonds to other atoms of the molecule. Returns whether all were such.
bool TidyBonds(AtomRecord& atom, int nIndex, int nAtoms) {
    const int nAnnounced = std::exchange(atom.nBonds, 0);
    for (int k = 0; k < std::clamp(nAnnounced, 0, kMaxBonds); ++k) {
        const int nOther = atom.nBonded[k];
        if (nOther >= 0 && nOther < nAtoms && nOther != nIndex)
            atom.nBonded[atom.nBonds++] = nOther;
    }
    return atom.nBonds == nAnnounced;
}

/// Checks all records. A false bond table is reported once, by the first atom that has one, and
/// after the atoms that would be refused.
void CheckAtoms(Array<AtomRecord>& pAtoms) {
    for (std::size_t i = 0; i < pAtoms.Size(); ++i) CheckAtom(pAtoms[i], i + 1);
    int nFirstFalse = 0;
    for (int i = 0; i < static_cast<int>(pAtoms.Size()); ++i)
        if (!TidyBonds(pAtoms[static_cast<std::size_t>(i)], i, static_cast<int>(pAtoms.Size())) &&
            nFirstFalse == 0)
            nFirstFalse = i + 1;
    if (nFirstFalse != 0) ErrorFormat(kMsgBondTable, nFirstFalse);
}

/// Where the client has told the places in full, the records have them as far as they can hold
/// them.
void PlaceAtoms(Array<AtomRecord>& pAtoms) {
    const Array<double>& pXyz = further.pXyz;
    if (!pXyz) return;
    if (pXyz.Size() != 3 * pAtoms.Size())
        Fatal(kMsgSectionSize, "coordinates", pXyz.Size() * sizeof(double));
    for (std::size_t i = 0; i < pAtoms.Size(); ++i) {
        pAtoms[i].flX = static_cast<float>(pXyz[3 * i]);
        pAtoms[i].flY = static_cast<float>(pXyz[3 * i + 1]);
        pAtoms[i].flZ = static_cast<float>(pXyz[3 * i + 2]);
    }
}

/// Takes the charges of the selected atoms, and turns the state of a neighbour outside with every
/// bond that reaches it: after an odd number it is capping, after an even number classical again. A
/// dummy never caps a bond.
void MarkCappingAtoms(Array<AtomRecord>& pAtoms, AtomCounts& counts) {
    for (AtomRecord& atom : pAtoms) {
        if (atom.nState != kSelected) continue;
        for (int k = 0; k < atom.nBonds; ++k) {
            AtomRecord& other = pAtoms[static_cast<std::size_t>(atom.nBonded[k])];
            if (other.nState == kSelected || other.nAtomicNumber == 0) continue;
            other.nState = other.nState == kClassical ? kCapping : kClassical;
        }
        counts.dClassicalCharge += static_cast<double>(std::exchange(atom.flCharge, 0.0F));
        ++counts.nSelected;
    }
}

/// Lists the capping atoms in word nCappingAtom of the first records, and moves them to their
/// parameter rows. Their charge is counted and stays in the record.
void ListCappingAtoms(Array<AtomRecord>& pAtoms, AtomCounts& counts) {
    for (std::size_t i = 0; i < pAtoms.Size(); ++i) {
        AtomRecord& atom = pAtoms[i];
        if (atom.nState != kCapping) continue;
        pAtoms[static_cast<std::size_t>(counts.nCapping)].nCappingAtom = static_cast<int>(i);
        ++counts.nCapping;
        atom.nAtomicNumber += kCappingOffset;
        counts.dClassicalCharge += static_cast<double>(atom.flCharge);
    }
}

/// Without a selection the whole molecule is meant, and the charges that came mean nothing.
void SelectAll(Array<AtomRecord>& pAtoms, AtomCounts& counts) {
    for (AtomRecord& atom : pAtoms) {
        atom.flCharge = 0.0F;
        atom.nState = kSelected;
    }
    counts.nSelected = static_cast<int>(pAtoms.Size());
}

}  // namespace

void ForgetMolecule() noexcept {
    system.nAtoms = system.nSelected = system.nCapping = system.nAtomsActive = 0;
    system.dClassicalCharge = 0.0;
    system.pAtoms.Reset();
    system.nSelectedAtoms.Reset();
    system.nAtomToSelected.Reset();
    for (int k = 0; k < 4; ++k) {
        system.nRestraints[k] = 0;
        system.pRestraints[k].Reset();
    }
    system.dReactantXyz.Reset();
    system.dProductXyz.Reset();
}

void ReadAtoms() {
    ForgetMolecule();
    int nAtoms = 0;
    RequestWhole("atom count", &nAtoms, sizeof nAtoms);
    if (nAtoms < 1) Fatal(kMsgAtomCount, nAtoms);
    if (nAtoms > kMostAtoms) Fatal(kMsgOutOfMemorySetUp);

    auto pAtoms = ReceiveRecords<AtomRecord>("atoms", static_cast<std::size_t>(nAtoms),
                                             kAtomsPerChunk * sizeof(AtomRecord), kIntake);
    PlaceAtoms(pAtoms);
    CheckAtoms(pAtoms);
    AtomCounts counts;
    MarkCappingAtoms(pAtoms, counts);
    ListCappingAtoms(pAtoms, counts);
    if (counts.nSelected == 0) SelectAll(pAtoms, counts);

    system.pAtoms = std::move(pAtoms);
    system.nAtoms = nAtoms;
    system.nSelected = counts.nSelected;
    system.nCapping = counts.nCapping;
    system.nAtomsActive = counts.nSelected + counts.nCapping;
    system.dClassicalCharge = counts.dClassicalCharge;
}

}  // namespace qsolve
