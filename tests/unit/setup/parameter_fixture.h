#pragma once

#include <gtest/gtest.h>

#include <string>

#include "job/state.h"
#include "tests/unit/setup/job_fixture.h"

namespace qsolve {

/// One spoiled parameter and what is said of it.
struct ParameterCase {
    int nMethod;
    MessageId nId;
    void (*Spoil)();
    const char* sText;
};

inline void PrintTo(const ParameterCase& c, std::ostream* out) {
    *out << c.sText;
}

/// Hydrogen, carbon, a capping nitrogen and, for ZINDO, iron, in this order.
class ParameterTest : public JobTest, public testing::WithParamInterface<ParameterCase> {
  protected:
    static void UseMixedMolecule() {
        if (FamilyOf(system.MethodId) == Family::kZindo)
            UseAtoms({{1}, {6, 1, 0, 0}, {7, 2, 0, 0, kCapping}, {26, 0, 2, 0}});
        else
            UseAtoms({{1}, {6, 1, 0, 0}, {7, 2, 0, 0, kCapping}});
    }
};

/// Spoiled numbers may also leave the derived multipoles without a solution; that warning is none
/// of these tests' business.
inline Lines WithoutDerivationWarning(Lines lines) {
    std::erase(lines, "Error in loading nddo/d parameters!");
    return lines;
}

}  // namespace qsolve
