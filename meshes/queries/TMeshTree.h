#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "quorvel/meshes/TMesh.h"
#include "quorvel/meshes/queries/CBoxHierarchy.h"
#include "quorvel/meshes/queries/CDirectionGrid.h"
#include "quorvel/meshes/queries/CTriangleTree.h"

namespace Corvane::Pellix::Quorvel {

// Which faces a line query accepts: all of them (TMesh::IntersectWith), only
// faces seen from the front (IntersectWithBFC) or only from the back
// (IntersectWithFFC).
enum class ECulling { None, BackFaces, FrontFaces };

// The nearest hit of a line with its face and line parameter.
template <typename Real>
class TLineHit {
public:
    TVector3<Real> m_Point;
    Real m_Distance = 0;
    unsigned int m_Face = NoFace;
    bool m_Hit = false;

    static constexpr unsigned int NoFace = 0xFFFFFFFFu;
};

// A spatial index of one mesh: a bounding volume hierarchy over its faces
// and another over its vertices, answering the mesh's spatial queries in
// logarithmic rather than linear time.
//
// The twins carry the names of the mesh's own queries and give the same
// answers bit for bit: the same hit point, the same face and vertex on ties
// (the lowest index), the same inside answers by the same parity rule on the
// same random rays. They call the same line and segment tests on the same
// positions; the hierarchy only skips faces that those tests would refuse.
//
// What it caches, all copied at Build and none referenced afterwards:
// - every face's three corner positions, in double precision. A float
//   position converts to double exactly, so the twins narrow them back to the
//   very values the mesh holds;
// - every vertex position, in double precision, for FindClosestVertex and
//   for the inside tests of IntersectsWith (the vertex hierarchy is built by
//   the first FindClosestVertex);
// - the mesh's m_BoundingBox as it stood, which the inside tests trust just
//   as the mesh's own do (Build does not recompute it: run
//   DetermineBoundingBox first when positions changed).
// Any later edit of the mesh (positions, faces, vertices, the box) leaves the
// tree describing the mesh as it was, until Build runs again. Faces marked
// for discarding count as faces, as they do for the mesh's queries.
//
// All queries are const and safe from any number of threads at once; none
// touches the C library's random state. Heap allocation happens only once per
// tree in the first FindClosestVertex (the vertex hierarchy), the first
// IsWithin (the faces binned across its first ray direction), the first
// Contains (the check for a closed surface and, for one, the faces binned
// across its ray) and the first estimated winding number (the per-node
// moments), once per process in the first
// IsWithin (its table of ray directions), and in the batch forms. The batch
// forms split their arrays across all cores. Movable, not copyable.
template <typename Real, typename Vertex, typename Attribute, typename Index>
class TMeshTree {
public:
    typedef TMesh<Real, Vertex, Attribute, Index> Mesh;
    typedef TVector3<Real> Vector;
    typedef TLineHit<Real> Hit;

    TMeshTree();
    explicit TMeshTree(const Mesh& mesh);
    // Defaulted, so noexcept exactly when the members' moves are.
    TMeshTree(TMeshTree&&) = default;  // NOLINT(performance-noexcept-move-constructor)
    TMeshTree& operator=(TMeshTree&&) = default;  // NOLINT(performance-noexcept-move-constructor)

    void Build(const Mesh& mesh);
    void Clear();

    unsigned int GetFaceCount() const;
    unsigned int GetVertexCount() const;
    const TBox<Real>& GetBoundingBox() const;
    const CTriangleTree& GetTriangleTree() const;
    std::size_t GetMemoryUsage() const;

    // Twins of the mesh's queries, same arguments, same answers.
    bool IntersectWith(const TLine3<Real>& line, unsigned int face, Vector* point, Real* distance,
                       Real tolerance) const;
    bool IntersectWith(const TLine3<Real>& line, Vector* point, Real tolerance) const;
    bool IntersectWithBFC(const TLine3<Real>& line, unsigned int face, Vector* point, Real* distance,
                          Real tolerance) const;
    bool IntersectWithBFC(const TLine3<Real>& line, Vector* point, Real tolerance) const;
    bool IntersectWithFFC(const TLine3<Real>& line, unsigned int face, Vector* point, Real* distance,
                          Real tolerance) const;
    bool IntersectWithFFC(const TLine3<Real>& line, Vector* point, Real tolerance) const;
    bool IsWithin(const Vector& point) const;
    bool IsWithin(const Mesh& other) const;
    // Both meshes through their trees: each tree's cached box stands for its
    // mesh's m_BoundingBox.
    bool IntersectsWith(const TMeshTree& other) const;
    unsigned int FindClosestVertex(const Vector& point) const;

