#include "job/precision.h"

#include <gtest/gtest.h>

namespace qsolve {
namespace {

/// Next to each other, as a compiler may take them together.
TEST(Precision, OfTheWireIsThatOfAFloatForEachOfManyNumbers) {
    double v[8];
    for (int i = 0; i < 8; ++i) v[i] = AsOnWire((i + 1) * 1.889726);
    for (int i = 0; i < 8; ++i) {
        volatile float fl = static_cast<float>((i + 1) * 1.889726);
        EXPECT_EQ(v[i], static_cast<double>(fl)) << i;
        EXPECT_NE(v[i], (i + 1) * 1.889726) << i;
    }
    EXPECT_EQ(AsOnWire(0.5), 0.5);
}

}  // namespace
}  // namespace qsolve
