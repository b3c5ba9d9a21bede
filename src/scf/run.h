#pragma once

#include <limits>

#include "link/memory.h"
#include "scf/density.h"
#include "scf/state.h"

/// One SCF on its way: what its cycles, its Fock matrices and its end hand to one another.

namespace qsolve {

/// In what the SCF cycle of one method family differs from the others. All else is common.
struct ScfFamily {
    double dKcalPerUnit;      ///< kcal/mol in the family's energy unit
    double dFullDiagFactor;   ///< full diagonalisation within this many convergence limits
    double dShiftCorrection;  ///< part of the level shift in the energy of an open level
    bool fDampByShift;        ///< damping counts the cycles since the shift began, not all of them
    bool fSeedFock;           ///< a job's first cycle has a Fock matrix of its own
    bool fPerturbSpin;        ///< an unrestricted job starts from unequal spins
    bool fKeepFullDiag;       ///< full diagonalisation, once on, stays on
    bool fExitNeedsFullDiag;  ///< the cycles end only on a full diagonalisation
};

enum class Spin { kAlpha, kBeta };

/// One spin's arrays, and what its cycles carry on.
struct SpinRun {
    Spin spin;
    LevelCounts Counts;
    Array<double>& mFock;
    Array<double>& mVectors;
    Array<double>& vEnergy;
    Array<double>& vLevel;
    Array<double>& vWeights;  ///< of the orbitals in the density
    Array<double>& mDensity;
    Array<double>& mDensityPrev;
    Array<double>& vDiagOlder;
    Array<double>& mDiisError;
    Array<double>& mDiisFock;
    DiisHistory History = {};
    double dEnergy = 0.0;
    double dDelta = 1.0;          ///< largest change of a diagonal density element
    LevelRange Held = {};         ///< levels whose orbitals are known; others have no meaning
    bool fSumOfOrbitals = false;  ///< the density is just what those and their weights make it
};

/// The energy of the cycle before the first one, which stands for that of no cycle.
constexpr double kUnknownEnergy = 99.0;

/// What both spins share. Energies are in the unit of the family.
struct ScfRun {
    const ScfFamily& Family;
    bool fVerbose;  ///< the stages are reported
    bool fUnrestricted;
    bool fClosed;   ///< no partly filled levels, or unrestricted
    double dLimit;  ///< kcal/mol
    double dFullDiagLimit;
    double dCoreEnergy = 0.0;
    double dEnergy = 0.0, dEnergyPrev = kUnknownEnergy, dEnergyPrev2 = 0.0;
    int nJudged = 0;  ///< cycles whose energy has been compared with the one before
    double dDifference = std::numeric_limits<double>::infinity();  ///< of the last, kcal/mol
    LevelShift Shift = {};
    ScfCycle Cycle = {};
    bool fGroupFound = false;  ///< the point group is that of this run's atoms
    bool fNearStart = false;   ///< as scf.fNearStart allows it
    int nSettled = 0;          ///< energy differences below the limit, one after the other
    double dHeld = 0.0;        ///< electrons of the density that made dEnergy
    bool fHoldsAll = true;     ///< that density has the electrons of the molecule, of each spin
    bool fHeldAllPrev = true;  ///< and so had the one that made dEnergyPrev
};

/// The arrays in `scf` of either spin and its levels. Beta's are empty in a restricted calculation.
SpinRun AlphaRun();
SpinRun BetaRun();

/// A run of the family, the options and the levels of the job that is set up.
ScfRun StartRun();

}  // namespace qsolve
