#include "report/RemeshMeasures.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "core/MeshTopology.h"
#include "report/SurfaceDistance.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// The largest distance between a remesh and its input lies at a vertex of
// the one or where an edge of the one cuts across a fold of the other; the
// points spread by area back those up. On a small mesh the vertices and
// midpoints are most of the samples and 500 points by area settle the
// figure to its printed digits (2,000 gave the same distance on spheres of
// 48 to 2,000 faces); there the measure was a third of the process's own work.
// Up to 4,000 faces every face has its point, which a mesh of a few large
// folded faces needs (the pierced block's figure drops by a sixteenth with
// 500). Beyond, the vertices and midpoints (two samples a face) are dense
// enough on their own: without any points by area the figure of every
// stand-in over 4,000 faces and of bumpy spheres of 10,000 and 50,000 faces
// stays the same to its printed digits. An eighth of a point a face keeps
// some random coverage there (their figures are the same to the bit as with
// a point a face), with 29 % fewer samples.
constexpr std::size_t MinAreaSamples = 500;
constexpr std::size_t EveryFaceUpTo = 4000;
constexpr std::size_t FacesPerAreaSample = 8;
constexpr std::size_t MaxAreaSamples = 100000;
// Below this many faces a mesh's half takes about a millisecond: less than
// starting a thread for it costs on a busy machine.
constexpr std::size_t ParallelFaces = 4096;

bool IsLarge(const CMeshData& mesh) {
    return mesh.m_Triangles.size() >= ParallelFaces;
}

void AddSamples(const CMeshData& mesh, const CEdgeCensus& census, CRemeshMeasurer::CSide& side) {
    side.m_Samples = SampleSurface(mesh, RemeshAreaSamples(mesh.m_Triangles.size()));
    AddEdgeMidpoints(mesh, census, side.m_Samples);
}

CRemeshMeasurer::CSide PrepareSide(const CMeshData& mesh) {
    CRemeshMeasurer::CSide side;
    const CEdgeCensus census(mesh);
    side.m_Statistics = MeasureMesh(mesh, census);
    side.m_Tree = BuildTriangleTree(mesh, CTriangleTree::EShape::Morton);
    side.m_Links.Build(side.m_Tree.GetHierarchy());
    AddSamples(mesh, census, side);
    // The samples go in the distance pass's order here, on this thread
    // alone: for the input that is the thread of its own that runs beside
    // the remesh, which leaves a core idle for most of its time.
    side.m_Samples = InSpaceOrder(std::move(side.m_Samples), false);
    return side;
}

// Samples a distance task measures: enough that starting the task and its
// first walk from the root cost little beside it, few enough that the last
// task of the team ends soon after the others.
constexpr std::size_t SamplesPerTask = 4096;

// Measures `samples` against the other side's tree in tasks of the current
// team.
void SpawnDistanceTasks(const std::vector<Point>& samples, const CTriangleTree& tree, const TreeWalk::CLinks& links,
                        CFarthestSearch& search) {
    for (std::size_t first = 0; first < samples.size(); first += SamplesPerTask) {
        const std::size_t last = std::min(samples.size(), first + SamplesPerTask);
#pragma omp task default(none) firstprivate(first, last) shared(samples, tree, links, search)
        search.Measure(samples, first, last, tree, links);
    }
}

// The output's half and both distance passes for a large output, as tasks
// of one team: the output's index, then the input's samples against it; the
// output's census, figures and samples, then those samples against the
// input's index. Neither pass waits for the other, both share one bound,
// and a thread that finishes its preparation takes up whichever pass has
// parts left, so no core waits at a join between the steps.
double MeasureInParallel(const CMeshData& after, const CRemeshMeasurer::CSide& input, CRemeshMeasurer::CSide& output) {
    CFarthestSearch search;
#pragma omp parallel default(none) shared(after, input, output, search)
#pragma omp single
    {
#pragma omp task default(none) shared(after, input, output, search)
        {
            output.m_Tree = BuildTriangleTree(after, CTriangleTree::EShape::Morton);
            output.m_Links.Build(output.m_Tree.GetHierarchy());
            SpawnDistanceTasks(input.m_Samples, output.m_Tree, output.m_Links, search);
        }
#pragma omp task default(none) shared(after, input, output, search)
        {
            const CEdgeCensus census(after);
            output.m_Statistics = MeasureMesh(after, census);
            AddSamples(after, census, output);
            output.m_Samples = InSpaceOrder(std::move(output.m_Samples), false);
            SpawnDistanceTasks(output.m_Samples, input.m_Tree, input.m_Links, search);
        }
    }
    return search.GetDistance();
}

}  // namespace

std::size_t RemeshAreaSamples(std::size_t faces) {
    const std::size_t most = std::max(EveryFaceUpTo, faces / FacesPerAreaSample);
    return std::min(std::clamp(faces, MinAreaSamples, most), MaxAreaSamples);
}

CRemeshMeasurer::CRemeshMeasurer(const CMeshData& before)
    : m_Before(
          std::async(IsLarge(before) ? std::launch::async : std::launch::deferred, PrepareSide, std::cref(before))) { }

CRemeshMeasurer::~CRemeshMeasurer() {
    // A remesh that failed leaves the input's half running, and it must end
    // before the input it reads goes; a deferred half never started.
    if (m_Before.valid() && m_Before.wait_for(std::chrono::seconds(0)) != std::future_status::deferred)
        m_Before.wait();
}

CRemeshMeasures CRemeshMeasurer::Finish(const CMeshData& after) {
    CSide input = m_Before.get();
    CSide output;
    CRemeshMeasures result;
    if (input.m_Tree.IsEmpty()) {
        output = PrepareSide(after);
        result.m_Hausdorff = HUGE_VAL;
    } else if (IsLarge(after)) {
        result.m_Hausdorff = MeasureInParallel(after, input, output);
    } else {
        output = PrepareSide(after);
        // The table prints the larger of the two one-sided distances, so
        // the second pass starts from the first one's.
        if (!output.m_Tree.IsEmpty())
            result.m_Hausdorff = FarthestOrderedSampleDistance(
                output.m_Samples, input.m_Tree, FarthestOrderedSampleDistance(input.m_Samples, output.m_Tree, 0));
    }
    if (output.m_Tree.IsEmpty())
        result.m_Hausdorff = HUGE_VAL;
    result.m_Before = std::move(input.m_Statistics);
    result.m_After = std::move(output.m_Statistics);
    result.m_BeforeSamples = input.m_Samples.size();
    result.m_AfterSamples = output.m_Samples.size();
    return result;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
