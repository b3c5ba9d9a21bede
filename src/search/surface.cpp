#include "search/surface.h"

#include <algorithm>
#include <cmath>

#include "geometry/displacements.h"
#include "geometry/inertia.h"
#include "geometry/kept_matrix.h"
#include "geometry/modes.h"
#include "gradient/state.h"
#include "job/atoms.h"
#include "job/state.h"
#include "link/held.h"
#include "link/link.h"
#include "numeric/pool.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "vibrations/state.h"

namespace qsolve {
namespace {

constexpr double kZeroEigenvalue = 1e-6;  ///< kcal/mol per square of the working unit
constexpr double kStep = 0.00529167;      ///< Angstrom
constexpr double kStepBohr = 0.001;       ///< bohr
constexpr float kCoarseScf = 0.0001F;     ///< kcal/mol; from it on differences go one way
constexpr float kDisplacedLimit = 1e-5F;  ///< kcal/mol, at displaced points

DifferenceScheme Scheme() {
    const double h = UsesAtomicUnits(system.MethodId) ? kStepBohr : kStep;
    const bool fForward = !(options.flConvergenceLimit < kCoarseScf);
    return {.fForward = fForward,
            .dStep = fForward ? h : 0.5 * h,
            .dPerSpan = 1.0 / h,
            .flLimitFactor = 1.0F,
            .flMostLimit = kDisplacedLimit,
            .nProgress = kMsgHessianProgress};
}

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

void CopyArray(const Array<double>& from, Array<double>& to) {
    std::copy(from.begin(), from.end(), to.begin());
}

}  // namespace

void Surface::Take(int nCoordinates) {
    n = nCoordinates;
    for (Array<double>* m : {&mHessian, &mVectors}) m->Take(Size(n), Size(n), kWork);
    for (Array<double>* v : {&vValues, &vEigenGradient, &vGradient, &vStep})
        v->Take(Size(n), kWork);
}

void Surface::CopyFrom(const Surface& other) {
    for (Array<double> Surface::*p :
         {&Surface::mHessian, &Surface::mVectors, &Surface::vValues, &Surface::vEigenGradient,
          &Surface::vGradient, &Surface::vStep})
        CopyArray(other.*p, this->*p);
    nExternal = other.nExternal;
    dEnergy = other.dEnergy;
    dNorm = other.dNorm;
    dTrust = other.dTrust;
    dLength = other.dLength;
    nNegative = other.nNegative;
    nNegativeBefore = other.nNegativeBefore;
}

void SurfaceWork::Take(int n) {
    mCopy.Take(Size(n), Size(n), kWork);
    for (Array<double>* v : {&vPlaces, &vWork, &vModeStep}) v->Take(Size(n), kWork);
    vOnes.Take(Size(n / 3), kWork);
    std::fill(vOnes.begin(), vOnes.end(), 1.0);
}

void RunScfForGradient() {
    RunScf();
    if (!gradient.fComputed) Fatal(kMsgNotAvailable, "gradient", job.nCalcKind);
}

void GatherPlaces(double* vXyz) {
    for (int i = 0; i < system.nSelected; ++i)
        std::copy_n(system.pCoords.Data() + 3 * (AtomNumberAt(i) - 1), 3, vXyz + 3 * i);
}

int CountExternalModesNow(SurfaceWork& work) {
    GatherPlaces(work.vPlaces.Data());
    return CountExternalModes(
        ComputeInertia(system.nSelected, work.vPlaces.Data(), work.vOnes.Data(), 1.0));
}

void ComputeSearchHessian() {
    const int nAtoms = system.nSelected - system.nCapping, n = 3 * nAtoms;
    const Held report(setup.fFinalReport, false);
    vibrations = VibrationState{};
    vibrations.pHessian.Take(Size(n), Size(n), kWork);
    RememberMolecule(vibrations);
    vibrations.Report =
        ComputeDifferences(Scheme(), nAtoms, Threads(), vibrations.pHessian.Data(), nullptr);
    RunScf();
    vibrations.nStoredCoordinates = n;
    vibrations.nProducerKind = job.nCalcKind;
    vibrations.fComplete = true;
}

bool HasSearchHessian() {
    const VibrationState& v = vibrations;
    const bool fSearch =
        v.nProducerKind == kTransitionState || v.nProducerKind == kSynchronousTransit;
    return v.fComplete && fSearch && BelongsToThisMolecule(v) &&
           v.nStoredCoordinates == 3 * (system.nSelected - system.nCapping);
}

bool HasGivenHessian() {
    return further.mHessian.Size() > 0;
}

void TakeGivenHessian(Surface& surface) {
    const int n = 3 * (system.nSelected - system.nCapping);
    const Array<double>& m = further.mHessian;
    if (m.Size() != Size(n) * Size(n))
        Fatal(kMsgSectionSize, "Hessian", static_cast<int>(m.Size() * sizeof(double)));
    const double dUnit = UsesAtomicUnits(system.MethodId) ? kBohrPerAngstrom : 1.0;
    std::fill(surface.mHessian.begin(), surface.mHessian.end(), 0.0);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            Row(surface.mHessian.Data(), surface.n, i)[j] =
                0.5 * (Row(m.Data(), n, i)[j] + Row(m.Data(), n, j)[i]) / (dUnit * dUnit);
}

void TakeKeptHessian(Surface& surface) {
    const int n = vibrations.nStoredCoordinates;
    std::fill(surface.mHessian.begin(), surface.mHessian.end(), 0.0);
    for (int i = 0; i < n; ++i)
        std::copy_n(Row(vibrations.pHessian.Data(), n, i), n,
                    Row(surface.mHessian.Data(), surface.n, i));
}

void NoteGradient(Surface& surface) {
    surface.dEnergy = scf.dTotalEnergy;
    std::copy_n(gradient.pGradient.begin(), surface.n, surface.vGradient.begin());
    surface.dNorm = std::sqrt(Dot(surface.n, surface.vGradient.Data(), surface.vGradient.Data()));
}

void FindModes(Surface& surface, SurfaceWork& work) {
    GatherPlaces(work.vPlaces.Data());
    CopyArray(surface.mHessian, work.mCopy);
    surface.nExternal =
        DiagonaliseHessian(system.nSelected, work.vPlaces.Data(), work.vOnes.Data(),
                           MillidynesPerUnit(system.MethodId), work.vWork.Data(), work.mCopy.Data(),
                           surface.mVectors.Data(), surface.vValues.Data());
}

void ZeroAndCount(int nModes, Surface& surface) {
    surface.nNegative = 0;
    for (int i = 0; i < nModes; ++i) {
        double& b = surface.vValues[i];
        if (std::abs(b) < kZeroEigenvalue) b = 0.0;
        surface.nNegative += b < 0.0;
    }
}

void FillEigenGradient(int nModes, Surface& surface) {
    for (int i = 0; i < surface.n; ++i) {
        const bool fTakesPart = i < nModes && std::abs(surface.vValues[i]) > kZeroEigenvalue;
        const double* v = Row(surface.mVectors.Data(), surface.n, i);
        surface.vEigenGradient[i] = fTakesPart ? Dot(surface.n, v, surface.vGradient.Data()) : 0.0;
    }
}

bool FormStep(int nModes, const double* vModeStep, Surface& surface) {
    std::fill(surface.vStep.begin(), surface.vStep.end(), 0.0);
    for (int k = 0; k < nModes; ++k) {
        const double* v = Row(surface.mVectors.Data(), surface.n, k);
        for (int i = 0; i < surface.n; ++i) surface.vStep[i] += vModeStep[k] * v[i];
    }
    return std::all_of(surface.vStep.begin(), surface.vStep.end(),
                       [](double d) { return std::isfinite(d); });
}

bool IsOnTheMap() {
    return std::isfinite(scf.dTotalEnergy) && std::isfinite(gradient.dGradientSquared);
}

}  // namespace qsolve
