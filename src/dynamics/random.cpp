#include "dynamics/random.h"

#include "dynamics/state.h"
#include "link/link.h"

namespace qsolve {

namespace {

constexpr int kModulus = 714025, kFactor = 1366, kIncrement = 150889;
constexpr int kUniformsPerGaussian = 12;

/// Remainder that is never negative.
int Modulo(long long n, int nModulus) {
    const long long nRest = n % nModulus;
    return static_cast<int>(nRest < 0 ? nRest + nModulus : nRest);
}

int Advance(int& nSeed) {
    return nSeed = Modulo(static_cast<long long>(kFactor) * nSeed + kIncrement, kModulus);
}

void FillTable(int& nSeed) {
    if (nSeed > 0) nSeed %= kIncrement;
    nSeed = Modulo(static_cast<long long>(kIncrement) - nSeed, kModulus);
    for (int& nEntry : dynamics.nShuffleTable) nEntry = Advance(nSeed);
    dynamics.nShuffleLast = Advance(nSeed);
    dynamics.fGeneratorReady = true;
}

}  // namespace

double UniformDeviate(int& nSeed, bool& fReseed) {
    if (fReseed || !dynamics.fGeneratorReady) FillTable(nSeed);
    fReseed = false;
    const long long j = static_cast<long long>(kShuffleEntries) * dynamics.nShuffleLast / kModulus;
    if (j < 0 || j >= kShuffleEntries) Fatal(kMsgRandomIndex);
    dynamics.nShuffleLast = dynamics.nShuffleTable[j];
    dynamics.nShuffleTable[j] = Advance(nSeed);
    return dynamics.nShuffleLast * (1.0 / kModulus);
}

double GaussianDeviate(double dWidth, int& nSeed, bool& fReseed) {
    double dSum = 0.0;
    for (int i = 0; i < kUniformsPerGaussian; ++i) dSum += UniformDeviate(nSeed, fReseed);
    return (dSum - 6.0) * dWidth;
}

}  // namespace qsolve
