#include "setup/parameters.h"

namespace qsolve {

namespace {

/// Elements up to this one have orbitals as capping atoms.
constexpr int kHighestCapping = 88;

/// A capping atom closes a cut bond as a halogen would: an sp basis and seven electrons.
constexpr int CappingOrbitals(int nElement) {
    return nElement <= kHighestCapping ? 4 : 0;
}
constexpr double kCappingCharge = 7.0;

/// The halogens begin with the second shell, so capping hydrogen and helium have it too.
constexpr int CappingShell(int nElement, int nShell) {
    return nElement <= 2 ? 2 : nShell;
}

}  // namespace

const int kOrbitalsOfElement[kRows] = {
#define ELEMENT(Z, sSymbol, nOrbitals, nShell, nCharge, dMass) nOrbitals,
#include "setup/elements.def"
#undef ELEMENT
#define ELEMENT(Z, sSymbol, nOrbitals, nShell, nCharge, dMass) CappingOrbitals(Z),
#include "setup/elements.def"
#undef ELEMENT
};

const int kPrincipalQuantum[kRows] = {
#define ELEMENT(Z, sSymbol, nOrbitals, nShell, nCharge, dMass) nShell,
#include "setup/elements.def"
#undef ELEMENT
#define ELEMENT(Z, sSymbol, nOrbitals, nShell, nCharge, dMass) CappingShell(Z, nShell),
#include "setup/elements.def"
#undef ELEMENT
};

const double kCoreCharge[kRows] = {
#define ELEMENT(Z, sSymbol, nOrbitals, nShell, nCharge, dMass) nCharge,
#include "setup/elements.def"
#undef ELEMENT
#define ELEMENT(Z, sSymbol, nOrbitals, nShell, nCharge, dMass) kCappingCharge,
#include "setup/elements.def"
#undef ELEMENT
};

const double kAtomicMass[kRows] = {
#define ELEMENT(Z, sSymbol, nOrbitals, nShell, nCharge, dMass) dMass,
#include "setup/elements.def"
#undef ELEMENT
#define ELEMENT(Z, sSymbol, nOrbitals, nShell, nCharge, dMass) dMass,
#include "setup/elements.def"
#undef ELEMENT
};

const char kElementSymbol[kRows][3] = {
#define ELEMENT(Z, sSymbol, nOrbitals, nShell, nCharge, dMass) sSymbol,
#include "setup/elements.def"
#undef ELEMENT
#define ELEMENT(Z, sSymbol, nOrbitals, nShell, nCharge, dMass) sSymbol,
#include "setup/elements.def"
#undef ELEMENT
};

const char kOrbitalLabel[10][4] = {"",    "  S", " Px", " Py", " Pz",
                                   "Dz2", "Dxz", "Dyz", "Dx2", "Dxy"};

const double kFactorial[21] = {1.0,
                               1.0,
                               2.0,
                               6.0,
                               24.0,
                               120.0,
                               720.0,
                               5040.0,
                               40320.0,
                               362880.0,
                               3628800.0,
                               39916800.0,
                               479001600.0,
                               6227020800.0,
                               87178291200.0,
                               1307674368000.0,
                               20922789888000.0,
                               355687428096000.0,
                               6402373705728000.0,
                               121645100408832000.0,
                               2432902008176640000.0};

int DShellNumber(int nMethod, int nRow) {
    const int nElement = nRow % kCappingOffset + 1;
    const int nShell = kPrincipalQuantum[nRow];
    bool fInner = nElement >= 19;
    if (nMethod == kMndo || nMethod == kMndoD)  // Sc to Zn, Y to Cd, La to Hg
        fInner = (nElement >= 21 && nElement <= 30) || (nElement >= 39 && nElement <= 48) ||
                 (nElement >= 57 && nElement <= 80);
    return fInner ? nShell - 1 : nShell;
}

double InverseMassFactor(int nRow) {
    constexpr double kScale = 418.4;        // kcal/(mol Angstrom amu) in Angstrom/ps^2
    constexpr double kSmallestMass = 0.01;  // stands for a mass of 0
    const double dMass = kAtomicMass[nRow];
    return kScale / (dMass == 0.0 ? kSmallestMass : dMass);
}

}  // namespace qsolve
