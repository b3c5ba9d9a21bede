#pragma once

#include "dynamics/temperature_control.h"

namespace qsolve {

/// Begins molecular or Langevin dynamics, whose name stands before its texts: phases and
/// temperatures from the job options, and results.Motion.vVelocity, drawn and scaled to the first
/// temperature or as the client sends them. Fatal as RunMolecularDynamics is.
TemperatureControl StartMotion(const char* sName);

}  // namespace qsolve
