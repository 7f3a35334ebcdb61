#ifndef CORVANE_PELLIX_SARVETTA_TVECTOR3_H
#define CORVANE_PELLIX_SARVETTA_TVECTOR3_H

#include <cmath>

#include "quorvel/maths/Limits.h"

namespace Corvane::Pellix::Sarvetta {

template <class Real>
class TMatrix3x3;

/// A point or direction in three dimensions. The three components are the
/// whole state: lists relocate vectors with a byte copy and vertex records
/// embed them, so the class must stay trivially copyable and exactly three
/// Reals wide (no virtual functions, no further members).
template <class Real>
class TVector3 {
public:
    Real x;
    Real y;
    Real z;

    /// The zero vector.
    TVector3() : x(0), y(0), z(0) { }
    TVector3(Real xValue, Real yValue, Real zValue) : x(xValue), y(yValue), z(zValue) { }

    /// Component-wise sum, difference and negation.
    ///@{
    TVector3 operator+(const TVector3& other) const { return TVector3(x + other.x, y + other.y, z + other.z); }
    TVector3 operator-(const TVector3& other) const { return TVector3(x - other.x, y - other.y, z - other.z); }
    TVector3 operator-() const { return TVector3(-x, -y, -z); }
    ///@}

    /// Cross product.
    TVector3 operator*(const TVector3& other) const {
        return TVector3(y * other.z - z * other.y, z * other.x - x * other.z, x * other.y - y * other.x);
    }
    /// Dot product.
    Real operator%(const TVector3& other) const { return x * other.x + y * other.y + z * other.z; }
    /// Outer product: entry [i][j] is this[i] * other[j].
    TMatrix3x3<Real> operator^(const TVector3& other) const {
        return TMatrix3x3<Real>(x * other.x, x * other.y, x * other.z, y * other.x, y * other.y, y * other.z,
                                z * other.x, z * other.y, z * other.z);
    }

    /// Scaling by a scalar, on either side, and division by one.
    ///@{
    TVector3 operator*(Real factor) const { return TVector3(x * factor, y * factor, z * factor); }
    TVector3 operator/(Real divisor) const { return TVector3(x / divisor, y / divisor, z / divisor); }
    friend TVector3 operator*(Real factor, const TVector3& v) { return v * factor; }
    ///@}

    /// In-place sum, difference, scaling and division.
    ///@{
    TVector3& operator+=(const TVector3& other) {
        x += other.x;
        y += other.y;
        z += other.z;
        return *this;
    }
    TVector3& operator-=(const TVector3& other) {
        x -= other.x;
        y -= other.y;
        z -= other.z;
        return *this;
    }
    TVector3& operator*=(Real factor) {
        x *= factor;
        y *= factor;
        z *= factor;
        return *this;
    }
    TVector3& operator/=(Real divisor) {
        x /= divisor;
        y /= divisor;
        z /= divisor;
        return *this;
    }
    ///@}
    /// Row vector times matrix: v'[j] = sum over i of v[i] * M[i][j].
    TVector3& operator*=(const TMatrix3x3<Real>& m) {
        const Real nx = x * m.m_Data[0][0] + y * m.m_Data[1][0] + z * m.m_Data[2][0];
        const Real ny = x * m.m_Data[0][1] + y * m.m_Data[1][1] + z * m.m_Data[2][1];
        const Real nz = x * m.m_Data[0][2] + y * m.m_Data[1][2] + z * m.m_Data[2][2];
        x = nx;
        y = ny;
        z = nz;
        return *this;
    }

    /// Exact comparison of all three components.
    ///@{
    bool operator==(const TVector3& other) const { return x == other.x && y == other.y && z == other.z; }
    bool operator!=(const TVector3& other) const { return !(*this == other); }
    ///@}
    /// Lexicographic on (x, y, z): the order in which vertex lists are sorted
    /// and binary-searched.
    ///@{
    bool operator<(const TVector3& other) const {
        if (x != other.x)
            return x < other.x;
        if (y != other.y)
            return y < other.y;
        return z < other.z;
    }
    bool operator>(const TVector3& other) const { return other < *this; }
    ///@}

    /// Component 0 (x), 1 (y) or 2 (z); any other index gives z.
    ///@{
    Real& operator[](int index) { return index == 0 ? x : (index == 1 ? y : z); }
    const Real& operator[](int index) const { return index == 0 ? x : (index == 1 ? y : z); }
    ///@}

    /// Squared distance to `other`.
    Real DiffVectLenSquared(const TVector3& other) const {
        const Real dx = x - other.x;
        const Real dy = y - other.y;
        const Real dz = z - other.z;
        return dx * dx + dy * dy + dz * dz;
    }
    /// Distance to `other`.
    Real DiffVectLen(const TVector3& other) const { return std::sqrt(DiffVectLenSquared(other)); }
    /// Length of the vector.
    Real GetLength() const { return std::sqrt(x * x + y * y + z * z); }

    /// Scales to unit length, also when the squared length under- or
    /// overflows. A zero vector stays zero (no NaN), so callers may normalise
    /// accumulated normals of isolated vertices without a check; an infinite
    /// component leaves the vector as it is.
    void Normalise() {
        const Real squared = x * x + y * y + z * z;
        if (squared > 0 && std::isfinite(squared)) {
            const Real length = std::sqrt(squared);
            x /= length;
            y /= length;
            z /= length;
            return;
        }
        // The square underflowed or overflowed although a component is
        // non-zero: rescale by the largest magnitude first.
        const Real largest = std::fmax(std::fabs(x), std::fmax(std::fabs(y), std::fabs(z)));
        if (!(largest > 0) || !std::isfinite(largest))
            return;
        x /= largest;
        y /= largest;
        z /= largest;
        const Real length = std::sqrt(x * x + y * y + z * z);
        x /= length;
        y /= length;
        z /= length;
    }
};

}  // namespace Corvane::Pellix::Sarvetta

// The outer product and the matrix product need the complete matrix type.
#include "quorvel/maths/TMatrix3x3.h"

namespace Corvane::Pellix::Sarvetta {
extern template class TVector3<float>;
extern template class TVector3<double>;
}  // namespace Corvane::Pellix::Sarvetta

#endif
