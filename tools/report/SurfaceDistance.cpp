#include "report/SurfaceDistance.h"

#include <algorithm>
#include <cmath>
#include <random>


namespace Corvane::Pellix::Quorvel::Tool {

CTriangleTree BuildTriangleTree(const CMeshData& mesh)
{
    std::vector<double> corners(9 * mesh.m_Triangles.size());
    for (std::size_t f = 0; f < mesh.m_Triangles.size(); ++f)
        for (int k = 0; k < 3; ++k) {
            const Point& p = mesh.m_Positions[mesh.m_Triangles[f][k]];
            corners[9 * f + 3 * k] = p.x;
            corners[9 * f + 3 * k + 1] = p.y;
            corners[9 * f + 3 * k + 2] = p.z;
        }
    CTriangleTree tree;
    tree.Build(corners.data(), static_cast<std::uint32_t>(mesh.m_Triangles.size()));
    return tree;
}

std::vector<Point> SampleSurface(const CMeshData& mesh, std::size_t count)
{
    std::vector<Point> samples;
    std::vector<char> used(mesh.m_Positions.size(), 0);
    for (const Triangle& t : mesh.m_Triangles)
        used[t[0]] = used[t[1]] = used[t[2]] = 1;
    std::vector<std::uint32_t> usedVertices;
    for (std::uint32_t v = 0; v < used.size(); ++v)
        if (used[v])
            usedVertices.push_back(v);
    const std::size_t stride = std::max<std::size_t>(1, (usedVertices.size() + count - 1) / std::max<std::size_t>(count, 1));
    for (std::size_t i = 0; i < usedVertices.size(); i += stride)
        samples.push_back(mesh.m_Positions[usedVertices[i]]);

    std::vector<double> cumulative;
    cumulative.reserve(mesh.m_Triangles.size());
    double total = 0;
    for (const Triangle& t : mesh.m_Triangles) {
        const Point &a = mesh.m_Positions[t[0]], &b = mesh.m_Positions[t[1]], &c = mesh.m_Positions[t[2]];
        total += 0.5 * ((b - a) * (c - a)).GetLength();
        cumulative.push_back(total);
    }
    if (!(total > 0))
        return samples;
    std::mt19937_64 random(20240611);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (std::size_t i = 0; i < count; ++i) {
        const double pick = unit(random) * total;
        const std::size_t f = std::min<std::size_t>(
            std::upper_bound(cumulative.begin(), cumulative.end(), pick) - cumulative.begin(), cumulative.size() - 1);
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

namespace {

double OneSidedMax(const std::vector<Point>& samples, const CTriangleTree& tree)
{
    double worst = 0;
    const std::int64_t n = static_cast<std::int64_t>(samples.size());
    // A sample with a triangle within the thread's worst so far cannot raise
    // the maximum: the bounded search settles it without finding its
    // nearest triangle exactly. (A thread's copy of `worst` starts at the
    // lowest double, hence the clamp.)
#pragma omp parallel for schedule(dynamic, 1024) reduction(max : worst)
    for (std::int64_t i = 0; i < n; ++i) {
        CSurfacePoint nearest;
        const double bound = std::max(worst, 0.0);
        if (!tree.FindClosestPoint(samples[i], bound * bound, nearest))
            worst = std::max(worst, tree.GetDistance(samples[i]));
    }
    return worst;
}

}  // namespace

COneSidedDistance MeasureOneSided(const std::vector<Point>& samples, const CTriangleTree& tree)
{
    COneSidedDistance result;
    result.m_Samples = samples.size();
    if (samples.empty())
        return result;
    double worst = 0, sum = 0, squares = 0;
    const std::int64_t n = static_cast<std::int64_t>(samples.size());
#pragma omp parallel for schedule(dynamic, 1024) reduction(max : worst) reduction(+ : sum, squares)
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

double CSurfaceDistances::GetHausdorff() const
{
    return std::max(m_FromFirst.m_Max, m_FromSecond.m_Max);
}

double CSurfaceDistances::GetMean() const
{
    const double n = double(m_FromFirst.m_Samples + m_FromSecond.m_Samples);
    return n > 0 ? (m_FromFirst.m_Mean * m_FromFirst.m_Samples + m_FromSecond.m_Mean * m_FromSecond.m_Samples) / n : 0;
}

double CSurfaceDistances::GetRms() const
{
    const double n = double(m_FromFirst.m_Samples + m_FromSecond.m_Samples);
    if (!(n > 0))
        return 0;
    const double squares = m_FromFirst.m_Rms * m_FromFirst.m_Rms * m_FromFirst.m_Samples +
                           m_FromSecond.m_Rms * m_FromSecond.m_Rms * m_FromSecond.m_Samples;
    return std::sqrt(squares / n);
}

CSurfaceDistances MeasureSurfaceDistances(const CMeshData& a, const CMeshData& b, std::size_t samples)
{
    CSurfaceDistances result;
    const CTriangleTree treeA = BuildTriangleTree(a), treeB = BuildTriangleTree(b);
    result.m_FromFirst = MeasureOneSided(SampleSurface(a, samples), treeB);
    result.m_FromSecond = MeasureOneSided(SampleSurface(b, samples), treeA);
    return result;
}

double SampledHausdorffDistance(const CMeshData& a, const CMeshData& b, std::size_t samples)
{
    if (a.m_Triangles.empty() || b.m_Triangles.empty())
        return HUGE_VAL;
    const CTriangleTree treeA = BuildTriangleTree(a), treeB = BuildTriangleTree(b);
    const double ab = OneSidedMax(SampleSurface(a, samples), treeB);
    const double ba = OneSidedMax(SampleSurface(b, samples), treeA);
    return std::max(ab, ba);
}

}  // namespace Corvane::Pellix::Quorvel::Tool
