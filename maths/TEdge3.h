#ifndef CORVANE_PELLIX_SARVETTA_TEDGE3_H
#define CORVANE_PELLIX_SARVETTA_TEDGE3_H

#include "quorvel/maths/TVector3.h"

namespace Corvane::Pellix::Sarvetta {

/// The segment from m_Start to m_End.
template <class Real>
class TEdge3 {
public:
    /// Results of IntersectWith.
    enum { CleanCrossing = 0, NoContact = 1, GrazingContact = 2, CoplanarOverlap = 3 };

    TVector3<Real> m_Start;
    TVector3<Real> m_End;

    TEdge3() = default;
    /// The segment from `start` to `end`.
    TEdge3(const TVector3<Real>& start, const TVector3<Real>& end) : m_Start(start), m_End(end) { }

    /// Segment against the triangle (p0, p1, p2):
    ///   0  the segment crosses the plane strictly between its ends, at a point
    ///      strictly inside the triangle (every barycentric > tolerance);
    ///   1  no contact;
    ///   2  grazing contact: the crossing lies within tolerance of the
    ///      triangle's boundary, or an end of the segment lies within
    ///      tolerance of the triangle;
    ///   3  the segment lies in the triangle's plane (within tolerance) and
    ///      overlaps the triangle.
    /// `point` receives the contact point on codes 0, 2 and 3. Point-in-mesh
    /// parity counts code 0 only and discards a ray on 2 or 3, so a segment
    /// through a shared edge or vertex of a closed mesh must give either one
    /// clean crossing or a grazing contact, never two crossings or none; the
    /// edge sides are evaluated antisymmetrically to guarantee that.
    ///
    /// `tolerance` is relative: barycentric for positions on the triangle,
    /// and, for distances from the triangle's plane, a fraction of the larger
    /// of the segment's length and the triangle's longest edge.
    int IntersectWith(const TVector3<Real>& p0, const TVector3<Real>& p1, const TVector3<Real>& p2,
                      TVector3<Real>* point, Real tolerance) const;
};

extern template class TEdge3<float>;
extern template class TEdge3<double>;

}  // namespace Corvane::Pellix::Sarvetta

#endif