    // The nearest hit ahead of the line's origin, as IntersectWith(line,
    // point, tolerance) finds it, with its face and line parameter. With no
    // hit it returns false and leaves `hit` untouched.
    bool IntersectNearest(const TLine3<Real>& line, Hit& hit, Real tolerance, ECulling culling = ECulling::None) const;

    // Nearest point of the surface, with its face (m_Triangle is the face
    // index) and the weights of the face's corners; computed in double.
    CSurfacePoint FindClosestPoint(const Vector& point) const;
    double GetDistance(const Vector& point) const;
    // Negative inside (Contains).
    double GetSignedDistance(const Vector& point) const;
    // Generalised winding number (see CTriangleTree): exact, O(faces).
    double GetWindingNumber(const Vector& point) const;
    // Hierarchical approximation, O(log faces) off the surface.
    double EstimateWindingNumber(const Vector& point, double accuracy = 2.0) const;
    // Containment by the winding number (at least 1/2): right for closed
    // meshes whatever the number of shells, and on open ones inside means
    // "more than half enclosed". Unlike IsWithin it follows no parity rule
    // and reads no box. On a closed, consistently oriented mesh (faces
    // matched by exact corner positions) the answer is the exact winding
    // number's, GetWindingNumber(point) >= 1/2, from the signed crossings of
    // one ray, near the surface too; elsewhere it is the estimate's,
    // EstimateWindingNumber(point) >= 1/2 (see CTriangleTree::Contains).
    bool Contains(const Vector& point) const;

    // Batch forms: result i belongs to element i, the same answer the single
    // query gives; work is split across all cores. A batch of 2,048 or more
    // is taken in space order (its points, or its lines' origins, sorted on
    // a grid first), so scattered batches cost little more than sorted ones.
    void IntersectNearest(const TLine3<Real>* lines, std::size_t count, Hit* hits, Real tolerance,
                          ECulling culling = ECulling::None) const;
    void IsWithin(const Vector* points, std::size_t count, bool* results) const;
    void FindClosestPoints(const Vector* points, std::size_t count, CSurfacePoint* results) const;
    void GetSignedDistances(const Vector* points, std::size_t count, double* results) const;
    void EstimateWindingNumbers(const Vector* points, std::size_t count, double* results) const;
    void Contains(const Vector* points, std::size_t count, bool* results) const;

private:
    bool IntersectFace(const TLine3<Real>& line, unsigned int face, Vector* point, Real* distance, Real tolerance,
                       ECulling culling) const;
    bool IsWithinAny(const double* positions, std::uint32_t count) const;
    bool HasContact(const TMeshTree& other) const;
    // Bound on rounding in the tests, from the largest coordinate.
    double GetRoundingPad() const;
    const CBoxHierarchy& GetVertexHierarchy() const;
    const CDirectionGrid& GetInsideGrid() const;

    CTriangleTree m_Faces;
    // Vertex positions in the mesh's order, three doubles each.
    std::vector<double, TCacheLineAllocator<double>> m_VertexPositions;
    mutable std::unique_ptr<std::once_flag> m_VertexHierarchyBuilt;
    mutable CBoxHierarchy m_VertexHierarchy;
    mutable std::unique_ptr<std::once_flag> m_InsideGridBuilt;
    mutable CDirectionGrid m_InsideGrid;
    TBox<Real> m_BoundingBox;
    double m_Scale;
};

// NOLINTNEXTLINE(bugprone-macro-parentheses): types and a template name
#define QUORVEL_EXTERN_MESH_TREE(R, V, A, I) extern template class TMeshTree<R, V<R>, A, I>;
QUORVEL_FOR_EACH_MESH(QUORVEL_EXTERN_MESH_TREE)
#undef QUORVEL_EXTERN_MESH_TREE

}  // namespace Corvane::Pellix::Quorvel
