#include <gtest/gtest.h>

#include <cstring>

#include "exchange/results.h"
#include "job/state.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

using Floats = std::vector<float>;

/// Selected: carbon (atom 3), hydrogen (1), capping carbon (5), and a dummy (4); chlorine (2) is
/// classical. Orbitals in the order of the selection: C 0 to 3, H 4, capping atom 5 to 8.
BareMolecule Mixed(bool fUnrestricted) {
    return {.Atoms = {{1, 1}, {17, 4}, {6, 4}, {0, 0}, {105 + 6, 4}},
            .Selection = {3, 1, 4, 5},
            .fUnrestricted = fUnrestricted};
}
constexpr int kOrbitals = 9;
/// The same in the order of the atoms.
constexpr int kInAtomOrder[kOrbitals] = {4, 0, 1, 2, 3, 5, 6, 7, 8};

class OrbitalDelivery : public FreshState {
  protected:
    OrbitalDelivery() { NewScriptedClient(); }

    /// Payloads from packet nFrom on, as one array.
    template <class T>
    static std::vector<T> From(std::size_t nFrom) {
        std::vector<unsigned char> bytes;
        for (std::size_t i = nFrom; i < client.Sent.size(); ++i) {
            const auto& payload = client.Sent[i].Payload;
            EXPECT_EQ(client.Sent[i].nType, 10);
            bytes.insert(bytes.end(), payload.begin(), payload.end());
        }
        std::vector<T> values(bytes.size() / sizeof(T));
        std::memcpy(values.data(), bytes.data(), values.size() * sizeof(T));
        return values;
    }

    /// Takes vectors of n orbitals: element i of row k is 100 k + i, more by nSpin thousands.
    static void TakeVectors(Array<double>& m, int n, int nSpin) {
        m.Take(static_cast<std::size_t>(n * n), kSetUp);
        for (int k = 0; k < n; ++k)
            for (int i = 0; i < n; ++i) m[n * k + i] = 1000 * nSpin + 100 * k + i;
    }

    /// Half the orbitals the wrong way round.
    static void ReverseOrder() {
        for (int k = 0; k < kOrbitals; ++k) results.Orbitals.vOrbitalOrder[k] = kOrbitals - 1 - k;
    }

    static Floats Expected(int nSpin, bool fReversed) {
        Floats expected;
        for (int k = 0; k < kOrbitals; ++k)
            for (const int i : kInAtomOrder)
                expected.push_back(static_cast<float>(
                    1000 * nSpin + 100 * (fReversed ? kOrbitals - 1 - k : k) + i));
        return expected;
    }
};

TEST_F(OrbitalDelivery, RowsAreScatteredFromSelectionToAtomOrder) {
    Build(Mixed(false));
    double mSource[2 * kOrbitals];
    float mTarget[2 * kOrbitals];
    for (int i = 0; i < 2 * kOrbitals; ++i) mSource[i] = i;
    ScatterOrbitalRows(mSource, mTarget, 2);
    for (int i = 0; i < kOrbitals; ++i) {
        EXPECT_EQ(mTarget[i], static_cast<float>(kInAtomOrder[i]));
        EXPECT_EQ(mTarget[kOrbitals + i], static_cast<float>(kOrbitals + kInAtomOrder[i]));
    }
}

TEST_F(OrbitalDelivery, GradientRowsLoseCappingAtomsInVibrationsOnly) {
    Build({.Atoms = {{105 + 6, 4}, {1, 1}, {17, 4}, {8, 4}}, .Selection = {4, 2, 1}});
    double mSource[18];
    for (int i = 0; i < 18; ++i) mSource[i] = i;
    float mTarget[18] = {};
    ScatterGradientRows(mSource, mTarget, 2);
    const Floats all{6, 7, 8, 3, 4, 5, 0, 1, 2, 15, 16, 17, 12, 13, 14, 9, 10, 11};
    EXPECT_EQ(Floats(mTarget, mTarget + 18), all);

    job.nCalcKind = kVibrations;  // the rows are shorter then
    ScatterGradientRows(mSource, mTarget, 2);
    const Floats real{3, 4, 5, 0, 1, 2, 9, 10, 11, 6, 7, 8};
    EXPECT_EQ(Floats(mTarget, mTarget + 12), real);
}

