#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Sarvetta::TEdge3;
using Corvane::Pellix::Sarvetta::TLine3;

typedef TVector3<double> D3;

template <typename Mesh>
class SpatialQueries : public ::testing::Test {};

typedef ::testing::Types<TMesh<float, TVertexPN<float>, CA8, unsigned short>,
                         TMesh<double, TVertexPNC<double>, CA32, unsigned int>>
    QueryMeshes;
TYPED_TEST_SUITE(SpatialQueries, QueryMeshes);

// The cached box is trusted as it stands, so the tests fill it themselves.
template <typename Mesh>
void FitBox(Mesh& mesh) {
    mesh.m_BoundingBox.Reset();
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) mesh.m_BoundingBox.Extend(mesh.m_Vertices[v].m_Position);
}

// Box [lo, hi] as 8 vertices and 12 faces appended to the mesh, wound
// outward or (for the wall of a cavity) inward.
template <typename Mesh>
void AddBox(Mesh& mesh, const D3& lo, const D3& hi, bool outward) {
    const unsigned int base = mesh.m_Vertices.GetCount();
    for (int i = 0; i < 8; ++i)
        AddVertex(mesh, (i & 1) ? hi.x : lo.x, (i & 2) ? hi.y : lo.y, (i & 4) ? hi.z : lo.z);
    const unsigned int quads[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                                      {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (auto& q : quads) {
        if (outward) {
            AddFace(mesh, base + q[0], base + q[1], base + q[2]);
            AddFace(mesh, base + q[0], base + q[2], base + q[3]);
        } else {
            AddFace(mesh, base + q[0], base + q[2], base + q[1]);
            AddFace(mesh, base + q[0], base + q[3], base + q[2]);
        }
    }
}

// Small equilateral triangle centred on `centre`, perpendicular to `axis`.
template <typename Mesh>
void AddTinyTriangle(Mesh& mesh, const D3& centre, const D3& axis, double size) {
    D3 u = axis * (std::fabs(axis.x) < 0.9 ? D3(1, 0, 0) : D3(0, 1, 0));
    u.Normalise();
    D3 v = axis * u;
    v.Normalise();
    const D3 corners[3] = {centre + u * size, centre + (u * -0.5 + v * 0.8660254) * size,
                           centre + (u * -0.5 - v * 0.8660254) * size};
    const unsigned int base = mesh.m_Vertices.GetCount();
    for (auto& c : corners) AddVertex(mesh, c.x, c.y, c.z);
    AddFace(mesh, base, base + 1, base + 2);
}

// Direction of ray number `index` of the inside test, drawn from a fresh
// srand(0) sequence with the constants of the mesh's precision.
template <typename Real>
D3 ReferenceRay(int index) {
    const bool single = sizeof(Real) == sizeof(float);
    const Real range = single ? Real(32767.0f) : Real(32767.0);
    const Real twoPi = single ? Real(6.2831855f) : Real(6.283185307179586);
    const Real pi = single ? Real(3.1415927f) : Real(3.141592653589793);
    srand(0);
    for (int i = 0; i < 2 * index; ++i) rand();
    const Real theta = Real(rand()) / range * twoPi;
    const Real phi = Real(rand()) / range * twoPi - pi;
    const Real k = std::cos(phi);
    return D3(std::cos(theta) * k, std::sin(theta) * k, std::sqrt(Real(1) - k * k));
}

// The value rand() gives after `pairs` rays of a fresh srand(0) sequence.
int RandAfterRays(int pairs) {
    srand(0);
    for (int i = 0; i < 2 * pairs; ++i) rand();
    return rand();
}

template <typename Real>
void ExpectPoint(const TVector3<Real>& p, double x, double y, double z) {
    EXPECT_NEAR(p.x, x, 1e-6);
    EXPECT_NEAR(p.y, y, 1e-6);
    EXPECT_NEAR(p.z, z, 1e-6);
}

TYPED_TEST(SpatialQueries, SingleFaceHitBehindTheOriginIsRefusedButStillReported) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    TypeParam box;
    MakeBox(box);  // face 0 holds (0.25, 0.75) of the bottom, face 3 of the top
    V p;
    Real d = 0;

    const TLine3<Real> below(V(0.25, 0.75, -1), V(0, 0, 1));
    EXPECT_TRUE(box.IntersectWith(below, 0, &p, &d, Real(0)));
    ExpectPoint(p, 0.25, 0.75, 0);
    EXPECT_NEAR(d, 1, 1e-6);
    EXPECT_FALSE(box.IntersectWith(below, 1, &p, &d, Real(0)));
    EXPECT_TRUE(box.IntersectWith(below, 3, &p, &d, Real(0)));
    ExpectPoint(p, 0.25, 0.75, 1);
    EXPECT_NEAR(d, 2, 1e-6);

    const TLine3<Real> inside(V(0.25, 0.75, 0.5), V(0, 0, 1));
    EXPECT_FALSE(box.IntersectWith(inside, 0, &p, &d, Real(0)));
    ExpectPoint(p, 0.25, 0.75, 0);
    EXPECT_NEAR(d, -0.5, 1e-6);

    // The culled forms: the bottom faces the line, the top turns its back.
    EXPECT_TRUE(box.IntersectWithBFC(below, 0, &p, &d, Real(0)));
    EXPECT_FALSE(box.IntersectWithBFC(below, 3, &p, &d, Real(0)));
    EXPECT_FALSE(box.IntersectWithFFC(below, 0, &p, &d, Real(0)));
    EXPECT_TRUE(box.IntersectWithFFC(below, 3, &p, &d, Real(0)));
    EXPECT_NEAR(d, 2, 1e-6);
    EXPECT_FALSE(box.IntersectWithFFC(inside, 0, &p, &d, Real(0)));
}

TYPED_TEST(SpatialQueries, NearestHitIgnoresHitsBehindAndPicksTheClosestAhead) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    TypeParam box;
    MakeBox(box);
    const V untouched(9, 9, 9);
    V p = untouched;

    EXPECT_TRUE(box.IntersectWith(TLine3<Real>(V(0.25, 0.75, -1), V(0, 0, 1)), &p, Real(0)));
    ExpectPoint(p, 0.25, 0.75, 0);
    EXPECT_TRUE(box.IntersectWith(TLine3<Real>(V(0.25, 0.75, 0.5), V(0, 0, 1)), &p, Real(0)));
    ExpectPoint(p, 0.25, 0.75, 1);
    p = untouched;
    EXPECT_FALSE(box.IntersectWith(TLine3<Real>(V(0.25, 0.75, 2), V(0, 0, 1)), &p, Real(0)));
    EXPECT_EQ(p, untouched);

    // Back-face culling keeps the entry, front-face culling the exit.
    EXPECT_TRUE(box.IntersectWithBFC(TLine3<Real>(V(0.25, 0.75, -1), V(0, 0, 1)), &p, Real(0)));
    ExpectPoint(p, 0.25, 0.75, 0);
    EXPECT_TRUE(box.IntersectWithFFC(TLine3<Real>(V(0.25, 0.75, -1), V(0, 0, 1)), &p, Real(0)));
    ExpectPoint(p, 0.25, 0.75, 1);
    p = untouched;
    EXPECT_FALSE(box.IntersectWithBFC(TLine3<Real>(V(0.25, 0.75, 0.5), V(0, 0, 1)), &p, Real(0)));
    EXPECT_EQ(p, untouched);
    EXPECT_TRUE(box.IntersectWithFFC(TLine3<Real>(V(0.25, 0.75, 0.5), V(0, 0, 2)), &p, Real(0)));
    ExpectPoint(p, 0.25, 0.75, 1);

    // Parallel sheets listed far, near, middle: the near one wins wherever
    // it stands in the list.
    TypeParam sheets;
    const double heights[3] = {3, 1, 2};
    for (int s = 0; s < 3; ++s) {
        AddVertex(sheets, 0, 0, heights[s]);
        AddVertex(sheets, 1, 0, heights[s]);
        AddVertex(sheets, 0, 1, heights[s] + 0.1);
        AddFace(sheets, 3 * s, 3 * s + 1, 3 * s + 2);
    }
    EXPECT_TRUE(sheets.IntersectWith(TLine3<Real>(V(0.2, 0.2, 0), V(0, 0, 3)), &p, Real(0)));
    ExpectPoint(p, 0.2, 0.2, 1.02);

    TypeParam empty;
    p = untouched;
    EXPECT_FALSE(empty.IntersectWith(TLine3<Real>(V(0, 0, 0), V(0, 0, 1)), &p, Real(0)));
    EXPECT_EQ(p, untouched);
}

