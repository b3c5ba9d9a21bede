#include <cmath>
#include <cstddef>

#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "properties/orbital_values.h"
#include "properties/plot.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Ways in which the options name an orbital.
enum OrbitalMode : int { kAboveLumo = 0, kBelowHomo = 1, kByNumber = 2 };

/// A coefficient has to be larger for its orbital to be plotted at all, a weight this large for the
/// second term of a double-zeta function.
constexpr double kLeastCoefficient = 1e-05, kLeastWeight = 1e-09;

/// Number of the lowest empty level. Natural orbitals count as empty below half an electron.
long long LowestEmpty() {
    if (scf.nCiKind == kMicrostates) {
        const Array<float>& vOccupancy = results.Orbitals.vOccupancy;
        int k = 0;
        while (k < scf.nOrbitals && !(vOccupancy[k] < 0.5F)) ++k;
        return k + 1LL;
    }
    if (scf.nSpinTreatment == 1)
        return (options.fPlotBetaSpin ? setup.nElectronsB : setup.nElectronsA) + 1LL;
    return (options.fPlotBetaSpin ? setup.nDoublyOcc : setup.nOccupied) + 1LL;
}

/// Number, from 1, of the orbital that the options choose; 0 for an unknown way to choose.
long long ChosenOrbital() {
    switch (options.nPlotOrbitalMode) {
        case kAboveLumo:
            return LowestEmpty() + options.nPlotOrbitalOffset;
        case kBelowHomo:
            return LowestEmpty() - 1 - options.nPlotOrbitalOffset;
        case kByNumber:
            return options.nPlotOrbitalOffset;
        default:
            return 0;
    }
}

/// The coefficients, by atomic orbital, of the orbital of a number from 1.
const double* CoefficientsOf(long long nNumber) {
    const bool fBeta = scf.nSpinTreatment == 1 && options.fPlotBetaSpin;
    const auto n = static_cast<std::size_t>(scf.nOrbitals);
    const std::size_t nPlace = static_cast<std::size_t>(nNumber - 1) + (fBeta ? n : 0);
    const Array<double>& mVectors = fBeta ? scf.mVectorsB : scf.mVectorsA;
    return Row(mVectors.Data(), scf.nOrbitals, results.Orbitals.vOrbitalOrder[nPlace]);
}

/// An atom's orbitals with their coefficients.
struct AtomPart {
    AtomOrbitals Orbitals;
    double vCoefficient[kAtomOrbitals];  ///< 0 for what is left out
};

/// Shells of which nothing is left, and atoms of which nothing is, are not evaluated.
AtomPart PartOfAtom(int nPosition, const double* vCoefficient) {
    AtomPart part{OrbitalsOfAtom(nPosition, kLeastWeight), {}};
    bool fShell[3] = {};
    for (int k = 0; k < part.Orbitals.nOrbitals; ++k) {
        const double c = vCoefficient[part.Orbitals.nFirst + k];
        if (!(std::abs(c) > kLeastCoefficient)) continue;
        part.vCoefficient[k] = c;
        fShell[ShellOfOrbital(k)] = true;
    }
    for (int l = 0; l < 3; ++l)
        if (!fShell[l]) part.Orbitals.Shells[l].nTerms = 0;
    if (!fShell[0] && !fShell[1] && !fShell[2]) part.Orbitals.nOrbitals = 0;
    return part;
}

void AddOrbital(const AtomPart& part, int nPoints, const OrbitalValues& values, double* vSum) {
    for (int k = 0; k < part.Orbitals.nOrbitals; ++k) {
        const double c = part.vCoefficient[k];
        if (c == 0.0) continue;
        for (int i = 0; i < nPoints; ++i) vSum[i] += c * values.mValue[k][i];
    }
}

}  // namespace

void PlotOrbital(bool fSquare, float* pGrid) {
    const long long nNumber = ChosenOrbital();
    if (nNumber < 1 || nNumber > scf.nOrbitals) {
        Warn(kMsgPlotOrbital, nNumber, scf.nOrbitals);
        return;
    }
    const double* vCoefficient = CoefficientsOf(nNumber);
    Array<AtomPart> pParts;
    pParts.Take(static_cast<std::size_t>(system.nSelected), kWork);
    for (int i = 0; i < system.nSelected; ++i) pParts[i] = PartOfAtom(i, vCoefficient);
    if (fSquare)
        FillGrid(pParts, pGrid, AddOrbital, [](double d) { return d * d; });
    else
        FillGrid(pParts, pGrid, AddOrbital, [](double d) { return d; });
}

}  // namespace qsolve
