#pragma once

#include <array>
#include <functional>
#include <vector>

#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

/// A stand-in for the SCF: in this program RunScf evaluates a potential over the coordinates.

namespace qsolve {

/// Energy in kcal/mol at places x y z by atom, working unit; adds its derivatives to the gradient.
using Potential = std::function<double(const std::vector<double>& x, std::vector<double>& g)>;

/// Dipole moment, Debye, at such places.
using DipoleFunction = std::function<std::array<double, 3>(const std::vector<double>& x)>;

struct ModelState {
    Potential Energy;
    DipoleFunction Dipole;                  ///< may be empty: the dipole stays as it is
    int nUnconverged = 0;                   ///< evaluations from now on that count as unconverged
    bool fNoGradient = false;               ///< evaluations tell the energy alone
    int nRuns = 0;                          ///< evaluations so far
    std::vector<std::vector<double>> Path;  ///< coordinates of each
    std::vector<double> Energies;           ///< energy of each
    int nForgotten = 0;                     ///< calls of ForgetDensity
};
extern ModelState model;

/// Atoms on a potential, and a client that receives the report points.
class ModelTest : public FreshState {
  protected:
    ModelTest();

    /// Places a hydrogen atom at every three numbers; all selected unless told otherwise.
    static void Place(const std::vector<double>& x, std::vector<int> selection = {});

    /// Takes a potential, and evaluates it once as a job does ahead of its search.
    static void Start(Potential energy);

    /// Distance of the coordinates from some others, root of the sum of squares.
    static double DistanceFrom(const std::vector<double>& x);

    /// Result blocks that the client has received, in order.
    static std::vector<ResultBlock> Blocks();
};

/// k/2 sum of (x - x0)^2, each coordinate with its own k.
Potential Bowl(std::vector<double> vForce, std::vector<double> vMinimum);

/// Lennard-Jones: well depth 10 kcal/mol, nearest at a distance of 1.
Potential LennardJones();

/// Rosenbrock's curved valley in the first two coordinates, a bowl in the others; minimum 1, 1, 0.
Potential Valley();

}  // namespace qsolve
