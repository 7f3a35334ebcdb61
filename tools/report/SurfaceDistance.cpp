#include "report/SurfaceDistance.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <random>
#include <utility>

#include "quorvel/meshes/queries/QueryOrder.h"
#include "quorvel/meshes/queries/TreeWalk_impl.h"

namespace Corvane::Pellix::Quorvel::Tool {

CTriangleTree BuildTriangleTree(const CMeshData& mesh, CTriangleTree::EShape shape) {
    std::vector<double> corners(9 * mesh.m_Triangles.size());
    for (std::size_t f = 0; f < mesh.m_Triangles.size(); ++f)
        for (int k = 0; k < 3; ++k) {
            const Point& p = mesh.m_Positions[mesh.m_Triangles[f][k]];
            corners[9 * f + 3 * k] = p.x;
            corners[9 * f + 3 * k + 1] = p.y;
            corners[9 * f + 3 * k + 2] = p.z;
        }
    CTriangleTree tree;
    tree.Build(corners.data(), static_cast<std::uint32_t>(mesh.m_Triangles.size()), shape);
    return tree;
}

std::vector<Point> SampleSurface(const CMeshData& mesh, std::size_t count) {
    std::vector<Point> samples;
    std::vector<char> used(mesh.m_Positions.size(), 0);
    for (const Triangle& t : mesh.m_Triangles)
        used[t[0]] = used[t[1]] = used[t[2]] = 1;
    std::size_t usedCount = 0;
    for (const char u : used)
        usedCount += static_cast<std::size_t>(u);
    samples.reserve(usedCount + count);
    for (std::size_t v = 0; v < used.size(); ++v)
        if (used[v])
            samples.push_back(mesh.m_Positions[v]);

    std::vector<double> cumulative(mesh.m_Triangles.size());
    double total = 0;
    for (std::size_t f = 0; f < mesh.m_Triangles.size(); ++f) {
        const Triangle& t = mesh.m_Triangles[f];
        const Point &a = mesh.m_Positions[t[0]], &b = mesh.m_Positions[t[1]], &c = mesh.m_Positions[t[2]];
        total += 0.5 * ((b - a) * (c - a)).GetLength();
        cumulative[f] = total;
    }
    if (!(total > 0) || count == 0)
        return samples;
    std::mt19937_64 random(20240611);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    // Systematic picks, one area step apart from a random start: each face
    // gets its share of the samples rounded up or down, where independent
    // picks leave gaps and clusters; and the picks arrive in ascending order,
    // meeting the faces in one pass over the running areas.
    const double step = total / static_cast<double>(count);
    const double start = unit(random);
    std::size_t f = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double pick = (static_cast<double>(i) + start) * step;
        while (f + 1 < cumulative.size() && !(pick < cumulative[f]))
            ++f;
        double u = unit(random), v = unit(random);
        if (u + v > 1) {
            u = 1 - u;
            v = 1 - v;
        }
        const Triangle& t = mesh.m_Triangles[f];
        const Point &a = mesh.m_Positions[t[0]], &b = mesh.m_Positions[t[1]], &c = mesh.m_Positions[t[2]];
        samples.push_back(a + (b - a) * u + (c - a) * v);
    }
    return samples;
}

void AddEdgeMidpoints(const CMeshData& mesh, const CEdgeCensus& census, std::vector<Point>& samples) {
    samples.reserve(samples.size() + census.m_Edges.size());
    for (const CMeshEdge& edge : census.m_Edges)
        samples.push_back((mesh.m_Positions[edge.m_A] + mesh.m_Positions[edge.m_B]) * 0.5);
}

