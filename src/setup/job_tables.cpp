#include "setup/job_tables.h"

#include <algorithm>

#include "job/methods.h"
#include "job/state.h"
#include "setup/nddo_derived.h"
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

bool CopyJobTables() {
    CopyTable(parameters.pMindoPairs, &setup.pMindoPairs);
    CopyTable(parameters.pZindoParams, &setup.pZindo);
    CopyTable(parameters.pZindosGamma, &setup.pGamma);
    if (FamilyOf(system.MethodId) == Family::kNddo && system.MethodId != kMindo3)
        return DeriveNddoDParameters();
    setup.pExtended = nullptr;
    CopyTable(parameters.pNddoParams, &setup.pNddo);
    return true;
}

}  // namespace qsolve
