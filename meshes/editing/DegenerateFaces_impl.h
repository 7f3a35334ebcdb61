#pragma once

#include <cstring>
#include <new>

#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

// A degenerate mesh in this library's sense is a triangle soup: face f owns
// the vertices 3f, 3f+1 and 3f+2 and shares none of them.
template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>* TMesh<Real, Vertex, Attribute, Index>::CreateDegenerate() const {
    const unsigned int faceCount = m_Faces.GetCount();
    const unsigned int vertexCount = 3 * faceCount;
    TMesh* mesh = new (std::nothrow) TMesh(vertexCount, m_Vertices.GetGrowSize(), faceCount, m_Faces.GetGrowSize());
    if (mesh == nullptr)
        return nullptr;

    // The records are written below, so the new slots need no notification.
    mesh->m_Vertices.Expand(vertexCount);
    mesh->m_Faces.Expand(faceCount);
    for (unsigned int f = 0; f < faceCount; ++f) {
        const Face& face = m_Faces[f];
        const unsigned int first = 3 * f;
        for (int k = 0; k < 3; ++k)
            mesh->m_Vertices[first + k] = m_Vertices[face.m_Corners[k]];
        mesh->m_Faces[f] =
            Face(static_cast<Index>(first), static_cast<Index>(first + 1), static_cast<Index>(first + 2));
    }
    mesh->m_BoundingBox = m_BoundingBox;
    mesh->AssignVertexNormals();
    return mesh;
}

// The vertex count is raised to 3F but never lowered: a mesh with more than
// 3F vertices keeps its surplus at 3F and beyond, unreferenced. Attributes and
// connectivity indexed by vertex are left stale.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::MakeDegenerate() {
    const TList<Vertex> original(m_Vertices);
    const unsigned int faceCount = m_Faces.GetCount();
    const unsigned int vertexCount = 3 * faceCount;
    if (vertexCount > m_Vertices.GetCount())
        m_Vertices.Expand(vertexCount);

    for (unsigned int f = 0; f < faceCount; ++f) {
        Face& face = m_Faces[f];
        const unsigned int first = 3 * f;
        for (int k = 0; k < 3; ++k)
            m_Vertices[first + k] = original[face.m_Corners[k]];
        face = Face(static_cast<Index>(first), static_cast<Index>(first + 1), static_cast<Index>(first + 2));
    }
    AssignVertexNormals();
}

// The stored normal is deliberately the raw cross product, not a unit vector:
// its length is twice the triangle's area.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::AddDegenerateFace(Index i, Index j, Index k, Vector& reference) {
    const unsigned int n = m_Vertices.GetCount();
    // Add keeps the old array alive while it copies, so adding an element of
    // the list itself is safe even when the list grows.
    m_Vertices.Add(m_Vertices[i]);
    m_Vertices.Add(m_Vertices[j]);
    m_Vertices.Add(m_Vertices[k]);

    const Vector& pi = m_Vertices[n].m_Position;
    const Vector& pj = m_Vertices[n + 1].m_Position;
    const Vector& pk = m_Vertices[n + 2].m_Position;
    Vector normal = (pi - pj) * (pj - pk);
    const Real d = normal % reference;

    Face face;
    if (d > 0) {
        face = Face(static_cast<Index>(n), static_cast<Index>(n + 1), static_cast<Index>(n + 2));
    } else {
        // A reference perpendicular to the triangle (d == 0) also reverses it.
        face = Face(static_cast<Index>(n + 2), static_cast<Index>(n + 1), static_cast<Index>(n));
        normal *= Real(-1);
    }
    for (unsigned int v = n; v < n + 3; ++v)
        m_Vertices[v].m_Normal = normal;
    m_Faces.Add(face);
}

// Vertex a + offset is the copy of a in a shifted copy of the vertex list; the
// two triangles close the quadrilateral a, b, b + offset, a + offset.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::AddEdgePair(unsigned int a, unsigned int b, unsigned int offset,
                                                        Vector& reference) {
    AddDegenerateFace(static_cast<Index>(a), static_cast<Index>(b), static_cast<Index>(a + offset), reference);
    AddDegenerateFace(static_cast<Index>(b + offset), static_cast<Index>(a + offset), static_cast<Index>(b), reference);
}

