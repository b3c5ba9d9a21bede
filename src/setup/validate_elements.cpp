#include "setup/validate_elements.h"

#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"

namespace qsolve {

namespace {

/// What elements one method can have.
struct ElementLimit {
    int nHighest;         ///< highest atomic number
    int nHighestCapping;  ///< highest that can be a capping atom: above it the rows have no
                          ///< orbitals
    bool fNoTransition;   ///< transition metals of the first two rows are refused
    bool fNoInner;        ///< lanthanides and actinides are reported
};

// clang-format off
constexpr ElementLimit kElementLimit[] = {  // by Method
    // highest  capping  transition  inner
    {     0,       0,    false,      false},  // extended Hueckel: none of these tests
    {    54,      54,    true,       false},  // Cndo
    {    54,      54,    true,       false},  // Indo
    {   105,      88,    true,       false},  // Mindo3
    {   105,      88,    false,      true },  // Mndo
    {   105,      88,    false,      true },  // Am1
    {   105,      88,    false,      true },  // Pm3
    {    54,      54,    false,      false},  // Zindo1
    {    54,      54,    false,      false},  // ZindoS
    {   105,      88,    false,      true },  // MndoD
};
// clang-format on

constexpr bool Within(int n, int nFirst, int nLast) {
    return n >= nFirst && n <= nLast;
}

void CheckElement(const ElementLimit& limit, int nAtom, const AtomRecord& atom) {
    const int nElement = ElementOf(atom);
    const int nHighest = IsCapping(atom) ? limit.nHighestCapping : limit.nHighest;
    if (nElement > nHighest) Fatal(kMsgElementTooHigh, nElement, nHighest);
    if (limit.fNoTransition && (Within(nElement, 21, 29) || Within(nElement, 39, 47)))
        Fatal(kMsgTransitionMetal, nAtom);
    if (limit.fNoInner && Within(nElement, 58, 71)) ErrorFormat(kMsgLanthanide, nAtom);
    if (limit.fNoInner && Within(nElement, 90, 103)) ErrorFormat(kMsgActinide, nAtom);
}

}  // namespace

void CheckRealAtoms() {
    for (int i = 0; i < system.nSelected; ++i) {
        const AtomRecord& atom = AtomByNumber(AtomNumberAt(i));
        if (!IsDummy(atom) && !IsCapping(atom)) return;
    }
    if (system.nAtoms == system.nSelected) Fatal(kMsgNoRealAtom);
    Fatal(kMsgNoRealAtomSelected);
}

void CheckElements() {
    if (FamilyOf(system.MethodId) == Family::kNone) return;
    const ElementLimit& limit = kElementLimit[system.MethodId];
    for (const AtomGroup nGroup :
         {AtomGroup::kClassical, AtomGroup::kSelected, AtomGroup::kCapping})
        ForEachAtomOf(nGroup,
                      [&](int nAtom, const AtomRecord& atom) { CheckElement(limit, nAtom, atom); });
}

}  // namespace qsolve
