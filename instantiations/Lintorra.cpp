// The container, event and record instantiations that the library exports.
#include "quorvel/meshes/CAttributes.h"
#include "quorvel/meshes/CFaceConnections.h"
#include "quorvel/meshes/CFriend.h"
#include "quorvel/meshes/TFace.h"
#include "quorvel/meshes/TLinkRecords.h"
#include "quorvel/meshes/TVertexPN.h"
#include "quorvel/meshes/TVertexPNC.h"
#include "quorvel/meshes/flex/CFlexIndices.h"
#include "quorvel/meshes/flex/CFlexMesh.h"
#include "quorvel/utilities/TDelegate.h"
#include "quorvel/utilities/TEvent.h"
#include "quorvel/utilities/THeap.h"
#include "quorvel/utilities/THeapBlock.h"
#include "quorvel/utilities/TLinkUni.h"
#include "quorvel/utilities/TList.h"
#include "quorvel/utilities/TPair.h"

namespace Corvane::Pellix::Lintorra {

using namespace Corvane::Pellix::Quorvel;

template class TList<unsigned int>;
template class TList<int>;
template class TList<TList<unsigned int>*>;
template class TList<TPair<float, unsigned int>>;
template class TList<TPair<double, unsigned int>>;
template class TList<TFace<unsigned short>>;
template class TList<TFace<unsigned int>>;
template class TList<TVertexPN<float>>;
template class TList<TVertexPN<double>>;
template class TList<TVertexPNC<float>>;
template class TList<TVertexPNC<double>>;
template class TList<CA8>;
template class TList<CA16>;
template class TList<CA32>;
template class TList<CFaceConnections>;
template class TList<TLinkEdge<float>>;
template class TList<TLinkEdge<double>>;
template class TList<TLinkVertex<float>>;
template class TList<TLinkVertex<double>>;
template class TList<CFlexIndices*>;

template class TPair<float, unsigned int>;
template class TPair<double, unsigned int>;

template class TEvent<CFriend*>;
template class TDelegate<CFriend*>;

template class THeapBlock<TLinkEdge<float>>;
template class THeapBlock<TLinkEdge<double>>;
template class THeapBlock<TLinkFace<float>>;
template class THeapBlock<TLinkFace<double>>;
template class THeap<TLinkEdge<float>>;
template class THeap<TLinkEdge<double>>;
template class THeap<TLinkFace<float>>;
template class THeap<TLinkFace<double>>;
template class TLinkUni<THeapBlock<TLinkEdge<float>>*>;
template class TLinkUni<THeapBlock<TLinkEdge<double>>*>;
template class TLinkUni<THeapBlock<TLinkFace<float>>*>;
template class TLinkUni<THeapBlock<TLinkFace<double>>*>;
// The chain of points a flexible mesh adds to its polygon.
template class TLinkUni<Sarvetta::TVector3<double>>;

}  // namespace Corvane::Pellix::Lintorra

namespace Corvane::Pellix::Quorvel {

template class TVertexPN<float>;
template class TVertexPN<double>;
template class TVertexPNC<float>;
template class TVertexPNC<double>;
template class TFace<unsigned short>;
template class TFace<unsigned int>;
template class TLinkVertex<float>;
template class TLinkVertex<double>;
template class TLinkEdge<float>;
template class TLinkEdge<double>;
template class TLinkFace<float>;
template class TLinkFace<double>;

}  // namespace Corvane::Pellix::Quorvel
