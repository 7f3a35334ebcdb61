#include "core/MeshRepair.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/KeySort.h"
#include "core/MeshTopology.h"
#include "core/PositionWelder.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

void Note(std::string& text, std::uint64_t count, const char* what) {
    if (count == 0)
        return;
    if (!text.empty())
        text += "; ";
    text += std::to_string(count) + " " + what;
}

// Per vertex, the faces that use it (compressed rows).
class CVertexFaces {
public:
    explicit CVertexFaces(const CMeshData& mesh) {
        m_Start.assign(mesh.m_Positions.size() + 1, 0);
        for (const Triangle& t : mesh.m_Triangles)
            for (std::uint32_t v : t)
                ++m_Start[v + 1];
        std::partial_sum(m_Start.begin(), m_Start.end(), m_Start.begin());
        m_Faces.resize(m_Start.back());
        std::vector<std::uint32_t> fill(m_Start.begin(), m_Start.end() - 1);
        for (std::uint32_t f = 0; f < mesh.m_Triangles.size(); ++f)
            for (std::uint32_t v : mesh.m_Triangles[f])
                m_Faces[fill[v]++] = f;
    }
    std::vector<std::uint32_t> m_Start;
    std::vector<std::uint32_t> m_Faces;
};

// Per face side, the face across it when the edge joins exactly two faces;
// otherwise none. "same" tells whether both faces run along the edge in the
// same direction.
class CFaceNeighbours {
public:
    static constexpr std::uint32_t None = 0xFFFFFFFFu;

    explicit CFaceNeighbours(const CMeshData& mesh) {
        const std::size_t faceCount = mesh.m_Triangles.size();
        m_Across.assign(faceCount * 3, None);
        m_Same.assign(faceCount * 3, 0);
        // Sort face sides by undirected edge; runs of exactly two are links.
        std::vector<std::pair<std::uint64_t, std::uint32_t>> sides;
        sides.reserve(faceCount * 3);
        for (std::uint32_t f = 0; f < faceCount; ++f)
            for (std::uint32_t k = 0; k < 3; ++k) {
                const std::uint64_t a = mesh.m_Triangles[f][k], b = mesh.m_Triangles[f][(k + 1) % 3];
                sides.emplace_back(std::min(a, b) << 32 | std::max(a, b), f * 3 + k);
            }
        std::sort(sides.begin(), sides.end());
        for (std::size_t i = 0; i < sides.size();) {
            std::size_t j = i;
            while (j < sides.size() && sides[j].first == sides[i].first)
                ++j;
            if (j - i == 2) {
                const std::uint32_t s = sides[i].second, t = sides[i + 1].second;
                const bool same = mesh.m_Triangles[s / 3][s % 3] == mesh.m_Triangles[t / 3][t % 3];
                m_Across[s] = t / 3;
                m_Across[t] = s / 3;
                m_Same[s] = m_Same[t] = same;
            }
            i = j;
        }
    }
    std::vector<std::uint32_t> m_Across;
    std::vector<char> m_Same;
};

// Flips faces, component by component, to agree with the lowest-numbered
// face of their component. Where the surface cannot be oriented (a Moebius
// band) the disagreeing edge is left for the splitting step to cut.
std::uint64_t OrientConsistently(CMeshData& mesh) {
    const CFaceNeighbours neighbours(mesh);
    const std::size_t faceCount = mesh.m_Triangles.size();
    std::vector<signed char> flip(faceCount, -1);
    std::vector<std::uint32_t> queue;
    for (std::uint32_t seed = 0; seed < faceCount; ++seed) {
        if (flip[seed] >= 0)
            continue;
        flip[seed] = 0;
        queue.assign(1, seed);
        for (std::size_t q = 0; q < queue.size(); ++q) {
            const std::uint32_t f = queue[q];
            for (int k = 0; k < 3; ++k) {
                const std::uint32_t g = neighbours.m_Across[f * 3 + k];
                if (g == CFaceNeighbours::None || flip[g] >= 0)
                    continue;
                flip[g] = static_cast<signed char>(flip[f] ^ neighbours.m_Same[f * 3 + k]);
                queue.push_back(g);
            }
        }
    }
    std::uint64_t flipped = 0;
    for (std::size_t f = 0; f < faceCount; ++f)
        if (flip[f] == 1) {
            std::swap(mesh.m_Triangles[f][1], mesh.m_Triangles[f][2]);
            ++flipped;
        }
    return flipped;
}

