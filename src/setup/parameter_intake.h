#pragma once

#include "link/packets.h"
#include "setup/state.h"

namespace qsolve {

/// Demands the parameter tables of one method from the client and fills `parameters` with them:
/// word size, method, the block, and for MINDO/3 the bond pairs; for extended Hueckel nothing but
/// the first two. A number that is not finite becomes 0. A pair whose element codes are out of
/// range is reported on the error channel and left out.
///
/// Fatal for a method out of range (kMsgParameterMethod), a packet that is too short
/// (kMsgPacketShort), a count of pairs out of range (kMsgPairCount) and without memory
/// (kMsgOutOfMemorySetUp). `parameters` is written at the very end: whatever unwinds out of here
/// leaves it as it was. parameters.fLoaded is left to the caller.
void ReadParameters();

/// Bytes of a method's block; 0 where there is none.
int ParameterBlockBytes(int nMethod);

/// Takes and fills the tables of a method from its block of ParameterBlockBytes(nMethod) bytes. A
/// number that is not finite becomes 0; rows that the block has not are 0. Without memory: Fatal.
void DecodeParameterBlock(int nMethod, const unsigned char* pBytes, ParameterState* pTables);

/// Stores a pair in the table of kMindoPairs pairs. False, and nothing stored, where a code does
/// not round to an element, 1 .. 104 with either sign. A parameter that is not finite becomes 0.
bool StoreMindoPair(const MindoPairRecord& record, MindoPair* pTable);

}  // namespace qsolve
