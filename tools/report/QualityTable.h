#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

#include "report/MeshStatistics.h"

namespace Corvane::Pellix::Quorvel::Tool {

// What the remesh table shows besides the two meshes' own figures.
class CRemeshOutcome {
public:
    double m_TargetLength = 0;
    // Sampled Hausdorff distance between input and output over the input's
    // bounding-box diagonal.
    double m_RelativeDistance = 0;
    // Points of each surface measured for that distance.
    std::size_t m_InputSamples = 0;
    std::size_t m_OutputSamples = 0;
    double m_Seconds = 0;
};

// The rows both tables share: counts, edge lengths, valence, angles, area
// and volume of two meshes side by side, under the given column headings.
void PrintMeshRows(std::FILE* out, const CMeshStatistics& first, const CMeshStatistics& second, const char* firstName,
                   const char* secondName);

// A row of the tables: a name and one value per mesh.
void PrintRow(std::FILE* out, const char* name, const std::string& first, const std::string& second);

// Shares in percent with three significant digits ("n/a" when not finite).
std::string FormatSmallPercent(double share);

// The before/after table of a remesh, one figure per row, aligned for a
// terminal.
void PrintQualityTable(std::FILE* out, const CMeshStatistics& before, const CMeshStatistics& after,
                       const CRemeshOutcome& outcome);

}  // namespace Corvane::Pellix::Quorvel::Tool
