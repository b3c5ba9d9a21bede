#include "session/job_arrays.h"

#include <algorithm>
#include <limits>

#include "algebra/state.h"
#include "ci/state.h"
#include "gradient/state.h"
#include "integrals/state.h"
#include "job/state.h"
#include "numeric/strips.h"
#include "properties/state.h"
#include "scf/state.h"
#include "session/state.h"
#include "setup/state.h"
#include "symmetry/state.h"

namespace qsolve {

namespace {

constexpr int kDiisSlots = 5;
constexpr int kEigenWorkVectors = 5;
constexpr int kSmallestWork = 64;
constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();

constexpr std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

std::size_t Product(std::size_t a, std::size_t b) {
    std::size_t n = 0;
    return __builtin_mul_overflow(a, b, &n) ? kMost : n;
}

std::size_t Sum(std::size_t a, std::size_t b) {
    return a > kMost - b ? kMost : a + b;
}

bool IsUnrestricted() {
    return options.nSpinTreatment == 1;
}

void TakeOrbitalArrays() {
    const std::size_t n = Size(setup.nOrbitals);
    for (Array<double>* v :
         {&setup.vZeta1, &setup.vZeta2, &setup.vCoef1, &setup.vCoef2, &setup.vOrbitalEnergy0})
        v->Take(n, kSetUp);
    for (Array<int>* v : {&setup.vOrbitalAtom, &setup.vOrbitalType, &setup.vOrbitalShell})
        v->Take(n, kSetUp);
}

void TakeOrbitalResults() {
    OrbitalResults& orbitals = results.Orbitals;
    const std::size_t n = Size(orbitals.nOrbitalValues);
    orbitals.vOrbitalEnergy.Take(n, kSetUp);
    orbitals.vOccupancy.Take(n, kSetUp);
    orbitals.vOrbitalOrder.Take(n, kSetUp);
    orbitals.vPopulation.Take(n, kSetUp);
    orbitals.sSymmetryLabel.Take(n, kSetUp);
    orbitals.vSymmetryIndex.Take(n, kSetUp);
}

void TakeIntegralArrays() {
    const std::size_t n = Size(setup.nOrbitals), nAtoms = Size(system.nSelected);
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo:
        case Family::kZindo:
            integrals.vCoreDiagonal.Take(n, kSetUp);
            integrals.pIntegrals.Take(n, n, kSetUp);
            return;
        case Family::kNddo:
            integrals.vAtomScratch1.Take(nAtoms, kSetUp);
            integrals.vAtomScratch2.Take(nAtoms, kSetUp);
            integrals.pPairIndex.Take(nAtoms, nAtoms, kSetUp);
            integrals.pIntegrals.TakeUnset(
                TwoCentreSize(system.nSelected, setup.Map.nAtomsWithP, setup.Map.nAtomsWithD),
                kSetUp);
            return;
        case Family::kNone:
            return;
    }
}

// What is written before it is read is taken as it comes: to clear it would be a pass through the
// memory that one thread makes alone.

/// Scratch of the Fock builders and the pseudo-diagonaliser: 16 bytes for each of half the orbitals
/// times the orbitals, and for NDDO one more of them for each atom.
void TakeWork() {
    const std::size_t nHalf = Size((std::max(setup.nOrbitals, kSmallestWork) + 1) / 2);
    std::size_t nPairs = Sum(Product(nHalf, Size(setup.nOrbitals)), 1);
    if (FamilyOf(system.MethodId) == Family::kNddo) nPairs = Sum(nPairs, Size(system.nSelected));
    scf.pWork.TakeUnset(nPairs, 2, kSetUp);
}

/// A matrix of zeros, which all threads write.
void TakeCleared(std::size_t nRows, std::size_t nColumns, Array<double>& m) {
    m.TakeUnset(nRows, nColumns, kSetUp);
    ClearRows(static_cast<int>(nRows), static_cast<int>(nColumns), m.Data());
}

/// Arrays that exist whatever N is.
void TakeVectorsAndFock() {
    const std::size_t n = Size(setup.nOrbitals), nEven = Size(setup.nEvenColumns);
    scf.mFockA.TakeUnset(nEven, n, kSetUp);
    TakeCleared(nEven, n, scf.mVectorsA);
    scf.mSquareWork.TakeUnset(nEven, n, kSetUp);
    for (Array<double>* v : {&scf.vEnergyA, &scf.vLevelA, &scf.vWeightsA, &scf.vOrbitalScratch})
        v->Take(n, kSetUp);
    algebra.vEigenWork.Take(kEigenWorkVectors, n, kSetUp);
    if (!IsUnrestricted()) return;
    scf.mFockB.TakeUnset(nEven, n, kSetUp);
    TakeCleared(nEven, n, scf.mVectorsB);
    scf.vEnergyB.Take(n, kSetUp);
    scf.vLevelB.Take(n, kSetUp);
    scf.vWeightsB.Take(n, kSetUp);
}

/// Densities. The beta density also serves as the spin density of a configuration interaction.
void TakeDensities() {
    const std::size_t n = Size(setup.nOrbitals);
    for (Array<double>* m : {&scf.mDensityA, &scf.mDensityT}) TakeCleared(n, n, *m);
    for (Array<double>* m : {&scf.mCore, &scf.mDensityPrevA}) m->TakeUnset(n, n, kSetUp);
    scf.vDiagOlderA.Take(n, kSetUp);
    scf.vDiagWork.Take(n, kSetUp);
    if (IsUnrestricted() || options.nCiKind != 0) TakeCleared(n, n, scf.mDensityB);
    if (!IsUnrestricted()) return;
    scf.mDensityPrevB.TakeUnset(n, n, kSetUp);
    scf.vDiagOlderB.Take(n, kSetUp);
}

void TakeDiis() {
    if (!options.fDiis) return;
    const std::size_t n = Size(setup.nOrbitals), nSquare = Product(n, n);
    scf.mDiisErrorA.TakeUnset(kDiisSlots, nSquare, kSetUp);
    scf.mDiisFockA.TakeUnset(kDiisSlots, nSquare, kSetUp);
    if (!IsUnrestricted()) return;
    scf.mDiisErrorB.TakeUnset(kDiisSlots, nSquare, kSetUp);
    scf.mDiisFockB.TakeUnset(kDiisSlots, nSquare, kSetUp);
}

/// Three components for each atom of the selection; extended Hueckel has no gradient.
void TakeGradient() {
    if (FamilyOf(system.MethodId) != Family::kNone)
        gradient.pGradient.Take(Size(system.nSelected), 3, kSetUp);
}

void TakeProperties() {
    properties.vCharge.Take(Size(system.nSelected), kSetUp);
}

/// What the retention rules must know of these arrays when the options are those of a later
/// session.
void RememberWithArrays() {
    scf.nOrbitals = setup.nOrbitals;
    scf.nSpinTreatment = options.nSpinTreatment;
    scf.nMultiplicity = options.nMultiplicity;
    scf.nCiKind = options.nCiKind;
    scf.fDiis = options.fDiis != 0;
}

}  // namespace

