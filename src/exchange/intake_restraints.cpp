#include <cmath>
#include <cstddef>
#include <utility>

#include "exchange/intake.h"
#include "exchange/intake_checks.h"
#include "job/state.h"
#include "link/link.h"
#include "link/messages.h"
#include "link/packets.h"

namespace qsolve {
namespace {

constexpr int kLists = 4;

/// Most bytes of all lists together.
constexpr long long kMostRestraintBytes = 1LL << 31;

void CheckCounts(const int* nCounts) {
    long long nBytes = 0;
    for (int k = 0; k < kLists; ++k) {
        if (nCounts[k] < 0) Fatal(kMsgOutOfMemoryRestraints);
        nBytes += nCounts[k] * static_cast<long long>(sizeof(RestraintRecord));
    }
    if (nBytes > kMostRestraintBytes) Fatal(kMsgOutOfMemoryRestraints);
}

/// Refuses an atom that is not there, and one that the record names twice: they would have no
/// distance. Numbers in texts count from 1.
void CheckRestraintAtoms(const RestraintRecord& record, long long nNumber) {
    const int nUsed = record.nKind + 1;
    for (int i = 0; i < nUsed; ++i)
        if (record.nAtom[i] < 0 || record.nAtom[i] >= system.nAtoms)
            Fatal(kMsgRestraintAtom, nNumber, record.nAtom[i] + 1LL);
    for (int i = 0; i < nUsed; ++i)
        for (int j = 0; j < i; ++j)
            if (record.nAtom[i] == record.nAtom[j]) Fatal(kMsgSamePosition);
}

void CheckRestraintNumbers(const RestraintRecord& record) {
    if (!std::isfinite(record.flForceConstant))
        Fatal(kMsgSettingNotANumber, "restraint force constant");
    bool fFinite = std::isfinite(record.flTarget);
    if (record.nKind == kTether)
        fFinite = fFinite && std::isfinite(record.flTargetY) && std::isfinite(record.flTargetZ);
    if (!fFinite) Fatal(kMsgSettingNotANumber, "restraint target");
}

/// The kind of a record, not its list, says what it uses. A record of no kind is never applied, so
/// that nothing in it is checked.
void CheckRestraint(const RestraintRecord& record, long long nNumber) {
    if (record.nKind < kTether || record.nKind > kTorsion) return;
    CheckRestraintAtoms(record, nNumber);
    CheckRestraintNumbers(record);
}

}  // namespace

void ReadRestraints() {
    for (int k = 0; k < kLists; ++k) {
        system.nRestraints[k] = 0;
        system.pRestraints[k].Reset();
    }
    int nCounts[kLists] = {};
    RequestWhole("restraint counts", nCounts, sizeof nCounts);
    CheckCounts(nCounts);

    long long nNumber = 0;
    for (int k = 0; k < kLists; ++k) {
        auto pRecords = ReceiveRecords<RestraintRecord>(
            "restraints", static_cast<std::size_t>(nCounts[k]), kMaxPayload, kRestraints);
        for (const RestraintRecord& record : pRecords) CheckRestraint(record, ++nNumber);
        system.pRestraints[k] = std::move(pRecords);
        system.nRestraints[k] = nCounts[k];
    }
}

}  // namespace qsolve
