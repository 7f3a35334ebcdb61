// The tree's twins of the mesh's spatial queries against the mesh's own
// brute-force loops: same answers, bit for bit, on every exported type.
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <random>
#include <vector>

#include "MeshTypeLists.h"
#include "quorvel/meshes/queries/CRuntimeRandom.h"

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Sarvetta::TLine3;

template <typename Mesh>
class MeshTreeTwins : public ::testing::Test { };
TYPED_TEST_SUITE(MeshTreeTwins, AllMeshTypes);

// A scene with the contacts that trip up an index: a closed bumpy sphere,
// an open grid patch whose vertices and edges lie on round coordinates
// (axis-parallel rays meet them exactly, six faces at one distance), a
// duplicate of one sphere face (two faces at every distance) and a face
// marked for discarding.
template <typename Mesh>
void MakeScene(Mesh& mesh, unsigned int levels = 3) {
    MakeBumpySphere(mesh, levels, 0.15, 0.02);
    Mesh grid;
    MakeGrid(grid, 8, 8, 0.25);
    AddMesh(mesh, grid, -1.0, -1.0, 0.25);
    const auto* c = mesh.m_Faces[17].m_Corners;
    AddFace(mesh, c[0], c[1], c[2]);
    AddFace(mesh, 5, 5, 5);
    mesh.DetermineBoundingBox(true);
}

// The mesh's or the tree's line query with no culling (mode 0), culling back
// faces (1) or front faces (2), over every face or over one.
template <typename Target, typename... Arguments>
bool Cast(const Target& target, int mode, const Arguments&... arguments) {
    return mode == 0   ? target.IntersectWith(arguments...)
           : mode == 1 ? target.IntersectWithBFC(arguments...)
                       : target.IntersectWithFFC(arguments...);
}

template <typename Real>
class CQueries {
public:
    typedef TVector3<Real> V;
    std::mt19937 m_Random{20261125};

    double Uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(m_Random); }
    V Point(double r) { return V(Real(Uniform(-r, r)), Real(Uniform(-r, r)), Real(Uniform(-r, r))); }

    // Random lines, lines aimed exactly at vertices and edge midpoints, and
    // axis-parallel lines through the grid's vertices and edges.
    template <typename Mesh>
    std::vector<TLine3<Real>> Lines(const Mesh& mesh, unsigned int count) {
        std::vector<TLine3<Real>> lines;
        for (unsigned int i = 0; i < count; ++i) {
            const V origin = Point(2.0);
            const auto& face = mesh.m_Faces[m_Random() % mesh.m_Faces.GetCount()];
            const V targets[3] = {
                Point(1.2), mesh.m_Vertices[m_Random() % mesh.m_Vertices.GetCount()].m_Position,
                (mesh.m_Vertices[face.m_Corners[0]].m_Position + mesh.m_Vertices[face.m_Corners[1]].m_Position) *
                    Real(0.5)};
            if (i % 4 < 3) {
                lines.push_back(TLine3<Real>(origin, targets[i % 4] - origin));
                continue;
            }
            const Real x = Real(-1.0 + 0.125 * double(m_Random() % 17)), y = Real(-1.0 + 0.25 * double(m_Random() % 9));
            const V starts[3] = {V(Real(-3), x, Real(0.25)), V(x, Real(-3), Real(0.25)), V(x, y, Real(-3))};
            const V towards[3] = {V(1, 0, 0), V(0, 1, 0), V(0, 0, 1)};
            const int axis = int(m_Random() % 3);
            lines.push_back(TLine3<Real>(starts[axis], towards[axis] * Real(i % 8 == 3 ? 1 : -1)));
        }
        return lines;
    }

    // Points inside, outside, on vertices, edges and faces, and on the
    // corners and sides of the cached box.
    template <typename Mesh>
    std::vector<V> Points(const Mesh& mesh, unsigned int count) {
        std::vector<V> points;
        const auto& box = mesh.m_BoundingBox;
        for (unsigned int i = 0; i < count; ++i) {
            const auto& face = mesh.m_Faces[m_Random() % mesh.m_Faces.GetCount()];
            const V a = mesh.m_Vertices[face.m_Corners[0]].m_Position,
                    b = mesh.m_Vertices[face.m_Corners[1]].m_Position,
                    c = mesh.m_Vertices[face.m_Corners[2]].m_Position;
            const V corner(m_Random() % 2 ? box.m_Min.x : box.m_Max.x, m_Random() % 2 ? box.m_Min.y : box.m_Max.y,
                           m_Random() % 2 ? box.m_Min.z : box.m_Max.z);
            V side = Point(1.0);
            side.z = m_Random() % 2 ? box.m_Min.z : box.m_Max.z;
            const V choices[6] = {Point(1.3), a, (a + b) * Real(0.5), (a + b + c) / Real(3), corner, side};
            points.push_back(choices[i % 6]);
        }
        return points;
    }
};

}  // namespace

