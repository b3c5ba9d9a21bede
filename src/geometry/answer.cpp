#include "geometry/answer.h"

#include <algorithm>

#include "gradient/gradient.h"
#include "gradient/restraints.h"
#include "integrals/state.h"
#include "job/state.h"
#include "properties/properties.h"
#include "scf/due_orbitals.h"
#include "scf/electronic_energy.h"
#include "scf/energies.h"
#include "scf/fock.h"
#include "scf/response.h"
#include "scf/rotations.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/parameters.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr double kRest = 1e-6;     ///< of the equations, of their largest constant
constexpr int kMostProducts = 60;  ///< of an answer; then two SCFs are not dearer

void Copy(const Array<double>& from, Array<double>& to) {
    std::copy(from.begin(), from.end(), to.begin());
}

void Keep(const Array<double>& from, Array<double>& to) {
    to.Take(from.Size(), kWork);
    Copy(from, to);
}

/// A coordinate elsewhere, until the end of the scope.
struct Moved {
    double& dPlace;
    double dReference;
    Moved(std::size_t nPlace, double dStep) : dPlace(system.pCoords[nPlace]), dReference(dPlace) {
        dPlace += dStep;
    }
    ~Moved() { dPlace = dReference; }
    Moved(const Moved&) = delete;
    Moved& operator=(const Moved&) = delete;
};

/// The orbitals and densities of the reference point, whatever came in between.
void RestoreReference(Answer& answer) {
    for (int k = 0; k < answer.Sets.nSets; ++k) {
        SpinRun& s = *answer.Sets.pSets[k];
        Copy(answer.mVectors[k], s.mVectors);
        Copy(answer.vEnergy[k], s.vEnergy);
        Copy(answer.mDensity[k], s.mDensity);
    }
}

/// Adds dFactor times the Fock matrices of the reference densities, with the integrals of a
/// coordinate moved by dStep, to the changes of the sets.
void AddMovedFocks(std::size_t nPlace, double dStep, double dFactor, Answer& answer) {
    const Moved moved(nPlace, dStep);
    BuildIntegrals();
    EvaluateFock(answer.Sets);
    for (int k = 0; k < answer.Sets.nSets; ++k) {
        const double* f = answer.Sets.pSets[k]->mFock.Data();
        for (std::size_t i = 0; i < answer.mChange[k].Size(); ++i)
            answer.mChange[k][i] += dFactor * f[i];
    }
}

/// The densities of the reference point, changed as the answer says.
void FollowCoordinate(double dStep, const Answer& answer) {
    for (int k = 0; k < answer.Sets.nSets; ++k) {
        double* p = answer.Sets.pSets[k]->mDensity.Data();
        for (std::size_t i = 0; i < answer.mDensity[k].Size(); ++i)
            p[i] = answer.mDensity[k][i] + dStep * answer.mChange[k][i];
    }
    const double* pA = scf.mDensityA.Data();
    const double* pB = answer.Sets.nSets == 2 ? scf.mDensityB.Data() : pA;
    for (std::size_t i = 0; i < scf.mDensityT.Size(); ++i) scf.mDensityT[i] = pA[i] + pB[i];
}

/// The slope of the energy along each rotation, per working unit of the coordinate.
void FillSlope(std::size_t nPlace, double dStep, Answer& answer) {
    for (int k = 0; k < answer.Sets.nSets; ++k)
        std::fill(answer.mChange[k].begin(), answer.mChange[k].end(), 0.0);
    AddMovedFocks(nPlace, dStep, 0.5 / dStep, answer);
    AddMovedFocks(nPlace, -dStep, -0.5 / dStep, answer);
    Copy(answer.vIntegrals, integrals.pIntegrals);
    std::fill(answer.vSlope.begin(), answer.vSlope.end(), 0.0);
    double* pPart = answer.vSlope.Data();
    for (int k = 0; k < answer.Sets.nSets; ++k) {
        const Shells& shells = answer.Sets.vShells[k];
        AddMatrixOfRotations(shells, answer.mVectors[k].Data(), answer.mChange[k].Data(),
                             2.0 * answer.Sets.dWeight, scf.mSquareWork.Data(), pPart);
        pPart += RotationsOf(shells);
    }
}

}  // namespace

bool CanAnswer() {
    const bool fOpen = options.nSpinTreatment != 1 && setup.nOccupied != setup.nDoublyOcc;
    return further.Scf.fResponse && further.Scf.fGuarded && options.nCiKind == 0 && !fOpen;
}

bool PrepareAnswers(Answer& answer) {
    RunScf();
    if (!scf.Account.fConverged) return false;
    SolveDueOrbitals();
    const std::size_t nRotations = CountRotations(answer.Sets);
    for (Array<double>* v : {&answer.vBend, &answer.vSlope, &answer.vRotations})
        v->Take(nRotations, kWork);
    Keep(integrals.pIntegrals, answer.vIntegrals);
    for (int k = 0; k < answer.Sets.nSets; ++k) {
        const SpinRun& s = *answer.Sets.pSets[k];
        Keep(s.mVectors, answer.mVectors[k]);
        Keep(s.vEnergy, answer.vEnergy[k]);
        Keep(s.mDensity, answer.mDensity[k]);
        answer.mChange[k].Take(s.mDensity.Size(), kWork);
    }
    FillBend(answer.Sets, answer.vBend.Data());
    return true;
}

bool FindAnswer(std::size_t nPlace, double dStep, Answer& answer) {
    RestoreReference(answer);
    FillSlope(nPlace, dStep, answer);
    const ResponseEnd end = SolveResponse(answer.Sets, answer.vBend.Data(), answer.vSlope.Data(),
                                          kRest, kMostProducts, answer.vRotations.Data());
    answer.nProducts = end.nProducts;
    if (!end.fConverged) return false;
    const double* pPart = answer.vRotations.Data();
    for (int k = 0; k < answer.Sets.nSets; ++k) {
        const Shells& shells = answer.Sets.vShells[k];
        DensityChange(shells, answer.mVectors[k].Data(), pPart, scf.mSquareWork.Data(),
                      answer.mChange[k].Data());
        pPart += RotationsOf(shells);
    }
    return true;
}

void ComputeAnsweredGradient(std::size_t nPlace, double dStep, const Answer& answer) {
    const Moved moved(nPlace, dStep);
    FollowCoordinate(dStep, answer);
    ComputeGradient(scf.mDensityT.Data(), scf.mDensityA.Data(), scf.mDensityB.Data());
    ApplyRestraints();
    FinishGradient(KcalPerUnit(system.MethodId));
}

void ComputeAnsweredDipole(std::size_t nPlace, double dStep, const Answer& answer) {
    const Moved moved(nPlace, dStep);
    FollowCoordinate(dStep, answer);
    ComputeChargeOrigin();
    ComputeAtomCharges(scf.mDensityT.Data(), scf.mDensityA.Data(), scf.mDensityB.Data());
    ComputeDipole(scf.mDensityT.Data(), setup.nOrbitals);
}

}  // namespace qsolve
