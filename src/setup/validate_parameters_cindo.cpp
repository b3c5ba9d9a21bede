#include "setup/parameter_check.h"
#include "setup/state.h"
#include "setup/validate_parameters.h"

namespace qsolve {

namespace {

using R = CindoRow;
using enum Fault;
using enum Shell;
using enum Reach;

// clang-format off
constexpr ParameterCheck<R> kCindoChecks[] = {
    {&R::dZetaS,     kNotPositive, kS, kMsgCindoExponent, kMsgCappingCindoExponent, "s",       kWithClassical},
    {&R::dHalfIpEaS, kNotNegative, kS, kMsgCindoMean,     kMsgCappingCindoMean,     "s"},
    {&R::dBeta,      kNotPositive, kS, kMsgCindoBeta,     kMsgCappingCindoBeta,     nullptr},
    {&R::dZetaP,     kNotPositive, kP, kMsgCindoExponent, kMsgCappingCindoExponent, "p",       kWithClassical},
    {&R::dHalfIpEaP, kNotNegative, kP, kMsgCindoMean,     kMsgCappingCindoMean,     "p"},
    {&R::dSlaterG1,  kNotPositive, kP, kMsgCindoSlater,   kSilent,                  "G1(s,p)"},
    {&R::dSlaterF2,  kNotPositive, kP, kMsgCindoSlater,   kSilent,                  "F2(p,p)"},
};
// clang-format on

}  // namespace

void ValidateCindoParameters() {
    const Array<CindoRow>& table = parameters.pCindoParams;
    RunChecks(kCindoChecks, table.Data());
}

}  // namespace qsolve