TEST(RuntimeRandom, ReproducesTheRuntimeSequenceForEverySeed) {
    for (unsigned int seed : {0u, 1u, 2u, 12345u, 4000000000u}) {
        srand(seed);
        Corvane::Pellix::Quorvel::CRuntimeRandom twin(seed);
        for (int i = 0; i < 2000; ++i)
            ASSERT_EQ(twin.Next(), rand()) << "seed " << seed << ", draw " << i;
    }
}

TYPED_TEST(MeshTreeTwins, LineHitsMatchInEveryCullingModeOneFaceAtATimeAndInBatches) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    TypeParam mesh;
    MakeScene(mesh);
    const typename TreeOf<TypeParam>::Type tree(mesh);
    CQueries<Real> queries;
    const std::vector<TLine3<Real>> lines = queries.Lines(mesh, 600);
    const Real tolerances[3] = {Real(0), Real(1e-6), Real(0.02)};
    const ECulling cullings[3] = {ECulling::None, ECulling::BackFaces, ECulling::FrontFaces};
    std::vector<TLineHit<Real>> batch[3];
    for (int mode = 0; mode < 3; ++mode) {
        batch[mode].resize(lines.size());
        tree.IntersectNearest(lines.data(), lines.size(), batch[mode].data(), Real(0), cullings[mode]);
    }
    unsigned int hits = 0, ties = 0;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        SCOPED_TRACE(::testing::Message() << "line " << i);
        const TLine3<Real>& line = lines[i];
        const Real tolerance = tolerances[i % 3];
        for (int mode = 0; mode < 3; ++mode) {
            SCOPED_TRACE(::testing::Message() << "mode " << mode);
            V expected(7, 7, 7), actual(7, 7, 7);
            const bool a = Cast(mesh, mode, line, &expected, tolerance);
            ASSERT_EQ(a, Cast(tree, mode, line, &actual, tolerance));
            ASSERT_EQ(expected, actual);
            hits += mode == 0 && a;
            // The batch form answers each line as the single query does.
            TLineHit<Real> single;
            ASSERT_EQ(tree.IntersectNearest(line, single, Real(0), cullings[mode]), batch[mode][i].m_Hit);
            ASSERT_TRUE(!single.m_Hit ||
                        (single.m_Face == batch[mode][i].m_Face && single.m_Point == batch[mode][i].m_Point));
        }

        // The face reported is the first face, in index order, that the
        // one-face query hits at that distance.
        TLineHit<Real> hit;
        if (tree.IntersectNearest(line, hit, tolerance)) {
            unsigned int first = ~0u;
            unsigned int same = 0;
            for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
                V p;
                Real d;
                if (mesh.IntersectWith(line, f, &p, &d, tolerance) && d == hit.m_Distance) {
                    if (first == ~0u)
                        first = f;
                    ++same;
                }
            }
            ASSERT_EQ(hit.m_Face, first);
            ties += same > 1;
        }

        // One-face queries, hits behind the origin included.
        for (unsigned int k = 0; k < 9; ++k) {
            const unsigned int f = queries.m_Random() % mesh.m_Faces.GetCount();
            V p1(7, 7, 7), p2(7, 7, 7);
            Real d1 = 7, d2 = 7;
            const Real t = k % 3 == 0 ? tolerance : Real(0);
            ASSERT_EQ(Cast(mesh, k % 3, line, f, &p1, &d1, t), Cast(tree, k % 3, line, f, &p2, &d2, t));
            ASSERT_TRUE(p1 == p2 && d1 == d2);
        }
    }
    // The scene must really exercise hits and ties.
    EXPECT_GT(hits, 200u);
    EXPECT_GT(ties, 20u);
}

