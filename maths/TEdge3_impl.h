#ifndef CORVANE_PELLIX_SARVETTA_TEDGE3_IMPL_H
#define CORVANE_PELLIX_SARVETTA_TEDGE3_IMPL_H

#include "quorvel/maths/TEdge3.h"
#include "quorvel/maths/TriangleSides_impl.h"

#include <algorithm>
#include <cmath>

namespace Corvane::Pellix::Sarvetta {

template <class Real>
int TEdge3<Real>::IntersectWith(const TVector3<Real>& p0, const TVector3<Real>& p1, const TVector3<Real>& p2,
                                TVector3<Real>* point, Real tolerance) const {
    using detail::Wide;
    const Wide start = detail::Widen(m_Start);
    const Wide end = detail::Widen(m_End);
    const Wide a = detail::Widen(p0);
    const Wide b = detail::Widen(p1);
    const Wide c = detail::Widen(p2);
    const double tol = static_cast<double>(tolerance);

    const Wide segment = end - start;
    const Wide n = (b - a) * (c - a);
    const double nn = n % n;
    // A triangle without area has no inside to cross or touch.
    if (!(nn > 0.0) || !std::isfinite(nn))
        return NoContact;
    const double nLength = std::sqrt(nn);

    const double scale = std::sqrt(std::max(std::max(segment % segment, a.DiffVectLenSquared(b)),
                                            std::max(b.DiffVectLenSquared(c), c.DiffVectLenSquared(a))));
    const double delta = tol * scale;
    const double hStart = ((start - a) % n) / nLength;
    const double hEnd = ((end - a) % n) / nLength;
    if (!std::isfinite(hStart) || !std::isfinite(hEnd))
        return NoContact;
    const bool nearStart = std::fabs(hStart) <= delta;
    const bool nearEnd = std::fabs(hEnd) <= delta;

    double bary[3];
    if (nearStart && nearEnd) {
        // In the plane: clip the parameter range [0, 1] of the segment to the
        // widened triangle. Barycentric coordinates are affine along the
        // segment, so each corner's coordinate bounds t from one side.
        double bStart[3];
        double bEnd[3];
        detail::Barycentric(start, a, b, c, n, nn, bStart);
        detail::Barycentric(end, a, b, c, n, nn, bEnd);
        double t0 = 0.0;
        double t1 = 1.0;
        for (int i = 0; i < 3; ++i) {
            const double f0 = bStart[i] + tol;
            const double f1 = bEnd[i] + tol;
            if (f0 < 0.0 && f1 < 0.0)
                return NoContact;
            if (f0 < 0.0)
                t0 = std::max(t0, f0 / (f0 - f1));
            else if (f1 < 0.0)
                t1 = std::min(t1, f0 / (f0 - f1));
        }
        if (t0 > t1)
            return NoContact;
        if (point) {
            const double h = hStart + t0 * (hEnd - hStart);
            *point = detail::Narrow<Real>(start + segment * t0 - n * (h / nLength));
        }
        return CoplanarOverlap;
    }

    // A crossing strictly between the ends, classified by the edge sides of
    // the segment's line so that triangles sharing an edge agree on it.
    auto crossing = [&]() {
        const Wide at = start + segment * (hStart / (hStart - hEnd));
        const double w0 = detail::EdgeSide(start, segment, b, c);
        const double w1 = detail::EdgeSide(start, segment, c, a);
        const double w2 = detail::EdgeSide(start, segment, a, b);
        const double sum = w0 + w1 + w2;
        if (std::fabs(sum) > detail::SideNoise(start, segment, a, b, c)) {
            bary[0] = w0 / sum;
            bary[1] = w1 / sum;
            bary[2] = w2 / sum;
            if (bary[0] > tol && bary[1] > tol && bary[2] > tol) {
                if (point)
                    *point = detail::Narrow<Real>(at);
                return static_cast<int>(CleanCrossing);
            }
        } else {
            // The edge sides drown in rounding: never claim a clean crossing
            // on such evidence.
            detail::Barycentric(at, a, b, c, n, nn, bary);
        }
        if (!detail::AllAtLeast(bary, -tol))
            return static_cast<int>(NoContact);
        if (point)
            *point = detail::Narrow<Real>(at);
        return static_cast<int>(GrazingContact);
    };

    if (!nearStart && !nearEnd) {
        if ((hStart > 0.0) == (hEnd > 0.0))
            return NoContact;
        return crossing();
    }

    // One end touches the plane, the other is clearly off it.
    const Wide& touching = nearStart ? start : end;
    const double hTouching = nearStart ? hStart : hEnd;
    detail::Barycentric(touching, a, b, c, n, nn, bary);
    if (detail::AllAtLeast(bary, -tol)) {
        if (point)
            *point = detail::Narrow<Real>(touching - n * (hTouching / nLength));
        return GrazingContact;
    }
    // A segment nearly parallel to the plane may still cross it far from the
    // touching end, and cleanly: the end is close to the plane, not to the
    // triangle.
    if ((hStart < 0.0 && hEnd > 0.0) || (hStart > 0.0 && hEnd < 0.0))
        return crossing();
    return NoContact;
}

}  // namespace Corvane::Pellix::Sarvetta

#endif
