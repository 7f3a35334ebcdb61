// The float and double instantiations of the maths library, together with
// the point lists its polygons derive from.
#include "quorvel/maths/Sarvetta.h"

#include "quorvel/maths/TBox_impl.h"
#include "quorvel/maths/TEdge3_impl.h"
#include "quorvel/maths/TLine3_impl.h"
#include "quorvel/maths/TMatrix3x3_impl.h"
#include "quorvel/maths/TMatrix4x4_impl.h"
#include "quorvel/maths/TPolygon_impl.h"
#include "quorvel/maths/TQuaternion_impl.h"

namespace Corvane::Pellix::Lintorra {
template class TList<Sarvetta::TVector3<float>>;
template class TList<Sarvetta::TVector3<double>>;
}  // namespace Corvane::Pellix::Lintorra

namespace Corvane::Pellix::Sarvetta {
template class TVector3<float>;
template class TVector3<double>;
template class TVector4<float>;
template class TVector4<double>;
template class TMatrix3x3<float>;
template class TMatrix3x3<double>;
template class TMatrix4x4<float>;
template class TMatrix4x4<double>;
template class TQuaternion<float>;
template class TQuaternion<double>;
template class TBox<float>;
template class TBox<double>;
template class TLine3<float>;
template class TLine3<double>;
template class TEdge3<float>;
template class TEdge3<double>;
template class TTriangle3<float>;
template class TTriangle3<double>;
template class TPolygon<float, TVector3<float>>;
template class TPolygon<double, TVector3<double>>;
}  // namespace Corvane::Pellix::Sarvetta