namespace {

// Below this many samples one thread is done sooner than a team of them is
// started, and the tree of a mesh that small stays in cache in any order of
// the queries.
constexpr std::int64_t ParallelSamples = 16384;

// The samples along a Morton curve through their box: consecutive queries
// then walk the same upper nodes of the tree, which stay in cache. A grid of
// 1024 cells an axis leaves about one sample a cell on a surface; the 30-bit
// cell numbers are sorted by the library's radix sort of the batch queries,
// and samples in one cell keep their order.
std::vector<Point> MortonOrder(const std::vector<Point>& samples, bool allCores) {
    const std::int64_t n = static_cast<std::int64_t>(samples.size());
    double low[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, high[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
    // With allCores the box, the keys and the gather split evenly; the sort
    // takes the cores free at its level (one, inside a task of a team), and
    // its order is the same on any number.
#pragma omp parallel if (allCores)
    {
        double threadLow[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, threadHigh[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
#pragma omp for schedule(static) nowait
        for (std::int64_t i = 0; i < n; ++i)
            for (int k = 0; k < 3; ++k) {
                threadLow[k] = std::min(threadLow[k], samples[i][k]);
                threadHigh[k] = std::max(threadHigh[k], samples[i][k]);
            }
#pragma omp critical
        for (int k = 0; k < 3; ++k) {
            low[k] = std::min(low[k], threadLow[k]);
            high[k] = std::max(high[k], threadHigh[k]);
        }
    }
    // Cells a unit of length an axis. The order only speeds the pass up:
    // whatever it is, the pass finds the same distance.
    double scale[3];
    for (int k = 0; k < 3; ++k) {
        const double extent = high[k] - low[k];
        scale[k] = extent > 0 && std::isfinite(extent) ? 1023.0 / extent : 0.0;
    }
    std::vector<std::uint32_t> keys(samples.size()), order(samples.size());
#pragma omp parallel for schedule(static) if (allCores)
    for (std::int64_t i = 0; i < n; ++i)
        keys[i] = Quorvel::detail::MortonKey(samples[i], low, scale);
    Quorvel::detail::SortByKey(keys.data(), keys.size(), order.data());
    std::vector<Point> ordered(samples.size());
#pragma omp parallel for schedule(static) if (allCores)
    for (std::int64_t i = 0; i < n; ++i)
        ordered[i] = samples[order[i]];
    return ordered;
}

}  // namespace

std::vector<Point> InSpaceOrder(std::vector<Point> samples, bool allCores) {
    if (static_cast<std::int64_t>(samples.size()) >= ParallelSamples)
        return MortonOrder(samples, allCores);
    return samples;
}

double FarthestSampleDistance(std::vector<Point> samples, const CTriangleTree& tree) {
    return FarthestOrderedSampleDistance(InSpaceOrder(std::move(samples)), tree, 0);
}

namespace {

// Raises `worst` to the distance of sample p from the tree's surface if that
// is larger. A sample with a triangle within `worst` cannot raise it: the
// first such triangle settles it, without the nearest one. Neighbouring
// samples are usually settled by the same triangle or another of its leaf,
// so the search starts at the leaf of the last triangle found (`hint`, a
// position of the tree's order), tries that triangle first and then climbs.
void SettleSample(const Point& sample, const CTriangleTree& tree, const TreeWalk::CLinks& links, double& worst,
                  std::uint32_t& hint) {
    const CBoxHierarchy& hierarchy = tree.GetHierarchy();
    const double limit = worst * worst;
    const double p[3] = {sample.x, sample.y, sample.z};
    if (hint != CSurfacePoint::NoTriangle) {
        // The last triangle found settles most samples on its own.
        const std::uint32_t start = hint;
        {
            const double* t = tree.GetCorners(start);
            double point[3], weights[3];
            if (ClosestPointOnTriangle(p, t, t + 3, t + 6, point, weights) <= limit)
                return;
        }
        double reach = limit;
        bool found = false;
        auto leaf = [&](std::uint32_t first, std::uint32_t count, double& within) {
            for (std::uint32_t k = first; k < first + count; ++k) {
                if (k == start)
                    continue;
                const double* t = tree.GetCorners(k);
                double point[3], weights[3];
                if (ClosestPointOnTriangle(p, t, t + 3, t + 6, point, weights) <= limit) {
                    found = true;
                    hint = k;
                    // Below every box distance: the walk ends.
                    within = -1;
                    return;
                }
            }
        };
        // Up from the hint's leaf, into every sibling within reach, until a
        // triangle is found.
        TreeWalk::NearestFrom(hierarchy, links, start, p, reach, leaf);
        if (found)
            return;
    } else {
        std::uint32_t triangle = 0;
        if (tree.HasTriangleWithin(sample, limit, &triangle)) {
            hint = tree.GetPosition(triangle);
            return;
        }
    }
    const CSurfacePoint nearest = tree.FindClosestPoint(sample);
    worst = std::max(worst, std::sqrt(nearest.m_DistanceSquared));
    // No triangle at all is nearest when every one has a non-finite corner.
    hint = nearest.m_Triangle == CSurfacePoint::NoTriangle ? CSurfacePoint::NoTriangle
                                                           : tree.GetPosition(nearest.m_Triangle);
}

}  // namespace

double FarthestOrderedSampleDistance(const std::vector<Point>& samples, const CTriangleTree& tree, double atLeast) {
    const std::int64_t n = static_cast<std::int64_t>(samples.size());
    TreeWalk::CLinks links;
    links.Build(tree.GetHierarchy());
    double worst = std::max(atLeast, 0.0);
    // A thread's copy of `worst` starts at `atLeast`: samples within it are
    // settled as cheaply as those within the largest distance so far.
#pragma omp parallel reduction(max : worst) if (n >= ParallelSamples)
    {
        worst = std::max(atLeast, 0.0);
        std::uint32_t hint = CSurfacePoint::NoTriangle;
#pragma omp for schedule(dynamic, 1024)
        for (std::int64_t i = 0; i < n; ++i)
            SettleSample(samples[i], tree, links, worst, hint);
    }
    return worst;
}

CFarthestSearch::CFarthestSearch(double atLeast) : m_Worst(std::max(atLeast, 0.0)) { }

void CFarthestSearch::Measure(const std::vector<Point>& ordered, std::size_t first, std::size_t last,
                              const CTriangleTree& tree, const TreeWalk::CLinks& links) {
    std::uint32_t hint = CSurfacePoint::NoTriangle;
    double shared = m_Worst.load(std::memory_order_relaxed);
    for (std::size_t i = first; i < last; ++i) {
        // What another part found since is picked up every few samples: a
        // stale bound only costs time, never the figure.
        if ((i - first) % 64 == 63)
            shared = std::max(shared, m_Worst.load(std::memory_order_relaxed));
        double worst = shared;
        SettleSample(ordered[i], tree, links, worst, hint);
        if (worst > shared) {
            shared = worst;
            double seen = m_Worst.load(std::memory_order_relaxed);
            while (seen < worst && !m_Worst.compare_exchange_weak(seen, worst, std::memory_order_relaxed)) { }
        }
    }
}

double CFarthestSearch::GetDistance() const {
    return m_Worst.load(std::memory_order_relaxed);
}

COneSidedDistance MeasureOneSided(const std::vector<Point>& samples, const CTriangleTree& tree) {
    COneSidedDistance result;
    result.m_Samples = samples.size();
    if (samples.empty())
        return result;
    double worst = 0, sum = 0, squares = 0;
    const std::int64_t n = static_cast<std::int64_t>(samples.size());
#pragma omp parallel for schedule(dynamic, 1024) reduction(max : worst) reduction(+ : sum, squares) if (n >= ParallelSamples)
    for (std::int64_t i = 0; i < n; ++i) {
        const double squared = tree.FindClosestPoint(samples[i]).m_DistanceSquared;
        const double distance = std::sqrt(squared);
        worst = std::max(worst, distance);
        sum += distance;
        squares += squared;
    }
    result.m_Max = worst;
    result.m_Mean = sum / double(n);
    result.m_Rms = std::sqrt(squares / double(n));
    return result;
}

double CSurfaceDistances::GetHausdorff() const {
    return std::max(m_FromFirst.m_Max, m_FromSecond.m_Max);
}

double CSurfaceDistances::GetMean() const {
    const double n = double(m_FromFirst.m_Samples + m_FromSecond.m_Samples);
    return n > 0 ? (m_FromFirst.m_Mean * m_FromFirst.m_Samples + m_FromSecond.m_Mean * m_FromSecond.m_Samples) / n : 0;
}

double CSurfaceDistances::GetRms() const {
    const double n = double(m_FromFirst.m_Samples + m_FromSecond.m_Samples);
    if (!(n > 0))
        return 0;
    const double squares = m_FromFirst.m_Rms * m_FromFirst.m_Rms * m_FromFirst.m_Samples +
                           m_FromSecond.m_Rms * m_FromSecond.m_Rms * m_FromSecond.m_Samples;
    return std::sqrt(squares / n);
}

CSurfaceDistances MeasureSurfaceDistances(const CMeshData& a, const CMeshData& b, std::size_t samples) {
    CSurfaceDistances result;
    const CTriangleTree treeA = BuildTriangleTree(a), treeB = BuildTriangleTree(b);
    result.m_FromFirst = MeasureOneSided(SampleSurface(a, samples), treeB);
    result.m_FromSecond = MeasureOneSided(SampleSurface(b, samples), treeA);
    return result;
}

double SampledHausdorffDistance(const CMeshData& a, const CMeshData& b, std::size_t samples) {
    if (a.m_Triangles.empty() || b.m_Triangles.empty())
        return HUGE_VAL;
    const CTriangleTree treeA = BuildTriangleTree(a, CTriangleTree::EShape::Morton),
                        treeB = BuildTriangleTree(b, CTriangleTree::EShape::Morton);
    std::vector<Point> fromA = SampleSurface(a, samples), fromB = SampleSurface(b, samples);
    AddEdgeMidpoints(a, CEdgeCensus(a), fromA);
    AddEdgeMidpoints(b, CEdgeCensus(b), fromB);
    return FarthestOrderedSampleDistance(InSpaceOrder(std::move(fromB)), treeA,
                                         FarthestSampleDistance(std::move(fromA), treeB));
}

}  // namespace Corvane::Pellix::Quorvel::Tool
