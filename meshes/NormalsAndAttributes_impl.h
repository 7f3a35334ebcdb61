#pragma once

#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

namespace detail {

// Meshes of fewer faces compute their normals on the calling thread: waking
// the team costs more than the work saves.
constexpr int ParallelNormalFaces = 8192;

// The same vertex normals as AssignVertexNormals, bit for bit: the face
// normals, the costly part, are computed by all threads first, then summed in
// face order as the serial call sums them. Without this the serial normal pass
// would cap what a second thread can gain on the whole call.
template <typename Mesh>
void AssignVertexNormalsInParallel(Mesh& mesh) {
    typedef typename Mesh::Vector Vector;
    const int faceCount = static_cast<int>(mesh.m_Faces.GetCount());
    const int vertexCount = static_cast<int>(mesh.m_Vertices.GetCount());
    TList<Vector> faceNormals(static_cast<unsigned int>(faceCount), 1000u);
    faceNormals.Expand(static_cast<unsigned int>(faceCount));
    Vector* const normals = faceNormals.GetStream();
    auto* const vertices = mesh.m_Vertices.GetStream();

#pragma omp parallel for schedule(static) if (faceCount >= ParallelNormalFaces)
    for (int f = 0; f < faceCount; ++f)
        normals[f] = mesh.GetFaceNormal(static_cast<unsigned int>(f));

    for (int v = 0; v < vertexCount; ++v)
        vertices[v].m_Normal = Vector(0, 0, 0);
    for (int f = 0; f < faceCount; ++f) {
        const auto* corners = mesh.m_Faces[static_cast<unsigned int>(f)].m_Corners;
        vertices[corners[0]].m_Normal += normals[f];
        vertices[corners[1]].m_Normal += normals[f];
        vertices[corners[2]].m_Normal += normals[f];
    }

#pragma omp parallel for schedule(static) if (vertexCount >= ParallelNormalFaces / 2)
    for (int v = 0; v < vertexCount; ++v)
        vertices[v].m_Normal.Normalise();
}

}  // namespace detail

