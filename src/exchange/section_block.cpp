#include "exchange/section_block.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "link/link.h"

namespace qsolve {

namespace {

constexpr std::size_t kFirstRoom = 64;  ///< doubles
constexpr std::size_t kMostDoubles = std::numeric_limits<int>::max() / sizeof(double);

}  // namespace

SectionBlock::SectionBlock() {
    Extend(sizeof(SectionsHead) / sizeof(double));
}

/// Room for so many doubles more; what is there moves when there is none.
double* SectionBlock::Extend(std::size_t nDoubles) {
    const std::size_t nNeeded = nUsed_ + nDoubles;
    if (nNeeded > vWords_.Size()) {
        Array<double> vLarger;
        vLarger.Take(std::max({nNeeded, 2 * vWords_.Size(), kFirstRoom}), kWork);
        std::copy_n(vWords_.begin(), nUsed_, vLarger.begin());
        vWords_ = std::move(vLarger);
    }
    return vWords_.Data() + std::exchange(nUsed_, nNeeded);
}

double* SectionBlock::Add(int nKind, std::size_t nDoubles) {
    if (nDoubles > kMostDoubles) return nullptr;
    const SectionHead head{.nKind = nKind, .nBytes = static_cast<int>(nDoubles * sizeof(double))};
    double* pHead = Extend(sizeof head / sizeof(double) + nDoubles);
    std::memcpy(pHead, &head, sizeof head);
    ++nSections_;
    return pHead + sizeof head / sizeof(double);
}

void SectionBlock::Copy(const void* pRecord, std::size_t nBytes, double* pPlace) {
    std::memcpy(pPlace, pRecord, nBytes);
}

void SectionBlock::Send() {
    const SectionsHead head{.nCount = nSections_};
    std::memcpy(vWords_.Data(), &head, sizeof head);
    SendChunked(kPacketPrecise, vWords_.Data(), nUsed_ * sizeof(double));
}

}  // namespace qsolve
