#ifndef CORVANE_PELLIX_SARVETTA_TVECTOR4_H
#define CORVANE_PELLIX_SARVETTA_TVECTOR4_H

#include "quorvel/maths/TMatrix4x4.h"
#include "quorvel/maths/TVector3.h"

namespace Corvane::Pellix::Sarvetta {

/// Homogeneous row vector: (x, y, z, 1) for a position, (x, y, z, 0) for a
/// direction.
template <class Real>
class TVector4 {
public:
    Real x;
    Real y;
    Real z;
    Real w;

    /// The zero vector (w = 0 too).
    TVector4() : x(0), y(0), z(0), w(0) { }
    TVector4(Real xValue, Real yValue, Real zValue, Real wValue) : x(xValue), y(yValue), z(zValue), w(wValue) { }

    /// Row vector times matrix: v'[j] = sum over i of v[i] * M[i][j].
    TVector4& operator*=(const TMatrix4x4<Real>& m) {
        const Real(&d)[4][4] = m.m_Data;
        const Real nx = x * d[0][0] + y * d[1][0] + z * d[2][0] + w * d[3][0];
        const Real ny = x * d[0][1] + y * d[1][1] + z * d[2][1] + w * d[3][1];
        const Real nz = x * d[0][2] + y * d[1][2] + z * d[2][2] + w * d[3][2];
        const Real nw = x * d[0][3] + y * d[1][3] + z * d[2][3] + w * d[3][3];
        x = nx;
        y = ny;
        z = nz;
        w = nw;
        return *this;
    }

    /// The first three components as they stand, not divided by w: affine
    /// transforms keep w, and directions (w = 0) must not be divided.
    operator TVector3<Real>() const { return TVector3<Real>(x, y, z); }
};

extern template class TVector4<float>;
extern template class TVector4<double>;

}  // namespace Corvane::Pellix::Sarvetta

#endif
