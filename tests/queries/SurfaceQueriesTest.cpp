// The mesh's own line hits, inside test, mesh against mesh and closest
// vertex on small scenes with known answers; closest points, distances and
// winding numbers of the mesh tree, against brute force and closed forms.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "MeshTypeLists.h"

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Sarvetta::TLine3;

typedef TVector3<double> D3;

template <typename Mesh>
class SurfaceQueries : public ::testing::Test { };
TYPED_TEST_SUITE(SurfaceQueries, TwoMeshTypes);

template <typename Mesh>
D3 Position(const Mesh& mesh, unsigned int v) {
    const auto& p = mesh.m_Vertices[v].m_Position;
    return D3(p.x, p.y, p.z);
}

// The nearest point found by trying every face, with the checks that the
// distance is that of the point reported and that no point of any face
// (corners, edge midpoints, centre) is nearer.
template <typename Mesh>
double BruteDistanceSquared(const Mesh& mesh, const D3& p, unsigned int* face) {
    double best = HUGE_VAL;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const auto* c = mesh.m_Faces[f].m_Corners;
        const D3 a = Position(mesh, c[0]), b = Position(mesh, c[1]), d = Position(mesh, c[2]);
        const double q[3] = {p.x, p.y, p.z}, qa[3] = {a.x, a.y, a.z}, qb[3] = {b.x, b.y, b.z}, qd[3] = {d.x, d.y, d.z};
        double point[3], bary[3];
        const double distance = ClosestPointOnTriangle(q, qa, qb, qd, point, bary);
        EXPECT_NEAR(p.DiffVectLenSquared(D3(point[0], point[1], point[2])), distance, 1e-12 * (1 + distance));
        if (distance < best) {
            best = distance;
            *face = f;
        }
        for (const D3& s : {a, b, d, (a + b) * 0.5, (b + d) * 0.5, (a + b + d) / 3.0})
            EXPECT_LE(distance, p.DiffVectLenSquared(s) * (1 + 1e-12) + 1e-300);
    }
    return best;
}

// Box [lo, hi] appended to the mesh, wound outward or (the wall of a cavity)
// inward. The cached box is trusted as it stands, so it is refitted here.
template <typename Mesh>
void AddBox(Mesh& mesh, const D3& lo, const D3& hi, bool outward = true) {
    Mesh box;
    MakeBox(box, hi.x - lo.x, hi.y - lo.y, hi.z - lo.z);
    AddMesh(mesh, box, lo.x, lo.y, lo.z, !outward);
    mesh.DetermineBoundingBox(true);
}

}  // namespace

TYPED_TEST(SurfaceQueries, LineHitsReportTheirPointAndRefuseThoseBehind) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    TypeParam box;
    // Face 0 holds (0.25, 0.75) of the bottom; a hit's
    // height tells which face gave it.
    MakeBox(box);
    const TLine3<Real> below(V(0.25, 0.75, -1), V(0, 0, 1)), inside(V(0.25, 0.75, 0.5), V(0, 0, 1));
    V p;
    Real d = 0;
    EXPECT_TRUE(box.IntersectWith(below, 0, &p, &d, Real(0)));
    EXPECT_NEAR(p.z, 0, 1e-6);
    EXPECT_NEAR(d, 1, 1e-6);
    // A hit behind the origin is refused but still reported.
    EXPECT_FALSE(box.IntersectWith(inside, 0, &p, &d, Real(0)));
    EXPECT_NEAR(d, -0.5, 1e-6);

    // Whole-mesh forms: the nearest hit ahead wins, a miss leaves the point.
    const V untouched(9, 9, 9);
    EXPECT_TRUE(box.IntersectWith(inside, &p, Real(0)));
    EXPECT_NEAR(p.z, 1, 1e-6);
    p = untouched;
    EXPECT_FALSE(box.IntersectWith(TLine3<Real>(V(0.25, 0.75, 2), V(0, 0, 1)), &p, Real(0)));
    EXPECT_FALSE(box.IntersectWithBFC(inside, &p, Real(0)));
    EXPECT_EQ(p, untouched);

    // Parallel sheets listed far, near, middle: the near one wins.
    TypeParam sheets;
    for (double h : {3.0, 1.0, 2.0})
        AddTables(sheets, {{0, 0, h}, {1, 0, h}, {0, 1, h + 0.1}}, {{0, 1, 2}});
    EXPECT_TRUE(sheets.IntersectWith(TLine3<Real>(V(0.2, 0.2, 0), V(0, 0, 3)), &p, Real(0)));
    EXPECT_NEAR(p.z, 1.02, 1e-6);
}

