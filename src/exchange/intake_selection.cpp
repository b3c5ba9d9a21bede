#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "exchange/intake.h"
#include "exchange/intake_checks.h"
#include "job/kinds.h"
#include "job/state.h"
#include "link/link.h"
#include "link/messages.h"
#include "link/packets.h"
#include "setup/parameters.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Orbitals of a capping atom.
constexpr int kCappingOrbitals = 4;

/// A selection on its way in: stored whole once nothing can fail any more.
struct Selection {
    SelectionBlock Block;
    Array<int> nList;       ///< by position: atom number from 1
    Array<int> nPositions;  ///< by atom: position from 1, or -1
};

/// Whether the job's method can be computed from the loaded tables. CNDO and INDO share theirs.
bool TablesServe(int nMethod) {
    if (!parameters.fLoaded || nMethod < kExtendedHueckel || nMethod > kMndoD) return false;
    const int nLoaded = parameters.nParameterMethod;
    const bool fShared = FamilyOf(nMethod) == Family::kCndo && FamilyOf(nLoaded) == Family::kCndo;
    return nMethod == nLoaded || fShared;
}

/// Pulls the block and the list in one packet. The list has room for the capping atoms behind.
void ReceiveSelection(Selection& selection) {
    const std::size_t nSelected = static_cast<std::size_t>(system.nSelected);
    const std::size_t nListBytes = nSelected * sizeof(int);
    Array<unsigned char> pBytes;
    selection.nList.Take(nSelected + static_cast<std::size_t>(system.nCapping), kIntake);
    pBytes.Take(sizeof(SelectionBlock) + nListBytes, kIntake);
    RequestWhole("selection", pBytes.Data(), static_cast<int>(pBytes.Size()));
    std::memcpy(&selection.Block, pBytes.Data(), sizeof(SelectionBlock));
    std::memcpy(selection.nList.Data(), pBytes.Data() + sizeof(SelectionBlock), nListBytes);
}

/// Numbers the atoms by their place in the list. There are as many entries as selected atoms, so
/// that entries which are selected and different are all of them.
void NumberSelectedAtoms(Selection& selection) {
    selection.nPositions.Take(static_cast<std::size_t>(system.nAtoms), kIntake);
    std::fill(selection.nPositions.begin(), selection.nPositions.end(), -1);
    for (int i = 0; i < system.nSelected; ++i) {
        const int nAtom = selection.nList[static_cast<std::size_t>(i)];
        if (nAtom < 1 || nAtom > system.nAtoms) Fatal(kMsgSelectionEntry, i + 1, nAtom);
        const std::size_t nIndex = static_cast<std::size_t>(nAtom) - 1;
        if (system.pAtoms[nIndex].nState != kSelected || selection.nPositions[nIndex] != -1)
            Fatal(kMsgSelectionEntry, i + 1, nAtom);
        selection.nPositions[nIndex] = i + 1;
    }
}

/// Appends the capping atoms to the list, and to the counts in the block.
void AppendCappingAtoms(Selection& selection) {
    for (int k = 0; k < system.nCapping; ++k) {
        const int nIndex = system.pAtoms[static_cast<std::size_t>(k)].nCappingAtom;
        const int nPosition = system.nSelected + k;
        selection.nList[static_cast<std::size_t>(nPosition)] = nIndex + 1;
        selection.nPositions[static_cast<std::size_t>(nIndex)] = nPosition + 1;
    }
    SelectionBlock& block = selection.Block;
    const long long nOrbitals = static_cast<long long>(kCappingOrbitals) * system.nCapping;
    block.nLastAtom = AddSaturated(block.nLastAtom, system.nCapping);
    block.nAtomEstimate = AddSaturated(block.nAtomEstimate, system.nCapping);
    block.nOrbitalsOnNode = AddSaturated(block.nOrbitalsOnNode, nOrbitals);
    block.nOrbitalEstimate = AddSaturated(block.nOrbitalEstimate, nOrbitals);
}

/// Pulls one end of a synchronous transit: x y z of every atom of the molecule, Angstrom.
Array<double> ReceiveGeometry(const char* sStep) {
    const std::size_t nNumbers = 3 * static_cast<std::size_t>(system.nAtoms);
    Array<double> dXyz;
    Array<float> flXyz;
    dXyz.Take(nNumbers, kIntake);
    flXyz.Take(nNumbers, kIntake);
    RequestWhole(sStep, flXyz.Data(), static_cast<int>(nNumbers * sizeof(float)));
    for (std::size_t i = 0; i < nNumbers; ++i) {
        if (!IsCoordinate(flXyz[i])) Fatal(kMsgAtomNotANumber, i / 3 + 1);
        dXyz[i] = static_cast<double>(flXyz[i]);
    }
    return dXyz;
}

}  // namespace

void ReadSelection() {
    system.nSelectedAtoms.Reset();
    system.nAtomToSelected.Reset();
    system.dReactantXyz.Reset();
    system.dProductXyz.Reset();

    Selection selection;
    ReceiveSelection(selection);
    const int nMethod = selection.Block.MethodId;
    if (!TablesServe(nMethod)) Fatal(kMsgMethodNotLoaded, parameters.nParameterMethod, nMethod);
    NumberSelectedAtoms(selection);
    AppendCappingAtoms(selection);

    Array<double> dReactant, dProduct;
    if (ThisKind().fTwoEnds) {
        dReactant = ReceiveGeometry("reactant");
        dProduct = ReceiveGeometry("product");
    }

    system.MethodId = nMethod;
    system.Layout = selection.Block;
    system.nSelectedAtoms = std::move(selection.nList);
    system.nAtomToSelected = std::move(selection.nPositions);
    system.nSelected += system.nCapping;
    system.dReactantXyz = std::move(dReactant);
    system.dProductXyz = std::move(dProduct);
}

}  // namespace qsolve
