#include <cfloat>
#include <cmath>
#include <type_traits>

#include "MathsTestSupport.h"

namespace SarvettaTest {

// Vertex lists relocate vectors bytewise and vertex records embed them.
static_assert(std::is_trivially_copyable<TVector3<float>>::value, "TVector3 must be trivially copyable");
static_assert(std::is_trivially_copyable<TVector3<double>>::value, "TVector3 must be trivially copyable");
static_assert(sizeof(TVector3<float>) == 3 * sizeof(float), "TVector3 holds exactly three floats");
static_assert(sizeof(TVector3<double>) == 3 * sizeof(double), "TVector3 holds exactly three doubles");

template <class Real>
class VectorMatrixTest : public ::testing::Test {
};
TYPED_TEST_SUITE(VectorMatrixTest, RealTypes);

TYPED_TEST(VectorMatrixTest, ProductsAgreeWithTheirAlgebraicIdentities)
{
    typedef TypeParam Real;
    const Real tol = Tolerance<Real>();
    const TVector3<Real> ex(1, 0, 0), ey(0, 1, 0), ez(0, 0, 1);
    EXPECT_EQ(ex * ey, ez);
    EXPECT_EQ(ey * ez, ex);
    EXPECT_EQ(ez * ex, ey);

    Random<Real> random(7);
    for (int i = 0; i < 50; ++i) {
        const TVector3<Real> a = random.Vector(), b = random.Vector(), v = random.Vector();
        const TVector3<Real> cross = a * b;
        EXPECT_EQ(cross, -(b * a));
        EXPECT_NEAR(cross % a, Real(0), tol);
        EXPECT_NEAR(cross % b, Real(0), tol);
        // Lagrange: |a x b|^2 + (a . b)^2 = |a|^2 |b|^2.
        EXPECT_NEAR(cross % cross + (a % b) * (a % b), (a % a) * (b % b), tol);

        // A row vector times the outer product a b^T is (v . a) b.
        const TMatrix3x3<Real> outer = a ^ b;
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c)
                EXPECT_EQ(outer(r, c), a[r] * b[c]);
        TVector3<Real> transformed = v;
        transformed *= outer;
        ExpectNear(transformed, b * (v % a), tol);
    }
}

TYPED_TEST(VectorMatrixTest, ArithmeticComparisonAndLength)
{
    typedef TypeParam Real;
    const TVector3<Real> a(1, 2, 3), b(4, -5, 6);
    EXPECT_EQ(a + b, TVector3<Real>(5, -3, 9));
    EXPECT_EQ(a - b, TVector3<Real>(-3, 7, -3));
    EXPECT_EQ(a * Real(2), TVector3<Real>(2, 4, 6));
    EXPECT_EQ(Real(2) * a, TVector3<Real>(2, 4, 6));
    EXPECT_EQ(b / Real(2), TVector3<Real>(2, Real(-2.5), 3));
    EXPECT_EQ(a % b, Real(12));
    TVector3<Real> c = a;
    c += b;
    c -= a;
    EXPECT_EQ(c, b);
    c *= Real(3);
    c /= Real(3);
    EXPECT_EQ(c, b);
    c[1] = 7;
    EXPECT_EQ(c.y, Real(7));
    EXPECT_EQ(TVector3<Real>(), TVector3<Real>(0, 0, 0));

    // Lexicographic: x decides, then y, then z; equal vectors are neither.
    EXPECT_TRUE(TVector3<Real>(0, 9, 9) < TVector3<Real>(1, 0, 0));
    EXPECT_TRUE(TVector3<Real>(1, 0, 9) < TVector3<Real>(1, 1, 0));
    EXPECT_TRUE(TVector3<Real>(1, 1, 0) < TVector3<Real>(1, 1, 1));
    EXPECT_TRUE(TVector3<Real>(1, 1, 1) > TVector3<Real>(1, 1, 0));
    EXPECT_FALSE(a < a);
    EXPECT_FALSE(a > a);

    EXPECT_EQ(TVector3<Real>(3, 4, 12).GetLength(), Real(13));
    EXPECT_EQ(a.DiffVectLenSquared(a + TVector3<Real>(2, 3, 6)), Real(49));
    EXPECT_EQ(a.DiffVectLen(a + TVector3<Real>(2, 3, 6)), Real(7));
}

