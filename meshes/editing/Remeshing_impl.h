#pragma once

#include "quorvel/meshes/MeshObject_impl.h"
#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

// Needs current face, vertex and vertex-face connectivity on entry. The length
// factors live in the steps; the target is passed to them unscaled. Collapsed
// vertices (attribute 255) stay in the vertex list, unreferenced, until the
// caller runs DiscardVertices.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::Remesh(Real targetLength) {
    const unsigned int vertexCount = m_Vertices.GetCount();
    const unsigned int attributeCount = m_VertexAttributes.GetCount();
    if (attributeCount < vertexCount) {
        detail::ExtendTo(m_VertexAttributes, vertexCount);
        // Nothing below clears attributes (the open mark is ORed in), so the
        // added slots would otherwise keep whatever the storage held.
        for (unsigned int v = attributeCount; v < vertexCount; ++v)
            m_VertexAttributes[v] = Attribute();
    }
    // Set once: splits mark the open midpoints they insert themselves.
    MarkOpenVertices(Attribute(1));

    bool changed = true;
    for (int iteration = 0; iteration < 5 && changed; ++iteration) {
        // Every step runs in every iteration, whatever the earlier ones did.
        changed = SplitEdges(targetLength);
        changed = CollapseEdges(targetLength) || changed;
        changed = FlipEdges() || changed;
        if (changed)
            RelaxVertices();
    }

    DiscardFaces();
    // Also gives the midpoints inserted by splits, created with zero normals,
    // their normals, and replaces the positions relaxation left in the normals.
    AssignVertexNormals();
}

}  // namespace Corvane::Pellix::Quorvel
