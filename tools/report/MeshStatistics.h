#pragma once

#include <cstdint>
#include <vector>

#include "core/MeshTopology.h"
#include "io/MeshData.h"

namespace Corvane::Pellix::Quorvel::Tool {

// The quality figures of one mesh that the remesh table compares. Edge
// figures count every edge once; the mean is the plain mean.
class CMeshStatistics {
public:
    std::uint64_t m_Vertices = 0;
    std::uint64_t m_Faces = 0;
    double m_MinEdge = 0;
    double m_MeanEdge = 0;
    double m_MaxEdge = 0;
    // Standard deviation of the edge lengths over their mean.
    double m_EdgeVariation = 0;
    // Share of interior vertices (used, not on an open edge) with six
    // neighbours, the valence of a regular triangulation.
    double m_RegularShare = 0;
    // Corner angles in degrees.
    double m_MinAngle = 0;
    double m_MaxAngle = 0;
    double m_Area = 0;
    // Signed: positive for a closed surface wound outwards.
    double m_Volume = 0;
    std::uint64_t m_OpenEdges = 0;
    std::uint64_t m_NonManifoldEdges = 0;

    // Raw material for the histograms of the report.
    std::vector<double> m_EdgeLengths;
    // m_InteriorValences[k]: interior vertices with k neighbours.
    std::vector<std::uint64_t> m_InteriorValences;
};

CMeshStatistics MeasureMesh(const CMeshData& mesh);
// The same with the mesh's edges already counted.
CMeshStatistics MeasureMesh(const CMeshData& mesh, const CEdgeCensus& census);

// The change of the signed volume relative to the input's; NaN where the
// input encloses no volume to speak of (a flat sheet, whose signed volume is
// rounding noise that would turn any change into an absurd percentage).
double VolumeChange(const CMeshStatistics& before, const CMeshStatistics& after);

}  // namespace Corvane::Pellix::Quorvel::Tool
