#include "link/link.h"
#include "session/job_arrays.h"
#include "session/session.h"
#include "session/state.h"
#include "setup/hybrid_factors.h"
#include "setup/job_tables.h"
#include "setup/orbital_basis.h"
#include "setup/setup.h"
#include "setup/state.h"

namespace qsolve {

void SetUpCalculation() {
    FreeCalculation();
    if (!CopyJobTables()) Warn(kMsgNddoParameters);
    PrepareHybridFactors();

    TakeOrbitalMap();
    ValidateJob();
    SetOrbitalBlocks();
    TakeJobArrays();
    BuildOrbitalArrays();
    SetOccupations();
    session.nPrevOrbitals = setup.nOrbitals;
}

}  // namespace qsolve
