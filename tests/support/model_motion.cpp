#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "gradient/state.h"
#include "link/link.h"
#include "setup/state.h"
#include "tests/support/model_motion.h"

namespace qsolve {

namespace {

std::vector<float> FloatsOf(const SentPacket& packet) {
    std::vector<float> v(packet.Payload.size() / sizeof(float));
    std::memcpy(v.data(), packet.Payload.data(), packet.Payload.size());
    return v;
}

/// The block stands between velocities, if any, and places.
std::vector<MotionReport> ReportsOf(const std::vector<SentPacket>& sent) {
    std::vector<MotionReport> reports;
    std::vector<float> before;
    bool fPlaces = false;
    for (const SentPacket& packet : sent) {
        if (packet.nType != kPacketData) continue;
        if (packet.Payload.size() == sizeof(ResultBlock)) {
            MotionReport& report = reports.emplace_back();
            report.Velocities = std::exchange(before, {});
            std::memcpy(&report.Block, packet.Payload.data(), sizeof report.Block);
            fPlaces = true;
        } else if (std::exchange(fPlaces, false)) {
            reports.back().Places = FloatsOf(packet);
        } else {
            before = FloatsOf(packet);
        }
    }
    return reports;
}

/// The derivative of an energy of the distance between the first two atoms.
void AddPairForce(const std::vector<double>& x, double dSlope, double r, std::vector<double>& g) {
    for (std::size_t k = 0; k < 3; ++k) {
        const double d = dSlope * (x[k] - x[3 + k]) / r;
        g[k] += d;
        g[3 + k] -= d;
    }
}

double PairDistance(const std::vector<double>& x) {
    return std::hypot(x[0] - x[3], x[1] - x[4], x[2] - x[5]);
}

}  // namespace

MotionTest::MotionTest() {
    job = JobOptions{};
    link.fShowWarnings = true;
    job.nRandomSeed = 1;
    job.flStartTemp = job.flSimTemp = job.flFinalTemp = 300.0F;
    job.flTempStep = 30.0F;
}

void MotionTest::Atoms(const std::vector<double>& x, float flMass, std::vector<int> selection) {
    Start_ = x;
    Selection_ = std::move(selection);
    flMass_ = flMass;
}

void MotionTest::Steps(double dTimeStep, int nSteps, int nPeriod) {
    job.flTimeStep = static_cast<float>(dTimeStep);
    job.flRunTime = static_cast<float>(dTimeStep * nSteps);
    job.nReportPeriod = nPeriod;
}

void MotionTest::Heat(int nSteps, float flFrom, float flTo, float flStep) {
    job.flHeatTime = job.flTimeStep * static_cast<float>(nSteps);
    job.flStartTemp = flFrom;
    job.flSimTemp = flTo;
    job.flTempStep = flStep;
}

void MotionTest::Cool(int nSteps, float flTo, float flStep) {
    job.flCoolTime = job.flTimeStep * static_cast<float>(nSteps);
    job.flFinalTemp = flTo;
    job.flTempStep = flStep;
}

void MotionTest::Run(CalcKind nKind, Potential energy, const std::vector<float>& velocities) {
    const int nMethod = system.MethodId != 0 ? system.MethodId : 5;
    NewScriptedClient();
    const MotionWishes wishes = further.Motion;
    system = SystemState{};
    Place(Start_, Selection_);
    system.MethodId = nMethod;
    system.nAtomsActive = system.nSelected;
    for (AtomRecord& atom : system.pAtoms) atom.flMass = flMass_;
    if (CapLast) system.pAtoms[system.nAtoms - 1].nState = kCapping;
    if (CapLast) system.nCapping = 1;
    further.Motion = wishes;
    setup.fFinalReport = false;
    results.Block = ResultBlock{};
    model = ModelState{};
    model.Energy = std::move(energy);
    job.nCalcKind = nKind;
    job.fRestartVelocities = velocities.empty() ? 0 : 1;
    if (!velocities.empty()) client.Poke(velocities.data(), velocities.size() * sizeof(float));
    if (nKind == kMolecularDynamics) RunMolecularDynamics();
    if (nKind == kLangevinDynamics) RunLangevin();
    if (nKind == kMonteCarlo) RunMonteCarlo();
    Reports = ReportsOf(client.Sent);
}

std::string MotionTest::Failure(CalcKind nKind, Potential energy) {
    try {
        Run(nKind, std::move(energy));
    } catch (const Unwinding&) {
        return client.Errors().empty() ? "no text" : client.Errors().back();
    }
    return "";
}

Potential Nothing() {
    return [](const std::vector<double>&, std::vector<double>&) { return 0.0; };
}

Potential Spring(double dForce, double dLength) {
    return [=](const std::vector<double>& x, std::vector<double>& g) {
        const double r = PairDistance(x);
        AddPairForce(x, dForce * (r - dLength), r, g);
        return 0.5 * dForce * (r - dLength) * (r - dLength);
    };
}

Potential Morse(double dDepth, double dRange, double dLength) {
    return [=](const std::vector<double>& x, std::vector<double>& g) {
        const double r = PairDistance(x), e = std::exp(-dRange * (r - dLength));
        AddPairForce(x, 2.0 * dDepth * dRange * e * (1.0 - e), r, g);
        return dDepth * (1.0 - e) * (1.0 - e);
    };
}

}  // namespace qsolve
