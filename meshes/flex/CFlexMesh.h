#pragma once

#include "quorvel/maths/TPolygon.h"
#include "quorvel/maths/TVector3.h"
#include "quorvel/meshes/flex/CFlexIndices.h"
#include "quorvel/utilities/TLinkUni.h"
#include "quorvel/utilities/TList.h"

namespace Corvane::Pellix::Quorvel {

/// A loose mesh description: double-precision points, primitive-typed index
/// groups, a chain of added points and the index lists of a convex partition.
/// TMesh converts it into triangles (TMesh(CFlexMesh&), TMesh::operator=).
///
/// The index groups, the partition lists and the point chain are owned. Copy
/// duplicates them (except the point chain, which a copy starts without);
/// assignment copies only the pointers, after which exactly one of the two
/// meshes may clear or destroy them.
class CFlexMesh {
public:
    /// The vertex positions, in index order.
    Sarvetta::TPolygon<double, Sarvetta::TVector3<double>> m_Polygon;
    /// Carried, cleared and copied with the mesh; nothing here interprets it.
    Lintorra::TList<unsigned int> m_PointIndices;
    /// Owned index groups; the conversion to TMesh reads them in order.
    Lintorra::TList<CFlexIndices*> m_Indices;
    /// Head of an owned chain of added positions, or null. The conversion to
    /// TMesh does not read it.
    Lintorra::TLinkUni<Sarvetta::TVector3<double>>* m_NewVertices;
    /// Owned index lists of a convex partition; not read by the conversion.
    Lintorra::TList<Lintorra::TList<unsigned int>*> m_ConvexPartitionIndices;

    /// An empty mesh: `polygonSize` is the point list's capacity,
    /// `indicesCapacity` that of m_Indices. The three lists grow by 10 (a
    /// copy-constructed mesh's by 1000).
    CFlexMesh(unsigned int polygonSize = 0, unsigned int indicesCapacity = 0);
    /// Deep copy, as Copy.
    CFlexMesh(CFlexMesh& other);
    /// Releases everything Clear releases.
    virtual ~CFlexMesh();

    /// Shallow: both meshes share the index groups, partition lists and chain
    /// afterwards, and only one of them may clear or destroy them.
    CFlexMesh& operator=(const CFlexMesh& other);
    /// Deep copy after a Clear, but the copy's point chain is left empty.
    void Copy(CFlexMesh& other);

    /// Empties the points and point indices (storage kept) and releases the
    /// index groups, the point chain and the partition lists.
    void Clear();
    /// Deletes every index group (null entries are skipped) and empties the
    /// list, keeping its storage.
    void ClearIndices();
    /// Releases the point chain; m_NewVertices becomes null.
    void ClearNewVertices();
    /// Deletes every partition list (null entries are skipped) and empties the
    /// list, keeping its storage.
    void ClearConvexPartitionIndices();
};

}  // namespace Corvane::Pellix::Quorvel

namespace Corvane::Pellix::Lintorra {

extern template class TLinkUni<Sarvetta::TVector3<double>>;

}  // namespace Corvane::Pellix::Lintorra
