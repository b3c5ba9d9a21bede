#pragma once

#include "link/memory.h"
#include "link/packets.h"

namespace qsolve {

/// What the client asked for in this session. The intake brings it into shape, as the fields say;
/// nothing behind it writes to it but validation, to flCiMaxExcitation.
inline RunOptions options;
inline JobOptions job;
inline int fDebugTrace = 0;  ///< the debug word

/// What a client may ask of a run beyond what every client gets.
struct MotionWishes {
    bool fLongNoise = false;       ///< Langevin: noise from a stream that does not come back
    bool fLand = false;            ///< heating always ends on its goal, and no target passes one
    bool fScaledNoise = false;     ///< Langevin: noise of places in bohr where places are
    bool fRestUnmoving = false;    ///< capping atoms and dummies have no velocity
    bool fStateReports = false;    ///< Monte Carlo: a report tells of the state and not of a trial
    bool fMovableOnly = false;     ///< Monte Carlo: nothing but free atoms is tried
    bool fDoubleEnergies = false;  ///< Monte Carlo: trials are judged in double precision
    bool fKnownEnergies = false;   ///< Monte Carlo: no SCF for an energy that is known
};

/// The same of a search with a Hessian.
struct SearchWishes {
    bool fCareful = false;     ///< judged by energy and shape, see search/search.h
    bool fEitherSign = false;  ///< transit: the mode along the tangent is found in either sign
};

/// What the client told beyond those, section by section; as new in each session. An array is empty
/// where nothing was told.
struct FurtherOptions {
    Array<double> pXyz;  ///< by atom, x y z, Angstrom: instead of those of the atom records
    MotionWishes Motion;
    SearchWishes Search;
    Array<double> mHessian;  ///< n x n, kcal/(mol Angstrom^2): where a search begins
    ScfWishes Scf;  ///< how the SCF is to be steered; all zero, by the options of old alone
};
inline FurtherOptions further;

/// The molecule of the calculation. "By atom" arrays follow the client's atom order, "by position"
/// arrays the selection list, in which capping atoms stand last.
struct SystemState {
    int nAtoms = 0;
    int nSelected = 0;              ///< selected and, once the selection is read, capping atoms
    int nCapping = 0;               ///< the last of the selection list
    int nAtomsActive = 0;           ///< atoms that are not classical
    int MethodId = 0;               ///< Method of this job
    double dClassicalCharge = 0.0;  ///< charge taken from selected and capping atoms, e
    double dHalfBoxX = 0.0, dHalfBoxY = 0.0, dHalfBoxZ = 0.0;  ///< Angstrom

    SelectionBlock Layout;       ///< words of the selection as adjusted; never used as bounds
    Array<AtomRecord> pAtoms;    ///< by atom; their places are those of the intake
    Array<int> nSelectedAtoms;   ///< by position: atom number from 1
    Array<int> nAtomToSelected;  ///< by atom: position from 1, -1 for a classical atom
    Array<double> pCoords;       ///< by atom, x y z, working unit: the geometry that is computed
    int nRestraints[4] = {};     ///< by RestraintKind of the list
    Array<RestraintRecord> pRestraints[4];
    Array<double> dReactantXyz;  ///< by atom, x y z, Angstrom; synchronous transit only
    Array<double> dProductXyz;
};
inline SystemState system;

/// Per-orbital results as the client receives them. nOrbitalValues is N, or 2N with alpha before
/// beta in an unrestricted calculation.
struct OrbitalResults {
    int nOrbitalValues = 0;
    Array<float> vOrbitalEnergy;    ///< eV, ascending
    Array<float> vOccupancy;        ///< electrons; -1 marks the beta half and a hole
    Array<int> vOrbitalOrder;       ///< row of each orbital in the vector matrix
    Array<float> vPopulation;       ///< atomic orbital populations, by position
    Array<char[4]> sSymmetryLabel;  ///< "  ?" until labels are known; length nOrbitalValues
    Array<int> vSymmetryIndex;      ///< running number within the species
    char sPointGroup[4] = {' ', ' ', '?', '\0'};  ///< until it is known
};

/// Normal modes as the client receives them: n coordinates of the selected atoms without the
/// capping ones, x y z by position, and as many modes. Empty where none have been computed. They
/// live as long as the force matrix, by its rules.
struct ModeResults {
    int nModes = 0;
    int nExternalModes = 0;      ///< translations and rotations, the last of the modes
    Array<ModeRecord> Records;   ///< n, by frequency
    Array<double> mModes;        ///< n x n: eigenvectors of the mass-weighted matrix, one a row
    Array<double> vFrequencies;  ///< n, 1/cm, as in the records
    Array<double> vIntensities;  ///< n, km/mol
    Array<double> mForces;       ///< n x n, kcal/(mol Angstrom^2); of a job that computes it
    Array<double> mDipoles;      ///< n x 3, Debye/Angstrom; the same
    int nPoints = 0;             ///< displaced points that these were made from
    int nUnconverged = 0;        ///< of them
    int nWorkers = 0;            ///< copies of the process that computed them; 0 none
    long long nCycles = 0;       ///< of their SCFs
};

/// A job that moves atoms by time, at its last step.
struct MotionResults {
    Array<double> vVelocity;  ///< by position, x y z, Angstrom/ps for every method
};

/// What came of the calculation, as the client receives it.
struct ResultState {
    ResultBlock Block;
    OrbitalResults Orbitals;
    ModeResults Modes;
    MotionResults Motion;
};
inline ResultState results;

}  // namespace qsolve
