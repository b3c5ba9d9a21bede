#pragma once

#include <vector>

#include "link/packets.h"

/// A whole job as a client describes it, and the session that asks for it.

namespace qsolve {

/// A molecule with its options; every field may be changed before it is played.
struct JobScript {
    int nMethod = 5;
    RunOptions Options;
    JobOptions Job;
    std::vector<AtomRecord> Atoms;
    std::vector<RestraintRecord> Restraints[4];  ///< by kind; sent when Job.fRestraints is set
    std::vector<unsigned char> Further;  ///< sections; sent when Options.nExtensions announces them

    /// Appends an atom: element, Angstrom, selected or not.
    AtomRecord& Add(int nAtomicNumber, float flX, float flY, float flZ, int nState = kSelected);
    /// Appends a section of further options.
    void AddSection(int nKind, const std::vector<double>& values);
    /// Bonds two atoms, indices from 0.
    void Bond(int i, int j);
};

/// An AM1 single point of water, in its experimental geometry, with good options.
JobScript Water(int nMethod = 5);

/// Puts a session's packets into the scripted client; with the parameters when it is the first of
/// a process.
void PokeSession(const JobScript& script);

/// Plays one session to its end in this process.
void PlaySession(const JobScript& script);

}  // namespace qsolve
