#pragma once

#include <cmath>

#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

namespace detail {

// Number of pieces a length is cut into so that no piece exceeds spacing.
// The quotient is formed in Real; float meshes round it up in double and
// narrow the result to float before the integer conversion, so a quotient a
// hair above a whole number in float gives one piece more than in double.
template <typename Real>
unsigned int InfillPieces(Real length, Real spacing) {
    const Real quotient = length / spacing;
    return static_cast<unsigned int>(static_cast<Real>(std::ceil(static_cast<double>(quotient))));
}

}  // namespace detail

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::InfillBetweenTwoPoints(const Vector& start, const Vector& end,
                                                                   const Real& spacing, TList<Vector>* points) {
    const Vector delta = end - start;
    const unsigned int pieces = detail::InfillPieces(delta.GetLength(), spacing);
    if (pieces < 2)
        return;
    const Vector step = delta / static_cast<Real>(pieces);
    Vector p = start;
    // Interior points only: the ends belong to whoever owns them.
    for (unsigned int i = 1; i < pieces; ++i) {
        p += step;
        points->Add(p);
    }
}

// Nothing is deduplicated: the vertices come first, then per face its three
// edges and a sweep of segments parallel to its shortest edge, each segment
// giving only its interior points, so an edge shared by two faces is filled
// twice.
template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::ExtractInfilledPointSet(const Real& spacing, TList<Vector>* points) {
    const unsigned int vertexCount = m_Vertices.GetCount();
    for (unsigned int v = 0; v < vertexCount; ++v)
        points->Add(m_Vertices[v].m_Position);

    const unsigned int faceCount = m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        const Face& face = m_Faces[f];
        const Vector a = m_Vertices[face.m_Corners[0]].m_Position;
        const Vector b = m_Vertices[face.m_Corners[1]].m_Position;
        const Vector c = m_Vertices[face.m_Corners[2]].m_Position;
        const Real dAB = a.DiffVectLen(b);
        const Real dBC = b.DiffVectLen(c);
        const Real dAC = a.DiffVectLen(c);
        if (spacing > dAB && spacing > dBC && spacing > dAC)
            continue;

        InfillBetweenTwoPoints(a, b, spacing, points);
        InfillBetweenTwoPoints(b, c, spacing, points);
        InfillBetweenTwoPoints(a, c, spacing, points);

        // Shortest edge PQ and its opposite corner R; ties prefer AB, then AC.
        Vector p, q, r;
        if (dAC >= dAB && dBC >= dAB) {
            p = a;
            q = b;
            r = c;
        } else if (dAC < dAB && dBC >= dAC) {
            p = a;
            q = c;
            r = b;
        } else {
            p = b;
            q = c;
            r = a;
        }

        Vector d1 = r - p;
        Vector d2 = r - q;
        const Real l1 = d1.GetLength();
        const Real l2 = d2.GetLength();
        unsigned int pieces = detail::InfillPieces(l1 > l2 ? l1 : l2, spacing);
        d1 /= static_cast<Real>(pieces);
        d2 /= static_cast<Real>(pieces);
        // Decremented before the test: a face reaches this point only with an
        // edge at least spacing long, so pieces is at least 1 here.
        while (--pieces != 0) {
            p += d1;
            q += d2;
            InfillBetweenTwoPoints(p, q, spacing, points);
        }
    }
    return true;
}

}  // namespace Corvane::Pellix::Quorvel
