#include "scf/patches.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "algebra/diagonalise.h"
#include "link/link.h"
#include "numeric/pool.h"
#include "numeric/product.h"
#include "numeric/row.h"
#include "numeric/strips.h"
#include "numeric/trace.h"
#include "scf/framed.h"

namespace qsolve {
namespace {

constexpr double kReach = 1.0;   ///< of a resonance integral that couples two atoms, eV
constexpr double kSmear = 0.5;   ///< of the filling of levels about the Fermi level, eV
constexpr double kShare = 0.25;  ///< of the flow of charge between parts: all of it overshoots
constexpr int kRounds = 3;       ///< of Fock matrices and densities
constexpr int kMostSteps = 48;   ///< towards a Fermi level
constexpr double kSharp = 1e-9;  ///< of a step, beside the smear
constexpr double kFarAway = 40.0;
constexpr double kWorth = 0.1;  ///< operations for all parts beside those for the whole

/// The levels of all parts, what of each is the part's own, and their orbitals, one a row.
struct Levels {
    Array<double> vEnergy, vOwn, mVectors;
};

double Filling(double dEnergy, double dFermi, double dSmear) {
    return 1.0 / (1.0 + std::exp(std::clamp((dEnergy - dFermi) / dSmear, -kFarAway, kFarAway)));
}

/// Electrons of own orbitals in levels, and how fast they grow with the Fermi level.
struct Holding {
    double dElectrons = 0.0, dSlope = 0.0;
};

Holding HeldByFew(std::size_t n, const double* vEnergy, const double* vOwn, double dFermi,
                  double dSmear) {
    Holding held;
    for (std::size_t k = 0; k < n; ++k) {
        const double f = Filling(vEnergy[k], dFermi, dSmear);
        held.dElectrons += vOwn[k] * f;
        held.dSlope += vOwn[k] * f * (1.0 - f) / dSmear;
    }
    return held;
}

/// The same of levels that threads share where there are many: pieces depend on their number alone.
Holding Held(std::size_t n, const double* vEnergy, const double* vOwn, double dFermi,
             double dSmear) {
    constexpr std::size_t kFewest = 512, kMostPieces = 16;
    const std::size_t nPieces = std::clamp<std::size_t>(n / kFewest, 1, kMostPieces);
    Holding ofPiece[kMostPieces];
    ForEachTask(static_cast<int>(nPieces), [&](int i) {
        const auto nPiece = static_cast<std::size_t>(i);
        const std::size_t nFirst = nPiece * n / nPieces, nEnd = (nPiece + 1) * n / nPieces;
        ofPiece[i] = HeldByFew(nEnd - nFirst, vEnergy + nFirst, vOwn + nFirst, dFermi, dSmear);
    });
    Holding held;
    for (std::size_t i = 0; i < nPieces; ++i) {
        held.dElectrons += ofPiece[i].dElectrons;
        held.dSlope += ofPiece[i].dSlope;
    }
    return held;
}

/// Newton's steps between bounds, and the middle of these where a step would leave them.
double FermiLevel(std::size_t n, const double* vEnergy, const double* vOwn, double dElectrons,
                  double dSmear) {
    double dLow = *std::min_element(vEnergy, vEnergy + n) - kFarAway * dSmear;
    double dHigh = *std::max_element(vEnergy, vEnergy + n) + kFarAway * dSmear;
    double dFermi = 0.5 * (dLow + dHigh);
    for (int k = 0; k < kMostSteps; ++k) {
        const Holding held = Held(n, vEnergy, vOwn, dFermi, dSmear);
        (held.dElectrons < dElectrons ? dLow : dHigh) = dFermi;
        const double dStep = (dElectrons - held.dElectrons) / held.dSlope;
        const double dNext = dFermi + dStep;
        if (std::abs(dStep) < kSharp * dSmear) return dNext;
        dFermi = dNext > dLow && dNext < dHigh ? dNext : 0.5 * (dLow + dHigh);
    }
    return dFermi;
}

/// Calls f(number, size, place of its levels, place of its orbitals) for each part.
template <class F>
void ForParts(const Parts& parts, F f) {
    std::size_t nLevel = 0, nElement = 0;
    for (int i = 0; i < parts.nParts; ++i) {
        const int m = parts.Size(i);
        f(i, m, nLevel, nElement);
        nLevel += static_cast<std::size_t>(m);
        nElement += static_cast<std::size_t>(m) * static_cast<std::size_t>(m);
    }
}

int LargestOf(const Parts& parts) {
    int m = 0;
    for (int i = 0; i < parts.nParts; ++i) m = std::max(m, parts.Size(i));
    return m;
}

/// What a task solves one part after the other in: the scratch of the solver, and the matrix.
struct Benches {
    explicit Benches(const Parts& parts) {
        ForParts(parts, [&](int, int m, std::size_t, std::size_t) {
            nWork = std::max(nWork, (EigenWork(m) + kPad - 1) / kPad * kPad);
            nIndices = std::max(nIndices, EigenIndices(m));
        });
        const auto nLargest = static_cast<std::size_t>(LargestOf(parts));
        nCount = std::min(Threads(), parts.nParts);
        nStep = nWork + (nLargest * nLargest + kPad - 1) / kPad * kPad;
        vDoubles.TakeUnset(static_cast<std::size_t>(nCount), nStep, kWork);
        vInts.Take(static_cast<std::size_t>(nCount), nIndices, kWork);
    }
    EigenScratch Scratch(int i) {
        const auto n = static_cast<std::size_t>(i);
        return {vDoubles.Data() + n * nStep, vInts.Data() + n * nIndices};
    }
    double* Matrix(int i) { return Scratch(i).vWork + nWork; }