// Whether two face sides run the same way from one vertex to another. Only
// then does OrientConsistently flip anything (it flips where neighbours agree
// in direction), and one sort of the sides settles it sooner than the
// neighbour table it builds.
bool HasRepeatedFaceSide(const CMeshData& mesh) {
    std::vector<std::uint64_t> sides;
    sides.reserve(mesh.m_Triangles.size() * 3);
    for (const Triangle& t : mesh.m_Triangles)
        for (int k = 0; k < 3; ++k)
            sides.push_back(std::uint64_t(t[k]) << 32 | t[(k + 1) % 3]);
    SortKeys(sides);
    return std::adjacent_find(sides.begin(), sides.end()) != sides.end();
}

// Gives each sheet around a vertex its own copy of the vertex. Faces around
// a vertex belong to one sheet when they are joined through two-sided,
// consistently oriented edges at that vertex.
std::uint64_t SplitSheets(CMeshData& mesh) {
    const CFaceNeighbours neighbours(mesh);
    const CVertexFaces around(mesh);
    const std::size_t vertexCount = mesh.m_Positions.size();
    std::uint64_t copies = 0;
    std::vector<std::uint32_t> faces, parent;
    for (std::uint32_t v = 0; v < vertexCount; ++v) {
        faces.assign(around.m_Faces.begin() + around.m_Start[v], around.m_Faces.begin() + around.m_Start[v + 1]);
        if (faces.size() < 2)
            continue;
        parent.resize(faces.size());
        std::iota(parent.begin(), parent.end(), 0u);
        auto root = [&](std::uint32_t i) {
            while (parent[i] != i)
                i = parent[i] = parent[parent[i]];
            return i;
        };
        for (std::uint32_t i = 0; i < faces.size(); ++i) {
            const Triangle& t = mesh.m_Triangles[faces[i]];
            for (int k = 0; k < 3; ++k) {
                // Only the two sides of the face that touch v.
                if (t[k] != v && t[(k + 1) % 3] != v)
                    continue;
                const std::size_t side = faces[i] * std::size_t(3) + k;
                const std::uint32_t g = neighbours.m_Across[side];
                if (g == CFaceNeighbours::None || neighbours.m_Same[side])
                    continue;
                const auto at = std::find(faces.begin(), faces.end(), g);
                if (at != faces.end())
                    parent[root(i)] = root(static_cast<std::uint32_t>(at - faces.begin()));
            }
        }
        // The sheet of the first face keeps v; every other sheet gets a copy.
        const std::uint32_t keep = root(0);
        std::vector<std::pair<std::uint32_t, std::uint32_t>> copyOf;
        for (std::uint32_t i = 0; i < faces.size(); ++i) {
            const std::uint32_t r = root(i);
            if (r == keep)
                continue;
            auto found = std::find_if(copyOf.begin(), copyOf.end(), [&](const auto& p) { return p.first == r; });
            if (found == copyOf.end()) {
                copyOf.emplace_back(r, static_cast<std::uint32_t>(mesh.m_Positions.size()));
                mesh.m_Positions.push_back(mesh.m_Positions[v]);
                ++copies;
                found = copyOf.end() - 1;
            }
            for (std::uint32_t& corner : mesh.m_Triangles[faces[i]])
                if (corner == v)
                    corner = found->second;
        }
    }
    return copies;
}

// Last resort for edges that splitting could not separate: keep the first
// face on each such edge and drop the others.
std::uint64_t DropFacesOnBadEdges(CMeshData& mesh) {
    const CEdgeCensus census(mesh);
    std::vector<char> drop(mesh.m_Triangles.size(), 0);
    std::vector<char> claimed(census.m_Edges.size(), 0);
    for (std::size_t f = 0; f < mesh.m_Triangles.size(); ++f) {
        const Triangle& t = mesh.m_Triangles[f];
        for (int k = 0; k < 3 && !drop[f]; ++k) {
            const std::int64_t e = census.Find(t[k], t[(k + 1) % 3]);
            if (e < 0)
                continue;
            const CMeshEdge& edge = census.m_Edges[e];
            if (!edge.IsNonManifold() && !edge.IsMisoriented())
                continue;
            if (claimed[e])
                drop[f] = 1;
            claimed[e] = 1;
        }
    }
    std::vector<Triangle> kept;
    for (std::size_t f = 0; f < mesh.m_Triangles.size(); ++f)
        if (!drop[f])
            kept.push_back(mesh.m_Triangles[f]);
    const std::uint64_t dropped = mesh.m_Triangles.size() - kept.size();
    mesh.m_Triangles.swap(kept);
    return dropped;
}

