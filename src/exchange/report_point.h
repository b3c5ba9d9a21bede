#pragma once

/// What the client gets at the report points of a job. Each function may unwind as SendPacket does.

namespace qsolve {

/// A point on the way: result block, coordinates, charges and, where the client asks for them, the
/// precise results.
void SendReportPoint();

/// The last point of a job, marked as such in the result block: the same, and the orbital data.
void SendTail();

}  // namespace qsolve
