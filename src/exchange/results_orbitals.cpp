#include <algorithm>
#include <cstring>

#include "exchange/results.h"
#include "job/kinds.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {

namespace {

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

/// The place of an atom, from 0, in the selection list, or -1 for one that is not computed.
int PositionOf(int nAtom) {
    if (Size(nAtom) >= system.nAtomToSelected.Size()) return -1;
    if (system.nAtomToSelected[nAtom] < 1 || system.pAtoms[nAtom].nAtomicNumber < 1) return -1;
    return system.nAtomToSelected[nAtom] - 1;
}

/// The orbitals of a position as a range of a row of n. A position that is not in the map, as after
/// the intake of another molecule than the orbitals belong to, has none.
struct OrbitalRange {
    int nFirst = 0, nCount = 0;
};
OrbitalRange OrbitalsAt(int nPosition, int n) {
    const OrbitalMap& map = setup.Map;
    if (Size(nPosition) >= map.pFirstOrbital.Size()) return {};
    const int nFirst = map.pFirstOrbital[nPosition] - 1, nLast = map.pLastOrbital[nPosition];
    if (nFirst < 0 || nLast > n) return {};
    return {nFirst, nLast - nFirst};
}

/// Whether set-up has taken all that belongs to the orbitals; before, nothing is remembered.
bool IsSetUp() {
    return scf.mVectorsA && scf.nOrbitals > 0;
}

/// N of the orbitals there are, or of those that the last set-up counted.
int OrbitalCount() {
    return IsSetUp() ? scf.nOrbitals : setup.nOrbitals;
}

bool IsUnrestricted() {
    return (IsSetUp() ? scf.nSpinTreatment : options.nSpinTreatment) == 1;
}

/// Fills n rows of mTarget with orbitals in the order of vOrder; leaves it as it is without them.
void FillVectors(const Array<double>& mVectors, int nOrderFrom, int n, float* mTarget) {
    const Array<int>& vOrder = results.Orbitals.vOrbitalOrder;
    if (!mVectors || vOrder.Size() < Size(nOrderFrom + n)) return;
    for (int k = 0; k < n; ++k) {
        const int nRow = vOrder[nOrderFrom + k];
        ScatterOrbitalRows(mVectors.Data() + Size(nRow) * Size(n), mTarget + Size(k) * Size(n), 1);
    }
}

/// The packet of orbital data as it is being put together.
class Block {
  public:
    explicit Block(std::size_t nBytes) { bytes_.Take(nBytes, kWork); }

    /// Appends nCount elements; nothing where there are none.
    template <class T>
    void Append(const T* v, std::size_t nCount) {
        if (nCount == 0) return;
        std::memcpy(bytes_.Data() + nUsed_, v, nCount * sizeof(T));
        nUsed_ += nCount * sizeof(T);
    }

    void Send() const { SendChunked(kPacketData, bytes_.Data(), bytes_.Size()); }

  private:
    Array<unsigned char> bytes_;
    std::size_t nUsed_ = 0;
};

/// Alpha and beta, or the one half of a restricted calculation.
int HalvesOfResults() {
    return scf.nSpinTreatment == 1 ? 2 : 1;
}

/// Populations of both halves in atom order. The array itself stays in selection order, for the
/// next report.
void AppendPopulations(Block& block) {
    const Array<float>& vPopulation = results.Orbitals.vPopulation;
    Array<double> vSource;
    Array<float> vTarget;
    vSource.Take(vPopulation.Size(), kWork);
    vTarget.Take(vPopulation.Size(), kWork);
    std::copy(vPopulation.begin(), vPopulation.end(), vSource.begin());
    ScatterOrbitalRows(vSource.Data(), vTarget.Data(), HalvesOfResults());
    block.Append(vTarget.Data(), vTarget.Size());
}

}  // namespace

void ScatterOrbitalRows(const double* mSource, float* mTarget, int nRows) {
    const int n = OrbitalCount();
    for (int i = 0; i < nRows; ++i) {
        const double* pSource = mSource + Size(i) * Size(n);
        float* pTarget = mTarget + Size(i) * Size(n);
        for (int nAtom = 0; nAtom < system.nAtoms; ++nAtom) {
            const int nPosition = PositionOf(nAtom);
            if (nPosition < 0) continue;
            const OrbitalRange range = OrbitalsAt(nPosition, n);
            for (int k = 0; k < range.nCount; ++k)
                *pTarget++ = static_cast<float>(pSource[range.nFirst + k]);
        }
        Yield(Size(system.nSelected));
    }
}

void ScatterGradientRows(const double* mSource, float* mTarget, int nRows) {
    const int nKept =
        ThisKind().fRealAtomsOnly ? system.nSelected - system.nCapping : system.nSelected;
    for (int i = 0; i < nRows; ++i) {
        const double* pSource = mSource + Size(i) * Size(3 * nKept);
        float* pTarget = mTarget + Size(i) * Size(3 * nKept);
        for (int nAtom = 0; nAtom < system.nAtoms; ++nAtom) {
            const int nPosition = PositionOf(nAtom);
            if (nPosition < 0 || nPosition >= nKept) continue;
            for (int k = 0; k < 3; ++k) *pTarget++ = static_cast<float>(pSource[3 * nPosition + k]);
        }
        Yield(Size(setup.nOrbitals));
    }
}

void SendOrbitalData() {
    const OrbitalResults& orbitals = results.Orbitals;
    const int nValues = orbitals.nOrbitalValues, nHalves = HalvesOfResults();
    const std::size_t nOfHalf = Size(nValues / nHalves);
    const std::size_t nBytesOfValue = 4 * sizeof(float) + sizeof(int) + sizeof(char[4]);
    Block block(nBytesOfValue * Size(nValues) + sizeof orbitals.sPointGroup);
    block.Append(orbitals.vOrbitalEnergy.Data(), Size(nValues));
    block.Append(orbitals.vOccupancy.Data(), Size(nValues));
    block.Append(orbitals.vOrbitalOrder.Data(), Size(nValues));
    AppendPopulations(block);
    for (int i = 0; i < nHalves; ++i) block.Append(orbitals.vSymmetryIndex.Data(), nOfHalf);
    for (int i = 0; i < nHalves; ++i) block.Append(orbitals.sSymmetryLabel.Data(), nOfHalf);
    block.Append(orbitals.sPointGroup, sizeof orbitals.sPointGroup);

    SendPacket(kPacketData, &nValues, sizeof nValues);
    block.Send();
}

void SendEigenvectors() {
    const int n = OrbitalCount();
    if (n < 1) return;
    Array<float> mBuffer;
    mBuffer.Take(Size(n), Size(n), kWork);
    FillVectors(scf.mVectorsA, 0, n, mBuffer.Data());
    SendChunked(kPacketData, mBuffer.Data(), mBuffer.Size() * sizeof(float));
    if (!IsUnrestricted()) return;
    FillVectors(scf.mVectorsB, n, n, mBuffer.Data());
    SendChunked(kPacketData, mBuffer.Data(), mBuffer.Size() * sizeof(float));
}

}  // namespace qsolve
