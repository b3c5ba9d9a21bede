#include "tests/support/job_script.h"

#include <cstring>

#include "session/session.h"
#include "setup/state.h"
#include "tests/support/parameter_files.h"
#include "tests/support/scripted_client.h"

namespace qsolve {

namespace {

void PokeAtoms(const JobScript& script) {
    client.Poke(static_cast<int>(script.Atoms.size()));
    for (std::size_t i = 0; i < script.Atoms.size(); i += kAtomsPerChunk) {
        const std::size_t n = std::min(script.Atoms.size() - i, std::size_t{kAtomsPerChunk});
        client.Poke(&script.Atoms[i], n * sizeof(AtomRecord));
    }
}

void PokeFurther(const JobScript& script) {
    client.Poke(SectionsHead{.nCount = static_cast<int>(script.Further.size())});
    for (std::size_t i = 0; i < script.Further.size(); i += kMaxPayload)
        client.Poke(&script.Further[i],
                    std::min(script.Further.size() - i, std::size_t{kMaxPayload}));
}

void PokeRestraints(const JobScript& script) {
    int nCounts[4];
    for (int k = 0; k < 4; ++k) nCounts[k] = static_cast<int>(script.Restraints[k].size());
    client.Poke(nCounts);
    for (const auto& list : script.Restraints)
        if (!list.empty()) client.Poke(list.data(), list.size() * sizeof(RestraintRecord));
}

void PokeSelection(const JobScript& script) {
    std::vector<int> numbers;
    for (std::size_t i = 0; i < script.Atoms.size(); ++i)
        if (script.Atoms[i].nState == kSelected) numbers.push_back(static_cast<int>(i) + 1);
    if (numbers.empty())
        for (std::size_t i = 0; i < script.Atoms.size(); ++i)
            numbers.push_back(static_cast<int>(i) + 1);
    SelectionBlock head;
    head.nFirstAtom = head.nFirstOrbital = 1;
    head.nLastAtom = head.nAtomEstimate = static_cast<int>(numbers.size());
    head.nOrbitalsOnNode = head.nOrbitalEstimate = 4 * head.nLastAtom;
    head.MethodId = script.nMethod;
    std::vector<unsigned char> block(sizeof head + 4 * numbers.size());
    std::memcpy(block.data(), &head, sizeof head);
    std::memcpy(block.data() + sizeof head, numbers.data(), 4 * numbers.size());
    client.Poke(block.data(), block.size());
}

}  // namespace

AtomRecord& JobScript::Add(int nAtomicNumber, float flX, float flY, float flZ, int nState) {
    AtomRecord atom;
    atom.nAtomicNumber = nAtomicNumber;
    atom.nState = nState;
    atom.flX = flX;
    atom.flY = flY;
    atom.flZ = flZ;
    atom.flMass = nAtomicNumber > 0 ? static_cast<float>(kAtomicMass[nAtomicNumber - 1]) : 1.0F;
    Atoms.push_back(atom);
    return Atoms.back();
}

void JobScript::AddSection(int nKind, const std::vector<double>& values) {
    const std::size_t nBytes = values.size() * sizeof(double), nStart = Further.size();
    const SectionHead head{.nKind = nKind, .nBytes = static_cast<int>(nBytes)};
    Further.resize(nStart + sizeof head + nBytes);
    std::memcpy(&Further[nStart], &head, sizeof head);
    std::memcpy(&Further[nStart] + sizeof head, values.data(), nBytes);
}

void JobScript::Bond(int i, int j) {
    AtomRecord& a = Atoms[static_cast<std::size_t>(i)];
    AtomRecord& b = Atoms[static_cast<std::size_t>(j)];
    a.nBonded[a.nBonds++] = j;
    b.nBonded[b.nBonds++] = i;
}

JobScript Water(int nMethod) {
    JobScript script;
    script.nMethod = nMethod;
    script.Options.fCalculate = 1;
    script.Options.flConvergenceLimit = 1e-6F;
    script.Options.nIterationLimit = 200;
    script.Options.nMultiplicity = 1;
    script.Options.fDiis = 1;
    script.Options.nLevelShiftStart = 1;
    script.Options.flOverlapSigma = nMethod == kZindoS ? 1.267F : 1.0F;
    script.Options.flOverlapPi = nMethod == kZindoS ? 0.585F : 1.0F;
    script.Job.nReportPeriod = 1;
    script.Job.fShowWarnings = 1;
    script.Add(8, 0.0F, 0.0F, 0.0F);
    script.Add(1, 0.9572F, 0.0F, 0.0F);
    script.Add(1, -0.2399872F, 0.9266272F, 0.0F);
    script.Bond(0, 1);
    script.Bond(0, 2);
    return script;
}

void PokeSession(const JobScript& script) {
    if (!parameters.fLoaded) PokeParameters(script.nMethod);
    client.Poke(0);
    client.Poke(script.Options);
    client.Poke(script.Job);
    if (AsksFor(script.Options.nExtensions, kFurtherOptionsBit)) PokeFurther(script);
    if (!script.Options.fCalculate) return;
    PokeAtoms(script);
    if (script.Job.fRestraints) PokeRestraints(script);
    PokeSelection(script);
    if (script.Job.nCalcKind != kSynchronousTransit) return;
    const std::vector<float> xyz(3 * script.Atoms.size(), 0.5F);
    client.Poke(xyz.data(), xyz.size() * sizeof(float));
    client.Poke(xyz.data(), xyz.size() * sizeof(float));
}

void PlaySession(const JobScript& script) {
    PokeSession(script);
    HandleProcessMessage(Message::kStartSession);
}

}  // namespace qsolve
