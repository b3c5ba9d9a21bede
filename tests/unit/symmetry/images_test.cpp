#include "symmetry/images.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "numeric/matrix3.h"
#include "symmetry/groups.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/point_sets.h"

namespace qsolve {
namespace {

constexpr double kTolerance = 1e-9;

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

using Vector3 = std::array<double, 3>;

/// A molecule of a group somewhere in space, and what is found of it.
struct FoundImages {
    PointSet Set;
    int nAtoms;
    Images Found;
    int nImages;

    explicit FoundImages(const PointSet& set, double dTolerance = kTolerance)
        : Set(set), nAtoms(static_cast<int>(set.Elements.size())) {
        nImages = FindImages(nAtoms, Set.Xyz.data(), Set.Elements.data(), dTolerance, Found);
    }
    Vector3 Apart(int i, int j) const {
        Vector3 v;
        for (std::size_t x = 0; x < 3; ++x)
            v[x] = Set.Xyz[Size(3 * j) + x] - Set.Xyz[Size(3 * i) + x];
        return v;
    }
};

PointSet OfGroup(int nGroup, int nOrbits, std::uint64_t nSeed) {
    return Moved(OrbitsOf(nGroup, nOrbits, 10 * nSeed + 3), nSeed);
}

/// Enough where more symmetry than that of the group does no harm.
int FewOrbits(int nGroup) {
    return SymmetryNumber(nGroup) > 12 ? 1 : 2;
}

/// Orbits that have no more symmetry than their group: the points of a small group need company.
int EnoughOrbits(int nGroup) {
    return SymmetryNumber(nGroup) == 1 ? 5 : 3;
}

/// Of each element there is one atom that is no image, but for the element on both sides of one in
/// a line without inversion, which none of OrbitsOf has.
int Elements(const PointSet& set) {
    std::vector<int> v = set.Elements;
    std::sort(v.begin(), v.end());
    return static_cast<int>(std::unique(v.begin(), v.end()) - v.begin());
}

// ---- what has the symmetry of its atoms ---------------------------------------------------------

/// s, p, d and f harmonics of a direction, not of equal length: only shells may be mixed.
std::array<double, 16> Harmonics(const Vector3& v) {
    const double x = v[0], y = v[1], z = v[2], xx = x * x, yy = y * y, zz = z * z;
    const double r3 = std::sqrt(3.0), r6 = std::sqrt(6.0), r10 = std::sqrt(10.0);
    return {1.0,
            x,
            y,
            z,
            0.5 * (2 * zz - xx - yy),
            r3 * x * z,
            r3 * y * z,
            0.5 * r3 * (xx - yy),
            r3 * x * y,
            0.5 * z * (2 * zz - 3 * xx - 3 * yy),
            0.25 * r6 * x * (4 * zz - xx - yy),
            0.25 * r6 * y * (4 * zz - xx - yy),
            0.5 * std::sqrt(15.0) * z * (xx - yy),
            std::sqrt(15.0) * x * y * z,
            0.25 * r10 * x * (xx - 3 * yy),
            0.25 * r10 * y * (3 * xx - yy)};
}

/// A matrix over the orbitals whose blocks follow from the directions of atoms alone.
struct OrbitalMatrix {
    std::vector<AtomRange> Ranges;
    int nOrbitals = 0;
    TestMatrix m{0, 0};

    explicit OrbitalMatrix(const FoundImages& molecule) {
        for (int i = 0; i < molecule.nAtoms; ++i) {
            constexpr int kCounts[] = {1, 4, 9, 16};
            Ranges.push_back({nOrbitals, kCounts[molecule.Set.Elements[Size(i)] % 4]});
            nOrbitals += Ranges.back().nCount;
        }
        m = TestMatrix(nOrbitals, nOrbitals);
        for (int i = 0; i < molecule.nAtoms; ++i)
            for (int j = 0; j < molecule.nAtoms; ++j) AddPair(molecule, i, j);
    }
    bool IsSymmetric(const FoundImages& molecule) const {
        return HasSymmetry(molecule.Found, Ranges.data(), nOrbitals, m.Data(), 1e-6);
    }

  private:
    void AddPair(const FoundImages& molecule, int i, int j) {
        if (i == j) return;
        Vector3 v = molecule.Apart(i, j);
        const double dScale = std::exp(-0.2 * Normalise3(v.data()));
        const std::array<double, 16> y = Harmonics(v);
        for (int r = 0; r < Ranges[Size(i)].nCount; ++r) {
            const int nRow = Ranges[Size(i)].nFirst + r;
            for (const int k : {i, j})
                for (int c = 0; c < Ranges[Size(k)].nCount; ++c)
                    m(nRow, Ranges[Size(k)].nFirst + c) += dScale * y[Size(r)] * y[Size(c)];
        }
    }
};

/// Second derivatives of a sum of 1/r over all pairs, and a tensor of each atom, that of its row.
struct PairForces {
    TestMatrix mHessian, mTensors;

    explicit PairForces(const FoundImages& molecule)
        : mHessian(3 * molecule.nAtoms, 3 * molecule.nAtoms), mTensors(3 * molecule.nAtoms, 3) {
        for (int i = 0; i < molecule.nAtoms; ++i)
            for (int j = 0; j < molecule.nAtoms; ++j) AddPair(molecule, i, j);
    }
    void Forget(int nAtom) {
        for (int x = 3 * nAtom; x < 3 * nAtom + 3; ++x) {
            for (int j = 0; j < mHessian.nColumns; ++j) mHessian(x, j) = 99.0;
            for (int c = 0; c < 3; ++c) mTensors(x, c) = 99.0;
        }
    }

