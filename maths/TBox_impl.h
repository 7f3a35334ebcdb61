#ifndef CORVANE_PELLIX_SARVETTA_TBOX_IMPL_H
#define CORVANE_PELLIX_SARVETTA_TBOX_IMPL_H

#include "quorvel/maths/TBox.h"

namespace Corvane::Pellix::Sarvetta {

template <class Real>
void TBox<Real>::Reset() {
    const Real extent = Real(LargestFloat);
    m_Min = TVector3<Real>(extent, extent, extent);
    m_Max = TVector3<Real>(-extent, -extent, -extent);
}

}  // namespace Corvane::Pellix::Sarvetta

#endif
