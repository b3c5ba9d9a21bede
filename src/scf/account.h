#pragma once

#include "scf/run.h"

/// The account of the SCFs of a job: how each ended, so that whoever works from many of them can
/// tell what they are worth.

namespace qsolve {

/// Enters an SCF that has ended into scf.Account.
void CountScf(const ScfRun& run);

/// Starts the counts "since the last block" of scf.Account anew; those of the job go on.
void StartScfCount();

}  // namespace qsolve
