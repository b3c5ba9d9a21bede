#pragma once

#include <cstddef>

#include "link/memory.h"
#include "link/packets.h"

namespace qsolve {

/// Kind of the section of states among the results, and ahead of the states what was mixed and what
/// follows.
constexpr int kCiSection = 8;
struct CiSectionHead {
    int nKind = 0;           ///< CiKind
    int nConfigs = 0;        ///< configurations that were mixed
    int nStates = 0;         ///< states that follow
    int nContributions = 0;  ///< contributions that follow those
    int nFirstLevel = 0;     ///< number of the lowest level of the window, from 1
    int nLevels = 0;         ///< levels of the window
    int nAlpha = 0;          ///< electrons in it
    int nBeta = 0;
    int nWanted = 0;  ///< place of the state of the job among the states
    int nUnused36 = 0;
};
static_assert(sizeof(CiSectionHead) == 40);

/// One state in full precision, as it goes to the client.
struct CiStateDetail {
    int nVector = 0;         ///< number of the eigenvector, by energy, from 0
    int nContributions = 0;  ///< that follow those of the state before
    double dEnergy = 0.0;    ///< above the SCF, eV
    double dSpinSquare = 0.0;
    double dSpin = 0.0;          ///< S
    double dOscillator = 0.0;    ///< strength of the transition from the first state
    double vDipole[3] = {};      ///< Debye
    double vTransition[3] = {};  ///< Debye; to the first state
};
static_assert(sizeof(CiStateDetail) == 88 && offsetof(CiStateDetail, vDipole) == 40);

/// A configuration of a state. In singles nSpin is 0 for alpha and 1 for beta, and nHole and
/// nParticle are numbers of orbitals from 1; the reference has -1, 0 and 0. In microstates nSpin is
/// 2, and nHole and nParticle are the levels of the window that hold alpha and beta electrons, as
/// bits.
struct CiContribution {
    int nSpin = 0;
    int nHole = 0;
    int nParticle = 0;
    int nUnused12 = 0;
    double dCoefficient = 0.0;
};
static_assert(sizeof(CiContribution) == 24 && offsetof(CiContribution, dCoefficient) == 16);

/// What is kept of an interaction for clients that ask for more than records.
struct CiDetails {
    int nConfigs = 0;
    int nFirstLevel = 0;  ///< number of the lowest level of the window, from 1
    int nLevels = 0;
    int nAlpha = 0, nBeta = 0;  ///< electrons in the window
    int nWanted = 0;            ///< place of the state of the job
    Array<CiStateDetail> States;
    Array<CiContribution> Contributions;
};

/// What a configuration interaction leaves. Lives for one calculation.
struct CiState {
    Array<UvRecord> CiStateTable;  ///< states of a singles CI as they go to the client
    int nCiStates = 0;
    CiDetails Details;
    Array<double> vNaturalOcc;  ///< N: occupations of the natural orbitals of a microstate CI
};
inline CiState ci;

}  // namespace qsolve
