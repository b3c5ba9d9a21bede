#include <cstddef>

#include "ci/ci.h"
#include "ci/ci_log.h"
#include "ci/details.h"
#include "ci/spectrum.h"
#include "ci/state.h"
#include "job/state.h"
#include "link/link.h"
#include "setup/state.h"
#include "setup/validate_ci.h"

namespace qsolve {
namespace {

/// The states as they go to the client.
void KeepRecords(const CiStates& states, const StateProperties* pProperties) {
    ci.CiStateTable.Take(static_cast<std::size_t>(states.nConfigs), kWork);
    for (int k = 0; k < states.nConfigs; ++k)
        ci.CiStateTable[k] = RecordOf(k, states.vCiIndex[k], pProperties[k]);
    ci.nCiStates = states.nConfigs;
}

void ReportStates(const ScfLevels& levels, const Interaction& interaction, int nWanted) {
    const int nStates = interaction.States.nConfigs;
    Array<StateProperties> pProperties;
    pProperties.Take(static_cast<std::size_t>(nStates), kWork);
    FillProperties(levels, interaction, nStates, pProperties.Data());
    KeepRecords(interaction.States, pProperties.Data());
    if (AsksFor(options.nExtensions, 1U << kCiSection))
        KeepDetails(interaction, pProperties.Data(), nWanted, {nStates, 0.02}, ci.Details);
    LogSpectrum(interaction, pProperties.Data());
}

/// Says how large the matrix is; only an energy limit has not said it before.
void Announce(const Determinants& d) {
    setup.nCiConfigurations = d.nConfigs;
    if (options.nCiSelection != 1 && d.nConfigs > kLargeCi) Warn(kMsgLargeCi);
    StatusFormat(kMsgStartSinglesCi, d.nConfigs);
}

}  // namespace

CiEnergies RunSinglesCi(const ScfLevels& levels) {
    Interaction interaction;
    interaction.Window = ChooseWindow(levels.vLevel);
    PlaceSingles(interaction.Window, levels.vLevel, interaction.Configs);
    Announce(interaction.Configs);
    RequireMatrix(interaction.Configs.nConfigs);
    if (options.nLogLevel == 6 || options.nLogLevel == 8) LogMicrostates(interaction);
    Solve(levels, interaction);
    if (options.nLogLevel == 7 || options.nLogLevel == 8) LogCiVectors(interaction.States);
    const ChosenStates chosen = ChooseState(interaction.States);
    MoveToFront(chosen.nFirst, interaction.States);
    ReportStates(levels, interaction, options.fNextLowestState ? chosen.nWanted : 0);
    return {chosen.dCorrection, chosen.dNextStateCorrection};
}

}  // namespace qsolve
