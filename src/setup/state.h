#pragma once

#include "link/memory.h"
#include "setup/parameters.h"

namespace qsolve {

/// What was last derived from a table, and from which. It saves the work where the same table is
/// asked for again, which is the rule: a process reads its tables once.
struct DerivedRows {
    int nMethod = 0;                ///< 0: nothing is kept
    bool fComplete = false;         ///< as DeriveNddoDParameters returned it
    Array<NddoRow> pTable;          ///< kRows, as the client sent them
    Array<NddoRow> pNddo;           ///< kRows, completed
    Array<NddoExtended> pExtended;  ///< kRows
};

/// The parameter tables as the client sent them, read once and never written again: what validation
/// corrects or derives stands in SetupState.
struct ParameterState {
    bool fLoaded = false;
    int nParameterMethod = 0;       ///< Method whose tables are here
    bool fForeignWordSize = false;  ///< the client announced another word than 4; recorded only

    Array<CindoRow> pCindoParams;        ///< kRows; methods 1, 2
    Array<NddoRow> pNddoParams;          ///< kRows; methods 3, 4, 5, 6, 9
    Array<GaussianRow> pGaussianParams;  ///< kRows; methods 5, 6
    Array<MindoPair> pMindoPairs;        ///< kMindoPairs; method 3
    Array<ZindoRow> pZindoParams;        ///< kRows; methods 7, 8
    Array<GammaRow> pZindosGamma;        ///< kRows; method 8

    DerivedRows Derived;  ///< from pNddoParams, when they are first needed

    bool fNormalisationWarned[kRows] = {};  ///< 20502 has been said for this row
};
inline ParameterState parameters;

/// Levels and orbital ranges of a calculation, over the selected atoms by position.
struct OrbitalMap {
    Array<int> pFirstOrbital;   ///< from 1
    Array<int> pLastSpOrbital;  ///< last s or p orbital
    Array<int> pLastOrbital;    ///< first - 1 for an atom without orbitals
    int nAtomsWithP = 0;
    int nAtomsWithD = 0;
    int nOccA = 0;          ///< occupied levels of alpha spin; restricted: all occupied ones
    int nClosedLevels = 0;  ///< doubly occupied levels
    int nOccB = 0;
    Array<double> pOrbitalU;      ///< by orbital, Nddo: one-centre energy, eV
    Array<double> pGuessDensity;  ///< by orbital, Nddo: diagonal of the first density
    double dFractionA = 0.0;      ///< share of alpha electrons in the first density
    double dFractionB = 0.0;
    double dSpinBias = 1.0;
    double dOpenOccupancy = 1.0;  ///< electrons in a partly filled level
};

/// What set-up derives from tables, options and molecule. Lives for one calculation.
struct SetupState {
    // Tables of this job: the client's values, corrected and completed.
    Array<NddoRow> pNddo;                     ///< kRows
    const NddoExtended* pExtended = nullptr;  ///< kRows, of parameters.Derived
    Array<MindoPair> pMindoPairs;             ///< kMindoPairs
    Array<ZindoRow> pZindo;                   ///< kRows
    Array<GammaRow> pGamma;                   ///< kRows
    Array<double> vSpHybrid;                  ///< kRows: dipole of an s-p pair, Debye per electron
    Array<double> vPdHybrid;                  ///< kRows

    int nElectrons = 0;    ///< valence electrons of the calculated part
    int nOrbitals = 0;     ///< N
    int nEvenColumns = 0;  ///< N rounded up to even
    int nDoublyOcc = 0;    ///< RHF: doubly occupied levels
    int nOccupied = 0;     ///< RHF: doubly and partly occupied levels
    int nElectronsA = 0;   ///< UHF
    int nElectronsB = 0;
    bool fCiActive = false;
    long long nCiConfigurations = 0;
    double dAtomicEnergy = 0.0;    ///< isolated atoms, kcal/mol
    double dHeatCorrection = 0.0;  ///< heats of the atoms less dAtomicEnergy, kcal/mol
    bool fFinalReport = false;     ///< each SCF writes the full report: kinds 0 and 4
    OrbitalMap Map;

    // By orbital, length N.
    Array<double> vZeta1;           ///< Slater exponent; first term of a double-zeta d
    Array<double> vZeta2;           ///< second term, else 0
    Array<double> vCoef1;           ///< coefficient of the first term, else 1
    Array<double> vCoef2;           ///< of the second, else 0
    Array<double> vOrbitalEnergy0;  ///< one-centre energy, eV; Nddo: 0
    Array<int> vOrbitalAtom;        ///< atom number from 1
    Array<int> vOrbitalType;        ///< 1 s, 2 to 4 p, 5 to 9 d
    Array<int> vOrbitalShell;       ///< principal quantum number
};
inline SetupState setup;

}  // namespace qsolve
