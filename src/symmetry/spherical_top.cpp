#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "link/link.h"
#include "numeric/matrix3.h"
#include "symmetry/orientation.h"

namespace qsolve {
namespace {

/// Atoms of one element within this of each other's distance from the centre are a shell. An atom
/// whose squared distance is below kAtCentre has no direction.
constexpr double kShellWidth = 0.03;
constexpr double kAtCentre = 0.1;

/// From z to the nearest three-fold axis, degrees: in a cubic molecule with a four-fold axis, or
/// one of the operation S4, on z, and in an icosahedral one with a five-fold axis there.
constexpr double kCubicTilt = 54.7356103;
constexpr double kIcosahedralTilt = 37.3773681;

constexpr double kRadians = std::numbers::pi / 180.0;

struct Shell {
    int nFirst, nCount;  ///< its first atom and how many it has
};

double FromCentre(int nAtom, const OrientedAtoms& atoms) {
    const double* v = atoms.vCentred + 3 * nAtom;
    return std::sqrt(Dot3(v, v));
}

bool AreOfOneShell(int i, int j, const OrientedAtoms& atoms) {
    return atoms.pAtoms[i].nAtomicNumber == atoms.pAtoms[j].nAtomicNumber &&
           std::abs(FromCentre(i, atoms) - FromCentre(j, atoms)) < kShellWidth;
}

/// The shells, those of few atoms first; vShells has room for one an atom. Returns their number.
int ListShells(const OrientedAtoms& atoms, Shell* vShells) {
    int nShells = 0;
    for (int i = 0; i < atoms.nAtoms; ++i) {
        const double dRadius = FromCentre(i, atoms);
        if (dRadius * dRadius < kAtCentre) continue;
        Shell* pShell = std::find_if(vShells, vShells + nShells, [&](const Shell& shell) {
            return AreOfOneShell(shell.nFirst, i, atoms);
        });
        if (pShell == vShells + nShells) vShells[nShells++] = {i, 0};
        ++pShell->nCount;
    }
    std::sort(vShells, vShells + nShells, [](const Shell& a, const Shell& b) {
        return a.nCount != b.nCount ? a.nCount < b.nCount : a.nFirst < b.nFirst;
    });
    return nShells;
}

/// What is looked for on z.
struct Wanted {
    int nOrder;      ///< of the axis; 0 for the normal of a mirror plane
    int nOperation;  ///< that has to be present,
    int nSecond;     ///< and this one, or the identity
    double dTilt;    ///< degrees to a three-fold axis
};

bool HasOnZ(const Wanted& wanted, const double* vAxis, OrientedAtoms& atoms) {
    SetFrame(FrameOnZ(vAxis), atoms);
    return TestOperation(wanted.nOperation, atoms) && TestOperation(wanted.nSecond, atoms);
}

/// Whether an axis of order n >= 3 that turns atom a into b, or back, is what is wanted: there are
/// two such axes at most, above and below the plane of a, b and the centre. vAxis receives it.
bool FindTurningAxis(const Wanted& wanted, const double* a, const double* b, OrientedAtoms& atoms,
                     double* vAxis) {
    double vBetween[3], vAcross[3], d2 = 0.0;
    for (int x = 0; x < 3; ++x) {
        vBetween[x] = a[x] + b[x];
        d2 += (a[x] - b[x]) * (a[x] - b[x]);
    }
    const double dSine = std::sin(std::numbers::pi / wanted.nOrder), a2 = Dot3(a, a);
    const double h2 = a2 - d2 / (4.0 * dSine * dSine);
    if (h2 < -0.1 * a2) return false;
    Cross3(a, b, vAcross);
    Normalise3(vAcross);
    if (Normalise3(vBetween) < 0.1) return false;
    double c = std::sqrt(std::max(h2, 0.0)) / Dot3(vBetween, a);
    if (!(c <= 1.05)) return false;
    c = std::min(c, 1.0);
    const double s = std::sqrt(1.0 - c * c);
    for (const double dSign : {s, -s}) {
        for (int x = 0; x < 3; ++x) vAxis[x] = c * vBetween[x] + dSign * vAcross[x];
        if (HasOnZ(wanted, vAxis, atoms)) return true;
    }
    return false;
}

/// The same for any order and for a mirror plane that exchanges the two.
bool FindPairAxis(const Wanted& wanted, const double* a, const double* b, OrientedAtoms& atoms,
                  double* vAxis) {
    if (wanted.nOrder >= 3) return FindTurningAxis(wanted, a, b, atoms, vAxis);
    const double dSign = wanted.nOrder == 2 ? 1.0 : -1.0;
    for (int x = 0; x < 3; ++x) vAxis[x] = dSign * a[x] + b[x];
    return std::sqrt(Dot3(vAxis, vAxis)) > 0.1 && HasOnZ(wanted, vAxis, atoms);
}

struct Shells {
    const Shell* v;
    int nCount;
};

/// Looks for an axis among the directions that the atoms of each shell allow.
bool FindAxis(const Wanted& wanted, const Shells& shells, OrientedAtoms& atoms, double* vAxis) {
    for (int n = 0; n < shells.nCount; ++n) {
        const int nFirst = shells.v[n].nFirst;
        const double* a = atoms.vCentred + 3 * nFirst;
        std::copy_n(a, 3, vAxis);
        if (wanted.nOrder > 0 && HasOnZ(wanted, vAxis, atoms)) return true;
        for (int i = 0; i < atoms.nAtoms; ++i) {
            if (i == nFirst || !AreOfOneShell(nFirst, i, atoms)) continue;
            if (FindPairAxis(wanted, a, atoms.vCentred + 3 * i, atoms, vAxis)) return true;
        }
        Yield(static_cast<std::size_t>(atoms.nAtoms));
    }
    return false;
}

/// The frame turned about z, and tilted, so that a three-fold operation is present; the frame as
/// it stands where there is none.
Frame WithTilt(const Frame& frame, double dTilt, OrientedAtoms& atoms) {
    if (dTilt == 0.0) return frame;
    for (const double dTurn : {0.0, 45.0, -45.0}) {
        if (dTurn != 0.0 && dTilt != kCubicTilt) break;
        for (const double dSign : {1.0, -1.0}) {
            Frame tilted = TurnedAboutZ(frame, dTurn * kRadians);
            const double c = std::cos(dTilt * kRadians), s = dSign * std::sin(dTilt * kRadians);
            const double mTilt[9] = {c, 0, s, 0, 1, 0, -s, 0, c};
            std::copy_n(mTilt, 9, tilted.mTilt);
            SetFrame(tilted, atoms);
            if (TestOperation(kC3, atoms)) return tilted;
        }
    }
    return frame;
}

Frame FrameOnAxis(const Wanted& wanted, const double* vAxis, OrientedAtoms& atoms) {
    return WithTilt(AlignSymmetricTop(FrameOnZ(vAxis), atoms), wanted.dTilt, atoms);
}

// clang-format off
constexpr Wanted kHighAxes[] = {
    {5, kC5, kIdentity, kIcosahedralTilt},
    {4, kC4, kIdentity, kCubicTilt},
    {8, kC8, kIdentity, 0.0},
    {7, kC7, kIdentity, 0.0},
    {6, kC6, kIdentity, 0.0},
    {2, kC2z, kS4,      kCubicTilt},
};
constexpr Wanted kThreeFold = {3, kC3,       kIdentity, 0.0};
constexpr Wanted kTwoFold =   {2, kC2z,      kIdentity, 0.0};
constexpr Wanted kMirror =    {0, kMirrorXy, kIdentity, 0.0};
// clang-format on

}  // namespace

Frame AlignSphericalTop(const Frame& principal, OrientedAtoms& atoms) {
    Array<Shell> vShells;
    vShells.Take(static_cast<std::size_t>(atoms.nAtoms), kWork);
    const Shells shells = {vShells.Data(), ListShells(atoms, vShells.Data())};
    double vAxis[3];
    for (const Wanted& wanted : kHighAxes)
        if (FindAxis(wanted, shells, atoms, vAxis)) return FrameOnAxis(wanted, vAxis, atoms);
    if (FindAxis(kThreeFold, shells, atoms, vAxis)) {
        const Frame three = FrameOnAxis(kThreeFold, vAxis, atoms);
        if (!FindAxis(kTwoFold, shells, atoms, vAxis)) return three;
        const Frame two = FrameOnAxis(kTwoFold, vAxis, atoms);
        return TestOperations(two, atoms) > TestOperations(three, atoms) ? two : three;
    }
    for (const Wanted& wanted : {kTwoFold, kMirror})
        if (FindAxis(wanted, shells, atoms, vAxis)) return FrameOnAxis(wanted, vAxis, atoms);
    return principal;
}

}  // namespace qsolve