TYPED_TEST(SpatialQueries, InsideTestCallsOddCrossingsOutsideByDesignedParity) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;

    // One closed shell around the point: every clean ray crosses it once,
    // an odd count, so the point is reported as not within.
    TypeParam box;
    MakeBox(box);
    FitBox(box);
    EXPECT_FALSE(box.IsWithin(V(0.5, 0.5, 0.5)));
    EXPECT_FALSE(box.IsWithin(V(0.3, 0.6, 0.2)));
    EXPECT_FALSE(box.IsWithin(V(0.5, 0.5, 1.5)));  // outside the cached box

    // A cavity: two shells around the point, an even count, so within; the
    // solid between the shells is crossed once or three times.
    TypeParam hollow;
    AddBox(hollow, D3(0, 0, 0), D3(3, 3, 3), true);
    AddBox(hollow, D3(1, 1, 1), D3(2, 2, 2), false);
    FitBox(hollow);
    EXPECT_TRUE(hollow.IsWithin(V(1.5, 1.5, 1.5)));
    EXPECT_TRUE(hollow.IsWithin(V(1.2, 1.7, 1.1)));
    EXPECT_FALSE(hollow.IsWithin(V(0.5, 0.5, 0.5)));
    EXPECT_FALSE(hollow.IsWithin(V(2.5, 1.5, 0.3)));

    // A stale box decides on its own: the cavity point outside it is out.
    hollow.m_BoundingBox.m_Max = V(1, 1, 1);
    EXPECT_FALSE(hollow.IsWithin(V(1.5, 1.5, 1.5)));

    // Concave L-shaped prism: the point sits in the notch, inside the box
    // but outside the solid, at the top where no upward ray meets a face.
    TypeParam step;
    const double outline[6][2] = {{0, 0}, {2, 0}, {2, 1}, {1, 1}, {1, 2}, {0, 2}};  // in x-z
    for (int y = 0; y < 2; ++y)
        for (auto& o : outline) AddVertex(step, o[0], y, o[1]);
    const unsigned int cap[4][3] = {{0, 1, 2}, {0, 2, 3}, {0, 3, 4}, {0, 4, 5}};
    for (auto& t : cap) {
        AddFace(step, t[0], t[1], t[2]);
        AddFace(step, 6 + t[0], 6 + t[2], 6 + t[1]);
    }
    for (unsigned int i = 0; i < 6; ++i) {
        const unsigned int j = (i + 1) % 6;
        AddFace(step, i, 6 + i, 6 + j);
        AddFace(step, i, 6 + j, j);
    }
    FitBox(step);
    EXPECT_FALSE(step.IsWithin(V(1.5, 0.5, 2)));
}

