#pragma once

#include <cmath>
#include <initializer_list>
#include <limits>

#include "quorvel/maths/TTriangle3.h"
#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::DetermineBoundingBox(bool allVertices) {
    m_BoundingBox.Reset();
    if (allVertices) {
        const unsigned int count = m_Vertices.GetCount();
        for (unsigned int v = 0; v < count; ++v)
            m_BoundingBox.Extend(m_Vertices[v].m_Position);
        return;
    }
    // Only vertices that some face uses count here.
    const unsigned int faceCount = m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        const Index* corners = m_Faces[f].m_Corners;
        m_BoundingBox.Extend(m_Vertices[corners[0]].m_Position);
        m_BoundingBox.Extend(m_Vertices[corners[1]].m_Position);
        m_BoundingBox.Extend(m_Vertices[corners[2]].m_Position);
    }
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
typename TMesh<Real, Vertex, Attribute, Index>::Vector
TMesh<Real, Vertex, Attribute, Index>::GetCentre(bool allVertices) const {
    Vector sum(0, 0, 0);
    unsigned int counted = 0;
    const unsigned int vertexCount = m_Vertices.GetCount();
    if (allVertices) {
        for (unsigned int v = 0; v < vertexCount; ++v)
            sum += m_Vertices[v].m_Position;
        counted = vertexCount;
    } else {
        // Quadratic on purpose: it must not depend on any connectivity table
        // being current.
        const unsigned int faceCount = m_Faces.GetCount();
        for (unsigned int v = 0; v < vertexCount; ++v) {
            for (unsigned int f = 0; f < faceCount; ++f) {
                const Index* corners = m_Faces[f].m_Corners;
                if (static_cast<unsigned int>(corners[0]) == v || static_cast<unsigned int>(corners[1]) == v ||
                    static_cast<unsigned int>(corners[2]) == v) {
                    sum += m_Vertices[v].m_Position;
                    ++counted;
                    break;
                }
            }
        }
    }
    if (counted != 0)
        sum /= static_cast<Real>(counted);
    return sum;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
typename TMesh<Real, Vertex, Attribute, Index>::Vector
TMesh<Real, Vertex, Attribute, Index>::GetFaceCentre(unsigned int face) const {
    const Index* corners = m_Faces[face].m_Corners;
    return (m_Vertices[corners[0]].m_Position + m_Vertices[corners[1]].m_Position + m_Vertices[corners[2]].m_Position) /
           Real(3);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
Real TMesh<Real, Vertex, Attribute, Index>::GetVolume() const {
    // Signed tetrahedra from the origin: outward winding gives a positive
    // volume, and no absolute value is taken. The 1/6 is a double constant
    // while the sum stays in Real, which fixes the float rounding.
    Real volume = 0;
    const unsigned int faceCount = m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        const Index* corners = m_Faces[f].m_Corners;
        const Vector& p0 = m_Vertices[corners[0]].m_Position;
        const Vector& p1 = m_Vertices[corners[1]].m_Position;
        const Vector& p2 = m_Vertices[corners[2]].m_Position;
        volume += (p0 % (p1 * p2)) * 0.16666666666666666;
    }
    return volume;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
Real TMesh<Real, Vertex, Attribute, Index>::GetSurfaceArea() const {
    Real area = 0;
    const unsigned int faceCount = m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        const Index* corners = m_Faces[f].m_Corners;
        area += Sarvetta::TTriangle3<Real>(m_Vertices[corners[0]].m_Position, m_Vertices[corners[1]].m_Position,
                                           m_Vertices[corners[2]].m_Position)
                    .GetArea();
    }
    return area;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
Real TMesh<Real, Vertex, Attribute, Index>::GetSurfaceArea(Attribute& attribute) const {
    // Whole-value match, like every other attribute comparison of the mesh.
    Real area = 0;
    const unsigned int faceCount = m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        if (!(m_FaceAttributes[f] == attribute))
            continue;
        const Index* corners = m_Faces[f].m_Corners;
        area += Sarvetta::TTriangle3<Real>(m_Vertices[corners[0]].m_Position, m_Vertices[corners[1]].m_Position,
                                           m_Vertices[corners[2]].m_Position)
                    .GetArea();
    }
    return area;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
Real TMesh<Real, Vertex, Attribute, Index>::GetSurfaceArea(const Attribute& attribute) const {
    Attribute match(attribute);
    return GetSurfaceArea(match);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::CalculateTetrahedronProperties(const Vertex* a, const Vertex* b,
                                                                           const Vertex* c, const Vector* d,
                                                                           Vector* weightedCentroid,
                                                                           Real* volume) const {
    // The determinant equals (a - d) . ((b - d) x (c - d)): positive for a face
    // wound outward as seen from d.
    const Vector& pa = a->m_Position;
    const Vector& pb = b->m_Position;
    const Vector& pc = c->m_Position;
    const Sarvetta::TMatrix4x4<double> matrix(pa.x, pa.y, pa.z, 1.0, pb.x, pb.y, pb.z, 1.0, pc.x, pc.y, pc.z, 1.0, d->x,
                                              d->y, d->z, 1.0);
    *volume = static_cast<Real>(matrix.Determinant() / 6.0);
    const Vector sum = pa + pb + pc + *d;
    weightedCentroid->x = sum.x * Real(0.25) * *volume;
    weightedCentroid->y = sum.y * Real(0.25) * *volume;
    weightedCentroid->z = sum.z * Real(0.25) * *volume;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::CentreOfMass(Vector* out) const {
    // Tetrahedra are taken from the vertex mean rather than the origin, which
    // keeps the terms small for meshes far from the origin. There is no guard:
    // an empty or flat mesh yields infinities or NaN.
    const Vector reference = GetCentre(true);
    Vector weighted(0, 0, 0);
    Real volume = 0;
    const unsigned int faceCount = m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        const Index* corners = m_Faces[f].m_Corners;
        Vector w;
        Real v;
        CalculateTetrahedronProperties(&m_Vertices[corners[0]], &m_Vertices[corners[1]], &m_Vertices[corners[2]],
                                       &reference, &w, &v);
        weighted += w;
        volume += v;
    }
    out->x = weighted.x / volume;
    out->y = weighted.y / volume;
    out->z = weighted.z / volume;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::DeterminePrincipalAxes(Vector* major, Vector* middle, Vector* minor) const {
    const Vector centre = GetCentre(true);
    TMatrix3x3<Real> scatter;
    scatter.ToNull();
    const unsigned int count = m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v) {
        const Vector p = m_Vertices[v].m_Position - centre;
        scatter += p ^ p;
    }

    Real values[3];
    Vector vectors[3];
    if (!scatter.Eigenspace(values, vectors))
        return false;

    // Strict comparisons: ties go to the lower index. With three equal values
    // both searches end on index 0, so minor takes vector 0, middle is written
    // twice (ending with vector 2) and major is left as the caller had it.
    unsigned int smallest = 0;
    Real smallestValue = std::numeric_limits<Real>::max();
    for (unsigned int i = 0; i < 3; ++i) {
        if (values[i] < smallestValue) {
            smallestValue = values[i];
            smallest = i;
        }
    }
    unsigned int largest = 2;
    Real largestValue = std::numeric_limits<Real>::lowest();
    for (unsigned int i = 0; i < 3; ++i) {
        if (values[i] > largestValue) {
            largestValue = values[i];
            largest = i;
        }
    }
    for (unsigned int i = 0; i < 3; ++i) {
        if (i == smallest)
            *minor = vectors[i];
        else if (i == largest)
            *major = vectors[i];
        else
            *middle = vectors[i];
    }
    return true;
}

namespace detail {

// Calls visit(p0, p1, p2) with the corner positions of every face, in face
// order; an interior edge is thus seen twice.
template <typename Mesh, typename Visit>
void ForEachFaceCorners(const Mesh& mesh, Visit&& visit) {
    const unsigned int faceCount = mesh.m_Faces.GetCount();
    for (unsigned int f = 0; f < faceCount; ++f) {
        const auto* corners = mesh.m_Faces[f].m_Corners;
        visit(mesh.m_Vertices[corners[0]].m_Position, mesh.m_Vertices[corners[1]].m_Position,
              mesh.m_Vertices[corners[2]].m_Position);
    }
}

}  // namespace detail

template <typename Real, typename Vertex, typename Attribute, typename Index>
Real TMesh<Real, Vertex, Attribute, Index>::GetMinEdgeLength() const {
    // Interior edges are seen twice; that changes nothing for an extreme.
    Real m = std::numeric_limits<Real>::max();
    detail::ForEachFaceCorners(*this, [&](const Vector& p0, const Vector& p1, const Vector& p2) {
        for (const Real squared : {p0.DiffVectLenSquared(p1), p1.DiffVectLenSquared(p2), p2.DiffVectLenSquared(p0)})
            if (m > squared)
                m = squared;
    });
    return std::sqrt(m);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
Real TMesh<Real, Vertex, Attribute, Index>::GetMaxEdgeLength() const {
    // Without faces the sentinel stays negative and the result is NaN.
    Real m = std::numeric_limits<Real>::lowest();
    detail::ForEachFaceCorners(*this, [&](const Vector& p0, const Vector& p1, const Vector& p2) {
        for (const Real squared : {p0.DiffVectLenSquared(p1), p1.DiffVectLenSquared(p2), p2.DiffVectLenSquared(p0)})
            if (squared > m)
                m = squared;
    });
    return std::sqrt(m);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
Real TMesh<Real, Vertex, Attribute, Index>::GetMeanEdgeLength() const {
    // The deviations from the shortest edge are divided by the number of
    // faces, not of edges, so the figure is m + 3 * (mean - m). Target
    // lengths derived from it depend on this value as it stands.
    const Real m = GetMinEdgeLength();
    Real s = 0;
    detail::ForEachFaceCorners(*this, [&](const Vector& p0, const Vector& p1, const Vector& p2) {
        s += p0.DiffVectLen(p1) - m;
        s += p1.DiffVectLen(p2) - m;
        s += p2.DiffVectLen(p0) - m;
    });
    return s / static_cast<Real>(m_Faces.GetCount()) + m;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::Normalise() {
    const unsigned int count = m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v)
        m_Vertices[v].m_Normal.Normalise();
}

}  // namespace Corvane::Pellix::Quorvel
