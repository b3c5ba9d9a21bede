#include "link/messages.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <regex>
#include <string>
#include <vector>

#include "link/format.h"

namespace qsolve {
namespace {

struct Entry {
    int nId;
    const char* sName;
    const char* sText;
};

const Entry kEntries[] = {
#define MESSAGE(nId, Name, sText) {nId, #Name, sText},
#include "link/messages.def"
#undef MESSAGE
};

struct Known {
    int nId;
    const char* sText;
};

const Known kKnownTexts[] = {
    {8209, "E=%.4f Grad=%.3f Conv=%s(%d cycles %d points) [Iter=%d Diff=%.5f]"},
    {8211, "Computing the force matrix: done %ld%%."},
    {8212,
     "E=%.4f Grad=%.3f NumOfNegEigenvalues=%d Conv=%s(%d cycles %d points) [Iter=%d Diff=%.5f]"},
    {8213, "Steps=%g Total Energy=%.4f kcal/mol T=%.2f K [Iter=%d Diff=%.5f]"},
    {12400, "UHF Calculation:\n"},
    {12448, "Singlet state calculation"},
    {12544, "in which\nNumber of Alpha Electrons = %ld\nNumber of Beta Electrons = %ld"},
    {12720, "Number of Levels with Occupancy %lf = %ld"},
    {12896, "Gradient                            = %15.7f (kcal/mol/Ang)"},
    {13024, "Atom  Z     Charge            Coordinates(Angstrom)              Mass"},
    {13040, "                            x           y           z"},
    {13056, "%3d %3d   %10.6f   %11.5f %11.5f %11.5f   %11.5f"},
    {13072, "HE Energy Correction                = %15.7f (kcal/mol)"},
    {13920, "\nNext Lowest-State Total Energy      = %15.7f (kcal/mol)"},
    {13952, "Excitation Energy                   = %15.7f (kcal/mol)"},
    {14164,
     " Time = %.4f ps\n Kinetic Energy = %.4f kcal/mol\n Total Energy = %.4f kcal/mol\n "
     "Temperature = %.2f K"},
    {14165,
     " Steps = %g\n Acceptance Ratio = %.4f\n Total Energy = %.4f kcal/mol\n Temperature = %.2f K"},
    {14171, "\nDipole (Debyes)  x         y         z          Total"},
    {20486,
     "Atom %ld with atomic number %ld: the coefficients mixing the configurations of ground state "
     "of the transition metal are not normalized."},
    {20576,
     "Step %ld: Large Gradient: %f\nSimulation may be unstable.\nTry smaller time step, lower "
     "temperature or better starting geometry."},
    {20579,
     "Fluctuat Over %ld Steps:\nEtot=%.4f Epot=%.4f Ekin=%.4f Temp=%.4f \nstr=%.4f ben=%.4f "
     "tor=%.4f vdw=%.4f H-B=%.4f ele=%.4f"},
    {20560,
     "The optimized geometry may not correspond to the geometry with the minimum energy because of "
     "the half electron approximation."},
    {20625,
     "The sum of occupied and unoccupied orbitals you have chosen is greater than the total number "
     "of orbitals.  Molarium will reset these two values to the maximum numbers of occupied and "
     "unoccupied orbitals."},
    {20563,
     "The trust radius now is less than %7.5f, the optimization terminates.  The geometry may not "
     "be completely optimized."},
    {24576,
     "The molecule selected for calculation is too large and has consumed all available memory."},
    {24627, "Sorry, vibrational analysis is not available for a system with only one atom."},
    {24645,
     "Sorry, vibrational analysis with configuration interaction is not available in the current "
     "version of Molarium."},
    {24660,
     "The energy criterion for choosing the molecular orbitals in CI may not be used in "
     "Microstates CI calculation."},
    {24704,
     "The force matrix isn't available, please choose Compute/Vibrations to calculate the force "
     "matrix."},
    {24736, "The mass for atom %d is too small (%f)."},
    {24849,
     "Atom %d superposes atom %d, their separate distance is %f angstroms.  Please correct this "
     "fault"},
    {24854,
     "Error in transfering the 2c 2e integrals from local coordinates to molecular coordinates."},
    {24868, "Cannot find an acceptable lamda.  Eigenvector following failed."},
    {24873,
     "Current geometry if so close to the product, but transition state still isn't found; please "
     "choose LST and try it again."},
    {25088, "Buffer overflow"},
    {33232, "\n*****************************************************************************\n"},
    {33282,
     "\n %3d (Reference)  Absolute Energy   %13.5f\n\n          %3d     Spin S                  "
     "%4.2f\n                  State Dipole           %7.4f\n"},
    {33284,
     "\n %3d (Transition) Excitation Energy   %11.1f %s\n                                      "
     "%11.1f %s"},
    {33285,
     "\n      %3d -> %3d  Spin S                 %4.2f\n                  State Dipole           "
     "%7.4f\n                  Oscillator Strength    %7.4f\n"},
    {33292,
     "\nState     Absolute           Relative             Spin\n      Energy(kcal/mol)   "
     "Energy(kcal/mol)     S(S+1)   S\n"},
    {33293, "%3d   %15.7f    %15.7f       %4.2f   %4.2f"},
    {33299, "\n           ===== CI Eigenvalues(in %.6s) and Eigenvectors =====\n"},
    {33326, "   %3d      %11.5f%11.5f%11.5f%11.5f%11.5f%11.5f"},
    {35334,
     "\n       Frequencies of the Normal Modes and Transformation Matrix.\n        (The "
     "transformation matrix transforms the mass-weighted\n            cartesian coordinates to the "
     "normal coordinates.)"},
    {35364, "\n Normal Mode   Frequency   %13.2f\n     %3d       Intensity   %13.5f"},
    {35366, "\n Translation   Frequency   %13.2f\n     %3d       Intensity   %13.5f\n"},
    {35367, "\n  Rotation     Frequency   %13.2f\n     %3d       Intensity   %13.5f\n"},
    {35391, "Overlap weighting factors: P(Sigma-Sigma) = %.4f and P(Pi-Pi) = %.4f"},
    {35401,
     "\n       Eigenvalues and eigenvectors of the final Hessian.\n   (The last %d modes are "
     "translational and rotational modes)\n"},
    {65297,
     "Floating Point error encountered.  May have been caused by an ill-conditioned molecular "
     "system."},
};

TEST(Messages, StandLetterForLetterUnderTheirNumbers) {
    for (const Known& known : kKnownTexts) EXPECT_STREQ(MessageText(known.nId), known.sText);
}

TEST(Messages, AreFoundByNumber) {
    for (const Entry& entry : kEntries) EXPECT_STREQ(MessageText(entry.nId), entry.sText);
    EXPECT_STREQ(MessageText(kMsgOutOfMemory),
                 "This application has exhausted all available memory.");
    EXPECT_EQ(kMsgPacketShort, 24887);
}

TEST(Messages, AreNullForANumberThatHasNone) {
    for (int nId : {-1, 0, 49, 52, 8201, 24576 - 1, 24578 + 2, 25090, 65296, 65298, 1 << 30})
        EXPECT_EQ(MessageText(nId), nullptr) << nId;
}

/// A conversion as the table may use it: flags, width and precision, length, kind.
const std::regex kConversion("%([-+ #0-9.]*)(l?)([a-z%])");

/// A text as the C library prints it, conversion by conversion, with a plausible argument for each;
/// the arguments are added to a list.
std::string PrintByLibrary(const std::string& sFormat, std::vector<Argument>* pArguments) {
    std::string sResult;
    auto rest = sFormat.cbegin();
    for (std::sregex_iterator it(sFormat.begin(), sFormat.end(), kConversion), end; it != end;
         ++it) {
        sResult.append(rest, sFormat.cbegin() + it->position());
        rest = sFormat.cbegin() + it->position() + it->length();
        const std::string sConversion = it->str(), sKind = it->str(3);
        char sPiece[100] = "";
        const double d = -12.345678 * static_cast<double>(pArguments->size() + 1);
        const int n = 11 * static_cast<int>(pArguments->size() + 1);
        if (sKind == "%") {
            std::strcpy(sPiece, "%");
        } else if (sKind == "s") {
            pArguments->push_back("2p x");
            std::snprintf(sPiece, sizeof sPiece, sConversion.c_str(), "2p x");
        } else if (sKind == "d") {
            pArguments->push_back(n);
            if (it->length(2) == 1)
                std::snprintf(sPiece, sizeof sPiece, sConversion.c_str(), static_cast<long>(n));
            else
                std::snprintf(sPiece, sizeof sPiece, sConversion.c_str(), n);
        } else if (sKind == "f" || sKind == "g") {
            pArguments->push_back(d);
            std::snprintf(sPiece, sizeof sPiece, sConversion.c_str(), d);
        } else {
            ADD_FAILURE() << "no kind of ours: " << sConversion;
        }
        sResult += sPiece;
    }
    return sResult.append(rest, sFormat.cend());
}

TEST(Messages, AllPrintAsTheLibraryWouldAndFitALine) {
    for (const Entry& entry : kEntries) {
        std::vector<Argument> arguments;
        const std::string sExpected = PrintByLibrary(entry.sText, &arguments);
        EXPECT_LT(sExpected.size(), kTextCapacity) << entry.sName;
        char sText[kTextCapacity];
        FormatText(sText, sizeof sText, entry.sText, arguments.data(), arguments.size());
        EXPECT_EQ(sText, sExpected) << entry.sName;
    }
}

TEST(Messages, HaveNoPercentSignOutsideAConversion) {
    for (const Entry& entry : kEntries) {
        const std::string sRest = std::regex_replace(std::string(entry.sText), kConversion, "");
        EXPECT_EQ(sRest.find('%'), std::string::npos) << entry.sName;
    }
}

TEST(Messages, NameEachSpinStateByItsWord) {
    const int vIds[] = {kMsgSingletState, kMsgDoubletState, kMsgTripletState, kMsgQuartetState,
                        kMsgQuintetState, kMsgSextetState,  kMsgSeptetState};
    const char* vWords[] = {"Singlet", "Doublet", "Triplet", "Quartet",
                            "Quintet", "Sextet",  "Septet"};
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(MessageText(vIds[i]), std::string(vWords[i]) + " state calculation");
}

TEST(Messages, PadTheNameOfAResultToTheSameColumn) {
    const std::regex result("\n?[^\n=]* = %(15\\.7f|7ld).*");
    int nResults = 0;
    for (const Entry& entry : kEntries) {
        const std::string sText = entry.sText;
        const bool fResult = entry.nId >= kMsgEnergyHeading && entry.nId <= kMsgTorsionEnergy;
        if (!fResult || !std::regex_match(sText, result)) continue;
        const std::size_t nStart = sText[0] == '\n' ? 1 : 0;
        EXPECT_EQ(sText.find('='), 36 + nStart) << entry.sName;
        ++nResults;
    }
    EXPECT_EQ(nResults, 26);
}

/// The text of a block of n columns, n = 1 to 6; their numbers ascend in their own ways.
struct Family {
    const char* sName;
    int vIds[6];
};

// clang-format off
#define SIX(Name) {#Name, {kMsg##Name##One, kMsg##Name##Two, kMsg##Name##Three, \
                           kMsg##Name##Four, kMsg##Name##Five, kMsg##Name##Six}}
// clang-format on

const Family kFamilies[] = {
    SIX(LevelNumbers),    SIX(LevelEnergies),   SIX(MatrixRow),      SIX(MatrixColumns),
    SIX(VectorSymmetry),  SIX(CiStates),        SIX(CiEigenvalues),  SIX(CiVectorRow),
    SIX(ForceAtoms),      SIX(ForceNumbers),    SIX(ForceRow),       SIX(ModeNumbers),
    SIX(ModeFrequencies), SIX(ModeEigenvalues), SIX(ModeSymmetries), SIX(ModeRow),
};

/// A text as it is printed, without its line feeds.
std::string Shape(int nId) {
    std::vector<Argument> arguments;
    std::string sShape = PrintByLibrary(MessageText(nId), &arguments);
    std::erase(sShape, '\n');
    return sShape;
}

TEST(Messages, OfFewerColumnsBeginLikeThoseOfMore) {
    for (const Family& family : kFamilies)
        for (int n = 1; n < 6; ++n) {
            const std::string sFew = Shape(family.vIds[n - 1]), sMore = Shape(family.vIds[n]);
            EXPECT_EQ(sMore.substr(0, sFew.size()), sFew) << family.sName << n;
            EXPECT_EQ(sMore.size(), sFew.size() + 11) << family.sName << n;
        }
}

TEST(Messages, OfOneTableEndTheirColumnsTogether) {
    for (const Family& family : kFamilies) {
        // A bare number stands over the middle of its column, not at the end.
        const std::string sName = family.sName;
        const bool fBareNumber = sName == "LevelNumbers" || sName == "CiStates" ||
                                 sName == "ForceAtoms" || sName == "ForceNumbers" ||
                                 sName == "ModeNumbers" || sName == "ModeSymmetries";
        for (unsigned n = 1; n <= 6 && !fBareNumber; ++n)
            EXPECT_EQ(Shape(family.vIds[n - 1]).size(), 12 + 11 * n) << sName << n;
    }
}

TEST(Messages, OfFiveColumnsStandUnderEachOther) {
    const int vEnergies[] = {kMsgEigenvaluesOne, kMsgEigenvaluesTwo, kMsgEigenvaluesThree,
                             kMsgEigenvaluesFour, kMsgEigenvaluesFive};
    for (int n = 1; n <= 5; ++n) {
        const std::size_t nShift = 13 * static_cast<std::size_t>(n - 1);
        EXPECT_EQ(Shape(vEnergies[n - 1]).size(), 23 + nShift);
        EXPECT_EQ(Shape(kMsgAoPopulationsOne + n - 1).size(), 23 + nShift);
        EXPECT_EQ(Shape(kMsgSymmetryOne + n - 1).size(), 21 + nShift);
        EXPECT_EQ(Shape(kMsgAoLabelsOne + n - 1).size(), (n < 5 ? 23 : 24) + nShift);
    }
}

}  // namespace
}  // namespace qsolve
