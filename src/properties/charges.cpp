#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "properties/properties.h"
#include "properties/state.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {

namespace {

void CopyDiagonal(int n, const double* m, float* v) {
    for (int i = 0; i < n; ++i) v[i] = static_cast<float>(Row(m, n, i)[i]);
}

/// Electrons in the orbitals of an atom, both spins.
double PopulationAt(int nPosition) {
    const Array<float>& vPopulation = results.Orbitals.vPopulation;
    const int nHalves = scf.nSpinTreatment == 1 ? 2 : 1;
    double dSum = 0.0;
    for (int nHalf = 0; nHalf < nHalves; ++nHalf)
        for (int i = setup.Map.pFirstOrbital[nPosition]; i <= setup.Map.pLastOrbital[nPosition];
             ++i)
            dSum += static_cast<double>(vPopulation[nHalf * scf.nOrbitals + i - 1]);
    return dSum;
}

/// The same of one density, in double precision.
double ElectronsAt(int nPosition, const double* mDensity) {
    double dSum = 0.0;
    for (int i = setup.Map.pFirstOrbital[nPosition]; i <= setup.Map.pLastOrbital[nPosition]; ++i)
        dSum += Row(mDensity, scf.nOrbitals, i - 1)[i - 1];
    return dSum;
}

}  // namespace

void ComputeAtomCharges(const double* mDensityT, const double* mDensityA, const double* mDensityB) {
    const int n = scf.nOrbitals;
    const bool fUnrestricted = scf.nSpinTreatment == 1;
    float* vPopulation = results.Orbitals.vPopulation.Data();
    if (fUnrestricted) {
        CopyDiagonal(n, mDensityA, vPopulation);
        CopyDiagonal(n, mDensityB, vPopulation + n);
    } else {
        CopyDiagonal(n, mDensityT, vPopulation);
    }
    Yield(static_cast<std::size_t>(n));

    for (int nPosition = 0; nPosition < system.nSelected; ++nPosition) {
        AtomRecord& atom = AtomByNumber(AtomNumberAt(nPosition));
        if (IsDummy(atom)) continue;
        const double dCore = kCoreCharge[RowOf(atom)];
        atom.flCharge = static_cast<float>(dCore - PopulationAt(nPosition));
        properties.vCharge[nPosition] =
            dCore - (fUnrestricted
                         ? ElectronsAt(nPosition, mDensityA) + ElectronsAt(nPosition, mDensityB)
                         : ElectronsAt(nPosition, mDensityT));
    }
}

}  // namespace qsolve
