#include "setup/job_tables.h"

#include <algorithm>

#include "setup/state.h"

namespace qsolve {

namespace {

template <class T>
void CopyTable(const Array<T>& source, Array<T>* pCopy) {
    pCopy->Reset();
    if (!source) return;
    pCopy->TakeUnset(source.Size(), kSetUp);
    std::copy(source.begin(), source.end(), pCopy->begin());
}

}  // namespace

void CopyJobTables() {
    CopyTable(parameters.pNddoParams, &setup.pNddo);
    CopyTable(parameters.pMindoPairs, &setup.pMindoPairs);
    CopyTable(parameters.pZindoParams, &setup.pZindo);
    CopyTable(parameters.pZindosGamma, &setup.pGamma);
    setup.pExtended.Reset();
}

}  // namespace qsolve
