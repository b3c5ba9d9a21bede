#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "exchange/intake.h"
#include "link/link.h"
#include "link/memory.h"
#include "link/messages.h"
#include "link/packets.h"
#include "link/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

/// What the tests of the intake share: a client that has its packets ready, and small molecules.

namespace qsolve {

/// Runs what pulls packets and returns the number of the message that it failed with, 0 for none
/// and -1 for the end of the conversation.
template <class Step>
int FailureOf(Step step) {
    try {
        step();
        return 0;
    } catch (const Unwinding& unwinding) {
        return unwinding.nId;
    } catch (const LinkStop&) {
        return -1;
    }
}

/// Words that no client means, as the 32 bits of a packet.
inline std::vector<int> HostileWords() {
    std::vector<int> words = {0, 1, -1, INT_MIN, INT_MAX};
    const float inf = std::numeric_limits<float>::infinity();
    for (float fl : {std::numeric_limits<float>::quiet_NaN(), inf, -inf, 1e38F}) {
        int nWord;
        std::memcpy(&nWord, &fl, sizeof nWord);
        words.push_back(nWord);
    }
    return words;
}

/// The block with one of its words replaced.
template <class Block>
Block WithWord(Block block, std::size_t nWord, int nValue) {
    std::memcpy(reinterpret_cast<unsigned char*>(&block) + 4 * nWord, &nValue, sizeof nValue);
    return block;
}

/// Carbon at a place of its own.
inline AtomRecord Atom(int nAtomicNumber, int nState, float flX, float flCharge = 0.0F) {
    AtomRecord atom;
    atom.nAtomicNumber = nAtomicNumber;
    atom.nState = nState;
    atom.flX = flX;
    atom.flCharge = flCharge;
    atom.flMass = 12.0F;
    return atom;
}

/// Bonds atoms i and j of a molecule.
inline void Bond(std::vector<AtomRecord>& atoms, int i, int j) {
    AtomRecord& a = atoms[static_cast<std::size_t>(i)];
    AtomRecord& b = atoms[static_cast<std::size_t>(j)];
    a.nBonded[a.nBonds++] = j;
    b.nBonded[b.nBonds++] = i;
}

/// A chain of carbons, each bonded to the next. States are as on the wire, one an atom.
inline std::vector<AtomRecord> Chain(const std::vector<int>& states) {
    std::vector<AtomRecord> atoms;
    for (std::size_t i = 0; i < states.size(); ++i)
        atoms.push_back(Atom(6, states[i], 1.5F * static_cast<float>(i), 0.25F));
    for (std::size_t i = 1; i < states.size(); ++i)
        Bond(atoms, static_cast<int>(i) - 1, static_cast<int>(i));
    return atoms;
}

class IntakeTest : public FreshState {
  protected:
    IntakeTest() {
        NewScriptedClient();
        parameters.fLoaded = true;
        parameters.nParameterMethod = kAm1;
    }

    /// Puts one packet behind those that the client has ready.
    static void Ready(const void* pBytes, std::size_t nBytes) { client.Poke(pBytes, nBytes); }
    template <class Block>
    static void Ready(const Block& block) {
        Ready(&block, sizeof block);
    }
    /// A molecule as its count and its chunks.
    static void Ready(const std::vector<AtomRecord>& atoms) {
        Ready(static_cast<int>(atoms.size()));
        for (std::size_t i = 0; i < atoms.size(); i += kAtomsPerChunk)
            Ready(&atoms[i],
                  sizeof(AtomRecord) * std::min<std::size_t>(kAtomsPerChunk, atoms.size() - i));
    }
    /// A selection block and its list in one packet.
    static void Ready(const SelectionBlock& block, const std::vector<int>& list) {
        std::string bytes(reinterpret_cast<const char*>(&block), sizeof block);
        bytes.append(reinterpret_cast<const char*>(list.data()), sizeof(int) * list.size());
        Ready(bytes.data(), bytes.size());
    }

    /// Takes in a molecule that is as it should be.
    static void Take(const std::vector<AtomRecord>& atoms) {
        Ready(atoms);
        ASSERT_EQ(FailureOf(ReadAtoms), 0);
    }

    static std::vector<std::string> Errors() { return client.Errors(); }
    /// Packets that have not been pulled.
    static std::size_t Left() { return client.Script.size(); }
};

}  // namespace qsolve
