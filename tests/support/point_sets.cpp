#include "tests/support/point_sets.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numbers>
#include <sstream>
#include <stdexcept>

#include "numeric/matrix3.h"
#include "setup/parameters.h"
#include "symmetry/groups.h"
#include "tests/support/matrices.h"
#include "tests/support/parameter_files.h"
#include "tests/support/source_folder.h"

namespace qsolve {
namespace {

constexpr int kOrbitElements[] = {6, 8, 7, 1, 9};

bool AreEqual(const Matrix3& a, const Matrix3& b) {
    for (std::size_t i = 0; i < 9; ++i)
        if (std::abs(a[i] - b[i]) > 1e-6) return false;
    return true;
}

bool Holds(const std::vector<Matrix3>& elements, const Matrix3& m) {
    return std::any_of(elements.begin(), elements.end(),
                       [&](const Matrix3& e) { return AreEqual(e, m); });
}

Matrix3 MatrixOf(int k, const Matrix3& tilt) {
    Matrix3 m;
    BuildOperation(k, tilt.data(), m.data());
    return m;
}

/// The operations that generate the group: those of its mask; of the linear ones these.
std::vector<Matrix3> Generators(int nGroup) {
    const Matrix3 tilt = TiltOf(nGroup);
    std::vector<int> operations;
    const std::string sName = GroupName(nGroup);
    if (sName == "C*V") operations = {kC7, kC2z, kMirrorXz};
    if (sName == "D*H") operations = {kC7, kC2z, kMirrorXz, kInversion};
    if (operations.empty())
        for (int k = 1; k <= kOperations; ++k)
            if (GroupMask(nGroup) >> (k - 1) & 1u) operations.push_back(k);
    std::vector<Matrix3> generators;
    for (const int k : operations) generators.push_back(MatrixOf(k, tilt));
    return generators;
}

void AddAtom(PointSet& set, int nElement, const double* v) {
    set.Elements.push_back(nElement);
    set.Xyz.insert(set.Xyz.end(), v, v + 3);
}

/// A point that no operation comes near to leaving in its place.
std::array<double, 3> GeneralPoint(Randoms& randoms, int nOrbit) {
    std::array<double, 3> v;
    for (double& x : v) x = randoms.Number();
    const double dLength = Normalise3(v.data()), dRadius = 3.0 + 0.9 * nOrbit;
    if (dLength < 0.1) return GeneralPoint(randoms, nOrbit);
    for (double& x : v) x *= dRadius;
    return v;
}

bool IsApart(const PointSet& set, const double* v, double dLeast) {
    for (std::size_t i = 0; i < set.Xyz.size(); i += 3)
        if (std::hypot(set.Xyz[i] - v[0], set.Xyz[i + 1] - v[1], set.Xyz[i + 2] - v[2]) < dLeast)
            return false;
    return true;
}

/// Appends the images of a point unless two of them nearly meet.
bool AddOrbit(PointSet& set, const std::vector<Matrix3>& elements, const double* v, int nElement) {
    PointSet larger = set;
    for (const Matrix3& m : elements) {
        double vImage[3];
        Transform3(m.data(), v, vImage);
        if (!IsApart(larger, vImage, 0.15)) return false;
        AddAtom(larger, nElement, vImage);
    }
    set = larger;
    return true;
}

}  // namespace

std::vector<PointSet> ReadPointSets(const std::string& sFile) {
    std::ifstream in(SourcePath("tests/reference/" + sFile));
    if (!in) throw std::runtime_error("no table " + sFile);
    std::vector<PointSet> sets;
    for (std::string sLine; std::getline(in, sLine);) {
        if (sLine.empty() || sLine[0] == '#') continue;
        std::istringstream words(sLine);
        std::string sFirst;
        words >> sFirst;
        if (sFirst == "set") {
            PointSet& s = sets.emplace_back();
            words >> s.sGroup >> s.nMask >> s.nSymmetryNumber >> s.dDisplacement >> std::ws;
            std::getline(words, s.sName);
            continue;
        }
        double v[3] = {};
        words >> v[0] >> v[1] >> v[2];
        if (!words || sets.empty()) throw std::runtime_error("astray: " + sLine);
        AddAtom(sets.back(), RowOf(sFirst) + 1, v);
    }
    return sets;
}

Matrix3 TiltOf(int nGroup) {
    const std::string sName = GroupName(nGroup);
    const double dTilt = sName == "TD" || sName == "OH" ? std::acos(1.0 / std::numbers::sqrt3)
                         : sName == "IH" ? std::acos(std::sqrt((5.0 + 2.0 * std::sqrt(5.0)) / 15.0))
                                         : 0.0;
    const double c = std::cos(dTilt), s = std::sin(dTilt);
    return {c, 0, s, 0, 1, 0, -s, 0, c};
}

std::vector<Matrix3> GroupElements(int nGroup) {
    const std::vector<Matrix3> generators = Generators(nGroup);
    std::vector<Matrix3> elements = {MatrixOf(kIdentity, TiltOf(nGroup))};
    for (std::size_t i = 0; i < elements.size(); ++i)
        for (const Matrix3& generator : generators) {
            Matrix3 product;
            Multiply3(generator.data(), elements[i].data(), product.data());
            if (!Holds(elements, product)) elements.push_back(product);
            if (elements.size() > 120) throw std::runtime_error("no group");
        }
    return elements;
}

PointSet OrbitsOf(int nGroup, int nOrbits, std::uint64_t nSeed) {
    PointSet set;
    set.sGroup = GroupName(nGroup);
    set.nMask = GroupMask(nGroup);
    set.nSymmetryNumber = SymmetryNumber(nGroup);
    if (set.sGroup[1] == '*') {
        const bool fInverted = set.sGroup == "D*H";
        const double v[3][3] = {{0, 0, 0}, {0, 0, 1.2}, {0, 0, -1.2}};
        for (int i = 0; i < 3; ++i) AddAtom(set, i == 0 ? 6 : i == 1 || fInverted ? 8 : 1, v[i]);
        return set;
    }
    Randoms randoms(nSeed);
    const std::vector<Matrix3> elements = GroupElements(nGroup);
    for (int n = 0; n < nOrbits;)
        if (AddOrbit(set, elements, GeneralPoint(randoms, n).data(), kOrbitElements[n])) ++n;
    return set;
}

Matrix3 RandomRotation(std::uint64_t nSeed) {
    Randoms randoms(nSeed);
    double vAxis[3], vOther[3];
    for (double& x : vAxis) x = randoms.Number();
    for (double& x : vOther) x = randoms.Number();
    Matrix3 m;
    std::copy_n(vAxis, 3, m.data());
    Normalise3(m.data());
    Cross3(vAxis, vOther, m.data() + 3);
    Normalise3(m.data() + 3);
    Cross3(m.data(), m.data() + 3, m.data() + 6);
    return m;
}

PointSet Moved(const PointSet& set, std::uint64_t nSeed, double dScale, double dNoise) {
    Randoms randoms(nSeed);
    const Matrix3 turn = RandomRotation(nSeed);
    const double vShift[3] = {10.0 * randoms.Number(), 10.0 * randoms.Number(), randoms.Number()};
    std::vector<std::size_t> order(set.Elements.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    for (std::size_t i = order.size(); i > 1; --i)
        std::swap(order[i - 1], order[randoms.Bits() % i]);
    PointSet moved = set;
    moved.Elements.clear();
    moved.Xyz.clear();
    for (const std::size_t i : order) {
        double v[3];
        Transform3(turn.data(), &set.Xyz[3 * i], v);
        for (int x = 0; x < 3; ++x) v[x] = dScale * v[x] + vShift[x] + dNoise * randoms.Number();
        AddAtom(moved, set.Elements[i], v);
    }
    return moved;
}

FoundGroup::FoundGroup(const PointSet& set)
    : Atoms(set.Elements.size()), Centred(3 * set.Elements.size() + 1) {
    for (std::size_t i = 0; i < Atoms.size(); ++i) {
        Atoms[i].dX = set.Xyz[3 * i];
        Atoms[i].dY = set.Xyz[3 * i + 1];
        Atoms[i].dZ = set.Xyz[3 * i + 2];
        Atoms[i].nAtomicNumber = set.Elements[i];
        Atoms[i].dMass = kAtomicMass[set.Elements[i] - 1];
    }
    Group = FindPointGroup(static_cast<int>(Atoms.size()), Atoms.data(), Centred.data());
}

std::string FoundGroup::Name() const {
    return Group.nGroup < 0 ? "?" : GroupName(Group.nGroup);
}

}  // namespace qsolve
