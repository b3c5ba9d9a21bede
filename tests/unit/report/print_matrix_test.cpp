#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "job/state.h"
#include "report/report.h"
#include "scf/state.h"
#include "setup/state.h"
#include "symmetry/state.h"
#include "tests/unit/report/report_fixture.h"

namespace qsolve {
namespace {

std::string Name(int nOrbital) {
    const int nAtom = setup.vOrbitalAtom[nOrbital];
    return Print("%s %s %3d", kOrbitalLabel[setup.vOrbitalType[nOrbital]],
                 system.pAtoms[nAtom - 1].nAtomicNumber == 6 ? " C" : " H", nAtom);
}

std::string RowText(int nOrbital, int nColumns, const std::vector<double>& v) {
    return Name(nOrbital) + "  " + Join(nColumns, "", [&](int i) {
               return Print("%11.5f", v[static_cast<std::size_t>(i)]);
           });
}

/// A matrix that is not symmetric, so that rows and columns cannot be mistaken.
std::vector<double> Matrix(int n) {
    std::vector<double> m(static_cast<std::size_t>(n * n));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) m[static_cast<std::size_t>(i * n + j)] = i - 100.0 - j / 64.0;
    return m;
}

class MatrixDump : public ReportTest, public testing::WithParamInterface<int> {};

TEST_P(MatrixDump, HasBlocksOfSixColumns) {
    const int n = GetParam();
    Build(WithOrbitals(n));
    const std::vector<double> m = Matrix(n);
    PrintMatrix(m.data(), n, n, 0);

    Lines expected{"\n           ===== Core Hamiltonian Matrix (eV)  =====\n"};
    for (int nFirst = 0; nFirst < n; nFirst += 6) {
        const int nWidth = std::min(6, n - nFirst);
        expected.push_back("\n             " +
                           Join(nWidth, " ", [&](int k) { return Name(nFirst + k); }));
        for (int i = 0; i < n; ++i) {
            const auto p = m.begin() + i * n + nFirst;
            expected.push_back(RowText(i, nWidth, {p, p + nWidth}));
        }
    }
    EXPECT_EQ(client.Log(), expected);
}

TEST_P(MatrixDump, ShowsOneOrbitalAColumn) {
    const int n = GetParam();
    Build(WithOrbitals(n));
    symmetry.fOrbitalLabelsKnown = true;
    for (int i = 0; i < n; ++i) results.Orbitals.vSymmetryIndex[i] = i + 20;
    const std::vector<double> m = Matrix(n);
    std::vector<double> vEnergy;
    for (int k = 0; k < n; ++k) vEnergy.push_back(-1.5 * k);
    PrintEigenvectors(vEnergy.data(), m.data(), n, n, 1);

    Lines expected{"\n           ===== Eigenvalues (eV)  and Eigenvectors =====\n"};
    for (int nFirst = 0; nFirst < n; nFirst += 6) {
        const int nWidth = std::min(6, n - nFirst);
        expected.push_back("\nMO:            " + Join(nWidth, "        ", [&](int k) {
                               return Print("%3d", nFirst + k + 1);
                           }));
        expected.push_back("Symmetry:      " + Join(nWidth, "   ", [&](int k) {
                               return Print("%3d   ?", nFirst + k + 20);
                           }));
        expected.push_back(
            "Eigenvalue: " +
            Join(nWidth, "", [&](int k) { return Print("%11.5f", -1.5 * (nFirst + k)); }) + "\n");
        for (int i = 0; i < n; ++i) {
            std::vector<double> row;
            for (int k = 0; k < nWidth; ++k)
                row.push_back(m[static_cast<std::size_t>((nFirst + k) * n + i)]);
            expected.push_back(RowText(i, nWidth, row));
        }
    }
    EXPECT_EQ(client.Log(), expected);
}

INSTANTIATE_TEST_SUITE_P(Orbitals, MatrixDump, testing::Values(1, 2, 3, 4, 5, 6, 7, 10, 11, 12));

TEST_F(MatrixDump, LeavesSymmetryOutUntilItIsKnown) {
    Build(WithOrbitals(2));
    const double m[] = {0.5, -0.25, 0.125, 1}, vEnergy[] = {-13.6, 2};
    PrintEigenvectors(vEnergy, m, 2, 2, 1);
    const Lines expected{"\n           ===== Eigenvalues (eV)  and Eigenvectors =====\n",
                         "\nMO:              1          2", "Eigenvalue:   -13.60000    2.00000\n",
                         "  S  H   1      0.50000    0.12500",
                         "  S  H   2     -0.25000    1.00000"};
    EXPECT_EQ(client.Log(), expected);
}

/// The title of a dump, without the decoration.
std::string Title(bool fVectors, int nKind, int nMethod, bool fUnrestricted) {
    BareMolecule molecule = WithOrbitals(1, fUnrestricted);
    molecule.nMethod = nMethod;
    Build(molecule);
    client.Sent.clear();
    const double d = 0;
    if (fVectors)
        PrintEigenvectors(&d, &d, 1, 1, nKind);
    else
        PrintMatrix(&d, 1, 1, nKind);
    const std::string sTitle = client.Log().at(0);
    const std::string sHead = "\n           ===== ", sTail = " =====\n";
    EXPECT_EQ(sTitle.substr(0, sHead.size()), sHead);
    EXPECT_EQ(sTitle.substr(sTitle.size() - sTail.size()), sTail);
    return sTitle.substr(sHead.size(), sTitle.size() - sHead.size() - sTail.size());
}

TEST_F(MatrixDump, IsTitledByKindAndSpin) {
    EXPECT_EQ(Title(false, 0, kCndo, false), "Core Hamiltonian Matrix(a.u.)");
    EXPECT_EQ(Title(false, 1, kCndo, false), "Fock Matrix(a.u.)");
    EXPECT_EQ(Title(false, 3, kCndo, false), "Density Matrix");
    EXPECT_EQ(Title(false, 0, kAm1, true), "Core Hamiltonian Matrix (eV) ");
    EXPECT_EQ(Title(false, 1, kAm1, true), "Alpha Fock Matrix (eV) ");
    EXPECT_EQ(Title(false, 2, kAm1, true), "Beta Fock Matrix (eV) ");
    EXPECT_EQ(Title(false, 3, kAm1, true), "Alpha Density Matrix");
    EXPECT_EQ(Title(false, 4, kAm1, true), "Beta Density Matrix");
    EXPECT_EQ(Title(true, 1, kAm1, false), "Eigenvalues (eV)  and Eigenvectors");
    EXPECT_EQ(Title(true, 1, kAm1, true), "Alpha Eigenvalues (eV)  and Eigenvectors");
    EXPECT_EQ(Title(true, 2, kAm1, true), "Beta Eigenvalues (eV)  and Eigenvectors");
    EXPECT_EQ(Title(true, 2, kAm1, false), "Natural Orbitals of the Microstate CI");
}

TEST_F(MatrixDump, NamesTheUnitByMethodAndTakesMndoDForAtomic) {
    for (const int nMethod : {kCndo, kIndo, kZindo1, kZindoS, kMndoD})
        EXPECT_EQ(Title(false, 1, nMethod, false), "Fock Matrix(a.u.)") << nMethod;
    for (const int nMethod : {kMindo3, kMndo, kAm1, kPm3})
        EXPECT_EQ(Title(false, 1, nMethod, false), "Fock Matrix (eV) ") << nMethod;
}

}  // namespace
}  // namespace qsolve
