#pragma once

#include <cstddef>
#include <type_traits>

#include "job/atoms.h"
#include "link/messages.h"
#include "setup/orbitals_of_row.h"

/// Checks of parameter tables as data: a table of fields, what is wrong with a value, and what is
/// said of it. Only the rows of atoms that the molecule has are looked at.

namespace qsolve {

/// What makes a value wrong.
enum class Fault { kNotPositive, kNotNegative, kPositive, kNegative, kZero };

/// Which atoms a parameter belongs to.
enum class Shell {
    kS,  ///< all
    kP,  ///< those beyond helium, and all capping atoms
    kD,  ///< those with nine orbitals
};

/// Atoms that a check looks at, in this order.
enum class Reach {
    kCalculated,     ///< selected and capping atoms
    kWithClassical,  ///< these and then the classical ones
};

/// No message: atoms of this kind are passed over.
constexpr MessageId kSilent = MessageId{0};

/// Where a parameter may not be zero, what it becomes after its warning.
constexpr double kInsteadOfZero = 1e-10;

/// One check. An error's number refuses the job, a warning's lets it go on.
template <class Row>
struct ParameterCheck {
    double Row::*pField;
    Fault nFault;
    Shell nShell;
    MessageId nMessage;         ///< selected and classical atoms
    MessageId nCappingMessage;  ///< capping atoms; may be kSilent
    const char* sName;          ///< last argument of the messages; null where they have none
    Reach nReach = Reach::kCalculated;
    double Row::*pUnlessZero = nullptr;  ///< the check is for rows in which this is not zero
};

/// Whether a value has the fault.
bool IsFaulty(Fault nFault, double dValue);

/// Sends a warning or refuses the job, by the message's number: atom number, atomic number as a
/// person knows it, sName unless it is null, and how the files of the method's table begin.
void Complain(MessageId nMessage, int nAtom, const AtomRecord& atom, const char* sName);

/// Whether an atom has the shell that a parameter belongs to.
bool HasShell(const AtomRecord& atom, Shell nShell);

/// Applies one check to one atom. In a table that may be written a value of zero is replaced, so
/// that the next atom of this row has nothing to complain of.
template <class Row>
void CheckAtom(const ParameterCheck<std::remove_const_t<Row>>& check, Row* pTable, int nAtom,
               const AtomRecord& atom) {
    const MessageId nMessage = IsCapping(atom) ? check.nCappingMessage : check.nMessage;
    if (nMessage == kSilent || !HasShell(atom, check.nShell)) return;
    Row& row = pTable[RowOf(atom)];
    if (check.pUnlessZero && row.*check.pUnlessZero == 0.0) return;
    if (!IsFaulty(check.nFault, row.*check.pField)) return;
    Complain(nMessage, nAtom, atom, check.sName);
    if constexpr (!std::is_const_v<Row>)
        if (check.nFault == Fault::kZero) row.*check.pField = kInsteadOfZero;
}

/// Applies the checks in their order, each to the selected, the capping and, where it reaches so
/// far, the classical atoms. pTable has kRows rows.
template <class Row, std::size_t nChecks>
void RunChecks(const ParameterCheck<std::remove_const_t<Row>> (&checks)[nChecks], Row* pTable) {
    for (const auto& check : checks) {
        const auto visit = [&](int nAtom, const AtomRecord& atom) {
            CheckAtom<Row>(check, pTable, nAtom, atom);
        };
        ForEachAtomOf(AtomGroup::kSelected, visit);
        ForEachAtomOf(AtomGroup::kCapping, visit);
        if (check.nReach == Reach::kWithClassical) ForEachAtomOf(AtomGroup::kClassical, visit);
    }
}

}  // namespace qsolve
