#pragma once

#include <limits>

#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

// Every face is refined on its own: the mesh is first turned into separate
// triangles, so a split never has to be carried over to a neighbour and no
// crack can open. The result is a triangle soup; callers weld it if needed.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::SubDivide(Real maxLength) {
    MakeDegenerate();
    const Real maxLengthSquared = maxLength * maxLength;
    // Faces appended by the splits are finished by the recursion that made
    // them, so only the faces present now are started here.
    const unsigned int count = m_Faces.GetCount();
    for (unsigned int face = 0; face < count; ++face)
        SubDivide(face, maxLengthSquared);
    AssignVertexNormals();
}

// Longest-edge bisection, depth first: the half that keeps the face's index
// is finished before the appended half is started, which fixes the order of
// every appended vertex and face.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::SubDivide(unsigned int face, Real maxLengthSquared) {
    const Face saved = m_Faces[face];

    Real best = std::numeric_limits<Real>::lowest();
    int kBest = 0;
    for (int k = 0; k < 3; ++k) {
        const Real lengthSquared = m_Vertices[saved.m_Corners[k]].m_Position.DiffVectLenSquared(
            m_Vertices[saved.m_Corners[(k + 1) % 3]].m_Position);
        if (lengthSquared > best) {
            best = lengthSquared;
            kBest = k;
        }
    }
    if (!(best > maxLengthSquared))
        return;

    const int kNext = (kBest + 1) % 3;
    Vertex midpoint;
    midpoint.m_Position =
        (m_Vertices[saved.m_Corners[kBest]].m_Position + m_Vertices[saved.m_Corners[kNext]].m_Position) * Real(0.5);

    // The midpoint goes in twice: each half gets its own copy, so the halves
    // stay separate triangles like the rest of the soup.
    const unsigned int n = m_Vertices.GetCount();
    m_Vertices.Add(midpoint);
    m_Vertices.Add(midpoint);

    const unsigned int j = m_Faces.GetCount();
    m_Faces.Add(saved);
    m_Faces[face].m_Corners[kNext] = static_cast<Index>(n + 1);
    m_Faces[j].m_Corners[kBest] = static_cast<Index>(n);

    SubDivide(face, maxLengthSquared);
    SubDivide(j, maxLengthSquared);
}

}  // namespace Corvane::Pellix::Quorvel
