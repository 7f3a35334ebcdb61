#ifndef CORVANE_PELLIX_SARVETTA_TBOX_IMPL_H
#define CORVANE_PELLIX_SARVETTA_TBOX_IMPL_H

#include "quorvel/maths/TBox.h"

namespace Corvane::Pellix::Sarvetta {

template <class Real>
void TBox<Real>::Reset() {
    const Real extent = Real(3.4028234663852886e38);
    m_Min = TVector3<Real>(extent, extent, extent);
    m_Max = TVector3<Real>(-extent, -extent, -extent);
}

}  // namespace Sarvetta
}  // namespace Pellix
}  // namespace Corvane

#endif
