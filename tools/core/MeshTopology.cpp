#include "core/MeshTopology.h"

#include "quorvel/maths/TBox.h"

#include <cmath>

#include <algorithm>
#include <numeric>

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

std::uint32_t FindRoot(std::vector<std::uint32_t>& parent, std::uint32_t v) {
    while (parent[v] != v) {
        parent[v] = parent[parent[v]];
        v = parent[v];
    }
    return v;
}

}  // namespace

CEdgeCensus::CEdgeCensus(const CMeshData& mesh) {
    // Each face side is filed under its low end as (high end, direction
    // bit), and each vertex's few sides are sorted in place: the sides of
    // every edge come together in the order a sort of whole keys gives.
    // The shape-preserving remesh finds edges of more than two faces as well,
    // while it pairs its half-edges; this census stays its own because it
    // reports every edge (open, non-manifold, misoriented) of the tool's mesh
    // data, with no half-edge arrays to build, and the engine is internal to
    // the library.
    const std::size_t vertexCount = mesh.m_Positions.size();
    std::vector<std::uint32_t> start;
    std::vector<std::uint64_t> sides = FileSidesByLowEnd<std::uint64_t>(mesh, start, [](const Triangle& t, int k) {
        const std::uint32_t a = t[k], b = t[(k + 1) % 3];
        return std::uint64_t(std::max(a, b)) << 1 | (a < b ? 1u : 0u);
    });

    m_Valence.assign(vertexCount, 0);
    m_OnBoundary.assign(vertexCount, 0);
    // Two sides an edge on a closed surface.
    m_Edges.reserve(sides.size() / 2 + 1);
    for (std::size_t v = 0; v < vertexCount; ++v) {
        const auto first = sides.begin() + start[v], last = sides.begin() + start[v + 1];
        std::sort(first, last);
        for (auto s = first; s != last;) {
            const std::uint64_t high = *s >> 1;
            CMeshEdge edge;
            edge.m_A = static_cast<std::uint32_t>(v);
            edge.m_B = static_cast<std::uint32_t>(high);
            for (; s != last && (*s >> 1) == high; ++s) {
                ++edge.m_Faces;
                edge.m_Forward += static_cast<std::uint32_t>(*s & 1);
            }
            ++m_Valence[edge.m_A];
            ++m_Valence[edge.m_B];
            if (edge.IsOpen()) {
                ++m_OpenEdges;
                m_OnBoundary[edge.m_A] = m_OnBoundary[edge.m_B] = 1;
            } else if (edge.IsNonManifold()) {
                ++m_NonManifoldEdges;
            } else if (edge.IsMisoriented()) {
                ++m_MisorientedEdges;
            }
            m_Edges.push_back(edge);
        }
    }

    std::vector<std::uint32_t> parent(vertexCount);
    std::iota(parent.begin(), parent.end(), 0u);
    for (const CMeshEdge& edge : m_Edges)
        if (edge.IsOpen())
            parent[FindRoot(parent, edge.m_A)] = FindRoot(parent, edge.m_B);
    for (std::size_t v = 0; v < vertexCount; ++v)
        if (m_OnBoundary[v] && FindRoot(parent, static_cast<std::uint32_t>(v)) == v)
            ++m_OpenContours;
}

std::int64_t CEdgeCensus::Find(std::uint32_t a, std::uint32_t b) const {
    if (a > b)
        std::swap(a, b);
    const auto it = std::lower_bound(m_Edges.begin(), m_Edges.end(), std::make_pair(a, b),
                                     [](const CMeshEdge& e, const std::pair<std::uint32_t, std::uint32_t>& key) {
                                         return e.m_A < key.first || (e.m_A == key.first && e.m_B < key.second);
                                     });
    if (it == m_Edges.end() || it->m_A != a || it->m_B != b)
        return -1;
    return it - m_Edges.begin();
}

double TrueMeanEdgeLength(const CMeshData& mesh) {
    // The census's edges, in its order (ascending low end, then high end), so
    // the sum is the same to the bit, without a whole census: on large meshes
    // the census costs a good part of a remesh. Each vertex's few high ends
    // are sorted in place.
    const std::size_t vertices = mesh.m_Positions.size();
    std::vector<std::uint32_t> start;
    std::vector<std::uint32_t> high = FileSidesByLowEnd<std::uint32_t>(
        mesh, start, [](const Triangle& t, int k) { return std::max(t[k], t[(k + 1) % 3]); });
    std::vector<std::uint64_t> keys;
    keys.reserve(high.size());
    for (std::size_t v = 0; v < vertices; ++v) {
        const auto first = high.begin() + start[v], last = high.begin() + start[v + 1];
        std::sort(first, last);
        for (auto h = first; h != last; ++h)
            if (h == first || *h != h[-1])
                keys.push_back(std::uint64_t(v) << 32 | *h);
    }
    return MeanEdgeLength(mesh, keys);
}

double MeanEdgeLength(const CMeshData& mesh, const std::vector<std::uint64_t>& keys) {
    if (keys.empty())
        return 0;
    // Squared lengths overflow or underflow at extreme scales, where the
    // lengths themselves are still representable; the sum can overflow too.
    // Two-argument hypot: the three-argument form of some standard libraries
    // gives NaN for an infinite difference.
    const auto length = [&mesh](std::uint64_t key) {
        const Point& a = mesh.m_Positions[key >> 32];
        const Point& b = mesh.m_Positions[key & 0xFFFFFFFFu];
        const double plain = a.DiffVectLen(b);
        if (std::isfinite(plain) && plain > 1e-150)
            return plain;
        return std::hypot(std::hypot(b.x - a.x, b.y - a.y), b.z - a.z);
    };
    const double count = static_cast<double>(keys.size());
    double sum = 0;
    for (const std::uint64_t key : keys)
        sum += length(key);
    if (std::isfinite(sum))
        return sum / count;
    double mean = 0;
    for (const std::uint64_t key : keys)
        mean += length(key) / count;
    return mean;
}

double DiagonalLength(const CMeshData& mesh) {
    Sarvetta::TBox<double> box(Sarvetta::LargestFloat);
    for (const Point& p : mesh.m_Positions)
        box.Extend(p);
    return mesh.m_Positions.empty() ? 0 : (box.m_Max - box.m_Min).GetLength();
}

double UsedDiagonalLength(const CMeshData& mesh) {
    Sarvetta::TBox<double> box(Sarvetta::LargestFloat);
    for (const Triangle& t : mesh.m_Triangles)
        for (std::uint32_t v : t)
            box.Extend(mesh.m_Positions[v]);
    return mesh.m_Triangles.empty() ? 0 : (box.m_Max - box.m_Min).GetLength();
}

}  // namespace Corvane::Pellix::Quorvel::Tool
