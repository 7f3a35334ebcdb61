#pragma once

#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

// Splits, face by face, the longest edge over four thirds of the target length
// at its midpoint, keeping every per-vertex and per-face list in step after
// each single split so that no rebuild is needed afterwards.
//
// The factor is the single-precision four thirds, widened in double meshes, so
// both precisions split the same edges. A face index is examined again after
// each split until none of its edges is over the limit; appended faces are
// reached at the end of the list within the same pass.
template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::SplitEdges(Real targetLength) {
    const Real scaled = targetLength * Real(1.3333334f);
    const Real limit = scaled * scaled;
    const unsigned int none = CFaceConnections::None;

    bool changed = false;

    int fi = 0;
    while (fi < static_cast<int>(m_Faces.GetCount())) {
        const unsigned int f = static_cast<unsigned int>(fi);
        const Face face = m_Faces[f];
        if (face.m_Corners[0] == face.m_Corners[1]) {
            ++fi;
            continue;
        }

        int best = -1;
        Real bestLength = Real(0);
        for (int i = 0; i < 3; ++i) {
            const Real d = m_Vertices[face.m_Corners[i]].m_Position.DiffVectLenSquared(
                m_Vertices[face.m_Corners[(i + 1) % 3]].m_Position);
            if (d > limit && d > bestLength) {
                best = i;
                bestLength = d;
            }
        }
        if (best < 0) {
            ++fi;
            continue;
        }

        const unsigned int e = static_cast<unsigned int>(best);
        const unsigned int e1 = (e + 1) % 3;
        const unsigned int e2 = (e1 + 1) % 3;
        const unsigned int a = face.m_Corners[e];
        const unsigned int b = face.m_Corners[e1];
        const unsigned int c = face.m_Corners[e2];

        // The neighbour across a-b must list this face back, in the slot of
        // its own run b-a. Tables that are not current give no such slot:
        // collapses and flips on a doubled edge leave neighbours that name a
        // face across another edge, or not at all. Splitting there would cut
        // a face that does not hold the edge, whose new faces reach across the
        // mesh and are cut again, without end, so such a face is left as it is.
        const unsigned int g = m_FaceConnectivity[f].m_Neighbours[e];
        unsigned int j = 3;
        if (g != none) {
            for (unsigned int k = 0; k < 3; ++k) {
                if (m_FaceConnectivity[g].m_Neighbours[k] == f) {
                    j = k;
                    break;
                }
            }
            if (j == 3 || m_Faces[g].m_Corners[j] != b || m_Faces[g].m_Corners[(j + 1) % 3] != a) {
                ++fi;
                continue;
            }
        }

        // Normal and colour stay zero: the driver recomputes normals at its end.
        Vertex vertex = Vertex();
        vertex.m_Position = (m_Vertices[a].m_Position + m_Vertices[b].m_Position) * Real(0.5);
        m_Vertices.Add(vertex);
        const unsigned int m = m_Vertices.GetCount() - 1;
        m_VertexAttributes.Add(Attribute(0));
        m_VertexConnectivity.Add(6);
        m_VertexFaceConnectivity.Add(6);

        // (a, b, c) becomes (a, m, c) in place and (m, b, c) is appended; both
        // keep the corner slots of the original face.
        Face half = face;
        half.m_Corners[e] = static_cast<Index>(m);
        m_Faces[f].m_Corners[e1] = static_cast<Index>(m);
        m_Faces.Add(half);
        const unsigned int t = m_Faces.GetCount() - 1;

        if (g != none) {
            const unsigned int j1 = (j + 1) % 3;
            const unsigned int j2 = (j1 + 1) % 3;
            const unsigned int d = m_Faces[g].m_Corners[j2];

            // The neighbour (b, a, d) becomes (b, m, d) and (m, a, d) is appended.
            Face other = m_Faces[g];
            other.m_Corners[j] = static_cast<Index>(m);
            m_Faces[g].m_Corners[j1] = static_cast<Index>(m);
            m_Faces.Add(other);
            const unsigned int u = m_Faces.GetCount() - 1;

            // The appended triples start as copies of their originals, so the
            // outer edges b-c and a-d keep their neighbours without lookups.
            const CFaceConnections x = m_FaceConnectivity[f];
            const CFaceConnections y = m_FaceConnectivity[g];
            m_FaceConnectivity.Add(x);
            m_FaceConnectivity.Add(y);
            m_FaceConnectivity[f].m_Neighbours[e1] = t;
            m_FaceConnectivity[f].m_Neighbours[e] = u;
            m_FaceConnectivity[t].m_Neighbours[e] = g;
            m_FaceConnectivity[t].m_Neighbours[e2] = f;
            m_FaceConnectivity[g].m_Neighbours[j] = t;
            m_FaceConnectivity[g].m_Neighbours[j1] = u;
            m_FaceConnectivity[u].m_Neighbours[j] = f;
            m_FaceConnectivity[u].m_Neighbours[j2] = g;
            if (x.m_Neighbours[e1] != none)
                m_FaceConnectivity[x.m_Neighbours[e1]].Update(f, t);
            if (y.m_Neighbours[j1] != none)
                m_FaceConnectivity[y.m_Neighbours[j1]].Update(g, u);

            m_VertexConnectivity.Update(a, b, m);
            m_VertexConnectivity.Update(b, a, m);
            m_VertexFaceConnectivity[a].Remove(g, false);
            m_VertexFaceConnectivity[a].Add(u);
            m_VertexFaceConnectivity[b].Remove(f, false);
            m_VertexFaceConnectivity[b].Add(t);
            m_VertexConnectivity[c].Add(m);
            m_VertexConnectivity[d].Add(m);
            m_VertexFaceConnectivity[c].Add(t);
            m_VertexFaceConnectivity[d].Add(u);

            TList<unsigned int>& neighbours = m_VertexConnectivity[m];
            neighbours.Add(a);
            neighbours.Add(b);
            neighbours.Add(c);
            neighbours.Add(d);
            TList<unsigned int>& faces = m_VertexFaceConnectivity[m];
            faces.Add(f);
            faces.Add(g);
            faces.Add(t);
            faces.Add(u);
        } else {
            // A midpoint of an open edge is itself open.
            m_VertexAttributes[m] = Attribute(1);

            const CFaceConnections x = m_FaceConnectivity[f];
            m_FaceConnectivity.Add(x);
            m_FaceConnectivity[f].m_Neighbours[e1] = t;
            m_FaceConnectivity[t].m_Neighbours[e2] = f;
            if (x.m_Neighbours[e1] != none)
                m_FaceConnectivity[x.m_Neighbours[e1]].Update(f, t);

            m_VertexConnectivity.Update(a, b, m);
            m_VertexConnectivity.Update(b, a, m);
            m_VertexFaceConnectivity[b].Remove(f, false);
            m_VertexFaceConnectivity[b].Add(t);
            m_VertexConnectivity[c].Add(m);
            m_VertexFaceConnectivity[c].Add(t);

            TList<unsigned int>& neighbours = m_VertexConnectivity[m];
            neighbours.Add(a);
            neighbours.Add(b);
            neighbours.Add(c);
            TList<unsigned int>& faces = m_VertexFaceConnectivity[m];
            faces.Add(f);
            faces.Add(t);
        }

        changed = true;
    }
    return changed;
}

}  // namespace Corvane::Pellix::Quorvel
