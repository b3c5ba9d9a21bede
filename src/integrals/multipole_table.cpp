#include "integrals/multipole_table.h"

#include <algorithm>
#include <cmath>

#include "integrals/atom_list.h"
#include "integrals/nddo_store.h"
#include "integrals/orbital_moments.h"

namespace qsolve {
namespace {

constexpr int kOrders = 3;  ///< m = 0, 1, 2
constexpr double kRootOf2 = 1.4142135623730951;

constexpr int kRank[kMultipoles] = {0, 0, 1, 1, 2, 2, 2};

/// Charge of a multipole at a place in units of its separation.
struct MultipoleCharge {
    double q, x, y, z;
    /// How many charges it stands for in the interaction with another multipole of the same order:
    /// turns and reflections that leave that unchanged carry it to the others, whose weight is 0.
    double dWeight;
};

constexpr int kMostCharges = 6;
struct ChargeSet {
    int nCharges;
    MultipoleCharge Charge[kMostCharges];
};

// clang-format off
constexpr ChargeSet kNone = {0, {}};
constexpr ChargeSet kChargeSet[3][kOrders] = {  // by rank and order, cosine type
    {{1, {{1.0, 0, 0, 0, 1}}}, kNone, kNone},
    {{2, {{0.5, 0, 0, 1, 1}, {-0.5, 0, 0, -1, 1}}},
     {2, {{0.5, 1, 0, 0, 2}, {-0.5, -1, 0, 0, 0}}},
     kNone},
    {{6, {{ 0.25, 0, 0, kRootOf2, 1}, { 0.25, 0, 0, -kRootOf2, 1},
          {-0.125, kRootOf2, 0, 0, 4}, {-0.125, -kRootOf2, 0, 0, 0},
          {-0.125, 0, kRootOf2, 0, 0}, {-0.125, 0, -kRootOf2, 0, 0}}},
     {4, {{0.25, 1, 0, 1, 2}, {-0.25, 1, 0, -1, 2}, {0.25, -1, 0, -1, 0}, {-0.25, -1, 0, 1, 0}}},
     {4, {{0.25, kRootOf2, 0, 0, 4}, {0.25, -kRootOf2, 0, 0, 0},
          {-0.25, 0, kRootOf2, 0, 0}, {-0.25, 0, -kRootOf2, 0, 0}}}},
};

/// A harmonic stands for a multipole's rank, order and type, cosine or sine: s for the monopole, x,
/// y and z for the dipoles, the d orbitals for the quadrupoles. Those of one azimuth, which is an
/// order with a type, interact.
constexpr int kOrderOf[kMomentOrbitals] = {0, 1, 1, 0, 0, 1, 1, 2, 2};
constexpr int kAzimuthOf[kMomentOrbitals] = {0, 1, 2, 0, 0, 1, 2, 3, 4};
constexpr int kCosineType[kMomentOrbitals] = {0, 1, 1, 3, 4, 5, 5, 7, 7};

/// Radial moments over powers of the separation: <r> = f D, <r^2> = f D^2.
constexpr double kRadialMoment[kMultipoles] = {
    1.0, 1.0, kRootOf3, kRootOf5, 5.0, kRootOf3 * kRootOf5, 7.0};
// clang-format on

/// The multipole of rank l that a product of shells has; kMultipoles for none.
constexpr int MultipoleOf(int li, int lj, int l) {
    const int nLow = li < lj ? li : lj, nHigh = li < lj ? lj : li;
    if (l == 0) return nLow != nHigh ? kMultipoles : nLow == 2 ? kMonopoleD : kMonopoleS;
    if (l == 1) return nHigh != nLow + 1 ? kMultipoles : nLow == 0 ? kDipoleSp : kDipolePd;
    if (nHigh == 1) return nLow == 1 ? kQuadrupolePp : kMultipoles;
    if (nHigh == 0 || nLow == 1) return kMultipoles;
    return nLow == 0 ? kQuadrupoleSd : kQuadrupoleDd;
}

/// Moment of the unit charges of a harmonic with its own polynomial.
constexpr double ChargeMoment(int nHarmonic) {
    const Polynomial& p = kOrbitalPolynomials[kCosineType[nHarmonic]];
    const ChargeSet& set = kChargeSet[AngularOf(nHarmonic)][kOrderOf[nHarmonic]];
    double d = 0.0;
    for (int n = 0; n < set.nCharges; ++n)
        d += set.Charge[n].q * ValueAt(p, set.Charge[n].x, set.Charge[n].y, set.Charge[n].z);
    return d;
}

constexpr int kAzimuths = 5;
constexpr int kOrderOfAzimuth[kAzimuths] = {0, 1, 1, 2, 2};

/// A product that holds a multipole of an azimuth, and how much of it.
struct Holder {
    int nProduct = 0, nMultipole = 0;
    double c = 0.0;
};

constexpr int kMostHolders = 22;
struct Holders {
    int nCount = 0;
    Holder Entry[kMostHolders];

