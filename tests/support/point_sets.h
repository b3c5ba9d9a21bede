#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "symmetry/point_group.h"

/// Sets of points with a known symmetry, and what can be done to them without changing it.

namespace qsolve {

struct PointSet {
    std::string sName, sGroup;
    unsigned nMask = 0;
    int nSymmetryNumber = 0;
    double dDisplacement = 0.0;  ///< largest, from the ideal figure
    std::vector<int> Elements;
    std::vector<double> Xyz;  ///< x y z by atom
};

/// The sets of a table of tests/reference; throws std::runtime_error for what cannot be read.
std::vector<PointSet> ReadPointSets(const std::string& sFile);

using Matrix3 = std::array<double, 9>;

/// Tilt of the three-fold operations of a group in its frame.
Matrix3 TiltOf(int nGroup);

/// All elements of a group of groups.def in its frame, by multiplying its operations until nothing
/// new comes; the groups of linear molecules as those of order 14.
std::vector<Matrix3> GroupElements(int nGroup);

/// A molecule of the group made by formula: all images of nOrbits points in general places, each
/// of an element of its own; for linear molecules three different atoms, or C, O and O, in line.
PointSet OrbitsOf(int nGroup, int nOrbits, std::uint64_t nSeed);

/// The set turned, shifted and shuffled at random, scaled, and each coordinate then displaced by at
/// most dNoise.
PointSet Moved(const PointSet& set, std::uint64_t nSeed, double dScale = 1.0, double dNoise = 0.0);

/// A rotation at random.
Matrix3 RandomRotation(std::uint64_t nSeed);

/// A search, with what it works on.
struct FoundGroup {
    std::vector<SymmetryAtom> Atoms;
    std::vector<double> Centred;
    PointGroup Group;
    explicit FoundGroup(const PointSet& set);
    FoundGroup(const FoundGroup&) = delete;
    std::string Name() const;  ///< "?" where there is none
};

}  // namespace qsolve
