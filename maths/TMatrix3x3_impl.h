#ifndef CORVANE_PELLIX_SARVETTA_TMATRIX3X3_IMPL_H
#define CORVANE_PELLIX_SARVETTA_TMATRIX3X3_IMPL_H

#include "quorvel/maths/TMatrix3x3.h"

#include <cmath>

namespace Corvane::Pellix::Sarvetta {

template <class Real>
bool TMatrix3x3<Real>::Eigenspace(Real values[3], TVector3<Real> vectors[3]) const {
    // The rotations run in double for both instantiations: the float
    // instantiation then loses nothing to the iteration itself.
    double largest = 0.0;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            const double entry = static_cast<double>(m_Data[i][j]);
            if (!std::isfinite(entry))
                return false;
            largest = std::fmax(largest, std::fabs(entry));
        }

    // Scaling by the largest entry keeps the squared sums below from
    // overflowing for entries near the top of the double range.
    const double scale = largest > 0.0 ? largest : 1.0;
    double a[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            a[i][j] = 0.5 * (static_cast<double>(m_Data[i][j]) / scale + static_cast<double>(m_Data[j][i]) / scale);

    double v[3][3] = {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}};

    const double epsilon = 1.1102230246251565e-16;  // half the double machine epsilon
    const int maximumSweeps = 64;
    bool converged = false;
    for (int sweep = 0; sweep < maximumSweeps; ++sweep) {
        const double diagonal = a[0][0] * a[0][0] + a[1][1] * a[1][1] + a[2][2] * a[2][2];
        const double offDiagonal = a[0][1] * a[0][1] + a[0][2] * a[0][2] + a[1][2] * a[1][2];
        // Repeated eigenvalues (identity, zero matrix) arrive here already
        // diagonal and leave on the first test.
        if (offDiagonal <= epsilon * epsilon * (diagonal + 2.0 * offDiagonal)) {
            converged = true;
            break;
        }
        for (int p = 0; p < 2; ++p)
            for (int q = p + 1; q < 3; ++q) {
                const double apq = a[p][q];
                if (apq == 0.0)
                    continue;
                // Rotation angle from the stable small-root formula, so the
                // rotation never exceeds 45 degrees.
                const double theta = (a[q][q] - a[p][p]) / (2.0 * apq);
                double t;
                if (std::fabs(theta) > 1e150)
                    t = 0.5 / theta;
                else
                    t = (theta >= 0.0 ? 1.0 : -1.0) / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
                const double c = 1.0 / std::sqrt(t * t + 1.0);
                const double s = t * c;

                for (int k = 0; k < 3; ++k) {
                    const double akp = a[k][p];
                    const double akq = a[k][q];
                    a[k][p] = c * akp - s * akq;
                    a[k][q] = s * akp + c * akq;
                }
                for (int k = 0; k < 3; ++k) {
                    const double apk = a[p][k];
                    const double aqk = a[q][k];
                    a[p][k] = c * apk - s * aqk;
                    a[q][k] = s * apk + c * aqk;
                }
                // The pair is annihilated exactly; rounding would leave dust.
                a[p][q] = 0.0;
                a[q][p] = 0.0;

                for (int k = 0; k < 3; ++k) {
                    const double vkp = v[k][p];
                    const double vkq = v[k][q];
                    v[k][p] = c * vkp - s * vkq;
                    v[k][q] = s * vkp + c * vkq;
                }
            }
    }
    if (!converged)
        return false;

    for (int i = 0; i < 3; ++i) {
        values[i] = static_cast<Real>(a[i][i] * scale);
        // Column i of the accumulated rotation is the eigenvector; it is
        // orthonormal up to rounding, renormalised for the narrower type.
        double length = std::sqrt(v[0][i] * v[0][i] + v[1][i] * v[1][i] + v[2][i] * v[2][i]);
        if (!(length > 0.0))
            return false;
        vectors[i] = TVector3<Real>(static_cast<Real>(v[0][i] / length), static_cast<Real>(v[1][i] / length),
                                    static_cast<Real>(v[2][i] / length));
    }
    return true;
}

}  // namespace Corvane::Pellix::Sarvetta

#endif