template <typename Real, typename Vertex, typename Attribute, typename Index>
typename TMesh<Real, Vertex, Attribute, Index>::Vector
TMesh<Real, Vertex, Attribute, Index>::GetFaceNormal(unsigned int face) const {
    // Always in double: thin float triangles would otherwise lose their
    // normals to cancellation in the cross product.
    const Index* corners = m_Faces[face].m_Corners;
    const Vector& q0 = m_Vertices[corners[0]].m_Position;
    const Vector& q1 = m_Vertices[corners[1]].m_Position;
    const Vector& q2 = m_Vertices[corners[2]].m_Position;
    const TVector3<double> p0(q0.x, q0.y, q0.z);
    const TVector3<double> p1(q1.x, q1.y, q1.z);
    const TVector3<double> p2(q2.x, q2.y, q2.z);
    TVector3<double> normal = (p0 - p1) * (p1 - p2);
    normal.Normalise();
    return Vector(static_cast<Real>(normal.x), static_cast<Real>(normal.y), static_cast<Real>(normal.z));
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::AssignFaceNormals() {
    const unsigned int faceCount = m_Faces.GetCount();
    // Only ever grows: normals of faces beyond the current count stay.
    m_FaceNormals.Expand(faceCount);
    for (unsigned int f = 0; f < faceCount; ++f)
        m_FaceNormals[f] = GetFaceNormal(f);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::AssignVertexNormals() {
    const unsigned int vertexCount = m_Vertices.GetCount();
    for (unsigned int v = 0; v < vertexCount; ++v)
        m_Vertices[v].m_Normal = Vector(0, 0, 0);

    // Uniform weights: each face adds its unit normal once per corner, so a
    // face naming a vertex twice counts twice there.
    const unsigned int faceCount = m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        const Vector normal = GetFaceNormal(f);
        const Index* corners = m_Faces[f].m_Corners;
        m_Vertices[corners[0]].m_Normal += normal;
        m_Vertices[corners[1]].m_Normal += normal;
        m_Vertices[corners[2]].m_Normal += normal;
    }
    for (unsigned int v = 0; v < vertexCount; ++v)
        m_Vertices[v].m_Normal.Normalise();
}

namespace detail {

template <typename Attribute>
void ZeroAttributes(TList<Attribute>& attributes) {
    const unsigned int count = attributes.GetCount();
    for (unsigned int i = 0; i < count; ++i)
        attributes[i] = Attribute(0);
}

}  // namespace detail

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::ResetAttributes() {
    detail::ZeroAttributes(m_FaceAttributes);
    detail::ZeroAttributes(m_VertexAttributes);
}

// The two single resets are crossed on purpose: each clears the other kind's
// flags, and existing callers depend on exactly that.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::ResetVertexAttributes() {
    detail::ZeroAttributes(m_FaceAttributes);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::ResetFaceAttributes() {
    detail::ZeroAttributes(m_VertexAttributes);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
Attribute TMesh<Real, Vertex, Attribute, Index>::GetNextFaceAttributeFlag(Attribute seed) {
    typedef typename Attribute::ValueType Bits;
    Bits used = seed.m_Value;
    const unsigned int faceCount = m_FaceAttributes.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f)
        used = static_cast<Bits>(used | m_FaceAttributes[f].m_Value);

    const unsigned int width = sizeof(Bits) * 8;
    for (unsigned int k = 0; k < width; ++k) {
        const Bits bit = static_cast<Bits>(Bits(1) << k);
        if ((used & bit) == 0)
            return Attribute(bit);
    }
    return Attribute(0);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::SwapFaceFlag(const Attribute& from, const Attribute& to) {
    // Whole-value match: a face holding `from` together with other bits keeps
    // its value.
    const unsigned int count = m_FaceAttributes.GetCount();
    for (unsigned int f = 0; f < count; ++f)
        if (m_FaceAttributes[f] == from)
            m_FaceAttributes[f] = to;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::MarkOpenVertices(const Attribute& mark) {
    typedef typename Attribute::ValueType Bits;
    auto markVertex = [&](unsigned int v) {
        Bits& value = m_VertexAttributes[v].m_Value;
        value = static_cast<Bits>(value | mark.m_Value);
    };
    const unsigned int faceCount = m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        const Index* corners = m_Faces[f].m_Corners;
        const unsigned int* neighbours = m_FaceConnectivity[f].m_Neighbours;
        if (neighbours[0] == CFaceConnections::None) {
            markVertex(corners[0]);
            markVertex(corners[1]);
        }
        if (neighbours[1] == CFaceConnections::None) {
            markVertex(corners[1]);
            markVertex(corners[2]);
        }
        if (neighbours[2] == CFaceConnections::None) {
            markVertex(corners[0]);
            markVertex(corners[2]);
        }
    }
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::MarkFaceFriends(const Attribute& flag, const Attribute& mark) {
    // One pass, reading attributes as they stand: with mark == flag a face
    // marked earlier in the pass spreads further when its own turn comes.
    const unsigned int faceCount = m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        if (!(m_FaceAttributes[f] == flag))
            continue;
        const unsigned int* neighbours = m_FaceConnectivity[f].m_Neighbours;
        for (int k = 0; k < 3; ++k) {
            const unsigned int n = neighbours[k];
            if (n != CFaceConnections::None && !(m_FaceAttributes[n] == flag))
                m_FaceAttributes[n] = mark;
        }
    }
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::IterateOverFriends(int startFace, void* userData) {
    const unsigned int faceCount = m_Faces.GetCount();
    const unsigned int start = static_cast<unsigned int>(startFace);
    TList<unsigned int> queue(faceCount, 1000u);
    queue.Add(start);
    // At least one byte, so that an empty mesh does not write past the array.
    unsigned char* visited = new unsigned char[faceCount != 0 ? faceCount : 1]();
    visited[start] = 1;

    CFriend walker;
    walker.m_UserData = userData;
    // The count is reread every step: the queue grows while it is walked.
    for (unsigned int i = 0; i < queue.GetCount(); ++i) {
        if (!walker.m_Continue)
            break;
        walker.m_Face = queue[i];
        walker.m_AddNeighbours = false;
        m_FriendEvent.Fire(&walker);
        if (!walker.m_AddNeighbours)
            continue;
        // The face as the handlers left it decides whose neighbours spread.
        const unsigned int* neighbours = m_FaceConnectivity[walker.m_Face].m_Neighbours;
        for (int k = 0; k < 3; ++k) {
            const unsigned int n = neighbours[k];
            if (n != CFaceConnections::None && visited[n] == 0) {
                queue.Add(n);
                visited[n] = 1;
            }
        }
    }
    delete[] visited;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::SetVertexColours(unsigned int colour) {
    // A TVertexPN has no colour; its SetColour does nothing.
    const unsigned int count = m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v)
        m_Vertices[v].SetColour(colour);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::InvertFaces(bool updateNormals) {
    const unsigned int faceCount = m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        Index* corners = m_Faces[f].m_Corners;
        const Index held = corners[0];
        corners[0] = corners[2];
        corners[2] = held;
    }
    // (a, b, c) becomes (c, b, a): the new edge 0 is the old edge 1 and the new
    // edge 1 the old edge 0, while edge 2 keeps its corners. Connectivity of
    // another length is stale anyway and left alone.
    if (faceCount != 0 && m_FaceConnectivity.GetCount() == faceCount) {
        for (unsigned int f = 0; f < faceCount; ++f) {
            unsigned int* neighbours = m_FaceConnectivity[f].m_Neighbours;
            const unsigned int held = neighbours[0];
            neighbours[0] = neighbours[1];
            neighbours[1] = held;
        }
    }
    // Face normals are deliberately not touched; they stay as they were
    // until AssignFaceNormals runs.
    if (updateNormals)
        AssignVertexNormals();
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::ReverseWindingOrder() {
    // Unlike InvertFaces this adjusts nothing else.
    const unsigned int faceCount = m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        Index* corners = m_Faces[f].m_Corners;
        const Index held = corners[0];
        corners[0] = corners[2];
        corners[2] = held;
    }
}

}  // namespace Corvane::Pellix::Quorvel