TYPED_TEST(SurfaceQueries, InsideTestsCallOddCrossingsOutsideByTheParityRule) {
    typedef TVector3<RealOf<TypeParam>> V;
    auto boxAt = [](const D3& lo, const D3& hi) {
        TypeParam mesh;
        AddBox(mesh, lo, hi);
        return mesh;
    };
    // One shell around the point: every clean ray crosses it once, an odd
    // count, so the point is reported as not within. A cavity [1, 2]^3 in
    // [0, 3]^3: two shells around the point, an even count, so within; the
    // solid between the shells is crossed once or three times.
    TypeParam unit = boxAt(D3(0, 0, 0), D3(1, 1, 1)), hollow = boxAt(D3(0, 0, 0), D3(3, 3, 3));
    AddBox(hollow, D3(1, 1, 1), D3(2, 2, 2), false);
    EXPECT_FALSE(unit.IsWithin(V(0.3, 0.6, 0.2)));
    EXPECT_TRUE(hollow.IsWithin(V(1.2, 1.7, 1.1)));
    EXPECT_FALSE(hollow.IsWithin(V(0.5, 0.5, 0.5)) || hollow.IsWithin(V(2.5, 1.5, 0.3)));

    // Mesh against mesh: rejected by the boxes, then by contained vertices
    // or meeting edges.
    EXPECT_TRUE(unit.IntersectsWith(boxAt(D3(0.5, 0.5, 0.5), D3(1.5, 1.5, 1.5))));
    // Apart on either side of any axis: each of the six box tests rejects once.
    for (const D3& offset : {D3(3, 0, 0), D3(0, 3, 0), D3(0, 0, 3), D3(-3, 0, 0), D3(0, -3, 0), D3(0, 0, -3)})
        EXPECT_FALSE(unit.IntersectsWith(boxAt(offset, offset + D3(1, 1, 1))));
    // Boxes sharing a face plane pass the box test; the faces there meet.
    EXPECT_TRUE(unit.IntersectsWith(boxAt(D3(0, 0, 1), D3(1, 1, 2))));
    // A box wholly inside another: its corners see one crossing each (odd,
    // not within) and no edges meet, so the pair does not intersect. In a
    // cavity the corners see two crossings: within, from either side.
    EXPECT_FALSE(unit.IntersectsWith(boxAt(D3(0.4, 0.4, 0.4), D3(0.6, 0.6, 0.6))));
    TypeParam pebble = boxAt(D3(1.4, 1.4, 1.4), D3(1.6, 1.6, 1.6));
    EXPECT_TRUE(hollow.IntersectsWith(pebble) && pebble.IntersectsWith(hollow));

    // A stale cached box decides on its own.
    hollow.m_BoundingBox.m_Max = V(1, 1, 1);
    EXPECT_FALSE(hollow.IsWithin(V(1.5, 1.5, 1.5)));
}

TYPED_TEST(SurfaceQueries, ClosestVertexKeepsTheFirstOfEqualDistances) {
    typedef TVector3<RealOf<TypeParam>> V;
    TypeParam mesh;
    EXPECT_EQ(mesh.FindClosestVertex(V(1, 2, 3)), 0u);
    AddTables(mesh, {{2, 0, 0}, {1, 0, 0}, {-1, 0, 0}, {0, 1, 0}}, {});
    EXPECT_EQ(mesh.FindClosestVertex(V(0, 0, 0)), 1u);
    EXPECT_EQ(mesh.FindClosestVertex(V(-0.5, 0.2, 0)), 2u);
    EXPECT_EQ(mesh.FindClosestVertex(V(50, 0, 0)), 0u);
}

