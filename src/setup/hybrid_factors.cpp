#include "setup/hybrid_factors.h"

#include <cmath>

#include "job/state.h"
#include "setup/state.h"

namespace qsolve {

namespace {

/// Debye per electron and bohr of separation: twice the charge of the electron times the bohr.
constexpr double kDebyePerSeparation = 5.0832;

// By principal quantum number of the valence shell. The values for n = 2 and 3 lie slightly below
// the closed form, by 8e-6 and 2e-4 of it; they are the established ones.
constexpr int kHighestShell = 7;
constexpr double kSpConstant[kHighestShell + 1] = {
    0.0, 0.0, 469.56193322, 2629.107682607, 13523.498, 66114.879, 312543.0631, 1442506.451};
/// p and d of shell 3; p of shells 4 and 5 with d of the shell below.
constexpr double kPdConstant[6] = {0.0, 0.0, 0.0, 2036.8554, 4354.9801, 22083.78};

constexpr int kRubidium = 37;

/// The exponents that a row brings, whatever the table it stands in.
struct RowExponents {
    double dZetaS = 0.0, dZetaP = 0.0, dZetaD = 0.0;
    double dZetaD1 = 0.0, dCoefD1 = 0.0, dZetaD2 = 0.0, dCoefD2 = 0.0;
};

RowExponents ExponentsOf(int nRow) {
    RowExponents row;
    if (parameters.pCindoParams) {
        const CindoRow& cindo = parameters.pCindoParams[nRow];
        row = {cindo.dZetaS, cindo.dZetaP, cindo.dZetaD};
    } else if (setup.pZindo) {
        const ZindoRow& zindo = setup.pZindo[nRow];
        row = {zindo.dZetaS,  zindo.dZetaP,  zindo.dZetaD, zindo.dZetaD1,
               zindo.dCoefD1, zindo.dZetaD2, zindo.dCoefD2};
    } else if (setup.pNddo) {
        const NddoRow& nddo = setup.pNddo[nRow];
        row = {nddo.dZetaS, nddo.dZetaP, nddo.dZetaD};
    }
    return row;
}

/// (z1^(2 n1 + 1) z2^(2 n2 + 1))^(1/2) / (z1 + z2)^(n1 + n2 + 2); 0 unless both are positive.
double ExponentFactor(int n1, double dZeta1, int n2, double dZeta2) {
    if (!(dZeta1 > 0.0) || !(dZeta2 > 0.0)) return 0.0;
    // In quotients, which keep within range whatever the exponents are.
    const double dSum = dZeta1 + dZeta2;
    return std::pow(dZeta1 / dSum, n1 + 0.5) * std::pow(dZeta2 / dSum, n2 + 0.5) / dSum;
}

double PdFactor(int n, const RowExponents& row) {
    if (n == 3) return kPdConstant[n] * ExponentFactor(n, row.dZetaP, n, row.dZetaD);
    if (n != 4 && n != 5) return 0.0;
    const double dTerm1 = ExponentFactor(n, row.dZetaP, n - 1, row.dZetaD1);
    const double dTerm2 = ExponentFactor(n, row.dZetaP, n - 1, row.dZetaD2);
    return (row.dCoefD1 * dTerm1 + row.dCoefD2 * dTerm2) * kPdConstant[n];
}

void PrepareFromExponents() {
    const int nHighestShell = system.MethodId == kMindo3 ? kHighestShell : 5;
    for (int nRow = 0; nRow < kRows; ++nRow) {
        const int n = kPrincipalQuantum[nRow];
        if (n < 2 || n > nHighestShell) continue;
        const RowExponents row = ExponentsOf(nRow);
        setup.vPdHybrid[nRow] = PdFactor(n, row);
        if (nRow % kCappingOffset + 1 == kRubidium) continue;  // meant: it keeps no s-p moment
        setup.vSpHybrid[nRow] = kSpConstant[n] * ExponentFactor(n, row.dZetaS, n, row.dZetaP);
    }
}

void PrepareFromSeparations() {
    for (int nRow = 1; nRow < kRows; ++nRow) {
        setup.vSpHybrid[nRow] = kDebyePerSeparation * setup.pNddo[nRow].dDipoleDistance;
        setup.vPdHybrid[nRow] = kDebyePerSeparation * setup.pExtended[nRow].dD1pd;
    }
}

}  // namespace

void PrepareHybridFactors() {
    setup.vSpHybrid.Take(kRows, kSetUp);
    setup.vPdHybrid.Take(kRows, kSetUp);
    if (setup.pExtended && setup.pNddo)
        PrepareFromSeparations();
    else
        PrepareFromExponents();
}

}  // namespace qsolve
