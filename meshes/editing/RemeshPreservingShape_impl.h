#pragma once

#include <cstdint>
#include <vector>

#include "quorvel/meshes/Connectivity_impl.h"
#include "quorvel/meshes/NormalsAndAttributes_impl.h"
#include "quorvel/meshes/TMesh.h"
#include "quorvel/meshes/editing/preserving/CPreservingRemesher.h"

namespace Corvane::Pellix::Quorvel {

// The work happens in CPreservingRemesher, compiled once for every mesh type;
// this member only moves the mesh into flat double arrays and back, so that
// each of the instantiations adds little code.
template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::RemeshPreservingShape(Real targetLength, const CRemeshOptions& options) {
    const unsigned int vertexCount = m_Vertices.GetCount();
    const unsigned int faceCount = m_Faces.GetCount();
    std::vector<double> positions(3 * std::size_t(vertexCount));
    for (unsigned int v = 0; v < vertexCount; ++v) {
        const Vector& p = m_Vertices[v].m_Position;
        positions[3 * std::size_t(v)] = p.x;
        positions[3 * std::size_t(v) + 1] = p.y;
        positions[3 * std::size_t(v) + 2] = p.z;
    }
    std::vector<std::uint32_t> triangles(3 * std::size_t(faceCount));
    for (unsigned int f = 0; f < faceCount; ++f)
        for (int k = 0; k < 3; ++k)
            triangles[3 * std::size_t(f) + k] = m_Faces[f].m_Corners[k];

    detail::CPreservingRemesher remesher;
    const bool finished = remesher.Run(positions, triangles, double(targetLength), options);
    positions = std::vector<double>();
    triangles = std::vector<std::uint32_t>();

    // A vertex that continues an input vertex keeps its record (the colour of
    // a TVertexPNC); a new one starts from zero. Sources ascend, and never
    // lie below their output index, so the records can move down in place.
    const unsigned int newVertexCount = static_cast<unsigned int>(remesher.m_Sources.size());
    const unsigned int newFaceCount = static_cast<unsigned int>(remesher.m_Triangles.size() / 3);
    if (newVertexCount > vertexCount)
        m_Vertices.Expand(newVertexCount);
    for (unsigned int v = 0; v < newVertexCount; ++v) {
        const std::uint32_t source = remesher.m_Sources[v];
        if (source == detail::CPreservingRemesher::NoSource)
            m_Vertices[v] = Vertex();
        else if (source != v)
            m_Vertices[v] = m_Vertices[source];
        m_Vertices[v].m_Position =
            Vector(Real(remesher.m_Positions[3 * std::size_t(v)]), Real(remesher.m_Positions[3 * std::size_t(v) + 1]),
                   Real(remesher.m_Positions[3 * std::size_t(v) + 2]));
    }
    if (newVertexCount < m_Vertices.GetCount())
        m_Vertices.RemoveFromEnd(m_Vertices.GetCount() - newVertexCount);

    m_Faces.Clear(false);
    m_Faces.Expand(newFaceCount);
    for (unsigned int f = 0; f < newFaceCount; ++f)
        for (int k = 0; k < 3; ++k)
            m_Faces[f].m_Corners[k] = static_cast<Index>(remesher.m_Triangles[3 * std::size_t(f) + k]);

    // Everything derived is made current; attributes start from zero.
    m_VertexAttributes.Clear(false);
    m_VertexAttributes.Expand(newVertexCount);
    for (unsigned int v = 0; v < newVertexCount; ++v)
        m_VertexAttributes[v] = Attribute(0);
    m_FaceAttributes.Clear(false);
    m_FaceAttributes.Expand(newFaceCount);
    for (unsigned int f = 0; f < newFaceCount; ++f)
        m_FaceAttributes[f] = Attribute(0);
    if (m_FaceNormals.GetCount() != 0) {
        m_FaceNormals.Clear(false);
        AssignFaceNormals();
    }
    detail::AssignVertexNormalsInParallel(*this);
    m_FaceConnectivity.Clear(false);
    AssignFaceConnectivity(true);
    detail::AssignVertexConnectivityFromFaceLists(*this);
    DetermineBoundingBox(true);
    return finished;
}

}  // namespace Corvane::Pellix::Quorvel
