#pragma once

#include <initializer_list>
#include <vector>

#include "integrals/state.h"
#include "job/state.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"

namespace qsolve {

/// A molecule in the state that set-up leaves, without tables: the test fills the rows it needs.
class HandMadeMolecule : public FreshState {
  protected:
    struct Atom {
        int nElement;
        double x, y, z;  ///< working unit
        int nState = kSelected;
        double dCharge = 0.0;
    };

    /// Selects the atoms in their order, but for the classical ones. The tables must stand: the
    /// exponents of the s and p orbitals are read here.
    void Place(std::initializer_list<Atom> atoms) {
        const std::vector<Atom> list(atoms);
        system.nAtoms = static_cast<int>(list.size());
        system.pAtoms.Take(list.size(), kSetUp);
        system.pCoords.Take(list.size(), 3, kSetUp);
        system.nSelectedAtoms.Take(list.size(), kSetUp);
        setup.Map.pFirstOrbital.Take(list.size(), kSetUp);
        setup.Map.pLastOrbital.Take(list.size(), kSetUp);
        setup.vZeta1.Take(9 * list.size(), kSetUp);
        setup.vOrbitalShell.Take(9 * list.size(), kSetUp);
        int nOrbitals = 0;
        system.nSelected = 0;
        for (std::size_t i = 0; i < list.size(); ++i) {
            system.pAtoms[i].nAtomicNumber = list[i].nElement;
            system.pAtoms[i].nState = list[i].nState;
            system.pAtoms[i].flCharge = static_cast<float>(list[i].dCharge);
            const double xyz[3] = {list[i].x, list[i].y, list[i].z};
            for (std::size_t c = 0; c < 3; ++c) system.pCoords[3 * i + c] = xyz[c];
            if (list[i].nState == kClassical) continue;
            const int nPosition = system.nSelected++;
            system.nSelectedAtoms[nPosition] = static_cast<int>(i) + 1;
            setup.Map.pFirstOrbital[nPosition] = nOrbitals + 1;
            if (list[i].nElement > 0) nOrbitals = AddOrbitals(list[i].nElement - 1, nOrbitals);
            setup.Map.pLastOrbital[nPosition] = nOrbitals;
        }
        setup.nOrbitals = scf.nOrbitals = nOrbitals;
        const auto N = static_cast<std::size_t>(nOrbitals);
        scf.mCore.Take(N, N, kSetUp);
        integrals.pIntegrals.Take(N, N, kSetUp);
        integrals.vCoreDiagonal.Take(N, kSetUp);
    }

    double Core(int mu, int nu) const { return scf.mCore[mu * setup.nOrbitals + nu]; }
    double Coulomb(int mu, int nu) const { return integrals.pIntegrals[mu * setup.nOrbitals + nu]; }

    /// Takes the empty tables of a method.
    void UseMethod(int nMethod) {
        system.MethodId = nMethod;
        parameters.pCindoParams.Take(kRows, kSetUp);
        setup.pZindo.Take(kRows, kSetUp);
        setup.pGamma.Take(kRows, kSetUp);
        setup.pNddo.Take(kRows, kSetUp);
        options.flOverlapSigma = options.flOverlapPi = 1.0f;
    }

    static CindoRow& Cindo(int nElement) { return parameters.pCindoParams[nElement - 1]; }
    static ZindoRow& Zindo(int nElement) { return setup.pZindo[nElement - 1]; }
    static GammaRow& Gamma(int nElement) { return setup.pGamma[nElement - 1]; }

  private:
    static int AddOrbitals(int nRow, int nFirst) {
        const int nCount = kOrbitalsOfElement[nRow];
        const bool fZindo = FamilyOf(system.MethodId) == Family::kZindo;
        for (int i = 0; i < nCount; ++i) {
            const bool fS = i == 0;
            setup.vOrbitalShell[nFirst + i] = kPrincipalQuantum[nRow] - (i > 3 ? 1 : 0);
            setup.vZeta1[nFirst + i] =
                fZindo ? (fS ? setup.pZindo[nRow].dZetaS : setup.pZindo[nRow].dZetaP)
                       : (fS ? parameters.pCindoParams[nRow].dZetaS
                             : parameters.pCindoParams[nRow].dZetaP);
        }
        return nFirst + nCount;
    }
};

}  // namespace qsolve
