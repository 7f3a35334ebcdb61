#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "quorvel/maths/TVector3.h"
#include "quorvel/meshes/queries/CBoxHierarchy.h"
#include "quorvel/meshes/queries/CDirectionGrid.h"

namespace Corvane::Pellix::Quorvel {

// The point of a surface nearest to a query point.
class CSurfacePoint {
public:
    Sarvetta::TVector3<double> m_Point;
    // Weights of the triangle's corners 0, 1 and 2 at m_Point (summing to 1).
    double m_Barycentric[3] = {0, 0, 0};
    double m_DistanceSquared = 0;
    // Index of the triangle in the order given to Build; NoTriangle for a
    // tree without triangles.
    std::uint32_t m_Triangle = NoTriangle;

    static constexpr std::uint32_t NoTriangle = 0xFFFFFFFFu;
};

// A bounding volume hierarchy over triangles given as plain double corners:
// the precision-independent core of TMeshTree, for any mesh type and for any
// engine that keeps its triangles elsewhere.
//
// What it caches: a copy of every corner in double precision (nine doubles
// a triangle, reordered to follow the leaves) and the node boxes; per node
// the area-weighted normal, centre and second moment that the fast winding
// number needs are added by the first such query. It keeps no pointer to the
// caller's data; changing those triangles afterwards leaves the tree
// describing the old ones until Build runs again.
//
// Const queries are safe from any number of threads at once (the winding
// data is built once, under a once-flag). Ties between triangles at the same
// distance go to the lowest index. Movable, not copyable.
class CTriangleTree {
public:
    typedef Sarvetta::TVector3<double> Point;

    CTriangleTree();
    CTriangleTree(CTriangleTree&&) = default;
    CTriangleTree& operator=(CTriangleTree&&) = default;

    // How Build shapes the hierarchy: by the surface-area heuristic, the
    // quicker tree to search, or by median splits in about a third of the
    // time, for a tree that answers one pass of queries and is thrown away,
    // or along a Morton curve (CBoxHierarchy::BuildInMortonOrder) in less
    // time still, for one pass of queries that each start from the answer
    // before. The answers are the same whatever the shape.
    enum class EShape { SurfaceArea, Median, Morton };

    // `corners` holds 9 doubles per triangle: x, y, z of corner 0, 1, 2.
    // Degenerate triangles (repeated corners, no area) are kept: indices stay
    // those of the input.
    void Build(const double* corners, std::uint32_t count, EShape shape = EShape::SurfaceArea);
    // The same from shared points: corner k of triangle t is the point at
    // positions[3 * indices[3 * t + k]] (three doubles).
    void Build(const double* positions, const std::uint32_t* indices, std::uint32_t count,
               EShape shape = EShape::SurfaceArea);
    void Clear();

    std::uint32_t GetTriangleCount() const { return m_Count; }
    bool IsEmpty() const { return m_Count == 0; }
    const CBoxHierarchy& GetHierarchy() const { return m_Hierarchy; }
    // Corners of the triangle at position i of the tree order (9 doubles).
    const double* GetCorners(std::uint32_t position) const { return &m_Corners[9 * std::size_t(position)]; }
    // Asks the cache for the corners of the triangle at position i, for a
    // caller that reads them soon: a hint, which changes no answer. 72 bytes
    // from a multiple of 8 span two lines at most, 64 bytes apart.
    void FetchCorners(std::uint32_t position) const {
        detail::Prefetch(GetCorners(position));
        detail::Prefetch(GetCorners(position) + 8);
    }
    // Input index of the triangle at position i of the tree order.
    std::uint32_t GetTriangle(std::uint32_t position) const { return m_Hierarchy.GetOrder()[position]; }
    // Position in the tree order of input triangle t.
    std::uint32_t GetPosition(std::uint32_t triangle) const { return m_Position[triangle]; }
    // Largest side of any triangle's box: the unit of the tolerance pads.
    double GetLargestExtent() const { return m_LargestExtent; }
    std::size_t GetMemoryUsage() const;

    // Nearest point of the surface; m_Triangle is NoTriangle (m_Point the
    // origin, the distance infinite) when the tree is empty or p has an
    // infinite or NaN coordinate.
    CSurfacePoint FindClosestPoint(const Point& p) const;
    // The same answer, sooner when triangle `hint` (an input index, for
    // instance the answer for a nearby point) is near p: its distance bounds
    // the search from the start.
    CSurfacePoint FindClosestPoint(const Point& p, std::uint32_t hint) const;
    // As FindClosestPoint, but only as far as sqrt(boundSquared): false
    // (and `result` untouched) when no triangle is that near.
    bool FindClosestPoint(const Point& p, double boundSquared, CSurfacePoint& result) const;
    // Whether some triangle lies within sqrt(distanceSquared) of p; stops at
    // the first one found. For a largest distance over many points, where a
    // point nearer than the largest so far needs no exact distance.
    // `triangle`, when given, receives the input index of the one found.
    bool HasTriangleWithin(const Point& p, double distanceSquared, std::uint32_t* triangle = nullptr) const;
    // Squared distance from p to input triangle t.
    double GetDistanceSquared(const Point& p, std::uint32_t triangle) const;
    // Unsigned distance to the surface; infinite when empty.
    double GetDistance(const Point& p) const;
    // Negative inside (Contains): right for closed surfaces, and on open
    // ones it follows the surface's orientation near the holes rather than
    // failing.
    double GetSignedDistance(const Point& p) const;

