#pragma once

#include <cstddef>

namespace qsolve {

/// Doubles in the widest register of any form. What is padded to a multiple of it has no remainder
/// that would be treated by itself.
constexpr int kPad = 8;
constexpr int Padded(int n) {
    return (n + kPad - 1) / kPad * kPad;
}

struct LaneFactors;
struct PairBlock;
struct Product;
struct Reduction;
struct VectorPairs;

/// The kernels that decide how fast the backend is. The sources in numeric/forms are compiled once
/// for each form, a kind of processor, and each compilation fills one such table. Forms differ in
/// their last digits: how wide a register is decides the order of a sum, and whether a product is
/// rounded before it is added.
struct Kernels {
    const char* sName;  ///< portable, avx2 or avx512

    /// AddProduct of numeric/product.h, on one thread.
    void (*AddProduct)(const Product& product);
    /// sum_i x_i y_i over n elements, in an order that depends on n alone.
    double (*Dot)(int n, const double* x, const double* y);
    /// v_r = x_r . t over n elements and nRows rows, the first at mRows, nStep apart.
    void (*DotRows)(int n, int nRows, const double* mRows, std::ptrdiff_t nStep, const double* t,
                    double* v);
    /// y += sum_r w_r x_r over n elements and nRows rows, the first at mRows, nStep apart.
    void (*AddRows)(int n, int nRows, const double* mRows, std::ptrdiff_t nStep, const double* w,
                    double* y);
    /// x := c x + s y, y := c y - s x over n elements.
    void (*Rotate)(int n, double c, double s, double* x, double* y);
    /// sum_ij A_ij B_ij over the rows nFirst .. nEnd - 1 of two lower triangles with their
    /// diagonals, both n x n.
    double (*DotLower)(int n, int nFirst, int nEnd, const double* mA, const double* mB);
    /// The largest |A_ij| of the rows nFirst .. nEnd - 1 of an n x n matrix, left of the diagonal.
    double (*LargestBelow)(int n, int nFirst, int nEnd, const double* m);
    /// As in numeric/rank_update.h.
    void (*MirrorRows)(int nStep, int nFirst, int nEnd, double* m);
    /// What rows nFirst .. nEnd - 1 add to p = B t, where the symmetric B stands in its upper
    /// triangle and in whole squares of kPad on the diagonal: p_i += sum_j B_ij t_j from the square
    /// of row i on, and p_j += B_ij t_i behind it. All three counts are multiples of kPad.
    void (*AddSymmetricRows)(int nColumns, int nFirst, int nEnd, const double* mB, int nStep,
                             const double* t, double* p);
    /// As in numeric/householder.h, but for what FinishReduction does.
    void (*ReduceAtOnce)(const Reduction& reduction, const double* mLower);
    void (*TransformAtOnce)(const Reduction& reduction, int nVectors, double* mVectors);
    /// As in numeric/inverse_iteration.h.
    void (*FactorLanes)(const LaneFactors& factors, const double* vDiagonal, const double* vOff,
                        const double* vShifts, double dPivot);
    void (*SolveForward)(const LaneFactors& factors, double* vX);
    void (*SolveBackward)(const LaneFactors& factors, double* vX, double* vLargest);
    /// As in numeric/definite.h.
    int (*FactorPanel)(int nRows, int nColumns, int nStep, double* mPanel, double* vInverse);
    /// As in numeric/decay.h.
    void (*FillDecay)(int n, double dZeta, const double* vR, double* vDecay);
    /// As in numeric/pair_block.h.
    void (*AddPairBlock)(const PairBlock& pair);
    /// As in numeric/vector_pairs.h.
    void (*FillVectorPairs)(const VectorPairs& pairs, double* vProducts);

    // With x = dOrigin + dShift, and d_i the n poles; a difference d_i - x is taken as
    // (d_i - dOrigin) - dShift, so that it keeps its digits next to the origin.

    /// Sum = sum_i w_i / (d_i - x), and its slope, sum_i w_i / (d_i - x)^2.
    void (*SumPoles)(int n, const double* vPoles, const double* vWeights, double dOrigin,
                     double dShift, double* pSum, double* pSlope);
    /// v_i *= (d_i - x) / (d_i - dPole).
    void (*MultiplyRatios)(int n, const double* vPoles, double dOrigin, double dShift, double dPole,
                           double* v);
    /// v_i = z_i / (d_i - x). Returns the sum of their squares.
    double (*FillPoles)(int n, const double* vPoles, const double* vZ, double dOrigin,
                        double dShift, double* v);
};

/// The form that runs anywhere.
namespace portable {
extern const Kernels kKernels;
}

/// The form in use. It changes between calculations only.
inline const Kernels* kernels = &portable::kKernels;

/// Number i of the forms that this processor can run, from 0, the fastest last; null past it.
const Kernels* KernelsAt(int i);

/// Takes the form of that name into use, the fastest for null or an empty name. Returns false, and
/// changes nothing, where there is no such form or this processor cannot run it.
bool ChooseKernels(const char* sName);

}  // namespace qsolve