  private:
    void AddPair(const FoundImages& molecule, int i, int j) {
        if (i == j) return;
        const Vector3 v = molecule.Apart(i, j);
        const double d2 = Dot3(v.data(), v.data()), d = std::sqrt(d2);
        for (int x = 0; x < 3; ++x)
            for (int y = 0; y < 3; ++y) {
                const double dUnit = x == y ? 1.0 : 0.0;
                const double h = (3.0 * v[Size(x)] * v[Size(y)] / d2 - dUnit) / (d2 * d);
                mHessian(3 * i + x, 3 * i + y) += h;
                mHessian(3 * i + x, 3 * j + y) -= h;
                mTensors(3 * i + x, y) += v[Size(x)] * v[Size(y)] / d;
            }
    }
};

// ---- tests --------------------------------------------------------------------------------------

class ImagesOfGroups : public FreshState, public testing::WithParamInterface<int> {};

TEST_P(ImagesOfGroups, LeaveOneAtomOfEachOrbit) {
    for (std::uint64_t nSeed = 1; nSeed <= 3; ++nSeed) {
        const FoundImages molecule(OfGroup(GetParam(), EnoughOrbits(GetParam()), nSeed));
        EXPECT_EQ(molecule.nImages, molecule.nAtoms - Elements(molecule.Set)) << molecule.Set.sName;
        for (int k = 0; k < molecule.nAtoms; ++k) {
            const int nFrom = molecule.Found.vFrom[Size(k)];
            EXPECT_EQ(molecule.Set.Elements[Size(k)], molecule.Set.Elements[Size(nFrom)]);
            EXPECT_EQ(nFrom == k, !molecule.Found.IsImage(k));
            EXPECT_FALSE(molecule.Found.IsImage(nFrom));
        }
    }
}

TEST_P(ImagesOfGroups, ComeByOperationsThatKeepAllDistances) {
    const FoundImages molecule(OfGroup(GetParam(), FewOrbits(GetParam()), 8));
    for (int p = 0; p < molecule.Found.nOperations; ++p) {
        const double* mTurn = molecule.Found.Turn(p);
        const int* vTo = molecule.Found.To(p);
        for (int i = 0; i < molecule.nAtoms; ++i)
            for (int j = 0; j < i; ++j) {
                double vTurned[3];
                Transform3(mTurn, molecule.Apart(i, j).data(), vTurned);
                const Vector3 vThere = molecule.Apart(vTo[i], vTo[j]);
                for (std::size_t x = 0; x < 3; ++x) EXPECT_NEAR(vTurned[x], vThere[x], 1e-8);
            }
    }
}

TEST_P(ImagesOfGroups, AreNoneInADistortedMolecule) {
    const PointSet set = OrbitsOf(GetParam(), EnoughOrbits(GetParam()), 12);
    if (set.Elements.size() < 4) return;  // three on a line keep their middle within the tolerance
    const FoundImages molecule(Moved(set, 4, 1.0, 1e-3), 1e-5);
    EXPECT_EQ(molecule.nImages, 0);
}

TEST_P(ImagesOfGroups, HaveTheDensityOfTheirDirections) {
    const FoundImages molecule(OfGroup(GetParam(), FewOrbits(GetParam()), 5));
    OrbitalMatrix matrix(molecule);
    EXPECT_TRUE(matrix.IsSymmetric(molecule));
    for (int k = 0; k < molecule.nAtoms; ++k) {
        const AtomRange& range = matrix.Ranges[Size(k)];
        if (!molecule.Found.IsImage(k) || range.nCount == 0) continue;
        matrix.m(range.nFirst, range.nFirst) += 1e-5;
        EXPECT_FALSE(matrix.IsSymmetric(molecule));
        return;
    }
}

TEST_P(ImagesOfGroups, HaveTheForcesOfTheirDirections) {
    const FoundImages molecule(OfGroup(GetParam(), FewOrbits(GetParam()), 6));
    const PairForces all(molecule);
    PairForces some = all;
    for (int k = 0; k < molecule.nAtoms; ++k)
        if (molecule.Found.IsImage(k)) some.Forget(k);
    FillRowsOfImages(molecule.Found, some.mHessian.Data(), some.mTensors.Data());
    double dLargest = 0.0;
    for (const double d : all.mHessian.v) dLargest = std::max(dLargest, std::abs(d));
    EXPECT_LT(LargestDifference(all.mHessian, some.mHessian), 1e-7 * dLargest);
    EXPECT_LT(LargestDifference(all.mTensors, some.mTensors), 1e-6);
}
INSTANTIATE_TEST_SUITE_P(All, ImagesOfGroups, testing::Range(0, kGroups),
                         [](const auto& group) { return "Group" + std::to_string(group.param); });

using ImagesOfAtoms = FreshState;

TEST_F(ImagesOfAtoms, AreOfOneKind) {
    const double vXyz[] = {0, 0, 1, 0, 0, -1, 0, 0, 0};
    const int vAlike[] = {1, 1, 8}, vUnlike[] = {1, 2, 8};
    Images images;
    EXPECT_EQ(FindImages(3, vXyz, vAlike, kTolerance, images), 1);
    EXPECT_EQ(FindImages(3, vXyz, vUnlike, kTolerance, images), 0);
}

TEST_F(ImagesOfAtoms, AreNoneOfOneAtomOrNone) {
    const double vXyz[] = {3, 4, 5};
    const int vKinds[] = {6};
    Images images;
    EXPECT_EQ(FindImages(1, vXyz, vKinds, kTolerance, images), 0);
    EXPECT_EQ(FindImages(0, vXyz, vKinds, kTolerance, images), 0);
}

}  // namespace
}  // namespace qsolve