TYPED_TEST(VectorMatrixTest, NormaliseGivesUnitLengthAndKeepsZero)
{
    typedef TypeParam Real;
    TVector3<Real> zero;
    zero.Normalise();
    EXPECT_EQ(zero, TVector3<Real>(0, 0, 0));

    TVector3<Real> v(3, 0, -4);
    v.Normalise();
    ExpectNear(v, TVector3<Real>(Real(0.6), 0, Real(-0.8)), Tolerance<Real>());

    // Squared lengths that underflow or overflow the type.
    const Real tiny = std::numeric_limits<Real>::min();
    const Real huge = std::numeric_limits<Real>::max() / 2;
    const Real diagonal = Real(std::sqrt(0.5));
    TVector3<Real> small(tiny, tiny, 0), large(huge, 0, -huge);
    small.Normalise();
    large.Normalise();
    ExpectNear(small, TVector3<Real>(diagonal, diagonal, 0), Tolerance<Real>());
    ExpectNear(large, TVector3<Real>(diagonal, 0, -diagonal), Tolerance<Real>());
}

TYPED_TEST(VectorMatrixTest, MatricesActOnRowVectors)
{
    typedef TypeParam Real;
    const TMatrix3x3<Real> identity;
    const TMatrix3x3<Real> m(1, 2, 3, 4, 5, 6, 7, 8, 10);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(identity(r, c), Real(r == c ? 1 : 0));

    // (1, 2, 3) * M, each component a column of M weighted by v.
    TVector3<Real> v(1, 2, 3);
    v *= m;
    EXPECT_EQ(v, TVector3<Real>(30, 36, 45));

    TMatrix3x3<Real> t = m;
    t.Transpose();
    EXPECT_EQ(t(0, 1), Real(4));
    EXPECT_EQ(t(2, 1), Real(6));
    EXPECT_EQ(t(2, 2), Real(10));
    t += m;
    EXPECT_EQ(t(0, 1), Real(6));
    EXPECT_EQ(t(1, 1), Real(10));
    t.ToNull();
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(t.m_Data[r][c], Real(0));

    // Homogeneous rows: translation lives in row 3, directions (w = 0)
    // ignore it, and the conversion to TVector3 does not divide by w.
    const TMatrix4x4<Real> translate(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 10, 20, 30, 1);
    TVector4<Real> position(1, 2, 3, 1), direction(1, 2, 3, 0);
    position *= translate;
    direction *= translate;
    EXPECT_EQ(TVector3<Real>(position), TVector3<Real>(11, 22, 33));
    EXPECT_EQ(TVector3<Real>(direction), TVector3<Real>(1, 2, 3));
    EXPECT_EQ(TVector3<Real>(TVector4<Real>(2, 4, 6, 2)), TVector3<Real>(2, 4, 6));
    const TMatrix4x4<Real> identity4;
    EXPECT_EQ(identity4(3, 3), Real(1));
    EXPECT_EQ(identity4(3, 0), Real(0));
}

TYPED_TEST(VectorMatrixTest, DeterminantMatchesCofactorsAndTetrahedronVolume)
{
    typedef TypeParam Real;
    const TMatrix4x4<Real> m(2, -1, 0, 3, 1, 4, 2, -2, 0, 5, -3, 1, 6, 1, 2, 7);
    EXPECT_EQ(m.Determinant(), Real(-62));
    EXPECT_EQ(TMatrix4x4<Real>().Determinant(), Real(1));

    // Rows (p, 1) of a tetrahedron: the determinant is (a-d) . ((b-d) x (c-d)).
    Random<Real> random(11);
    for (int i = 0; i < 20; ++i) {
        const TVector3<Real> a = random.Vector(), b = random.Vector(), c = random.Vector(), d = random.Vector();
        const TMatrix4x4<Real> rows(a.x, a.y, a.z, 1, b.x, b.y, b.z, 1, c.x, c.y, c.z, 1, d.x, d.y, d.z, 1);
        EXPECT_NEAR(rows.Determinant(), (a - d) % ((b - d) * (c - d)), Tolerance<Real>());
    }
}

