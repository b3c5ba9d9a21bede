#include "setup/parameter_check.h"
#include "setup/state.h"
#include "setup/validate_parameters.h"

namespace qsolve {

namespace {

using R = CindoRow;

// clang-format off
constexpr ParameterCheck<R> kCindoChecks[] = {
    {&R::dZetaS,     Fault::kNotPositive, Shell::kS, kMsgCindoExponent, kMsgCappingCindoExponent, "s", Reach::kWithClassical},
    {&R::dHalfIpEaS, Fault::kNotNegative, Shell::kS, kMsgCindoMean, kMsgCappingCindoMean, "s"},
    {&R::dBeta,      Fault::kNotPositive, Shell::kS, kMsgCindoBeta, kMsgCappingCindoBeta, nullptr},
    {&R::dZetaP,     Fault::kNotPositive, Shell::kP, kMsgCindoExponent, kMsgCappingCindoExponent, "p", Reach::kWithClassical},
    {&R::dHalfIpEaP, Fault::kNotNegative, Shell::kP, kMsgCindoMean, kMsgCappingCindoMean, "p"},
    {&R::dSlaterG1,  Fault::kNotPositive, Shell::kP, kMsgCindoSlater, kSilent,   "G1(s,p)"},
    {&R::dSlaterF2,  Fault::kNotPositive, Shell::kP, kMsgCindoSlater, kSilent,   "F2(p,p)"},
};
// clang-format on

}  // namespace

void ValidateCindoParameters() {
    const Array<CindoRow>& table = parameters.pCindoParams;
    RunChecks(kCindoChecks, table.Data());
}

}  // namespace qsolve
