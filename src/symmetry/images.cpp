#include "symmetry/images.h"

#include <algorithm>
#include <cmath>

#include "link/link.h"
#include "numeric/matrix3.h"
#include "numeric/row.h"
#include "symmetry/characters.h"

namespace qsolve {
namespace {

/// Two atoms tell a direction each if the sine of the angle between them is at least this.
constexpr double kLeastSine = 0.1;
/// Nearer to the centre, in tolerances, an atom tells no direction.
constexpr double kAtCentre = 1e4;

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

/// The molecule about its centre, and the images as far as they are found.
struct Search {
    int nAtoms;
    const int* vKinds;
    double dTolerance;
    Images& Found;
    Array<double> vXyz;     ///< nAtoms x 3
    Array<double> vRadius;  ///< by atom
    Array<int> vPartner;    ///< by atom: with which a turn is told; -1 none

    const double* At(int i) const { return vXyz.Data() + 3 * i; }
    double Radius(int i) const { return vRadius[Size(i)]; }
    double Distance(int i, int j) const {
        const double v[3] = {At(i)[0] - At(j)[0], At(i)[1] - At(j)[1], At(i)[2] - At(j)[2]};
        return std::sqrt(Dot3(v, v));
    }
    bool IsNear(double a, double b) const { return std::abs(a - b) < 4.0 * dTolerance; }
    /// Whether j may be an image of i.
    bool MayBe(int i, int j) const {
        return vKinds[i] == vKinds[j] && IsNear(Radius(i), Radius(j));
    }
    /// Whether two atoms span a plane with the centre.
    bool SpanPlane(int i, int j) const {
        double vNormal[3];
        Cross3(At(i), At(j), vNormal);
        const double dProduct = Radius(i) * Radius(j);
        return dProduct > 0.0 && std::sqrt(Dot3(vNormal, vNormal)) > kLeastSine * dProduct;
    }
};

void Centre(const double* vXyz, Search& search) {
    double vMean[3] = {};
    for (int i = 0; i < search.nAtoms; ++i)
        for (int x = 0; x < 3; ++x) vMean[x] += vXyz[3 * i + x] / search.nAtoms;
    search.vXyz.Take(Size(search.nAtoms), 3, kWork);
    search.vRadius.Take(Size(search.nAtoms), kWork);
    for (int i = 0; i < search.nAtoms; ++i) {
        double* v = search.vXyz.Data() + 3 * i;
        for (int x = 0; x < 3; ++x) v[x] = vXyz[3 * i + x] - vMean[x];
        search.vRadius[Size(i)] = std::sqrt(Dot3(v, v));
    }
}

/// The second atom to tell a turn by: the one farthest out that spans a plane with the first.
int PartnerOf(int i, const Search& search) {
    int nBest = -1;
    if (search.Radius(i) < kAtCentre * search.dTolerance) return nBest;
    for (int j = 0; j < search.nAtoms; ++j)
        if (search.SpanPlane(i, j) && (nBest < 0 || search.Radius(j) > search.Radius(nBest)))
            nBest = j;
    return nBest;
}

void ListPartners(Search& search) {
    search.vPartner.Take(Size(search.nAtoms), kWork);
    for (int i = 0; i < search.nAtoms; ++i) {
        Yield(Size(search.nAtoms));
        search.vPartner[Size(i)] = PartnerOf(i, search);
    }
}

/// The atom in whose place a turned atom comes; -1 if none is there.
int AtomAt(const Search& search, int i, const double* mTurn) {
    double v[3];
    Transform3(mTurn, search.At(i), v);
    for (int j = 0; j < search.nAtoms; ++j) {
        const double* w = search.At(j);
        if (search.vKinds[i] == search.vKinds[j] && std::abs(v[0] - w[0]) < search.dTolerance &&
            std::abs(v[1] - w[1]) < search.dTolerance && std::abs(v[2] - w[2]) < search.dTolerance)
            return j;
    }
    return -1;
}

/// Adds an operation, if it is one.
bool TryOperation(const double* mTurn, Search& search) {
    Images& found = search.Found;
    int* vTo = found.To(found.nOperations);
    for (int i = 0; i < search.nAtoms; ++i) {
        Yield(Size(search.nAtoms));
        vTo[i] = AtomAt(search, i, mTurn);
        if (vTo[i] < 0) return false;
    }
    std::copy_n(mTurn, 9, found.mTurns.Data() + 9 * found.nOperations);
    ++found.nOperations;
    return true;
}

/// Axes along a, in the plane of a and b, and normal to it; the last one backwards if asked.
void BuildAxes(const double* a, const double* b, bool fBackwards, double* mAxes) {
    std::copy_n(a, 3, mAxes);
    Normalise3(mAxes);
    Cross3(a, b, mAxes + 6);
    Normalise3(mAxes + 6);
    Cross3(mAxes + 6, mAxes, mAxes + 3);
    for (int x = 0; x < 3 && fBackwards; ++x) mAxes[6 + x] = -mAxes[6 + x];
}

/// The operation that brings atoms i, j to k, l: a rotation, or that and the mirror of the plane.
bool TryPairs(int i, int j, int k, int l, Search& search) {
    double mFrom[9], mTo[9], mBack[9], mTurn[9];
    BuildAxes(search.At(i), search.At(j), false, mFrom);
    for (const bool fBackwards : {false, true}) {
        BuildAxes(search.At(k), search.At(l), fBackwards, mTo);
        Transpose3(mTo, mBack);
        Multiply3(mBack, mFrom, mTurn);
        if (TryOperation(mTurn, search)) return true;
    }
    return false;
}

/// Looks for an operation that brings atom i into the place of atom k.
bool FindOperation(int i, int k, Search& search) {
    if (!search.MayBe(i, k)) return false;
    const int j = search.vPartner[Size(i)];
    if (j < 0) return false;
    Yield(Size(search.nAtoms));
    for (int l = 0; l < search.nAtoms; ++l)
        if (search.MayBe(j, l) && search.IsNear(search.Distance(i, j), search.Distance(k, l)) &&
            TryPairs(i, j, k, l, search))
            return true;
    return false;
}

/// Enters atom k as the image of an atom that is none, by one of the operations that are known.
bool EnterKnown(int k, Search& search) {
    Images& found = search.Found;
    for (int n = 0; n < found.nOperations; ++n) {
        const int* vTo = found.To(n);
        for (int i = 0; i < k; ++i) {
            if (vTo[i] != k || found.IsImage(i)) continue;
            found.vFrom[Size(k)] = i;
            found.vOperation[Size(k)] = n;
            return true;
        }
    }
    return false;
}

void Enter(int k, Search& search) {
    search.Found.vFrom[Size(k)] = k;
    search.Found.vOperation[Size(k)] = -1;
    if (EnterKnown(k, search)) return;
    for (int i = 0; i < k; ++i) {
        if (search.Found.IsImage(i) || !FindOperation(i, k, search)) continue;
        EnterKnown(k, search);
        return;
    }
}

// ---- what turns with the atoms ------------------------------------------------------------------

constexpr int kMostShells = 4, kMostOrbitals = kMostShells * kMostShells;

/// The matrix of an atom's n orbitals under an operation, n x n.
void BuildAtomTurn(const ShellRotation& rotation, int n, double* mTurn) {
    static constexpr double kUnit[] = {1.0};
    const double* pShells[] = {kUnit, rotation.mP, rotation.mD, rotation.mF};
    std::fill_n(mTurn, n * n, 0.0);
    for (int l = 0; l < 4 && l * l < n; ++l)
        for (int i = 0; i < 2 * l + 1; ++i)
            std::copy_n(pShells[l] + (2 * l + 1) * i, 2 * l + 1, mTurn + n * (l * l + i) + l * l);
}

/// The same for atoms of each number of shells, s, s p, ...
struct AtomTurns {
    double mTurns[kMostShells][kMostOrbitals * kMostOrbitals];

