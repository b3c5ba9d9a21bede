#include "scf/state_gradient.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "gradient/gradient.h"
#include "job/state.h"
#include "link/memory.h"
#include "numeric/row.h"
#include "scf/electrons.h"
#include "scf/fock.h"
#include "scf/half_electron.h"
#include "scf/orbital_hessian.h"
#include "scf/response.h"
#include "scf/rotations.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr double kRest = 1e-7;        ///< of the equations, of their largest constant
constexpr double kLeastRest = 1e-10;  ///< eV, where these are no more than rounding
constexpr double kMostTurned = 1e4;   ///< of an answer, in place of infinity
constexpr int kMostProducts = 300;    ///< Fock matrices of an answer
constexpr double kNearLevels = 1e-4;  ///< eV between the levels of an open singlet
constexpr double kNoSlope = 1e-7;     ///< eV, of a correction that does not tell them apart

/// A copy of a matrix that is given back at the end of the scope.
struct Kept {
    Array<double>& m;
    Array<double> mCopy;
    explicit Kept(Array<double>& mKept) : m(mKept) {
        mCopy.Take(m.Size(), kWork);
        std::copy(m.begin(), m.end(), mCopy.begin());
    }
    ~Kept() { std::copy(mCopy.begin(), mCopy.end(), m.begin()); }
    Kept(const Kept&) = delete;
    Kept& operator=(const Kept&) = delete;
};

/// The electrons of the mean and what the gradient works on. Densities are those of one spin.
struct Mean {
    ScfRun Run = StartRun();
    SpinRun A = AlphaRun(), B = BetaRun();
    Electrons Sets = ElectronsOf(Run, A, B);
    const Shells& Levels = Sets.vShells[0];
    Array<double> mSlopes;      ///< of the correction, nOpen x N
    Array<double> vSlope;       ///< the same along each rotation of the mean
    Array<double> mChange;      ///< of the density by the answer, of one spin
    Array<double> mSpinChange;  ///< of an open singlet: what holds its levels apart, in the density

    Mean() {
        const auto n = static_cast<std::size_t>(Sets.n);
        mSlopes.Take(static_cast<std::size_t>(Levels.nOpen), n, kWork);
        vSlope.Take(CountRotations(Sets), kWork);
        mChange.Take(n, n, kWork);
    }
    const double* Open(int i) const { return Row(A.mVectors.Data(), Sets.n, Levels.nFull + i); }
};

bool IsOpenSinglet() {
    return options.nMultiplicity == 1;
}

/// The slopes of the correction along the rotations of the mean, in their order.
void FillSlope(Mean& mean) {
    FillHalfElectronSlopes(mean.A.mVectors.Data(), mean.mSlopes.Data());
    const Shells& shells = mean.Levels;
    double* v = mean.vSlope.Data();
    for (int p = 0; p < shells.Occupied(); ++p)
        for (int q = shells.EndOfShell(p); q < shells.n; ++q, ++v) {
            if (p >= shells.nFull)
                *v = Row(mean.mSlopes.Data(), shells.n, p - shells.nFull)[q];
            else if (q < shells.Occupied())
                *v = -Row(mean.mSlopes.Data(), shells.n, q - shells.nFull)[p];
        }
}

/// What the equation between the levels of an open singlet adds to the slopes, and the change of
/// the density that belongs to it. False where they have one energy, and no equation.
bool HoldLevelsApart(Mean& mean) {
    const int n = mean.Sets.n, nFirst = mean.Levels.nFull;
    const double dSlope = mean.mSlopes[nFirst + 1] - Row(mean.mSlopes.Data(), n, 1)[nFirst];
    const double dApart = mean.A.vEnergy[nFirst + 1] - mean.A.vEnergy[nFirst];
    if (std::abs(dSlope) * mean.Sets.dEv < kNoSlope) return true;
    if (std::abs(dApart) * mean.Sets.dEv < kNearLevels) return false;
    const auto nRows = static_cast<std::size_t>(n);
    mean.mSpinChange.Take(nRows, nRows, kWork);
    const double *c = mean.Open(0), *d = mean.Open(1), dHalf = -0.25 * dSlope / dApart;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            Row(mean.mSpinChange.Data(), n, i)[j] = dHalf * (c[i] * d[j] + d[i] * c[j]);
    Array<double> mTotal, mAnswer;
    mTotal.Take(nRows, nRows, kWork);
    mAnswer.Take(nRows, nRows, kWork);
    for (std::size_t i = 0; i < mTotal.Size(); ++i) mTotal[i] = 2.0 * mean.mSpinChange[i];
    AddRepulsion(mTotal.Data(), mean.mSpinChange.Data(), mean.mSpinChange.Data(), mAnswer.Data());
    AddMatrixOfRotations(mean.Levels, mean.A.mVectors.Data(), mAnswer.Data(),
                         2.0 * mean.Sets.dWeight, scf.mSquareWork.Data(), mean.vSlope.Data());
    return true;
}