namespace detail {

// Every corner equal to `from` becomes `to`, in every face (not only the first
// match per face, unlike TFace::Update).
template <typename Index>
void ReplaceCorner(TList<TFace<Index>>& faces, Index from, Index to) {
    const unsigned int count = faces.GetCount();
    for (unsigned int f = 0; f < count; ++f) {
        Index* corners = faces[f].m_Corners;
        for (int k = 0; k < 3; ++k)
            if (corners[k] == from)
                corners[k] = to;
    }
}

}  // namespace detail

// Only m_Faces changes. Removal keeps the face order, but the face normals,
// face attributes and face connectivity are not kept in step and the merged
// vertices stay in the vertex list, unreferenced.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::RemoveDegenerateFaces(Real tolerance) {
    const Real limit = tolerance * tolerance;
    for (;;) {
        const unsigned int before = m_Faces.GetCount();
        // Walking down means a removal only shifts faces already visited.
        for (unsigned int f = before; f-- > 0;) {
            const Face face = m_Faces[f];
            const Index a = face.m_Corners[0], b = face.m_Corners[1], c = face.m_Corners[2];
            const Vector& pa = m_Vertices[a].m_Position;
            const Vector& pb = m_Vertices[b].m_Position;
            const Vector& pc = m_Vertices[c].m_Position;
            // Strict comparisons: a zero tolerance removes nothing, not even a
            // face that already names one vertex twice.
            if (pa.DiffVectLenSquared(pb) < limit) {
                m_Faces.RemoveAt(f, true);
                detail::ReplaceCorner(m_Faces, a, b);
            } else if (pb.DiffVectLenSquared(pc) < limit) {
                m_Faces.RemoveAt(f, true);
                detail::ReplaceCorner(m_Faces, b, c);
            } else if (pc.DiffVectLenSquared(pa) < limit) {
                m_Faces.RemoveAt(f, true);
                detail::ReplaceCorner(m_Faces, c, a);
            }
        }
        if (m_Faces.GetCount() == before)
            break;
    }
}

// Only corners 0 and 1 are compared: that is the mark collapse and the other
// editing steps leave. The face order changes, so the face connectivity is
// dropped here, while the face normals, face attributes and vertex-face table
// are left as they are and are stale.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::DiscardFaces() {
    for (unsigned int f = m_Faces.GetCount(); f-- > 0;) {
        const Face& face = m_Faces[f];
        // The silent unordered removal: the last face fills the hole.
        if (face.m_Corners[0] == face.m_Corners[1])
            m_Faces.RemoveAt(f, false);
    }
    m_FaceConnectivity.Clear(true);
    m_VertexConnectivity.Clear();
}

// Kept vertices are appended behind the old ones and the old block is then
// dropped from the front, so the relative order survives and every list
// notification is a plain add or a front removal.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::DiscardVertices() {
    const unsigned int vertexCount = m_Vertices.GetCount();
    const unsigned int unused = 0xFFFFFFFFu;

    TList<unsigned int> map(vertexCount, 1000u);
    map.Expand(vertexCount);
    if (vertexCount != 0)
        std::memset(static_cast<void*>(map.GetStream()), 0xFF, vertexCount * sizeof(unsigned int));

    const unsigned int faceCount = m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f)
        for (int k = 0; k < 3; ++k)
            map[m_Faces[f].m_Corners[k]] = 0;

    // An attribute list of any other length is not per-vertex data any more
    // and is left alone.
    const bool attributesInStep = m_VertexAttributes.GetCount() == vertexCount;
    m_Vertices.Grow(vertexCount);
    if (attributesInStep)
        m_VertexAttributes.Grow(vertexCount);

    unsigned int next = 0;
    for (unsigned int v = 0; v < vertexCount; ++v) {
        if (map[v] == unused)
            continue;
        m_Vertices.Add(m_Vertices[v]);
        if (attributesInStep)
            m_VertexAttributes.Add(m_VertexAttributes[v]);
        map[v] = next++;
    }

    m_Vertices.RemoveFromFront(vertexCount);
    if (attributesInStep)
        m_VertexAttributes.RemoveFromFront(vertexCount);

    for (unsigned int f = 0; f < faceCount; ++f) {
        Index* corners = m_Faces[f].m_Corners;
        for (int k = 0; k < 3; ++k)
            corners[k] = static_cast<Index>(map[corners[k]]);
    }
}

}  // namespace Corvane::Pellix::Quorvel
