#pragma once

namespace qsolve {

/// Normal modes, infrared intensities and symmetry of the modes at system.pCoords, from second
/// derivatives by differences; with options.fComputeForceMatrix clear from those of an earlier job,
/// for instance with other masses. Fills `vibrations` and results.Modes, and reports.
///
/// To be called after an SCF at the geometry, or in a job on a kept matrix without one. Without a
/// matrix that belongs to the molecule: Fatal with kMsgForceMatrixMissing; with one of another size
/// a warning, and results.Modes stays empty. Fatal with kMsgOutOfMemory where there is no memory.
void RunVibrations();

}  // namespace qsolve