TYPED_TEST(SpatialQueries, InsideTestReseedsAndDrawsRaysInOrder) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    const V origin(0, 0, 0);

    // Outside the cached box nothing is drawn: the caller's sequence goes on.
    TypeParam box;
    MakeBox(box);
    FitBox(box);
    srand(77);
    rand();
    const int expected = rand();
    srand(77);
    rand();
    EXPECT_FALSE(box.IsWithin(V(2, 2, 2)));
    EXPECT_EQ(rand(), expected);

    // A mesh without faces still draws its first ray before giving up.
    TypeParam points;
    AddVertex(points, -1, -1, -1);
    AddVertex(points, 1, 1, 1);
    FitBox(points);
    EXPECT_FALSE(points.IsWithin(origin));
    int next = rand();
    EXPECT_EQ(next, RandAfterRays(1));

    // A clean first ray decides, and a second call repeats it.
    EXPECT_FALSE(box.IsWithin(V(0.5, 0.5, 0.5)));
    next = rand();
    EXPECT_EQ(next, RandAfterRays(1));
    EXPECT_FALSE(box.IsWithin(V(0.5, 0.5, 0.5)));

    // Two tiny targets on the first ray (length 2 * sqrt(3), the diagonal of
    // the box [-1, 1]^3) give two crossings; they are small enough that any
    // other direction misses both.
    const D3 first = ReferenceRay<Real>(0);
    TypeParam targets;
    AddTinyTriangle(targets, first * 1.0, first, 0.001);
    AddTinyTriangle(targets, first * 2.0, first, 0.001);
    targets.m_BoundingBox.m_Min = V(-1, -1, -1);
    targets.m_BoundingBox.m_Max = V(1, 1, 1);
    EXPECT_TRUE(targets.IsWithin(origin));
    EXPECT_TRUE(targets.IsWithin(origin));

    // A sliver lying along the first ray makes it ambiguous: the ray is
    // discarded and the second one, with its own two targets, decides.
    const D3 second = ReferenceRay<Real>(1);
    D3 across = first * second;
    across.Normalise();
    TypeParam discard;
    for (const D3& c : {first * 0.5 - across * 0.5, first * 1.5 - across * 0.5, first + across * 0.5})
        AddVertex(discard, c.x, c.y, c.z);
    AddFace(discard, 0, 1, 2);
    TypeParam onlySliver(discard);
    AddTinyTriangle(discard, second * 1.0, second, 0.001);
    AddTinyTriangle(discard, second * 2.0, second, 0.001);
    discard.m_BoundingBox = targets.m_BoundingBox;
    onlySliver.m_BoundingBox = targets.m_BoundingBox;
    EXPECT_TRUE(discard.IsWithin(origin));
    next = rand();
    EXPECT_EQ(next, RandAfterRays(2));
    EXPECT_FALSE(onlySliver.IsWithin(origin));

    // A face through the point touches every ray at its start: all 1000 are
    // discarded and the answer is no.
    TypeParam floor;
    AddVertex(floor, -1, -1, 0);
    AddVertex(floor, 1, -1, 0);
    AddVertex(floor, 0, 1, 0);
    AddFace(floor, 0, 1, 2);
    floor.m_BoundingBox = targets.m_BoundingBox;
    EXPECT_FALSE(floor.IsWithin(origin));
    next = rand();
    EXPECT_EQ(next, RandAfterRays(1000));
}

