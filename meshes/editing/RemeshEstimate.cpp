#include "quorvel/meshes/editing/RemeshEstimate.h"

#include <cmath>
#include <vector>

namespace Corvane::Pellix::Quorvel {

namespace {

// Below this many triangles the terms are summed as they are measured.
constexpr std::int64_t ParallelTriangles = 8192;

}  // namespace

double EstimateRemeshFaceCount(const Sarvetta::TVector3<double>* positions, const std::uint32_t* corners,
                               std::size_t triangleCount, double target) {
    typedef Sarvetta::TVector3<double> Point;
    const auto finite = [](const Point& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); };
    const double equilateral = std::sqrt(3.0) / 4 * target * target;
    // A triangle's two terms, its area's and its sides'; zero for a
    // triangle that counts nothing, which adds nothing either way.
    const auto terms = [&](std::size_t t, double& area, double& sides) {
        const Point &a = positions[corners[3 * t]], &b = positions[corners[3 * t + 1]],
                    &c = positions[corners[3 * t + 2]];
        area = sides = 0;
        if (!finite(a) || !finite(b) || !finite(c))
            return false;
        area = 0.5 * ((b - a) * (c - a)).GetLength() / equilateral;
        sides = (a.DiffVectLen(b) + b.DiffVectLen(c) + c.DiffVectLen(a)) / target;
        return true;
    };
    double faces = 0;
    const std::int64_t count = static_cast<std::int64_t>(triangleCount);
    if (count < ParallelTriangles) {
        for (std::size_t t = 0; t < triangleCount; ++t) {
            double area, sides;
            if (terms(t, area, sides)) {
                faces += area;
                faces += sides;
            }
        }
        return faces;
    }
    // Measured on all threads, summed on one in triangle order: the same
    // sum, to the last bit, as the loop above gives.
    std::vector<double> term(2 * triangleCount);
#pragma omp parallel for schedule(static)
    for (std::int64_t t = 0; t < count; ++t)
        terms(static_cast<std::size_t>(t), term[2 * t], term[2 * t + 1]);
    for (std::size_t t = 0; t < triangleCount; ++t) {
        faces += term[2 * t];
        faces += term[2 * t + 1];
    }
    return faces;
}

}  // namespace Corvane::Pellix::Quorvel
