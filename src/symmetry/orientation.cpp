#include "symmetry/orientation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "numeric/jacobi.h"
#include "numeric/matrix3.h"

namespace qsolve {
namespace {

/// The second moment below which two axes have none, amu unit^2.
constexpr double kNoMoment = 0.1;

/// Added to the tensor, so that equal moments have axes of their own.
constexpr double kPerturbation = 1e-8;

/// Part of a moment that a displacement of all atoms by the tolerance can change.
constexpr double kMomentTolerance = 0.01;

double Centre(int nAtoms, const SymmetryAtom* pAtoms, double* vCentred) {
    double dMass = 0.0, vCentre[3] = {};
    for (int i = 0; i < nAtoms; ++i) {
        const SymmetryAtom& a = pAtoms[i];
        const double vPlace[3] = {a.dX, a.dY, a.dZ};
        for (int x = 0; x < 3; ++x) vCentre[x] += a.dMass * (vCentred[3 * i + x] = vPlace[x]);
        dMass += a.dMass;
    }
    for (int i = 0; i < nAtoms; ++i)
        for (int x = 0; x < 3; ++x) vCentred[3 * i + x] -= vCentre[x] / dMass;
    return dMass;
}

void FillTensor(int nAtoms, const SymmetryAtom* pAtoms, const double* vCentred, double* mTensor) {
    for (int x = 0; x < 9; ++x)
        mTensor[x] = x == 0 || x == 4 || x == 5 || x == 7 ? kPerturbation : -kPerturbation;
    for (int i = 0; i < nAtoms; ++i)
        for (int x = 0; x < 3; ++x)
            for (int y = 0; y < 3; ++y)
                mTensor[3 * x + y] += pAtoms[i].dMass * vCentred[3 * i + x] * vCentred[3 * i + y];
}

/// Which moments are equal, and the frame that puts a unique axis on z.
void Classify(MassTensor& tensor) {
    const double* I = tensor.vMoment;
    const double dSum = I[0] + I[1] + I[2];
    const double t =
        std::max(kNoMoment, kMomentTolerance * std::sqrt(tensor.dTotalMass * std::max(dSum, 0.0)));
    const double dLow = I[1] - I[0], dHigh = I[2] - I[1];
    const bool fLow = dLow < t, fHigh = dHigh <= t;
    tensor.Unique = tensor.Principal;
    if (I[1] < kNoMoment) {
        tensor.nTop = Top::kLinear;
        return;
    }
    if (!fLow && !fHigh) return;
    tensor.nTop = I[2] - I[0] < t ? Top::kSpherical : Top::kSymmetric;
    if (fHigh && (!fLow || dHigh < dLow)) tensor.Unique = ExchangedWithZ(tensor.Principal, 0);
}

// ---- the x axis of a symmetric top --------------------------------------------------------------

/// Atoms of one element within this of each other's height and distance from z may be images.
constexpr double kPartner = 0.03;

/// Squared distance from z at which an atom has a direction.
constexpr double kOffAxis = 0.1;

double FromAxis(const SymmetryAtom& atom) {
    return std::hypot(atom.dX, atom.dY);
}

bool ArePartners(const SymmetryAtom& a, const SymmetryAtom& b) {
    return a.nAtomicNumber == b.nAtomicNumber && std::abs(FromAxis(a) - FromAxis(b)) < kPartner &&
           std::abs(std::abs(a.dZ) - std::abs(b.dZ)) < kPartner;
}

int CountPartners(int nAtom, const OrientedAtoms& atoms) {
    return static_cast<int>(
        std::count_if(atoms.pAtoms, atoms.pAtoms + atoms.nAtoms,
                      [&](const SymmetryAtom& b) { return ArePartners(atoms.pAtoms[nAtom], b); }));
}

/// The atom with a direction and the fewest partners, of these the farthest from z; the farthest
/// from z where none has a direction.
int ReferenceAtom(const OrientedAtoms& atoms) {
    int nBest = 0, nFewest = std::numeric_limits<int>::max();
    double dFarthest = -1.0;
    for (int i = 0; i < atoms.nAtoms; ++i) {
        const double dRho = FromAxis(atoms.pAtoms[i]);
        const bool fDirected = dRho * dRho >= kOffAxis;
        const int nPartners = fDirected ? CountPartners(i, atoms) : atoms.nAtoms + 1;
        if (nPartners > nFewest || (nPartners == nFewest && dRho <= dFarthest)) continue;
        nBest = i;
        nFewest = nPartners;
        dFarthest = dRho;
    }
    return nBest;
}

/// Walks over the partners of an atom: from its nearest in the xy plane to its farthest, itself
/// last. Each call returns the one after nLast; -1 at the end.
int NextPartner(int nAtom, int nLast, const OrientedAtoms& atoms) {
    if (nLast == nAtom) return -1;
    const SymmetryAtom& a = atoms.pAtoms[nAtom];
    const auto Apart = [&](int i) {
        return std::hypot(atoms.pAtoms[i].dX - a.dX, atoms.pAtoms[i].dY - a.dY);
    };
    int nNext = nAtom;
    for (int i = 0; i < atoms.nAtoms; ++i) {
        if (i == nAtom || !ArePartners(a, atoms.pAtoms[i])) continue;
        const double d = Apart(i);
        if (nLast >= 0 && (d < Apart(nLast) || (d == Apart(nLast) && i <= nLast))) continue;
        if (nNext == nAtom || d < Apart(nNext)) nNext = i;
    }
    return nNext;
}

/// Turns x to the first direction half-way between the atom and a partner, or at right angles to
/// it, in which an operation is present.
bool FindDirection(int nOperation, const Frame& frame, OrientedAtoms& atoms, Frame& found) {
    SetFrame(frame, atoms);
    const int nAtom = ReferenceAtom(atoms);
    const SymmetryAtom a = atoms.pAtoms[nAtom];
    for (int n = NextPartner(nAtom, -1, atoms); n >= 0; n = NextPartner(nAtom, n, atoms)) {
        const SymmetryAtom b = atoms.pAtoms[n];
        const double dHalf = 0.5 * (std::atan2(a.dY, a.dX) + std::atan2(b.dY, b.dX));
        for (const double dAngle : {dHalf, dHalf + 0.5 * std::numbers::pi}) {
            found = TurnedAboutZ(frame, dAngle);
            SetFrame(found, atoms);
            if (TestOperation(nOperation, atoms)) return true;
        }
        SetFrame(frame, atoms);
    }
    return false;
}

}  // namespace

MassTensor FindPrincipalAxes(int nAtoms, const SymmetryAtom* pAtoms, double* vCentred) {
    MassTensor tensor;
    tensor.dTotalMass = Centre(nAtoms, pAtoms, vCentred);
    double mTensor[9];
    double* mAxes = tensor.Principal.mAxes;
    FillTensor(nAtoms, pAtoms, vCentred, mTensor);
    DiagonaliseByJacobi(3, mTensor, mAxes, tensor.vMoment);
    Cross3(mAxes, mAxes + 3, mAxes + 6);
    Classify(tensor);
    return tensor;
}

Frame AlignSymmetricTop(const Frame& frame, OrientedAtoms& atoms) {
    Frame found;
    if (FindDirection(kMirrorXz, frame, atoms, found)) return found;
    if (FindDirection(kC2x, frame, atoms, found)) return found;
    return frame;
}

Frame FrameOnZ(const double* vDirection) {
    Frame frame;
    double *x = frame.mAxes, *y = x + 3, *z = x + 6;
    std::copy_n(vDirection, 3, z);
    Normalise3(z);
    const auto IsShorter = [](double a, double b) { return std::abs(a) < std::abs(b); };
    double vAcross[3] = {};
    vAcross[std::min_element(z, z + 3, IsShorter) - z] = 1.0;
    Cross3(vAcross, z, x);
    Normalise3(x);
    Cross3(z, x, y);
    return frame;
}

Frame TurnedAboutZ(const Frame& frame, double dAngle) {
    Frame turned = frame;
    const double c = std::cos(dAngle), s = std::sin(dAngle);
    for (int i = 0; i < 3; ++i) {
        turned.mAxes[i] = c * frame.mAxes[i] + s * frame.mAxes[3 + i];
        turned.mAxes[3 + i] = c * frame.mAxes[3 + i] - s * frame.mAxes[i];
    }
    return turned;
}

Frame ExchangedWithZ(const Frame& frame, int nFrom) {
    Frame exchanged = frame;
    for (int i = 0; i < 3; ++i) {
        exchanged.mAxes[3 * nFrom + i] = -frame.mAxes[6 + i];
        exchanged.mAxes[6 + i] = frame.mAxes[3 * nFrom + i];
    }
    return exchanged;
}

}  // namespace qsolve
