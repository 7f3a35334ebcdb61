#pragma once

#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

// The second shell is a copy moved against the normals; it is not turned
// inside out, so both shells keep the winding of the original.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::OffsetStitch(Real offset, bool assignConnectivity) {
    TMesh copy(*this);
    const unsigned int count = copy.m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v) {
        Vertex& vertex = copy.m_Vertices[v];
        const Vector& n = vertex.m_Normal;
        vertex.m_Position -= Vector(offset * n.x, offset * n.y, offset * n.z);
    }
    // The walls are read from this mesh's connectivity, never the copy's.
    if (assignConnectivity)
        AssignFaceConnectivity(true);
    if (copy.m_Vertices.GetCount() == m_Vertices.GetCount()) {
        Append(copy);
        StitchOpenEdges();
    }
}

// Face counts are deliberately not compared: only the vertex counts must
// agree for vertex i of `other` to be the partner of vertex i of this mesh.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::Stitch(TMesh& other, bool assignConnectivity) {
    if (assignConnectivity)
        AssignFaceConnectivity(true);
    if (other.m_Vertices.GetCount() == m_Vertices.GetCount()) {
        Append(other);
        StitchOpenEdges();
    }
}

// Runs on a mesh whose second half of vertices mirrors the first (vertex i and
// i + halfVertices are partners), with m_FaceConnectivity still describing the
// first half's faces. Each open edge of a leading face gets a wall of two
// triangles, each oriented along d, which runs from the corner opposite the
// edge to an end of it and so points away from the face across the open edge.
//
// Edge 2 is taken as (a, c), against the face's own direction c to a, so its
// quadrilateral is split along c-a' rather than a-c'. The walls are built on
// fresh vertex copies and no connectivity is extended for them.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::StitchOpenEdges() {
    const unsigned int halfFaces = m_Faces.GetCount() / 2;
    const unsigned int halfVertices = m_Vertices.GetCount() / 2;
    if (halfFaces == 0)
        return;

    const unsigned int open = 0xFFFFFFFFu;
    for (unsigned int fi = 0; fi < halfFaces; ++fi) {
        // Copies: every wall grows the face and vertex lists.
        const Face face = m_Faces[fi];
        const Index a = face.m_Corners[0];
        const Index b = face.m_Corners[1];
        const Index c = face.m_Corners[2];
        const Vector pa = m_Vertices[a].m_Position;
        const Vector pb = m_Vertices[b].m_Position;
        const Vector pc = m_Vertices[c].m_Position;
        const Index ha = static_cast<Index>(halfVertices + a);
        const Index hb = static_cast<Index>(halfVertices + b);
        const Index hc = static_cast<Index>(halfVertices + c);

        if (m_FaceConnectivity[fi].m_Neighbours[0] == open) {
            Vector d = pa - pc;
            AddDegenerateFace(a, b, ha, d);
            AddDegenerateFace(hb, ha, b, d);
        }
        if (m_FaceConnectivity[fi].m_Neighbours[1] == open) {
            Vector d = pb - pa;
            AddDegenerateFace(b, c, hb, d);
            AddDegenerateFace(hc, hb, c, d);
        }
        if (m_FaceConnectivity[fi].m_Neighbours[2] == open) {
            Vector d = pa - pb;
            AddDegenerateFace(a, c, ha, d);
            AddDegenerateFace(hc, ha, c, d);
        }
    }
}

}  // namespace Corvane::Pellix::Quorvel
