#pragma once

/// The one generator of random numbers: a linear congruential one of modulus 714025, whose values
/// are handed out in another order through a table of 97. W. H. Press et al., Numerical Recipes,
/// "Portable Random Number Generators". Its values return after 714025 draws: enough for the first
/// velocities and for sampling, too few for the noise of a long run (see noise_stream.h).
///
/// The caller keeps the seed and a flag that asks for a fresh start; the table is one for all.

namespace qsolve {

/// The next number, 0 <= u < 1, a multiple of 1/714025. Advances nSeed. With fReseed set, or in a
/// process that has drawn nothing, the table is first filled from nSeed, and the flag cleared: of a
/// positive seed the remainder by 150889 counts, any other is taken as it is.
double UniformDeviate(int& nSeed, bool& fReseed);

/// A number of mean 0 and standard deviation dWidth: twelve uniform ones, less 6, times dWidth. It
/// never exceeds 6 dWidth.
double GaussianDeviate(double dWidth, int& nSeed, bool& fReseed);

}  // namespace qsolve
