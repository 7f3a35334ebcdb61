#include "report/SurfaceDistance.h"

#include <algorithm>
#include <cmath>
#include <random>


namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// Triangles per leaf of the tree.
constexpr std::uint32_t LeafSize = 4;

}  // namespace

double PointTriangleDistance(const Point& p, const Point& a, const Point& b, const Point& c)
{
    // Closest point by Voronoi regions of the triangle's corners, edges and
    // face, in the barycentric form that needs no division until the end.
    const Point ab = b - a, ac = c - a, ap = p - a;
    const double d1 = ab % ap, d2 = ac % ap;
    if (d1 <= 0 && d2 <= 0)
        return p.DiffVectLen(a);
    const Point bp = p - b;
    const double d3 = ab % bp, d4 = ac % bp;
    if (d3 >= 0 && d4 <= d3)
        return p.DiffVectLen(b);
    const double vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0) {
        const double v = d1 / (d1 - d3);
        return p.DiffVectLen(a + ab * v);
    }
    const Point cp = p - c;
    const double d5 = ab % cp, d6 = ac % cp;
    if (d6 >= 0 && d5 <= d6)
        return p.DiffVectLen(c);
    const double vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0) {
        const double w = d2 / (d2 - d6);
        return p.DiffVectLen(a + ac * w);
    }
    const double va = d3 * d6 - d5 * d4;
    if (va <= 0 && (d4 - d3) >= 0 && (d5 - d6) >= 0) {
        const double w = (d4 - d3) / ((d4 - d3) + (d5 - d6));
        return p.DiffVectLen(b + (c - b) * w);
    }
    const double sum = va + vb + vc;
    if (!(sum > 0)) {
        // A degenerate triangle: its nearest point lies on one of its sides.
        auto segment = [&](const Point& s, const Point& e) {
            const Point d = e - s;
            const double len2 = d % d;
            const double t = len2 > 0 ? std::clamp(((p - s) % d) / len2, 0.0, 1.0) : 0.0;
            return p.DiffVectLen(s + d * t);
        };
        return std::min({segment(a, b), segment(b, c), segment(c, a)});
    }
    const double v = vb / sum, w = vc / sum;
    return p.DiffVectLen(a + ab * v + ac * w);
}

CTriangleTree::CTriangleTree(const CMeshData& mesh) : m_Mesh(mesh)
{
    const std::uint32_t count = static_cast<std::uint32_t>(mesh.m_Triangles.size());
    if (count == 0)
        return;
    std::vector<Point> centres(count);
    for (std::uint32_t f = 0; f < count; ++f) {
        const Triangle& t = mesh.m_Triangles[f];
        centres[f] = (mesh.m_Positions[t[0]] + mesh.m_Positions[t[1]] + mesh.m_Positions[t[2]]) / 3.0;
    }
    m_Order.resize(count);
    for (std::uint32_t f = 0; f < count; ++f)
        m_Order[f] = f;
    m_Nodes.reserve(2 * (count / LeafSize + 1));
    m_Nodes.emplace_back();
    Build(0, 0, count, centres);
}

void CTriangleTree::Build(std::uint32_t node, std::uint32_t begin, std::uint32_t end, const std::vector<Point>& centres)
{
    Point low(HUGE_VAL, HUGE_VAL, HUGE_VAL), high(-HUGE_VAL, -HUGE_VAL, -HUGE_VAL);
    Point centreLow = low, centreHigh = high;
    for (std::uint32_t i = begin; i < end; ++i) {
        const Triangle& t = m_Mesh.m_Triangles[m_Order[i]];
        for (std::uint32_t v : t)
            for (int k = 0; k < 3; ++k) {
                low[k] = std::min(low[k], m_Mesh.m_Positions[v][k]);
                high[k] = std::max(high[k], m_Mesh.m_Positions[v][k]);
            }
        for (int k = 0; k < 3; ++k) {
            centreLow[k] = std::min(centreLow[k], centres[m_Order[i]][k]);
            centreHigh[k] = std::max(centreHigh[k], centres[m_Order[i]][k]);
        }
    }
    m_Nodes[node].m_Min = low;
    m_Nodes[node].m_Max = high;
    const Point spread = centreHigh - centreLow;
    if (end - begin <= LeafSize || !(std::max({spread.x, spread.y, spread.z}) > 0)) {
        m_Nodes[node].m_First = begin;
        m_Nodes[node].m_Count = end - begin;
        return;
    }
    const int axis = spread.x >= spread.y && spread.x >= spread.z ? 0 : (spread.y >= spread.z ? 1 : 2);
    const std::uint32_t middle = begin + (end - begin) / 2;
    std::nth_element(m_Order.begin() + begin, m_Order.begin() + middle, m_Order.begin() + end,
                     [&](std::uint32_t a, std::uint32_t b) { return centres[a][axis] < centres[b][axis]; });
    const std::uint32_t children = static_cast<std::uint32_t>(m_Nodes.size());
    m_Nodes[node].m_First = children;
    m_Nodes.emplace_back();
    m_Nodes.emplace_back();
    Build(children, begin, middle, centres);
    Build(children + 1, middle, end, centres);
}