TEST_F(OrbitalDelivery, DataOfARestrictedJobHave24BytesAnOrbitalAndFour) {
    Build(Mixed(false));
    OrbitalResults& orbitals = results.Orbitals;
    for (int i = 0; i < kOrbitals; ++i) {
        const auto fl = static_cast<float>(i);
        orbitals.vOrbitalEnergy[i] = -fl;
        orbitals.vOccupancy[i] = fl + 0.5F;
        orbitals.vOrbitalOrder[i] = 10 * i;
        orbitals.vPopulation[i] = fl;
        orbitals.vSymmetryIndex[i] = 100 * i;
    }
    std::memcpy(orbitals.sSymmetryLabel[8], "T2gX", 4);
    std::memcpy(orbitals.sPointGroup, "C2v", 4);
    SendOrbitalData();

    ASSERT_EQ(client.Sent.size(), 2u);
    EXPECT_EQ(From<int>(0)[0], kOrbitals);
    EXPECT_EQ(client.Sent[0].Payload.size(), 4u);
    ASSERT_EQ(client.Sent[1].Payload.size(), 24u * kOrbitals + 4);
    const Floats floats = From<float>(1);
    const std::vector<int> ints = From<int>(1);
    for (std::size_t i = 0; i < kOrbitals; ++i) {
        const auto fl = static_cast<float>(i);
        EXPECT_EQ(floats[i], -fl);
        EXPECT_EQ(floats[kOrbitals + i], fl + 0.5F);
        EXPECT_EQ(ints[2 * kOrbitals + i], static_cast<int>(10 * i));
        EXPECT_EQ(floats[3 * kOrbitals + i], static_cast<float>(kInAtomOrder[i]));
        EXPECT_EQ(ints[4 * kOrbitals + i], static_cast<int>(100 * i));
    }
    const auto& payload = client.Sent[1].Payload;
    EXPECT_EQ(std::string(payload.end() - 40, payload.end()),
              std::string("  ?\0  ?\0  ?\0  ?\0  ?\0  ?\0  ?\0  ?\0T2gXC2v\0", 40));
}

TEST_F(OrbitalDelivery, BetaDataFollowAndRepeatTheSymmetryOfAlpha) {
    Build(Mixed(true));
    OrbitalResults& orbitals = results.Orbitals;
    for (int i = 0; i < 2 * kOrbitals; ++i) {
        orbitals.vPopulation[i] = static_cast<float>(i);
        orbitals.vSymmetryIndex[i] = i;
        std::memcpy(orbitals.sSymmetryLabel[i], i < kOrbitals ? "A1g" : "???", 4);
    }
    SendOrbitalData();
    EXPECT_EQ(From<int>(0)[0], 2 * kOrbitals);
    ASSERT_EQ(client.Sent[1].Payload.size(), 24u * 2 * kOrbitals + 4);
    const Floats floats = From<float>(1);
    const std::vector<int> ints = From<int>(1);
    const std::size_t nPopulation = 3 * 2 * kOrbitals, nIndex = 4 * 2 * kOrbitals;
    for (std::size_t i = 0; i < kOrbitals; ++i) {
        EXPECT_EQ(floats[nPopulation + i], static_cast<float>(kInAtomOrder[i]));
        EXPECT_EQ(floats[nPopulation + kOrbitals + i],
                  static_cast<float>(kOrbitals + kInAtomOrder[i]));
        EXPECT_EQ(ints[nIndex + i], static_cast<int>(i));
        EXPECT_EQ(ints[nIndex + kOrbitals + i], static_cast<int>(i));
    }
    const auto& payload = client.Sent[1].Payload;
    EXPECT_EQ(std::string(payload.begin(), payload.end()).find("???"), std::string::npos);
}

