#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "integrals/state.h"
#include "job/state.h"
#include "numeric/row.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/scf_job.h"

namespace qsolve {

/// One term of the energy for densities that belong to no SCF, and its gradient. Working units.
class FixedDensity : public FreshState {
  protected:
    void Use(const JobScript& script) {
        JobScript changed = script;
        changed.Options.nIterationLimit = 1;  // for the integrals alone
        changed.Options.nLevelShiftStart = 0;
        SetUpJob(changed);
        mA = RandomSymmetric(setup.nOrbitals, 7);
        mB = RandomSymmetric(setup.nOrbitals, 8);
        mT = mA;
        for (std::size_t i = 0; i < mT.v.size(); ++i) mT.v[i] += mB.v[i];
    }

    /// Largest deviation of pGradient (x y z by position) from the slope of energy(), which is
    /// called with the integrals of each geometry.
    template <class Energy>
    double Deviation(const std::vector<double>& pGradient, double dStep, Energy energy) {
        double dWorst = 0.0;
        for (std::size_t i = 0; i < pGradient.size(); ++i) {
            const auto nAtom = static_cast<std::size_t>(system.nSelectedAtoms[i / 3] - 1);
            double& x = system.pCoords[3 * nAtom + i % 3];
            const double dMiddle = x;
            double vEnergy[2];
            for (int k = 0; k < 2; ++k) {
                x = dMiddle + (k == 0 ? dStep : -dStep);
                RunScf();
                vEnergy[k] = energy();
            }
            x = dMiddle;
            const double d = std::abs((vEnergy[0] - vEnergy[1]) / (2 * dStep) - pGradient[i]);
            dWorst = d <= dWorst ? dWorst : d;
        }
        return dWorst;
    }

    static std::vector<double> NoGradient() {
        return std::vector<double>(3 * static_cast<std::size_t>(system.nSelected));
    }

    static bool OnOneAtom(int mu, int nu) {
        return setup.vOrbitalAtom[mu] == setup.vOrbitalAtom[nu];
    }

    /// Sum over ordered pairs of orbitals on different atoms.
    template <class Term>
    static double SumBetweenAtoms(Term term) {
        double dSum = 0.0;
        for (int mu = 0; mu < setup.nOrbitals; ++mu)
            for (int nu = 0; nu < setup.nOrbitals; ++nu)
                if (!OnOneAtom(mu, nu)) dSum += term(mu, nu);
        return dSum;
    }

    TestMatrix mT{0, 0}, mA{0, 0}, mB{0, 0};
};

}  // namespace qsolve
