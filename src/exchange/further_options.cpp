#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>

#include "exchange/intake.h"
#include "exchange/intake_checks.h"
#include "job/state.h"
#include "link/link.h"
#include "link/messages.h"
#include "link/packets.h"

namespace qsolve {
namespace {

/// Most bytes of all sections.
constexpr int kMostBytes = 1 << 29;

/// Most starts of an SCF, and the highest limit of its commutator, eV.
constexpr int kMostStarts = 1000;
constexpr double kLargestCommutatorLimit = 1e3;

/// Largest element of a Hessian, kcal/(mol Angstrom^2).
constexpr double kLargestForce = 1e6;

/// The data of one section, as they came: nothing in them has been looked at.
struct SectionData {
    const char* sName;
    const unsigned char* pBytes;
    int nBytes;
};

[[noreturn]] void RefuseSize(const SectionData& data) {
    Fatal(kMsgSectionSize, data.sName, data.nBytes);
}

void TakePlaces(const SectionData& data) {
    constexpr int kAtomBytes = 3 * static_cast<int>(sizeof(double));
    if (data.nBytes % kAtomBytes != 0) RefuseSize(data);
    const std::size_t nBytes = static_cast<std::size_t>(data.nBytes);
    Array<double> pXyz;
    pXyz.Take(nBytes / sizeof(double), kIntake);
    if (nBytes > 0) std::memcpy(pXyz.Data(), data.pBytes, nBytes);
    for (std::size_t i = 0; i < pXyz.Size(); ++i)
        if (!IsCoordinate(pXyz[i])) Fatal(kMsgAtomNotANumber, i / 3 + 1);
    further.pXyz = std::move(pXyz);
}

void TakeMotion(const SectionData& data) {
    MotionRecord record;
    if (data.nBytes != static_cast<int>(sizeof record)) RefuseSize(data);
    std::memcpy(&record, data.pBytes, sizeof record);
    const auto asks = [&](MotionWish nWish) { return (record.nWishes & nWish) != 0; };
    further.Motion = {.fLongNoise = asks(kLongNoise),
                      .fLand = asks(kLand),
                      .fScaledNoise = asks(kScaledNoise),
                      .fRestUnmoving = asks(kRestUnmoving),
                      .fStateReports = asks(kStateReports),
                      .fMovableOnly = asks(kMovableOnly),
                      .fDoubleEnergies = asks(kDoubleEnergies),
                      .fKnownEnergies = asks(kKnownEnergies)};
}

void TakeSearch(const SectionData& data) {
    SearchRecord record;
    if (data.nBytes != static_cast<int>(sizeof record)) RefuseSize(data);
    std::memcpy(&record, data.pBytes, sizeof record);
    further.Search = {.fCareful = (record.nWishes & kCarefulSearch) != 0,
                      .fEitherSign = (record.nWishes & kEitherSign) != 0};
}

/// Of so many rows; 0 where they are not those of a matrix over whole atoms.
int RowsOf(int nBytes) {
    const int nElements = nBytes / static_cast<int>(sizeof(double));
    const int n = static_cast<int>(std::lround(std::sqrt(static_cast<double>(nElements))));
    const bool fSquare =
        static_cast<std::size_t>(n) * static_cast<std::size_t>(n) * sizeof(double) ==
        static_cast<std::size_t>(nBytes);
    return fSquare && n % 3 == 0 ? n : 0;
}

void TakeHessian(const SectionData& data) {
    const int n = RowsOf(data.nBytes);
    if (n == 0) RefuseSize(data);
    const std::size_t nSize = static_cast<std::size_t>(n);
    Array<double> mHessian;
    mHessian.Take(nSize, nSize, kIntake);
    std::memcpy(mHessian.Data(), data.pBytes, static_cast<std::size_t>(data.nBytes));
    for (std::size_t i = 0; i < mHessian.Size(); ++i)
        if (!(std::abs(mHessian[i]) <= kLargestForce))
            Fatal(kMsgForceConstant, data.sName, i / nSize + 1, i % nSize + 1);
    further.mHessian = std::move(mHessian);
}

/// A shorter record is one of an older client, a longer one of a newer one: what both know counts.
void TakeScf(const SectionData& data) {
    ScfWishes asked;
    std::memcpy(&asked, data.pBytes, std::min(sizeof asked, static_cast<std::size_t>(data.nBytes)));
    asked.nStability = std::clamp<int>(asked.nStability, kNoStability, kFollowStability);
    asked.nStarts = std::clamp(asked.nStarts, 0, kMostStarts);
    const double d = asked.dCommutatorLimit;
    if (!(d >= 0.0 && d <= kLargestCommutatorLimit)) Fatal(kMsgScfWishes, data.sName, d);
    asked.nKeepDensity = std::clamp<int>(asked.nKeepDensity, kDropDensity, kFollowDensity);
    further.Scf = asked;
}

/// What a client may tell beyond the options of old: kind, name in refusals, and what checks and
/// stores it in `further`. A new section is a kind in link/packets.h and a row here.
struct OptionRow {
    int nKind;
    const char* sName;
    void (*Take)(const SectionData& data);
};
constexpr OptionRow kRows[] = {
    {kGivenCoordinates, "coordinates", TakePlaces}, {kMotionSection, "motion", TakeMotion},
    {kSearchSection, "search", TakeSearch},         {kGivenHessian, "Hessian", TakeHessian},
    {kGivenScf, "self-consistent field", TakeScf},
};

void TakeSection(int nKind, const unsigned char* pBytes, int nBytes) {
    for (const OptionRow& row : kRows)
        if (row.nKind == nKind) row.Take({row.sName, pBytes, nBytes});
}

/// Walks over the sections. A length is believed once it lies within what came.
void TakeSections(const Array<unsigned char>& pBytes, const SectionsHead& all) {
    for (std::size_t nAt = 0; nAt < pBytes.Size();) {
        const std::size_t nLeft = pBytes.Size() - nAt;
        SectionHead head;
        if (nLeft >= sizeof head) std::memcpy(&head, pBytes.Data() + nAt, sizeof head);
        const bool fWhole = nLeft >= sizeof head && head.nBytes >= 0 &&
                            static_cast<std::size_t>(head.nBytes) <= nLeft - sizeof head;
        if (!fWhole) Fatal(kMsgFurtherOptions, all.nVersion, all.nCount, nAt);
        TakeSection(head.nKind, pBytes.Data() + nAt + sizeof head, head.nBytes);
        nAt += sizeof head + (static_cast<std::size_t>(head.nBytes) + 7) / 8 * 8;
    }
}

}  // namespace

void ReadFurtherOptions() {
    further = FurtherOptions{};
    if (!AsksFor(options.nExtensions, kFurtherOptionsBit)) return;
    SectionsHead head;
    RequestWhole("further options", &head, sizeof head);
    if (head.nVersion != SectionsHead{}.nVersion || head.nCount < 0 || head.nCount > kMostBytes)
        Fatal(kMsgFurtherOptions, head.nVersion, head.nCount, 0);
    TakeSections(
        ReceiveRecords<unsigned char>("further options", static_cast<std::size_t>(head.nCount),
                                      kMaxPayload, kIntake),
        head);
}

}  // namespace qsolve
