#include "scf/account.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "scf/state.h"

namespace qsolve {

void CountScf(const ScfRun& run) {
    ScfRecord& account = scf.Account;
    account.fConverged = run.Cycle.fConverged ? 1 : 0;
    account.nTest = !run.Cycle.fConverged ? kNoTest : scf.End.fGuarded ? kStateTest : kEnergyTest;
    account.nCycles = run.nJudged;
    account.dDifference = run.dDifference;
    account.dLimit = run.dLimit;
    account.dFinalDifference = std::abs(run.dEnergy - run.dEnergyPrev) * run.Family.dKcalPerUnit;
    ++account.nRuns;
    ++account.nRunsSince;
    if (run.Cycle.fConverged) return;

    // What is no number is worse than any.
    ++account.nUnconverged;
    ++account.nUnconvergedSince;
    const double d =
        std::isnan(run.dDifference) ? std::numeric_limits<double>::infinity() : run.dDifference;
    account.dWorstDifference = std::max(account.dWorstDifference, d);
}

void StartScfCount() {
    scf.Account.nRunsSince = scf.Account.nUnconvergedSince = 0;
    scf.Account.dWorstDifference = 0.0;
}

}  // namespace qsolve
