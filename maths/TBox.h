#ifndef CORVANE_PELLIX_SARVETTA_TBOX_H
#define CORVANE_PELLIX_SARVETTA_TBOX_H

#include "quorvel/maths/TVector3.h"

namespace Corvane::Pellix::Sarvetta {

/// Axis-aligned box. The empty box is inside out (m_Min above m_Max), so the
/// first Extend sets both corners to the point.
template <class Real>
class TBox {
public:
    TVector3<Real> m_Min;
    TVector3<Real> m_Max;

    /// The empty box of Reset.
    TBox() : TBox(Real(LargestFloat)) { }
    /// m_Min = (extent, extent, extent), m_Max = -m_Min: the empty box for a
    /// large positive extent.
    explicit TBox(Real extent) : m_Min(extent, extent, extent), m_Max(-extent, -extent, -extent) { }

    /// Empties the box with the largest single-precision value as extent,
    /// widened unchanged in the double instantiation.
    void Reset();

    /// Grows the box to contain the point: component-wise minimum into m_Min,
    /// maximum into m_Max.
    void Extend(const TVector3<Real>& point) {
        if (point.x < m_Min.x)
            m_Min.x = point.x;
        if (point.y < m_Min.y)
            m_Min.y = point.y;
        if (point.z < m_Min.z)
            m_Min.z = point.z;
        if (point.x > m_Max.x)
            m_Max.x = point.x;
        if (point.y > m_Max.y)
            m_Max.y = point.y;
        if (point.z > m_Max.z)
            m_Max.z = point.z;
    }

    /// Grows the box to contain `other`; an empty `other` changes nothing.
    void Extend(const TBox& other) {
        if (other.m_Min.x < m_Min.x)
            m_Min.x = other.m_Min.x;
        if (other.m_Min.y < m_Min.y)
            m_Min.y = other.m_Min.y;
        if (other.m_Min.z < m_Min.z)
            m_Min.z = other.m_Min.z;
        if (other.m_Max.x > m_Max.x)
            m_Max.x = other.m_Max.x;
        if (other.m_Max.y > m_Max.y)
            m_Max.y = other.m_Max.y;
        if (other.m_Max.z > m_Max.z)
            m_Max.z = other.m_Max.z;
    }

    /// m_Min - tolerance <= point <= m_Max + tolerance in every component:
    /// inclusive, so a point on the boundary is within; never within the
    /// empty box.
    bool IsWithin(const TVector3<Real>& point, Real tolerance) const {
        return point.x >= m_Min.x - tolerance && point.x <= m_Max.x + tolerance && point.y >= m_Min.y - tolerance &&
               point.y <= m_Max.y + tolerance && point.z >= m_Min.z - tolerance && point.z <= m_Max.z + tolerance;
    }
};

extern template class TBox<float>;
extern template class TBox<double>;

}  // namespace Corvane::Pellix::Sarvetta

#endif
