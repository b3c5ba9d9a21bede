#include "ci/details.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"

namespace qsolve {
namespace {

enum ContributionKind : int { kAlphaExcitation = 0, kBetaExcitation, kMicrostate, kReference = -1 };

/// Levels of a row as bits; those of a window of microstates fit.
int BitsOfRow(const SpinRows& rows, int nRow) {
    return static_cast<int>(rows.At(nRow)[0]);
}

CiContribution ContributionOf(const Interaction& interaction, int nConfig, double dCoefficient) {
    const Determinants& d = interaction.Configs;
    const int a = d.vAlphaRow[nConfig], b = d.vBetaRow[nConfig];
    CiContribution c{.dCoefficient = dCoefficient};
    if (options.nCiKind == kMicrostates) {
        c.nSpin = kMicrostate;
        c.nHole = BitsOfRow(d.mOccAlpha, a);
        c.nParticle = BitsOfRow(d.mOccBeta, b);
    } else if (a == 0 && b == 0) {
        c.nSpin = kReference;
    } else {
        const Difference x = a != 0 ? Compare(d.mOccAlpha, 0, a) : Compare(d.mOccBeta, 0, b);
        c.nSpin = a != 0 ? kAlphaExcitation : kBetaExcitation;
        c.nHole = interaction.Window.nBelow + x.nHole[0] + 1;
        c.nParticle = interaction.Window.nBelow + x.nParticle[0] + 1;
    }
    return c;
}

/// Calls visit(state, configuration, coefficient) for each one that is large enough.
template <class Visit>
void ForEachLarge(const Interaction& interaction, const DetailRequest& request, double* vState,
                  Visit visit) {
    for (int k = 0; k < request.nStates; ++k) {
        TakeState(interaction.States, k, vState);
        for (int i = 0; i < interaction.Configs.nConfigs; ++i)
            if (std::abs(vState[i]) > request.dLeast) visit(k, i, vState[i]);
        Yield(static_cast<std::size_t>(interaction.Configs.nConfigs));
    }
}

void KeepContributions(const Interaction& interaction, const DetailRequest& request,
                       CiDetails& details) {
    Array<double> vState;
    vState.Take(static_cast<std::size_t>(interaction.Configs.nConfigs), kWork);
    std::size_t nCount = 0;
    ForEachLarge(interaction, request, vState.Data(), [&](int k, int, double) {
        ++details.States[k].nContributions;
        ++nCount;
    });
    details.Contributions.Take(nCount, kWork);
    nCount = 0;
    ForEachLarge(interaction, request, vState.Data(), [&](int, int i, double d) {
        details.Contributions[nCount++] = ContributionOf(interaction, i, d);
    });
}

CiStateDetail DetailOf(const CiStates& states, int nPlace, const StateProperties& p) {
    const double dEv = UsesAtomicUnits(system.MethodId) ? kEvPerHartree : 1.0;
    CiStateDetail detail{.nVector = states.vCiIndex[nPlace],
                         .dEnergy = states.vCiEnergy[nPlace] * dEv,
                         .dSpinSquare = states.vSpinSquare[nPlace],
                         .dSpin = p.dSpin,
                         .dOscillator = p.dOscillator};
    std::copy_n(p.vDipole, 3, detail.vDipole);
    std::copy_n(p.vTransition, 3, detail.vTransition);
    return detail;
}

}  // namespace

void KeepDetails(const Interaction& interaction, const StateProperties* pProperties, int nWanted,
                 const DetailRequest& request, CiDetails& details) {
    const DetailRequest some{std::clamp(request.nStates, 0, interaction.States.nConfigs),
                             request.dLeast};
    details.nConfigs = interaction.Configs.nConfigs;
    details.nFirstLevel = interaction.Window.nBelow + 1;
    details.nLevels = interaction.Window.nLevels;
    details.nAlpha = interaction.Configs.nAlpha;
    details.nBeta = interaction.Configs.nBeta;
    details.nWanted = nWanted;
    details.States.Take(static_cast<std::size_t>(some.nStates), kWork);
    for (int k = 0; k < some.nStates; ++k)
        details.States[k] = DetailOf(interaction.States, k, pProperties[k]);
    KeepContributions(interaction, some, details);
}

}  // namespace qsolve
