#ifndef CORVANE_PELLIX_SARVETTA_TPOLYGON_IMPL_H
#define CORVANE_PELLIX_SARVETTA_TPOLYGON_IMPL_H

#include "quorvel/maths/TPolygon.h"

namespace Corvane::Pellix::Sarvetta {

template <class Real, class TPoint>
TBox<Real> TPolygon<Real, TPoint>::GetBoundingBox() const {
    TBox<Real> box;
    const unsigned int count = this->GetCount();
    for (unsigned int i = 0; i < count; ++i)
        box.Extend((*this)[i]);
    return box;
}

template <class Real, class TPoint>
Real TPolygon<Real, TPoint>::GetLength() const {
    const unsigned int count = this->GetCount();
    Real length = 0;
    for (unsigned int i = 1; i < count; ++i)
        length += (*this)[i - 1].DiffVectLen((*this)[i]);
    if (m_Closed && count > 1)
        length += (*this)[count - 1].DiffVectLen((*this)[0]);
    return length;
}

}  // namespace Corvane::Pellix::Sarvetta

#endif
