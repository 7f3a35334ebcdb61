#pragma once

#include <limits>

#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

// One greedy pass that merges the endpoints of edges shorter than 0.8 times the
// target length, shortest candidates first. Nothing is deleted: the two faces
// on a collapsed edge get all corners 0 (degenerate) and the removed vertex
// the attribute 255, to be compacted later by DiscardFaces/DiscardVertices.
//
// The factor is the single-precision 0.8 and the "no candidate" score the
// largest float, in double meshes too, so both precisions pick the same edges.
template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::CollapseEdges(Real targetLength) {
    const Real scaled = targetLength * Real(0.8f);
    const Real limit = scaled * scaled;
    const Real largest = Real(Sarvetta::LargestFloat);

    auto squaredLength = [this](unsigned int from, unsigned int to) {
        return m_Vertices[from].m_Position.DiffVectLenSquared(m_Vertices[to].m_Position);
    };

    const unsigned int faceCount = m_Faces.GetCount();
    TList<Lintorra::TPair<Real, unsigned int>> work(faceCount, 1000);
    for (unsigned int f = 0; f < faceCount; ++f) {
        const Face& face = m_Faces[f];
        Real score = largest;
        if (face.m_Corners[0] != face.m_Corners[1]) {
            for (int k = 0; k < 3; ++k) {
                const Real d = squaredLength(face.m_Corners[k], face.m_Corners[(k + 1) % 3]);
                if (d < limit && d < score)
                    score = d;
            }
        }
        work.Add(Lintorra::TPair<Real, unsigned int>(score, f));
    }
    // Pairs order equal scores by face index, so the pass is deterministic.
    work.Sort();

    bool changed = false;
    const unsigned int entries = work.GetCount();
    for (unsigned int entry = 0; entry < entries; ++entry) {
        const unsigned int f = work[entry].m_Payload;
        // Re-read: an earlier collapse may have changed or zeroed this face,
        // and its edge lengths are measured anew rather than taken from the
        // score.
        const Face face = m_Faces[f];
        if (face.m_Corners[0] == face.m_Corners[1])
            continue;

        int chosen = -1;
        Real best = largest;
        for (int k = 0; k < 3; ++k) {
            const unsigned int a = face.m_Corners[k];
            const unsigned int b = face.m_Corners[(k + 1) % 3];
            // Open and removed vertices (255 has bit 0 set) never move.
            if ((m_VertexAttributes[a].m_Value & 1) || (m_VertexAttributes[b].m_Value & 1))
                continue;
            const TList<unsigned int>& aNeighbours = m_VertexConnectivity[a];
            const unsigned int aCount = aNeighbours.GetCount();
            if (aCount == 0)
                continue;

            // Link condition: an edge inside a closed manifold shares exactly
            // two neighbours; a third shared one rules the edge out at once.
            const TList<unsigned int>& bNeighbours = m_VertexConnectivity[b];
            int common = 0;
            for (unsigned int i = 0; i < aCount && common < 3; ++i)
                if (bNeighbours.Search(aNeighbours[i]) >= 0)
                    ++common;
            if (common != 2)
                continue;

            const Real d = squaredLength(a, b);
            if (d < limit && d < best) {
                best = d;
                chosen = k;
            }
        }
        if (chosen < 0)
            continue;

        const unsigned int k = static_cast<unsigned int>(chosen);
        const unsigned int a = face.m_Corners[k];
        const unsigned int b = face.m_Corners[(k + 1) % 3];
        const CFaceConnections fc = m_FaceConnectivity[f];
        const unsigned int u = fc.m_Neighbours[(k + 1) % 3];
        const unsigned int w = fc.m_Neighbours[(k + 2) % 3];
        // Both endpoints are interior, so every neighbour named here exists.
        const unsigned int g = fc.m_Neighbours[k];
        unsigned int j = 3;
        for (unsigned int s = 0; g != CFaceConnections::None && s < 3; ++s) {
            if (m_FaceConnectivity[g].m_Neighbours[s] == f) {
                j = s;
                break;
            }
        }
        // The edge must be one of a manifold: g names f back in the slot of
        // its own run b-a, and no third face holds both ends. Valid tables
        // always pass. A flip may double an edge (faces are then stacked on
        // the same corners), and merging b into a there would leave faces
        // that name a vertex twice and neighbours across edges that no longer
        // exist, on which later splits feed themselves without end; such an
        // edge is left as it is.
        if (g == CFaceConnections::None || j == 3 || m_Faces[g].m_Corners[j] != b ||
            m_Faces[g].m_Corners[(j + 1) % 3] != a)
            continue;
        const TList<unsigned int>& bFaces = m_VertexFaceConnectivity[b];
        bool doubled = false;
        for (unsigned int i = 0; i < bFaces.GetCount() && !doubled; ++i) {
            const unsigned int h = bFaces[i];
            const Face& other = m_Faces[h];
            doubled = h != f && h != g && other.m_Corners[0] != other.m_Corners[1] &&
                      (other.m_Corners[0] == a || other.m_Corners[1] == a || other.m_Corners[2] == a);
        }
        if (doubled)
            continue;
        const unsigned int g1 = m_FaceConnectivity[g].m_Neighbours[(j + 1) % 3];
        const unsigned int g2 = m_FaceConnectivity[g].m_Neighbours[(j + 2) % 3];

        // The survivor is the first corner of the edge in f's winding.
        m_Vertices[a].m_Position = (m_Vertices[a].m_Position + m_Vertices[b].m_Position) * Real(0.5);

        // Closing each of the two faces glues its remaining two neighbours.
        m_FaceConnectivity[w].Update(f, u);
        m_FaceConnectivity[u].Update(f, w);
        m_FaceConnectivity[g2].Update(g, g1);
        m_FaceConnectivity[g1].Update(g, g2);

        for (int i = 0; i < 3; ++i)
            m_VertexFaceConnectivity[face.m_Corners[i]].Remove(f, false);
        const Face other = m_Faces[g];
        for (int i = 0; i < 3; ++i)
            m_VertexFaceConnectivity[other.m_Corners[i]].Remove(g, false);

        TList<unsigned int>& aFaces = m_VertexFaceConnectivity[a];
        const unsigned int bFaceCount = bFaces.GetCount();
        for (unsigned int i = 0; i < bFaceCount; ++i) {
            const unsigned int h = bFaces[i];
            m_Faces[h].Update(b, a);
            aFaces.AddUnique(h);
        }

        TList<unsigned int>& aNeighbours = m_VertexConnectivity[a];
        aNeighbours.Remove(b, true);
        const TList<unsigned int>& bNeighbours = m_VertexConnectivity[b];
        const unsigned int bNeighbourCount = bNeighbours.GetCount();
        for (unsigned int i = 0; i < bNeighbourCount; ++i) {
            const unsigned int n = bNeighbours[i];
            if (n == a)
                continue;
            aNeighbours.AddUnique(n);
            m_VertexConnectivity[n].Remove(b, false);
            m_VertexConnectivity[n].AddUnique(a);
        }

        // The triples of f and g are left stale; nothing reads a degenerate
        // face's neighbours.
        m_Faces[f] = Face(0, 0, 0);
        m_Faces[g] = Face(0, 0, 0);
        // b keeps its own lists and its place in the vertex list.
        m_VertexAttributes[b] = Attribute(255);
        changed = true;
    }
    return changed;
}

}  // namespace Corvane::Pellix::Quorvel
