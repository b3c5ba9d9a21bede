#include "geometry/displacements.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "gradient/state.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/matrices.h"
#include "tests/support/model_potential.h"

namespace qsolve {
namespace {

/// x K x / 2 about the origin for a symmetric K over all coordinates.
Potential Quadratic(const TestMatrix& k) {
    return [=](const std::vector<double>& x, std::vector<double>& g) {
        double dEnergy = 0.0;
        for (int i = 0; i < k.nRows; ++i)
            for (int j = 0; j < k.nRows; ++j) {
                const auto a = static_cast<std::size_t>(i), b = static_cast<std::size_t>(j);
                dEnergy += 0.5 * k(i, j) * x[a] * x[b];
                g[a] += k(i, j) * x[b];
            }
        return dEnergy;
    };
}

class Displacements : public ModelTest {
  protected:
    static constexpr int kOne = 1;  ///< no workers

    /// nAtoms atoms in general places on a potential, all selected or as told.
    void Prepare(int nAtoms, Potential energy, std::vector<int> selection = {}) {
        std::vector<double> x;
        Randoms randoms(5);
        for (int i = 0; i < 3 * nAtoms; ++i) x.push_back(2.0 * randoms.Number());
        Place(x, std::move(selection));
        job.nCalcKind = kVibrations;
        options.flConvergenceLimit = 1e-6F;
        options.nLogLevel = 10;
        Start(std::move(energy));
    }
    TestMatrix Compute(int nAtoms, int nWorkers = kOne) {
        TestMatrix hessian(3 * nAtoms, 3 * nAtoms, 7.0);
        dipoles = TestMatrix(3 * nAtoms, 3, 7.0);
        report = ComputeDifferences(kForceMatrixScheme, nAtoms, nWorkers, hessian.Data(),
                                    dipoles.Data());
        return hessian;
    }
    static bool HasNoChild() { return waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD; }

    TestMatrix dipoles{0, 0};
    DifferenceReport report;
};

TEST_F(Displacements, GiveTheMatrixOfAQuadraticPotential) {
    const TestMatrix k = RandomSymmetric(9, 1);
    Prepare(3, Quadratic(k));
    EXPECT_LE(LargestDifference(Compute(3), k), 1e-11);
    EXPECT_EQ(report.nPoints, 18);
    EXPECT_EQ(report.nWorkers, 0);
}

// The error of a central difference is h^2/6 times the fourth derivative.
TEST_F(Displacements, AreOfSecondOrder) {
    const double d = 1.2, r = 1.1, a = 2.0;
    Prepare(2, [=](const std::vector<double>& x, std::vector<double>& g) {
        const double q = 1.0 - std::exp(-a * (x[3] - x[0] - r));
        const double dSlope = 2.0 * d * a * q * (1.0 - q);
        g[3] += dSlope;
        g[0] -= dSlope;
        return d * q * q;
    });
    system.pCoords[3] = system.pCoords[0] + 1.3;
    const double e = std::exp(-a * 0.2), dExact = 2.0 * d * a * a * e * (2.0 * e - 1.0);
    const double dFourth = 2.0 * d * std::pow(a, 4) * e * (8.0 * e - 1.0), h = 1.0 / 240.0;
    const TestMatrix hessian = Compute(2);
    EXPECT_NEAR(hessian(3, 3), dExact + h * h / 6.0 * dFourth, 2e-7);
    EXPECT_NEAR(hessian(0, 3), -hessian(3, 3), 1e-11);
}

TEST_F(Displacements, FollowTheSelectionAndLeaveOutWhatIsBehind) {
    const TestMatrix k = RandomSymmetric(12, 2);
    Prepare(4, Quadratic(k), {4, 1, 3});
    const TestMatrix hessian = Compute(2);  // the third is a capping atom
    const int vPlaces[] = {9, 10, 11, 0, 1, 2};
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j) EXPECT_NEAR(hessian(i, j), k(vPlaces[i], vPlaces[j]), 1e-11);
}

TEST_F(Displacements, LeaveTheRowsOfDummiesEmpty) {
    const TestMatrix k = RandomSymmetric(9, 3);
    Prepare(3, Quadratic(k));
    system.pAtoms[1].nAtomicNumber = 0;
    const TestMatrix hessian = Compute(3);
    EXPECT_EQ(report.nPoints, 12);
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(dipoles(4, i % 3), 0.0);
        EXPECT_EQ(i / 3 == 1 ? hessian(i, 4) : 0.0, 0.0);
    }
    EXPECT_NEAR(hessian(0, 8), k(0, 8), 1e-11);
}

