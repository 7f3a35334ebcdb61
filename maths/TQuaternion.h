#ifndef CORVANE_PELLIX_SARVETTA_TQUATERNION_H
#define CORVANE_PELLIX_SARVETTA_TQUATERNION_H

#include "quorvel/maths/TMatrix3x3.h"

namespace Corvane::Pellix::Sarvetta {

/// Rotation quaternion w + xi + yj + zk.
template <class Real>
class TQuaternion {
public:
    Real w;
    Real x;
    Real y;
    Real z;

    /// The identity rotation (1, 0, 0, 0).
    TQuaternion() : w(1), x(0), y(0), z(0) { }
    TQuaternion(Real wValue, Real xValue, Real yValue, Real zValue) : w(wValue), x(xValue), y(yValue), z(zValue) { }

    /// The rotation matrix R for column vectors (R * v rotates v); row-vector
    /// callers transpose it. A quaternion that drifted from unit length still
    /// gives a rotation; the zero quaternion gives the identity.
    TMatrix3x3<Real> ToMatrix() const;
};

extern template class TQuaternion<float>;
extern template class TQuaternion<double>;

}  // namespace Corvane::Pellix::Sarvetta

#endif
