#pragma once

#include <concepts>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace qsolve {

/// When an array is taken; decides which numbered message reports that there is no memory for it.
enum Phase : int {
    kIntake,      ///< 24576
    kSetUp,       ///< 24576
    kRestraints,  ///< 24832
    kWork,        ///< 24577
};

/// What memory holds when it is taken: zeros; or anything, not-a-numbers where assertions are on,
/// which spares what is written before it is read a second pass through the caches.
enum class Content { kZeros, kAny };

/// The one allocator of job arrays. Memory for nCount elements of nElementSize bytes, aligned to 64
/// bytes; null for a count of 0. Does not return without it: Fatal with the phase's message, also
/// where the product overflows.
void* TakeMemory(std::size_t nCount, std::size_t nElementSize, Phase phase,
                 Content content = Content::kZeros);

/// The same, but null where there is no memory, and no message.
void* TryTakeMemory(std::size_t nCount, std::size_t nElementSize,
                    Content content = Content::kZeros);

/// Gives back what TakeMemory gave; null is allowed.
void ReturnMemory(void* pMemory) noexcept;

/// Lets what arrays give back be kept for those of the next job: the system clears each page that
/// it gives anew. The C library keeps up to 64 MB, where it can; large ones are kept by
/// spare_blocks.h, small ones by small_blocks.h. Written by platform/.
void KeepFreedMemory() noexcept;

/// Is told of each large block that comes from the system, before it is touched; null in the
/// beginning. KeepFreedMemory sets it where large pages can be asked for: the system clears them in
/// a tenth of the time, and products find their rows with fewer misses.
inline void (*pFreshBlock)(void* pBlock, std::size_t nBytes) noexcept = nullptr;

/// Test hook and account of the allocator.
struct MemoryState {
    long long nFailAt = -1;         ///< allocation number that fails, counted from 0; -1 none
    bool fFailFromThenOn = false;   ///< all later ones fail too
    long long nTaken = 0;           ///< allocations asked for since the hook was set
    std::size_t nBytesHeld = 0;     ///< bytes in arrays now
    std::size_t nBytesHighest = 0;  ///< most bytes in arrays at one time
};
inline MemoryState memory;

/// An owning array of plain elements: a size and a pointer, zeroed when taken unless it is taken
/// unset, freed by itself.
template <class T>
class Array {
    static_assert(std::is_trivially_destructible_v<T>);

  public:
    Array() = default;
    Array(Array&& other) noexcept
        : pData_(std::exchange(other.pData_, nullptr)), nSize_(std::exchange(other.nSize_, 0)) {}
    Array& operator=(Array&& other) noexcept {
        std::swap(pData_, other.pData_);
        std::swap(nSize_, other.nSize_);
        return *this;
    }
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;
    ~Array() { ReturnMemory(pData_); }

    /// Frees what is held and takes nCount zeroed elements. Without memory: Fatal by the phase.
    void Take(std::size_t nCount, Phase phase) { TakeAs(Content::kZeros, nCount, phase); }
    /// The same with elements that hold anything.
    void TakeUnset(std::size_t nCount, Phase phase) { TakeAs(Content::kAny, nCount, phase); }
    /// The same; false where there is no memory, and the array is then empty.
    [[nodiscard]] bool TryTake(std::size_t nCount) {
        Reset();
        pData_ = static_cast<T*>(TryTakeMemory(nCount, sizeof(T)));
        if (pData_) nSize_ = nCount;
        return pData_ || nCount == 0;
    }
    /// Takes nRows * nColumns elements; a product that overflows is a failed allocation.
    void Take(std::size_t nRows, std::size_t nColumns, Phase phase) {
        Take(Product(nRows, nColumns), phase);
    }
    void TakeUnset(std::size_t nRows, std::size_t nColumns, Phase phase) {
        TakeUnset(Product(nRows, nColumns), phase);
    }
    void Reset() noexcept {
        ReturnMemory(std::exchange(pData_, nullptr));
        nSize_ = 0;
    }

    std::size_t Size() const { return nSize_; }
    T* Data() { return pData_; }
    const T* Data() const { return pData_; }
    T& operator[](std::integral auto i) { return pData_[static_cast<std::size_t>(i)]; }
    const T& operator[](std::integral auto i) const { return pData_[static_cast<std::size_t>(i)]; }
    T* begin() { return pData_; }
    T* end() { return pData_ + nSize_; }
    const T* begin() const { return pData_; }
    const T* end() const { return pData_ + nSize_; }
    explicit operator bool() const { return pData_ != nullptr; }

  private:
    static std::size_t Product(std::size_t nRows, std::size_t nColumns) {
        std::size_t nCount = 0;
        const bool fTooMany = __builtin_mul_overflow(nRows, nColumns, &nCount);
        return fTooMany ? static_cast<std::size_t>(-1) : nCount;
    }
    void TakeAs(Content content, std::size_t nCount, Phase phase) {
        Reset();
        pData_ = static_cast<T*>(TakeMemory(nCount, sizeof(T), phase, content));
        nSize_ = nCount;
    }

    T* pData_ = nullptr;
    std::size_t nSize_ = 0;
};

}  // namespace qsolve
