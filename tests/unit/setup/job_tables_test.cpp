#include "setup/job_tables.h"

#include <gtest/gtest.h>

#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/parameter_files.h"

namespace qsolve {
namespace {

class JobTables : public FreshState {};

TEST_F(JobTables, BeginEveryJobWithWhatTheClientSent) {
    LoadParameters(kZindoS);
    CopyJobTables();
    const int nCarbon = RowOf("C");
    const double dSent = parameters.pZindoParams[nCarbon].dZetaS;
    EXPECT_GT(dSent, 0.0);
    setup.pZindo[nCarbon].dZetaS = 9.0;
    setup.pGamma[nCarbon].dGammaSS = 9.0;
    EXPECT_EQ(parameters.pZindoParams[nCarbon].dZetaS, dSent);
    CopyJobTables();
    EXPECT_EQ(setup.pZindo[nCarbon].dZetaS, dSent);
    EXPECT_EQ(setup.pGamma[nCarbon].dGammaSS, parameters.pZindosGamma[nCarbon].dGammaSS);
}

TEST_F(JobTables, HoldThePairsOfMindo3) {
    LoadParameters(kMindo3);
    CopyJobTables();
    ASSERT_EQ(setup.pMindoPairs.Size(), static_cast<std::size_t>(kMindoPairs));
    EXPECT_EQ(setup.pMindoPairs[MindoPairIndex(6, 1)].dAlphaAB, 1.475836);  // C-H
    EXPECT_EQ(setup.pNddo.Size(), static_cast<std::size_t>(kRows));
}

TEST_F(JobTables, OfAnotherMethodAreFreed) {
    LoadParameters(kZindoS);
    CopyJobTables();
    LoadParameters(kAm1);
    CopyJobTables();
    EXPECT_FALSE(setup.pZindo);
    EXPECT_FALSE(setup.pGamma);
    EXPECT_TRUE(setup.pNddo);
}

}  // namespace
}  // namespace qsolve