double Largest(const Array<double>& v) {
    double d = 0.0;
    for (const double x : v) d = std::max(d, std::abs(x));
    return d;
}

/// How far the density follows, into mChange; why not, where it cannot be told.
MeanForce FindChange(Mean& mean) {
    FillSlope(mean);
    if (IsOpenSinglet() && !HoldLevelsApart(mean)) return kForceEqualLevels;
    Array<double> vBend, vRotations;
    vBend.Take(mean.vSlope.Size(), kWork);
    vRotations.Take(mean.vSlope.Size(), kWork);
    FillBend(mean.Sets, vBend.Data());
    const double dPart = std::max(kRest, kLeastRest / mean.Sets.dEv / Largest(mean.vSlope));
    const ResponseEnd end = SolveResponse(mean.Sets, vBend.Data(), mean.vSlope.Data(), dPart,
                                          kMostProducts, vRotations.Data());
    scf.Force.nProducts = end.nProducts;
    if (!end.fConverged || Largest(vRotations) > kMostTurned) return kForceNoMinimum;
    DensityChange(mean.Levels, mean.A.mVectors.Data(), vRotations.Data(), scf.mSquareWork.Data(),
                  mean.mChange.Data());
    for (std::size_t i = 0; i < mean.mSpinChange.Size(); ++i)
        mean.mChange[i] += mean.mSpinChange[i];
    return kForceOfState;
}

/// Adds the gradient of a determinant: the mean, with the first open level filled by one spin and
/// the others by the same, dOthers 1, or the other one, -1.
void AddDeterminant(double dWeight, double dOthers, const Mean& mean, const double* mTotal) {
    const int n = mean.Sets.n;
    Array<double> mAlpha, mBeta;
    const auto nRows = static_cast<std::size_t>(n);
    mAlpha.Take(nRows, nRows, kWork);
    mBeta.Take(nRows, nRows, kWork);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            double dSpin = 0.0;
            for (int k = 0; k < mean.Levels.nOpen; ++k)
                dSpin += (k == 0 ? 1.0 : dOthers) * mean.Open(k)[i] * mean.Open(k)[j];
            const double dTotal = Row(mTotal, n, i)[j];
            Row(mAlpha.Data(), n, i)[j] = 0.5 * (dTotal + dSpin);
            Row(mBeta.Data(), n, i)[j] = 0.5 * (dTotal - dSpin);
        }
    AddGradient(dWeight, mTotal, mAlpha.Data(), mBeta.Data());
}

/// Adds the slope of the mean energy along the change, which is exact, E being quadratic in it.
void AddChange(const Mean& mean, const Array<double>& mTotal) {
    Array<double> mMoved, mHalf;
    mMoved.Take(mTotal.Size(), kWork);
    mHalf.Take(mTotal.Size(), kWork);
    for (const double dSign : {1.0, -1.0}) {
        for (std::size_t i = 0; i < mTotal.Size(); ++i) {
            mMoved[i] = mTotal[i] + 2.0 * dSign * mean.mChange[i];
            mHalf[i] = 0.5 * mMoved[i];
        }
        AddGradient(0.5 * dSign, mMoved.Data(), mHalf.Data(), nullptr);
    }
}

MeanForce TryStateGradient() {
    if (!scf.End.fConverged) return kForceUnconverged;
    Mean mean;
    Kept total(scf.mDensityT), half(scf.mDensityA), fock(scf.mFockA);
    const MeanForce nWhy = FindChange(mean);
    if (nWhy != kForceOfState) return nWhy;
    ClearGradient();
    if (IsOpenSinglet()) {
        AddDeterminant(2.0, -1.0, mean, total.mCopy.Data());
        AddDeterminant(-1.0, 1.0, mean, total.mCopy.Data());
    } else {
        AddDeterminant(1.0, 1.0, mean, total.mCopy.Data());
    }
    AddChange(mean, total.mCopy);
    return kForceOfState;
}

}  // namespace

bool WantsStateGradient() {
    const bool fOpen = options.nSpinTreatment != 1 && setup.nOccupied != setup.nDoublyOcc;
    return further.Scf.fStateGradient && further.Scf.fGuarded && options.nCiKind == 0 && fOpen;
}

void ComputeStateGradient() {
    scf.Force.nProducts = 0;
    scf.Force.nWhy = TryStateGradient();
    if (scf.Force.nWhy == kForceOfState) return;
    if (scf.Force.nOfMean++ == 0) scf.Force.nWhyFirst = scf.Force.nWhy;
    ComputeGradient(scf.mDensityT.Data(), scf.mDensityA.Data(), scf.mDensityB.Data());
}

}  // namespace qsolve