TEST_F(Displacements, DifferentiateTheDipole) {
    Prepare(2, Quadratic(RandomSymmetric(6, 4)));
    const TestMatrix q = RandomMatrix(6, 3, 6);
    model.Dipole = [=](const std::vector<double>& x) {
        std::array<double, 3> v = {};
        for (int i = 0; i < 6; ++i)
            for (std::size_t c = 0; c < 3; ++c)
                v[c] += q(i, static_cast<int>(c)) * x[static_cast<std::size_t>(i)];
        return v;
    };
    Compute(2);
    EXPECT_LE(LargestDifference(dipoles, q), 1e-12);
}

TEST_F(Displacements, GiveEverythingBack) {
    Prepare(3, Quadratic(RandomSymmetric(9, 1)));
    setup.fFinalReport = true;
    const std::vector<double> before(system.pCoords.begin(), system.pCoords.end());
    Compute(3);
    EXPECT_EQ(std::memcmp(before.data(), system.pCoords.Data(), sizeof(double) * 9), 0);
    EXPECT_EQ(options.flConvergenceLimit, 1e-6F);
    EXPECT_TRUE(setup.fFinalReport);
    for (const auto& x : model.Path) EXPECT_EQ(x.size(), 9u);
}

TEST_F(Displacements, GiveEverythingBackWhenTheyFail) {
    const TestMatrix k = RandomSymmetric(9, 1);
    Prepare(3, [=](const std::vector<double>& x, std::vector<double>& g) {
        if (model.nRuns == 8) Fatal(kMsgOutOfMemory);
        return Quadratic(k)(x, g);
    });
    const std::vector<double> before(system.pCoords.begin(), system.pCoords.end());
    EXPECT_THROW(Compute(3), Unwinding);
    EXPECT_EQ(std::memcmp(before.data(), system.pCoords.Data(), sizeof(double) * 9), 0);
    EXPECT_EQ(options.flConvergenceLimit, 1e-6F);
}

TEST_F(Displacements, AskForATighterLimitAndNoReport) {
    float flLimit = 0.0F;
    bool fReport = true;
    Prepare(1, [&](const std::vector<double>&, std::vector<double>&) {
        flLimit = options.flConvergenceLimit;
        fReport = setup.fFinalReport;
        return 0.0;
    });
    setup.fFinalReport = true;
    Compute(1);
    EXPECT_FLOAT_EQ(flLimit, 1e-11F);
    EXPECT_FALSE(fReport);
}

TEST_F(Displacements, TellTenthsOfTheAtoms) {
    Prepare(3, Quadratic(RandomSymmetric(9, 1)));
    Compute(3);
    const std::vector<std::string> expected = {"Computing the force matrix: done 30%.",
                                               "Computing the force matrix: done 60%.",
                                               "Computing the force matrix: done 100%."};
    EXPECT_EQ(client.Texts(kPacketStatusLine), expected);
    client.Sent.clear();
    Prepare(25, Quadratic(RandomSymmetric(75, 1)));
    Compute(25);
    EXPECT_EQ(client.Texts(kPacketStatusLine).size(), 10u);
}

TEST_F(Displacements, CountWhatHasNotConverged) {
    Prepare(2, Quadratic(RandomSymmetric(6, 1)));
    model.nUnconverged = 5;  // each is tried twice
    Compute(2);
    EXPECT_EQ(report.nUnconverged, 2);
    EXPECT_EQ(model.nRuns, 1 + 12 + 3);
}