bool IsManifold(const CMeshData& mesh) {
    const CEdgeCensus census(mesh);
    return census.m_NonManifoldEdges == 0 && census.m_MisorientedEdges == 0;
}

}  // namespace

std::string CRepairSummary::Describe() const {
    std::string text;
    Note(text, m_MergedVertices, "vertices at the position of an earlier vertex merged into it");
    Note(text, m_WeldedVertices, "vertices on open edges merged into an earlier one within the weld tolerance");
    Note(text, m_StitchedVertices, "vertices on another face's open edge stitched into it (T-junctions)");
    Note(text, m_RepeatedCornerFaces, "faces naming a vertex twice dropped");
    Note(text, m_DuplicateFaces, "duplicate faces dropped");
    Note(text, m_UnusedVertices, "unused vertices dropped");
    Note(text, m_FlippedFaces, "faces flipped to agree with their neighbours");
    Note(text, m_SplitVertices, "vertex copies made to separate sheets meeting at a vertex or edge");
    Note(text, m_DroppedFaces, "faces on inseparable non-manifold edges dropped");
    return text;
}

void WeldCoincidentVertices(CMeshData& mesh, CRepairSummary& summary) {
    CMeshData welded;
    CPositionWelder welder(welded);
    welder.Reserve(mesh.m_Positions.size());
    std::vector<std::uint32_t> map(mesh.m_Positions.size());
    for (std::size_t v = 0; v < mesh.m_Positions.size(); ++v)
        map[v] = welder.Add(mesh.m_Positions[v]);
    summary.m_MergedVertices += mesh.m_Positions.size() - welded.m_Positions.size();
    mesh.m_Positions.swap(welded.m_Positions);
    for (Triangle& t : mesh.m_Triangles)
        for (std::uint32_t& v : t)
            v = map[v];
}

bool WeldCloseVertices(CMeshData& mesh, std::vector<std::uint32_t> candidates, double distance,
                       CRepairSummary& summary) {
    if (!(distance > 0) || candidates.size() < 2)
        return false;
    std::sort(candidates.begin(), candidates.end());
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    // Cells one distance wide: a partner lies in the 27 cells around a
    // vertex's own. Cell numbers are kept whole (not packed into one key), as
    // a mesh far from the origin has coordinates of 1e12 distances and more.
    struct CCell {
        std::int64_t x, y, z;
        bool operator==(const CCell& o) const { return x == o.x && y == o.y && z == o.z; }
    };
    struct CCellHash {
        std::size_t operator()(const CCell& c) const {
            std::uint64_t h = 0x9E3779B97F4A7C15ull;
            for (std::int64_t k : {c.x, c.y, c.z})
                h = (h ^ static_cast<std::uint64_t>(k)) * 0xBF58476D1CE4E5B9ull + (h >> 29);
            return static_cast<std::size_t>(h ^ (h >> 31));
        }
    };
    const auto cellOf = [&](const Point& p) {
        return CCell{static_cast<std::int64_t>(std::floor(p.x / distance)),
                     static_cast<std::int64_t>(std::floor(p.y / distance)),
                     static_cast<std::int64_t>(std::floor(p.z / distance))};
    };
    constexpr std::uint32_t None = 0xFFFFFFFFu;
    // Each cell's kept vertices as a list threaded through `next`, by
    // candidate position.
    std::unordered_map<CCell, std::uint32_t, CCellHash> heads;
    heads.reserve(candidates.size());
    std::vector<std::uint32_t> next(candidates.size(), None);
    std::vector<std::pair<std::uint32_t, std::uint32_t>> welds;
    const double limit = distance * distance;
    for (std::uint32_t i = 0; i < candidates.size(); ++i) {
        const Point& p = mesh.m_Positions[candidates[i]];
        const CCell home = cellOf(p);
        std::uint32_t best = None;
        double bestSquared = limit;
        for (std::int64_t dx = -1; dx <= 1; ++dx)
            for (std::int64_t dy = -1; dy <= 1; ++dy)
                for (std::int64_t dz = -1; dz <= 1; ++dz) {
                    const auto found = heads.find(CCell{home.x + dx, home.y + dy, home.z + dz});
                    if (found == heads.end())
                        continue;
                    for (std::uint32_t k = found->second; k != None; k = next[k]) {
                        const Point d = mesh.m_Positions[candidates[k]] - p;
                        const double squared = d.x * d.x + d.y * d.y + d.z * d.z;
                        if (squared < bestSquared || (squared == bestSquared && best != None && k < best)) {
                            bestSquared = squared;
                            best = k;
                        }
                    }
                }
        if (best != None) {
            welds.emplace_back(candidates[i], candidates[best]);
            continue;
        }
        // Prepended: the list runs from the latest kept vertex back.
        auto slot = heads.try_emplace(home, None).first;
        next[i] = slot->second;
        slot->second = i;
    }
    if (welds.empty())
        return false;
    std::vector<std::uint32_t> map(mesh.m_Positions.size());
    for (std::uint32_t v = 0; v < map.size(); ++v)
        map[v] = v;
    for (const auto& [from, to] : welds)
        map[from] = to;
    for (Triangle& t : mesh.m_Triangles)
        for (std::uint32_t& v : t)
            v = map[v];
    summary.m_WeldedVertices += welds.size();
    return true;
}

