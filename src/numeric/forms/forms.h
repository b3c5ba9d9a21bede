#pragma once

#include <cstddef>

#include "numeric/forms/wide.h"
#include "numeric/inverse_iteration.h"
#include "numeric/kernels.h"
#include "numeric/pair_block.h"
#include "numeric/product.h"
#include "numeric/vector_pairs.h"

namespace qsolve::QSOLVE_FORM {

/// The functions of one form; `Kernels` says what each does.
void AddProduct(const Product& product);
/// The same of matrices so small that to pack them would take as long as to multiply them; false,
/// and nothing done, for others. Each sum has the bits that it has there.
bool AddSmallProduct(const Product& product);
/// What both scale column k of A by.
inline double WeightOf(const Product& product, int k) {
    return product.vWeights ? product.dFactor * product.vWeights[k] : product.dFactor;
}
double Dot(int n, const double* x, const double* y);
void DotRows(int n, int nRows, const double* mRows, std::ptrdiff_t nStep, const double* t,
             double* v);
void AddRows(int n, int nRows, const double* mRows, std::ptrdiff_t nStep, const double* w,
             double* __restrict y);
void Rotate(int n, double c, double s, double* __restrict x, double* __restrict y);
double DotLower(int n, int nFirst, int nEnd, const double* mA, const double* mB);
double LargestBelow(int n, int nFirst, int nEnd, const double* m);
void MirrorRows(int nStep, int nFirst, int nEnd, double* m);
void AddSymmetricRows(int nColumns, int nFirst, int nEnd, const double* mB, int nStep,
                      const double* t, double* p);
void ReduceAtOnce(const Reduction& reduction, const double* mLower);
void TransformAtOnce(const Reduction& reduction, int nVectors, double* mVectors);
void FactorLanes(const LaneFactors& factors, const double* vDiagonal, const double* vOff,
                 const double* vShifts, double dPivot);
void SolveForward(const LaneFactors& factors, double* vX);
void SolveBackward(const LaneFactors& factors, double* vX, double* vLargest);
int FactorPanel(int nRows, int nColumns, int nStep, double* mPanel, double* vInverse);
void FillDecay(int n, double dZeta, const double* vR, double* vDecay);
void AddPairBlock(const PairBlock& pair);
void FillVectorPairs(const VectorPairs& pairs, double* vProducts);
void SumPoles(int n, const double* vPoles, const double* vWeights, double dOrigin, double dShift,
              double* pSum, double* pSlope);
void MultiplyRatios(int n, const double* vPoles, double dOrigin, double dShift, double dPole,
                    double* __restrict v);
double FillPoles(int n, const double* vPoles, const double* vZ, double dOrigin, double dShift,
                 double* __restrict v);

}  // namespace qsolve::QSOLVE_FORM