// Besides the scene, a cavity (a box inside the sphere wound inwards, so
// points in it see two shells and are within by the parity rule), long
// slivers across the whole box that sit in many cells of the grid the first
// ray is searched in, and faces whose corners moved to infinity or NaN after
// the box was cached, which have no box and are tested on every ray.
TYPED_TEST(MeshTreeTwins, InsideTestsMatchAndLeaveTheRuntimeGeneratorAlone) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    // Points on the surface make every ray ambiguous, so the mesh's loop
    // casts all 1000 of them: a coarser sphere keeps that affordable.
    TypeParam mesh;
    MakeScene(mesh, 2);
    TypeParam box;
    MakeBox(box, 0.3, 0.3, 0.3);
    AddMesh(mesh, box, -0.15, -0.15, -0.5, true);
    AddCrossingSlivers(mesh, 10, 1.1, 0.02);
    const unsigned int strays = mesh.m_Vertices.GetCount();
    AddVertex(mesh, 0, 0, 0);
    AddVertex(mesh, 0, 0, 0);
    AddFace(mesh, 0, 1, strays);
    AddFace(mesh, 2, strays + 1, 3);
    mesh.DetermineBoundingBox(true);
    mesh.m_Vertices[strays].m_Position.x = std::numeric_limits<Real>::infinity();
    mesh.m_Vertices[strays + 1].m_Position.y = std::numeric_limits<Real>::quiet_NaN();
    const typename TreeOf<TypeParam>::Type tree(mesh);
    CQueries<Real> queries;
    std::vector<V> points = queries.Points(mesh, 120);
    for (int i = 0; i < 60; ++i)
        points.push_back(V(Real(queries.Uniform(-0.15, 0.15)), Real(queries.Uniform(-0.15, 0.15)),
                           Real(queries.Uniform(-0.5, -0.2))));
    unsigned int within = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        srand(4242);
        const bool twin = tree.IsWithin(points[i]);
        const int next = rand();
        srand(4242);
        ASSERT_EQ(next, rand()) << "the twin moved the runtime's generator";
        ASSERT_EQ(mesh.IsWithin(points[i]), twin)
            << "point " << i << " (" << points[i].x << ", " << points[i].y << ", " << points[i].z << ")";
        within += twin;
    }
    EXPECT_GT(within, 20u);

    // A mesh is within when one of its vertices is.
    TypeParam cloud;
    AddTables(cloud, {{3, 3, 3}, {0.9, 0.9, 0.9}}, {});
    EXPECT_EQ(mesh.IsWithin(cloud), tree.IsWithin(cloud));
    AddVertex(cloud, 0, 0, -0.4);
    EXPECT_EQ(mesh.IsWithin(cloud), tree.IsWithin(cloud));
    EXPECT_TRUE(tree.IsWithin(cloud));
}