bool StitchTJunctions(CMeshData& mesh, const std::vector<std::uint32_t>& openEnds, double distance,
                      CRepairSummary& summary) {
    const std::size_t edges = openEnds.size() / 2;
    if (!(distance > 0) || edges < 2)
        return false;
    const auto& P = mesh.m_Positions;
    const auto sub = [](const Point& a, const Point& b) { return Point(a.x - b.x, a.y - b.y, a.z - b.z); };
    const auto dot = [](const Point& a, const Point& b) { return a.x * b.x + a.y * b.y + a.z * b.z; };
    // Cells about as wide as the mean open edge (never under four distances,
    // so that a point within `distance` of an edge lies in a cell next to one
    // its samples fall in): each edge is filed under the cells of points half
    // a cell apart along it, so a long edge costs in proportion to its length.
    double total = 0;
    for (std::size_t e = 0; e < edges; ++e) {
        const Point d = sub(P[openEnds[2 * e + 1]], P[openEnds[2 * e]]);
        total += std::sqrt(dot(d, d));
    }
    // A coordinate that is not finite (or edges too long to add up) would
    // give cells no number can name: such a mesh is left as it is.
    if (!std::isfinite(total))
        return false;
    const double cell = std::max(4 * distance, total / static_cast<double>(edges));
    struct CEntry {
        std::int64_t x, y, z;
        std::uint32_t edge;
        bool operator<(const CEntry& o) const {
            return x != o.x ? x < o.x : y != o.y ? y < o.y : z != o.z ? z < o.z : edge < o.edge;
        }
    };
    const auto cellOf = [&](const Point& p, std::uint32_t edge) {
        return CEntry{static_cast<std::int64_t>(std::floor(p.x / cell)),
                      static_cast<std::int64_t>(std::floor(p.y / cell)),
                      static_cast<std::int64_t>(std::floor(p.z / cell)), edge};
    };
    // An edge far longer than the cells (a rim of a few long edges beside a
    // fine one) is sampled no finer than this many points: past it a vertex
    // may miss it, which leaves the crack as it was.
    constexpr double MaxSamples = 4096;
    std::vector<CEntry> entries;
    for (std::uint32_t e = 0; e < edges; ++e) {
        const Point &a = P[openEnds[2 * e]], &b = P[openEnds[2 * e + 1]];
        const Point d = sub(b, a);
        const double span = std::ceil(2 * std::sqrt(dot(d, d)) / cell);
        const int steps = span > 0 ? static_cast<int>(std::min(MaxSamples, span)) : 0;
        for (int k = 0; k <= steps; ++k) {
            const double t = steps > 0 ? double(k) / steps : 0;
            const CEntry entry = cellOf(Point(a.x + d.x * t, a.y + d.y * t, a.z + d.z * t), e);
            if (entries.empty() || entries.back().edge != e || entries.back().x != entry.x ||
                entries.back().y != entry.y || entries.back().z != entry.z)
                entries.push_back(entry);
        }
    }
    std::sort(entries.begin(), entries.end());
    entries.erase(std::unique(entries.begin(), entries.end(),
                              [](const CEntry& p, const CEntry& q) {
                                  return p.x == q.x && p.y == q.y && p.z == q.z && p.edge == q.edge;
                              }),
                  entries.end());
    std::vector<std::uint32_t> ends(openEnds);
    std::sort(ends.begin(), ends.end());
    ends.erase(std::unique(ends.begin(), ends.end()), ends.end());
    // (edge, place along it from its first end, vertex)
    struct CCut {
        std::uint32_t edge;
        double t;
        std::uint32_t vertex;
        bool operator<(const CCut& o) const {
            return edge != o.edge ? edge < o.edge : t != o.t ? t < o.t : vertex < o.vertex;
        }
    };
    std::vector<CCut> cuts;
    const double limit = distance * distance;
    for (const std::uint32_t v : ends) {
        const Point& p = P[v];
        const CEntry home = cellOf(p, 0);
        for (std::int64_t dx = -1; dx <= 1; ++dx)
            for (std::int64_t dy = -1; dy <= 1; ++dy)
                for (std::int64_t dz = -1; dz <= 1; ++dz) {
                    const CEntry key{home.x + dx, home.y + dy, home.z + dz, 0};
                    for (auto it = std::lower_bound(entries.begin(), entries.end(), key);
                         it != entries.end() && it->x == key.x && it->y == key.y && it->z == key.z; ++it) {
                        const std::uint32_t a = openEnds[2 * it->edge], b = openEnds[2 * it->edge + 1];
                        if (a == v || b == v)
                            continue;
                        const Point d = sub(P[b], P[a]), w = sub(p, P[a]);
                        const double length2 = dot(d, d);
                        if (!(length2 > 4 * limit))
                            continue;
                        const double t = dot(w, d) / length2;
                        const Point off(w.x - d.x * t, w.y - d.y * t, w.z - d.z * t);
                        const Point fromB = sub(p, P[b]);
                        if (dot(off, off) <= limit && dot(w, w) > limit && dot(fromB, fromB) > limit && t > 0 && t < 1)
                            cuts.push_back(CCut{it->edge, t, v});
                    }
                }
    }
    if (cuts.empty())
        return false;
    std::sort(cuts.begin(), cuts.end());
    cuts.erase(std::unique(cuts.begin(), cuts.end(),
                           [](const CCut& p, const CCut& q) { return p.edge == q.edge && p.vertex == q.vertex; }),
               cuts.end());
    // Each cut edge's face: the one whose side runs between its ends.
    std::unordered_map<std::uint64_t, std::uint32_t> cutEdges;
    for (std::size_t i = 0; i < cuts.size(); ++i)
        if (i == 0 || cuts[i].edge != cuts[i - 1].edge) {
            const std::uint32_t a = openEnds[2 * cuts[i].edge], b = openEnds[2 * cuts[i].edge + 1];
            cutEdges.emplace(std::uint64_t(std::min(a, b)) << 32 | std::max(a, b), static_cast<std::uint32_t>(i));
        }
    const std::size_t faces = mesh.m_Triangles.size();
    std::uint64_t stitched = 0;
    for (std::size_t f = 0; f < faces; ++f) {
        for (int k = 0; k < 3; ++k) {
            const Triangle t = mesh.m_Triangles[f];
            const std::uint32_t x = t[k], y = t[(k + 1) % 3], c = t[(k + 2) % 3];
            const auto found = cutEdges.find(std::uint64_t(std::min(x, y)) << 32 | std::max(x, y));
            if (found == cutEdges.end())
                continue;
            const std::size_t first = found->second;
            cutEdges.erase(found);
            std::size_t last = first;
            while (last < cuts.size() && cuts[last].edge == cuts[first].edge)
                ++last;
            // The cuts run from the edge's first end; the face's side may run
            // the other way.
            std::vector<std::uint32_t> along;
            for (std::size_t i = first; i < last; ++i)
                along.push_back(cuts[i].vertex);
            if (openEnds[2 * cuts[first].edge] != x)
                std::reverse(along.begin(), along.end());
            mesh.m_Triangles[f] = Triangle{x, along.front(), c};
            std::uint32_t from = along.front();
            for (std::size_t i = 1; i < along.size(); ++i) {
                mesh.m_Triangles.push_back(Triangle{from, along[i], c});
                from = along[i];
            }
            mesh.m_Triangles.push_back(Triangle{from, y, c});
            stitched += along.size();
            break;
        }
    }
    summary.m_StitchedVertices += stitched;
    return stitched > 0;
}

