#include "dynamics/noise_stream.h"

#include <bit>

namespace qsolve {

namespace {

/// splitmix64, G. L. Steele et al., OOPSLA 2014.
std::uint64_t Split(std::uint64_t& nState) {
    nState += 0x9e3779b97f4a7c15;
    std::uint64_t z = nState;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
}

}  // namespace

NoiseStream StartNoise(int nSeed) {
    auto nState = static_cast<std::uint64_t>(static_cast<std::int64_t>(nSeed));
    NoiseStream stream;
    for (std::uint64_t& word : stream.Words) word = Split(nState);
    return stream;
}

std::uint64_t NextBits(NoiseStream& stream) {
    auto& s = stream.Words;
    const std::uint64_t nResult = std::rotl(s[0] + s[3], 23) + s[0];
    const std::uint64_t t = s[1] << 17;
    s[2] ^= s[0];
    s[3] ^= s[1];
    s[1] ^= s[2];
    s[0] ^= s[3];
    s[2] ^= t;
    s[3] = std::rotl(s[3], 45);
    return nResult;
}

double NextUniform(NoiseStream& stream) {
    return static_cast<double>(NextBits(stream) >> 11) * 0x1p-53;
}

}  // namespace qsolve