void FreeCalculation() noexcept {
    const int nOrbitals = setup.nOrbitals;
    setup = SetupState{};
    setup.nOrbitals = nOrbitals;  // of orbitals that are gone zeros are sent, as many as they were
    system.pCoords.Reset();
    integrals = IntegralState{};
    algebra = AlgebraState{};
    scf = ScfState{};
    gradient = GradientState{};
    properties = PropertyState{};
    ci = CiState{};
    symmetry = SymmetryState{};
    results.Block = ResultBlock{};
    results.Orbitals = OrbitalResults{};
    session.nPrevOrbitals = 0;
}

void TakeOrbitalMap() {
    for (Array<int>* v :
         {&setup.Map.pFirstOrbital, &setup.Map.pLastSpOrbital, &setup.Map.pLastOrbital})
        v->Take(Size(system.nSelected), kSetUp);
}

std::size_t TwoCentreSize(int nAtoms, int nWithP, int nWithD) {
    if (nAtoms == 1) return 100;
    const std::size_t h = Size(nAtoms - nWithP - nWithD), p = Size(nWithP), d = Size(nWithD);
    // Each term counts its atoms less one, which is no number when there are none of them.
    const std::size_t nOfH = h ? Product(Sum(Sum(h - 1, Product(90, d)), Product(20, p)), h) : 0;
    const std::size_t nOfP = p ? Product(Product(Sum(p - 1, Product(9, d)), p), 100) : 0;
    const std::size_t nOfD = d ? Product(Product(d - 1, d), 2025) : 0;
    return Sum(Sum(nOfH, nOfP), nOfD);
}

void TakeJobArrays() {
    TakeOrbitalArrays();
    TakeOrbitalResults();
    TakeIntegralArrays();
    TakeWork();
    TakeVectorsAndFock();
    if (setup.nOrbitals != 0) {
        TakeDensities();
        TakeDiis();
    }
    TakeGradient();
    TakeProperties();
    RememberWithArrays();
}

}  // namespace qsolve
