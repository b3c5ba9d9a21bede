#pragma once

namespace qsolve {

/// Copies the client's tables that a job may correct or complete (NddoRow, ZindoRow, GammaRow,
/// MindoPair) from `parameters` into `setup`, the NddoRow of methods 4, 5, 6 and 9 as
/// DeriveNddoDParameters completes them, and frees those that the loaded method does not have. A
/// job thereby begins with what the client sent, whatever an earlier one did. Returns false where
/// DeriveNddoDParameters does. Without memory: Fatal with kMsgOutOfMemorySetUp.
bool CopyJobTables();

}  // namespace qsolve
