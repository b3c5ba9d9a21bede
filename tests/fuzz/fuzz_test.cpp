#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "tests/support/fresh_state.h"
#include "tests/support/source_folder.h"

/// The fuzzers without their engine: the corpus, and what comes of it by blind changes. They are
/// the same in each run but with another seed, ORBITRAX_FUZZ_SEED, and more of them by
/// ORBITRAX_FUZZ_RUNS.

extern "C" {
int FuzzFrames(const std::uint8_t* pData, std::size_t nBytes);
int FuzzSession(const std::uint8_t* pData, std::size_t nBytes);
int FuzzFormat(const std::uint8_t* pData, std::size_t nBytes);
}

namespace qsolve {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Target = int (*)(const std::uint8_t*, std::size_t);

constexpr int kMostChanges = 8;

enum Change { kSet, kFlip, kInsert, kErase, kShorten, kSplice, kChanges };

std::uint64_t Setting(const char* sName, std::uint64_t nUsual) {
    const char* sValue = std::getenv(sName);
    return sValue ? std::strtoull(sValue, nullptr, 10) : nUsual;
}

std::vector<Bytes> Corpus(const std::string& sName) {
    std::vector<std::filesystem::path> names;
    for (const auto& entry :
         std::filesystem::directory_iterator(SourcePath("tests/fuzz/corpus/" + sName)))
        names.push_back(entry.path());
    std::sort(names.begin(), names.end());
    std::vector<Bytes> corpus;
    for (const auto& name : names) {
        std::ifstream file(name, std::ios::binary);
        corpus.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return corpus;
}

class Mutator {
  public:
    Mutator(std::uint64_t nSeed, const std::vector<Bytes>& corpus)
        : Random_(nSeed), Corpus_(corpus) {}

    /// One of the corpus, changed at some places.
    Bytes Next() {
        Bytes bytes = Corpus_[Below(Corpus_.size())];
        for (std::size_t i = Below(kMostChanges) + 1; i > 0; --i) Alter(bytes);
        return bytes;
    }

  private:
    std::mt19937_64 Random_;
    const std::vector<Bytes>& Corpus_;

    std::size_t Below(std::size_t n) { return static_cast<std::size_t>(Random_() % n); }

    void Alter(Bytes& bytes) {
        const auto nByte = static_cast<std::uint8_t>(Below(256));
        const std::size_t nAt = Below(bytes.size() + 1);
        const auto place = bytes.begin() + static_cast<std::ptrdiff_t>(nAt);
        const bool fInside = nAt < bytes.size();
        switch (static_cast<Change>(Below(kChanges))) {
            case kSet:
                if (fInside) *place = nByte;
                return;
            case kFlip:
                if (fInside) *place = static_cast<std::uint8_t>(*place ^ (1U << nByte % 8));
                return;
            case kInsert:
                bytes.insert(place, nByte);
                return;
            case kErase:
                if (fInside) bytes.erase(place);
                return;
            case kShorten:
                return bytes.resize(nAt);
            case kSplice:
            case kChanges:
                break;
        }
        const Bytes& other = Corpus_[Below(Corpus_.size())];
        bytes.resize(nAt);
        bytes.insert(bytes.end(),
                     other.begin() + static_cast<std::ptrdiff_t>(std::min(nAt, other.size())),
                     other.end());
    }
};

/// Plays the corpus and nRuns changes of it; a fault ends the program, and the seed and the number
/// that were printed last tell which input it was.
void Play(const char* sName, Target target, std::uint64_t nRuns) {
    const std::vector<Bytes> corpus = Corpus(sName);
    ASSERT_FALSE(corpus.empty());
    for (const Bytes& bytes : corpus) target(bytes.data(), bytes.size());
    const std::uint64_t nSeed = Setting("ORBITRAX_FUZZ_SEED", 1);
    nRuns = Setting("ORBITRAX_FUZZ_RUNS", nRuns);
    std::printf("R4: %s: %zu of the corpus, %llu changed, seed %llu\n", sName, corpus.size(),
                static_cast<unsigned long long>(nRuns), static_cast<unsigned long long>(nSeed));
    std::fflush(stdout);
    Mutator mutator(nSeed, corpus);
    for (std::uint64_t i = 0; i < nRuns; ++i) {
        const Bytes bytes = mutator.Next();
        target(bytes.data(), bytes.size());
    }
}

class Fuzz : public FreshState {};

TEST_F(Fuzz, NoBytesOfAClientHarmTheConversation) {
    Play("frames", FuzzFrames, 20000);
}

TEST_F(Fuzz, NoEditedSessionHarmsTheNextOne) {
    Play("session", FuzzSession, 300);
}

TEST_F(Fuzz, NoFormatHarmsTheBuffer) {
    Play("format", FuzzFormat, 20000);
}

}  // namespace
}  // namespace qsolve
