#pragma once

#include <cstddef>

#include "link/memory.h"
#include "scf/electrons.h"

/// Points beside a reference point whose densities follow from how its orbitals answer to the
/// movement of a coordinate: one system of linear equations in place of two SCFs.

namespace qsolve {

/// The reference point, and the answer to one coordinate. The arrays of `scf` are those of the
/// sets.
struct Answer {
    ScfRun Run = StartRun();
    SpinRun A = AlphaRun(), B = BetaRun();
    Electrons Sets = ElectronsOf(Run, A, B);
    Array<double> vIntegrals;  ///< two-electron integrals of the reference point
    Array<double> mVectors[2], vEnergy[2], mDensity[2];  ///< of each set there
    Array<double> vBend;
    Array<double> mChange[2];  ///< density of each set, per working unit of the coordinate
    Array<double> vSlope, vRotations;
    int nProducts = 0;  ///< of the last answer

    Answer() = default;
    Answer(const Answer&) = delete;
    Answer& operator=(const Answer&) = delete;
};

/// Whether answers can be asked for: closed shells or unrestricted ones, without configurations.
bool CanAnswer();

/// Converges the reference point at system.pCoords and keeps it. False where it does not converge.
/// Fatal with kMsgOutOfMemory where there is no memory.
bool PrepareAnswers(Answer& answer);

/// How far a coordinate is moved to either side. It is not the step of points that have SCFs of
/// their own, whose noise would show: frequencies of water, ethanol, caffeine and ten waters change
/// by less than 0.001 1/cm with half of it, and by as much as 0.5 with 1/240.
constexpr double kAnswerStep = 2e-4;  ///< working unit
constexpr double kDipoleStep = 0.25;  ///< of the dipole alone

/// Finds how the densities follow coordinate nPlace of system.pCoords, from the Fock matrices dStep
/// to either side of it. False where the equations have no answer that is sure: the state is no
/// minimum. Yields.
bool FindAnswer(std::size_t nPlace, double dStep, Answer& answer);

/// The gradient with the coordinate moved by dStep, and the densities as the answer says; their
/// error goes with the square of dStep, and falls out of the difference of two points on either
/// side. The coordinate is given back.
void ComputeAnsweredGradient(std::size_t nPlace, double dStep, const Answer& answer);

/// Charges and dipole there. Both are linear in the densities, so that the difference of two points
/// is exact however far they are, and the rounding of the charges small beside it far away.
void ComputeAnsweredDipole(std::size_t nPlace, double dStep, const Answer& answer);

}  // namespace qsolve
