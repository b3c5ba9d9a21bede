#include "scf/whole_hessian.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "scf/rotations.h"
#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Closed shells, half electrons and unrestricted spins, with d orbitals where the method has them.
std::vector<JobScript> KindsOf(int nMethod) {
    const bool fSulphur = nMethod == kMndoD;
    const std::vector<Place> places = {
        {fSulphur ? 16 : 8, 0, 0, 0}, {1, 0.9572, 0, 0.1}, {6, -0.5, 1.3, 0},
        {1, -1.6, 1.3, 0.2},          {1, 0.0, 2.1, 0.6},  {1, 0.3, 2.0, -0.7}};
    std::vector<JobScript> scripts = {Spins(Molecule(nMethod, places), 0, 1, false),
                                      Spins(Molecule(nMethod, places), 0, 3, false),
                                      Spins(Molecule(nMethod, places), 1, 2, false),
                                      Spins(Molecule(nMethod, places), 1, 2, true),
                                      Spins(Molecule(nMethod, {{1, 0, 0, 0}}), 0, 2, true)};
    if (FamilyOf(nMethod) == Family::kZindo)
        scripts.push_back(
            Spins(Molecule(nMethod, {{22, 0, 0, 0}, {17, 0, 0.4, 2.1}}), 3, 1, false));
    return scripts;
}

class WholeHessians : public FreshState, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Methods, WholeHessians,
                         testing::Values(kCndo, kIndo, kZindo1, kZindoS, kMindo3, kMndo, kAm1, kPm3,
                                         kMndoD));

/// The Fock builder knows nothing of integrals over orbitals: its answer to each rotation by
/// itself.
TEST_P(WholeHessians, AreWhatTheFockBuilderMultipliesBy) {
    for (const JobScript& script : KindsOf(GetParam())) {
        GuardedJob job(script);
        job.Converge();
        WholeHessian whole;
        FillWholeHessian(job.electrons, whole);
        const std::size_t n = CountRotations(job.electrons);
        ASSERT_EQ(static_cast<std::size_t>(whole.nSize), n);
        const bool fClosed = job.electrons.nSets == 1 && job.electrons.vShells[0].nOpen == 0;
        std::vector<double> bend(n), unit(n), column(n);
        FillBend(job.electrons, bend.data());
        for (const Turn turn : {Turn::kSame, Turn::kSpinsApart}) {
            if (turn == Turn::kSpinsApart && !fClosed) continue;
            TestMatrix hessian(whole.nSize, whole.nSize, 7.0);
            FillHessian(whole, turn, hessian.Data());
            for (std::size_t i = 0; i < n; ++i) {
                unit.assign(n, 0.0);
                unit[i] = 1.0;
                MultiplyByHessian(job.electrons, turn, bend.data(), unit.data(), column.data());
                // Sums of some thousand terms of 100 eV and below.
                for (std::size_t j = 0; j < n; ++j)
                    ASSERT_NEAR(hessian(static_cast<int>(j), static_cast<int>(i)), column[j], 1e-10)
                        << i << ' ' << j << ' ' << script.Options.nMultiplicity
                        << script.Options.nSpinTreatment << (turn == Turn::kSame);
            }
        }
    }
}

}  // namespace
}  // namespace qsolve
