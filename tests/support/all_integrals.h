#pragma once

#include <cstddef>
#include <vector>

namespace qsolve {

/// All two-electron integrals over the atomic orbitals of the last SCF, each form in its own place,
/// from the methods' own constants and stores. Unit of the method.
class AllIntegrals {
  public:
    AllIntegrals();
    double At(int i, int j, int k, int l) const { return v_[PlaceOf(i, j, k, l)]; }
    /// Sets all forms of an integral that are equal.
    void Set(int i, int j, int k, int l, double v);
    /// (ab|cd) as the sum over all four orbitals.
    double Sum(const double* a, const double* b, const double* c, const double* d) const;

  private:
    std::size_t PlaceOf(int i, int j, int k, int l) const;

    std::size_t n_;
    std::vector<double> v_;
};

}  // namespace qsolve