TYPED_TEST(SurfaceQueries, ClosestPointsAreTheNearestOfAllFaces) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    TypeParam mesh;
    MakeBumpySphere(mesh, 3, 0.2, 0.03);
    // An open sheet through the sphere, and a face without area.
    AddTables(mesh, {{-1.5, -1.5, 0.1}, {1.5, -1.5, 0.1}, {0, 1.5, 0.1}, {0.3, 0.3, 0.3}}, {{0, 1, 2}, {3, 3, 3}});
    mesh.DetermineBoundingBox(true);
    const typename TreeOf<TypeParam>::Type tree(mesh);
    // The same triangles in a tree of the other shape: the same answers.
    std::vector<double> corners;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) {
            const D3 c = Position(mesh, mesh.m_Faces[f].m_Corners[k]);
            corners.insert(corners.end(), {c.x, c.y, c.z});
        }
    CTriangleTree median, morton;
    median.Build(corners.data(), mesh.m_Faces.GetCount(), CTriangleTree::EShape::Median);
    morton.Build(corners.data(), mesh.m_Faces.GetCount(), CTriangleTree::EShape::Morton);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> uniform(-2, 2);
    std::vector<V> points;
    for (int i = 0; i < 300; ++i)
        points.push_back(V(Real(uniform(random)), Real(uniform(random)), Real(uniform(random))));
    for (unsigned int v = 0; v < 60; ++v)
        points.push_back(mesh.m_Vertices[v * 7].m_Position);
    for (std::size_t i = 0; i < points.size(); ++i) {
        const D3 p(points[i].x, points[i].y, points[i].z);
        unsigned int face = 0;
        const double expected = BruteDistanceSquared(mesh, p, &face);
        const CSurfacePoint found = tree.FindClosestPoint(points[i]);
        ASSERT_EQ(found.m_DistanceSquared, expected) << "point " << i;
        ASSERT_EQ(found.m_Triangle, face) << "point " << i;
        // The weights rebuild the point from the face's corners.
        const auto* c = mesh.m_Faces[found.m_Triangle].m_Corners;
        const D3 rebuilt = Position(mesh, c[0]) * found.m_Barycentric[0] +
                           Position(mesh, c[1]) * found.m_Barycentric[1] +
                           Position(mesh, c[2]) * found.m_Barycentric[2];
        EXPECT_NEAR(rebuilt.DiffVectLen(found.m_Point), 0, 1e-12);
        EXPECT_NEAR(found.m_Barycentric[0] + found.m_Barycentric[1] + found.m_Barycentric[2], 1, 1e-12);
        EXPECT_DOUBLE_EQ(tree.GetDistance(points[i]), std::sqrt(expected));
        // The median and Morton trees and any hint, in any tree, give the
        // same answer (the batch forms answer as the single query:
        // BatchOrderTest).
        const std::uint32_t hint = static_cast<std::uint32_t>((i * 37) % mesh.m_Faces.GetCount());
        for (const CSurfacePoint& other :
             {median.FindClosestPoint(p), median.FindClosestPoint(p, hint), morton.FindClosestPoint(p),
              morton.FindClosestPoint(p, hint), tree.GetTriangleTree().FindClosestPoint(p, hint)})
            EXPECT_TRUE(other.m_Triangle == found.m_Triangle && other.m_DistanceSquared == found.m_DistanceSquared);
    }
}

// Adds a second shell inside: an icosphere of radius 1/2 about the origin,
// wound outwards as the fixtures' shells are.
template <typename Mesh>
void AddInnerShell(Mesh& mesh) {
    Mesh small;
    MakeIcosphere(small, 2, 0.5);
    AddMesh(mesh, small);
}

