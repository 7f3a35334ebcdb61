// Closest points, distances, winding numbers and the batch forms of the
// mesh tree, against brute force and closed forms.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "MeshFixtures.h"
#include "quorvel/meshes/queries/TMeshTree.h"

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Sarvetta::TLine3;

typedef TVector3<double> D3;

template <typename Mesh>
struct TreeOf;
template <typename R, typename V, typename A, typename I>
struct TreeOf<TMesh<R, V, A, I>> {
    typedef TMeshTree<R, V, A, I> Type;
};

template <typename Mesh>
class SurfaceQueries : public ::testing::Test { };
typedef ::testing::Types<TMesh<float, TVertexPN<float>, CA8, unsigned short>,
                         TMesh<double, TVertexPNC<double>, CA32, unsigned int>>
    QueryMeshes;
TYPED_TEST_SUITE(SurfaceQueries, QueryMeshes);

template <typename Mesh>
D3 Position(const Mesh& mesh, unsigned int v) {
    const auto& p = mesh.m_Vertices[v].m_Position;
    return D3(p.x, p.y, p.z);
}

// The nearest point found by trying every face, with the sampling check
// that no point of any face (corners, edge midpoints, centre) is nearer.
template <typename Mesh>
double BruteDistanceSquared(const Mesh& mesh, const D3& p, unsigned int* face) {
    double best = HUGE_VAL;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const auto* c = mesh.m_Faces[f].m_Corners;
        const D3 a = Position(mesh, c[0]), b = Position(mesh, c[1]), d = Position(mesh, c[2]);
        const double q[3] = {p.x, p.y, p.z}, qa[3] = {a.x, a.y, a.z}, qb[3] = {b.x, b.y, b.z}, qd[3] = {d.x, d.y, d.z};
        double point[3], bary[3];
        const double distance = ClosestPointOnTriangle(q, qa, qb, qd, point, bary);
        if (distance < best) {
            best = distance;
            *face = f;
        }
        for (const D3& s : {a, b, d, (a + b) * 0.5, (b + d) * 0.5, (a + b + d) / 3.0})
            EXPECT_LE(distance, p.DiffVectLenSquared(s) * (1 + 1e-12) + 1e-300);
    }
    return best;
}

}  // namespace

