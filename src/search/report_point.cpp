#include <cstdlib>

#include "exchange/results.h"
#include "job/state.h"
#include "search/search.h"

namespace qsolve {

bool IsReportPoint(std::int64_t nCycle) {
    const std::int64_t nPeriod = std::abs(std::int64_t{job.nReportPeriod});
    return nPeriod != 0 && nCycle % nPeriod == 0;
}

void SendReportPoint() {
    SendResultBlock();
    SendCoordinates();
    SendCharges();
    SendPreciseResults();
}

}  // namespace qsolve
