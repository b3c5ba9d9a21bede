#include "job/precision.h"

namespace qsolve {

double AsOnWire(double d) {
    return static_cast<double>(static_cast<float>(d));
}

}  // namespace qsolve
