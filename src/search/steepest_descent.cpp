#include <cmath>

#include "geometry/geometry.h"
#include "gradient/state.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "search/cycles.h"
#include "search/search.h"

namespace qsolve {
namespace {

constexpr double kFirstFactor = 0.002;  ///< of the gradient, in the first cycle
constexpr double kSmallestStep = 1e-6;  ///< working unit
constexpr double kLonger = 1.2, kShorter = 0.5;

}  // namespace

void SteepestDescent(double dRms, int nMaxCycles) {
    double dLast = scf.dTotalEnergy, dLength = 0.0;
    for (int nCycle = 1; nCycle <= nMaxCycles; ++nCycle) {
        if (IsBelowLimit(SquareLimit(dRms))) return FinishConverged(nCycle, nCycle);
        const double dNorm = std::sqrt(gradient.dGradientSquared);
        if (nCycle == 1) dLength = kFirstFactor * dNorm;
        MoveAtoms(gradient.pGradient.Data(), nCycle == 1 ? -kFirstFactor : -(dLength / dNorm));
        RunScf();
        ReportCycle(nCycle, nCycle);

        // A tie counts as no gain, and so does an energy that is no number.
        dLength *= scf.dTotalEnergy < dLast ? kLonger : kShorter;
        dLast = scf.dTotalEnergy;
        if (dLength < kSmallestStep) {
            Warn(kMsgDescentStepTooSmall);
            return FinishUnconverged(nCycle, nCycle);
        }
        if (nCycle == nMaxCycles) break;  // the largest of all integers has no successor
    }
    const int nDone = nMaxCycles < 1 ? 0 : nMaxCycles;
    FinishUnconverged(nDone, nDone);
}

}  // namespace qsolve
