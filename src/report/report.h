#pragma once

/// The face of the report room: turns the raw results of an SCF into report units and writes the
/// log. Nothing here is sent while the log is silent, except for the status lines.
///
/// The end of an SCF, in this order:
///
///     label the levels; ReportScfStage(..., 3, true), unrestricted also (..., 4, true)
///     the gradient, in raw units, with gradient.fComputed set, and the restraints
///     ComputeAtomCharges   (properties)  populations and net charges
///     ReportEnergies                     units, result block, the report down to the atoms
///     ComputeDipole        (properties)  dipole, its fields of the block and its lines

namespace qsolve {

/// Turns the results of an SCF into kcal/mol and eV and reports them. dEnergy is the electronic and
/// dCoreEnergy the core energy in the unit of the method. Once for each SCF: it scales in place
/// scf.dStateCorrection and scf.dNextStateCorrection, results.Orbitals.vOrbitalEnergy (hartree to
/// eV, for the methods that work in hartree) and, if gradient.fComputed, gradient.pGradient, whose
/// capping rows it zeroes. Adds the restraints to the total energy. Sets the energies of `scf`,
/// gradient.dGradientSquared and .dRmsGradient (0 where there is no gradient) and the energies of
/// the result block.
///
/// With setup.fFinalReport the log gets the energies, the point group, the levels, the populations
/// and the atoms; in a single point the status line gets the summary. A configuration interaction
/// is told by scf.nCiKind.
void ReportEnergies(double dEnergy, double dCoreEnergy);

/// Lists the selected atoms, with the capping ones, in the order of the selection: atom number,
/// atomic number (negative for a capping atom), net charge, coordinates in Angstrom and mass.
void ReportAtoms();

/// Writes what options.nLogLevel asks to see of one stage of the SCF: 0 core Hamiltonian, 1 alpha
/// Fock matrix, 2 beta Fock matrix, 3 alpha density and vectors, 4 beta density and vectors.
/// fFinal is set after the last cycle. The level is no lower limit: each level chooses its own.
///
/// Matrices are N x N with N = scf.nOrbitals, those of vectors one orbital a row with the energies
/// in vEnergy, in the unit of the method; only those of the stage are read, the others may be null.
/// mDensity of a restricted calculation is the total density. mFock is to be passed before the
/// diagonaliser destroys it.
void ReportScfStage(const double* mCore, const double* mFock, const double* vEnergy,
                    const double* mDensity, const double* mVectors, int nStage, bool fFinal);

/// The status line of a cycle: nIteration from 1, dDifference the energy change in kcal/mol. The
/// text depends on the kind of job, whose own progress it takes from the result block. The searches
/// write it only in every nReportPeriod-th of their cycles, or once they have converged.
void ReportScfProgress(int nIteration, double dDifference);

/// Writes a matrix (nRows x nColumns, row-major, both over orbitals) to the log in blocks of six
/// columns, labelled by orbital, element and atom number. nKind gives the title: 0 core
/// Hamiltonian, 1 Fock matrix (alpha), 2 beta Fock matrix, 3 density (alpha), 4 beta density.
void PrintMatrix(const double* mMatrix, int nRows, int nColumns, int nKind);

/// Writes orbitals to the log in blocks of six, one orbital a column: number, symmetry where it is
/// known, energy, and the coefficients over nRows atomic orbitals. mVectors is nColumns x nRows,
/// one orbital a row; vEnergy has nColumns entries. nKind gives the title: 1 (alpha) orbitals,
/// 2 beta orbitals or, in a restricted calculation, the natural orbitals of its CI.
void PrintEigenvectors(const double* vEnergy, const double* mVectors, int nRows, int nColumns,
                       int nKind);

}  // namespace qsolve
