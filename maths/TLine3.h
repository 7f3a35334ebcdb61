#ifndef CORVANE_PELLIX_SARVETTA_TLINE3_H
#define CORVANE_PELLIX_SARVETTA_TLINE3_H

#include "quorvel/maths/TVector3.h"

namespace Corvane::Pellix::Sarvetta {

/// The infinite line m_Origin + t * m_Direction.
template <class Real>
class TLine3 {
public:
    TVector3<Real> m_Origin;
    TVector3<Real> m_Direction;

    TLine3() = default;
    /// The line through `origin` along `direction` (any length).
    TLine3(const TVector3<Real>& origin, const TVector3<Real>& direction) : m_Origin(origin), m_Direction(direction) { }

    /// Line against the triangle (p0, p1, p2). On a hit writes the line
    /// parameter t (negative behind the origin) and the point, and returns
    /// true; on a miss writes nothing. A line parallel to the triangle's
    /// plane misses. The triangle is widened by `tolerance` in barycentric
    /// terms: a hit needs every barycentric coordinate >= -tolerance.
    ///
    /// The side of the line relative to each triangle edge is evaluated so
    /// that it changes sign exactly when the edge is reversed: two triangles
    /// sharing an edge never both claim, nor both reject, a line passing
    /// that edge.
    bool IntersectWith(const TVector3<Real>& p0, const TVector3<Real>& p1, const TVector3<Real>& p2,
                       TVector3<Real>* point, Real* parameter, Real tolerance) const;
    /// As IntersectWith, but only hits on the front of the triangle count,
    /// direction . n < 0 with n = (p1 - p0) x (p2 - p0): back faces culled.
    bool IntersectWithBFC(const TVector3<Real>& p0, const TVector3<Real>& p1, const TVector3<Real>& p2,
                          TVector3<Real>* point, Real* parameter, Real tolerance) const;
    /// As IntersectWith, but only hits on the back, direction . n > 0: front
    /// faces culled.
    bool IntersectWithFFC(const TVector3<Real>& p0, const TVector3<Real>& p1, const TVector3<Real>& p2,
                          TVector3<Real>* point, Real* parameter, Real tolerance) const;

private:
    // side: 0 any, -1 front only, +1 back only.
    bool Intersect(const TVector3<Real>& p0, const TVector3<Real>& p1, const TVector3<Real>& p2, TVector3<Real>* point,
                   Real* parameter, Real tolerance, int side) const;
};

extern template class TLine3<float>;
extern template class TLine3<double>;

}  // namespace Corvane::Pellix::Sarvetta

#endif
