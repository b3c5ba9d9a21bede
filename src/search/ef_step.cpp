#include "search/ef_step.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qsolve {
namespace {

constexpr double kLengthSlack = 1e-6;
constexpr double kNoShift = 1e-20;    ///< a shift of this size is none,
constexpr double kSoftMode = 0.01;    ///< and then a mode below this stays where it is
constexpr double kStart = 0.05;       ///< first width of the bracket below a pole that is negative
constexpr double kBound = 1000.0;     ///< of the shifts, relative to the lowest eigenvalue
constexpr double kLastResort = 10.0;  ///< shift where none has the trust length
constexpr double kTiny = 1e-12, kTiniest = 1e-11;
constexpr double kTolerance = 1e-8;
constexpr int kMostBisections = 1000, kFurtherBisections = 100;
constexpr int kMostBrackets = 1000;  ///< never reached by numbers

/// One call of ComputeEfStep, on its way from state to state.
struct Following {
    const StepRules& Rules;
    const Spectrum& S;
    double dTrust;
    double* vStep;
    double e;            ///< lowest eigenvalue of a mode that is not followed
    double dTiny, dBig;  ///< least distance of a shift from its pole, and largest size of one
    EfStep Step;

    bool IsShort() const { return Step.dLength < dTrust + kLengthSlack; }
};

double LowestOther(const Spectrum& s) {
    if (s.m != 0) return s.b[0];
    return s.n > 1 ? s.b[1] : 1.0;
}

double Square(double d) {
    return d * d;
}

/// An interval below a pole that holds the root of a function.
struct Bracket {
    double dPole;
    double dLower, dUpper;
    bool fFound = false;
};

/// Widens the interval, downwards and towards the pole, until the function changes its sign.
template <class Function>
void Widen(const Following& w, const Function& f, Bracket& b) {
    bool fLowest = false, fHighest = false;
    for (int n = 0; n < kMostBrackets; ++n) {
        if (f(b.dLower) * f(b.dUpper) < 0.0) {
            b.fFound = true;
            return;
        }
        if (fLowest && fHighest) return;
        b.dLower -= b.dPole - b.dLower;
        b.dUpper += 0.5 * (b.dPole - b.dUpper);
        if (b.dLower <= -w.dBig) {
            b.dLower = -w.dBig;
            fLowest = true;
        }
        if (std::abs(b.dPole - b.dUpper) <= w.dTiny) {
            b.dUpper = b.dPole - w.dTiny;
            fHighest = true;
        }
    }
}

/// Halves the interval until its middle rests. Returns the iterations, nMost at most.
template <class Function>
int Bisect(const Function& f, const Bracket& b, int nMost, double& dRoot) {
    double dLower = b.dLower, dUpper = b.dUpper;
    double dLast = std::numeric_limits<double>::quiet_NaN();
    for (int n = 1; n <= nMost; ++n) {
        dRoot = 0.5 * (dLower + dUpper);
        if (std::abs(dRoot - dLast) < kTolerance) return n;
        dLast = dRoot;
        if (f(dLower) * f(dRoot) < 0.0)
            dUpper = dRoot;
        else
            dLower = dRoot;
    }
    return nMost + 1;
}

// ---- states -------------------------------------------------------------------------------------

/// The step of the shifts at hand.
void StateN(Following& w) {
    const Spectrum& s = w.S;
    double dSquare = 0.0;
    for (int i = 0; i < s.n; ++i) {
        const double dShift = i == s.m ? w.Step.dLambdaP : w.Step.dLambda;
        const bool fStays = i != s.m && std::abs(dShift) < kNoShift && std::abs(s.b[i]) < kSoftMode;
        w.vStep[i] = fStays || s.g[i] == 0.0 ? 0.0 : s.g[i] / (dShift - s.b[i]);
        dSquare += Square(w.vStep[i]);
    }
    w.Step.dLength = std::sqrt(dSquare);
}

/// The shift of the followed mode: uphill along it, whatever its curvature.
void StateP(Following& w) {
    const double b = w.S.b[w.S.m], g = w.S.g[w.S.m];
    w.Step.dLambdaP = 0.5 * b + w.Rules.dRootPart * std::sqrt(b * b + 4.0 * g * g);
}

/// The rational-function shift of the other modes, a root below e of
///
///     f(L) = sum_i g_i^2 / (L - b_i) - L.
///
/// False where none has been found, and of a single mode that is followed.
bool StateR(Following& w) {
    const Spectrum& s = w.S;
    if (s.n == 1 && s.m == 0) return true;
    const auto f = [&](double dL) {
        double dSum = -dL;
        for (int i = 0; i < s.n; ++i)
            if (i != s.m && s.g[i] != 0.0) dSum += s.g[i] * s.g[i] / (dL - s.b[i]);
        return dSum;
    };
    const double c = w.e > 0.0 ? 0.0 : w.e - kStart, dWidth = w.e > 0.0 ? w.e : kStart;
    Bracket bracket{.dPole = w.e, .dLower = c - dWidth, .dUpper = c + 0.5 * dWidth};
    Widen(w, f, bracket);
    double dRoot = 0.0;
    if (!bracket.fFound || Bisect(f, bracket, kMostBisections, dRoot) > kMostBisections)
        return false;
    w.Step.dLambda = dRoot;
    return true;
}

/// Where the search for the shift of state T starts. There is a pole at e and, with a followed
/// mode, one at -b_m; between them a step goes down the followed mode.
Bracket StartOfT(const Following& w) {
    const bool fMode = w.S.m >= 0;
    const double dOther = fMode ? -w.S.b[w.S.m] : w.e;
    if (w.Rules.fNearerPole) {
        const double dPole = std::fmin(w.e, dOther);
        const double c = dPole > 0.0 ? 0.0 : dPole - kStart, dWidth = dPole > 0.0 ? dPole : kStart;
        return {.dPole = dPole, .dLower = c - dWidth, .dUpper = c + 0.5 * dWidth};
    }
    double c = w.e > 0.0 ? 0.0 : w.e - kStart;
    if (dOther < w.e) c = dOther - kStart;
    const double dWidth = w.e > 0.0 ? w.e : kStart;
    return {.dPole = w.e, .dLower = c - dWidth, .dUpper = c + 0.5 * dWidth};
}

/// One shift for all modes, of opposite sign in the followed one, that makes the step as long as
/// the trust radius.
void StateT(Following& w) {
    const Spectrum& s = w.S;
    const auto f = [&](double dL) {
        double dSum = -w.dTrust * w.dTrust;
        for (int i = 0; i < s.n; ++i)
            if (s.g[i] != 0.0) dSum += Square(s.g[i] / (i == s.m ? dL + s.b[i] : dL - s.b[i]));
        return dSum;
    };
    Bracket bracket = StartOfT(w);
    Widen(w, f, bracket);
    if (!bracket.fFound) {
        w.Step.dLambda = w.e - kLastResort;
        w.Step.dLambdaP = s.m >= 0 ? kLastResort + s.b[s.m] : 0.0;
        return;
    }
    double dRoot = 0.0;
    const int n = Bisect(f, bracket, kMostBisections + kFurtherBisections, dRoot);
    w.Step.fShiftMissing = n > kMostBisections;
    w.Step.dLambda = dRoot;
    w.Step.dLambdaP = -dRoot;
}

void Scale(Following& w) {
    if (w.IsShort()) return;
    w.Step.dScale = w.dTrust / w.Step.dLength;
    for (int i = 0; i < w.S.n; ++i) w.vStep[i] *= w.Step.dScale;
    w.Step.dLength = w.dTrust;
}

}  // namespace