    // Generalised winding number: the solid angle of the whole surface seen
    // from p over 4 pi. 1 inside a closed surface wound outwards (counter-
    // clockwise seen from outside), 0 outside, 1/2 on it; between for open
    // surfaces. Exact: O(n).
    double GetWindingNumber(const Point& p) const;
    // The same, summing whole subtrees as dipoles when p is more than
    // `accuracy` times their radius away (to second order in their
    // extent): O(log n) for points off the surface. At accuracy 2 the error
    // is about 0.005 on average and a few hundredths at worst, close to the
    // surface; accuracy 4 quarters it at about twice the cost.
    double EstimateWindingNumber(const Point& p, double accuracy = 2.0) const;
    // Whether p is inside: a winding number of at least 1/2.
    // On a closed, consistently oriented surface (every edge shared by
    // exactly two triangles that run along it in opposite directions,
    // corners matched by exact position) this is the exact winding number's
    // answer, GetWindingNumber(p) >= 1/2, found by counting the signed
    // crossings of one ray; a point whose ray comes within rounding of an
    // edge or a corner, or that lies within rounding of the surface, is
    // answered by the exact sum instead (O(n), and on the surface itself
    // either answer may come). On other surfaces it is
    // EstimateWindingNumber(p) >= 1/2. The first call finds out which kind
    // the surface is and, for a closed one, bins the triangles across the
    // ray's direction (O(n) time and memory).
    bool Contains(const Point& p) const;

    // Batch forms over `count` points, split across all cores, in space order
    // from 2,048 points on (see TMeshTree); result i belongs to point i.
    void FindClosestPoints(const Point* points, std::size_t count, CSurfacePoint* results) const;
    void GetSignedDistances(const Point* points, std::size_t count, double* results) const;
    void EstimateWindingNumbers(const Point* points, std::size_t count, double* results) const;
    void Contains(const Point* points, std::size_t count, bool* results) const;

private:
    // 128 bytes on two cache lines: what every visit reads (the centre and
    // radius) and the first-order term share the first, so a node opened
    // rather than summed costs one line.
    class CDipole {
    public:
        double m_Centre[3];
        double m_RadiusSquared;
        double m_Normal[3];  // sum of area vectors, half the cross product each
        // Second moment: sum over triangles of (centroid - m_Centre) times
        // the area vector, row i column j = offset_i * normal_j.
        double m_Moment[9];
    };

    void BuildDipoles() const;
    // Closedness and the crossing grid, built by the first Contains.
    void PrepareCrossings() const;
    // The signed crossings of the ray from p along the crossing grid's
    // direction: the winding number of a closed surface; false when the ray
    // or p comes within rounding of the surface's edges, corners or faces.
    bool CountCrossings(const Point& p, int& winding) const;
    typedef std::vector<CDipole, TCacheLineAllocator<CDipole>> CDipoles;
    const CDipoles& GetDipoles() const;

    std::uint32_t m_Count = 0;
    double m_LargestExtent = 0;
    CBoxHierarchy m_Hierarchy;
    std::vector<double, TCacheLineAllocator<double>> m_Corners;
    std::vector<std::uint32_t> m_Position;
    // The points the corners came from, three per triangle in tree order
    // (what tells shared corners apart from coincident ones before their
    // positions are compared), and one more than the largest.
    std::vector<std::uint32_t, TCacheLineAllocator<std::uint32_t>> m_CornerPoints;
    std::uint32_t m_PointCount = 0;
    double m_Scale = 0;
    mutable std::unique_ptr<std::once_flag> m_CrossingsPrepared;
    mutable bool m_Closed = false;
    mutable CDirectionGrid m_CrossingGrid;
    mutable std::unique_ptr<std::once_flag> m_DipolesBuilt;
    mutable CDipoles m_Dipoles;
};

// Closest point of triangle (a, b, c) to p with the weights of its corners;
// exact at corners and edges, and degenerate triangles fall back to their
// sides. Returns the squared distance.
double ClosestPointOnTriangle(const double p[3], const double a[3], const double b[3], const double c[3],
                              double point[3], double barycentric[3]);

// Signed solid angle of triangle (a, b, c) seen from p: positive when p lies
// behind the triangle, on the side its normal (b - a) x (c - a) points away
// from.
double SolidAngle(const double p[3], const double a[3], const double b[3], const double c[3]);

}  // namespace Corvane::Pellix::Quorvel
