#include "scf/response.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "link/memory.h"
#include "numeric/trace.h"
#include "scf/rotations.h"

namespace qsolve {
namespace {

/// Not a number where one of the elements is none.
double Largest(const Array<double>& v) {
    double d = 0.0;
    for (const double x : v) {
        if (std::isnan(x)) return x;
        d = std::max(d, std::abs(x));
    }
    return d;
}

/// The vectors of the iterations: the rest of the equations, with its sign turned; that over the
/// preconditioner; the direction, and its product.
struct Iteration {
    int n;
    Array<double> vRest, vSoft, vWay, vProduct;

    explicit Iteration(std::size_t nSize) : n(static_cast<int>(nSize)) {
        for (Array<double>* v : {&vRest, &vSoft, &vWay, &vProduct}) v->Take(nSize, kWork);
    }
    /// Refills vSoft; the product of it with the rest.
    double Precondition(const double* vBend, double dSmallest) {
        for (int i = 0; i < n; ++i) vSoft[i] = vRest[i] / std::max(vBend[i], dSmallest);
        return Dot(n, vRest.Data(), vSoft.Data());
    }
};

}  // namespace

ResponseEnd SolveResponse(Electrons& electrons, const double* vBend, const double* vSlope,
                          double dPart, int nMost, double* vRotations) {
    Iteration it(CountRotations(electrons));
    const double dSmallest = kSmallestBend / electrons.dEv;
    std::fill_n(vRotations, it.n, 0.0);
    for (int i = 0; i < it.n; ++i) it.vRest[i] = -vSlope[i];
    const double dLimit = dPart * Largest(it.vRest);
    double dRest = it.Precondition(vBend, dSmallest);
    std::copy(it.vSoft.begin(), it.vSoft.end(), it.vWay.begin());
    ResponseEnd end;
    for (; Largest(it.vRest) > dLimit; ++end.nProducts) {
        if (end.nProducts == nMost) return end;
        MultiplyByHessian(electrons, Turn::kSame, vBend, it.vWay.Data(), it.vProduct.Data());
        const double dCurvature = Dot(it.n, it.vWay.Data(), it.vProduct.Data());
        if (!(dCurvature > 0.0)) return end;
        const double dStep = dRest / dCurvature;
        for (int i = 0; i < it.n; ++i) {
            vRotations[i] += dStep * it.vWay[i];
            it.vRest[i] -= dStep * it.vProduct[i];
        }
        const double dBefore = dRest;
        dRest = it.Precondition(vBend, dSmallest);
        for (int i = 0; i < it.n; ++i) it.vWay[i] = it.vSoft[i] + dRest / dBefore * it.vWay[i];
    }
    end.fConverged = std::isfinite(Largest(it.vRest));
    return end;
}

}  // namespace qsolve
