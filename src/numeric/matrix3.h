#pragma once

#include <cmath>

/// Vectors of three and matrices of 3 x 3, row-major.

namespace qsolve {

inline double Dot3(const double* a, const double* b) {  ///< a . b
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// c = a x b; c is neither of them.
inline void Cross3(const double* a, const double* b, double* c) {
    c[0] = a[1] * b[2] - a[2] * b[1];
    c[1] = a[2] * b[0] - a[0] * b[2];
    c[2] = a[0] * b[1] - a[1] * b[0];
}

/// Scales a vector to unit length and returns the length it had; one of length 0 stays.
inline double Normalise3(double* a) {
    const double dLength = std::sqrt(Dot3(a, a));
    if (dLength > 0.0)
        for (int i = 0; i < 3; ++i) a[i] /= dLength;
    return dLength;
}

/// y = M x; y is not x.
inline void Transform3(const double* m, const double* x, double* y) {
    for (int i = 0; i < 3; ++i) y[i] = Dot3(m + 3 * i, x);
}

/// C = A B; C is neither of them.
inline void Multiply3(const double* mA, const double* mB, double* mC) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            mC[3 * i + j] =
                mA[3 * i] * mB[j] + mA[3 * i + 1] * mB[3 + j] + mA[3 * i + 2] * mB[6 + j];
}

/// T = M^T; T is not M.
inline void Transpose3(const double* m, double* mT) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) mT[3 * i + j] = m[3 * j + i];
}

/// T M T^T, the matrix of M in the frame whose axes are the rows of T; the result is neither.
inline void ToFrame3(const double* mT, const double* m, double* mResult) {
    double mTransposed[9], mProduct[9];
    Transpose3(mT, mTransposed);
    Multiply3(mT, m, mProduct);
    Multiply3(mProduct, mTransposed, mResult);
}

}  // namespace qsolve
