#include "integrals/nddo_classical.h"

#include <algorithm>
#include <cmath>

#include "integrals/classical_charges.h"
#include "integrals/mindo3.h"
#include "integrals/nddo_pair_sp.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Distances below this count as this, Angstrom.
constexpr double kNearestCharge = 1e-6;

/// What all classical charges do to one atom.
struct AtomField {
    double vPotential[kClassicalProducts] = {};  ///< eV, with the charges
    double dEnergy = 0.0;                        ///< eV per unit of the atom's core charge
};

void AddChargeNddo(const NddoAtom& a, const NddoAtom& p, double q, const ClassicalPlace& place,
                   AtomField& field) {
    double v[kClassicalProducts], f = 0.0;
    ClassicalPotential(a, p, place.vDirection, place.dDistance, v, &f);
    const int nProducts = ProductsOf(std::min(a.Listed.nOrbitals, kFirstD));
    for (int n = 0; n < nProducts; ++n) field.vPotential[n] -= q * v[n];
    field.dEnergy += v[0] * (p.dCore * f - (p.dCore - q));
}

/// MINDO/3's exponent of two elements, also for N-H and O-H.
double PairAlpha(const NddoAtom& a, const NddoAtom& p) {
    return setup.pMindoPairs[MindoPairIndex(a.Listed.nElement, p.Listed.nElement)].dAlphaAB;
}

void AddChargeMindo(const NddoAtom& a, const NddoAtom& p, double q, const ClassicalPlace& place,
                    AtomField& field) {
    const double R = place.dDistance, g = MindoCoulomb(a, p, R);
    const double x = std::exp(-PairAlpha(a, p) * R);
    for (int i = 0; i < a.Listed.nOrbitals; ++i) field.vPotential[ProductNumber(i, i)] -= q * g;
    field.dEnergy += ((kMindoCoulomb / R - g) * x + g) * p.dCore - (p.dCore - q) * g;
}

using AddCharge = void (&)(const NddoAtom&, const NddoAtom&, double, const ClassicalPlace&,
                           AtomField&);

AtomField FieldAt(const NddoAtom& a, AddCharge addCharge) {
    AtomField field;
    for (int nAtom = 0; nAtom < system.nAtoms; ++nAtom) {
        if (!IsClassicalCharge(nAtom)) continue;
        const AtomRecord& record = system.pAtoms[nAtom];
        const double* pXyz = Row(system.pCoords.Data(), 3, nAtom);
        addCharge(a, NddoAtomOf(record.nAtomicNumber), static_cast<double>(record.flCharge),
                  ClassicalPlaceOf(a.Listed.pXyz, pXyz), field);
    }
    return field;
}

double AddFields(AddCharge addCharge, double* mCore, int nLeading) {
    double dEnergy = 0.0;
    for (int iA = 0; iA < system.nSelected; ++iA) {
        const NddoAtom a = NddoAtomAt(iA);
        if (a.IsDummy()) continue;
        const AtomField field = FieldAt(a, addCharge);
        dEnergy += a.dCore * field.dEnergy;
        AddProducts(a, std::min(a.Listed.nOrbitals, kFirstD), field.vPotential, mCore, nLeading);
        Yield(static_cast<std::size_t>(system.nAtoms));
    }
    return dEnergy;
}

}  // namespace

ClassicalPlace ClassicalPlaceOf(const double* pXyzA, const double* pXyzP) {
    ClassicalPlace place{std::max(Distance(pXyzA, pXyzP), kNearestCharge), {}};
    for (int k = 0; k < 3; ++k) place.vDirection[k] = (pXyzA[k] - pXyzP[k]) / place.dDistance;
    return place;
}

void ClassicalPotential(const NddoAtom& a, const NddoAtom& p, const double* vDirection,
                        double dDistance, double* vPotential, double* pCoreFactor) {
    // P has no orbitals, so that the routine gives the four integrals of A with its monopole.
    double g[kLocalIntegrals];
    ComputeLocalIntegrals(a, p, dDistance, g);
    if (a.HasP())
        RotateWithMonopole(FrameOf(vDirection), g, vPotential);
    else
        vPotential[0] = g[0];
    *pCoreFactor = std::exp(-a.pRow->dAlpha * dDistance) +
                   std::exp(-p.pRow->dAlpha * dDistance) / dDistance + 1.0;
}

double ClassicalExcessSlopeNddo(const NddoAtom& a, const NddoAtom& p, double dDistance, double dSs,
                                double dSsSlope) {
    const double R = dDistance, dAlphaA = a.pRow->dAlpha, dAlphaP = p.pRow->dAlpha;
    const double dOfA = std::exp(-dAlphaA * R), dOfP = std::exp(-dAlphaP * R) / R;
    const double dSlope = -dAlphaA * dOfA - (dAlphaP + 1.0 / R) * dOfP;
    return a.dCore * p.dCore * (dSsSlope * (dOfA + dOfP) + dSs * dSlope);
}

double ClassicalExcessSlopeMindo(const NddoAtom& a, const NddoAtom& p, double dDistance,
                                 double dGamma, double dGammaSlope) {
    const double R = dDistance, dAlpha = PairAlpha(a, p);
    const double dValue = kMindoCoulomb / R - dGamma;
    const double dSlope = -kMindoCoulomb / (R * R) - dGammaSlope;
    return a.dCore * p.dCore * std::exp(-dAlpha * R) * (dSlope - dAlpha * dValue);
}

double AddClassicalChargesNddo(double* mCore, int nLeading) {
    return AddFields(AddChargeNddo, mCore, nLeading);
}

double AddClassicalChargesMindo(double* mCore, int nLeading) {
    return AddFields(AddChargeMindo, mCore, nLeading);
}

}  // namespace qsolve
