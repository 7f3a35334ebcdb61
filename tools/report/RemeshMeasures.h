#pragma once

#include <cstddef>
#include <future>
#include <vector>

#include "io/MeshData.h"
#include "quorvel/meshes/queries/CTriangleTree.h"
#include "quorvel/meshes/queries/TreeWalk_impl.h"
#include "report/MeshStatistics.h"

namespace Corvane::Pellix::Quorvel::Tool {

// What the remesh table measures: both meshes' figures and the sampled
// Hausdorff distance between them (infinite when either has no faces), and
// how many points of each surface it measured.
class CRemeshMeasures {
public:
    CMeshStatistics m_Before;
    CMeshStatistics m_After;
    double m_Hausdorff = 0;
    std::size_t m_BeforeSamples = 0;
    std::size_t m_AfterSamples = 0;
};

// Points spread by area on a surface of `faces` faces for the remesh table:
// one a face, at least 500 and at most 4,000 or an eighth of the faces,
// whichever is more, and never more than 100,000. Every vertex and every
// edge midpoint are measured besides them.
std::size_t RemeshAreaSamples(std::size_t faces);

// Measures a remesh in two halves. What depends on the input alone (its
// figures, its spatial index, its samples) is prepared from construction on,
// on a thread of its own when the input is large, so that it overlaps the
// remesh; Finish adds the output's half and measures the distances, on all
// cores when the output is large.
class CRemeshMeasurer {
public:
    // `before` must outlive the measurer and stay unchanged while it lives.
    explicit CRemeshMeasurer(const CMeshData& before);
    ~CRemeshMeasurer();
    CRemeshMeasurer(const CRemeshMeasurer&) = delete;
    CRemeshMeasurer& operator=(const CRemeshMeasurer&) = delete;

    // Called once.
    CRemeshMeasures Finish(const CMeshData& after);

    // One mesh's half of the measures.
    class CSide {
    public:
        CMeshStatistics m_Statistics;
        CTriangleTree m_Tree;
        // Built from m_Tree, for the distance pass's climbs.
        TreeWalk::CLinks m_Links;
        // In the order the distance pass takes them (InSpaceOrder).
        std::vector<Point> m_Samples;
    };

private:
    std::future<CSide> m_Before;
};

}  // namespace Corvane::Pellix::Quorvel::Tool
