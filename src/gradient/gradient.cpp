#include "gradient/gradient.h"

#include <algorithm>
#include <cstddef>

#include "gradient/classical_gradient.h"
#include "gradient/cndo_gradient.h"
#include "gradient/nddo_gradient.h"
#include "gradient/resonance.h"
#include "gradient/state.h"
#include "job/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// All terms; mDensityB is null in a restricted calculation.
void AddTerms(const double* mDensityT, const double* mDensityA, const double* mDensityB,
              double* pGradient) {
    AddResonanceGradient(mDensityT, pGradient);
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo:
        case Family::kZindo:
            AddCndoGradient(mDensityT, mDensityA, mDensityB, pGradient);
            if (system.nSelected != system.nAtoms) AddClassicalChargeGradient(mDensityT, pGradient);
            break;
        case Family::kNddo:
            AddNddoGradient(mDensityT, mDensityA, mDensityB, pGradient);
            break;
        case Family::kNone:
            break;
    }
}

}  // namespace

void ClearGradient() {
    gradient.fComputed = false;
    std::fill(gradient.pGradient.begin(), gradient.pGradient.end(), 0.0);
}

void ComputeGradient(const double* mDensityT, const double* mDensityA, const double* mDensityB) {
    ClearGradient();
    const bool fUnrestricted = options.nSpinTreatment == 1;
    if (system.nSelected > 1)
        AddTerms(mDensityT, mDensityA, fUnrestricted ? mDensityB : nullptr,
                 gradient.pGradient.Data());
    gradient.fComputed = true;
}

void AddGradient(double dWeight, const double* mDensityT, const double* mDensityA,
                 const double* mDensityB) {
    gradient.fComputed = false;
    Array<double> vTerms;
    vTerms.Take(gradient.pGradient.Size(), kWork);
    if (system.nSelected > 1) AddTerms(mDensityT, mDensityA, mDensityB, vTerms.Data());
    for (std::size_t i = 0; i < vTerms.Size(); ++i) gradient.pGradient[i] += dWeight * vTerms[i];
    gradient.fComputed = true;
}

}  // namespace qsolve
