#pragma once

// Shared helpers of the maths tests: the two scalar types every test runs
// for, a comparison tolerance per type and a seeded source of values.
#include <gtest/gtest.h>

#include <random>

#include "quorvel/maths/Sarvetta.h"

namespace SarvettaTest {

using namespace Corvane::Pellix::Sarvetta;

typedef ::testing::Types<float, double> RealTypes;

// Loose enough for a chain of a few dozen float operations on values of
// order one, tight enough to catch a wrong sign or a swapped index.
template <class Real>
Real Tolerance() {
    return sizeof(Real) == sizeof(float) ? Real(2e-5) : Real(1e-12);
}

template <class Real>
class Random {
public:
    explicit Random(unsigned int seed) : m_Engine(seed) { }
    Real Value(Real low = -1, Real high = 1) { return std::uniform_real_distribution<Real>(low, high)(m_Engine); }
    TVector3<Real> Vector(Real low = -1, Real high = 1) {
        const Real x = Value(low, high), y = Value(low, high);
        return TVector3<Real>(x, y, Value(low, high));
    }

private:
    std::mt19937 m_Engine;
};

template <class Real>
void ExpectNear(const TVector3<Real>& actual, const TVector3<Real>& expected, Real tolerance) {
    EXPECT_NEAR(actual.x, expected.x, tolerance);
    EXPECT_NEAR(actual.y, expected.y, tolerance);
    EXPECT_NEAR(actual.z, expected.z, tolerance);
}

}  // namespace SarvettaTest
