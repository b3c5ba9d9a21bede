#include "vibrations/mass_weight.h"

#include <cmath>

#include "numeric/row.h"

namespace qsolve {
namespace {

double Weight(double dMass) {
    return dMass > 0.0 ? 1.0 / std::sqrt(dMass) : 1.0;
}

}  // namespace

void MassWeightForceMatrix(int nAtoms, const double* vMass, double* mMatrix, double* mDipoles) {
    const int n = 3 * nAtoms;
    for (int i = 0; i < n; ++i) {
        const double w = Weight(vMass[i / 3]);
        double* row = Row(mMatrix, n, i);
        for (int j = 0; j < n; ++j) row[j] *= w * Weight(vMass[j / 3]);
        for (int c = 0; c < 3; ++c) Row(mDipoles, 3, i)[c] *= w;
    }
}

void FillForceConstants(int nAtoms, const double* mMatrix, double* mTable) {
    const int n = 3 * nAtoms;
    for (int a = 0; a < nAtoms; ++a)
        for (int b = 0; b < nAtoms; ++b) {
            double dSum = 0.0;
            for (int x = 0; x < 3; ++x)
                for (int y = 0; y < 3; ++y) {
                    const double d = Row(mMatrix, n, 3 * a + x)[3 * b + y];
                    dSum += d * d;
                }
            Row(mTable, nAtoms, a)[b] = 0.5 * std::sqrt(dSum);
        }
}

}  // namespace qsolve