TYPED_TEST(SurfaceQueries, WindingNumbersCountShellsAndApproximationsAgree) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    TypeParam sphere;
    MakeIcosphere(sphere, 4, 1.0);
    sphere.DetermineBoundingBox(true);
    const typename TreeOf<TypeParam>::Type tree(sphere);
    std::mt19937 random(3);
    std::uniform_real_distribution<double> uniform(-1.6, 1.6);
    std::vector<V> points;
    for (int i = 0; i < 400; ++i)
        points.push_back(V(Real(uniform(random)), Real(uniform(random)), Real(uniform(random))));
    double error = 0;
    unsigned int compared = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const double r = D3(points[i].x, points[i].y, points[i].z).GetLength();
        if (std::fabs(r - 1) < 0.02)
            continue;  // the facets stray that far from the sphere
        const double exact = tree.GetWindingNumber(points[i]);
        EXPECT_NEAR(exact, r < 1 ? 1.0 : 0.0, 1e-9) << "r " << r;
        // A second-order expansion of clusters twice their radius away:
        // coarse next to the surface, but never near the half that decides,
        // and tighter as the accuracy rises.
        const double estimate = tree.EstimateWindingNumber(points[i]),
                     signedDistance = tree.GetSignedDistance(points[i]);
        EXPECT_NEAR(estimate, exact, 0.08) << "r " << r;
        EXPECT_NEAR(tree.EstimateWindingNumber(points[i], 4.0), exact, 0.02) << "r " << r;
        error += std::fabs(estimate - exact);
        ++compared;
        EXPECT_NEAR(signedDistance, r - 1, 0.02);
        EXPECT_EQ(signedDistance < 0, r < 1);
    }
    EXPECT_LT(error / compared, 0.01);
    // Two nested shells wound the same way count twice; a hole in the
    // surface leaves a fraction rather than a wrong whole answer.
    TypeParam nested = sphere;
    AddInnerShell(nested);
    const typename TreeOf<TypeParam>::Type twice(nested);
    EXPECT_NEAR(twice.GetWindingNumber(V(0.1f, 0.1f, 0.1f)), 2, 1e-9);
    EXPECT_NEAR(twice.GetWindingNumber(V(0.7f, 0, 0)), 1, 1e-9);
    TypeParam open = sphere;
    open.m_Faces.RemoveFromEnd(40);
    const typename TreeOf<TypeParam>::Type holed(open);
    const double w = holed.GetWindingNumber(V(0, 0, 0));
    EXPECT_GT(w, 0.5);
    EXPECT_LT(w, 1.0);
    EXPECT_TRUE(holed.Contains(V(0, 0, 0)));
}

// Points that test an inside test hard: random ones through the (cached) box and
// beyond, the corners, edge midpoints and centres of the faces, those moved
// off the surface by tiny amounts either way, and points on lines along the
// axes through corners and edge midpoints.
template <typename Mesh>
std::vector<TVector3<RealOf<Mesh>>> HardPoints(const Mesh& mesh, std::mt19937& random, unsigned int count) {
    typedef RealOf<Mesh> Real;
    typedef TVector3<Real> V;
    std::vector<V> points;
    std::uniform_real_distribution<double> unit(-1.2, 1.2);
    const auto& box = mesh.m_BoundingBox;
    const D3 low(box.m_Min.x, box.m_Min.y, box.m_Min.z), high(box.m_Max.x, box.m_Max.y, box.m_Max.z);
    const D3 centre = (low + high) * 0.5, half = (high - low) * 0.5;
    auto add = [&](const D3& p) { points.push_back(V(Real(p.x), Real(p.y), Real(p.z))); };
    for (unsigned int i = 0; i < count; ++i)
        add(centre + D3(half.x * unit(random), half.y * unit(random), half.z * unit(random)));
    std::uniform_int_distribution<unsigned int> pick(0, mesh.m_Faces.GetCount() - 1);
    const double offsets[] = {0, 1e-13, -1e-13, 1e-9, -1e-9, 1e-6, -1e-6};
    for (unsigned int i = 0; i < count / 4; ++i) {
        const auto* c = mesh.m_Faces[pick(random)].m_Corners;
        const D3 a = Position(mesh, c[0]), b = Position(mesh, c[1]), d = Position(mesh, c[2]);
        const D3 spots[] = {a, (a + b) * 0.5, (a + b + d) / 3.0};
        const D3 normal = (b - a) * (d - a);
        const double length = normal.GetLength();
        for (const D3& spot : spots) {
            for (double offset : offsets)
                add(length > 0 ? spot + normal * (offset / length) : spot);
            // Along an axis through the spot, from either side.
            const int axis = static_cast<int>(i % 3);
            D3 step(0, 0, 0);
            (axis == 0 ? step.x : axis == 1 ? step.y : step.z) = 0.37 * (half.x + half.y + half.z) / 3;
            add(spot + step);
            add(spot - step);
        }
    }
    return points;
}

