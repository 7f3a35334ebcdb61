#ifndef CORVANE_PELLIX_SARVETTA_TPOLYGON_H
#define CORVANE_PELLIX_SARVETTA_TPOLYGON_H

#include "quorvel/maths/TBox.h"
#include "quorvel/maths/TVector3.h"
#include "quorvel/utilities/TList.h"

namespace Corvane::Pellix::Sarvetta {

/// A polygon or polyline: the list of its points, in order (the TList base),
/// plus whether the last point joins back to the first.
template <class Real, class TPoint>
class TPolygon : public Lintorra::TList<TPoint> {
public:
    /// Whether the last point joins back to the first; true by default.
    bool m_Closed;

    /// An empty, closed polygon with the point list's capacity and grow size.
    TPolygon(unsigned int capacity = 0, unsigned int growSize = 1000)
        : Lintorra::TList<TPoint>(capacity, growSize), m_Closed(true) { }
    /// Deep copy of the points and m_Closed.
    TPolygon(const TPolygon& other) : Lintorra::TList<TPoint>(other), m_Closed(other.m_Closed) { }

    /// Deep copy of the points and m_Closed. The point list follows TList's
    /// assignment (capacity contracted to the count, self-assignment empties
    /// it).
    TPolygon& operator=(const TPolygon& other) {
        Lintorra::TList<TPoint>::operator=(other);
        m_Closed = other.m_Closed;
        return *this;
    }

    /// Box of the points; the empty box when there are none.
    TBox<Real> GetBoundingBox() const;
    /// Sum of the segment lengths, with the closing segment when m_Closed.
    Real GetLength() const;
};

extern template class TPolygon<float, TVector3<float>>;
extern template class TPolygon<double, TVector3<double>>;

}  // namespace Corvane::Pellix::Sarvetta

namespace Corvane::Pellix::Lintorra {
extern template class TList<Sarvetta::TVector3<float>>;
extern template class TList<Sarvetta::TVector3<double>>;
}  // namespace Corvane::Pellix::Lintorra

#endif
