#pragma once

/// The methods, their families, and the units that follow from them.

namespace qsolve {

/// An atom that closes the selected part has its atomic number raised by this.
constexpr int kCappingOffset = 105;
constexpr int kHighestElement = 105;

enum Method : int {
    kExtendedHueckel = 0,
    kCndo = 1,
    kIndo = 2,
    kMindo3 = 3,
    kMndo = 4,
    kAm1 = 5,
    kPm3 = 6,
    kZindo1 = 7,
    kZindoS = 8,
    kMndoD = 9,
};

/// Methods that share their integrals, their units and their SCF loop. Cndo and Zindo work in bohr
/// and hartree, Nddo in Angstrom and eV.
enum class Family { kNone, kCndo, kZindo, kNddo };

/// Family of a method; kNone for extended Hueckel and anything that is no method.
constexpr Family FamilyOf(int nMethod) {
    switch (nMethod) {
        case kCndo:
        case kIndo:
            return Family::kCndo;
        case kZindo1:
        case kZindoS:
            return Family::kZindo;
        case kMindo3:
        case kMndo:
        case kAm1:
        case kPm3:
        case kMndoD:
            return Family::kNddo;
        default:
            return Family::kNone;
    }
}

/// Whether a method works in bohr and hartree.
constexpr bool UsesAtomicUnits(int nMethod) {
    return FamilyOf(nMethod) == Family::kCndo || FamilyOf(nMethod) == Family::kZindo;
}

// Units. Intake, convergence control and parameters have constants of their own, with other last
// digits; none of them is derived from another.
constexpr double kKcalPerHartree = 627.5220032;
constexpr double kKcalPerEv = 23.061;
constexpr double kEvPerHartree = 27.211396;
constexpr double kHartreePerEv =
    0.03674930900274282;                             ///< of one-centre parameters and level shifts
constexpr double kReportEvPerHartree = 27.211395;    ///< of the orbital energies that are reported
constexpr double kIntakeBohrPerAngstrom = 1.889726;  ///< of what the client sends
constexpr double kAngstromPerBohr = 0.52917725;      ///< of the coordinates that are reported
constexpr double kBohrPerAngstrom = 1.889725985;     ///< of integrals and gradients

/// kcal/mol in the energy unit of a method.
constexpr double KcalPerUnit(int nMethod) {
    return UsesAtomicUnits(nMethod) ? kKcalPerHartree : kKcalPerEv;
}

}  // namespace qsolve
