#pragma once

#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

// One pass of valence-driven flips: the shared edge a-b of two faces becomes
// the other diagonal c-d when that strictly lowers the squared distance of the
// four valences from their targets (6 inside, 4 for open vertices). The rule
// is purely combinatorial; no angle or convexity test guards it, and a flip
// may double an existing edge c-d. All adjacency stays in step, so passes can
// be repeated without rebuilding.
template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::FlipEdges() {
    const unsigned int none = CFaceConnections::None;
    auto valence = [this](unsigned int v) { return static_cast<int>(m_VertexConnectivity[v].GetCount()); };
    auto target = [this](unsigned int v) { return (m_VertexAttributes[v].m_Value & 1) ? 4 : 6; };

    bool changed = false;
    const unsigned int faceCount = m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        Face& face = m_Faces[f];
        if (face.m_Corners[0] == face.m_Corners[1])
            continue;

        // At most one flip per visited face; a flipped neighbour with a higher
        // index is visited later with its new corners.
        for (unsigned int k = 0; k < 3; ++k) {
            const unsigned int g = m_FaceConnectivity[f].m_Neighbours[k];
            if (g == none)
                continue;
            const unsigned int k1 = (k + 1) % 3;
            const unsigned int k2 = (k + 2) % 3;
            const unsigned int a = face.m_Corners[k];
            const unsigned int b = face.m_Corners[k1];
            const unsigned int c = face.m_Corners[k2];
            // A flip would leave a valence-3 endpoint with valence 2.
            if (valence(a) == 3 || valence(b) == 3)
                continue;

            unsigned int j = 0;
            for (unsigned int s = 0; s < 3; ++s) {
                if (m_FaceConnectivity[g].m_Neighbours[s] == f) {
                    j = s;
                    break;
                }
            }
            const unsigned int j1 = (j + 1) % 3;
            const unsigned int j2 = (j + 2) % 3;
            Face& other = m_Faces[g];
            const unsigned int d = other.m_Corners[j2];

            int targets[4] = {target(a), target(b), target(c), target(d)};
            int before[4] = {valence(a), valence(b), valence(c), valence(d)};
            int after[4] = {before[0] - 1, before[1] - 1, before[2] + 1, before[3] + 1};
            if (!(CalculateValenceSum(after, targets) < CalculateValenceSum(before, targets)))
                continue;

            const unsigned int fb = m_FaceConnectivity[f].m_Neighbours[k1];
            const unsigned int ga = m_FaceConnectivity[g].m_Neighbours[j1];

            // Both windings are kept: f = (a, d, c), g = (b, c, d).
            face.m_Corners[k] = static_cast<Index>(a);
            face.m_Corners[k1] = static_cast<Index>(d);
            face.m_Corners[k2] = static_cast<Index>(c);
            other.m_Corners[j] = static_cast<Index>(b);
            other.m_Corners[j1] = static_cast<Index>(c);
            other.m_Corners[j2] = static_cast<Index>(d);

            m_VertexConnectivity[a].Remove(b, false);
            m_VertexConnectivity[b].Remove(a, false);
            m_VertexConnectivity[c].AddUnique(d);
            m_VertexConnectivity[d].AddUnique(c);

            m_VertexFaceConnectivity[a].Remove(g, true);
            m_VertexFaceConnectivity[b].Remove(f, true);
            m_VertexFaceConnectivity[c].Add(g);
            m_VertexFaceConnectivity[d].Add(f);

            m_FaceConnectivity[f].m_Neighbours[k] = ga;
            m_FaceConnectivity[f].m_Neighbours[k1] = g;
            m_FaceConnectivity[g].m_Neighbours[j] = fb;
            m_FaceConnectivity[g].m_Neighbours[j1] = f;
            if (ga != none)
                m_FaceConnectivity[ga].Update(g, f);
            if (fb != none)
                m_FaceConnectivity[fb].Update(f, g);

            changed = true;
            break;
        }
    }
    return changed;
}

}  // namespace Corvane::Pellix::Quorvel
