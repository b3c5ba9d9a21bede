#pragma once

/// The face of the intake: what the client sends of a job, in the order of a session. Each function
/// pulls its packets, checks every word of them where it arrives, and only then stores: nothing
/// behind the intake meets an index, a flag or a number that it has to doubt. One that unwinds
/// leaves the options of before, or of the molecule what was complete: no array is shorter than its
/// count.
///
/// A packet shorter than its step needs is refused with kMsgPacketShort, one that is longer is cut.
/// Any pull may unwind with LinkStop.

namespace qsolve {

/// Pulls the debug word, 4 bytes, into fDebugTrace as 0 or 1.
void ReadDebugWord();

/// Pulls RunOptions, 184 bytes, into options, and sets link.fLogReports from nLogLevel.
///
/// Flags become 0 or 1, the plot grid bohr, numbers that are not finite 0; only flCiMaxExcitation
/// becomes -1, which validation refuses where it is used. A spin treatment or kind of CI that is
/// not known is refused with kMsgOptionUnknown, a convergence limit that is not finite with
/// kMsgSettingNotANumber. A multiplicity of 0 becomes 1, and nLevelShiftStart is lowered by one.
void ReadRunOptions();

/// Pulls JobOptions, 152 bytes, into job, and sets system.dHalfBoxX, Y and Z, Angstrom, and
/// link.fShowWarnings.
///
/// Flags become 0 or 1, numbers that are not finite and times below 0 become 0. An RMS gradient
/// limit that is not finite is refused with kMsgSettingNotANumber.
void ReadJobOptions();

/// Pulls the sections of further options into `further`, where options.nExtensions announces them:
/// a SectionsHead, then its bytes in pieces of kMaxPayload. Without them `further` is as new.
/// Memory grows with the bytes that come. Sections of a kind that is not known are passed over; of
/// two of a kind the later holds.
///
/// Refused: another version, more than 2^29 bytes or a section that does not lie within them
/// (kMsgFurtherOptions), a section of a wrong size (kMsgSectionSize), a coordinate that is not
/// finite or 1e6 and more (kMsgAtomNotANumber).
void ReadFurtherOptions();

/// Frees what the three functions below fill, and sets its counts to 0: atoms, selection,
/// restraints and the geometries of a synchronous transit.
void ForgetMolecule() noexcept;

/// Pulls the atom count and the atoms, in chunks of kAtomsPerChunk, and finds the capping atoms:
/// the atoms that are not selected and are bonded to the selection an odd number of times. Sets
/// pAtoms, nAtoms, nSelected (without capping atoms), nCapping, nAtomsActive and dClassicalCharge
/// of system. Without a selected atom all are taken as selected, with charge 0. Forgets the
/// molecule before. Coordinates of `further` take the place of those of the records.
///
/// Memory grows with the atoms that come, not with the count that is announced. Refused: a count
/// below 1 (kMsgAtomCount) or above 2^24 (kMsgOutOfMemorySetUp), an element above kHighestElement
/// (kMsgElementTooHigh), a coordinate or charge that is not finite or 1e6 and more
/// (kMsgAtomNotANumber), further coordinates of another number of atoms (kMsgSectionSize). Entries
/// of a bond table that name no other atom of the molecule are left out, and the first atom that
/// has one is reported once with kMsgBondTable.
void ReadAtoms();

/// Pulls the four counts of restraints and the lists that are not empty, in pieces of kMaxPayload
/// bytes, into system.nRestraints and pRestraints, in the units of the wire. Follows ReadAtoms.
///
/// Refused: a negative count or more than 2^31 bytes in all (kMsgOutOfMemoryRestraints), and, as
/// far as the kind of a record uses them, an atom that is not there (kMsgRestraintAtom), one that
/// is there twice (kMsgSamePosition), a number that is not finite (kMsgSettingNotANumber).
void ReadRestraints();

/// Pulls the selection and, for a synchronous transit, the two geometries; ends the intake that
/// ReadAtoms began. Sets MethodId, Layout, nSelectedAtoms, nAtomToSelected, dReactantXyz and
/// dProductXyz of system, adds the capping atoms to the list, to nSelected and to the words of
/// Layout.
///
/// Refused: a method whose tables are not loaded (kMsgMethodNotLoaded; CNDO and INDO share theirs),
/// a list that is not exactly the selected atoms (kMsgSelectionEntry), a coordinate that is not
/// finite or 1e6 and more (kMsgAtomNotANumber).
void ReadSelection();

/// Pulls x y z of the velocities of every atom of the molecule, Angstrom/ps, 1365 atoms a packet,
/// and keeps those of the selection list: pVelocity has three by position. What comes for other
/// atoms is not looked at. Refused: a number that is not finite or 1e6 and more
/// (kMsgVelocityNotANumber).
void ReceiveVelocities(double* pVelocity);

}  // namespace qsolve