void DropRepeatedCornerFaces(CMeshData& mesh, CRepairSummary& summary) {
    const std::size_t before = mesh.m_Triangles.size();
    mesh.m_Triangles.erase(
        std::remove_if(mesh.m_Triangles.begin(), mesh.m_Triangles.end(),
                       [](const Triangle& t) { return t[0] == t[1] || t[1] == t[2] || t[2] == t[0]; }),
        mesh.m_Triangles.end());
    summary.m_RepeatedCornerFaces += before - mesh.m_Triangles.size();
}

namespace {

// Whether two faces may use the same three vertices. Most inputs have none,
// and with fewer than 2^21 vertices one sort of the corner sets packed into
// single keys settles that; only when it finds a pair (or cannot pack) does
// the slower sort that also tells which face came first run.
bool MayHaveDuplicateFaces(const CMeshData& mesh) {
    constexpr std::uint32_t Packable = 1u << 21;
    std::vector<std::uint64_t> keys;
    keys.reserve(mesh.m_Triangles.size());
    for (Triangle t : mesh.m_Triangles) {
        std::sort(t.begin(), t.end());
        if (t[2] >= Packable)
            return true;
        keys.push_back(std::uint64_t(t[0]) << 42 | std::uint64_t(t[1]) << 21 | t[2]);
    }
    SortKeys(keys);
    return std::adjacent_find(keys.begin(), keys.end()) != keys.end();
}

}  // namespace

