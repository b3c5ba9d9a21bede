#pragma once

#include <cstddef>

#include "link/memory.h"
#include "search/ef_step.h"

/// What the searches with a Hessian share: the quadratic model of the energy about the place at
/// hand, over n = 3 nSelected coordinates in the working unit.

namespace qsolve {

/// The model of one cycle, and the step that was made in it.
struct Surface {
    int n = 0;
    int nExternal = 0;             ///< translations and rotations, the last of the modes
    Array<double> mHessian;        ///< n x n, kcal/mol per square of the working unit
    Array<double> mVectors;        ///< n x n, one mode a row
    Array<double> vValues;         ///< n
    Array<double> vEigenGradient;  ///< n, 0 where a mode takes no part
    Array<double> vGradient;       ///< n, at the place of the cycle
    Array<double> vStep;           ///< n, the last one
    double dEnergy = 0.0;
    double dNorm = 0.0;    ///< of vGradient
    double dTrust = 0.0;   ///< with which the step was made
    double dLength = 0.0;  ///< of the step
    int nNegative = 0;     ///< eigenvalues below 0
    int nNegativeBefore = -1;

    /// Takes the arrays. Fatal with kMsgOutOfMemory.
    void Take(int nCoordinates);
    void CopyFrom(const Surface& other);
};

/// Scratch of the functions below.
struct SurfaceWork {
    Array<double> mCopy, vPlaces, vOnes, vWork, vModeStep;
    void Take(int n);
};

/// The first SCF of a search. Fatal with kMsgNotAvailable where it has no gradient.
void RunScfForGradient();

/// Places of the selected atoms, x y z by position.
void GatherPlaces(double* vXyz);

/// Translations and rotations of the selected atoms where they are.
int CountExternalModesNow(SurfaceWork& work);

/// Computes the Hessian by differences and keeps it as that of this job. One more SCF brings back
/// energy and gradient of the place.
void ComputeSearchHessian();

/// Whether the kept Hessian is one of a search, complete, and of this molecule.
bool HasSearchHessian();

/// Whether the client has told the Hessian with which a search begins.
bool HasGivenHessian();

/// That Hessian, its two triangles averaged, becomes that of the surface; capping atoms get zeros.
/// Fatal with kMsgSectionSize where it belongs to another number of atoms.
void TakeGivenHessian(Surface& surface);

/// The kept Hessian becomes that of the surface; capping atoms, which it lacks, get zeros.
void TakeKeptHessian(Surface& surface);

/// Energy, gradient and its norm as the last SCF left them.
void NoteGradient(Surface& surface);

/// Modes of the Hessian, which stays; sets nExternal.
void FindModes(Surface& surface, SurfaceWork& work);

/// Sets eigenvalues below 1e-6 in size to 0 among the first nModes, and counts those below 0.
void ZeroAndCount(int nModes, Surface& surface);

/// The gradient in the modes: 0 beyond nModes and where the eigenvalue has been zeroed.
void FillEigenGradient(int nModes, Surface& surface);

/// vStep: the step of its components in the modes. False where a component is no number, as with a
/// Hessian that has lost all sense.
bool FormStep(int nModes, const double* vModeStep, Surface& surface);

/// Whether energy and gradient of the last SCF are numbers.
bool IsOnTheMap();

}  // namespace qsolve
