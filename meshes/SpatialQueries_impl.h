#pragma once

#include <cmath>
#include <cstdlib>
#include <limits>

#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

namespace detail {

// Constants of the random rays of the inside test. Float meshes keep the
// single-precision values; double meshes use the full double ones.
template <typename Real>
struct RayConstants;

template <>
struct RayConstants<float> {
    static constexpr float RandomRange = 32767.0f;
    static constexpr float TwoPi = 6.2831855f;
    static constexpr float Pi = 3.1415927f;
};

template <>
struct RayConstants<double> {
    static constexpr double RandomRange = 32767.0;
    static constexpr double TwoPi = 6.283185307179586;
    static constexpr double Pi = 3.141592653589793;
};

// Segment tolerance of the inside and intersection tests: the float value,
// widened unchanged in double meshes.
constexpr float SegmentTolerance = 1e-6f;

template <typename Real>
using LineTest = bool (TLine3<Real>::*)(const TVector3<Real>&, const TVector3<Real>&, const TVector3<Real>&,
                                        TVector3<Real>*, Real*, Real) const;

template <typename Real, typename Vertex, typename Index>
bool IntersectFace(const TLine3<Real>& line, LineTest<Real> test, const TList<Vertex>& vertices,
                   const TFace<Index>& face, TVector3<Real>* point, Real* distance, Real tolerance) {
    if (!(line.*test)(vertices[face.m_Corners[0]].m_Position, vertices[face.m_Corners[1]].m_Position,
                      vertices[face.m_Corners[2]].m_Position, point, distance, tolerance))
        return false;
    // A hit behind the origin is refused, but the caller still receives its
    // point and parameter.
    return *distance >= 0;
}

template <typename Real, typename Vertex, typename Index>
bool IntersectNearest(const TLine3<Real>& line, LineTest<Real> test, const TList<Vertex>& vertices,
                      const TList<TFace<Index>>& faces, TVector3<Real>* point, Real tolerance) {
    const Real initial = std::numeric_limits<Real>::max();
    Real best = initial;
    TVector3<Real> hit;
    Real t;
    const unsigned int count = faces.GetCount();
    for (unsigned int f = 0; f < count; ++f) {
        const TFace<Index>& face = faces[f];
        if (!(line.*test)(vertices[face.m_Corners[0]].m_Position, vertices[face.m_Corners[1]].m_Position,
                          vertices[face.m_Corners[2]].m_Position, &hit, &t, tolerance))
            continue;
        // Strict comparison: of two faces hit at the same distance the
        // earlier one wins.
        if (t >= 0 && t < best) {
            best = t;
            *point = hit;
        }
    }
    return best != initial;
}

}  // namespace detail

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::IntersectWith(const TLine3<Real>& line, unsigned int face, Vector* point,
                                                          Real* distance, Real tolerance) const {
    return detail::IntersectFace(line, &TLine3<Real>::IntersectWith, m_Vertices, m_Faces[face], point, distance,
                                 tolerance);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::IntersectWith(const TLine3<Real>& line, Vector* point,
                                                          Real tolerance) const {
    return detail::IntersectNearest(line, &TLine3<Real>::IntersectWith, m_Vertices, m_Faces, point, tolerance);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::IntersectWithBFC(const TLine3<Real>& line, unsigned int face, Vector* point,
                                                             Real* distance, Real tolerance) const {
    return detail::IntersectFace(line, &TLine3<Real>::IntersectWithBFC, m_Vertices, m_Faces[face], point, distance,
                                 tolerance);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::IntersectWithBFC(const TLine3<Real>& line, Vector* point,
                                                             Real tolerance) const {
    return detail::IntersectNearest(line, &TLine3<Real>::IntersectWithBFC, m_Vertices, m_Faces, point, tolerance);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::IntersectWithFFC(const TLine3<Real>& line, unsigned int face, Vector* point,
                                                             Real* distance, Real tolerance) const {
    return detail::IntersectFace(line, &TLine3<Real>::IntersectWithFFC, m_Vertices, m_Faces[face], point, distance,
                                 tolerance);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::IntersectWithFFC(const TLine3<Real>& line, Vector* point,
                                                             Real tolerance) const {
    return detail::IntersectNearest(line, &TLine3<Real>::IntersectWithFFC, m_Vertices, m_Faces, point, tolerance);
}

// Casts random segments of the box diagonal's length from the point and
// decides on the first one that meets no face ambiguously. The generator is
// reseeded on every call so that equal input gives equal answers. All rays
// point into the upper half-space.
//
// The parity is deliberate and callers depend on it: an even, non-zero number
// of clean crossings means within, an odd number means not within. A point
// enclosed by one closed shell therefore reports false, and a point in a
// cavity (two shells) true.
template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::IsWithin(const Vector& point) const {
    typedef detail::RayConstants<Real> Constants;
    if (!m_BoundingBox.IsWithin(point, Real(0)))
        return false;
    const Real length = (m_BoundingBox.m_Max - m_BoundingBox.m_Min).GetLength();
    const Real tolerance = Real(detail::SegmentTolerance);
    srand(0);
    const unsigned int faceCount = m_Faces.GetCount();
    Vector scratch;
    for (int attempt = 0; attempt < 1000; ++attempt) {
        // Two statements: theta must take the first number of the pair.
        //
        // The runtime's rand() is used as it comes, not masked to 15 bits,
        // although the divisor assumes a generator topping out at 32767.
        // Anyone reproducing these rays (to predict which faces a ray meets,
        // or that the sequence after the call is srand(0) advanced by two
        // numbers per ray) calls the same rand() and applies this formula;
        // a mask would give different rays than that. Larger values only
        // wind theta and phi further round the circle: the direction stays a
        // unit vector with z >= 0.
        const Real theta = Real(rand()) / Constants::RandomRange * Constants::TwoPi;
        const Real phi = Real(rand()) / Constants::RandomRange * Constants::TwoPi - Constants::Pi;
        const Real k = std::cos(phi);
        Vector direction(std::cos(theta) * k, std::sin(theta) * k, std::sqrt(Real(1) - k * k));
        direction *= length;
        const TEdge3<Real> segment(point, point + direction);

        // Checked after the first ray is drawn, so a faceless mesh still
        // advances the generator by one pair.
        if (faceCount == 0)
            return false;

        int count = 0;
        for (unsigned int f = 0; f < faceCount && count >= 0; ++f) {
            const Face& face = m_Faces[f];
            const int code = segment.IntersectWith(m_Vertices[face.m_Corners[0]].m_Position,
                                                   m_Vertices[face.m_Corners[1]].m_Position,
                                                   m_Vertices[face.m_Corners[2]].m_Position, &scratch, tolerance);
            if (code == 0)
                ++count;
            else if (code != 1)
                count = -1;
        }
        if (count == 0)
            return false;
        if (count > 0)
            return count % 2 == 0;
    }
    return false;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::IsWithin(const TMesh& other) const {
    const unsigned int count = other.m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v)
        if (IsWithin(other.m_Vertices[v].m_Position))
            return true;
    return false;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMesh<Real, Vertex, Attribute, Index>::IntersectsWith(const TMesh& other) const {
    const TBox<Real>& mine = m_BoundingBox;
    const TBox<Real>& theirs = other.m_BoundingBox;
    // Boxes that only touch are not rejected.
    if (theirs.m_Min.x > mine.m_Max.x)
        return false;
    if (theirs.m_Min.y > mine.m_Max.y)
        return false;
    if (theirs.m_Min.z > mine.m_Max.z)
        return false;
    if (mine.m_Min.x > theirs.m_Max.x)
        return false;
    if (mine.m_Min.y > theirs.m_Max.y)
        return false;
    if (mine.m_Min.z > theirs.m_Max.z)
        return false;

    if (IsWithin(other) || other.IsWithin(*this))
        return true;

    const Real tolerance = Real(detail::SegmentTolerance);
    const unsigned int faceCount = m_Faces.GetCount();
    const unsigned int otherFaceCount = other.m_Faces.GetCount();
    Vector scratch;
    for (unsigned int f = 0; f < faceCount; ++f) {
        const Face& face = m_Faces[f];
        const Vector& a = m_Vertices[face.m_Corners[0]].m_Position;
        const Vector& b = m_Vertices[face.m_Corners[1]].m_Position;
        const Vector& c = m_Vertices[face.m_Corners[2]].m_Position;
        const TEdge3<Real> edges[3] = {TEdge3<Real>(a, b), TEdge3<Real>(b, c), TEdge3<Real>(c, a)};
        for (unsigned int g = 0; g < otherFaceCount; ++g) {
            const Face& target = other.m_Faces[g];
            const Vector& p0 = other.m_Vertices[target.m_Corners[0]].m_Position;
            const Vector& p1 = other.m_Vertices[target.m_Corners[1]].m_Position;
            const Vector& p2 = other.m_Vertices[target.m_Corners[2]].m_Position;
            for (int e = 0; e < 3; ++e)
                if (edges[e].IntersectWith(p0, p1, p2, &scratch, tolerance) != 1)
                    return true;
        }
    }
    return false;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
unsigned int TMesh<Real, Vertex, Attribute, Index>::FindClosestVertex(const Vector& point) {
    Real best = std::numeric_limits<Real>::max();
    unsigned int closest = 0;
    const unsigned int count = m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v) {
        const Real distance = m_Vertices[v].m_Position.DiffVectLenSquared(point);
        if (best > distance) {
            best = distance;
            closest = v;
        }
    }
    return closest;
}

}  // namespace Corvane::Pellix::Quorvel
