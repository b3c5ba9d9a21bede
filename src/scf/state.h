#pragma once

#include "link/memory.h"

namespace qsolve {

/// What an electronic-structure calculation leaves behind. N is the number of orbitals; matrices
/// are full, row-major, N x N; orbital k is row k of a vector matrix. Energies are in the unit of
/// the method family, hartree or eV. Arrays are taken at set-up and freed by the retention rules.
struct ScfState {
    // Remembered with the arrays, since the options may be of a later session.
    int nOrbitals = 0;       ///< N of these arrays
    int nSpinTreatment = 0;  ///< 0 RHF, 1 UHF
    int nCiKind = 0;
    bool fDiis = false;
    bool fResultsValid = false;  ///< an SCF has finished on these arrays

    int nScfRuns = -1;  ///< -1 after validation, one more with every RunScf

    Array<double> mCore;   ///< core Hamiltonian; holds the overlap until it is built
    Array<double> mFockA;  ///< nEvenColumns x N
    Array<double> mFockB;
    Array<double> mVectorsA;  ///< nEvenColumns x N: alpha orbitals, one a row
    Array<double> mVectorsB;
    Array<double> vEnergyA;  ///< N: of the last full diagonalisation, ascending
    Array<double> vEnergyB;
    Array<double> vLevelA;  ///< N: working copy that the level shift edits
    Array<double> vLevelB;
    Array<double> mDensityT;  ///< total density
    Array<double> mDensityA;  ///< alpha density; half the total in a restricted calculation
    Array<double> mDensityB;
    Array<double> mDensityPrevA;  ///< density of the previous cycle
    Array<double> mDensityPrevB;
    Array<double> vDiagOlderA;  ///< N: diagonal of the density two cycles back
    Array<double> vDiagOlderB;
    Array<double> mDiisErrorA;  ///< 5 x N x N
    Array<double> mDiisErrorB;
    Array<double> mDiisFockA;
    Array<double> mDiisFockB;
    Array<double> mSquareWork;      ///< nEvenColumns x N
    Array<double> vOrbitalScratch;  ///< N
    Array<double> vDiagWork;        ///< N
    Array<double> vEigenWork;       ///< 5 x N: work vectors of the diagonaliser
    Array<double> pWork;            ///< scratch of the Fock builders and the pseudo-diagonaliser

    // Results of the last SCF.
    double dTotalEnergy = 0.0;      ///< kcal/mol, electronic and core, with the state correction
    double dElectronic = 0.0;       ///< kcal/mol
    double dCoreRepulsion = 0.0;    ///< kcal/mol
    double dBinding = 0.0;          ///< kcal/mol
    double dHeatOfFormation = 0.0;  ///< kcal/mol
    double dStateCorrection = 0.0;  ///< half-electron or CI part of dTotalEnergy, kcal/mol
    double dNextStateCorrection = 0.0;
    double dChargeOrigin[3] = {};  ///< reference of the dipole of an ion, working unit
};
inline ScfState scf;

}  // namespace qsolve
