#include <cfloat>
#include <cmath>
#include <limits>
#include <type_traits>

#include "MathsTestSupport.h"

namespace SarvettaTest {

// Vertex lists relocate vectors bytewise and vertex records embed them.
static_assert(std::is_trivially_copyable<TVector3<float>>::value &&
                  std::is_trivially_copyable<TVector3<double>>::value && sizeof(TVector3<float>) == 3 * sizeof(float) &&
                  sizeof(TVector3<double>) == 3 * sizeof(double),
              "TVector3 is three plain reals");

template <class Real>
class VectorMatrixTest : public ::testing::Test { };
TYPED_TEST_SUITE(VectorMatrixTest, RealTypes);

template <class Real>
TVector3<Real> Column(const TMatrix3x3<Real>& m, int c) {
    return TVector3<Real>(m(0, c), m(1, c), m(2, c));
}

TYPED_TEST(VectorMatrixTest, OrderHandednessAndNormalisation) {
    typedef TypeParam Real;
    typedef TVector3<Real> V;
    // Lexicographic: x decides, then y, then z; equal vectors are neither.
    EXPECT_TRUE(V(0, 9, 9) < V(1, 0, 0) && V(1, 0, 9) < V(1, 1, 0) && V(1, 1, 1) > V(1, 1, 0));
    EXPECT_FALSE(V(1, 1, 1) < V(1, 1, 1) || V(1, 1, 1) > V(1, 1, 1));
    EXPECT_EQ(V(0, 0, 1) * V(1, 0, 0), V(0, 1, 0));  // the cross product is right-handed

    // Zero stays zero; squared lengths that underflow or overflow the type
    // still normalise.
    const Real tiny = std::numeric_limits<Real>::min(), huge = std::numeric_limits<Real>::max() / 2;
    const Real d = Real(std::sqrt(0.5));
    V vectors[] = {V(), V(3, 0, -4), V(tiny, tiny, 0), V(huge, 0, -huge)};
    const V expected[] = {V(), V(Real(0.6), 0, Real(-0.8)), V(d, d, 0), V(d, 0, -d)};
    for (int i = 0; i < 4; ++i) {
        vectors[i].Normalise();
        ExpectNear(vectors[i], expected[i], Tolerance<Real>());
    }
}

TYPED_TEST(VectorMatrixTest, MatricesActOnRowVectors) {
    typedef TypeParam Real;
    typedef TVector3<Real> V;
    // (1, 2, 3) * M: each component a column of M weighted by v.
    V v(1, 2, 3);
    v *= TMatrix3x3<Real>(1, 2, 3, 4, 5, 6, 7, 8, 10);
    EXPECT_EQ(v, V(30, 36, 45));

    // Homogeneous rows: translation lives in row 3, directions (w = 0)
    // ignore it, and the conversion to TVector3 does not divide by w.
    const TMatrix4x4<Real> translate(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 10, 20, 30, 1);
    TVector4<Real> position(1, 2, 3, 1), direction(1, 2, 3, 0);
    position *= translate;
    direction *= translate;
    EXPECT_TRUE(V(position) == V(11, 22, 33) && V(direction) == V(1, 2, 3) &&
                V(TVector4<Real>(2, 4, 6, 2)) == V(2, 4, 6));

    EXPECT_EQ(TMatrix4x4<Real>(2, -1, 0, 3, 1, 4, 2, -2, 0, 5, -3, 1, 6, 1, 2, 7).Determinant(), Real(-62));
}

TYPED_TEST(VectorMatrixTest, QuaternionMatrixRotatesColumnVectors) {
    typedef TypeParam Real;
    typedef TVector3<Real> V;
    const Real tol = Tolerance<Real>(), half = Real(std::sqrt(0.5));
    // 90 degrees about z: R * (1, 0, 0) = (0, 1, 0), i.e. column 0 of R.
    const TMatrix3x3<Real> r = TQuaternion<Real>(half, 0, 0, half).ToMatrix();
    ExpectNear(Column(r, 0), V(0, 1, 0), tol);
    ExpectNear(Column(r, 1), V(-1, 0, 0), tol);

    // Any unit quaternion gives an orthonormal matrix of determinant 1 that
    // keeps its axis fixed.
    Random<Real> random(3);
    for (int i = 0; i < 20; ++i) {
        V axis = random.Vector();
        axis.Normalise();
        const Real angle = random.Value(-3, 3), s = std::sin(angle / 2);
        const TMatrix3x3<Real> q =
            TQuaternion<Real>(std::cos(angle / 2), axis.x * s, axis.y * s, axis.z * s).ToMatrix();
        EXPECT_NEAR(Column(q, 0) % Column(q, 1), Real(0), tol);
        EXPECT_NEAR(Column(q, 0) % Column(q, 0), Real(1), tol);
        EXPECT_NEAR((Column(q, 0) * Column(q, 1)) % Column(q, 2), Real(1), tol);
        ExpectNear(V(Column(q, 0) % axis, Column(q, 1) % axis, Column(q, 2) % axis), axis, tol);
    }
}

TYPED_TEST(VectorMatrixTest, BoxTriangleAndPolygon) {
    typedef TypeParam Real;
    typedef TVector3<Real> V;
    // The empty box is inside out by the single-precision maximum in both
    // instantiations; containment is inclusive, widened by the tolerance.
    const Real largest = Real(FLT_MAX);
    TBox<Real> box;
    EXPECT_EQ(box.m_Max, V(-largest, -largest, -largest));
    box.Extend(V(1, 2, 3));
    box.Extend(V(-1, 5, 0));
    EXPECT_EQ(box.m_Min, V(-1, 2, 0));
    const V beyond(Real(1.5), Real(5.5), Real(3.5));
    EXPECT_TRUE(box.IsWithin(V(1, 5, 3), 0) && !box.IsWithin(beyond, 0) && box.IsWithin(beyond, Real(0.5)));
    TBox<Real> other(Real(10));
    other.Extend(V(0, 0, 7));
    box.Extend(other);
    EXPECT_EQ(box.m_Max, V(1, 5, 7));
    box.Reset();
    EXPECT_EQ(box.m_Min.x, largest);

    const V p(1, 2, 3), q(4, 1, 0), r(0, 5, 2), shift(7, -3, 2);
    EXPECT_EQ(TTriangle3<Real>(V(0, 0, 0), V(2, 0, 0), V(0, 3, 0)).GetArea(), Real(3));
    EXPECT_NEAR(TTriangle3<Real>(p, q, r).GetArea(), TTriangle3<Real>(r + shift, q + shift, p + shift).GetArea(),
                Tolerance<Real>() * 10);

    // Copies carry the open flag; assignment also contracts the point list.
    TPolygon<Real, V> square(0u, 10u);
    EXPECT_EQ(square.GetLength(), Real(0));
    for (const V& corner : {V(0, 0, 0), V(2, 0, 0), V(2, 3, 0), V(0, 3, 0)})
        square.Add(corner);
    EXPECT_TRUE(square.GetLength() == Real(10) && square.GetBoundingBox().m_Max == V(2, 3, 0));
    square.m_Closed = false;
    EXPECT_EQ((TPolygon<Real, V>(square).GetLength()), Real(7));
    TPolygon<Real, V> assigned(5u, 1000u);
    assigned = square;
    EXPECT_TRUE(!assigned.m_Closed && assigned.GetCapacity() == 4u);
}

}  // namespace SarvettaTest
