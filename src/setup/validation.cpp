#include <cmath>

#include "job/atoms.h"
#include "job/kinds.h"
#include "job/state.h"
#include "link/link.h"
#include "setup/atomic_energies.h"
#include "setup/log_settings.h"
#include "setup/orbital_basis.h"
#include "setup/setup.h"
#include "setup/state.h"
#include "setup/validate_ci.h"
#include "setup/validate_electrons.h"
#include "setup/validate_elements.h"
#include "setup/validate_parameters.h"

namespace qsolve {

namespace {

/// Two atoms closer than this stand in one place, Angstrom.
constexpr double kSuperposed = 0.001;

double Distance(const AtomRecord& a, const AtomRecord& b) {
    const double x = static_cast<double>(a.flX) - static_cast<double>(b.flX);
    const double y = static_cast<double>(a.flY) - static_cast<double>(b.flY);
    const double z = static_cast<double>(a.flZ) - static_cast<double>(b.flZ);
    return std::sqrt(x * x + y * y + z * z);
}

/// Reports pairs of calculated atoms in one place; the work goes on.
void ReportSuperposedAtoms() {
    for (int i = 0; i < system.nSelected; ++i) {
        const int nFirst = AtomNumberAt(i);
        if (IsDummy(AtomByNumber(nFirst))) continue;
        for (int j = i + 1; j < system.nSelected; ++j) {
            const int nSecond = AtomNumberAt(j);
            if (IsDummy(AtomByNumber(nSecond))) continue;
            const double dDistance = Distance(AtomByNumber(nFirst), AtomByNumber(nSecond));
            if (dDistance < kSuperposed)
                ErrorFormat(kMsgAtomsSuperpose, nFirst, nSecond, dDistance);
        }
        Yield(static_cast<std::size_t>(system.nSelected));
    }
}

/// Says on the status line, and by a gap in the log, that the calculation starts.
void AnnounceStart() {
    if (FamilyOf(system.MethodId) == Family::kNone) return;
    const bool fGap = link.fLogReports || further.Scf.nQuiet < kTellStart;
    if (fGap) LogLine("");
    StatusFormat(MessageId{kMsgStartCndo + system.MethodId - kCndo}, setup.nOrbitals);
    if (fGap) LogLine("");
}

void ClearResults() {
    setup.fFinalReport = ThisKind().fFullReport;
    results.Block = ResultBlock{};
}

}  // namespace

void ValidateJob() {
    ReportSuperposedAtoms();
    TakeCoordinates();
    CheckMasses();
    if (link.fLogReports) LogSettings();

    CheckRealAtoms();
    CheckElements();
    ValidateParameters();
    NumberOrbitals();
    NormaliseDoubleZeta();
    SumAtomicEnergies();
    BuildGuessVectors();
    PumpOneMessage();

    CountElectrons();
    if (system.nSelected == 1 && ThisKind().nOneAtom != kGoes) Fatal(ThisKind().nOneAtom);
    AssignOccupation();
    ValidateCiOptions();
    AnnounceStart();
    if (FamilyOf(system.MethodId) == Family::kNddo) SetGuessFractions();
    ClearResults();
}

}  // namespace qsolve