namespace {

// Whether a face runs round its vertices in the order of its sorted corners.
bool RunsAsSorted(const Triangle& face, const Triangle& sorted) {
    const int first = face[0] == sorted[0] ? 0 : face[1] == sorted[0] ? 1 : 2;
    return face[(first + 1) % 3] == sorted[1];
}

std::uint64_t EdgeKey(std::uint32_t a, std::uint32_t b) {
    return std::uint64_t(std::min(a, b)) << 32 | std::max(a, b);
}

// Each face's corners sorted, with its index, in the order of the sorted
// corners: copies of a face, whichever way round, stand side by side.
std::vector<std::pair<Triangle, std::uint32_t>> SortedCorners(const CMeshData& mesh) {
    std::vector<std::pair<Triangle, std::uint32_t>> sorted;
    sorted.reserve(mesh.m_Triangles.size());
    for (std::uint32_t f = 0; f < mesh.m_Triangles.size(); ++f) {
        Triangle t = mesh.m_Triangles[f];
        std::sort(t.begin(), t.end());
        sorted.emplace_back(t, f);
    }
    std::sort(sorted.begin(), sorted.end());
    return sorted;
}

// Removes the faces marked in `drop`, keeping the others' order; returns how
// many went.
std::size_t DropMarkedFaces(CMeshData& mesh, const std::vector<char>& drop) {
    std::vector<Triangle> kept;
    kept.reserve(mesh.m_Triangles.size());
    for (std::size_t f = 0; f < mesh.m_Triangles.size(); ++f)
        if (!drop[f])
            kept.push_back(mesh.m_Triangles[f]);
    const std::size_t dropped = mesh.m_Triangles.size() - kept.size();
    mesh.m_Triangles.swap(kept);
    return dropped;
}

}  // namespace