// Closed meshes answer as the exact winding number, open ones as the estimate.
TYPED_TEST(SurfaceQueries, ContainsFollowsTheWindingNumber) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    struct Case {
        std::string name;
        std::unique_ptr<TypeParam> mesh;
        bool closed;
    };
    std::vector<Case> meshes;
    auto keep = [&](const char* name, TypeParam& mesh, bool closed = true) {
        meshes.push_back({name, std::make_unique<TypeParam>(mesh), closed});
    };
    {
        TypeParam sphere;
        MakeIcosphere(sphere, 3, 1.0);
        keep("icosphere", sphere);
        TypeParam torus;
        MakeTorus(torus, 32, 16);
        keep("torus", torus);
        // Two shells, the inner one wound the same way: twice inside there.
        TypeParam nested = sphere;
        AddInnerShell(nested);
        keep("nested shells", nested);
        // A closed cube of side 1 whose sides are 6 by 6 grids on vertices of
        // their own, closed by position, not by index; its vertices and edges
        // line up with the axes, so that lines along the axes run through them.
        TypeParam cube;
        for (int a = 0; a < 3; ++a)
            for (int side = 0; side < 2; ++side) {
                TypeParam grid;
                MakeGrid(grid, 6, 6, 1.0 / 6);
                // A cyclic turn of the axes takes the grid's normal, +z, to axis a + 2.
                for (unsigned int v = 0; v < grid.m_Vertices.GetCount(); ++v) {
                    auto& p = grid.m_Vertices[v].m_Position;
                    Real c[3];
                    c[a] = p.x;
                    c[(a + 1) % 3] = p.y;
                    c[(a + 2) % 3] = Real(side);
                    p = V(c[0], c[1], c[2]);
                }
                AddMesh(cube, grid, 0, 0, 0, side == 0);
            }
        keep("grid cube", cube);
        // Turned inside out: -1 inside, never contained.
        TypeParam inverted = sphere;
        for (unsigned int f = 0; f < inverted.m_Faces.GetCount(); ++f)
            std::swap(inverted.m_Faces[f].m_Corners[1], inverted.m_Faces[f].m_Corners[2]);
        keep("inverted icosphere", inverted);
        // Holes, and a face that runs the wrong way round: neither is closed.
        TypeParam holed = sphere;
        holed.m_Faces.RemoveFromEnd(30);
        keep("holed icosphere", holed, false);
        TypeParam flipped = sphere;
        std::swap(flipped.m_Faces[7].m_Corners[1], flipped.m_Faces[7].m_Corners[2]);
        keep("icosphere with a flipped face", flipped, false);
    }
    std::mt19937 random(17);
    for (Case& c : meshes) {
        SCOPED_TRACE(c.name);
        TypeParam& mesh = *c.mesh;
        mesh.DetermineBoundingBox(true);
        const typename TreeOf<TypeParam>::Type tree(mesh);
        const std::vector<V> points = HardPoints(mesh, random, 1200);
        unsigned int inside = 0;
        for (std::size_t i = 0; i < points.size(); ++i) {
            const double winding = c.closed ? tree.GetWindingNumber(points[i]) : tree.EstimateWindingNumber(points[i]);
            const bool contained = tree.Contains(points[i]);
            ASSERT_EQ(contained, winding >= 0.5) << "point " << i << " (" << points[i].x << ", " << points[i].y << ", "
                                                 << points[i].z << "), winding number " << winding;
            // On the surface itself the sum's rounding decides.
            inside += contained && tree.GetDistance(points[i]) > 1e-9;
        }
        // Both answers occur, except where nothing can be inside.
        if (c.name != "inverted icosphere")
            EXPECT_GT(inside, 100u);
        else
            EXPECT_EQ(inside, 0u);
    }
}
