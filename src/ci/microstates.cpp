#include <algorithm>
#include <cstddef>

#include "ci/ci.h"
#include "ci/ci_log.h"
#include "ci/details.h"
#include "ci/natural_orbitals.h"
#include "ci/spectrum.h"
#include "ci/state.h"
#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "setup/state.h"
#include "setup/validate_ci.h"

namespace qsolve {
namespace {

/// The window has been chosen; refuses one that is too large, or in which there is no second state.
void CheckWindow(const CiWindow& window) {
    if (window.nLevels > kMostMicrostateLevels)
        Fatal(kMsgMicrostateTooLarge, kMostMicrostateLevels);
    const long long nConfigs = CountMicrostates(window);
    setup.nCiConfigurations = nConfigs;
    StatusFormat(kMsgStartMicrostateCi, nConfigs);
    if (nConfigs < 2 && options.fNextLowestState) Fatal(kMsgExcitedStateImpossible);
    if (nConfigs < 1) Fatal(kMsgConfigurationsImpossible);
    RequireMatrix(nConfigs);
}

/// The states as a client that asks for more than the log has them: the lowest of the spin of the
/// job first, and transitions from it.
void KeepStates(const ScfLevels& levels, const ChosenStates& chosen, Interaction& interaction) {
    if (!AsksFor(options.nExtensions, 1U << kCiSection)) return;
    const int nStates = std::min(interaction.States.nConfigs, std::max(20, chosen.nWanted + 1));
    MoveToFront(chosen.nFirst, interaction.States);
    Array<StateProperties> pProperties;
    pProperties.Take(static_cast<std::size_t>(nStates), kWork);
    FillProperties(levels, interaction, nStates, pProperties.Data());
    KeepDetails(interaction, pProperties.Data(), options.fNextLowestState ? chosen.nWanted : 0,
                {nStates, 0.02}, ci.Details);
}

}  // namespace

CiEnergies RunMicrostateCi(const ScfLevels& levels, const StateMatrices& out) {
    Interaction interaction;
    interaction.Window = ChooseWindow(levels.vLevel);
    CheckWindow(interaction.Window);
    PlaceMicrostates(interaction.Window, interaction.Configs);
    const int nLogLevel = options.nLogLevel;
    if (nLogLevel == 5 || nLogLevel == 7 || nLogLevel == 8) LogMicrostates(interaction);
    Solve(levels, interaction);
    if (nLogLevel >= 6 && nLogLevel <= 8) LogCiVectors(interaction.States);
    const ChosenStates chosen = ChooseState(interaction.States);
    LogMicrostateResults(interaction.States, levels.dEnergy + levels.dCoreEnergy,
                         KcalPerUnit(system.MethodId));
    Array<double> vState;
    vState.Take(static_cast<std::size_t>(interaction.Configs.nConfigs), kWork);
    TakeState(interaction.States, chosen.nWanted, vState.Data());
    KeepStates(levels, chosen, interaction);  // before the orbitals give way
    BuildNaturalOrbitals(interaction, vState.Data(), out);
    return {chosen.dCorrection, chosen.dNextStateCorrection};
}

}  // namespace qsolve
