#include "quorvel/meshes/editing/RemeshEstimate.h"

#include <cmath>

namespace Corvane::Pellix::Quorvel {

double EstimateRemeshFaceCount(const Sarvetta::TVector3<double>* positions, const std::uint32_t* corners,
                               std::size_t triangleCount, double target) {
    typedef Sarvetta::TVector3<double> Point;
    const auto finite = [](const Point& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); };
    const double equilateral = std::sqrt(3.0) / 4 * target * target;
    double faces = 0;
    for (std::size_t t = 0; t < triangleCount; ++t) {
        const Point &a = positions[corners[3 * t]], &b = positions[corners[3 * t + 1]],
                    &c = positions[corners[3 * t + 2]];
        if (!finite(a) || !finite(b) || !finite(c))
            continue;
        faces += 0.5 * ((b - a) * (c - a)).GetLength() / equilateral;
        faces += (a.DiffVectLen(b) + b.DiffVectLen(c) + c.DiffVectLen(a)) / target;
    }
    return faces;
}

}  // namespace Corvane::Pellix::Quorvel
