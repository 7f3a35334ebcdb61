#include <vector>

#include "MathsTestSupport.h"

namespace SarvettaTest {

template <class Real>
class IntersectionTest : public ::testing::Test {
protected:
    typedef TVector3<Real> V;

    // Right triangle with legs 2 in z = 0; n = (p1 - p0) x (p2 - p0) = (0, 0, 4),
    // so barycentrics at (x, y, 0) are (1 - x/2 - y/2, x/2, y/2).
    const V p0 = V(0, 0, 0);
    const V p1 = V(2, 0, 0);
    const V p2 = V(0, 2, 0);

    int Code(const V& start, const V& end, Real tolerance, V* point = nullptr) const
    {
        V scratch;
        return TEdge3<Real>(start, end).IntersectWith(p0, p1, p2, point ? point : &scratch, tolerance);
    }

    struct Triangle {
        V a, b, c;
    };
    struct Tally {
        int clean = 0;
        int contacts = 0; // codes 2 and 3
    };

    static Tally Count(const std::vector<Triangle>& triangles, const V& start, const V& end, Real tolerance)
    {
        Tally tally;
        const TEdge3<Real> edge(start, end);
        for (const Triangle& t : triangles) {
            V point;
            const int code = edge.IntersectWith(t.a, t.b, t.c, &point, tolerance);
            if (code == 0)
                ++tally.clean;
            else if (code != 1)
                ++tally.contacts;
        }
        return tally;
    }

    // Octahedron with corners on the axes at distance 1, outward winding.
    static std::vector<Triangle> Octahedron()
    {
        std::vector<Triangle> triangles;
        for (int s = 0; s < 8; ++s) {
            const Real sx = (s & 1) ? -1 : 1, sy = (s & 2) ? -1 : 1, sz = (s & 4) ? -1 : 1;
            const V x(sx, 0, 0), y(0, sy, 0), z(0, 0, sz);
            if (sx * sy * sz > 0)
                triangles.push_back({x, y, z});
            else
                triangles.push_back({x, z, y});
        }
        return triangles;
    }

