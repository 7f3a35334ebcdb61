#include <cmath>
#include <limits>

#include "MathsTestSupport.h"

namespace SarvettaTest {

// Unit, mutually orthogonal vectors with M v = lambda v, and the sum of
// lambda v v^T rebuilds M.
template <class Real>
void ExpectDecomposes(const TMatrix3x3<Real>& m) {
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
        rebuilt += (vectors[i] * values[i]) ^ vectors[i];
    }
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR(rebuilt(r, c), m(r, c), tol);
}

template <class Real>
class EigenspaceTest : public ::testing::Test { };
TYPED_TEST_SUITE(EigenspaceTest, RealTypes);

TYPED_TEST(EigenspaceTest, SymmetricMatricesAreRebuiltFromTheirEigenpairs) {
    typedef TypeParam Real;
    Random<Real> random(5);
    for (int i = 0; i < 40; ++i) {
        const Real a = random.Value(), b = random.Value(), c = random.Value();
        const Real d = random.Value(), e = random.Value(), f = random.Value();
        ExpectDecomposes(TMatrix3x3<Real>(a, b, c, b, d, e, c, e, f));
    }
    // Repeated eigenvalues: zero, and diag(2, 2, 5) both on and off the axes
    // (Q D Q^T with Q from a quaternion).
    TMatrix3x3<Real> zero;
    zero.ToNull();
    ExpectDecomposes(zero);
    const TMatrix3x3<Real> diagonal(2, 0, 0, 0, 2, 0, 0, 0, 5);
    ExpectDecomposes(diagonal);
    const TMatrix3x3<Real> q = TQuaternion<Real>(Real(0.5), Real(0.5), Real(0.5), Real(0.5)).ToMatrix();
    TMatrix3x3<Real> qt = q;
    qt.Transpose();
    ExpectDecomposes(q * diagonal * qt);

    // Huge entries do not overflow: the eigenvalues 3/2, 1/2 and 1/3 (times
    // the entry) come out, as their sum and product show. Non-finite ones fail.
    const Real big = std::numeric_limits<Real>::max() / 4;
    Real values[3];
    TVector3<Real> vectors[3];
    ASSERT_TRUE(TMatrix3x3<Real>(big, big / 2, 0, big / 2, big, 0, 0, 0, big / 3).Eigenspace(values, vectors));
    EXPECT_NEAR(values[0] / big + values[1] / big + values[2] / big, Real(7) / 3, Tolerance<Real>());
    EXPECT_NEAR(values[0] / big * (values[1] / big) * (values[2] / big), Real(0.25), Tolerance<Real>());
    TMatrix3x3<Real> nan;
    nan(1, 2) = nan(2, 1) = std::numeric_limits<Real>::quiet_NaN();
    EXPECT_FALSE(nan.Eigenspace(values, vectors));
}

}  // namespace SarvettaTest