TEST_F(OrbitalDelivery, PopulationsAreTheSameEachTimeTheyAreSent) {
    Build(Mixed(false));
    for (int i = 0; i < kOrbitals; ++i) results.Orbitals.vPopulation[i] = static_cast<float>(i);
    SendOrbitalData();
    SendOrbitalData();
    EXPECT_EQ(client.Sent[1].Payload, client.Sent[3].Payload);
    EXPECT_EQ(results.Orbitals.vPopulation[0], 0);
}

TEST_F(OrbitalDelivery, VectorsGoInTheOrderOfTheirEnergies) {
    Build(Mixed(false));
    TakeVectors(scf.mVectorsA, kOrbitals, 0);
    ReverseOrder();
    SendEigenvectors();
    EXPECT_EQ(From<float>(0), Expected(0, true));
}

TEST_F(OrbitalDelivery, BetaVectorsFollowInPacketsOfTheirOwn) {
    Build(Mixed(true));
    TakeVectors(scf.mVectorsA, kOrbitals, 1);
    TakeVectors(scf.mVectorsB, kOrbitals, 2);
    ReverseOrder();
    for (int k = 0; k < kOrbitals; ++k) results.Orbitals.vOrbitalOrder[kOrbitals + k] = k;
    SendEigenvectors();
    ASSERT_EQ(client.Sent.size(), 2u);
    EXPECT_EQ(From<float>(1), Expected(2, false));
    client.Sent.pop_back();
    EXPECT_EQ(From<float>(0), Expected(1, true));
}

TEST_F(OrbitalDelivery, VectorsThatDoNotExistAreZeros) {
    setup.nOrbitals = 70;
    SendEigenvectors();
    ASSERT_EQ(client.Sent.size(), 2u);
    EXPECT_EQ(From<float>(0), Floats(70 * 70, 0.0F));
    client.Sent.clear();
    options.nSpinTreatment = 1;
    SendEigenvectors();
    EXPECT_EQ(From<float>(0), Floats(2 * 70 * 70, 0.0F));
}

TEST_F(OrbitalDelivery, VectorsOfASetUpThatRanOutOfMemoryAreZeros) {
    setup.nOrbitals = 6;
    options.nSpinTreatment = 1;
    scf.mVectorsA.Take(36, kSetUp);  // and none of beta, nor anything to remember
    SendEigenvectors();
    EXPECT_EQ(From<float>(0), Floats(2 * 36, 0.0F));
}

TEST_F(OrbitalDelivery, WithoutOrbitalsNoVectorsAreSent) {
    SendEigenvectors();
    EXPECT_TRUE(client.Sent.empty());
}

TEST_F(OrbitalDelivery, LaterOptionsDoNotChangeWhichVectorsThereAre) {
    Build(Mixed(false));
    TakeVectors(scf.mVectorsA, kOrbitals, 0);
    options.nSpinTreatment = 1;
    SendEigenvectors();
    EXPECT_EQ(From<float>(0).size(), 81u);
}

TEST_F(OrbitalDelivery, AtomsOfAnotherMoleculeThanTheOrbitalsHaveNone) {
    Build(Mixed(false));
    TakeVectors(scf.mVectorsA, kOrbitals, 0);
    // A later intake brings more atoms; map and vectors are still those of the first molecule.
    system.nAtoms = system.nSelected = 40;
    system.pAtoms.Take(40, kIntake);
    system.nAtomToSelected.Take(40, kIntake);
    for (int i = 0; i < 40; ++i) {
        system.pAtoms[i].nAtomicNumber = 1;
        system.nAtomToSelected[i] = 40 - i;
    }
    SendEigenvectors();
    ASSERT_EQ(From<float>(0).size(), 81u);
    EXPECT_EQ(From<float>(0)[0], 5);  // position 3 of the map comes first now
}

}  // namespace
}  // namespace qsolve
