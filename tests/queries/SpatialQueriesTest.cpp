#include <gtest/gtest.h>

#include "MeshTypeLists.h"

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Sarvetta::TLine3;

typedef TVector3<double> D3;

template <typename Mesh>
class SpatialQueries : public ::testing::Test { };
TYPED_TEST_SUITE(SpatialQueries, TwoMeshTypes);

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

TYPED_TEST(SpatialQueries, LineHitsReportTheirPointAndRefuseThoseBehind) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    TypeParam box;
    // Face 0 holds (0.25, 0.75) of the bottom, face 3 of the top; a hit's
    // height tells which face gave it.
    MakeBox(box);
    const TLine3<Real> below(V(0.25, 0.75, -1), V(0, 0, 1)), inside(V(0.25, 0.75, 0.5), V(0, 0, 1));
    V p;
    Real d = 0;
    EXPECT_TRUE(box.IntersectWith(below, 0, &p, &d, Real(0)));
    EXPECT_NEAR(p.z, 0, 1e-6);
    EXPECT_NEAR(d, 1, 1e-6);
    EXPECT_FALSE(box.IntersectWith(below, 1, &p, &d, Real(0)));
    // A hit behind the origin is refused but still reported.
    EXPECT_FALSE(box.IntersectWith(inside, 0, &p, &d, Real(0)));
    EXPECT_NEAR(d, -0.5, 1e-6);
    // Back-face culling keeps the faces the line enters by, front-face the exits.
    EXPECT_TRUE(box.IntersectWithBFC(below, 0, &p, &d, Real(0)));
    EXPECT_FALSE(box.IntersectWithBFC(below, 3, &p, &d, Real(0)));
    EXPECT_FALSE(box.IntersectWithFFC(below, 0, &p, &d, Real(0)));
    EXPECT_TRUE(box.IntersectWithFFC(below, 3, &p, &d, Real(0)));
    EXPECT_NEAR(d, 2, 1e-6);

    // Whole-mesh forms: the nearest hit ahead wins, a miss leaves the point.
    const V untouched(9, 9, 9);
    EXPECT_TRUE(box.IntersectWith(inside, &p, Real(0)));
    EXPECT_NEAR(p.z, 1, 1e-6);
    EXPECT_TRUE(box.IntersectWithFFC(below, &p, Real(0)));
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

TYPED_TEST(SpatialQueries, InsideTestCallsOddCrossingsOutsideByItsParityRule) {
    typedef TVector3<RealOf<TypeParam>> V;
    // One shell around the point: every clean ray crosses it once, an odd
    // count, so the point is reported as not within.
    TypeParam box, hollow;
    AddBox(box, D3(0, 0, 0), D3(1, 1, 1));
    EXPECT_FALSE(box.IsWithin(V(0.3, 0.6, 0.2)));
    // A cavity [1, 2]^3 in [0, 3]^3: two shells around the point, an even
    // count, so within; the solid between the shells is crossed once or three times.
    AddBox(hollow, D3(0, 0, 0), D3(3, 3, 3));
    AddBox(hollow, D3(1, 1, 1), D3(2, 2, 2), false);
    EXPECT_TRUE(hollow.IsWithin(V(1.2, 1.7, 1.1)));
    EXPECT_FALSE(hollow.IsWithin(V(0.5, 0.5, 0.5)));
    EXPECT_FALSE(hollow.IsWithin(V(2.5, 1.5, 0.3)));
    // One vertex within is enough for a mesh to be within.
    TypeParam cloud;
    AddTables(cloud, {{0.5, 0.5, 0.5}, {5, 5, 5}}, {});
    EXPECT_FALSE(hollow.IsWithin(cloud));
    AddVertex(cloud, 1.5, 1.5, 1.5);
    EXPECT_TRUE(hollow.IsWithin(cloud));
    // A stale cached box decides on its own.
    hollow.m_BoundingBox.m_Max = V(1, 1, 1);
    EXPECT_FALSE(hollow.IsWithin(V(1.5, 1.5, 1.5)));
}

TYPED_TEST(SpatialQueries, MeshAgainstMeshRejectsByBoxThenTestsContainmentAndEdges) {
    auto boxAt = [](const D3& lo, const D3& hi) {
        TypeParam mesh;
        AddBox(mesh, lo, hi);
        return mesh;
    };
    TypeParam unit = boxAt(D3(0, 0, 0), D3(1, 1, 1));
    EXPECT_TRUE(unit.IntersectsWith(boxAt(D3(0.5, 0.5, 0.5), D3(1.5, 1.5, 1.5))));
    // Apart on either side of any axis: each of the six box tests rejects once.
    for (const D3& offset : {D3(3, 0, 0), D3(0, 3, 0), D3(0, 0, 3), D3(-3, 0, 0), D3(0, -3, 0), D3(0, 0, -3)})
        EXPECT_FALSE(unit.IntersectsWith(boxAt(offset, offset + D3(1, 1, 1))));
    // Boxes sharing a face plane pass the box test; the faces there meet.
    EXPECT_TRUE(unit.IntersectsWith(boxAt(D3(0, 0, 1), D3(1, 1, 2))));
    // A box wholly inside another: its corners see one crossing each (odd,
    // not within) and no edges meet, so the pair does not intersect.
    TypeParam nested = boxAt(D3(0.4, 0.4, 0.4), D3(0.6, 0.6, 0.6));
    EXPECT_FALSE(unit.IntersectsWith(nested));
    // In a cavity the corners see two crossings: within, from either side.
    TypeParam hollow = boxAt(D3(0, 0, 0), D3(3, 3, 3));
    AddBox(hollow, D3(1, 1, 1), D3(2, 2, 2), false);
    TypeParam pebble = boxAt(D3(1.4, 1.4, 1.4), D3(1.6, 1.6, 1.6));
    EXPECT_TRUE(hollow.IntersectsWith(pebble));
    EXPECT_TRUE(pebble.IntersectsWith(hollow));
}

TYPED_TEST(SpatialQueries, ClosestVertexKeepsTheFirstOfEqualDistances) {
    typedef TVector3<RealOf<TypeParam>> V;
    TypeParam mesh;
    EXPECT_EQ(mesh.FindClosestVertex(V(1, 2, 3)), 0u);
    AddTables(mesh, {{2, 0, 0}, {1, 0, 0}, {-1, 0, 0}, {0, 1, 0}}, {});
    EXPECT_EQ(mesh.FindClosestVertex(V(0, 0, 0)), 1u);
    EXPECT_EQ(mesh.FindClosestVertex(V(-0.5, 0.2, 0)), 2u);
    EXPECT_EQ(mesh.FindClosestVertex(V(50, 0, 0)), 0u);
}
