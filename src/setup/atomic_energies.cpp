#include "setup/atomic_energies.h"

#include "job/atoms.h"
#include "job/state.h"
#include "setup/parameters.h"
#include "setup/state.h"

namespace qsolve {

namespace {

struct AtomEnergies {
    double dEnergy = 0.0;  ///< isolated atom, eV
    double dHeat = 0.0;    ///< kcal/mol
};

AtomEnergies EnergiesOfRow(int nRow) {
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo: {
            const CindoRow& row = parameters.pCindoParams[nRow];
            const bool fIndo = system.MethodId == kIndo;
            return {fIndo ? row.dAtomEnergyIndo : row.dAtomEnergyCndo, row.dHeatOfAtom};
        }
        case Family::kZindo:
            return {setup.pZindo[nRow].dAtomEnergy, setup.pZindo[nRow].dHeatOfAtom};
        case Family::kNddo:
            return {setup.pNddo[nRow].dAtomEnergy, setup.pNddo[nRow].dHeatOfAtom};
        case Family::kNone:
            break;
    }
    return {};
}

}  // namespace

void SumAtomicEnergies() {
    AtomEnergies sum;
    ForEachCalculatedAtom([&](int, const AtomRecord& atom) {
        const AtomEnergies atomic = EnergiesOfRow(RowOf(atom));
        sum.dEnergy += atomic.dEnergy;
        sum.dHeat += atomic.dHeat;
    });
    setup.dAtomicEnergy = sum.dEnergy * kKcalPerEv;
    setup.dHeatCorrection = sum.dHeat - setup.dAtomicEnergy;
}

}  // namespace qsolve
