#pragma once

#include <string>

#include "report/MeshStatistics.h"

namespace Corvane::Pellix::Quorvel::Tool {

// An SVG page with two histograms, before and after a remesh: edge lengths
// (relative to the target) and interior vertex valences. Written through a
// temporary file like every other output.
void WriteSvgReport(const std::string& fileName, const CMeshStatistics& before, const CMeshStatistics& after,
                    double targetLength, const std::string& title);

}  // namespace Corvane::Pellix::Quorvel::Tool