    int nCount = 0;
    std::size_t nWork = 0, nIndices = 0, nStep = 0;
    Array<double> vDoubles;
    Array<int> vInts;
};

/// A part's levels, what of each is its own, and its orbitals.
void SolvePart(int n, const Parts& parts, int nPart, const double* mFock, Benches& benches,
               int nBench, double* vEnergy, double* vOwn, double* mVectors) {
    const int m = parts.Size(nPart), *v = parts.Orbitals(nPart);
    double* mPart = benches.Matrix(nBench);
    for (int i = 0; i < m; ++i)
        for (int j = 0; j <= i; ++j) Row(mPart, m, i)[j] = Row(mFock, n, v[i])[v[j]];
    DiagonaliseInTask(m, mPart, mVectors, vEnergy, benches.Scratch(nBench));
    for (int k = 0; k < m; ++k)
        vOwn[k] = Dot(parts.vOwn[nPart], Row(mVectors, m, k), Row(mVectors, m, k));
}

/// Calls f as ForParts does, the parts shared out to nTasks tasks.
template <class F>
void ForPartsInTasks(const Parts& parts, int nTasks, F f) {
    ForEachTask(nTasks, [&](int nTask) {
        ForParts(parts, [&](int nPart, int m, std::size_t nLevel, std::size_t nElement) {
            if (nPart % nTasks == nTask) f(nTask, nPart, m, nLevel, nElement);
        });
    });
}

Levels SolveParts(int n, const Parts& parts, const double* mFock) {
    std::size_t nLevels = 0, nElements = 0;
    ForParts(parts, [&](int, int m, std::size_t nLevel, std::size_t nElement) {
        nLevels = nLevel + static_cast<std::size_t>(m);
        nElements = nElement + static_cast<std::size_t>(m) * static_cast<std::size_t>(m);
    });
    Levels levels;
    levels.vEnergy.Take(nLevels, kWork);
    levels.vOwn.Take(nLevels, kWork);
    levels.mVectors.TakeUnset(nElements, kWork);
    Benches benches(parts);
    ForPartsInTasks(parts, benches.nCount,
                    [&](int nBench, int nPart, int, std::size_t nLevel, std::size_t nElement) {
                        SolvePart(n, parts, nPart, mFock, benches, nBench,
                                  levels.vEnergy.Data() + nLevel, levels.vOwn.Data() + nLevel,
                                  levels.mVectors.Data() + nElement);
                    });
    Yield(nElements);
    return levels;
}

/// Adds a part's rows of its own orbitals to the density and its mirror image.
void AddPart(int n, const int* v, int nOwn, int m, const double* mPart, double* mDensity) {
    for (int i = 0; i < nOwn; ++i)
        for (int j = 0; j < m; ++j) {
            const double d = Row(mPart, m, i)[j];
            if (j < nOwn) {
                Row(mDensity, n, v[i])[v[j]] = d;
                continue;
            }
            Row(mDensity, n, v[i])[v[j]] += 0.5 * d;
            Row(mDensity, n, v[j])[v[i]] += 0.5 * d;
        }
}

bool IsWorthWhile(int n, const Parts& parts) {
    double d = 0.0;
    for (int i = 0; i < parts.nParts; ++i) d += std::pow(parts.Size(i), 3);
    return d < kWorth * std::pow(n, 3);
}

}  // namespace

void CountOwnElectrons(int n, const Parts& parts, const double* mDensity, double* vElectrons) {
    for (int i = 0; i < parts.nParts; ++i) {
        const int* v = parts.Orbitals(i);
        vElectrons[i] = 0.0;
        for (int k = 0; k < parts.vOwn[i]; ++k) vElectrons[i] += Row(mDensity, n, v[k])[v[k]];
    }
}

void PatchDensity(int n, const Parts& parts, const double* mFock, double nElectrons, double dShare,
                  double dSmear, double* vElectrons, double* mDensity) {
    const auto nLargest = static_cast<std::size_t>(LargestOf(parts));
    Array<double> mPart;
    mPart.TakeUnset(nLargest, nLargest, kWork);
    Levels levels = SolveParts(n, parts, mFock);
    double *vEnergy = levels.vEnergy.Data(), *vOwn = levels.vOwn.Data();
    const double dCommon = FermiLevel(levels.vEnergy.Size(), vEnergy, vOwn, nElectrons, dSmear);
    ForPartsInTasks(parts, Threads(), [&](int, int nPart, int m, std::size_t nLevel, std::size_t) {
        const auto nLevels = static_cast<std::size_t>(m);
        double *e = vEnergy + nLevel, *w = vOwn + nLevel, &dOwn = vElectrons[nPart];
        dOwn += dShare * (Held(nLevels, e, w, dCommon, dSmear).dElectrons - dOwn);
        const double dFermi = FermiLevel(nLevels, e, w, dOwn, dSmear);
        for (int k = 0; k < m; ++k) e[k] = Filling(e[k], dFermi, dSmear);
    });
    const double* vFilling = vEnergy;  // the levels are not asked for any more
    ClearRows(n, n, mDensity);
    ForParts(parts, [&](int nPart, int m, std::size_t nLevel, std::size_t nElement) {
        const double* mVectors = levels.mVectors.Data() + nElement;
        const int nOwn = parts.vOwn[nPart];
        std::fill(mPart.Data(), Row(mPart.Data(), m, nOwn), 0.0);
        AddProduct({nOwn, m, m, Transposed(mVectors, m), Plain(mVectors, m), mPart.Data(), m, 1.0,
                    vFilling + nLevel});
        AddPart(n, parts.Orbitals(nPart), nOwn, m, mPart.Data(), mDensity);
    });
}

bool PatchDensities(Electrons& electrons, int nMost, GuardEnd& end) {
    const int n = electrons.n;
    if (kRounds > nMost || electrons.nSets != 1 || !MayUseFrame(electrons, 0.0)) return false;
    const Parts parts = MakeParts(kReach / electrons.dEv);
    if (!IsWorthWhile(n, parts)) return false;
    Array<double> vElectrons;
    vElectrons.Take(static_cast<std::size_t>(parts.nParts), kWork);
    SpinRun& s = *electrons.pSets[0];
    CountOwnElectrons(n, parts, s.mDensity.Data(), vElectrons.Data());
    for (int nRound = 0; nRound < kRounds; ++nRound) {
        NextFock(electrons, end);
        TellCycle(end);
        PatchDensity(n, parts, s.mFock.Data(), electrons.vShells[0].nFull, kShare,
                     kSmear / electrons.dEv, vElectrons.Data(), s.mDensity.Data());
    }
    return true;
}

}  // namespace qsolve
