#include <gtest/gtest.h>

#include "job/state.h"
#include "report/report.h"
#include "setup/parameters.h"
#include "tests/unit/report/report_fixture.h"

namespace qsolve {
namespace {

class ReportedAtoms : public ReportTest {};

const Lines kHead{"\nNET CHARGES AND COORDINATES",
                  "Atom  Z     Charge            Coordinates(Angstrom)              Mass",
                  "                            x           y           z"};

TEST_F(ReportedAtoms, FollowsTheSelectionAndShowsCappingAtomsAsNegative) {
    Build(
        {.Atoms = {{8, 4, 0.5, -1.25, 3}, {105 + 1, 4, 1, 2, 3}, {1, 1, 7, 8, 9}, {1, 1, 2, 0, 0}},
         .Selection = {4, 1, 2}});
    system.pAtoms[0].flCharge = -0.375F;
    system.pAtoms[0].flMass = 16;
    system.pAtoms[3].flMass = 1.0F;
    Lines expected = kHead;
    expected.push_back("  4   1     0.000000       2.00000     0.00000     0.00000       1.00000");
    expected.push_back("  1   8    -0.375000       0.50000    -1.25000     3.00000      16.00000");
    expected.push_back("  2  -1     0.000000       1.00000     2.00000     3.00000       0.00000");
    ReportAtoms();
    EXPECT_EQ(client.Log(), expected);
}

TEST_F(ReportedAtoms, IsInAngstromWhereTheMethodWorksInBohr) {
    for (const int nMethod : {kCndo, kIndo, kZindo1, kZindoS}) {
        Build({.Atoms = {{1, 1, 10, -1, 0}}, .nMethod = nMethod});
        client.Sent.clear();
        ReportAtoms();
        EXPECT_EQ(client.Log().back(),
                  "  1   1     0.000000       5.29177    -0.52918     0.00000       0.00000");
    }
}

}  // namespace
}  // namespace qsolve