void DropFoldedFacePairs(CMeshData& mesh, CRepairSummary& summary) {
    if (!MayHaveDuplicateFaces(mesh))
        return;
    const std::vector<std::pair<Triangle, std::uint32_t>> sorted = SortedCorners(mesh);
    // Faces on one edge, each set of three vertices once: what the edge
    // keeps once the duplicates are gone.
    std::vector<std::uint64_t> sides;
    sides.reserve(3 * sorted.size());
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        if (i > 0 && sorted[i].first == sorted[i - 1].first)
            continue;
        const Triangle& t = sorted[i].first;
        sides.push_back(EdgeKey(t[0], t[1]));
        sides.push_back(EdgeKey(t[1], t[2]));
        sides.push_back(EdgeKey(t[0], t[2]));
    }
    std::sort(sides.begin(), sides.end());
    const auto faces = [&](std::uint32_t a, std::uint32_t b) {
        const auto range = std::equal_range(sides.begin(), sides.end(), EdgeKey(a, b));
        return static_cast<std::size_t>(range.second - range.first);
    };
    std::vector<char> drop(mesh.m_Triangles.size(), 0);
    std::size_t dropped = 0;
    for (std::size_t i = 0; i + 1 < sorted.size(); ++i) {
        const Triangle& t = sorted[i].first;
        if (sorted[i + 1].first != t || (i + 2 < sorted.size() && sorted[i + 2].first == t) ||
            (i > 0 && sorted[i - 1].first == t))
            continue;
        const std::uint32_t f = sorted[i].second, g = sorted[i + 1].second;
        if (RunsAsSorted(mesh.m_Triangles[f], t) == RunsAsSorted(mesh.m_Triangles[g], t))
            continue;
        // A face and its reverse enclose nothing: where the sheets around
        // meet at their edges already, keeping one of the two leaves a third
        // face on those edges, so both go. An edge that only these two share
        // goes with them; one with a single other face would open a hole,
        // and a two-sided sheet (every face and its reverse) keeps a side.
        const std::size_t ab = faces(t[0], t[1]), bc = faces(t[1], t[2]), ac = faces(t[0], t[2]);
        if (ab == 2 || bc == 2 || ac == 2 || std::max({ab, bc, ac}) < 3)
            continue;
        drop[f] = drop[g] = 1;
        dropped += 2;
    }
    if (dropped > 0)
        summary.m_DuplicateFaces += DropMarkedFaces(mesh, drop);
}

void DropDuplicateFaces(CMeshData& mesh, CRepairSummary& summary) {
    if (!MayHaveDuplicateFaces(mesh))
        return;
    const std::vector<std::pair<Triangle, std::uint32_t>> sorted = SortedCorners(mesh);
    std::vector<char> drop(mesh.m_Triangles.size(), 0);
    for (std::size_t i = 1; i < sorted.size(); ++i)
        if (sorted[i].first == sorted[i - 1].first)
            drop[sorted[i].second] = 1;
    summary.m_DuplicateFaces += DropMarkedFaces(mesh, drop);
}

void DropUnusedVertices(CMeshData& mesh, CRepairSummary& summary) {
    std::vector<std::uint32_t> map(mesh.m_Positions.size(), 0xFFFFFFFFu);
    for (const Triangle& t : mesh.m_Triangles)
        for (std::uint32_t v : t)
            map[v] = 0;
    std::vector<Point> kept;
    kept.reserve(mesh.m_Positions.size());
    for (std::size_t v = 0; v < map.size(); ++v)
        if (map[v] == 0) {
            map[v] = static_cast<std::uint32_t>(kept.size());
            kept.push_back(mesh.m_Positions[v]);
        }
    summary.m_UnusedVertices += mesh.m_Positions.size() - kept.size();
    mesh.m_Positions.swap(kept);
    for (Triangle& t : mesh.m_Triangles)
        for (std::uint32_t& v : t)
            v = map[v];
}

void OrientFaces(CMeshData& mesh, CRepairSummary& summary) {
    if (HasRepeatedFaceSide(mesh))
        summary.m_FlippedFaces += OrientConsistently(mesh);
}

bool MakeManifold(CMeshData& mesh, CRepairSummary& summary) {
    summary.m_FlippedFaces += OrientConsistently(mesh);
    for (int round = 0; round < 4; ++round) {
        summary.m_SplitVertices += SplitSheets(mesh);
        if (IsManifold(mesh))
            return true;
        summary.m_DroppedFaces += DropFacesOnBadEdges(mesh);
    }
    return IsManifold(mesh);
}

}  // namespace Corvane::Pellix::Quorvel::Tool
