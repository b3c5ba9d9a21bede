#pragma once

namespace qsolve {

/// Energy and forces of all restraints of the job, of which there may be none, at the geometry in
/// system.pCoords, as the wire would carry it. Sets gradient.dRestraintEnergy, kcal/mol by kind,
/// and, if gradient.fComputed, adds to gradient.pGradient, which is in the raw unit of the method.
///
/// A restraint without an atom in the selection has neither energy nor force. One that reaches out
/// of it acts on the atoms inside. Its energy is shared out by how many of its atoms are calculated
/// here or do not move; in one process that is all of them. Fatal with kMsgSamePosition where atoms
/// that make a distance or an angle are in one place.
void ApplyRestraints();

}  // namespace qsolve
