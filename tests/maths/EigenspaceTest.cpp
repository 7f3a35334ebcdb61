#include <cmath>
#include <limits>

#include "MathsTestSupport.h"

namespace SarvettaTest {

template <class Real>
class EigenspaceTest : public ::testing::Test {
protected:
    // Checks unit, mutually orthogonal vectors with M v = lambda v, and
    // that sum of lambda v v^T rebuilds M.
    static void ExpectDecomposes(const TMatrix3x3<Real>& m)
    {
        const Real tol = Tolerance<Real>() * 10;
        Real values[3];
        TVector3<Real> vectors[3];
        ASSERT_TRUE(m.Eigenspace(values, vectors));

        TMatrix3x3<Real> rebuilt;
        rebuilt.ToNull();
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(vectors[i].GetLength(), Real(1), tol);
            EXPECT_NEAR(vectors[i] % vectors[(i + 1) % 3], Real(0), tol);
            // M is symmetric, so v M = (M v)^T.
            TVector3<Real> image = vectors[i];
            image *= m;
            ExpectNear(image, vectors[i] * values[i], tol);
            TMatrix3x3<Real> term = vectors[i] ^ vectors[i];
            for (int r = 0; r < 3; ++r)
                for (int c = 0; c < 3; ++c)
                    term(r, c) *= values[i];
            rebuilt += term;
        }
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c)
                EXPECT_NEAR(rebuilt(r, c), m(r, c), tol);
    }
};
TYPED_TEST_SUITE(EigenspaceTest, RealTypes);

TYPED_TEST(EigenspaceTest, RandomSymmetricMatricesAreRebuiltFromTheirEigenpairs)
{
    typedef TypeParam Real;
    Random<Real> random(5);
    for (int i = 0; i < 40; ++i) {
        const Real a = random.Value(), b = random.Value(), c = random.Value();
        const Real d = random.Value(), e = random.Value(), f = random.Value();
        this->ExpectDecomposes(TMatrix3x3<Real>(a, b, c, b, d, e, c, e, f));
    }
    // A scatter matrix as the principal-axes measure builds it.
    TMatrix3x3<Real> scatter;
    scatter.ToNull();
    for (int i = 0; i < 100; ++i) {
        const TVector3<Real> p(random.Value() * 5, random.Value() * 2, random.Value() / 2);
        scatter += p ^ p;
    }
    this->ExpectDecomposes(scatter);
}

TYPED_TEST(EigenspaceTest, RepeatedEigenvaluesSucceed)
{
    typedef TypeParam Real;
    this->ExpectDecomposes(TMatrix3x3<Real>());
    TMatrix3x3<Real> zero;
    zero.ToNull();
    this->ExpectDecomposes(zero);

    const TMatrix3x3<Real> diagonal(2, 0, 0, 0, 2, 0, 0, 0, 5);
    this->ExpectDecomposes(diagonal);
    Real values[3];
    TVector3<Real> vectors[3];
    ASSERT_TRUE(diagonal.Eigenspace(values, vectors));
    int fives = 0;
    for (int i = 0; i < 3; ++i)
        if (values[i] == Real(5)) {
            ++fives;
            EXPECT_NEAR(std::fabs(vectors[i].z), Real(1), Tolerance<Real>());
        }
    EXPECT_EQ(fives, 1);

    // diag(2, 2, 5) turned off the axes: Q D Q^T with Q from a quaternion.
    const Real half = Real(0.5);
    TMatrix3x3<Real> q = TQuaternion<Real>(half, half, half, half).ToMatrix();
    TMatrix3x3<Real> qt = q;
    qt.Transpose();
    this->ExpectDecomposes(q * diagonal * qt);
}

TYPED_TEST(EigenspaceTest, NonFiniteEntriesFail)
{
    typedef TypeParam Real;
    Real values[3];
    TVector3<Real> vectors[3];
    TMatrix3x3<Real> m;
    m(1, 2) = std::numeric_limits<Real>::quiet_NaN();
    m(2, 1) = m(1, 2);
    EXPECT_FALSE(m.Eigenspace(values, vectors));
    m = TMatrix3x3<Real>();
    m(0, 0) = std::numeric_limits<Real>::infinity();
    EXPECT_FALSE(m.Eigenspace(values, vectors));
}

TYPED_TEST(EigenspaceTest, ExtremeMagnitudesDoNotOverflow)
{
    typedef TypeParam Real;
    const Real big = std::numeric_limits<Real>::max() / 4;
    const TMatrix3x3<Real> m(big, big / 2, 0, big / 2, big, 0, 0, 0, big / 3);
    Real values[3];
    TVector3<Real> vectors[3];
    ASSERT_TRUE(m.Eigenspace(values, vectors));
    Real sum = 0;
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(std::isfinite(values[i]));
        sum += values[i] / big;
    }
    // The trace is preserved.
    EXPECT_NEAR(sum, Real(1) + Real(1) + Real(1) / 3, Tolerance<Real>());
}

} // namespace SarvettaTest
