#pragma once

#include <cstddef>
#include <cstdint>

#include "quorvel/maths/TVector3.h"

namespace Corvane::Pellix::Quorvel {

/// Faces of an ideal remesh of the given triangles at edge length `target`:
/// the area covered by equilateral triangles of that side, plus one face for
/// every target length along every side of every triangle (long, thin
/// triangles are cut along their sides whatever their area). An upper
/// estimate of what either remesh makes; the shape-preserving remesh stops
/// splitting at four times it, plus four per input face, plus 1000.
/// Triangles with a non-finite corner count nothing.
/// \pre `corners` holds three vertex indices per triangle, each below the
///      number of `positions`; target is positive and finite.
/// \return the estimate, not rounded: 0 without triangles, infinite when the
///         coordinates overflow.
double EstimateRemeshFaceCount(const Sarvetta::TVector3<double>* positions, const std::uint32_t* corners,
                               std::size_t triangleCount, double target);

}  // namespace Corvane::Pellix::Quorvel