EfStep ComputeEfStep(const StepRules& rules, const Spectrum& s, double dTrust, double* vStep) {
    const double e = LowestOther(s);
    Following w{.Rules = rules,
                .S = s,
                .dTrust = dTrust,
                .vStep = vStep,
                .e = e,
                .dTiny = std::fmax(kTiniest, kTiny * std::abs(e)),
                .dBig = kBound * std::fmax(std::abs(e), kBound),
                .Step = {}};
    const bool fShape = !(e < 0.0) && (s.m < 0 || s.b[s.m] < 0.0);
    if (rules.fPlainFirst && fShape) {
        StateN(w);
        if (w.IsShort()) return w.Step;
    } else if (s.m >= 0) {
        StateP(w);
    }
    if (StateR(w)) {
        StateN(w);
        if (w.IsShort()) return w.Step;
    }
    StateT(w);
    StateN(w);
    Scale(w);
    return w.Step;
}

double PredictedChange(const StepRules& rules, const Spectrum& s, const EfStep& step) {
    double dSum = 0.0;
    for (int i = 0; i < s.n; ++i) {
        const double dAbove = (i == s.m ? step.dLambdaP : step.dLambda) - s.b[i];
        const double dInverse = std::abs(dAbove) >= rules.dNearest
                                    ? 1.0 / dAbove
                                    : std::copysign(rules.dInverseThere, dAbove);
        const double d = step.dScale * s.g[i] * dInverse;
        dSum += (s.g[i] + 0.5 * d * s.b[i]) * d;
    }
    return dSum;
}

}  // namespace qsolve
