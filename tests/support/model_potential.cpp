#include "tests/support/model_potential.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <utility>

#include "gradient/state.h"
#include "job/state.h"
#include "link/state.h"
#include "properties/state.h"
#include "scf/energies.h"
#include "scf/scf.h"
#include "scf/state.h"

namespace qsolve {

ModelState model;

void RunScf() {
    ++scf.nScfRuns;
    ++model.nRuns;
    results.Block.nEnergyPoints = scf.nScfRuns;
    const std::vector<double> x(system.pCoords.begin(), system.pCoords.end());
    std::vector<double> g(x.size(), 0.0);
    scf.dTotalEnergy = model.Energy(x, g);
    model.Path.push_back(x);
    model.Energies.push_back(scf.dTotalEnergy);
    for (int i = 0; i < 3 * system.nSelected; ++i) {
        const int nAtom = system.nSelectedAtoms[i / 3] - 1;
        gradient.pGradient[i] = g[static_cast<std::size_t>(3 * nAtom + i % 3)];
    }
    gradient.fComputed = !model.fNoGradient;
    if (model.Dipole) {
        const std::array<double, 3> vDipole = model.Dipole(x);
        std::copy(vDipole.begin(), vDipole.end(), properties.dDipoleTable[3]);
    }
    ++scf.Account.nRuns;
    scf.Account.nCycles = 1;
    scf.Account.fConverged = model.nUnconverged-- <= 0;
    FinishGradient(1.0);
    if (job.nCalcKind == kMonteCarlo)
        results.Block.flTotalEnergy = static_cast<float>(scf.dTotalEnergy);
}

void ForgetDensity() {
    ++model.nForgotten;
}

ModelTest::ModelTest() {
    NewScriptedClient();
    model = ModelState{};
    job.nCalcKind = kOptimisation;
    link.fShowWarnings = true;
}

void ModelTest::Place(const std::vector<double>& x, std::vector<int> selection) {
    BareMolecule molecule;
    for (std::size_t i = 0; i < x.size(); i += 3)
        molecule.Atoms.push_back({1, 1, x[i], x[i + 1], x[i + 2]});
    molecule.Selection = std::move(selection);
    Build(molecule);
    gradient.pGradient.Take(static_cast<std::size_t>(system.nSelected), 3, kIntake);
}

void ModelTest::Start(Potential energy) {
    model.Energy = std::move(energy);
    RunScf();
}

double ModelTest::DistanceFrom(const std::vector<double>& x) {
    double d = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) d += std::pow(system.pCoords[i] - x[i], 2);
    return std::sqrt(d);
}

std::vector<ResultBlock> ModelTest::Blocks() {
    std::vector<ResultBlock> blocks;
    for (const SentPacket& packet : client.Sent) {
        if (packet.nType != kPacketData || packet.Payload.size() != sizeof(ResultBlock)) continue;
        std::memcpy(&blocks.emplace_back(), packet.Payload.data(), sizeof(ResultBlock));
    }
    return blocks;
}

Potential Bowl(std::vector<double> vForce, std::vector<double> vMinimum) {
    return [=](const std::vector<double>& x, std::vector<double>& g) {
        double dEnergy = 0.0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            const double d = x[i] - vMinimum[i];
            dEnergy += 0.5 * vForce[i] * d * d;
            g[i] += vForce[i] * d;
        }
        return dEnergy;
    };
}

Potential LennardJones() {
    return [](const std::vector<double>& x, std::vector<double>& g) {
        double dEnergy = 0.0;
        for (std::size_t a = 0; a < x.size(); a += 3)
            for (std::size_t b = 0; b < a; b += 3) {
                double r2 = 0.0;
                for (std::size_t k = 0; k < 3; ++k) r2 += std::pow(x[a + k] - x[b + k], 2);
                const double s = 1.0 / (r2 * r2 * r2);
                dEnergy += 10.0 * (s * s - 2.0 * s);
                for (std::size_t k = 0; k < 3; ++k) {
                    const double d = 120.0 * (s - s * s) / r2 * (x[a + k] - x[b + k]);
                    g[a + k] += d;
                    g[b + k] -= d;
                }
            }
        return dEnergy;
    };
}

Potential Valley() {
    return [](const std::vector<double>& x, std::vector<double>& g) {
        const double u = x[1] - x[0] * x[0], v = 1.0 - x[0];
        g[0] += -400.0 * x[0] * u - 2.0 * v;
        g[1] += 200.0 * u;
        double dEnergy = 100.0 * u * u + v * v;
        for (std::size_t i = 2; i < x.size(); ++i) {
            dEnergy += x[i] * x[i];
            g[i] += 2.0 * x[i];
        }
        return dEnergy;
    };
}

}  // namespace qsolve
