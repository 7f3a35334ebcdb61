#pragma once

#include <atomic>
#include <cstddef>
#include <vector>

#include "core/MeshTopology.h"
#include "io/MeshData.h"
#include "quorvel/meshes/queries/CTriangleTree.h"
#include "quorvel/meshes/queries/TreeWalk_impl.h"

namespace Corvane::Pellix::Quorvel::Tool {

// The library's triangle tree over a mesh's triangles (all of them, in file
// order), shaped for many queries or, with EShape::Median or
// EShape::Morton, built sooner for one pass of them.
CTriangleTree BuildTriangleTree(const CMeshData& mesh,
                                CTriangleTree::EShape shape = CTriangleTree::EShape::SurfaceArea);

// Points on the surface: every vertex that a face uses and `count` points
// spread by area (each face gets its share rounded up or down, placed at
// random within it), from a fixed seed so that runs are repeatable.
std::vector<Point> SampleSurface(const CMeshData& mesh, std::size_t count);
// Appends the midpoint of every edge of the census.
void AddEdgeMidpoints(const CMeshData& mesh, const CEdgeCensus& census, std::vector<Point>& samples);

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

// The largest of the samples' distances to the tree's surface. A sample
// nearer than the largest so far is settled by the first triangle that
// shows it, without its nearest one. On all cores when there are many.
double FarthestSampleDistance(std::vector<Point> samples, const CTriangleTree& tree);
// The order FarthestSampleDistance takes samples in: along a Morton curve
// through their box when there are enough of them to share out between
// threads, so that consecutive ones meet the same parts of the tree; as
// they come otherwise. On all cores unless `allCores` is false (for a
// thread that works beside others).
std::vector<Point> InSpaceOrder(std::vector<Point> samples, bool allCores = true);
// The larger of `atLeast` and FarthestSampleDistance, for samples already
// in InSpaceOrder (so that the ordering can be done ahead, where a core is
// idle). Samples within `atLeast` are settled as cheaply as those within
// the largest distance so far, so the larger of the two one-sided distances
// comes sooner with the first one's as `atLeast` of the second.
double FarthestOrderedSampleDistance(const std::vector<Point>& ordered, const CTriangleTree& tree, double atLeast);

// The largest distance of samples from surfaces, found in parts that may run
// on several threads at once, over any number of sample lists and trees (the
// two sides of a sampled Hausdorff distance). The parts share one bound: a
// sample within the largest distance any part has found cannot raise it, and
// is settled by the first triangle within it. Whatever the parts and their
// order, the result is the larger of `atLeast` and the exact largest
// distance of the samples measured.
class CFarthestSearch {
public:
    explicit CFarthestSearch(double atLeast = 0);

    // Measures ordered[first, last) against `tree`, whose links `links` are
    // (TreeWalk::CLinks::Build of its hierarchy). Samples in InSpaceOrder go
    // fastest. Safe to call from several threads at once.
    void Measure(const std::vector<Point>& ordered, std::size_t first, std::size_t last, const CTriangleTree& tree,
                 const TreeWalk::CLinks& links);
    // Once every part is done.
    double GetDistance() const;

private:
    std::atomic<double> m_Worst;
};

// Every sample's exact distance to the other surface, on all cores.
COneSidedDistance MeasureOneSided(const std::vector<Point>& samples, const CTriangleTree& tree);
CSurfaceDistances MeasureSurfaceDistances(const CMeshData& a, const CMeshData& b, std::size_t samples);

// The larger of the two one-sided sampled distances between the surfaces:
// the furthest that a sample of one (its vertices, edge midpoints and
// `samples` points spread by area) lies from the other. Faster than
// MeasureSurfaceDistances, see FarthestSampleDistance. Infinite when either
// mesh has no triangles.
double SampledHausdorffDistance(const CMeshData& a, const CMeshData& b, std::size_t samples);

}  // namespace Corvane::Pellix::Quorvel::Tool
