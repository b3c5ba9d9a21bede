#pragma once

#include <array>
#include <cstdint>

namespace qsolve {

/// Random numbers that do not come back within any run: xoshiro256++, D. Blackman and S. Vigna, ACM
/// Trans. Math. Softw. 47, 36 (2021), with a cycle of 2^256 - 1.
struct NoiseStream {
    std::array<std::uint64_t, 4> Words = {};
};

/// A stream whose four words are drawn by splitmix64 from the seed, sign-extended. Any seed will
/// do, 0 too.
NoiseStream StartNoise(int nSeed);

/// The next 64 random bits.
std::uint64_t NextBits(NoiseStream& stream);

/// The next number, 0 <= u < 1, a multiple of 2^-53.
double NextUniform(NoiseStream& stream);

}  // namespace qsolve
