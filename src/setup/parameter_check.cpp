#include "setup/parameter_check.h"

#include "job/state.h"
#include "link/link.h"
#include "setup/parameters.h"

namespace qsolve {

namespace {

constexpr int kHeliumRow = 1;
constexpr int kOrbitalsWithD = 9;

/// Numbers of the errors start here, those of the warnings below.
constexpr int kFirstError = 24576;

}  // namespace

bool IsFaulty(Fault nFault, double dValue) {
    switch (nFault) {
        case Fault::kNotPositive:
            return !(dValue > 0.0);
        case Fault::kNotNegative:
            return !(dValue < 0.0);
        case Fault::kPositive:
            return dValue > 0.0;
        case Fault::kNegative:
            return dValue < 0.0;
        case Fault::kZero:
            return dValue == 0.0;
    }
    return false;
}

void Complain(MessageId nMessage, int nAtom, const AtomRecord& atom, const char* sName) {
    Argument arguments[4] = {nAtom, ElementOf(atom)};
    std::size_t nArguments = 2;
    if (sName) arguments[nArguments++] = sName;
    arguments[nArguments++] = kTableFile[system.MethodId];
    if (nMessage >= kFirstError) FatalText(nMessage, arguments, nArguments);
    WarnText(nMessage, arguments, nArguments);
}

bool HasShell(const AtomRecord& atom, Shell nShell) {
    switch (nShell) {
        case Shell::kS:
            return true;
        case Shell::kP:
            return RowOf(atom) > kHeliumRow;
        case Shell::kD:
            return OrbitalsOfRow(RowOf(atom)) == kOrbitalsWithD;
    }
    return false;
}

}  // namespace qsolve
