#ifndef CORVANE_PELLIX_SARVETTA_TRIANGLESIDES_IMPL_H
#define CORVANE_PELLIX_SARVETTA_TRIANGLESIDES_IMPL_H

#include "quorvel/maths/TVector3.h"

#include <cmath>

namespace Corvane::Pellix::Sarvetta {
namespace detail {

// Line and segment tests run in double for both instantiations: a float
// triangle seen from a distant ray origin loses too many digits in the edge
// sides for a barycentric tolerance of 1e-6 to mean anything.
typedef TVector3<double> Wide;

template <class Real>
inline Wide Widen(const TVector3<Real>& v) {
    return Wide(static_cast<double>(v.x), static_cast<double>(v.y), static_cast<double>(v.z));
}

template <class Real>
inline TVector3<Real> Narrow(const Wide& v) {
    return TVector3<Real>(static_cast<Real>(v.x), static_cast<Real>(v.y), static_cast<Real>(v.z));
}

// Side of the line (origin, direction) relative to the directed edge a -> b:
// direction . ((a - origin) x (b - origin)), the permuted inner product of
// the two lines' Pluecker coordinates. Summed around a triangle the sides
// give direction . n, and each side divided by that sum is the barycentric
// coordinate of the opposite corner at the line's crossing.
//
// Two guarantees make crossings of a tiled surface countable:
// - the value is computed from the lexicographically smaller corner first
//   and negated for the reverse edge, so the two triangles sharing an edge
//   see exactly opposite values whatever the compiler does to the
//   arithmetic;
// - a value within the rounding error bound of the computation is returned
//   as exactly 0, so every non-zero side has the sign of the exact value for
//   this origin and direction. A line near a shared vertex would otherwise
//   see the spokes' sides with random signs and be claimed by two faces of
//   the fan, or by none. A zero side makes a triangle's contact at best a
//   boundary contact, never a clean crossing.
inline double EdgeSide(const Wide& origin, const Wide& direction, const Wide& a, const Wide& b) {
    if (b < a)
        return -EdgeSide(origin, direction, b, a);
    const Wide u = a - origin;
    const Wide v = b - origin;
    const double value = direction % (u * v);
    const double permanent = std::fabs(direction.x) * (std::fabs(u.y * v.z) + std::fabs(u.z * v.y)) +
                             std::fabs(direction.y) * (std::fabs(u.z * v.x) + std::fabs(u.x * v.z)) +
                             std::fabs(direction.z) * (std::fabs(u.x * v.y) + std::fabs(u.y * v.x));
    // The two differences, six products, three differences and the final
    // sums contribute under 8 units of rounding relative to the permanent.
    if (std::fabs(value) <= 16.0 * 2.220446049250313e-16 * permanent)
        return 0.0;
    return value;
}

inline double Norm1(const Wide& v) {
    return std::fabs(v.x) + std::fabs(v.y) + std::fabs(v.z);
}

// Bound on the magnitude of the three edge sides (1-norms bound the
// lengths and spare the square roots); a sum of sides below a small
// multiple of machine precision times this is rounding noise: the line is
// parallel to the plane as far as the arithmetic can tell.
inline double SideNoise(const Wide& origin, const Wide& direction, const Wide& p0, const Wide& p1, const Wide& p2) {
    const double r0 = Norm1(p0 - origin);
    const double r1 = Norm1(p1 - origin);
    const double r2 = Norm1(p2 - origin);
    return 64.0 * 2.220446049250313e-16 * Norm1(direction) * (r0 * r1 + r1 * r2 + r2 * r0);
}

// Barycentric coordinates of the projection of `point` onto the plane of the
// triangle; `n` is the triangle's (p1 - p0) x (p2 - p0), `nn` its squared
// length, which must not be zero.
inline void Barycentric(const Wide& point, const Wide& p0, const Wide& p1, const Wide& p2, const Wide& n, double nn,
                        double b[3]) {
    b[0] = (n % ((p2 - p1) * (point - p1))) / nn;
    b[1] = (n % ((p0 - p2) * (point - p2))) / nn;
    b[2] = (n % ((p1 - p0) * (point - p0))) / nn;
}

inline bool AllAtLeast(const double b[3], double bound) {
    return b[0] >= bound && b[1] >= bound && b[2] >= bound;
}

}  // namespace detail
}  // namespace Corvane::Pellix::Sarvetta

#endif
