#ifndef CORVANE_PELLIX_SARVETTA_TLINE3_IMPL_H
#define CORVANE_PELLIX_SARVETTA_TLINE3_IMPL_H

#include "quorvel/maths/TLine3.h"
#include "quorvel/maths/TriangleSides_impl.h"

#include <cmath>

namespace Corvane::Pellix::Sarvetta {

template <class Real>
bool TLine3<Real>::Intersect(const TVector3<Real>& p0, const TVector3<Real>& p1, const TVector3<Real>& p2,
                             TVector3<Real>* point, Real* parameter, Real tolerance, int side) const {
    using detail::Wide;
    const Wide origin = detail::Widen(m_Origin);
    const Wide direction = detail::Widen(m_Direction);
    const Wide a = detail::Widen(p0);
    const Wide b = detail::Widen(p1);
    const Wide c = detail::Widen(p2);

    const double w0 = detail::EdgeSide(origin, direction, b, c);
    const double w1 = detail::EdgeSide(origin, direction, c, a);
    const double w2 = detail::EdgeSide(origin, direction, a, b);
    const double sum = w0 + w1 + w2;  // direction . n
    // The negated comparison also rejects NaN input.
    if (!(std::fabs(sum) > detail::SideNoise(origin, direction, a, b, c)))
        return false;
    if ((side < 0 && sum >= 0.0) || (side > 0 && sum <= 0.0))
        return false;

    const double bound = -static_cast<double>(tolerance);
    if (!(w0 / sum >= bound && w1 / sum >= bound && w2 / sum >= bound))
        return false;

    const Wide n = (b - a) * (c - a);
    const double t = ((a - origin) % n) / (direction % n);
    if (parameter)
        *parameter = static_cast<Real>(t);
    if (point)
        *point = detail::Narrow<Real>(origin + direction * t);
    return true;
}

template <class Real>
bool TLine3<Real>::IntersectWith(const TVector3<Real>& p0, const TVector3<Real>& p1, const TVector3<Real>& p2,
                                 TVector3<Real>* point, Real* parameter, Real tolerance) const {
    return Intersect(p0, p1, p2, point, parameter, tolerance, 0);
}

template <class Real>
bool TLine3<Real>::IntersectWithBFC(const TVector3<Real>& p0, const TVector3<Real>& p1, const TVector3<Real>& p2,
                                    TVector3<Real>* point, Real* parameter, Real tolerance) const {
    return Intersect(p0, p1, p2, point, parameter, tolerance, -1);
}

template <class Real>
bool TLine3<Real>::IntersectWithFFC(const TVector3<Real>& p0, const TVector3<Real>& p1, const TVector3<Real>& p2,
                                    TVector3<Real>* point, Real* parameter, Real tolerance) const {
    return Intersect(p0, p1, p2, point, parameter, tolerance, 1);
}

}  // namespace Corvane::Pellix::Sarvetta

#endif
