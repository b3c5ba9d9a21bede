#pragma once

#include "job/methods.h"

/// Rows of the parameter tables and of the element tables. Row Z - 1 holds element Z, row
/// kCappingOffset + Z - 1 element Z as a capping atom: the row of an atom is its nAtomicNumber
/// less 1.

namespace qsolve {

constexpr int kRows = 210;

/// Unit of the energies in a title of the log, six characters, by method. MNDO/d works in eV like
/// its family; that its title says otherwise is part of the layout.
// clang-format off
constexpr const char* kEigenUnit[] = {
    " (eV) ", "(a.u.)", "(a.u.)", " (eV) ", " (eV) ", " (eV) ", " (eV) ", "(a.u.)", "(a.u.)", "(a.u.)",
};
// clang-format on

/// How the names of the files begin that a method's table comes from. No file is read here.
constexpr const char* kTableFile[] = {"exhuckel", "cindo", "cindo",  "mindo3", "mndo",
                                      "am1",      "pm3",   "zindo1", "zindos", "mndod"};

/// CNDO and INDO. Energies eV, exponents 1/bohr.
struct CindoRow {
    double dHalfIpEaS = 0;  ///< -(I + A)/2
    double dHalfIpEaP = 0;
    double dHalfIpEaD = 0;
    double dZetaS = 0;
    double dZetaP = 0;
    double dZetaD = 0;
    double dBeta = 0;  ///< positive
    double dSlaterG1 = 0;
    double dSlaterF2 = 0;
    double dAtomEnergyCndo = 0;
    double dAtomEnergyIndo = 0;
    double dHeatOfAtom = 0;  ///< kcal/mol
};
static_assert(sizeof(CindoRow) == 12 * 8);

/// MINDO/3, MNDO, AM1, PM3, MNDO/d, in the order of the wire. Energies eV, exponents 1/bohr.
struct NddoRow {
    double dUss = 0, dUpp = 0, dUdd = 0;
    double dBetaS = 0, dBetaP = 0, dBetaD = 0;
    double dZetaS = 0, dZetaP = 0, dZetaD = 0;
    double dAlpha = 0;  ///< 1/Angstrom
    double dAtomEnergy = 0;
    double dHeatOfAtom = 0;  ///< kcal/mol
    double dGss = 0, dGsp = 0, dGpp = 0, dGp2 = 0, dHsp = 0;
    double dGsd = 0, dHsd = 0, dGdd = 0;
    double dDipoleDistance = 0;  ///< bohr; MINDO/3: ionisation potential of s, eV, negative
    double dQuadDistance = 0;    ///< bohr; MINDO/3: ionisation potential of p, eV, negative
    double dRho0 = 0;            ///< hartree
    double dRho1 = 0;            ///< hartree; MINDO/3: averaged one-centre integral, eV
    double dRho2 = 0;            ///< hartree
};
static_assert(sizeof(NddoRow) == 25 * 8);
constexpr int kNddoFirstSection = 12;  ///< doubles of a row in the first section of the block

/// Core-core Gaussians of AM1 and PM3: K exp(-L (R - M)^2).
struct GaussianRow {
    double dK[10] = {}, dL[10] = {}, dM[10] = {};
};
static_assert(sizeof(GaussianRow) == 30 * 8);

/// MINDO/3 bond pair.
struct MindoPair {
    double dAlphaAB = 0, dBetaAB = 0;
};
constexpr int kMindoPairs = 22155;  ///< pairs of rows, a row with itself included

/// Index of the pair of rows a and b, both counted from 1, in the table of pairs.
constexpr int MindoPairIndex(int a, int b) {
    const int m = a > b ? a : b;
    return m * (m - 1) / 2 + a + b - m - 1;
}

/// ZINDO/1 and ZINDO/S. Energies eV, exponents 1/bohr.
struct ZindoRow {
    double dZetaS = 0, dZetaP = 0, dZetaD = 0;
    double dIonisationS = 0, dIonisationP = 0, dIonisationD = 0;
    double dBetaS = 0, dBetaP = 0, dBetaD = 0;                  ///< positive
    double dZetaD1 = 0, dCoefD1 = 0, dZetaD2 = 0, dCoefD2 = 0;  ///< double-zeta d function
    double dSlaterF2pp = 0, dSlaterG1sp = 0;
    double dSlaterF2pd = 0, dSlaterF2dd = 0, dSlaterF4dd = 0;
    double dSlaterG1pd = 0, dSlaterG2sd = 0, dSlaterG3pd = 0;
    double dAtomEnergy = 0;
    double dHeatOfAtom = 0;       ///< kcal/mol
    double dIonisation2[3] = {};  ///< second set, s p d
    double dIonisation3[3] = {};  ///< third set
    double dConfigMix[3] = {};    ///< weights of the ground-state configurations
};
static_assert(sizeof(ZindoRow) == 32 * 8);

/// ZINDO/S two-electron Coulomb parameters, eV.
struct GammaRow {
    double dGammaSS = 0, dGammaSD = 0, dGammaDD = 0;
};
static_assert(sizeof(GammaRow) == 3 * 8);

/// What MNDO/d needs of an element beyond its NddoRow, derived at set-up. Energies eV, lengths
/// bohr, additive terms hartree.
struct NddoExtended {
    bool fPrepared = false;
    bool fHasP = false, fHasD = false;
    int nShell = 0, nShellD = 0;                ///< principal quantum numbers of s and p, and of d
    double dZetaS = 0, dZetaP = 0, dZetaD = 0;  ///< effective, from the one-centre integrals
    double dF0ss = 0, dF0pp = 0, dF0dd = 0, dF0sp = 0, dF0sd = 0, dF0pd = 0;
    double dF2pp = 0, dF2dd = 0, dF2pd = 0, dF4dd = 0;
    double dG1sp = 0, dG1pd = 0, dG2sd = 0, dG3pd = 0;
    double dR1sppd = 0, dR2sdpp = 0, dR2sddd = 0;
    double dD1sp = 0, dD1pd = 0, dD2pp = 0, dD2sd = 0, dD2dd = 0;  ///< charge separations
    double dRho0ss = 0, dRho0pp = 0, dRho0dd = 0;                  ///< additive terms
    double dRho1sp = 0, dRho1pd = 0, dRho2pp = 0, dRho2sd = 0, dRho2dd = 0;
};

/// Valence orbitals of an element's row: 0, 1, 4, 9 or 16.
extern const int kOrbitalsOfElement[kRows];
/// Principal quantum number of the valence s and p shell.
extern const int kPrincipalQuantum[kRows];
/// Valence electrons.
extern const double kCoreCharge[kRows];
/// Standard atomic masses.
extern const double kAtomicMass[kRows];
/// Two characters with a leading blank where needed, and a NUL.
extern const char kElementSymbol[kRows][3];
/// Labels of the orbital types 1 .. 9, three characters; entry 0 is empty.
extern const char kOrbitalLabel[10][4];
/// 0! .. 20!
extern const double kFactorial[21];

/// Principal quantum number of the d shell of element Z (0-based row nRow) in a method: one below
/// the valence shell where the d shell is the inner one.
int DShellNumber(int nMethod, int nRow);

/// 418.4 / mass of a row, which turns kcal/(mol Angstrom) and atomic mass units into Angstrom/ps^2.
/// A mass of 0 counts as 0.01.
double InverseMassFactor(int nRow);

}  // namespace qsolve