    explicit AtomTurns(const double* mOperation) {
        ShellRotation rotation;
        BuildShellRotation(kMostShells - 1, mOperation, rotation);
        for (int l = 0; l < kMostShells; ++l) BuildAtomTurn(rotation, (l + 1) * (l + 1), mTurns[l]);
    }
    /// Of an atom with n orbitals, of which there are some.
    const double* Of(int n) const {
        int l = 0;
        while (l + 1 < kMostShells && (l + 1) * (l + 1) < n) ++l;
        return mTurns[l];
    }
};

/// C = A B for an n x k and a k x m matrix.
void Multiply(int n, int k, int m, const double* mA, const double* mB, double* mC) {
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < m; ++j) {
            mC[i * m + j] = 0.0;
            for (int p = 0; p < k; ++p) mC[i * m + j] += mA[i * k + p] * mB[p * m + j];
        }
}

/// T B U^T for an n x m block and square matrices T and U.
void TurnBlock(int n, int m, const double* mT, const double* mU, double* mBlock) {
    double mTransposed[kMostOrbitals * kMostOrbitals], mHalf[kMostOrbitals * kMostOrbitals];
    for (int i = 0; i < m; ++i)
        for (int j = 0; j < m; ++j) mTransposed[j * m + i] = mU[i * m + j];
    Multiply(n, n, m, mT, mBlock, mHalf);
    Multiply(n, m, m, mHalf, mTransposed, mBlock);
}

/// Blocks of a matrix over the orbitals of atoms.
struct Blocks {
    const AtomRange* pRanges;
    int nOrbitals;
    const double* mMatrix;
    double dTolerance;

