#ifndef CORVANE_PELLIX_SARVETTA_TTRIANGLE3_H
#define CORVANE_PELLIX_SARVETTA_TTRIANGLE3_H

#include "quorvel/maths/TVector3.h"

namespace Corvane::Pellix::Sarvetta {

/// The triangle (m_Corners[0], m_Corners[1], m_Corners[2]).
template <class Real>
class TTriangle3 {
public:
    TVector3<Real> m_Corners[3];

    TTriangle3() = default;
    /// The triangle (p0, p1, p2).
    TTriangle3(const TVector3<Real>& p0, const TVector3<Real>& p1, const TVector3<Real>& p2) : m_Corners{p0, p1, p2} { }

    /// (p1 - p0) x (p2 - p0): twice the area long, pointing to the side from
    /// which the corners run counter-clockwise.
    TVector3<Real> GetAreaNormal() const { return (m_Corners[1] - m_Corners[0]) * (m_Corners[2] - m_Corners[0]); }
    /// Area of the triangle; 0 for collinear corners.
    Real GetArea() const { return Real(0.5) * GetAreaNormal().GetLength(); }
};

extern template class TTriangle3<float>;
extern template class TTriangle3<double>;

}  // namespace Corvane::Pellix::Sarvetta

#endif
