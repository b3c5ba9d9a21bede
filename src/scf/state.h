#pragma once

#include "link/memory.h"
#include "link/packets.h"

namespace qsolve {

/// The level shift of one SCF: what is added to empty levels, with the opposite sign, so that they
/// stand off the occupied ones.
struct LevelShift {
    double dShiftA = 0.0;       ///< eV
    double dShiftB = 0.0;       ///< eV
    double dShiftTarget = 0.0;  ///< wanted shift less gap, eV, negative
    double dShiftCap = 0.0;     ///< ceiling of a shift, eV
    bool fLevelShift = false;   ///< the job uses a level shift
};

/// Where the cycles of one SCF stand; local to it.
struct ScfCycle {
    int nCycle = 0;                   ///< from 1
    int nShiftCycles = 0;             ///< cycles past the start of the level shift
    bool fShiftSettled = false;       ///< a small density change has been seen, or no shift is used
    bool fNearConverged = false;      ///< extrapolation and pseudo-diagonaliser may run
    bool fShiftFrozenClosed = false;  ///< closed systems use fixed shifts
    bool fTightDensity = false;       ///< the shifts are held at their saved values
    bool fFullDiag = false;           ///< full diagonalisation only, and no damping
    bool fConverged = false;          ///< the energy difference has come below the limit
};

/// What the Fock extrapolation of one spin remembers beside its matrices; local to one SCF.
struct DiisHistory {
    double mDiisB[6 * 6] = {};  ///< products of the errors, bordered by -1; row stride 6
    int nDiisSlot = 0;          ///< matrix written last, from 1
    int nDiisCount = 0;         ///< matrices in use
    bool fDiisRestart = true;   ///< the next call starts a new history
    double dDiisError = 0.0;    ///< mean square of the last error; 0 for one orbital
};

/// What an electronic-structure calculation leaves behind. N is the number of orbitals; matrices
/// are full, row-major, N x N; orbital k is row k of a vector matrix. Energies are in the unit of
/// the method family, hartree or eV. Arrays are taken at set-up and freed by the retention rules.
struct ScfState {
    // The level shift that the last SCF left. Lives from one SCF of a job to the next; zero at the
    // start of the process and at each validation, so that a job depends on no other.
    double dSavedShiftA = 0.0;  ///< eV
    double dSavedShiftB = 0.0;  ///< eV
    double dSavedTarget = 0.0;  ///< eV

    // Remembered with the arrays, since the options may be of a later session.
    int nOrbitals = 0;       ///< N of these arrays
    int nSpinTreatment = 0;  ///< 0 RHF, 1 UHF
    int nMultiplicity = 0;
    int nCiKind = 0;
    bool fDiis = false;
    bool fResultsValid = false;  ///< an SCF has finished on these arrays
    bool fOrbitalsDue = false;   ///< mVectorsA and mVectorsB are not solved for yet

    int nScfRuns = -1;  ///< -1 after validation, one more with every RunScf

    /// The densities at hand are nearly those that the next SCF will find, as after a small step of
    /// one atom: it goes without a level shift, and extrapolates from the first cycle on. To be
    /// cleared by whoever has set it.
    bool fNearStart = false;

    Array<double> mCore;   ///< core Hamiltonian; holds the overlap until it is built
    Array<double> mFockA;  ///< nEvenColumns x N
    Array<double> mFockB;
    Array<double> mVectorsA;  ///< nEvenColumns x N: alpha orbitals, one a row
    Array<double> mVectorsB;
    Array<double> vEnergyA;  ///< N: of the last full diagonalisation, ascending
    Array<double> vEnergyB;
    Array<double> vLevelA;  ///< N: working copy that the level shift edits
    Array<double> vLevelB;
    Array<double> vWeightsA;  ///< N: of the orbitals in the density
    Array<double> vWeightsB;
    Array<double> mDensityT;  ///< total density
    Array<double> mDensityA;  ///< alpha density; half the total in a restricted calculation
    Array<double> mDensityB;
    Array<double> mDensityPrevA;  ///< density of the previous cycle
    Array<double> mDensityPrevB;
    Array<double> vDiagOlderA;  ///< N: diagonal of the density two cycles back
    Array<double> vDiagOlderB;
    Array<double> mDiisErrorA;  ///< 5 x N x N
    Array<double> mDiisErrorB;
    Array<double> mDiisFockA;
    Array<double> mDiisFockB;
    Array<double> mSquareWork;      ///< nEvenColumns x N
    Array<double> vOrbitalScratch;  ///< N
    Array<double> vDiagWork;        ///< N
    Array<double> pWork;            ///< scratch of the Fock builders and the pseudo-diagonaliser

    // Results of the last SCF.
    double dTotalEnergy = 0.0;      ///< kcal/mol, electronic and core, with the state correction
    double dElectronic = 0.0;       ///< kcal/mol
    double dCoreRepulsion = 0.0;    ///< kcal/mol
    double dBinding = 0.0;          ///< kcal/mol
    double dHeatOfFormation = 0.0;  ///< kcal/mol
    double dStateCorrection = 0.0;  ///< half-electron or CI part of dTotalEnergy, kcal/mol
    double dNextStateCorrection = 0.0;
    ScfEnd End;
    double dChargeOrigin[3] = {};  ///< reference of the dipole of an ion, working unit

    ScfRecord Account;  ///< how the SCFs of the job have ended
    ForceRecord Force;  ///< whose gradients half electrons have had
};
inline ScfState scf;

}  // namespace qsolve
