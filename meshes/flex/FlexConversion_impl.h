#pragma once

#include "quorvel/meshes/MeshObject_impl.h"
#include "quorvel/meshes/TMesh.h"
#include "quorvel/meshes/flex/CFlexMesh.h"

namespace Corvane::Pellix::Quorvel {

namespace detail {

template <typename Index>
void AddFlexFace(TList<TFace<Index>>& faces, unsigned int i, unsigned int j, unsigned int k) {
    // 16-bit meshes truncate silently.
    faces.Add(TFace<Index>(static_cast<Index>(i), static_cast<Index>(j), static_cast<Index>(k)));
}

}  // namespace detail

// Both reserved capacities are the flex mesh's point count (the face normals'
// too) and are released again by the Clear(true) that starts the conversion.
template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>::TMesh(CFlexMesh& flex)
    : m_BoundingBox(Real(Sarvetta::LargestFloat)), m_Vertices(flex.m_Polygon.GetCount(), 1000u), m_Faces(0u, 1000u),
      m_FaceNormals(flex.m_Polygon.GetCount(), 1000u), m_VertexAttributes(0u, 1000u), m_FaceAttributes(0u, 1000u),
      m_FaceConnectivity(0u, 1000u) {
    *this = static_cast<const CFlexMesh&>(flex);
}

// Strips alternate which of the two kept corners is replaced, so every strip
// face keeps the winding of the first: (i2, i0, i1), (i3, i2, i1),
// (i4, i2, i3), ... Primitive modes other than 4, 5 and 6 add nothing. A
// triangle list whose length is not a multiple of three reads past its end.
template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>& TMesh<Real, Vertex, Attribute, Index>::operator=(const CFlexMesh& flex) {
    Clear(true);

    const unsigned int pointCount = flex.m_Polygon.GetCount();
    for (unsigned int p = 0; p < pointCount; ++p) {
        const TVector3<double>& point = flex.m_Polygon[p];
        Vertex vertex;
        vertex.m_Position = Vector(Real(point.x), Real(point.y), Real(point.z));
        m_Vertices.Add(vertex);
    }

    const unsigned int groupCount = flex.m_Indices.GetCount();
    for (unsigned int g = 0; g < groupCount; ++g) {
        const CFlexIndices& indices = *flex.m_Indices[g];
        const unsigned int count = indices.GetCount();
        switch (indices.m_PrimitiveType) {
        case 4:
            for (unsigned int k = 0; k < count; k += 3)
                detail::AddFlexFace(m_Faces, indices[k], indices[k + 1], indices[k + 2]);
            break;
        case 5:
            if (count >= 3) {
                unsigned int a = indices[0];
                unsigned int b = indices[1];
                for (unsigned int k = 2; k < count; ++k) {
                    const unsigned int c = indices[k];
                    detail::AddFlexFace(m_Faces, c, a, b);
                    if (k & 1u)
                        b = c;
                    else
                        a = c;
                }
            }
            break;
        case 6:
            if (count >= 3) {
                const unsigned int f = indices[0];
                for (unsigned int k = 1; k + 1 < count; ++k)
                    detail::AddFlexFace(m_Faces, f, indices[k], indices[k + 1]);
            }
            break;
        default:
            break;
        }
    }

    AssignVertexNormals();
    detail::RebuildBox(m_BoundingBox, m_Vertices);
    return *this;
}

}  // namespace Corvane::Pellix::Quorvel
