#include "exchange/report_point.h"

#include "exchange/results.h"
#include "job/state.h"

namespace qsolve {

namespace {

void SendGeometry() {
    SendResultBlock();
    SendCoordinates();
    SendCharges();
}

}  // namespace

void SendReportPoint() {
    SendGeometry();
    SendPreciseResults();
}

void SendTail() {
    results.Block.fFinalResult = 1;
    SendGeometry();
    SendOrbitalData();
    SendPreciseResults();
}

}  // namespace qsolve
