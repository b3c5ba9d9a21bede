#include "scf/orbital_hessian.h"

#include <algorithm>
#include <cstddef>
#include <functional>

#include "scf/fock.h"
#include "scf/rotations.h"
#include "scf/state.h"

namespace qsolve {

void FillBend(const Electrons& electrons, double* vBend) {
    for (int k = 0; k < electrons.nSets; ++k) {
        const Shells& shells = electrons.vShells[k];
        const Array<double>& e = electrons.pSets[k]->vEnergy;
        for (int p = 0; p < shells.Occupied(); ++p)
            for (int q = shells.EndOfShell(p); q < shells.n; ++q)
                *vBend++ = 2.0 * electrons.dWeight * (shells.Filling(p) - shells.Filling(q)) *
                           (e[q] - e[p]);
    }
}

void MultiplyByHessian(Electrons& electrons, Turn turn, const double* vBend, const double* x,
                       double* y) {
    const std::size_t nSize = CountRotations(electrons);
    for (std::size_t i = 0; i < nSize; ++i) y[i] = vBend[i] * x[i];
    double* mWork = scf.mSquareWork.Data();
    const double* pPart = x;
    for (int k = 0; k < electrons.nSets; ++k) {
        SpinRun& s = *electrons.pSets[k];
        DensityChange(electrons.vShells[k], s.mVectors.Data(), pPart, mWork, s.mDensity.Data());
        pPart += RotationsOf(electrons.vShells[k]);
    }
    const std::size_t nSquare = scf.mDensityT.Size();
    const double *pA = scf.mDensityA.Data(), *pB = pA;
    if (electrons.nSets == 2) pB = scf.mDensityB.Data();
    if (turn == Turn::kSpinsApart) {
        std::transform(pA, pA + nSquare, mWork, std::negate<>());
        pB = mWork;  // of one set, which reads it before it writes there
    }
    double* pTotal = scf.mDensityT.Data();
    for (std::size_t i = 0; i < nSquare; ++i) pTotal[i] = pA[i] + pB[i];
    double* pOut = y;
    for (int k = 0; k < electrons.nSets; ++k) {
        SpinRun& s = *electrons.pSets[k];
        std::fill(s.mFock.begin(), s.mFock.end(), 0.0);
        AddRepulsion(pTotal, k == 0 ? pA : pB, k == 0 ? pB : pA, s.mFock.Data());
        AddMatrixOfRotations(electrons.vShells[k], s.mVectors.Data(), s.mFock.Data(),
                             2.0 * electrons.dWeight, mWork, pOut);
        pOut += RotationsOf(electrons.vShells[k]);
    }
}

}  // namespace qsolve