TEST_F(Displacements, TakeTheLongRoadWhereTheShortOneDoesNotConverge) {
    std::vector<bool> roads;
    Prepare(1, [&](const std::vector<double>&, std::vector<double>&) {
        roads.push_back(scf.fNearStart);
        return 0.0;
    });
    roads.clear();
    model.nUnconverged = 1;
    Compute(1);
    EXPECT_EQ(roads, (std::vector<bool>{true, false, true, true, true, true, true}));
    EXPECT_FALSE(scf.fNearStart);
    EXPECT_EQ(report.nUnconverged, 0);
}

// ---- workers ------------------------------------------------------------------------------------

TEST_F(Displacements, AreTheSameToTheLastBitWithWorkers) {
    const TestMatrix k = RandomSymmetric(21, 1);
    const auto Rough = [=](const std::vector<double>& x, std::vector<double>& g) {
        for (std::size_t i = 0; i < x.size(); ++i) g[i] += std::sin(31.0 * x[i]) * std::exp(x[0]);
        return Quadratic(k)(x, g);
    };
    Prepare(7, Rough);
    const TestMatrix alone = Compute(7);
    for (const int nWorkers : {2, 3, 40}) {
        Prepare(7, Rough);
        const int nRuns = scf.Account.nRuns;
        const TestMatrix shared = Compute(7, nWorkers);
        EXPECT_EQ(report.nWorkers, std::min(nWorkers, 21));
        EXPECT_EQ(std::memcmp(alone.Data(), shared.Data(), 21 * 21 * sizeof(double)), 0);
        EXPECT_EQ(report.nPoints, 42);
        EXPECT_EQ(report.nCycles, 42);
        EXPECT_EQ(scf.Account.nRuns - nRuns, 42);
        EXPECT_EQ(client.Texts(kPacketStatusLine).back(), "Computing the force matrix: done 100%.");
        EXPECT_TRUE(HasNoChild());
    }
}

TEST_F(Displacements, AreComputedAloneWhenEachScfIsLogged) {
    Prepare(2, Quadratic(RandomSymmetric(6, 1)));
    options.nLogLevel = 4;
    Compute(2, 2);
    EXPECT_EQ(report.nWorkers, 0);
}

TEST_F(Displacements, EndWithAWorkerThatIsKilled) {
    const pid_t nOwn = getpid();
    Prepare(7, [=](const std::vector<double>&, std::vector<double>&) {
        if (getpid() != nOwn && model.nRuns > 5) raise(SIGKILL);
        return 0.0;
    });
    EXPECT_THROW(Compute(7, 2), Unwinding);
    EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgWorkerLost)});
    EXPECT_TRUE(HasNoChild());
    EXPECT_EQ(options.flConvergenceLimit, 1e-6F);
}

TEST_F(Displacements, EndWithAWorkerThatFailsAndItsText) {
    const pid_t nOwn = getpid();
    Prepare(7, [=](const std::vector<double>&, std::vector<double>&) {
        if (getpid() != nOwn && model.nRuns > 5) Fatal(kMsgOutOfMemory);
        return 0.0;
    });
    EXPECT_THROW(Compute(7, 2), Unwinding);
    ASSERT_FALSE(client.Errors().empty());
    EXPECT_EQ(client.Errors()[0], MessageText(kMsgOutOfMemory));
    EXPECT_TRUE(HasNoChild());
}

TEST_F(Displacements, PassTheWarningsOfWorkersOn) {
    Prepare(2, [](const std::vector<double>&, std::vector<double>&) {
        Warn(kMsgFloatingPoint);
        return 0.0;
    });
    client.Sent.clear();
    Compute(2, 2);
    EXPECT_EQ(client.Warnings().size(), 12u);
}

TEST_F(Displacements, EndTheirWorkersWhenTheClientLeaves) {
    Prepare(2, [](const std::vector<double>&, std::vector<double>&) { return 0.0; });
    const pid_t nOwn = getpid();
    model.Energy = [=](const std::vector<double>&, std::vector<double>&) {
        if (getpid() != nOwn) pause();
        return 0.0;
    };
    link.fInSession = true;
    client.DuringPump = [] { link.fConversation = false; };
    EXPECT_THROW(Compute(2, 2), LinkStop);
    EXPECT_TRUE(HasNoChild());
}

}  // namespace
}  // namespace qsolve
