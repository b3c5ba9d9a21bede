#include "ci/matrix.h"

#include <cstddef>

#include "numeric/row.h"

namespace qsolve {
namespace {

double ReferenceEnergy(const CiWindow& window, const ActiveEnergies& energies) {
    const int n = window.nLevels;
    double dSum = 0.0;
    for (int i = 0; i < n; ++i) {
        const double dOcc = window.vOccRef[i];
        const double* J = Row(energies.mCoulomb.Data(), n, i);
        const double* K = Row(energies.mExchange.Data(), n, i);
        dSum += dOcc * (dOcc * J[i] + 2.0 * energies.vActiveEnergy[i]);
        for (int j = 0; j < i; ++j) dSum += 2.0 * dOcc * window.vOccRef[j] * (2.0 * J[j] - K[j]);
    }
    return dSum;
}

int Occupation(const SpinRows& rows, int nRow, int nLevel) {
    return IsOccupied(rows, nRow, nLevel) ? 1 : 0;
}

}  // namespace

void FillActiveEnergies(const CiWindow& window, const double* vEnergy, const MoTable& table,
                        ActiveEnergies& energies) {
    const int n = window.nLevels;
    const auto nSize = static_cast<std::size_t>(n);
    energies.vActiveEnergy.Take(nSize, kWork);
    energies.mCoulomb.Take(nSize, nSize, kWork);
    energies.mExchange.Take(nSize, nSize, kWork);
    for (int i = 0; i < n; ++i) {
        double dElectrons = 0.0;
        for (int j = 0; j < n; ++j) {
            const double J = Integral(table, i, i, j, j), K = Integral(table, i, j, i, j);
            Row(energies.mCoulomb.Data(), n, i)[j] = J;
            Row(energies.mExchange.Data(), n, i)[j] = K;
            dElectrons += (2.0 * J - K) * window.vOccRef[j];
        }
        energies.vActiveEnergy[i] = vEnergy[window.nBelow + i] - dElectrons;
    }
    energies.dReference = ReferenceEnergy(window, energies);
}

double ConfigurationEnergy(const ActiveEnergies& energies, const Determinants& d, int nConfig) {
    const int n = d.nLevels, nAlphaRow = d.vAlphaRow[nConfig], nBetaRow = d.vBetaRow[nConfig];
    double dSum = 0.0;
    for (int i = 0; i < n; ++i) {
        const int A = Occupation(d.mOccAlpha, nAlphaRow, i);
        const int B = Occupation(d.mOccBeta, nBetaRow, i);
        if (A + B == 0) continue;
        const double* J = Row(energies.mCoulomb.Data(), n, i);
        const double* K = Row(energies.mExchange.Data(), n, i);
        dSum += (A + B) * energies.vActiveEnergy[i];
        for (int j = 0; j < n; ++j) {
            const int Bj = Occupation(d.mOccBeta, nBetaRow, j);
            if (A != 0) dSum += Bj * J[j];
            if (j >= i) continue;
            const int Aj = Occupation(d.mOccAlpha, nAlphaRow, j);
            dSum += (A * Aj + B * Bj) * (J[j] - K[j]);
        }
    }
    return dSum - energies.dReference;
}

double SingleElement(const CiOperator& ci, int nConfig, MovedSpin spin, const Move& move) {
    const Determinants& d = ci.Configs;
    const bool fAlpha = spin == MovedSpin::kAlpha;
    const SpinRows& own = fAlpha ? d.mOccAlpha : d.mOccBeta;
    const SpinRows& other = fAlpha ? d.mOccBeta : d.mOccAlpha;
    const int nOwn = fAlpha ? d.vAlphaRow[nConfig] : d.vBetaRow[nConfig];
    const int nOther = fAlpha ? d.vBetaRow[nConfig] : d.vAlphaRow[nConfig];
    const int i = move.nHole, j = move.nParticle;
    double dSum = 0.0;
    for (int m = 0; m < d.nLevels; ++m) {
        const double dOwn = Occupation(own, nOwn, m) - ci.Window.vOccRef[m];
        const double dOther = Occupation(other, nOther, m) - ci.Window.vOccRef[m];
        if (dOwn + dOther != 0.0) dSum += (dOwn + dOther) * Integral(ci.Table, i, j, m, m);
        if (dOwn != 0.0) dSum -= dOwn * Integral(ci.Table, i, m, j, m);
    }
    return move.nSign * dSum;
}

}  // namespace qsolve
