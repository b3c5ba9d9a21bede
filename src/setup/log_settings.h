#pragma once

namespace qsolve {

/// Writes the settings of the job to the log: convergence, overlap weights, and what the kind of
/// calculation needs. The values are those of the client, before validation changes any.
void LogSettings();

}  // namespace qsolve
