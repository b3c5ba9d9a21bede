#pragma once

#include <algorithm>
#include <cstddef>

#include "job/state.h"
#include "link/link.h"
#include "link/memory.h"
#include "numeric/pool.h"
#include "numeric/row.h"

namespace qsolve {

/// Atoms whose pairs are worked on between two yields, and the number of atoms from which the
/// threads share them.
constexpr int kAtomsOfStrip = 32, kWorthThreadsAtoms = 40;

/// Adds the derivative of a sum over all pairs of selected atoms to pGradient, three for each of
/// them: Differentiate(iA, iB, v), iB < iA, gives the derivative with respect to the position of A
/// in v, which is zero before; that of B is its opposite. The threads share the pairs; the sums are
/// then taken in the order of the pairs. Takes an array; charges nUnits for each atom,
/// or what the sums take if that is more. Yields.
template <class F>
void AddPairForces(std::size_t nUnits, double* pGradient, const F& Differentiate) {
    const int nAtoms = system.nSelected, nStep = 3 * nAtoms;
    Array<double> mForces;
    mForces.Take(kAtomsOfStrip, static_cast<std::size_t>(nStep), kWork);
    for (int iFirst = 0; iFirst < nAtoms; iFirst += kAtomsOfStrip) {
        const int nStrip = std::min(kAtomsOfStrip, nAtoms - iFirst);
        ForEachTaskIf(nAtoms >= kWorthThreadsAtoms, nStrip, [&](int nTask) {
            double* v = Row(mForces.Data(), nStep, nTask);
            const int iA = iFirst + nTask;
            std::fill_n(v, 3 * iA, 0.0);
            for (int iB = 0; iB < iA; ++iB) Differentiate(iA, iB, v + 3 * iB);
        });
        for (int iA = iFirst; iA < iFirst + nStrip; ++iA) {
            const double* v = Row(mForces.Data(), nStep, iA - iFirst);
            for (int i = 0; i < 3 * iA; ++i) {
                pGradient[3 * iA + i % 3] += v[i];
                pGradient[i] -= v[i];
            }
        }
        Yield(std::max(nUnits, static_cast<std::size_t>(nStep)) * static_cast<std::size_t>(nStrip));
    }
}

}  // namespace qsolve
