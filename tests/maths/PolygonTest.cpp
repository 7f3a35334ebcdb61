#include "MathsTestSupport.h"

namespace SarvettaTest {

template <class Real>
class PolygonTest : public ::testing::Test {
};
TYPED_TEST_SUITE(PolygonTest, RealTypes);

TYPED_TEST(PolygonTest, PointsAndOwnFieldsTravelWithCopies)
{
    typedef TypeParam Real;
    typedef TVector3<Real> V;
    TPolygon<Real, V> square(0u, 10u);
    EXPECT_EQ(square.GetCount(), 0u);
    EXPECT_EQ(square.GetGrowSize(), 10u);
    EXPECT_TRUE(square.m_Closed);
    EXPECT_EQ(square.GetLength(), Real(0));
    EXPECT_FALSE(square.GetBoundingBox().IsWithin(V(0, 0, 0), 0));

    square.Add(V(0, 0, 0));
    square.Add(V(2, 0, 0));
    square.Add(V(2, 3, 0));
    square.Add(V(0, 3, 0));
    EXPECT_EQ(square.GetLength(), Real(10));
    const TBox<Real> box = square.GetBoundingBox();
    EXPECT_EQ(box.m_Min, V(0, 0, 0));
    EXPECT_EQ(box.m_Max, V(2, 3, 0));

    square.m_Closed = false;
    TPolygon<Real, V> copy(square);
    EXPECT_EQ(copy.GetCount(), 4u);
    EXPECT_FALSE(copy.m_Closed);
    EXPECT_EQ(copy.GetLength(), Real(7));

    TPolygon<Real, V> assigned(5u, 1000u);
    assigned.Add(V(9, 9, 9));
    assigned = square;
    EXPECT_EQ(assigned.GetCount(), 4u);
    EXPECT_EQ(assigned.GetCapacity(), 4u);
    EXPECT_FALSE(assigned.m_Closed);
    EXPECT_EQ(assigned[2], V(2, 3, 0));

    // The base list is the polygon's point storage, usable as such.
    Corvane::Pellix::Lintorra::TList<V>& points = assigned;
    points.Add(V(1, 1, 1));
    EXPECT_EQ(assigned.GetLast(), V(1, 1, 1));
}

} // namespace SarvettaTest
