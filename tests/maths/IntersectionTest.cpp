#include <array>
#include <vector>

#include "MathsTestSupport.h"

namespace SarvettaTest {

template <class Real>
class IntersectionTest : public ::testing::Test {
protected:
    typedef TVector3<Real> V;
    typedef std::array<V, 3> Triangle;

    // Right triangle with legs 2 in z = 0; n = (p1 - p0) x (p2 - p0) = (0, 0, 4),
    // so barycentrics at (x, y, 0) are (1 - x/2 - y/2, x/2, y/2).
    const Triangle m_Triangle = {V(0, 0, 0), V(2, 0, 0), V(0, 2, 0)};

    // Clean crossings and other contacts of a segment with a triangle set.
    static std::array<int, 2> Count(const std::vector<Triangle>& triangles, const V& start, const V& end,
                                    Real tolerance) {
        std::array<int, 2> tally = {0, 0};
        V point;
        for (const Triangle& t : triangles) {
            const int code = TEdge3<Real>(start, end).IntersectWith(t[0], t[1], t[2], &point, tolerance);
            if (code != 1)
                ++tally[code == 0 ? 0 : 1];
        }
        return tally;
    }

    // A 6 x 6 patch with irregular spacing and alternating diagonals, tilted
    // out of the coordinate planes so that no coordinate is a round number.
    // `interior` receives the patch's interior edges, and its interior
    // vertices as edges of length zero.
    static std::vector<Triangle> Patch(std::vector<std::array<V, 2>>* interior) {
        TMatrix3x3<Real> tilt = TQuaternion<Real>(Real(0.9), Real(0.3), Real(-0.2), Real(0.25)).ToMatrix();
        tilt.Transpose();
        const Real s[7] = {0, Real(0.3), Real(0.7), Real(1.3), Real(1.9), Real(2.2), Real(3.1)};
        auto at = [&](int i, int j) {
            V v(s[i], s[j], s[i] * s[j] / 20);
            v *= tilt;
            return v;
        };
        std::vector<Triangle> triangles;
        for (int j = 0; j < 6; ++j)
            for (int i = 0; i < 6; ++i) {
                const V a = at(i, j), b = at(i + 1, j), c = at(i, j + 1), d = at(i + 1, j + 1);
                const bool even = (i + j) % 2 == 0;
                triangles.push_back(even ? Triangle{a, b, d} : Triangle{a, b, c});
                triangles.push_back(even ? Triangle{a, d, c} : Triangle{b, d, c});
                interior->push_back(even ? std::array<V, 2>{a, d} : std::array<V, 2>{b, c});
                if (j > 0)
                    interior->push_back({a, b});
                if (i > 0)
                    interior->push_back({a, c});
                if (i > 0 && j > 0)
                    interior->push_back({a, a});
            }
        return triangles;
    }
};
TYPED_TEST_SUITE(IntersectionTest, RealTypes);

TYPED_TEST(IntersectionTest, LinesHitWithParameterAndSideOrLeaveOutputsAlone) {
    typedef TypeParam Real;
    typedef TVector3<Real> V;
    const V& p0 = this->m_Triangle[0];
    const V& p1 = this->m_Triangle[1];
    const V& p2 = this->m_Triangle[2];
    const Real h = Real(0.5), w = Real(-0.1);
    // side: -1 hit on the front (d . n < 0), +1 on the back, 0 a miss. At
    // x = -0.1 the barycentric of p1 is -0.05: inside the triangle widened by
    // 0.1, outside the one widened by 0.01.
    const struct {
        V origin, direction;
        Real tolerance;
        int side;
        Real t;
    } cases[] = {
        {V(h, h, 3), V(0, 0, -1), 0, -1, 3},  // from above
        {V(h, h, 3), V(0, 0, 2), 0, +1, Real(-1.5)},  // from below, behind the origin
        {V(0, 0, 1), V(1, 1, -2), 0, -1, h},  // oblique
        {V(w, 1, 1), V(0, 0, -1), Real(0.1), -1, 1}, {V(w, 1, 1), V(0, 0, -1), Real(0.01), 0, 0},
        {V(h, h, 1), V(1, 0, 0), 0, 0, 0},  // parallel above
        {V(-1, h, 0), V(1, 0, 0), 0, 0, 0},  // in the plane, across the triangle
        {V(3, 3, 1), V(0, 0, -1), 0, 0, 0},  // beside
    };
    for (const auto& c : cases) {
        const TLine3<Real> line(c.origin, c.direction);
        V point(7, 7, 7);
        Real t = 42;
        EXPECT_EQ(line.IntersectWithBFC(p0, p1, p2, &point, &t, c.tolerance), c.side < 0);
        EXPECT_EQ(line.IntersectWithFFC(p0, p1, p2, &point, &t, c.tolerance), c.side > 0);
        EXPECT_EQ(line.IntersectWith(p0, p1, p2, &point, &t, c.tolerance), c.side != 0);
        if (c.side != 0) {
            EXPECT_NEAR(t, c.t, Tolerance<Real>());
            ExpectNear(point, c.origin + c.direction * c.t, Tolerance<Real>());
        } else {
            EXPECT_EQ(point, V(7, 7, 7));
            EXPECT_EQ(t, Real(42));
        }
    }
}

TYPED_TEST(IntersectionTest, SegmentCodesClassifyEachKindOfContact) {
    typedef TypeParam Real;
    typedef TVector3<Real> V;
    const Real h = Real(0.5), eps = Real(1e-6);
    const V none(-9, -9, -9);
    const V grazing(1, Real(2e-3), 0);  // barycentric of p2 is 1e-3
    const struct {
        V start, end;
        Real tolerance;
        int code;
        V point;
    } cases[] = {
        {V(h, h, 1), V(h, h, -3), eps, 0, V(h, h, 0)},
        // Stops short of the plane, passes beside the triangle, ends in the
        // plane beside it.
        {V(h, h, 1), V(h, h, 2), eps, 1, none},
        {V(3, 3, 1), V(3, 3, -1), eps, 1, none},
        {V(3, 3, 0), V(3, 3, 1), eps, 1, none},
        // Through a corner, through an edge, grazing within tolerance only.
        {V(0, 0, 1), V(0, 0, -1), eps, 2, V(0, 0, 0)},
        {V(1, 0, 1), V(3, 0, -1), eps, 2, V(2, 0, 0)},
        {grazing + V(0, 0, 1), grazing - V(0, 0, 1), Real(2e-3), 2, grazing},
        {grazing + V(0, 0, 1), grazing - V(0, 0, 1), Real(5e-4), 0, grazing},
        // An end rests on the triangle. An end close to the plane far beside
        // the triangle does not stop a clean crossing of a nearly parallel
        // segment.
        {V(h, h, 0), V(h, h, 1), eps, 2, V(h, h, 0)},
        {V(-9, Real(0.3), Real(1.9e-5)), V(11, Real(0.3), Real(-2.1e-5)), eps, 0, V(h, Real(0.3), 0)},
        // In the plane: the contact is where the segment enters the triangle
        // widened by the tolerance; beside the triangle there is none.
        {V(-1, h, 0), V(3, h, 0), eps, 3, V(0, h, 0)},
        {V(Real(0.2), Real(0.2), 0), V(Real(0.4), Real(0.6), 0), eps, 3, none},
        {V(-1, 3, 0), V(3, 3, 0), eps, 1, none},
    };
    for (const auto& c : cases) {
        V point;
        EXPECT_EQ(
            TEdge3<Real>(c.start, c.end)
                .IntersectWith(this->m_Triangle[0], this->m_Triangle[1], this->m_Triangle[2], &point, c.tolerance),
            c.code);
        if (c.code != 1 && !(c.point == none))
            ExpectNear(point, c.point, Real(1e-5));
    }
    V point;
    EXPECT_EQ(TEdge3<Real>(V(0, 0, 1), V(0, 0, -1)).IntersectWith(V(-1, 0, 0), V(1, 0, 0), V(3, 0, 0), &point, eps), 1)
        << "a triangle without area is never touched";
}

// Point-in-mesh parity counts code 0 only and discards a segment with any
// other contact, so on a tiled surface a segment must give exactly one clean
// crossing, or else report a contact: never a crossing counted twice at a
// shared edge or vertex, nor one lost there.
TYPED_TEST(IntersectionTest, SharedEdgesAndVerticesNeverDoubleOrLoseACrossing) {
    typedef TypeParam Real;
    typedef TVector3<Real> V;
    std::vector<std::array<V, 2>> interior;
    const std::vector<std::array<V, 3>> patch = this->Patch(&interior);
    Random<Real> random(19);

    // Points on interior edges and interior vertices, then points inside faces.
    std::vector<V> targets;
    for (const auto& e : interior)
        for (Real u : {random.Value(0, 1), random.Value(0, 1)})
            targets.push_back(e[0] + (e[1] - e[0]) * u);
    const size_t onEdges = targets.size();
    for (const auto& t : patch) {
        const Real u = random.Value(Real(0.05), Real(0.9));
        const Real v = random.Value(Real(0.05), Real(0.95) - u);
        targets.push_back(t[0] + (t[1] - t[0]) * u + (t[2] - t[0]) * v);
    }
    V normal = (patch[0][1] - patch[0][0]) * (patch[0][2] - patch[0][0]);
    normal.Normalise();
    for (size_t i = 0; i < targets.size(); ++i) {
        // Oblique to the patch, so that the edge sides are rounded values.
        const V offset = normal + random.Vector() * Real(0.3);
        for (Real tolerance : {Real(1e-6), Real(0)}) {
            const std::array<int, 2> tally =
                this->Count(patch, targets[i] + offset, targets[i] - offset * 2, tolerance);
            EXPECT_TRUE(tally[0] == 1 || (tally[0] == 0 && tally[1] > 0))
                << "target " << i << " tolerance " << tolerance;
            EXPECT_TRUE(i >= onEdges || tolerance == 0 || tally[1] > 0) << "target " << i;
        }
    }
}

}  // namespace SarvettaTest
