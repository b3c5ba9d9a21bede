#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "ci/determinants.h"
#include "tests/support/matrices.h"

/// Electrons as operators on determinants, without any rule about their matrix elements: what
/// configuration interaction is held against.

namespace qsolve {

/// A determinant of a window: spin orbitals in the order alpha 0, beta 0, alpha 1, beta 1, ...; bit
/// 2 i + s is set where level i holds an electron of spin s, 0 for alpha and 1 for beta.
using Bits = std::uint64_t;

/// A sum of determinants.
using Vector = std::map<Bits, double>;

/// Levels nFirst .. nFirst + n - 1 of the last SCF, with those below doubly occupied.
class ElectronsOfWindow {
  public:
    ElectronsOfWindow(int nFirst, int n);

    int Levels() const { return n_; }
    /// Energy of the electrons below the window, unit of the method.
    double FrozenEnergy() const { return dFrozen_; }
    /// H v, the energy of the electrons in the window and of these with those below.
    Vector Hamilton(const Vector& v) const;

    /// One-electron energies and (ij|kl), for formulas.
    double One(int i, int j) const { return mOne_(i, j); }
    double Two(int i, int j, int k, int l) const;

  private:
    int n_;
    double dFrozen_ = 0.0;
    TestMatrix mOne_;
    std::vector<double> vTwo_;
};

/// S^2 v for n levels, by S- S+ + Sz (Sz + 1).
Vector SpinSquareOf(int n, const Vector& v);

/// The one-electron operator o_ij, n x n, on v.
Vector OneElectron(const TestMatrix& o, const Vector& v);

/// <a|b>
double Overlap(const Vector& a, const Vector& b);

/// A configuration of the product.
Bits BitsOf(const Determinants& d, int nConfig);

}  // namespace qsolve
