#pragma once

#include "dynamics/phases.h"
#include "link/memory.h"

namespace qsolve {

/// A walk through geometries by trial moves of one atom.
struct Walk {
    int nSteps = 0;
    Phases Lengths;               ///< in steps
    double dTemperature = 0.0;    ///< K, as it is reported; trials are judged at that of the run
    double dKineticEnergy = 0.0;  ///< kcal/mol, a constant
    double dThermal = 0.0;        ///< kT of the trials, kcal/mol
    double dEdge = 0.0;           ///< half the edge of the trial cube, working unit
    bool fReseed = true;
    bool fEnergyKnown = false;  ///< dEnergy is that of the present places
    double dEnergy = 0.0;       ///< kcal/mol
    bool fAtTrial = false;      ///< the last SCF was at places that were turned down
    long long nAccepted = 0;
    long long nRejected = 0;
    Array<double> vEnergyBefore;  ///< by atom: energy ahead of its last trial, kcal/mol
};

/// A walk as the job options want it, that has not looked at its start. Tells on the error channel
/// of a displacement below 1e-6, and of a first failure to take memory; the second is fatal
/// (kMsgOutOfMemory).
Walk StartWalk();

/// Runs an SCF at the present places and keeps its energy.
void EvaluateState(Walk& walk);

/// Tries every atom that may move once, in atom order, by two SCFs each: before and after the move.
/// A trial that is turned down leaves the places and results.Block.flTotalEnergy as they were, and
/// all else as the trial's SCF left it; after one without a finite energy the next SCF starts from
/// a fresh guess. The energies compared have single precision. further.Motion changes what is
/// tried, to which precision, and whether a known energy is computed once more.
void MetropolisSweep(Walk& walk);

/// Part of the trials that were accepted; 0 before the first.
double AcceptRatio(const Walk& walk);

}  // namespace qsolve