    const double* Place(int i, int j, int nRow) const {
        return Row(mMatrix, nOrbitals, pRanges[i].nFirst + nRow) + pRanges[j].nFirst;
    }
    /// Whether the block of k and l is that of i and j, turned.
    bool IsTurned(int i, int j, int k, int l, const AtomTurns& turns) const {
        const int n = pRanges[i].nCount, m = pRanges[j].nCount;
        if (n != pRanges[k].nCount || m != pRanges[l].nCount) return false;
        double mBlock[kMostOrbitals * kMostOrbitals];
        for (int r = 0; r < n; ++r) std::copy_n(Place(i, j, r), m, mBlock + r * m);
        TurnBlock(n, m, turns.Of(n), turns.Of(m), mBlock);
        for (int r = 0; r < n; ++r)
            for (int c = 0; c < m; ++c)
                if (!(std::abs(mBlock[r * m + c] - Place(k, l, r)[c]) < dTolerance)) return false;
        return true;
    }
};

}  // namespace

int FindImages(int nAtoms, const double* vXyz, const int* vKinds, double dTolerance,
               Images& images) {
    images.nAtoms = nAtoms;
    images.nOperations = 0;
    images.mTurns.Take(Size(nAtoms) + 1, 9, kWork);
    images.mTo.Take(Size(nAtoms) + 1, Size(nAtoms), kWork);
    images.vFrom.Take(Size(nAtoms), kWork);
    images.vOperation.Take(Size(nAtoms), kWork);
    Search search{nAtoms, vKinds, dTolerance, images, {}, {}, {}};
    Centre(vXyz, search);
    ListPartners(search);
    constexpr double kInversion[] = {-1, 0, 0, 0, -1, 0, 0, 0, -1};
    TryOperation(kInversion, search);
    for (int k = 0; k < nAtoms; ++k) Enter(k, search);
    int nImages = 0;
    for (int k = 0; k < nAtoms; ++k) nImages += images.IsImage(k);
    return nImages;
}

bool HasSymmetry(const Images& images, const AtomRange* pRanges, int nOrbitals,
                 const double* mMatrix, double dTolerance) {
    const Blocks blocks{pRanges, nOrbitals, mMatrix, dTolerance};
    for (int p = 0; p < images.nOperations; ++p) {
        const AtomTurns turns(images.Turn(p));
        const int* vTo = images.To(p);
        for (int i = 0; i < images.nAtoms; ++i) {
            Yield(Size(images.nAtoms) * 64);
            for (int j = 0; j <= i; ++j)
                if (!blocks.IsTurned(i, j, vTo[i], vTo[j], turns)) return false;
        }
    }
    return true;
}

void FillRowsOfImages(const Images& images, double* mHessian, double* mDipoles) {
    const int n = 3 * images.nAtoms;
    for (int k = 0; k < images.nAtoms; ++k) {
        if (!images.IsImage(k)) continue;
        const int nOperation = images.vOperation[Size(k)], i = images.vFrom[Size(k)];
        const double* mTurn = images.Turn(nOperation);
        const int* vTo = images.To(nOperation);
        double mBlock[9], mTurned[9];
        for (int j = 0; j < images.nAtoms; ++j) {
            for (int x = 0; x < 3; ++x)
                std::copy_n(Row(mHessian, n, 3 * i + x) + 3 * j, 3, mBlock + 3 * x);
            ToFrame3(mTurn, mBlock, mTurned);
            for (int x = 0; x < 3; ++x)
                std::copy_n(mTurned + 3 * x, 3, Row(mHessian, n, 3 * k + x) + 3 * vTo[j]);
        }
        if (!mDipoles) continue;
        ToFrame3(mTurn, Row(mDipoles, 3, 3 * i), mTurned);
        std::copy_n(mTurned, 9, Row(mDipoles, 3, 3 * k));
    }
}

}  // namespace qsolve
