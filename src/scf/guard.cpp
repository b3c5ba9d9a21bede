#include "scf/guard.h"

#include <algorithm>
#include <cmath>

#include "report/report.h"
#include "scf/stages.h"

namespace qsolve {
namespace {

constexpr double kNoise = 1e-14;  ///< of an energy, as a part of it: what rounding leaves

}  // namespace

void NextFock(Electrons& electrons, GuardEnd& end) {
    ++end.nCycles;
    const double dBefore = end.dEnergy;
    end.dEnergy = EvaluateFock(electrons);
    for (int i = 0; i < electrons.nSets; ++i) ReportFock(electrons.Run, *electrons.pSets[i]);
    end.dDifference = std::abs(end.dEnergy - dBefore) * electrons.Run.Family.dKcalPerUnit;
}

void TellCycle(const GuardEnd& end) {
    if (end.nCycles >= 2) ReportScfProgress(end.nCycles - 1, end.dDifference);
}

bool IsEnergySettled(const Electrons& electrons, const GuardLimits& limits, const GuardEnd& end) {
    const double dNoise = kNoise * std::abs(end.dEnergy) * electrons.Run.Family.dKcalPerUnit;
    return end.nCycles >= 2 && end.dDifference < std::max(limits.dEnergy, dNoise);
}

}  // namespace qsolve
