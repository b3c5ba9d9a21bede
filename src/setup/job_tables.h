#pragma once

namespace qsolve {

/// Copies the client's tables that a job may correct or complete (NddoRow, ZindoRow, GammaRow,
/// MindoPair) from `parameters` into `setup`, and frees those that the loaded method does not have.
/// A job thereby begins with what the client sent, whatever an earlier one did. Without memory:
/// Fatal with kMsgOutOfMemorySetUp.
void CopyJobTables();

}  // namespace qsolve
