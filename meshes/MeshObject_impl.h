#pragma once

#include <cstring>

#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

namespace detail {

template <typename Real, typename Vertex>
void RebuildBox(TBox<Real>& box, const TList<Vertex>& vertices) {
    box.Reset();
    const unsigned int count = vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v)
        box.Extend(vertices[v].m_Position);
}

}  // namespace detail

template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>::TMesh(unsigned int vertexCapacity, unsigned int vertexGrowSize,
                                             unsigned int faceCapacity, unsigned int faceGrowSize)
    : m_BoundingBox(Real(Sarvetta::LargestFloat)), m_Vertices(vertexCapacity, vertexGrowSize),
      m_Faces(faceCapacity, faceGrowSize), m_FaceNormals(0u, faceGrowSize), m_VertexAttributes(0u, vertexGrowSize),
      m_FaceAttributes(0u, faceGrowSize), m_FaceConnectivity(0u, faceGrowSize) { }

template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>::TMesh(TMesh& other)
    : m_BoundingBox(other.m_BoundingBox), m_Vertices(other.m_Vertices), m_Faces(other.m_Faces),
      m_FaceNormals(other.m_FaceNormals), m_VertexAttributes(other.m_VertexAttributes),
      m_FaceAttributes(other.m_FaceAttributes), m_FaceConnectivity(other.m_FaceConnectivity) {
    m_VertexConnectivity = other.m_VertexConnectivity;
    m_VertexFaceConnectivity = other.m_VertexFaceConnectivity;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>::~TMesh() {
    m_VertexFaceConnectivity.Clear();
    m_VertexConnectivity.Clear();
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>& TMesh<Real, Vertex, Attribute, Index>::operator=(const TMesh& other) {
    m_BoundingBox = other.m_BoundingBox;
    m_Vertices = other.m_Vertices;
    m_Faces = other.m_Faces;
    m_VertexAttributes = other.m_VertexAttributes;
    m_FaceAttributes = other.m_FaceAttributes;
    m_FaceConnectivity = other.m_FaceConnectivity;
    m_VertexConnectivity = other.m_VertexConnectivity;
    m_VertexFaceConnectivity = other.m_VertexFaceConnectivity;
    return *this;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::Clear(bool freeMemory) {
    m_Vertices.Clear(freeMemory);
    m_Faces.Clear(freeMemory);
    m_FaceAttributes.Clear(freeMemory);
    m_VertexAttributes.Clear(freeMemory);
    m_FaceConnectivity.Clear(freeMemory);
    m_FaceNormals.Clear(freeMemory);
    m_VertexConnectivity.Allocate(0, 6);
    m_VertexFaceConnectivity.Allocate(0, 6);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::Append(TMesh& other) {
    // In the 16-bit meshes the offset and the sums wrap modulo 65536.
    const Index offset = static_cast<Index>(m_Vertices.GetCount());
    m_Vertices.AddRange(other.m_Vertices);
    const unsigned int faceCount = other.m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        Face face = other.m_Faces[f];
        for (int k = 0; k < 3; ++k)
            face.m_Corners[k] = static_cast<Index>(face.m_Corners[k] + offset);
        m_Faces.Add(face);
    }
    m_BoundingBox.Extend(other.m_BoundingBox);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>::operator Vertex*() {
    return m_Vertices.GetStream();
}

namespace detail {

// Raises a per-element list to the length of its element list, never
// shrinking it; the added slots keep whatever the storage held.
template <typename T>
void ExtendTo(TList<T>& list, unsigned int count) {
    const unsigned int current = list.GetCount();
    if (current >= count)
        return;
    if (list.GetCapacity() < count)
        list.Grow(count - current);
    list.Expand(count);
}

}  // namespace detail

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::AllocateVertexAttributeBuffer() {
    detail::ExtendTo(m_VertexAttributes, m_Vertices.GetCount());
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::AllocateFaceAttributeBuffer() {
    detail::ExtendTo(m_FaceAttributes, m_Faces.GetCount());
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::AllocateVertexConnectivityBuffer() {
    m_VertexConnectivity.Allocate(0, 6);
    m_VertexConnectivity.Allocate(m_Vertices.GetCount(), 6);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::AllocateVertexFaceConnectivityBuffer() {
    m_VertexFaceConnectivity.Allocate(0, 6);
    m_VertexFaceConnectivity.Allocate(m_Vertices.GetCount(), 6);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::SetUseExponentialGrowth(bool on) {
    m_Vertices.SetUseExponentialGrowth(on);
    m_Faces.SetUseExponentialGrowth(on);
    m_FaceNormals.SetUseExponentialGrowth(on);
    m_VertexAttributes.SetUseExponentialGrowth(on);
    m_FaceAttributes.SetUseExponentialGrowth(on);
    m_FaceConnectivity.SetUseExponentialGrowth(on);
    m_VertexConnectivity.SetUseExponentialGrowth(on);
    m_VertexFaceConnectivity.SetUseExponentialGrowth(on);
}

// Translation and scaling move the cached box rather than rebuilding it, so a
// negative scale leaves its corners swapped; callers rely on that.
template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>& TMesh<Real, Vertex, Attribute, Index>::operator+=(const Vector& offset) {
    const unsigned int count = m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v)
        m_Vertices[v].m_Position += offset;
    m_BoundingBox.m_Min += offset;
    m_BoundingBox.m_Max += offset;
    return *this;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>& TMesh<Real, Vertex, Attribute, Index>::operator-=(const Vector& offset) {
    const unsigned int count = m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v)
        m_Vertices[v].m_Position -= offset;
    m_BoundingBox.m_Min -= offset;
    m_BoundingBox.m_Max -= offset;
    return *this;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>& TMesh<Real, Vertex, Attribute, Index>::operator*=(const Real& factor) {
    const unsigned int count = m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v)
        m_Vertices[v].m_Position *= factor;
    m_BoundingBox.m_Min *= factor;
    m_BoundingBox.m_Max *= factor;
    return *this;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>& TMesh<Real, Vertex, Attribute, Index>::operator/=(const Real& divisor) {
    const unsigned int count = m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v)
        m_Vertices[v].m_Position /= divisor;
    m_BoundingBox.m_Min /= divisor;
    m_BoundingBox.m_Max /= divisor;
    return *this;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>&
TMesh<Real, Vertex, Attribute, Index>::operator*=(const TMatrix3x3<Real>& matrix) {
    const unsigned int count = m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v) {
        m_Vertices[v].m_Position *= matrix;
        m_Vertices[v].m_Normal *= matrix;
    }
    detail::RebuildBox(m_BoundingBox, m_Vertices);
    return *this;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>&
TMesh<Real, Vertex, Attribute, Index>::operator*=(const TMatrix4x4<Real>& matrix) {
    const unsigned int count = m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v)
        m_Vertices[v] *= matrix;
    detail::RebuildBox(m_BoundingBox, m_Vertices);
    return *this;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
TMesh<Real, Vertex, Attribute, Index>& TMesh<Real, Vertex, Attribute, Index>::operator*=(TQuaternion<Real>& rotation) {
    // ToMatrix is the rotation for column vectors; our vectors are rows, so
    // the transpose rotates them by the same quaternion.
    TMatrix3x3<Real> matrix = rotation.ToMatrix();
    matrix.Transpose();
    return *this *= matrix;
}

}  // namespace Corvane::Pellix::Quorvel
