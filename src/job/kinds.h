#pragma once

#include "job/state.h"
#include "link/messages.h"

/// What a job is: a row for each kind. Every question of the kind "what does this job do here" is a
/// column, so that a new job answers all of them or does not compile.

namespace qsolve {

/// Which settings of the job stand in the log.
enum class Settings { kNone, kSearch, kDynamics, kLangevin, kMonteCarlo };

/// What the status line tells of a cycle of an SCF.
enum class Progress {
    kNone,
    kCycle,       ///< the cycle and its energy change
    kFirstScf,    ///< the same in the first SCF of the job; nothing in later ones
    kSearch,      ///< where the search stands
    kHessian,     ///< as kFirstScf until the search has made a cycle, then as kTransition
    kTransition,  ///< where the search stands, with the number of negative eigenvalues
    kTime,        ///< time, energy, temperature
    kSteps,       ///< steps, energy, temperature
};

/// Kinetic energy of a job: none; or a part of what it reports, the energy of an SCF being the
/// potential one. In the second case the job writes the total of the result block itself.
enum class Kinetic { kNone, kBeside, kInTotal };

/// Matrices of second derivatives, which can outlive the calculation that made them.
enum class Matrix { kNone, kForceMatrix, kSearchHessian };

constexpr MessageId kGoes{0};  ///< in a column of refusals: nothing is refused

struct JobKind {
    const char* sName;         ///< as refusals name it; empty for what is no job
    Settings nSettings;        ///< settings in the log
    Progress nProgress;        ///< the status line in an SCF
    Kinetic nKinetic;          ///< kinetic energy in the report
    Matrix nLeaves;            ///< what the job leaves for the next one
    Matrix nTakes;             ///< what it can take over from the last one
    MessageId nWithCi;         ///< refusal with configuration interaction
    MessageId nOneAtom;        ///< refusal with a single atom
    MessageId nHalfElectrons;  ///< warning where levels are partly filled
    bool fFullReport;          ///< each SCF writes the full report, not only the last one
    bool fSummary;             ///< the status line ends with energy, gradient and symmetry
    bool fCountsPoints;        ///< each SCF is counted in the result block as an energy point
    bool fTwoEnds;             ///< reactant and product follow the selection
    bool fRealAtomsOnly;       ///< rows over coordinates are sent without the capping atoms
};

// clang-format off
constexpr JobKind kJobKinds[] = {  // by CalcKind
    // name                      settings               progress               kinetic            leaves                  takes                   with CI            one atom               half electrons            report summary points ends   real
    {"single point",             Settings::kNone,       Progress::kCycle,      Kinetic::kNone,    Matrix::kNone,          Matrix::kNone,          kGoes,             kGoes,                 kGoes,                    true,  true,   false, false, false},
    {"optimisation",             Settings::kSearch,     Progress::kSearch,     Kinetic::kNone,    Matrix::kNone,          Matrix::kNone,          kMsgOptimizeCi,    kGoes,                 kMsgHalfElectronGeometry, false, false,  true,  false, false},
    {"molecular dynamics",       Settings::kDynamics,   Progress::kTime,       Kinetic::kInTotal, Matrix::kNone,          Matrix::kNone,          kMsgDynamicsCi,    kGoes,                 kGoes,                    false, false,  false, false, false},
    {"",                         Settings::kNone,       Progress::kNone,       Kinetic::kNone,    Matrix::kNone,          Matrix::kNone,          kGoes,             kGoes,                 kGoes,                    false, false,  false, false, false},
    {"vibrational analysis",     Settings::kNone,       Progress::kFirstScf,   Kinetic::kNone,    Matrix::kForceMatrix,   Matrix::kForceMatrix,   kMsgVibrationsCi,  kMsgVibrationsOneAtom, kGoes,                    true,  false,  false, false, true},
    {"transition state search",  Settings::kNone,       Progress::kHessian,    Kinetic::kNone,    Matrix::kSearchHessian, Matrix::kSearchHessian, kGoes,             kGoes,                 kGoes,                    false, false,  false, false, false},
    {"synchronous transit",      Settings::kNone,       Progress::kTransition, Kinetic::kNone,    Matrix::kSearchHessian, Matrix::kNone,          kGoes,             kGoes,                 kGoes,                    false, false,  false, true,  false},
    {"Langevin dynamics",        Settings::kLangevin,   Progress::kTime,       Kinetic::kInTotal, Matrix::kNone,          Matrix::kNone,          kMsgDynamicsCi,    kGoes,                 kGoes,                    false, false,  false, false, false},
    {"Monte Carlo sampling",     Settings::kMonteCarlo, Progress::kSteps,      Kinetic::kBeside,  Matrix::kNone,          Matrix::kNone,          kMsgDynamicsCi,    kGoes,                 kGoes,                    false, false,  false, false, false},
};
// clang-format on

constexpr int kKinds = sizeof kJobKinds / sizeof kJobKinds[0];
constexpr int kNoJob = 3;  ///< its row stands for every number that is no kind of job
static_assert(kKinds == kMonteCarlo + 1);

/// The row of a kind as the client numbers them.
constexpr const JobKind& KindOf(int nCalcKind) {
    return kJobKinds[nCalcKind >= 0 && nCalcKind < kKinds ? nCalcKind : kNoJob];
}

/// The row of the job that is asked for.
inline const JobKind& ThisKind() {
    return KindOf(job.nCalcKind);
}

}  // namespace qsolve
