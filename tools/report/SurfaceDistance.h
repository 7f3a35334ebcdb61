#pragma once

#include <cstddef>
#include <vector>

#include "io/MeshData.h"
#include "quorvel/meshes/queries/CTriangleTree.h"

namespace Corvane::Pellix::Quorvel::Tool {

// The library's triangle tree over a mesh's triangles (all of them, in file
// order).
CTriangleTree BuildTriangleTree(const CMeshData& mesh);

// Points on the surface: every vertex that a face uses (at most `count` of
// them, evenly picked) and `count` points spread by area, from a fixed seed
// so that runs are repeatable.
std::vector<Point> SampleSurface(const CMeshData& mesh, std::size_t count);

// How far the samples of one surface lie from the other surface.
class COneSidedDistance {
public:
    double m_Max = 0;
    double m_Mean = 0;
    double m_Rms = 0;
    std::size_t m_Samples = 0;
};

class CSurfaceDistances {
public:
    // Samples of the first mesh measured against the second, and back.
    COneSidedDistance m_FromFirst;
    COneSidedDistance m_FromSecond;

    // The sampled Hausdorff distance: the larger of the two maxima.
    double GetHausdorff() const;
    // Over the samples of both sides together.
    double GetMean() const;
    double GetRms() const;
};

// Every sample's exact distance to the other surface, on all cores.
COneSidedDistance MeasureOneSided(const std::vector<Point>& samples, const CTriangleTree& tree);
CSurfaceDistances MeasureSurfaceDistances(const CMeshData& a, const CMeshData& b, std::size_t samples);

// The larger of the two one-sided sampled distances between the surfaces:
// the furthest that a sample of one lies from the other. Faster than
// MeasureSurfaceDistances: a sample nearer than the largest distance so far
// is settled by the first triangle that shows it. Infinite when either mesh
// has no triangles.
double SampledHausdorffDistance(const CMeshData& a, const CMeshData& b, std::size_t samples);

}  // namespace Corvane::Pellix::Quorvel::Tool
