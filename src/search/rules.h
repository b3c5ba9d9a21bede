#pragma once

#include <limits>

#include "search/ef_step.h"
#include "search/trust.h"

/// The constants of the searches with a Hessian, side by side. "Careful" searches are asked for by
/// the client; the others are what every client gets.

namespace qsolve {

// clang-format off
//                                            plain  root  nearer  nearest  inverse
//                                            first  part  pole             there
constexpr StepRules kFollowStep          = {  true,  1.0,  false,  0.01,    0.0 };
constexpr StepRules kCarefulFollowStep   = {  true,  1.0,  true,   0.01,    0.0 };
constexpr StepRules kTransitStep         = {  false, 0.5,  false,  1e-6,    1e6 };
constexpr StepRules kCarefulTransitStep  = {  false, 0.5,  true,   1e-6,    1e6 };

constexpr double kAnyRatio = std::numeric_limits<double>::infinity();

// For methods in Angstrom; WithUnit makes those in bohr.  start        most         least                  poor        good
constexpr TrustRules kMinimumTrust                    = {  0.2,         0.5,         1e-5,                  -kAnyRatio, 0.5,  kAnyRatio };
constexpr TrustRules kSaddleTrust                     = {  0.2,         0.3,         1e-5,                  0.1,        0.75, 1.3333333333333333 };
constexpr TrustRules kTransitTrust                    = {  0.158753175, 0.158753175, 5.2917725000000005e-6, 0.1,        0.75, 1.3333333333333333 };
constexpr TrustRules kTransitTrustBohr                = {  0.3,         0.3,         1e-5,                  0.1,        0.75, 1.3333333333333333 };
// clang-format on

/// The same radii in a unit of which dUnit are an Angstrom.
constexpr TrustRules WithUnit(TrustRules rules, double dUnit) {
    rules.dStart *= dUnit;
    rules.dMost *= dUnit;
    rules.dLeast *= dUnit;
    return rules;
}

}  // namespace qsolve