TYPED_TEST(VectorMatrixTest, QuaternionMatrixRotatesColumnVectors)
{
    typedef TypeParam Real;
    const Real tol = Tolerance<Real>();
    const Real half = Real(std::sqrt(0.5));
    // 90 degrees about z: R * (1, 0, 0) = (0, 1, 0), i.e. column 0 of R.
    const TMatrix3x3<Real> r = TQuaternion<Real>(half, 0, 0, half).ToMatrix();
    ExpectNear(TVector3<Real>(r(0, 0), r(1, 0), r(2, 0)), TVector3<Real>(0, 1, 0), tol);
    ExpectNear(TVector3<Real>(r(0, 1), r(1, 1), r(2, 1)), TVector3<Real>(-1, 0, 0), tol);

    // A row vector times the transpose is the same rotation.
    TMatrix3x3<Real> rowForm = r;
    rowForm.Transpose();
    TVector3<Real> v(1, 0, 0);
    v *= rowForm;
    ExpectNear(v, TVector3<Real>(0, 1, 0), tol);

    // Any unit quaternion gives an orthonormal matrix of determinant 1, and
    // the default quaternion gives the identity.
    Random<Real> random(3);
    for (int i = 0; i < 20; ++i) {
        TVector3<Real> axis = random.Vector();
        axis.Normalise();
        const Real angle = random.Value(-3, 3);
        const Real s = std::sin(angle / 2);
        const TMatrix3x3<Real> q = TQuaternion<Real>(std::cos(angle / 2), axis.x * s, axis.y * s, axis.z * s).ToMatrix();
        const TVector3<Real> c0(q(0, 0), q(1, 0), q(2, 0)), c1(q(0, 1), q(1, 1), q(2, 1)), c2(q(0, 2), q(1, 2), q(2, 2));
        EXPECT_NEAR(c0 % c1, Real(0), tol);
        EXPECT_NEAR(c0 % c0, Real(1), tol);
        EXPECT_NEAR((c0 * c1) % c2, Real(1), tol);
        // The axis is fixed by the rotation.
        TVector3<Real> fixed = axis;
        TMatrix3x3<Real> qt = q;
        qt.Transpose();
        fixed *= qt;
        ExpectNear(fixed, axis, tol);
    }
    const TMatrix3x3<Real> identity = TQuaternion<Real>().ToMatrix();
    EXPECT_EQ(identity(0, 0), Real(1));
    EXPECT_EQ(identity(0, 1), Real(0));
}

TYPED_TEST(VectorMatrixTest, BoxStartsEmptyGrowsAndContainsInclusively)
{
    typedef TypeParam Real;
    const Real largest = Real(FLT_MAX);
    TBox<Real> box(largest);
    EXPECT_EQ(box.m_Min, TVector3<Real>(largest, largest, largest));
    EXPECT_EQ(box.m_Max, TVector3<Real>(-largest, -largest, -largest));
    EXPECT_FALSE(box.IsWithin(TVector3<Real>(0, 0, 0), 0));

    box.Extend(TVector3<Real>(1, 2, 3));
    EXPECT_EQ(box.m_Min, TVector3<Real>(1, 2, 3));
    EXPECT_EQ(box.m_Max, TVector3<Real>(1, 2, 3));
    box.Extend(TVector3<Real>(-1, 5, 0));
    EXPECT_EQ(box.m_Min, TVector3<Real>(-1, 2, 0));
    EXPECT_EQ(box.m_Max, TVector3<Real>(1, 5, 3));

    EXPECT_TRUE(box.IsWithin(TVector3<Real>(-1, 2, 0), 0));
    EXPECT_TRUE(box.IsWithin(TVector3<Real>(1, 5, 3), 0));
    EXPECT_FALSE(box.IsWithin(TVector3<Real>(Real(1.5), 3, 1), 0));
    EXPECT_TRUE(box.IsWithin(TVector3<Real>(Real(1.5), 3, 1), Real(0.5)));

    TBox<Real> other(Real(10));
    other.Extend(TVector3<Real>(0, 0, 7));
    box.Extend(other);
    EXPECT_EQ(box.m_Min, TVector3<Real>(-1, 0, 0));
    EXPECT_EQ(box.m_Max, TVector3<Real>(1, 5, 7));

    // Reset uses the single-precision maximum in both instantiations.
    box.Reset();
    EXPECT_EQ(box.m_Min.x, Real(3.4028234663852886e38));
    EXPECT_EQ(box.m_Max.z, -Real(3.4028234663852886e38));
    EXPECT_EQ(TBox<Real>().m_Min, box.m_Min);
}

TYPED_TEST(VectorMatrixTest, TriangleAreaIsHalfTheCrossProduct)
{
    typedef TypeParam Real;
    EXPECT_EQ(TTriangle3<Real>(TVector3<Real>(0, 0, 0), TVector3<Real>(2, 0, 0), TVector3<Real>(0, 3, 0)).GetArea(),
              Real(3));
    // Area is invariant under translation and corner order; zero when
    // degenerate.
    const TVector3<Real> p(1, 2, 3), q(4, 1, 0), r(0, 5, 2), shift(7, -3, 2);
    EXPECT_NEAR(TTriangle3<Real>(p, q, r).GetArea(), TTriangle3<Real>(r + shift, q + shift, p + shift).GetArea(),
                Tolerance<Real>() * 10);
    EXPECT_EQ(TTriangle3<Real>(p, p * Real(2), p * Real(3)).GetArea(), Real(0));
}

} // namespace SarvettaTest
