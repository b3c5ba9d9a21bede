#include "scf/stability.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "link/memory.h"
#include "scf/davidson.h"
#include "scf/rotations.h"

namespace qsolve {
namespace {

constexpr int kStartVectors = 4;      ///< lowest differences of levels to begin with
constexpr double kMixedIn = 0.5;      ///< of all rotations in each start, against symmetry
constexpr double kSpread = 0.5;       ///< of the rotations between equal differences
constexpr double kSecondPart = 0.05;  ///< residual of the second lowest, as a part of it ...
constexpr double kSecondFloor = 1.0;  ///< ... or of this, eV

constexpr int kLongestTest = 150;  ///< products
/// Rotations up to which all second derivatives are made: as many cost less than products do, and
/// more of them soon twice as much.
constexpr std::size_t kMostWhole = 128;

/// A fixed number between -1 and 1 for each place, without a pattern that a symmetry shares.
double Scattered(int i, int nSeed) {
    unsigned u = static_cast<unsigned>(i) * 2654435761U + static_cast<unsigned>(nSeed) * 40503U;
    u ^= u >> 15;
    u *= 2246822519U;
    u ^= u >> 13;
    return static_cast<double>(u) / 2147483648.0 - 1.0;
}

/// The start vector of a number: the rotation between the levels nearest to one another, with a
/// little of all others.
void StartVector(const Space& space, int nNumber, double* v) {
    Array<double> vSorted;
    vSorted.Take(static_cast<std::size_t>(space.nSize), kWork);
    std::copy(space.vDiagonal.begin(), space.vDiagonal.end(), vSorted.begin());
    std::nth_element(vSorted.begin(), vSorted.begin() + nNumber, vSorted.end());
    const double dScale = kMixedIn / std::sqrt(static_cast<double>(space.nSize));
    for (int i = 0; i < space.nSize; ++i) v[i] = dScale * Scattered(i, nNumber);
    for (int i = 0; i < space.nSize; ++i)
        if (space.vDiagonal[i] <= vSorted[nNumber])
            v[i] += 1.0 + kSpread * Scattered(i, nNumber + 7);
}

/// The error of an eigenvalue is at most the residual, and mostly its square by a gap.
bool IsKnown(const RitzValue& lowest, double dEv) {
    const bool fClear = lowest.dValue * dEv > kClearCurvature;
    if (fClear && lowest.dResidual < kClearPart * lowest.dValue) return true;
    return lowest.dResidual * lowest.dResidual * dEv * dEv <
           0.1 * std::max(kCurvatureError, kCurvaturePart * std::abs(lowest.dValue) * dEv);
}

/// A lower one that the starts have missed, of another symmetry perhaps, is part of whatever is not
/// yet known: of the second lowest it shows as a residual that does not vanish.
bool IsRoughlyKnown(const RitzValue& second, double dEv) {
    return second.dResidual * dEv <
           kSecondPart * std::max(kSecondFloor, std::abs(second.dValue) * dEv);
}

}  // namespace

Curvature LowestCurvature(Electrons& electrons, Turn turn, int nMost, double* vDirection) {
    const std::size_t nSize = CountRotations(electrons);
    if (nSize == 0) return {.fKnown = true, .fLowest = true};
    Space space(static_cast<int>(nSize));
    Array<double> vNext, vSecond;
    vNext.Take(nSize, kWork);
    vSecond.Take(2, nSize, kWork);
    FillBend(electrons, space.vDiagonal.Data());

    Curvature found;
    const auto Add = [&]() {
        std::copy(vNext.begin(), vNext.end(), space.Vector(space.nVectors));
        MultiplyByHessian(electrons, turn, space.vDiagonal.Data(), vNext.Data(),
                          space.Product(space.nVectors));
        CountVector(space);
        ++found.nProducts;
    };
    for (int k = 0; k < std::min(space.nSize, kStartVectors); ++k) {
        StartVector(space, k, vNext.Data());
        if (MakeNew(space, vNext.Data())) Add();
    }
    Inside inside;
    while (space.nVectors > 0) {
        SolveInside(space, inside);
        RitzValue root = FindRoot(space, inside, 0, vDirection, vNext.Data());
        found.dLowest = root.dValue * electrons.dEv;
        found.fLowest = space.nVectors == space.nSize;
        found.fKnown = found.fLowest || IsKnown(root, electrons.dEv);
        if (found.nProducts >= nMost || found.fLowest) return found;
        if (found.fKnown && space.nVectors > 1) {
            root = FindRoot(space, inside, 1, vSecond.Data(), vNext.Data());
            if (IsRoughlyKnown(root, electrons.dEv)) return found;
        }
        Precondition(space, root.dValue, kSmallestBend / electrons.dEv, vNext.Data());
        if (space.nVectors == kMostVectors) StartAnew(space, inside, vSecond.Data());
        if (!MakeNew(space, vNext.Data())) {
            found.fKnown = true;  // nothing is left to be added
            return found;
        }
        Add();
    }
    return found;  // of numbers that are none
}

StateTest::StateTest(Electrons& e) : electrons(e), fWhole(CountRotations(e) <= kMostWhole) {
    if (fWhole) FillWholeHessian(electrons, whole);
}

Curvature StateTest::Lowest(Turn turn, double* vDirection) {
    return fWhole ? LowestCurvature(whole, turn, vDirection)
                  : LowestCurvature(electrons, turn, kLongestTest, vDirection);
}

}  // namespace qsolve
