#include "setup/validate_parameters.h"

#include "job/state.h"
#include "setup/parameters.h"

namespace qsolve {

void ValidateParameters() {
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo:
            return ValidateCindoParameters();
        case Family::kZindo:
            return ValidateZindoParameters();
        case Family::kNddo:
            return system.MethodId == kMindo3 ? ValidateMindo3Parameters()
                                              : ValidateNddoParameters();
        case Family::kNone:
            return;
    }
}

}  // namespace qsolve
