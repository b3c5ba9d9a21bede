#pragma once

/// The checks of the parameters that a job uses, one function for a group of methods. A warning
/// goes out for each atom anew in each job; a refusal ends the job.

namespace qsolve {

/// Runs the checks of the job's method; none for extended Hueckel.
void ValidateParameters();

/// CNDO and INDO: parameters.pCindoParams.
void ValidateCindoParameters();

/// MINDO/3: setup.pNddo, in which an averaged integral of zero becomes 1e-10, and the bond pairs
/// of the rows that are there.
void ValidateMindo3Parameters();

/// MNDO, AM1, PM3 and MNDO/d: setup.pNddo.
void ValidateNddoParameters();

/// ZINDO/1 and ZINDO/S: setup.pZindo and setup.pGamma, in which a Coulomb parameter of zero becomes
/// 1e-10.
void ValidateZindoParameters();

/// Divides the coefficients of double-zeta d functions of selected transition metals by their norm
/// in setup.pZindo where the norm is off 1 by more than 1e-4. The warning about it goes out once
/// per element and process.
void NormaliseDoubleZeta();

}  // namespace qsolve
