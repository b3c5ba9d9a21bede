#include "tests/support/ci_case.h"

#include "job/methods.h"
#include "job/state.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {

const std::vector<Place> kBentWater = {{8, 0, 0, 0}, {1, 0.1, 0.75, -0.6}, {1, -0.05, -0.8, -0.55}};
const std::vector<Place> kBentFormaldehyde = {
    {8, 0, 0, 0}, {6, 0.05, 0, -1.22}, {1, 0.13, 0.93, -1.81}, {1, -0.2, -0.95, -1.74}};
const std::vector<Place> kBentMethyl = {
    {6, 0, 0, 0}, {1, 1.08, 0.02, 0.1}, {1, -0.5, 0.95, 0}, {1, -0.55, -0.94, 0.05}};

void RunCase(const CiCase& c) {
    JobScript script = Molecule(c.nMethod, c.Places);
    script.Options.flConvergenceLimit = 1e-9F;
    script.Options.nIterationLimit = 300;
    script.Options.nMultiplicity = c.nMultiplicity;
    script.Options.fNextLowestState = c.fNextLowest ? 1 : 0;
    EnergyOf(script);
    options.nCiKind = c.fMicrostates ? kMicrostates : kSingles;
    options.nCiSelection = 1;
    options.nCiOccupied = c.nOccupied;
    options.nCiUnoccupied = c.nUnoccupied;
}

ScfLevels LevelsOfScf() {
    // The correction is what an interaction replaces.
    const double dKcal = KcalPerUnit(system.MethodId);
    return {.vEnergy = scf.vEnergyA.Data(),
            .vLevel = scf.vLevelA.Data(),
            .mVectors = scf.mVectorsA.Data(),
            .dEnergy = (scf.dElectronic - scf.dStateCorrection) / dKcal,
            .dCoreEnergy = scf.dCoreRepulsion / dKcal,
            .vOrigin = scf.dChargeOrigin};
}

void PlaceConfigurations(Interaction& ci) {
    ci.Window = ChooseWindow(scf.vLevelA.Data());
    if (options.nCiKind == kMicrostates)
        PlaceMicrostates(ci.Window, ci.Configs);
    else
        PlaceSingles(ci.Window, scf.vLevelA.Data(), ci.Configs);
}

void SolveCase(const CiCase& c, Interaction& ci) {
    RunCase(c);
    PlaceConfigurations(ci);
    Solve(LevelsOfScf(), ci);
}

Vector VectorOf(const Interaction& ci, int nPlace) {
    std::vector<double> v(static_cast<std::size_t>(ci.Configs.nConfigs));
    TakeState(ci.States, nPlace, v.data());
    Vector result;
    for (int k = 0; k < ci.Configs.nConfigs; ++k)
        result[BitsOf(ci.Configs, k)] = v[static_cast<std::size_t>(k)];
    return result;
}

std::vector<CiCase> AllCases() {
    std::vector<CiCase> all;
    for (const bool fMicrostates : {false, true}) {
        for (const int nMethod : {kCndo, kIndo, kZindo1, kZindoS, kMindo3, kAm1}) {
            all.push_back({nMethod, kBentWater, 1, false, fMicrostates, 3, 2});
            all.push_back({nMethod, kBentMethyl, 2, false, fMicrostates, 2, 2});
            all.push_back({nMethod, kBentFormaldehyde, 3, false, fMicrostates, 3, 2});
            all.push_back({nMethod, kBentFormaldehyde, 1, true, fMicrostates, 2, 3});
        }
        all.push_back({kMndoD,
                       {{16, 0, 0, 0}, {8, 1.4, 0.1, 0.2}, {8, -0.6, 1.3, -0.1}},
                       1,
                       false,
                       fMicrostates,
                       2,
                       2});
        all.push_back({kPm3, kBentMethyl, 4, false, fMicrostates, 3, 2});
    }
    return all;
}

std::string NameOf(const CiCase& c) {
    static const char* kNames[] = {"",    "Cndo", "Indo",   "Mindo3", "Mndo",
                                   "Am1", "Pm3",  "Zindo1", "ZindoS", "MndoD"};
    return std::string(kNames[c.nMethod]) + (c.fMicrostates ? "Microstates" : "Singles") +
           (c.fNextLowest ? "NextLowest" : "Multiplicity" + std::to_string(c.nMultiplicity));
}

}  // namespace qsolve
