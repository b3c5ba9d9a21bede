#include "gradient/radial_pair.h"

#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {

ShellPopulations PopulationsOf(const ListedAtom& atom, const double* mDensityT) {
    ShellPopulations q;
    for (int i = 0; i < atom.nOrbitals; ++i)
        (i < kFirstD ? q.dSp : q.dD) +=
            Row(mDensityT, setup.nOrbitals, atom.nFirst + i)[atom.nFirst + i];
    return q;
}

void AddRadial(const double* pA, const double* pB, double R, double dSlope, double* pGradientA) {
    const double d = dSlope / R;
    for (int c = 0; c < 3; ++c) pGradientA[c] += d * (pA[c] - pB[c]);
}

}  // namespace qsolve