    constexpr void Add(const Holder& holder) { Entry[nCount++] = holder; }
};

struct Content {
    Holders Azimuth[kAzimuths];
};

/// Coefficients below this are zeros with rounding errors.
constexpr double kNothing = 1e-12;

/// A product has to have the moments of the charges that replace it:
///
///     <h> R^l = c D^l sum over charges of q h(place)
///
/// with <h> the angular mean of the harmonic with the product and R^l the radial moment.
constexpr Content ContentOfProducts() {
    Content content;
    for (int i = 0; i < kMomentOrbitals; ++i)
        for (int j = 0; j <= i; ++j)
            for (int h = 0; h < kMomentOrbitals; ++h) {
                const int t = MultipoleOf(AngularOf(i), AngularOf(j), AngularOf(h));
                if (t == kMultipoles) continue;
                const double dMean =
                    MeanWith(kOrbitalPolynomials[h], kProductMoments.Pair[MomentIndex(i, j)]);
                const double c = dMean * kRadialMoment[t] / ChargeMoment(h);
                if (c * c < kNothing) continue;
                content.Azimuth[kAzimuthOf[h]].Add({ProductNumber(i, j), t, c});
            }
    return content;
}
constexpr Content kContent = ContentOfProducts();

/// Two sets of charges, those of A at +R on the axis.
struct TwoMultipoles {
    double R, dSeparationA, dSeparationB, dRhoSquare;
};

/// A quotient of two charges, at z along the axis, with the whole square of their distance; and its
/// derivative with respect to z.
double Quotient(double /*z*/, double dSquare) {
    return 1.0 / std::sqrt(dSquare);
}
double QuotientSlope(double z, double dSquare) {
    return -z / (dSquare * std::sqrt(dSquare));
}

/// The sum of one of these over the charges of two multipoles.
template <double (&quotient)(double, double)>
double Interaction(const ChargeSet& setA, const ChargeSet& setB, const TwoMultipoles& m) {
    double dSum = 0.0;
    for (int i = 0; i < setA.nCharges; ++i) {
        const MultipoleCharge& a = setA.Charge[i];
        if (a.dWeight == 0.0) continue;
        const double xA = m.dSeparationA * a.x, yA = m.dSeparationA * a.y;
        const double zA = m.R + m.dSeparationA * a.z;
        double dPotential = 0.0;
        for (int j = 0; j < setB.nCharges; ++j) {
            const MultipoleCharge& b = setB.Charge[j];
            const double x = xA - m.dSeparationB * b.x, y = yA - m.dSeparationB * b.y;
            const double z = zA - m.dSeparationB * b.z;
            dPotential += b.q * quotient(z, x * x + y * y + z * z + m.dRhoSquare);
        }
        dSum += a.dWeight * a.q * dPotential;
    }
    return kElectronVoltBohr * dSum;
}

bool IsKind(int nKind) {
    return nKind >= 0 && nKind <= kHighestKind;
}

bool IsUsable(const MultipoleTerms& terms) {
    if (!IsKind(terms.nKind)) return false;
    for (int t = 0; t < kMultipoles; ++t) {
        if (!HasMultipole(terms.nKind, static_cast<Multipole>(t))) continue;
        if (!std::isfinite(terms.dRho[t]) || terms.dRho[t] <= 0.0) return false;
        if (!std::isfinite(terms.dSeparation[t])) return false;
    }
    return true;
}

int ProductsOfKind(int nKind) {
    return nKind == 2 ? kMostProducts : nKind == 1 ? ProductsOf(4) : 1;
}

/// The table of interactions, or of their derivatives.
template <double (&quotient)(double, double)>
bool FillInteractions(const MultipoleTerms& a, const MultipoleTerms& b, double dDistance,
                      double* vInteraction) {
    std::fill_n(vInteraction, kInteractions, 0.0);
    if (!IsUsable(a) || !IsUsable(b) || !std::isfinite(dDistance)) return false;
    for (int nA = 0; nA < kMultipoles; ++nA) {
        if (!HasMultipole(a.nKind, static_cast<Multipole>(nA))) continue;
        for (int nB = 0; nB < kMultipoles; ++nB) {
            if (!HasMultipole(b.nKind, static_cast<Multipole>(nB))) continue;
            const double dRho = a.dRho[nA] + b.dRho[nB];
            const TwoMultipoles m = {dDistance, a.dSeparation[nA], b.dSeparation[nB], dRho * dRho};
            for (int nOrder = 0; nOrder <= std::min(kRank[nA], kRank[nB]); ++nOrder)
                vInteraction[InteractionIndex(nA, nB, nOrder)] = Interaction<quotient>(
                    kChargeSet[kRank[nA]][nOrder], kChargeSet[kRank[nB]][nOrder], m);
        }
    }
    return true;
}

}  // namespace

bool ComputeMultipoleInteractions(const MultipoleTerms& a, const MultipoleTerms& b,
                                  double dDistance, double* vInteraction) {
    return FillInteractions<Quotient>(a, b, dDistance, vInteraction);
}

bool ComputeMultipoleDerivatives(const MultipoleTerms& a, const MultipoleTerms& b, double dDistance,
                                 double* vDerivative) {
    return FillInteractions<QuotientSlope>(a, b, dDistance, vDerivative);
}

bool ExpandLocalBlock(int nKindA, int nKindB, const double* vInteraction, double* vLocalBlock) {
    if (!IsKind(nKindA) || !IsKind(nKindB)) return false;
    const int nProductsA = ProductsOfKind(nKindA), nProductsB = ProductsOfKind(nKindB);
    std::fill_n(vLocalBlock, nProductsA * nProductsB, 0.0);
    for (int k = 0; k < kAzimuths; ++k) {
        const Holders& holders = kContent.Azimuth[k];
        for (int i = 0; i < holders.nCount; ++i) {
            const Holder& a = holders.Entry[i];
            if (a.nProduct >= nProductsA) break;  // holders stand in the order of the products
            double* pRow = vLocalBlock + a.nProduct * nProductsB;
            for (int j = 0; j < holders.nCount; ++j) {
                const Holder& b = holders.Entry[j];
                if (b.nProduct >= nProductsB) break;
                const int n = InteractionIndex(a.nMultipole, b.nMultipole, kOrderOfAzimuth[k]);
                pRow[b.nProduct] += a.c * b.c * vInteraction[n];
            }
        }
    }
    return true;
}

}  // namespace qsolve
