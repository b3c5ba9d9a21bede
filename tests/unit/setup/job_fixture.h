#pragma once

#include <string>
#include <vector>

#include "job/state.h"
#include "link/link.h"
#include "session/session.h"
#include "setup/parameters.h"
#include "setup/setup.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {

using Lines = std::vector<std::string>;

/// One atom of a test molecule, as the intake leaves it. A capping atom has its atomic number
/// without the offset here.
struct TestAtom {
    int nAtomicNumber = 0;
    float flX = 0, flY = 0, flZ = 0;
    int nState = kSelected;
};

/// Tables in which every row has plausible values of the right sign, so that nothing is complained
/// of until a test spoils one.
inline CindoRow GoodCindoRow() {
    return {-10, -5, -3, 1.6, 1.5, 1.2, 9, 0.2, 0.1, -30, -31, 50};
}
inline NddoRow GoodNddoRow(int nMethod) {
    NddoRow row;
    row.dUss = -40, row.dUpp = -30, row.dBetaS = -15, row.dBetaP = -8;
    row.dZetaS = 1.7, row.dZetaP = 1.6, row.dAlpha = 2.5;
    row.dAtomEnergy = -100, row.dHeatOfAtom = 170;
    row.dGss = 12, row.dGsp = 11, row.dGpp = 11.5, row.dGp2 = 10, row.dHsp = 2;
    row.dDipoleDistance = 0.8, row.dQuadDistance = 0.7;
    row.dRho0 = 0.45, row.dRho1 = 0.5, row.dRho2 = 0.6;
    if (nMethod == kMindo3) row.dDipoleDistance = -20, row.dQuadDistance = -11, row.dRho1 = 11;
    return row;
}
inline ZindoRow GoodZindoRow() {
    ZindoRow row;
    row.dZetaS = 1.7, row.dZetaP = 1.6, row.dZetaD = 2.5;
    row.dIonisationS = 20, row.dIonisationP = 10, row.dIonisationD = 8;
    row.dBetaS = 15, row.dBetaP = 14, row.dBetaD = 20;
    row.dZetaD1 = 5, row.dCoefD1 = 1;
    row.dSlaterF2pp = 6, row.dSlaterG1sp = 7, row.dSlaterF2pd = 1, row.dSlaterF2dd = 8;
    row.dSlaterF4dd = 5, row.dSlaterG1pd = 1, row.dSlaterG2sd = 1, row.dSlaterG3pd = 1;
    row.dAtomEnergy = -90, row.dHeatOfAtom = 160;
    row.dConfigMix[0] = 1;
    return row;
}

template <class T>
void FillTable(Array<T>& table, int nRows, const T& row) {
    table.Take(static_cast<std::size_t>(nRows), kIntake);
    for (T& t : table) t = row;
}

/// A connected client that shows warnings, a log that is on, tables and a molecule: what a session
/// has before set-up.
class JobTest : public FreshState {
  protected:
    JobTest() {
        NewScriptedClient();
        link.fLogReports = true;
        link.fShowWarnings = true;
        options.nMultiplicity = 1;
        options.nIterationLimit = 50;
        options.flConvergenceLimit = 0.01F;
    }

    static void UseMethod(int nMethod) {
        parameters = ParameterState{};
        parameters.nParameterMethod = system.MethodId = nMethod;
        switch (FamilyOf(nMethod)) {
            case Family::kCndo:
                FillTable(parameters.pCindoParams, kRows, GoodCindoRow());
                break;
            case Family::kZindo:
                FillTable(parameters.pZindoParams, kRows, GoodZindoRow());
                FillTable(parameters.pZindosGamma, kRows, GammaRow{9, 8, 10});
                break;
            case Family::kNddo:
                FillTable(parameters.pNddoParams, kRows, GoodNddoRow(nMethod));
                FillTable(parameters.pMindoPairs, kMindoPairs, MindoPair{1, 0.5});
                break;
            case Family::kNone:
                break;
        }
    }

    /// The molecule, with the selection list in the order given.
    static void UseAtoms(const std::vector<TestAtom>& atoms) {
        system.nAtoms = static_cast<int>(atoms.size());
        system.nSelected = system.nCapping = 0;
        system.pAtoms.Take(atoms.size(), kIntake);
        system.nSelectedAtoms.Take(atoms.size(), kIntake);
        for (int i = 0; i < system.nAtoms; ++i) {
            const TestAtom& from = atoms[static_cast<std::size_t>(i)];
            AtomRecord& atom = system.pAtoms[i];
            atom.nAtomicNumber = from.nAtomicNumber;
            atom.flX = from.flX, atom.flY = from.flY, atom.flZ = from.flZ;
            atom.flMass = 12.0F;
            atom.nState = from.nState;
            if (atom.nState == AtomState::kClassical) continue;
            if (atom.nState == AtomState::kCapping) {
                atom.nAtomicNumber += kCappingOffset;
                ++system.nCapping;
            }
            system.nSelectedAtoms[system.nSelected++] = i + 1;
        }
    }

    static void UseWater() { UseAtoms({{8}, {1, 0.96F, 0, 0}, {1, -0.24F, 0.93F, 0}}); }

    /// Runs set-up; the number of the message that refused the job, or 0.
    static int TrySetUp() {
        try {
            SetUpCalculation();
        } catch (const Unwinding& unwinding) {
            return unwinding.nId;
        }
        return 0;
    }

    /// The only text on the error channel, or a remark that there is not exactly one.
    static std::string OnlyError() {
        const auto errors = client.Errors();
        return errors.size() == 1 ? errors[0] : std::to_string(errors.size()) + " errors";
    }
};

}  // namespace qsolve