namespace {

double BoxDistanceSquared(const Point& p, const Point& low, const Point& high)
{
    double sum = 0;
    for (int k = 0; k < 3; ++k) {
        const double below = low[k] - p[k], above = p[k] - high[k];
        const double outside = std::max({below, above, 0.0});
        sum += outside * outside;
    }
    return sum;
}

}  // namespace

double CTriangleTree::Distance(const Point& p, double enough) const
{
    if (m_Nodes.empty())
        return HUGE_VAL;
    double best = HUGE_VAL, bestSquared = HUGE_VAL;
    // Depth is about log2 of the triangle count; 128 entries is plenty.
    std::uint32_t stack[128];
    int top = 0;
    stack[top++] = 0;
    while (top > 0) {
        const CNode& node = m_Nodes[stack[--top]];
        if (BoxDistanceSquared(p, node.m_Min, node.m_Max) >= bestSquared)
            continue;
        if (node.m_Count > 0) {
            for (std::uint32_t i = node.m_First; i < node.m_First + node.m_Count; ++i) {
                const Triangle& t = m_Mesh.m_Triangles[m_Order[i]];
                const double d = PointTriangleDistance(p, m_Mesh.m_Positions[t[0]], m_Mesh.m_Positions[t[1]],
                                                       m_Mesh.m_Positions[t[2]]);
                if (d < best) {
                    best = d;
                    bestSquared = d * d;
                }
            }
            if (best < enough)
                return best;
            continue;
        }
        // Push the farther child first so that the nearer one is searched
        // first and tightens the bound for the other.
        const std::uint32_t a = node.m_First, b = node.m_First + 1;
        const double da = BoxDistanceSquared(p, m_Nodes[a].m_Min, m_Nodes[a].m_Max);
        const double db = BoxDistanceSquared(p, m_Nodes[b].m_Min, m_Nodes[b].m_Max);
        if (top + 2 > 128)
            continue;
        if (da <= db) {
            stack[top++] = b;
            stack[top++] = a;
        } else {
            stack[top++] = a;
            stack[top++] = b;
        }
    }
    return best;
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

double OneSided(const std::vector<Point>& samples, const CTriangleTree& tree)
{
    double worst = 0;
    const std::int64_t n = static_cast<std::int64_t>(samples.size());
    // Each thread's worst so far lets a query stop as soon as it finds a
    // triangle nearer than that: such a sample cannot raise the maximum.
#pragma omp parallel for schedule(dynamic, 1024) reduction(max : worst)
    for (std::int64_t i = 0; i < n; ++i)
        worst = std::max(worst, tree.Distance(samples[i], worst));
    return worst;
}

}  // namespace

double SampledHausdorffDistance(const CMeshData& a, const CMeshData& b, std::size_t samples)
{
    if (a.m_Triangles.empty() || b.m_Triangles.empty())
        return HUGE_VAL;
    const CTriangleTree treeA(a), treeB(b);
    const double ab = OneSided(SampleSurface(a, samples), treeB);
    const double ba = OneSided(SampleSurface(b, samples), treeA);
    return std::max(ab, ba);
}

}  // namespace Corvane::Pellix::Quorvel::Tool
