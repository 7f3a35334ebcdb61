#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

#include "quorvel/meshes/SpatialQueries_impl.h"
#include "quorvel/meshes/queries/CRuntimeRandom.h"
#include "quorvel/meshes/queries/TMeshTree.h"
#include "quorvel/meshes/queries/TreeWalk_impl.h"

namespace Corvane::Pellix::Quorvel {

namespace detail {

// Rays the mesh's inside test casts, before scaling by the box diagonal:
// the same formula on the same numbers as TMesh::IsWithin, drawn once from a
// private copy of the runtime's sequence after srand(0).
template <typename Real>
const TVector3<Real>* GetInsideRays() {
    static const std::vector<TVector3<Real>> rays = [] {
        typedef RayConstants<Real> Constants;
        std::vector<TVector3<Real>> result;
        result.reserve(1000);
        CRuntimeRandom random(0);
        for (int attempt = 0; attempt < 1000; ++attempt) {
            const Real theta = Real(random.Next()) / Constants::RandomRange * Constants::TwoPi;
            const Real phi = Real(random.Next()) / Constants::RandomRange * Constants::TwoPi - Constants::Pi;
            const Real k = std::cos(phi);
            result.push_back(TVector3<Real>(std::cos(theta) * k, std::sin(theta) * k, std::sqrt(Real(1) - k * k)));
        }
        return result;
    }();
    return rays.data();
}

template <typename Real>
inline TVector3<Real> Corner(const double* corners, int k) {
    return TVector3<Real>(Real(corners[3 * k]), Real(corners[3 * k + 1]), Real(corners[3 * k + 2]));
}

template <typename Real>
inline LineTest<Real> GetLineTest(ECulling culling) {
    switch (culling) {
    case ECulling::BackFaces:
        return &TLine3<Real>::IntersectWithBFC;
    case ECulling::FrontFaces:
        return &TLine3<Real>::IntersectWithFFC;
    default:
        return &TLine3<Real>::IntersectWith;
    }
}

// A barycentric tolerance t lets a hit stray 2 t times a triangle's extent
// outside it; the relative 1e-6 covers the rounding of the sides.
inline double LinePad(double tolerance, double extent) {
    return (2.0 * std::max(tolerance, 0.0) + 1e-6) * extent;
}

// Whether the point (q[0], q[1]) of the plane across axes u and v lies
// farther than `margin` outside one side of the triangle seen along the
// third axis, beyond doubt: `scale` bounds the coordinates, and the rounding
// of the projection and of the products is allowed for. A triangle seen so
// nearly edge-on that the hand of its sides is in doubt is never beside.
inline bool IsFootBeside(const double* corners, const double* u, const double* v, const double* q, double margin,
                         double scale) {
    double x[3], y[3];
    for (int k = 0; k < 3; ++k) {
        const double* p = corners + 3 * k;
        x[k] = u[0] * p[0] + u[1] * p[1] + u[2] * p[2] - q[0];
        y[k] = v[0] * p[0] + v[1] * p[1] + v[2] * p[2] - q[1];
    }
    double e[3], error[3], total = 0;
    for (int k = 0; k < 3; ++k) {
        const int i = (k + 1) % 3, j = (k + 2) % 3;
        e[k] = x[i] * y[j] - x[j] * y[i];
        error[k] = 1e-14 * ((std::fabs(x[i]) + std::fabs(x[j]) + std::fabs(y[i]) + std::fabs(y[j])) * scale +
                            std::fabs(x[i] * y[j]) + std::fabs(x[j] * y[i]));
        total += error[k];
    }
    const double area = e[0] + e[1] + e[2];
    if (!(std::fabs(area) > 2 * total))
        return false;
    for (int k = 0; k < 3; ++k) {
        const int i = (k + 1) % 3, j = (k + 2) % 3;
        const double outside = (area > 0 ? -e[k] : e[k]) - error[k];
        if (!(outside > 0))
            continue;
        // Compared in squares, which the slack of 1e-9 covers, where they
        // stay in the normal range; hypot, a tenth of the test's time, only
        // beyond it.
        const double dx = x[j] - x[i], dy = y[j] - y[i];
        const double limit = margin * (1 + 1e-9);
        const double left = outside * outside, right = limit * limit * (dx * dx + dy * dy);
        if (left < 1e300 && right > 1e-290) {
            if (left > right)
                return true;
        } else if (outside > limit * std::hypot(dx, dy)) {
            return true;
        }
    }
    return false;
}

}  // namespace detail

template <typename Real, typename Vertex, typename Attribute, typename Index>
TMeshTree<Real, Vertex, Attribute, Index>::TMeshTree()
    : m_VertexHierarchyBuilt(new std::once_flag), m_InsideGridBuilt(new std::once_flag),
      m_BoundingBox(Real(Sarvetta::LargestFloat)), m_Scale(0) { }

template <typename Real, typename Vertex, typename Attribute, typename Index>
TMeshTree<Real, Vertex, Attribute, Index>::TMeshTree(const Mesh& mesh) : TMeshTree() {
    Build(mesh);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMeshTree<Real, Vertex, Attribute, Index>::Clear() {
    m_Faces.Clear();
    m_VertexHierarchy.Clear();
    m_VertexHierarchyBuilt = std::make_unique<std::once_flag>();
    m_InsideGrid = CDirectionGrid();
    m_InsideGridBuilt = std::make_unique<std::once_flag>();
    m_VertexPositions.clear();
    m_VertexPositions.shrink_to_fit();
    m_BoundingBox = TBox<Real>(Real(Sarvetta::LargestFloat));
    m_Scale = 0;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMeshTree<Real, Vertex, Attribute, Index>::Build(const Mesh& mesh) {
    m_BoundingBox = mesh.m_BoundingBox;
    const unsigned int faceCount = mesh.m_Faces.GetCount();
    const unsigned int vertexCount = mesh.m_Vertices.GetCount();
    // Sized without being cleared: every value is written below.
    m_VertexPositions.resize(3 * std::size_t(vertexCount));
    double* positions = m_VertexPositions.data();
    const std::int64_t vertices = vertexCount;
    double scale = 0;
    // A copy: on one thread unless large (see CTriangleTree::Build).
#pragma omp parallel for schedule(static) reduction(max : scale) if (vertices >= (1 << 18))
    for (std::int64_t v = 0; v < vertices; ++v) {
        const Vector& p = mesh.m_Vertices[static_cast<unsigned int>(v)].m_Position;
        double* q = positions + 3 * v;
        q[0] = p.x;
        q[1] = p.y;
        q[2] = p.z;
        scale = std::max({scale, std::fabs(q[0]), std::fabs(q[1]), std::fabs(q[2])});
    }
    // The faces' corners are read straight from the copied positions; a
    // mesh of 32-bit indices lends its face list as it is.
    if (faceCount == 0) {
        m_Faces.Build(positions, nullptr, 0);
    } else if constexpr (std::is_same<Index, std::uint32_t>::value && sizeof(TFace<Index>) == 3 * sizeof(Index)) {
        m_Faces.Build(positions, &mesh.m_Faces[0].m_Corners[0], faceCount);
    } else {
        std::vector<std::uint32_t> indices(3 * std::size_t(faceCount));
        for (unsigned int f = 0; f < faceCount; ++f)
            for (int k = 0; k < 3; ++k)
                indices[3 * std::size_t(f) + k] = mesh.m_Faces[f].m_Corners[k];
        m_Faces.Build(positions, indices.data(), faceCount);
    }
    m_VertexHierarchy.Clear();
    m_VertexHierarchyBuilt = std::make_unique<std::once_flag>();
    m_InsideGrid = CDirectionGrid();
    m_InsideGridBuilt = std::make_unique<std::once_flag>();
    m_Scale = std::isfinite(scale) ? scale : 0;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
const CBoxHierarchy& TMeshTree<Real, Vertex, Attribute, Index>::GetVertexHierarchy() const {
    std::call_once(*m_VertexHierarchyBuilt, [this] {
        m_VertexHierarchy.BuildOverPoints(m_VertexPositions.data(), nullptr, 1, GetVertexCount(), 8);
    });
    return m_VertexHierarchy;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
const CDirectionGrid& TMeshTree<Real, Vertex, Attribute, Index>::GetInsideGrid() const {
    std::call_once(*m_InsideGridBuilt, [this] {
        const TVector3<Real>& first = detail::GetInsideRays<Real>()[0];
        const double direction[3] = {first.x, first.y, first.z};
        m_InsideGrid.Build(m_Faces, direction);
    });
    return m_InsideGrid;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
unsigned int TMeshTree<Real, Vertex, Attribute, Index>::GetFaceCount() const {
    return m_Faces.GetTriangleCount();
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
unsigned int TMeshTree<Real, Vertex, Attribute, Index>::GetVertexCount() const {
    return static_cast<unsigned int>(m_VertexPositions.size() / 3);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
const TBox<Real>& TMeshTree<Real, Vertex, Attribute, Index>::GetBoundingBox() const {
    return m_BoundingBox;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
const CTriangleTree& TMeshTree<Real, Vertex, Attribute, Index>::GetTriangleTree() const {
    return m_Faces;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
std::size_t TMeshTree<Real, Vertex, Attribute, Index>::GetMemoryUsage() const {
    return m_Faces.GetMemoryUsage() + m_VertexHierarchy.GetMemoryUsage() + m_InsideGrid.GetMemoryUsage() +
           m_VertexPositions.capacity() * sizeof(double);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
double TMeshTree<Real, Vertex, Attribute, Index>::GetRoundingPad() const {
    return 1e-12 * m_Scale;
}

// ---- Lines ----------------------------------------------------------------

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::IntersectFace(const TLine3<Real>& line, unsigned int face,
                                                              Vector* point, Real* distance, Real tolerance,
                                                              ECulling culling) const {
    const double* c = m_Faces.GetCorners(m_Faces.GetPosition(face));
    const detail::LineTest<Real> test = detail::GetLineTest<Real>(culling);
    if (!(line.*test)(detail::Corner<Real>(c, 0), detail::Corner<Real>(c, 1), detail::Corner<Real>(c, 2), point,
                      distance, tolerance))
        return false;
    return *distance >= 0;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::IntersectNearest(const TLine3<Real>& line, Hit& hit, Real tolerance,
                                                                 ECulling culling) const {
    if (m_Faces.IsEmpty())
        return false;
    const detail::LineTest<Real> test = detail::GetLineTest<Real>(culling);
    const double origin[3] = {line.m_Origin.x, line.m_Origin.y, line.m_Origin.z};
    const double direction[3] = {line.m_Direction.x, line.m_Direction.y, line.m_Direction.z};
    const double pad = detail::LinePad(double(tolerance), m_Faces.GetLargestExtent()) + GetRoundingPad();
    const TreeWalk::CRay ray(origin, direction, pad);
    Real best = std::numeric_limits<Real>::max();
    unsigned int bestFace = Hit::NoFace;
    Vector bestPoint;
    double tFar = HUGE_VAL;
    TreeWalk::AlongRay(m_Faces.GetHierarchy(), ray, 0.0, tFar,
                       [&](std::uint32_t first, std::uint32_t count, double& far) {
                           for (std::uint32_t i = first; i < first + count; ++i) {
                               const double* c = m_Faces.GetCorners(i);
                               Vector point;
                               Real t;
                               if (!(line.*test)(detail::Corner<Real>(c, 0), detail::Corner<Real>(c, 1),
                                                 detail::Corner<Real>(c, 2), &point, &t, tolerance))
                                   continue;
                               if (!(t >= 0))
                                   continue;
                               const unsigned int face = m_Faces.GetTriangle(i);
                               // Of two faces hit at the same distance the lower
                               // index wins, as in the mesh's loop over faces.
                               if (t < best || (t == best && bestFace != Hit::NoFace && face < bestFace)) {
                                   best = t;
                                   bestFace = face;
                                   bestPoint = point;
                                   // A later face rounding to the same distance
                                   // must still be seen for the tie.
                                   far = double(best) * (1.0 + 1e-6) + 1e-300;
                               }
                           }
                           return true;
                       });
    if (bestFace == Hit::NoFace)
        return false;
    hit.m_Point = bestPoint;
    hit.m_Distance = best;
    hit.m_Face = bestFace;
    hit.m_Hit = true;
    return true;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::IntersectWith(const TLine3<Real>& line, unsigned int face,
                                                              Vector* point, Real* distance, Real tolerance) const {
    return IntersectFace(line, face, point, distance, tolerance, ECulling::None);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::IntersectWith(const TLine3<Real>& line, Vector* point,
                                                              Real tolerance) const {
    Hit hit;
    if (!IntersectNearest(line, hit, tolerance, ECulling::None))
        return false;
    *point = hit.m_Point;
    return true;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::IntersectWithBFC(const TLine3<Real>& line, unsigned int face,
                                                                 Vector* point, Real* distance, Real tolerance) const {
    return IntersectFace(line, face, point, distance, tolerance, ECulling::BackFaces);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::IntersectWithBFC(const TLine3<Real>& line, Vector* point,
                                                                 Real tolerance) const {
    Hit hit;
    if (!IntersectNearest(line, hit, tolerance, ECulling::BackFaces))
        return false;
    *point = hit.m_Point;
    return true;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::IntersectWithFFC(const TLine3<Real>& line, unsigned int face,
                                                                 Vector* point, Real* distance, Real tolerance) const {
    return IntersectFace(line, face, point, distance, tolerance, ECulling::FrontFaces);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::IntersectWithFFC(const TLine3<Real>& line, Vector* point,
                                                                 Real tolerance) const {
    Hit hit;
    if (!IntersectNearest(line, hit, tolerance, ECulling::FrontFaces))
        return false;
    *point = hit.m_Point;
    return true;
}

// ---- Inside tests ---------------------------------------------------------

// The mesh's random-ray test: the same rays in the same order, each decided
// by the same segment test on every face the segment can touch. A face
// farther from the segment than the test's reach would answer "no contact",
// so skipping it changes neither the count nor the verdict on ambiguity, and
// neither depends on the order the faces are tested in.
template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::IsWithin(const Vector& point) const {
    if (!m_BoundingBox.IsWithin(point, Real(0)))
        return false;
    if (m_Faces.IsEmpty())
        return false;
    const Real length = (m_BoundingBox.m_Max - m_BoundingBox.m_Min).GetLength();
    const Real tolerance = Real(detail::SegmentTolerance);
    const TVector3<Real>* rays = detail::GetInsideRays<Real>();
    const double extent = m_Faces.GetLargestExtent();
    const CBoxHierarchy& hierarchy = m_Faces.GetHierarchy();
    const double origin[3] = {point.x, point.y, point.z};
    const double largest = std::max({std::fabs(origin[0]), std::fabs(origin[1]), std::fabs(origin[2])});
    Vector scratch;
    for (int attempt = 0; attempt < 1000; ++attempt) {
        Vector direction = rays[attempt];
        direction *= length;
        const Vector end = point + direction;
        const TEdge3<Real> segment(point, end);
        const double along[3] = {double(end.x) - double(point.x), double(end.y) - double(point.y),
                                 double(end.z) - double(point.z)};
        const double segmentLength = std::sqrt(along[0] * along[0] + along[1] * along[1] + along[2] * along[2]);
        // The segment test counts contacts within tolerance times the longer
        // of the segment and the triangle's sides of the plane, and within
        // the tolerance-widened triangle.
        const double pad = 2.0 * double(tolerance) * (segmentLength + 3.0 * extent) + 1e-6 * extent + GetRoundingPad() +
                           1e-12 * segmentLength;
        int count = 0;
        auto test = [&](std::uint32_t position) {
            const double* c = m_Faces.GetCorners(position);
            const int code = segment.IntersectWith(detail::Corner<Real>(c, 0), detail::Corner<Real>(c, 1),
                                                   detail::Corner<Real>(c, 2), &scratch, tolerance);
            if (code == 0) {
                ++count;
            } else if (code != 1) {
                count = -1;
                return false;
            }
            return true;
        };
        bool searched = false;
        if (attempt == 0) {
            // Nearly every point is settled by the first ray, whose
            // direction is known in advance: the grid across it holds the
            // faces near the segment's line.
            const CDirectionGrid& grid = GetInsideGrid();
            double q[3];
            grid.ToFrame(origin, q);
            const double* axis = grid.GetAxis(2);
            const double depth = along[0] * axis[0] + along[1] * axis[1] + along[2] * axis[2];
            // The segment strays from the line along the axis by the rounding
            // of its end; the frame's coordinates are rounded too.
            double stray = 0;
            for (int k = 0; k < 3; ++k) {
                const double d = along[k] - depth * axis[k];
                stray += d * d;
            }
            const double reach = pad + std::sqrt(stray) + 1e-12 * largest;
            if (std::isfinite(reach) && std::isfinite(q[0]) && std::isfinite(q[1]) && std::isfinite(q[2]) &&
                std::isfinite(depth)) {
                // A face whose box is near may still lie clearly beside the
                // segment: seen along the axis, the foot lies outside one of
                // its sides by more than the reach (and the rounding of
                // this check), so the segment test would find no contact.
                const double* u = grid.GetAxis(0);
                const double* v = grid.GetAxis(1);
                const double scale = largest + m_Scale;
                const double margin = reach + 1e-12 * scale;
                grid.ForEachNear(
                    q[0], q[1], q[2] + std::min(depth, 0.0), q[2] + std::max(depth, 0.0), reach,
                    [&](std::uint32_t position) {
                        const double* c = m_Faces.GetCorners(position);
                        if (detail::IsFootBeside(c, u, v, q, margin, scale))
                            return true;
                        return test(position);
                    },
                    [&](std::uint32_t position) { m_Faces.FetchCorners(position); });
                searched = true;
            }
        }
        if (!searched) {
            const TreeWalk::CRay ray(origin, along, pad);
            double tFar = 1.0;
            TreeWalk::AlongRay(hierarchy, ray, 0.0, tFar, [&](std::uint32_t first, std::uint32_t n, double&) {
                for (std::uint32_t i = first; i < first + n; ++i)
                    if (!test(i))
                        return false;
                return true;
            });
        }
        if (count == 0)
            return false;
        if (count > 0)
            return count % 2 == 0;
    }
    return false;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::IsWithinAny(const double* positions, std::uint32_t count) const {
    for (std::uint32_t v = 0; v < count; ++v) {
        const double* p = positions + 3 * std::size_t(v);
        if (IsWithin(Vector(Real(p[0]), Real(p[1]), Real(p[2]))))
            return true;
    }
    return false;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::IsWithin(const Mesh& other) const {
    const unsigned int count = other.m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v)
        if (IsWithin(other.m_Vertices[v].m_Position))
            return true;
    return false;
}

// ---- Mesh against mesh ----------------------------------------------------

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::HasContact(const TMeshTree& other) const {
    const Real tolerance = Real(detail::SegmentTolerance);
    const double extent = m_Faces.GetLargestExtent() + other.m_Faces.GetLargestExtent();
    const double pad = 8.0 * double(tolerance) * extent + 1e-6 * extent + GetRoundingPad() + other.GetRoundingPad();
    bool contact = false;
    Vector scratch;
    TreeWalk::Overlapping(
        m_Faces.GetHierarchy(), other.m_Faces.GetHierarchy(), pad,
        [&](std::uint32_t firstA, std::uint32_t countA, std::uint32_t firstB, std::uint32_t countB) {
            for (std::uint32_t i = firstA; i < firstA + countA; ++i) {
                const double* c = m_Faces.GetCorners(i);
                const Vector a = detail::Corner<Real>(c, 0), b = detail::Corner<Real>(c, 1),
                             d = detail::Corner<Real>(c, 2);
                const TEdge3<Real> edges[3] = {TEdge3<Real>(a, b), TEdge3<Real>(b, d), TEdge3<Real>(d, a)};
                for (std::uint32_t j = firstB; j < firstB + countB; ++j) {
                    const double* g = other.m_Faces.GetCorners(j);
                    const Vector p0 = detail::Corner<Real>(g, 0), p1 = detail::Corner<Real>(g, 1),
                                 p2 = detail::Corner<Real>(g, 2);
                    for (int e = 0; e < 3; ++e)
                        if (edges[e].IntersectWith(p0, p1, p2, &scratch, tolerance) != 1) {
                            contact = true;
                            return false;
                        }
                }
            }
            return true;
        });
    return contact;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::IntersectsWith(const TMeshTree& other) const {
    const TBox<Real>& mine = m_BoundingBox;
    const TBox<Real>& theirs = other.m_BoundingBox;
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
    // Either inside test finding one vertex within settles it, whatever the
    // order the vertices are tried in.
    if (IsWithinAny(other.m_VertexPositions.data(), other.GetVertexCount()))
        return true;
    if (other.IsWithinAny(m_VertexPositions.data(), GetVertexCount()))
        return true;
    return HasContact(other);
}

// ---- Closest vertex -------------------------------------------------------

template <typename Real, typename Vertex, typename Attribute, typename Index>
unsigned int TMeshTree<Real, Vertex, Attribute, Index>::FindClosestVertex(const Vector& point) const {
    // Distances are compared as the mesh computes them, in Real; the walk's
    // double bound is loosened by more than their rounding so that no vertex
    // at the same Real distance is pruned.
    const double slack = std::numeric_limits<Real>::epsilon() * 16.0;
    const double tiny = double(std::numeric_limits<Real>::min()) * 4.0;
    const double q[3] = {point.x, point.y, point.z};
    Real best = std::numeric_limits<Real>::max();
    unsigned int closest = 0;
    bool found = false;
    double bound = HUGE_VAL;
    const CBoxHierarchy& hierarchy = GetVertexHierarchy();
    const std::uint32_t* order = hierarchy.GetOrder().data();
    TreeWalk::Nearest(hierarchy, q, bound, [&](std::uint32_t first, std::uint32_t count, double& limit) {
        for (std::uint32_t i = first; i < first + count; ++i) {
            const unsigned int vertex = order[i];
            const double* p = &m_VertexPositions[3 * std::size_t(vertex)];
            const Real distance = Vector(Real(p[0]), Real(p[1]), Real(p[2])).DiffVectLenSquared(point);
            if (best > distance || (found && distance == best && vertex < closest)) {
                best = distance;
                closest = vertex;
                found = true;
                limit = double(best) * (1.0 + slack) + tiny;
            }
        }
    });
    return closest;
}

// ---- Queries beyond the mesh's own ----------------------------------------

template <typename Real, typename Vertex, typename Attribute, typename Index>
CSurfacePoint TMeshTree<Real, Vertex, Attribute, Index>::FindClosestPoint(const Vector& point) const {
    return m_Faces.FindClosestPoint(CTriangleTree::Point(point.x, point.y, point.z));
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
double TMeshTree<Real, Vertex, Attribute, Index>::GetDistance(const Vector& point) const {
    return m_Faces.GetDistance(CTriangleTree::Point(point.x, point.y, point.z));
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
double TMeshTree<Real, Vertex, Attribute, Index>::GetSignedDistance(const Vector& point) const {
    return m_Faces.GetSignedDistance(CTriangleTree::Point(point.x, point.y, point.z));
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
double TMeshTree<Real, Vertex, Attribute, Index>::GetWindingNumber(const Vector& point) const {
    return m_Faces.GetWindingNumber(CTriangleTree::Point(point.x, point.y, point.z));
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
double TMeshTree<Real, Vertex, Attribute, Index>::EstimateWindingNumber(const Vector& point, double accuracy) const {
    return m_Faces.EstimateWindingNumber(CTriangleTree::Point(point.x, point.y, point.z), accuracy);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
bool TMeshTree<Real, Vertex, Attribute, Index>::Contains(const Vector& point) const {
    return m_Faces.Contains(CTriangleTree::Point(point.x, point.y, point.z));
}

// ---- Batch forms ----------------------------------------------------------

namespace detail {

template <typename Real>
inline void ToDoubles(const TVector3<Real>& v, double p[3]) {
    p[0] = double(v.x);
    p[1] = double(v.y);
    p[2] = double(v.z);
}

// The point of query i of a batch of points, for the order of the batch.
template <typename Real>
inline auto PointOf(const TVector3<Real>* points) {
    return [points](std::size_t i, double p[3]) { ToDoubles(points[i], p); };
}

}  // namespace detail

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMeshTree<Real, Vertex, Attribute, Index>::IntersectNearest(const TLine3<Real>* lines, std::size_t count,
                                                                 Hit* hits, Real tolerance, ECulling culling) const {
    // Rays are ordered by where they enter the tree's root box, not by their
    // origins: rays from nearby origins may fan out over the whole mesh,
    // while rays that enter it close together meet the same nodes and faces
    // on their way in. A ray that misses the box keeps its origin.
    const CBoxHierarchy& hierarchy = m_Faces.GetHierarchy();
    auto entry = [lines, &hierarchy](std::size_t i, double p[3]) {
        double direction[3];
        detail::ToDoubles(lines[i].m_Origin, p);
        detail::ToDoubles(lines[i].m_Direction, direction);
        double t = 0;
        if (!hierarchy.IsEmpty() && TreeWalk::CRay(p, direction, 0).Clip(hierarchy.GetNodes()[0], t, HUGE_VAL) &&
            t > 0 && std::isfinite(t))
            for (int k = 0; k < 3; ++k)
                p[k] += t * direction[k];
    };
    TreeWalk::ForEachQuery(count, entry, [&](std::size_t i) {
        hits[i].m_Hit = false;
        IntersectNearest(lines[i], hits[i], tolerance, culling);
    });
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMeshTree<Real, Vertex, Attribute, Index>::IsWithin(const Vector* points, std::size_t count, bool* results) const {
    TreeWalk::ForEachQuery(count, detail::PointOf(points), [&](std::size_t i) { results[i] = IsWithin(points[i]); });
}

// The batch forms below widen each point where it is used: a widened copy
// of the whole array costs a pass on one thread, and the first touch of its
// fresh pages, before the parallel loop can start.

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMeshTree<Real, Vertex, Attribute, Index>::FindClosestPoints(const Vector* points, std::size_t count,
                                                                  CSurfacePoint* results) const {
    TreeWalk::ForEachQuery(count, detail::PointOf(points),
                           [&](std::size_t i) { results[i] = FindClosestPoint(points[i]); });
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMeshTree<Real, Vertex, Attribute, Index>::GetSignedDistances(const Vector* points, std::size_t count,
                                                                   double* results) const {
    TreeWalk::ForEachQuery(count, detail::PointOf(points),
                           [&](std::size_t i) { results[i] = GetSignedDistance(points[i]); });
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMeshTree<Real, Vertex, Attribute, Index>::EstimateWindingNumbers(const Vector* points, std::size_t count,
                                                                       double* results) const {
    TreeWalk::ForEachQuery(count, detail::PointOf(points),
                           [&](std::size_t i) { results[i] = EstimateWindingNumber(points[i]); });
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMeshTree<Real, Vertex, Attribute, Index>::Contains(const Vector* points, std::size_t count, bool* results) const {
    TreeWalk::ForEachQuery(count, detail::PointOf(points), [&](std::size_t i) { results[i] = Contains(points[i]); });
}

}  // namespace Corvane::Pellix::Quorvel