    // A 6 x 6 patch with irregular spacing and alternating diagonals, tilted
    // out of the coordinate planes so that no coordinate is a round number.
    static std::vector<V> GridVertices()
    {
        const Real half = Real(0.5);
        TMatrix3x3<Real> tilt = TQuaternion<Real>(Real(0.9), Real(0.3), Real(-0.2), Real(0.25)).ToMatrix();
        tilt.Transpose();
        std::vector<V> vertices;
        const Real coordinates[7] = {0, Real(0.3), Real(0.7), Real(1.3), Real(1.9), Real(2.2), Real(3.1)};
        for (int j = 0; j < 7; ++j)
            for (int i = 0; i < 7; ++i) {
                V v(coordinates[i], coordinates[j], half * coordinates[i] * coordinates[j] / 10);
                v *= tilt;
                vertices.push_back(v);
            }
        return vertices;
    }
    // The patch's faces; `border` receives, per face, which of its edges
    // (a-b, b-c, c-a) lie on the patch border.
    static std::vector<Triangle> Grid(std::vector<int>* border = nullptr)
    {
        const std::vector<V> v = GridVertices();
        std::vector<Triangle> triangles;
        for (int j = 0; j < 6; ++j)
            for (int i = 0; i < 6; ++i) {
                const V& a = v[j * 7 + i];
                const V& b = v[j * 7 + i + 1];
                const V& c = v[j * 7 + i + 7];
                const V& d = v[j * 7 + i + 8];
                // Border bits: bottom row j = 0, top row j = 5, left i = 0, right i = 5.
                const bool bottom = j == 0, top = j == 5, left = i == 0, right = i == 5;
                if ((i + j) % 2 == 0) {
                    triangles.push_back({a, b, d});
                    triangles.push_back({a, d, c});
                    if (border) {
                        border->push_back((bottom ? 1 : 0) | (right ? 2 : 0));
                        border->push_back((top ? 2 : 0) | (left ? 4 : 0));
                    }
                } else {
                    triangles.push_back({a, b, c});
                    triangles.push_back({b, d, c});
                    if (border) {
                        border->push_back((bottom ? 1 : 0) | (left ? 4 : 0));
                        border->push_back((right ? 1 : 0) | (top ? 2 : 0));
                    }
                }
            }
        return triangles;
    }
};
TYPED_TEST_SUITE(IntersectionTest, RealTypes);

TYPED_TEST(IntersectionTest, LineHitsWithParameterAndPoint)
{
    typedef TypeParam Real;
    typedef TVector3<TypeParam> V;
    const TypeParam tol = Tolerance<TypeParam>();
    V point;
    TypeParam t = 0;

    // Downwards meets the front (d . n < 0): plain and back-face-culled hit.
    const TLine3<TypeParam> down(V(Real(0.5), Real(0.5), 3), V(0, 0, -1));
    ASSERT_TRUE(down.IntersectWith(this->p0, this->p1, this->p2, &point, &t, 0));
    EXPECT_NEAR(t, TypeParam(3), tol);
    ExpectNear(point, V(Real(0.5), Real(0.5), 0), tol);
    EXPECT_TRUE(down.IntersectWithBFC(this->p0, this->p1, this->p2, &point, &t, 0));
    EXPECT_FALSE(down.IntersectWithFFC(this->p0, this->p1, this->p2, &point, &t, 0));

    // Upwards from the same origin: the hit lies behind it (t < 0) on the
    // back side, so only the front-face-culled form accepts it.
    const TLine3<TypeParam> up(V(Real(0.5), Real(0.5), 3), V(0, 0, 2));
    ASSERT_TRUE(up.IntersectWith(this->p0, this->p1, this->p2, &point, &t, 0));
    EXPECT_NEAR(t, TypeParam(-1.5), tol);
    EXPECT_FALSE(up.IntersectWithBFC(this->p0, this->p1, this->p2, &point, &t, 0));
    EXPECT_TRUE(up.IntersectWithFFC(this->p0, this->p1, this->p2, &point, &t, 0));

    // Oblique: (0, 0, 1) + t (1, 1, -2) meets z = 0 at t = 0.5.
    const TLine3<TypeParam> oblique(V(0, 0, 1), V(1, 1, -2));
    ASSERT_TRUE(oblique.IntersectWith(this->p0, this->p1, this->p2, &point, &t, 0));
    EXPECT_NEAR(t, TypeParam(0.5), tol);
    ExpectNear(point, V(Real(0.5), Real(0.5), 0), tol);
}

TYPED_TEST(IntersectionTest, LineMissesLeaveOutputsUntouched)
{
    typedef TypeParam Real;
    typedef TVector3<TypeParam> V;
    const V sentinel(7, 7, 7);
    V point = sentinel;
    TypeParam t = 42;
    const TLine3<TypeParam> lines[] = {
        TLine3<TypeParam>(V(Real(0.5), Real(0.5), 1), V(1, 0, 0)),  // parallel above
        TLine3<TypeParam>(V(-1, Real(0.5), 0), V(1, 0, 0)),         // in the plane, across the triangle
        TLine3<TypeParam>(V(3, 3, 1), V(0, 0, -1)),                 // outside
    };
    for (const TLine3<TypeParam>& line : lines) {
        EXPECT_FALSE(line.IntersectWith(this->p0, this->p1, this->p2, &point, &t, 0));
        EXPECT_FALSE(line.IntersectWithBFC(this->p0, this->p1, this->p2, &point, &t, 0));
        EXPECT_FALSE(line.IntersectWithFFC(this->p0, this->p1, this->p2, &point, &t, 0));
    }
    EXPECT_EQ(point, sentinel);
    EXPECT_EQ(t, TypeParam(42));

    // At x = -0.1 the barycentric of p1 is -0.05: inside a triangle widened
    // by 0.1, outside one widened by 0.01.
    const TLine3<TypeParam> near(V(Real(-0.1), 1, 1), V(0, 0, -1));
    EXPECT_TRUE(near.IntersectWith(this->p0, this->p1, this->p2, &point, &t, TypeParam(0.1)));
    EXPECT_FALSE(near.IntersectWith(this->p0, this->p1, this->p2, &point, &t, TypeParam(0.01)));
}

TYPED_TEST(IntersectionTest, SegmentCodesClassifyEachKindOfContact)
{
    typedef TypeParam Real;
    typedef TVector3<TypeParam> V;
    const TypeParam tol = Tolerance<TypeParam>();
    const TypeParam eps = TypeParam(1e-6);
    V point;

    // 0: clean crossing, strictly inside and strictly between the ends.
    EXPECT_EQ(this->Code(V(Real(0.5), Real(0.5), 1), V(Real(0.5), Real(0.5), -3), eps, &point), 0);
    ExpectNear(point, V(Real(0.5), Real(0.5), 0), tol);

    // 1: stops short of the plane, passes outside, or the triangle has no area.
    EXPECT_EQ(this->Code(V(Real(0.5), Real(0.5), 1), V(Real(0.5), Real(0.5), 2), eps), 1);
    EXPECT_EQ(this->Code(V(3, 3, 1), V(3, 3, -1), eps), 1);
    EXPECT_EQ(this->Code(V(3, 3, 0), V(3, 3, 1), eps), 1);
    V scratch;
    EXPECT_EQ(TEdge3<TypeParam>(V(0, 0, 1), V(0, 0, -1)).IntersectWith(V(-1, 0, 0), V(1, 0, 0), V(3, 0, 0), &scratch, eps), 1);

    // 2: through a corner, through an edge, or grazing within tolerance.
    EXPECT_EQ(this->Code(V(0, 0, 1), V(0, 0, -1), eps, &point), 2);
    ExpectNear(point, V(0, 0, 0), tol);
    EXPECT_EQ(this->Code(V(1, 0, 1), V(3, 0, -1), eps, &point), 2);
    ExpectNear(point, V(2, 0, 0), tol);
    EXPECT_EQ(this->Code(V(1, -1, 1), V(1, 1, -1), eps, &point), 2);
    ExpectNear(point, V(1, 0, 0), tol);
    EXPECT_EQ(this->Code(V(1, 1, 1), V(1, 1, -1), eps), 2);
    const V grazing(1, Real(2e-3), 0); // barycentric of p2 is 1e-3
    EXPECT_EQ(this->Code(grazing + V(0, 0, 1), grazing - V(0, 0, 1), TypeParam(2e-3)), 2);
    EXPECT_EQ(this->Code(grazing + V(0, 0, 1), grazing - V(0, 0, 1), TypeParam(5e-4)), 0);

    // 2: an end rests on the triangle.
    EXPECT_EQ(this->Code(V(Real(0.5), Real(0.5), 0), V(Real(0.5), Real(0.5), 1), eps, &point), 2);
    ExpectNear(point, V(Real(0.5), Real(0.5), 0), tol);
    EXPECT_EQ(this->Code(V(1, 1, 5), V(Real(0.5), Real(0.5), 0), eps), 2);

    // 3: lying in the plane across or inside the triangle; 1 beside it.
    // The contact is where the segment enters the triangle widened by the
    // tolerance.
    EXPECT_EQ(this->Code(V(-1, Real(0.5), 0), V(3, Real(0.5), 0), eps, &point), 3);
    ExpectNear(point, V(0, Real(0.5), 0), Real(1e-5));
    EXPECT_EQ(this->Code(V(Real(0.2), Real(0.2), 0), V(Real(0.4), Real(0.6), 0), eps), 3);
    EXPECT_EQ(this->Code(V(-1, 3, 0), V(3, 3, 0), eps), 1);
}

// Point-in-mesh parity counts code 0 only and discards a segment with any
// other contact, so on a closed or tiled surface a segment must give exactly
// the true number of clean crossings, or else report a contact: never a
// crossing counted twice at a shared edge or vertex, nor one lost there.
TYPED_TEST(IntersectionTest, SharedEdgesAndVerticesNeverDoubleOrLoseACrossing)
{
    typedef TypeParam Real;
    typedef TVector3<Real> V;
    std::vector<int> border;
    const std::vector<typename TestFixture::Triangle> grid = this->Grid(&border);
    Random<Real> random(19);

    // Interior vertices, points on interior edges, and points inside faces.
    std::vector<V> targets;
    const std::vector<V> vertices = this->GridVertices();
    for (int j = 1; j < 6; ++j)
        for (int i = 1; i < 6; ++i)
            targets.push_back(vertices[j * 7 + i]);
    for (size_t f = 0; f < grid.size(); ++f) {
        const V corners[3] = {grid[f].a, grid[f].b, grid[f].c};
        for (int k = 0; k < 3; ++k)
            if (!(border[f] & (1 << k)))
                for (int n = 0; n < 4; ++n)
                    targets.push_back(corners[k] + (corners[(k + 1) % 3] - corners[k]) * random.Value(0, 1));
    }
    const size_t onEdges = targets.size();
    for (size_t f = 0; f < grid.size(); ++f) {
        const Real u = random.Value(Real(0.05), Real(0.9));
        const Real v = random.Value(Real(0.05), Real(0.95) - u);
        targets.push_back(grid[f].a + (grid[f].b - grid[f].a) * u + (grid[f].c - grid[f].a) * v);
    }

    TVector3<Real> normal = (grid[0].b - grid[0].a) * (grid[0].c - grid[0].a);
    normal.Normalise();
    for (size_t i = 0; i < targets.size(); ++i) {
        // Oblique to the patch, so that the edge sides are rounded values.
        const V offset = normal + random.Vector() * Real(0.3);
        const V start = targets[i] + offset, end = targets[i] - offset * Real(2);
        for (Real tolerance : {Real(1e-6), Real(0)}) {
            const typename TestFixture::Tally tally = this->Count(grid, start, end, tolerance);
            EXPECT_LE(tally.clean, 1) << "target " << i << " tolerance " << tolerance;
            if (tally.contacts == 0) {
                EXPECT_EQ(tally.clean, 1) << "target " << i << " tolerance " << tolerance;
            }
            if (i < onEdges && tolerance > 0) {
                EXPECT_GT(tally.contacts, 0) << "target " << i;
            }
        }
    }

    // Through the closed octahedron: from the centre out, one crossing;
    // straight through from outside, two; through a corner, a contact.
    const std::vector<typename TestFixture::Triangle> solid = this->Octahedron();
    for (int i = 0; i < 300; ++i) {
        V direction = random.Vector();
        direction.Normalise();
        const V inside = random.Vector(Real(-0.2), Real(0.2));
        for (Real tolerance : {Real(1e-6), Real(0)}) {
            typename TestFixture::Tally out = this->Count(solid, inside, inside + direction * Real(4), tolerance);
            if (out.contacts == 0) {
                EXPECT_EQ(out.clean, 1);
            }
            typename TestFixture::Tally through =
                this->Count(solid, inside - direction * Real(4), inside + direction * Real(4), tolerance);
            if (through.contacts == 0) {
                EXPECT_EQ(through.clean, 2);
            }
        }
    }
    const V corners[] = {V(1, 0, 0), V(0, -1, 0), V(0, 0, 1)};
    for (const V& corner : corners) {
        const V start(Real(0.1), Real(-0.05), Real(0.02));
        EXPECT_GT(this->Count(solid, start, start + (corner - start) * Real(3), Real(1e-6)).contacts, 0);
    }
    const V edgeMidpoint = (V(1, 0, 0) + V(0, 1, 0)) * Real(0.5);
    EXPECT_GT(this->Count(solid, V(0, 0, 0), edgeMidpoint * Real(3), Real(1e-6)).contacts, 0);
}

} // namespace SarvettaTest
