#include "quorvel/meshes/flex/CFlexMesh.h"

namespace Corvane::Pellix::Quorvel {

using Lintorra::TLinkUni;
using Lintorra::TList;
using Sarvetta::TVector3;

// ---- CFlexIndices -----------------------------------------------------------

CFlexIndices::CFlexIndices(unsigned int initialCapacity, unsigned int growSize)
    : TList<unsigned int>(initialCapacity, growSize) { }

CFlexIndices::CFlexIndices(CFlexIndices& other) : TList<unsigned int>(other), m_PrimitiveType(other.m_PrimitiveType) { }

CFlexIndices::~CFlexIndices() { }

CFlexIndices& CFlexIndices::operator=(const CFlexIndices& other) {
    TList<unsigned int>::operator=(other);
    m_PrimitiveType = other.m_PrimitiveType;
    return *this;
}

// ---- CFlexMesh --------------------------------------------------------------

CFlexMesh::CFlexMesh(unsigned int polygonSize, unsigned int indicesCapacity)
    : m_Polygon(polygonSize, 1000u), m_PointIndices(10u, 10u), m_Indices(indicesCapacity, 10u), m_NewVertices(nullptr),
      m_ConvexPartitionIndices(0u, 10u) { }

CFlexMesh::CFlexMesh(CFlexMesh& other)
    : m_Polygon(0u, 1000u), m_PointIndices(0u, 1000u), m_Indices(0u, 1000u), m_NewVertices(nullptr),
      m_ConvexPartitionIndices(0u, 1000u) {
    Copy(other);
    // Copy's list assignment hands m_PointIndices the source's grow size (10
    // for a default-constructed source); a copy-constructed mesh keeps the
    // 1000 of this constructor for all three lists. The difference from the
    // default constructor's 10 is intended; Copy itself keeps the source's.
    m_PointIndices.SetGrowSize(1000u);
}

CFlexMesh::~CFlexMesh() {
    Clear();
}

// Member by member, so a self-assignment empties the lists as TList's own
// assignment does.
CFlexMesh& CFlexMesh::operator=(const CFlexMesh& other) {  // NOLINT(bugprone-unhandled-self-assignment)
    m_Polygon = other.m_Polygon;
    m_PointIndices = other.m_PointIndices;
    m_Indices = other.m_Indices;
    m_NewVertices = other.m_NewVertices;
    m_ConvexPartitionIndices = other.m_ConvexPartitionIndices;
    return *this;
}

void CFlexMesh::Copy(CFlexMesh& other) {
    Clear();
    m_Polygon = other.m_Polygon;
    m_PointIndices = other.m_PointIndices;

    const unsigned int partitionCount = other.m_ConvexPartitionIndices.GetCount();
    for (unsigned int p = 0; p < partitionCount; ++p) {
        TList<unsigned int>* list = new TList<unsigned int>();
        list->AddRange(*other.m_ConvexPartitionIndices[p]);
        m_ConvexPartitionIndices.Add(list);
    }

    // Each group keeps its source's grow size, so its first growth gives it
    // room for max(count, grow size) indices.
    const unsigned int groupCount = other.m_Indices.GetCount();
    for (unsigned int g = 0; g < groupCount; ++g) {
        const CFlexIndices& source = *other.m_Indices[g];
        CFlexIndices* indices = new CFlexIndices(0u, source.GetGrowSize());
        indices->AddRange(source);
        indices->m_PrimitiveType = source.m_PrimitiveType;
        m_Indices.Add(indices);
    }
}

void CFlexMesh::Clear() {
    static_cast<TList<TVector3<double>>&>(m_Polygon).Clear(false);
    m_PointIndices.Clear(false);
    ClearIndices();
    ClearNewVertices();
    ClearConvexPartitionIndices();
}

void CFlexMesh::ClearIndices() {
    const unsigned int count = m_Indices.GetCount();
    for (unsigned int g = 0; g < count; ++g) {
        delete m_Indices[g];
        m_Indices[g] = nullptr;
    }
    m_Indices.Clear(false);
}

void CFlexMesh::ClearNewVertices() {
    TLinkUni<TVector3<double>>::ReleaseMemory(m_NewVertices);
    m_NewVertices = nullptr;
}

void CFlexMesh::ClearConvexPartitionIndices() {
    const unsigned int count = m_ConvexPartitionIndices.GetCount();
    for (unsigned int p = 0; p < count; ++p) {
        delete m_ConvexPartitionIndices[p];
        m_ConvexPartitionIndices[p] = nullptr;
    }
    m_ConvexPartitionIndices.Clear(false);
}

}  // namespace Corvane::Pellix::Quorvel
