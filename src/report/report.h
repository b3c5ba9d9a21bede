#pragma once

/// The face of the report room: writes the log and the status line. It changes no result. Nothing
/// here is sent while the log is silent, except for the status lines.

namespace qsolve {

/// Reports the energies of the last SCF. With setup.fFinalReport the log gets the energies, the
/// point group, the levels, the populations and the atoms; in a single point the status line gets
/// the summary. A configuration interaction is told by scf.nCiKind.
void ReportEnergies();

/// Lists the selected atoms, with the capping ones, in the order of the selection: atom number,
/// atomic number (negative for a capping atom), net charge, coordinates in Angstrom and mass.
void ReportAtoms();

/// Writes the normal modes of results.Modes: frequencies, intensities, species where they are
/// known, derivatives of the dipole; vibrations first, then three translations and the rotations.
/// Above them the zero-point energy, kcal/mol; below them at log level 9 the eigenvectors.
void ReportModes(double dZeroPoint);

/// Writes the lower triangle of a table over nAtoms selected atoms, mdyn/Angstrom, in blocks of six
/// columns.
void ReportForceConstants(int nAtoms, const double* mTable);

/// What there is to dump of one stage of an SCF. Matrices are N x N with N = scf.nOrbitals, those
/// of vectors one orbital a row with the energies in vEnergy, in the unit of the method. Only what
/// belongs to the stage is read; the rest may be null.
struct ScfStage {
    int nStage = 0;       ///< 0 core Hamiltonian, 1 and 2 Fock matrix, 3 and 4 density and vectors
    bool fFinal = false;  ///< after the last cycle
    const double* mCore = nullptr;
    const double* mFock = nullptr;  ///< before the diagonaliser destroys it
    const double* vEnergy = nullptr;
    const double* mDensity = nullptr;  ///< of a restricted calculation the total density
    const double* mVectors = nullptr;
};

/// Writes what options.nLogLevel asks to see of a stage; stages 2 and 4 are those of beta
/// electrons. The level is no lower limit: each level chooses its own.
void ReportScfStage(const ScfStage& stage);

/// Whether ReportScfStage writes orbitals of cycles other than the last.
bool ReportsOrbitalsOfCycles();

/// At log level 9, the modes of a search's last Hessian: vValues, n, kcal/mol per square of the
/// working unit, the last nExternal of the whole; mVectors, n x n, one mode a row.
void ReportHessianModes(int n, int nExternal, const double* vValues, const double* mVectors);

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
