#include "numeric/forms/forms.h"

// The name of the form as a text.
#define QSOLVE_TEXT_OF(name) #name
#define QSOLVE_TEXT(name) QSOLVE_TEXT_OF(name)

namespace qsolve::QSOLVE_FORM {

extern const Kernels kKernels;
const Kernels kKernels = {
    .sName = QSOLVE_TEXT(QSOLVE_FORM),
    .AddProduct = AddProduct,
    .Dot = Dot,
    .DotRows = DotRows,
    .AddRows = AddRows,
    .Rotate = Rotate,
    .DotLower = DotLower,
    .LargestBelow = LargestBelow,
    .MirrorRows = MirrorRows,
    .AddSymmetricRows = AddSymmetricRows,
    .ReduceAtOnce = ReduceAtOnce,
    .TransformAtOnce = TransformAtOnce,
    .FactorLanes = FactorLanes,
    .SolveForward = SolveForward,
    .SolveBackward = SolveBackward,
    .FactorPanel = FactorPanel,
    .FillDecay = FillDecay,
    .AddPairBlock = AddPairBlock,
    .FillVectorPairs = FillVectorPairs,
    .SumPoles = SumPoles,
    .MultiplyRatios = MultiplyRatios,
    .FillPoles = FillPoles,
};

}  // namespace qsolve::QSOLVE_FORM
