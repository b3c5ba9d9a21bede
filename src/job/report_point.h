#pragma once

#include <cstdint>
#include <cstdlib>

#include "job/state.h"

namespace qsolve {

/// Whether the client gets a report point after a cycle or step: every nReportPeriod-th, by size,
/// and none for a period of 0.
inline bool IsReportPoint(std::int64_t nCycle) {
    const std::int64_t nPeriod = std::abs(std::int64_t{job.nReportPeriod});
    return nPeriod != 0 && nCycle % nPeriod == 0;
}

}  // namespace qsolve
