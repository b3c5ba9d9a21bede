#include <algorithm>
#include <cstddef>

#include "exchange/intake.h"
#include "exchange/intake_checks.h"
#include "job/state.h"

namespace qsolve {

namespace {

constexpr int kAtomsPerPull = 1365;

}  // namespace

void ReceiveVelocities(double* pVelocity) {
    Array<float> vBatch;
    vBatch.Take(static_cast<std::size_t>(std::min(system.nAtoms, kAtomsPerPull)), 3, kWork);
    for (int nFirst = 0; nFirst < system.nAtoms; nFirst += kAtomsPerPull) {
        const int n = std::min(system.nAtoms - nFirst, kAtomsPerPull);
        RequestWhole("velocities", vBatch.Data(), 3 * n * static_cast<int>(sizeof(float)));
        for (int i = 0; i < 3 * n; ++i) {
            const int nAtom = nFirst + i / 3;
            const int nPosition = system.nAtomToSelected[nAtom];
            if (nPosition < 1 || nPosition > system.nSelected) continue;
            if (!IsCoordinate(vBatch[i])) Fatal(kMsgVelocityNotANumber, nAtom + 1);
            pVelocity[3 * (nPosition - 1) + i % 3] = static_cast<double>(vBatch[i]);
        }
    }
}

}  // namespace qsolve
