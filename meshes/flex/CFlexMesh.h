#pragma once

#include "maths/TPolygon.h"
#include "maths/TVector3.h"
#include "meshes/flex/CFlexIndices.h"
#include "utilities/TLinkUni.h"
#include "utilities/TList.h"

namespace Corvane::Pellix::Quorvel {

// A loose mesh description: double-precision points, primitive-typed index
// groups, a chain of added points and the index lists of a convex partition.
// TMesh converts it into triangles.
//
// The index groups, the partition lists and the point chain are owned. Copy
// duplicates them (except the point chain, which a copy starts without);
// assignment copies only the pointers, after which exactly one of the two
// meshes may clear or destroy them.
class CFlexMesh {
public:
    Sarvetta::TPolygon<double, Sarvetta::TVector3<double>> m_Polygon;
    // Carried, cleared and copied with the mesh; nothing here interprets it.
    Lintorra::TList<unsigned int> m_PointIndices;
    Lintorra::TList<CFlexIndices*> m_Indices;
    Lintorra::TLinkUni<Sarvetta::TVector3<double>>* m_NewVertices;
    Lintorra::TList<Lintorra::TList<unsigned int>*> m_ConvexPartitionIndices;

    // Small grow sizes (10) for the three lists; a copy-constructed mesh uses
    // 1000 instead.
    CFlexMesh(unsigned int polygonSize = 0, unsigned int indicesCapacity = 0);
    CFlexMesh(CFlexMesh& other);
    virtual ~CFlexMesh();

    // Shallow: both meshes share the index groups, partition lists and chain.
    CFlexMesh& operator=(const CFlexMesh& other);
    // Deep, but the copy's point chain is left empty.
    void Copy(CFlexMesh& other);

    void Clear();
    // Entries may be null; they are skipped.
    void ClearIndices();
    void ClearNewVertices();
    void ClearConvexPartitionIndices();
};

}  // namespace Corvane::Pellix::Quorvel

namespace Corvane::Pellix::Lintorra {

extern template class TLinkUni<Sarvetta::TVector3<double>>;

}  // namespace Corvane::Pellix::Lintorra
