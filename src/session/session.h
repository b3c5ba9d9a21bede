#pragma once

#include "link/transport.h"

/// The top floor: process, session, job, and what is kept between them.

namespace qsolve {

/// Runs the process until its client is gone or it is told to end. sCommandLine is what followed
/// the program's name: options (session/program_options.h) and the words of a frontend. Returns the
/// exit status: 2 when an option is wrong, 1 when the link cannot be opened, otherwise that of the
/// platform, 0 unless the system's message to quit says another.
int BackendMain(const char* sCommandLine);

/// Handles a message that the process has posted to itself: runs a session, or closes. A session
/// that is asked for while one runs follows it. LinkStop passes.
void HandleProcessMessage(Message message);

/// One request of the client, from its options to its last result. A failure in the intake, a plot
/// or the eigenvectors frees the session's arrays and ends the session. LinkStop passes.
void RunSession();

/// Runs one job. A failure ends the job and not the session: its text has gone out, and the arrays
/// stay for inspection until the next calculation. LinkStop passes.
void RunJob();

/// Readies everything for a calculation on the molecule and the options of this session: derives
/// the parameters of the method, validates the job, takes every array of the electronic structure,
/// fills the orbital arrays and the occupations. What an earlier calculation left is freed first. A
/// job that cannot be computed is refused by Fatal; the settings and the electron count go to the
/// log.
void SetUpCalculation();

/// Frees what the last calculation left, as far as the coming one cannot use it. The first call of
/// a process frees nothing. Reads the new options, and of the old ones what `session` remembers.
void FreeSessionArrays() noexcept;

/// Frees every array of a calculation; the parameter tables stay.
void ClearSessionPointers() noexcept;

/// Says on the error channel what has been caught, unless its text has gone out; only inside a
/// catch block. LinkStop passes on; so does nothing else.
void ReportFailure();

}  // namespace qsolve
