#include "algebra/mirror.h"

#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

class Mirror : public FreshState {};

TEST_F(Mirror, CopiesTheLowerTriangleAndChargesEachRow) {
    double m[16];
    for (int i = 0; i < 16; ++i) m[i] = i;
    CopyLowerToUpper(m, 4, 3);
    EXPECT_EQ(link.nYieldCounter, 9u);
    EXPECT_EQ(m[1], 4.0);
    EXPECT_EQ(m[2], 8.0);
    EXPECT_EQ(m[6], 9.0);
    EXPECT_EQ(m[3], 3.0);  // beyond the order
    EXPECT_EQ(m[7], 7.0);
}

TEST_F(Mirror, LeavesAMatrixOfOrderNoneOrOneAlone) {
    double m[] = {1.0, 2.0, 3.0, 4.0};
    CopyLowerToUpper(m, 2, 0);
    CopyLowerToUpper(m, 2, 1);
    EXPECT_EQ(m[1], 2.0);
    EXPECT_EQ(m[2], 3.0);
}

}  // namespace
}  // namespace qsolve
