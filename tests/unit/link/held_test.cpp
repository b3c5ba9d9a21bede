#include "link/held.h"

#include <gtest/gtest.h>

namespace qsolve {
namespace {

TEST(Held, ChangesAVariableForItsLifeAlone) {
    float flLimit = 0.5F;
    {
        const Held outer(flLimit, 0.25F);
        EXPECT_EQ(flLimit, 0.25F);
        {
            const Held inner(flLimit, 0.125F);
            EXPECT_EQ(flLimit, 0.125F);
        }
        EXPECT_EQ(flLimit, 0.25F);
        flLimit = 9.0F;  // what happens meanwhile does not matter
    }
    EXPECT_EQ(flLimit, 0.5F);
}

TEST(Held, RestoresWhenItIsUnwoundThrough) {
    bool fFlag = false;
    try {
        const Held flag(fFlag, true);
        throw 1;
    } catch (int) {
        EXPECT_FALSE(fFlag);
    }
}

}  // namespace
}  // namespace qsolve