TEST(ClosestPointOnTriangle, FindsCornersEdgesAndTheInterior) {
    const double a[3] = {0, 0, 0}, b[3] = {2, 0, 0}, c[3] = {0, 2, 0};
    double point[3], bary[3];
    const double above[3] = {0.5, 0.5, 3};
    EXPECT_DOUBLE_EQ(ClosestPointOnTriangle(above, a, b, c, point, bary), 9);
    EXPECT_DOUBLE_EQ(bary[0], 0.5);
    EXPECT_DOUBLE_EQ(bary[1], 0.25);
    const double beyondEdge[3] = {1, -2, 0};
    EXPECT_DOUBLE_EQ(ClosestPointOnTriangle(beyondEdge, a, b, c, point, bary), 4);
    EXPECT_DOUBLE_EQ(bary[2], 0);
    const double beyondCorner[3] = {3, -1, 0};
    EXPECT_DOUBLE_EQ(ClosestPointOnTriangle(beyondCorner, a, b, c, point, bary), 2);
    EXPECT_DOUBLE_EQ(bary[1], 1);
    // Without area the nearest side decides.
    const double d[3] = {4, 0, 0};
    const double off[3] = {3, 1, 0};
    EXPECT_DOUBLE_EQ(ClosestPointOnTriangle(off, a, b, d, point, bary), 1);
    EXPECT_DOUBLE_EQ(point[0], 3);
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
    CTriangleTree median;
    median.Build(corners.data(), mesh.m_Faces.GetCount(), CTriangleTree::EShape::Median);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> uniform(-2, 2);
    std::vector<V> points;
    for (int i = 0; i < 300; ++i)
        points.push_back(V(Real(uniform(random)), Real(uniform(random)), Real(uniform(random))));
    for (unsigned int v = 0; v < 60; ++v)
        points.push_back(mesh.m_Vertices[v * 7].m_Position);
    std::unique_ptr<CSurfacePoint[]> batch(new CSurfacePoint[points.size()]);
    tree.FindClosestPoints(points.data(), points.size(), batch.get());
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
        EXPECT_EQ(batch[i].m_Triangle, found.m_Triangle);
        // Any hint gives the same answer.
        const CSurfacePoint hinted =
            tree.GetTriangleTree().FindClosestPoint(p, static_cast<std::uint32_t>((i * 37) % mesh.m_Faces.GetCount()));
        EXPECT_EQ(hinted.m_Triangle, found.m_Triangle);
        EXPECT_EQ(hinted.m_DistanceSquared, found.m_DistanceSquared);
        EXPECT_EQ(batch[i].m_DistanceSquared, found.m_DistanceSquared);
        const CSurfacePoint fromMedian = median.FindClosestPoint(p);
        EXPECT_EQ(fromMedian.m_Triangle, found.m_Triangle);
        EXPECT_EQ(fromMedian.m_DistanceSquared, found.m_DistanceSquared);
    }
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
    std::unique_ptr<double[]> estimates(new double[points.size()]);
    std::unique_ptr<double[]> signedDistances(new double[points.size()]);
    std::unique_ptr<bool[]> inside(new bool[points.size()]);
    tree.EstimateWindingNumbers(points.data(), points.size(), estimates.get());
    tree.GetSignedDistances(points.data(), points.size(), signedDistances.get());
    tree.Contains(points.data(), points.size(), inside.get());
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
        EXPECT_NEAR(estimates[i], exact, 0.08) << "r " << r;
        EXPECT_NEAR(tree.EstimateWindingNumber(points[i], 4.0), exact, 0.02) << "r " << r;
        error += std::fabs(estimates[i] - exact);
        ++compared;
        EXPECT_EQ(inside[i], r < 1);
        EXPECT_EQ(tree.Contains(points[i]), r < 1);
        EXPECT_NEAR(signedDistances[i], r - 1, 0.02);
        EXPECT_EQ(signedDistances[i] < 0, r < 1);
    }
    EXPECT_LT(error / compared, 0.01);
    // Two nested shells wound the same way count twice; a hole in the
    // surface leaves a fraction rather than a wrong whole answer.
    TypeParam nested = sphere;
    const unsigned int base = nested.m_Vertices.GetCount();
    TypeParam small;
    MakeIcosphere(small, 2, 0.5);
    for (unsigned int v = 0; v < small.m_Vertices.GetCount(); ++v) {
        const D3 p = Position(small, v);
        AddVertex(nested, p.x, p.y, p.z);
    }
    for (unsigned int f = 0; f < small.m_Faces.GetCount(); ++f) {
        const auto* c = small.m_Faces[f].m_Corners;
        AddFace(nested, base + c[0], base + c[1], base + c[2]);
    }
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

TYPED_TEST(SurfaceQueries, BatchHitsEqualSingleHits) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    TypeParam sphere;
    MakeBumpySphere(sphere, 3, 0.2, 0.03);
    sphere.DetermineBoundingBox(true);
    const typename TreeOf<TypeParam>::Type tree(sphere);
    std::mt19937 random(5);
    std::uniform_real_distribution<double> uniform(-2, 2);
    std::vector<TLine3<Real>> lines;
    for (int i = 0; i < 2000; ++i)
        lines.push_back(TLine3<Real>(V(Real(uniform(random)), Real(uniform(random)), Real(uniform(random))),
                                     V(Real(uniform(random)), Real(uniform(random)), Real(uniform(random)))));
    std::vector<TLineHit<Real>> hits(lines.size());
    for (ECulling culling : {ECulling::None, ECulling::BackFaces, ECulling::FrontFaces}) {
        tree.IntersectNearest(lines.data(), lines.size(), hits.data(), Real(0), culling);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            TLineHit<Real> single;
            ASSERT_EQ(tree.IntersectNearest(lines[i], single, Real(0), culling), hits[i].m_Hit);
            if (single.m_Hit) {
                EXPECT_EQ(single.m_Face, hits[i].m_Face);
                EXPECT_EQ(single.m_Point, hits[i].m_Point);
            }
        }
    }
}