TYPED_TEST(SpatialQueries, MeshWithinMeshNeedsOneVertexWithin) {
    TypeParam hollow;
    AddBox(hollow, D3(0, 0, 0), D3(3, 3, 3), true);
    AddBox(hollow, D3(1, 1, 1), D3(2, 2, 2), false);
    FitBox(hollow);

    TypeParam none;
    EXPECT_FALSE(hollow.IsWithin(none));
    TypeParam inShell;
    AddVertex(inShell, 0.5, 0.5, 0.5);
    AddVertex(inShell, 5, 5, 5);
    EXPECT_FALSE(hollow.IsWithin(inShell));
    AddVertex(inShell, 1.5, 1.5, 1.5);
    EXPECT_TRUE(hollow.IsWithin(inShell));
}

TYPED_TEST(SpatialQueries, MeshAgainstMeshRejectsByBoxThenTestsContainmentAndEdges) {
    TypeParam unit;
    MakeBox(unit);
    FitBox(unit);
    auto boxAt = [](const D3& lo, const D3& hi) {
        TypeParam mesh;
        AddBox(mesh, lo, hi, true);
        FitBox(mesh);
        return mesh;
    };

    TypeParam overlapping = boxAt(D3(0.5, 0.5, 0.5), D3(1.5, 1.5, 1.5));
    EXPECT_TRUE(unit.IntersectsWith(overlapping));
    EXPECT_TRUE(overlapping.IntersectsWith(unit));

    const D3 away[6] = {D3(3, 0, 0), D3(0, 3, 0), D3(0, 0, 3), D3(-3, 0, 0), D3(0, -3, 0), D3(0, 0, -3)};
    for (const D3& offset : away) {
        TypeParam apart = boxAt(offset, offset + D3(1, 1, 1));
        EXPECT_FALSE(unit.IntersectsWith(apart));
        EXPECT_FALSE(apart.IntersectsWith(unit));
    }

    // Boxes sharing a face plane pass the box test; the faces in that plane
    // then meet.
    TypeParam stacked = boxAt(D3(0, 0, 1), D3(1, 1, 2));
    EXPECT_TRUE(unit.IntersectsWith(stacked));

    // A box wholly inside another: its corners see one crossing each (odd,
    // not within) and no edges meet, so the pair does not intersect.
    TypeParam nested = boxAt(D3(0.4, 0.4, 0.4), D3(0.6, 0.6, 0.6));
    EXPECT_FALSE(unit.IntersectsWith(nested));
    EXPECT_FALSE(nested.IntersectsWith(unit));

    // In a cavity the corners see two crossings: within, from either side.
    TypeParam hollow;
    AddBox(hollow, D3(0, 0, 0), D3(3, 3, 3), true);
    AddBox(hollow, D3(1, 1, 1), D3(2, 2, 2), false);
    FitBox(hollow);
    TypeParam pebble = boxAt(D3(1.4, 1.4, 1.4), D3(1.6, 1.6, 1.6));
    EXPECT_TRUE(hollow.IntersectsWith(pebble));
    EXPECT_TRUE(pebble.IntersectsWith(hollow));
}

TYPED_TEST(SpatialQueries, ClosestVertexKeepsTheFirstOfEqualDistances) {
    typedef RealOf<TypeParam> Real;
    typedef TVector3<Real> V;
    TypeParam mesh;
    EXPECT_EQ(mesh.FindClosestVertex(V(1, 2, 3)), 0u);
    AddVertex(mesh, 2, 0, 0);
    AddVertex(mesh, 1, 0, 0);
    AddVertex(mesh, -1, 0, 0);
    AddVertex(mesh, 0, 1, 0);
    EXPECT_EQ(mesh.FindClosestVertex(V(0, 0, 0)), 1u);
    EXPECT_EQ(mesh.FindClosestVertex(V(-0.5, 0.2, 0)), 2u);
    EXPECT_EQ(mesh.FindClosestVertex(V(0, 1, 0)), 3u);
    EXPECT_EQ(mesh.FindClosestVertex(V(50, 0, 0)), 0u);
}

}  // namespace
