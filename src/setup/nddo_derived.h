#pragma once

namespace qsolve {

/// Derives what the NDDO methods 4, 5, 6 and 9 need of every row beyond the client's table: fills
/// setup.pNddo with completed rows, and sets setup.pExtended (kRows). Reads the untouched rows of
/// parameters.pNddoParams, so that any number of calls gives the same. What comes of a table is
/// kept in parameters.Derived, and taken from there while method and table are the same to the
/// byte.
///
/// A row with d parameters gets effective exponents from dGss, dGpp and dGdd, Slater-Condon
/// integrals of these, and charge separations and additive terms of its five multipoles; its own
/// values of them and of dGp2 are replaced. A row without d gets the same of its s and p from dGss
/// .. dHsp, and keeps what the client sent where that is not 0. W. Thiel, A. A. Voityuk, Theor.
/// Chim. Acta 81, 391 (1992); Int. J. Quantum Chem. 44, 807 (1992).
///
/// Returns false where a table is missing or a row has an additive term without a solution or a
/// value that is not finite; such values are 0 then, and all other rows are complete. Without
/// memory: Fatal with kMsgOutOfMemorySetUp.
bool DeriveNddoDParameters();

}  // namespace qsolve
