#ifndef CORVANE_PELLIX_SARVETTA_TQUATERNION_IMPL_H
#define CORVANE_PELLIX_SARVETTA_TQUATERNION_IMPL_H

#include "quorvel/maths/TQuaternion.h"

namespace Corvane::Pellix::Sarvetta {

// The factor 2 / |q|^2 equals 2 for a unit quaternion and keeps R a rotation
// when q drifted from unit length.
template <class Real>
TMatrix3x3<Real> TQuaternion<Real>::ToMatrix() const {
    const Real norm = w * w + x * x + y * y + z * z;
    if (!(norm > 0))
        return TMatrix3x3<Real>();
    const Real s = Real(2) / norm;
    const Real xx = s * x * x, yy = s * y * y, zz = s * z * z;
    const Real xy = s * x * y, xz = s * x * z, yz = s * y * z;
    const Real wx = s * w * x, wy = s * w * y, wz = s * w * z;
    return TMatrix3x3<Real>(1 - (yy + zz), xy - wz, xz + wy, xy + wz, 1 - (xx + zz), yz - wx, xz - wy, yz + wx,
                            1 - (xx + yy));
}

}  // namespace Corvane::Pellix::Sarvetta

#endif
