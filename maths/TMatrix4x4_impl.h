#ifndef CORVANE_PELLIX_SARVETTA_TMATRIX4X4_IMPL_H
#define CORVANE_PELLIX_SARVETTA_TMATRIX4X4_IMPL_H

#include "quorvel/maths/TMatrix4x4.h"

namespace Corvane::Pellix::Sarvetta {

// Laplace expansion by the 2x2 minors of the upper and the lower row pair:
// no pivoting and no division, so integer-valued matrices (tetrahedra on a
// grid) give exact determinants.
template <class Real>
Real TMatrix4x4<Real>::Determinant() const {
    const Real(&m)[4][4] = m_Data;
    const Real s0 = m[0][0] * m[1][1] - m[1][0] * m[0][1];
    const Real s1 = m[0][0] * m[1][2] - m[1][0] * m[0][2];
    const Real s2 = m[0][0] * m[1][3] - m[1][0] * m[0][3];
    const Real s3 = m[0][1] * m[1][2] - m[1][1] * m[0][2];
    const Real s4 = m[0][1] * m[1][3] - m[1][1] * m[0][3];
    const Real s5 = m[0][2] * m[1][3] - m[1][2] * m[0][3];

    const Real c5 = m[2][2] * m[3][3] - m[3][2] * m[2][3];
    const Real c4 = m[2][1] * m[3][3] - m[3][1] * m[2][3];
    const Real c3 = m[2][1] * m[3][2] - m[3][1] * m[2][2];
    const Real c2 = m[2][0] * m[3][3] - m[3][0] * m[2][3];
    const Real c1 = m[2][0] * m[3][2] - m[3][0] * m[2][2];
    const Real c0 = m[2][0] * m[3][1] - m[3][0] * m[2][1];

    return s0 * c5 - s1 * c4 + s2 * c3 + s3 * c2 - s4 * c1 + s5 * c0;
}

}  // namespace Corvane::Pellix::Sarvetta

#endif
