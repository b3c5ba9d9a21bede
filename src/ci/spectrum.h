#pragma once

#include "ci/dipoles.h"
#include "ci/interaction.h"

namespace qsolve {

/// A state beside the first one of the list, the reference.
struct StateProperties {
    double dEnergy = 0.0;        ///< of the reference, eV; of others their distance from it, 1/cm
    double dSpin = 0.0;          ///< S
    double dOscillator = 0.0;    ///< strength of the transition from the reference
    double vDipole[3] = {};      ///< Debye
    double vTransition[3] = {};  ///< Debye
};

/// Properties of the first nStates states of the list, with as many entries in pProperties. Without
/// memory: Fatal. Yields.
void FillProperties(const ScfLevels& levels, const Interaction& ci, int nStates,
                    StateProperties* pProperties);

/// Length of a vector of three.
double LengthOf(const double* v);

/// The wavelength of a distance between states, 1/cm, in nm; 0 for none.
double WavelengthOf(double dWavenumber);

/// The record of a state at a place of the list.
UvRecord RecordOf(int nState, int nVector, const StateProperties& properties);

/// Writes the spectrum of all states to the log, with the excitations that make them where the
/// reference is the determinant of the SCF. Without memory: Fatal. Yields.
void LogSpectrum(const Interaction& ci, const StateProperties* pProperties);

}  // namespace qsolve