TYPED_TEST(MeshTreeTwins, MeshAgainstMeshMatches) {
    typedef RealOf<TypeParam> Real;
    typedef typename TreeOf<TypeParam>::Type Tree;
    TypeParam sphere;
    MakeBumpySphere(sphere, 1, 0.1, 0.02);
    sphere.DetermineBoundingBox(true);
    const Tree sphereTree(sphere);
    CQueries<Real> queries;
    unsigned int intersecting = 0;
    for (int i = 0; i < 40; ++i) {
        // Boxes of every size about the sphere: apart, touching, crossing,
        // inside it, around it.
        TypeParam box;
        const double size = queries.Uniform(0.05, 3.0);
        MakeBox(box, size, size * queries.Uniform(0.5, 1.5), size);
        const double shift[3] = {queries.Uniform(-2.5, 1.5), queries.Uniform(-2.5, 1.5), queries.Uniform(-2.5, 1.5)};
        for (unsigned int v = 0; v < box.m_Vertices.GetCount(); ++v) {
            auto& p = box.m_Vertices[v].m_Position;
            p = TVector3<Real>(Real(p.x + shift[0]), Real(p.y + shift[1]), Real(p.z + shift[2]));
        }
        box.DetermineBoundingBox(true);
        const Tree boxTree(box);
        const bool expected = sphere.IntersectsWith(box);
        ASSERT_EQ(expected, sphereTree.IntersectsWith(boxTree)) << "box " << i;
        ASSERT_EQ(box.IntersectsWith(sphere), boxTree.IntersectsWith(sphereTree)) << "box " << i;
        ASSERT_EQ(sphere.IsWithin(box), sphereTree.IsWithin(box)) << "box " << i;
        intersecting += expected;
    }
    EXPECT_GT(intersecting, 5u);
    EXPECT_LT(intersecting, 35u);
}

TYPED_TEST(MeshTreeTwins, ClosestVertexMatchesIncludingTiesAndUnusedVertices) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    TypeParam mesh;
    MakeScene(mesh);
    // Unused vertices count, and a repeated position ties with its original.
    AddVertex(mesh, 3, 3, 3);
    const auto copy = mesh.m_Vertices[40].m_Position;
    AddVertex(mesh, copy.x, copy.y, copy.z);
    const typename TreeOf<TypeParam>::Type tree(mesh);
    CQueries<Real> queries;
    std::vector<V> points = queries.Points(mesh, 1500);
    // Centres of grid squares: four vertices at the same distance.
    for (int i = 0; i < 8; ++i)
        for (int j = 0; j < 8; ++j)
            points.push_back(V(Real(-0.875 + 0.25 * i), Real(-0.875 + 0.25 * j), Real(0.25)));
    points.push_back(V(4, 4, 4));
    for (std::size_t i = 0; i < points.size(); ++i)
        ASSERT_EQ(mesh.FindClosestVertex(points[i]), tree.FindClosestVertex(points[i])) << "point " << i;
}

TYPED_TEST(MeshTreeTwins, EmptyAndOneFaceMeshesAnswerAsTheMeshDoes) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    typedef typename TreeOf<TypeParam>::Type Tree;
    TypeParam empty;
    const Tree none(empty);
    V p(7, 7, 7);
    EXPECT_FALSE(none.IntersectWith(TLine3<Real>(V(0, 0, -1), V(0, 0, 1)), &p, Real(0)) || none.IsWithin(V(0, 0, 0)));
    EXPECT_EQ(p, V(7, 7, 7));
    EXPECT_TRUE(none.FindClosestVertex(V(1, 1, 1)) == 0u && none.GetWindingNumber(V(1, 1, 1)) == 0.0 &&
                none.FindClosestPoint(V(1, 1, 1)).m_Triangle == CSurfacePoint::NoTriangle);

    TypeParam one;
    MakeTriangle(one);
    one.DetermineBoundingBox(true);
    const Tree tree(one);
    CQueries<Real> queries;
    for (int i = 0; i < 500; ++i) {
        const V origin = queries.Point(2);
        const V target(Real(queries.Uniform(-0.2, 1.2)), Real(queries.Uniform(-0.2, 1.2)), 0);
        const TLine3<Real> line(origin, target - origin);
        V a(7, 7, 7), b(7, 7, 7);
        ASSERT_EQ(one.IntersectWith(line, &a, Real(1e-6)), tree.IntersectWith(line, &b, Real(1e-6)));
        ASSERT_EQ(a, b);
        const V point(target.x, target.y, i % 2 ? Real(0) : Real(queries.Uniform(-0.1, 0.1)));
        ASSERT_EQ(one.IsWithin(point), tree.IsWithin(point));
        ASSERT_EQ(one.FindClosestVertex(origin), tree.FindClosestVertex(origin));
    }
    EXPECT_EQ(one.IntersectsWith(one), tree.IntersectsWith(tree));
    EXPECT_EQ(empty.IntersectsWith(one), none.IntersectsWith(tree));
}
