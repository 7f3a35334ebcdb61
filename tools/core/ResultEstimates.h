#pragma once

#include "io/MeshData.h"

namespace Corvane::Pellix::Quorvel::Tool {

// How large a result will be, estimated from the input before any work, so
// that a result that would not fit in memory is refused up front.

// Longest-edge bisection until no edge is longer than `maxLength`.
double EstimateSubdivisionFaces(const CMeshData& mesh, double maxLength);
// The infilled point set at `spacing`, the vertices included.
double EstimateInfillPoints(const CMeshData& mesh, double spacing);

}  // namespace Corvane::Pellix::Quorvel::Tool
