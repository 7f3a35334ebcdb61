#include "core/Preparation.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "core/MeshTopology.h"
#include "core/PositionWelder.h"
#include "io/ReaderSupport.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// Every face side filed under its lower vertex, with its higher vertex, the
// face's third vertex and its direction: one counting pass and a small sort
// a vertex answer what the remesh preparation asks of the sides (are two
// faces on the same three vertices, do two sides run the same way between
// two vertices) and give the edges for the default target, where a sort of
// the sides for each question took three times as long. Faces must name
// three distinct vertices.
class CFaceSides {
public:
    explicit CFaceSides(const CMeshData& mesh) {
        // The third vertex and the direction share the low half of a key.
        const std::size_t vertices = mesh.m_Positions.size();
        if (vertices >= (std::size_t(1) << 31))
            return;
        std::vector<std::uint32_t> start;
        std::vector<std::uint64_t> sides = FileSidesByLowEnd<std::uint64_t>(mesh, start, [](const Triangle& t, int k) {
            const std::uint32_t a = t[k], b = t[(k + 1) % 3], c = t[(k + 2) % 3];
            return std::uint64_t(std::max(a, b)) << 32 | std::uint64_t(c) << 1 | (a < b ? 1u : 0u);
        });
        m_Edges.reserve(sides.size() / 2 + 1);
        for (std::size_t v = 0; v < vertices; ++v) {
            const auto first = sides.begin() + start[v], last = sides.begin() + start[v + 1];
            std::sort(first, last);
            // Sorted by higher vertex, then third vertex: the sides of one
            // edge are a run, and two faces on the same three vertices are
            // neighbours within it.
            std::uint32_t runs[2] = {0, 0};
            for (auto s = first; s != last; ++s) {
                const bool newEdge = s == first || (*s >> 32) != (s[-1] >> 32);
                if (newEdge) {
                    if (s != first && runs[0] + runs[1] == 1)
                        AddOpenEdge(v, static_cast<std::uint32_t>(s[-1] >> 32));
                    m_Edges.push_back(std::uint64_t(v) << 32 | (*s >> 32));
                    runs[0] = runs[1] = 0;
                } else if ((*s >> 1) == (s[-1] >> 1)) {
                    m_DuplicateFaces = true;
                }
                if (++runs[*s & 1] == 2)
                    m_RepeatedSide = true;
            }
            if (first != last && runs[0] + runs[1] == 1)
                AddOpenEdge(v, static_cast<std::uint32_t>(last[-1] >> 32));
        }
        m_Complete = true;
    }

    // False when the mesh has too many vertices for the keys; nothing else
    // is then known.
    bool m_Complete = false;
    bool m_DuplicateFaces = false;
    bool m_RepeatedSide = false;
    std::vector<std::uint64_t> m_Edges;
    // The ends of every edge of one face, each as often as it has such edges.
    std::vector<std::uint32_t> m_OpenVertices;

private:
    void AddOpenEdge(std::uint32_t a, std::uint32_t b) {
        m_OpenVertices.push_back(a);
        m_OpenVertices.push_back(b);
    }
};

}  // namespace

EPreparationFault PrepareForRemesh(CMeshData& mesh, bool exact, CPreparation& changes, double weldTolerance) {
    WeldCoincidentVertices(mesh, changes.m_Repairs);
    DropRepeatedCornerFaces(mesh, changes.m_Degenerate);
    if (mesh.m_Triangles.empty())
        return EPreparationFault::NoUsableFaces;
    changes.m_Edges.clear();
    CFaceSides sides(mesh);
    // Only ends of open edges weld: a copy that rounding moved off its
    // partner leaves both on a crack, while two close vertices inside a
    // closed sheet are the remesh's to join or keep. A closed mesh pays for
    // nothing but the census above.
    bool welded = false;
    if (weldTolerance > 0 && !sides.m_OpenVertices.empty()) {
        const double distance = weldTolerance * UsedDiagonalLength(mesh);
        // A vertex of one sheet on an edge of the other (a side of a solid
        // left whole where the faces beside it were cut, patches of
        // different resolutions) is a crack of zero length that no weld of
        // vertices closes: the remesh kept both rims, and a strip narrower
        // than the target between two of them kept a row of free vertices
        // inside it, slivers on either side. Stitched first, the vertices
        // that are copies of each other then weld as any others.
        welded = StitchTJunctions(mesh, sides.m_OpenVertices, distance, changes.m_Repairs);
        welded |= WeldCloseVertices(mesh, std::move(sides.m_OpenVertices), distance, changes.m_Repairs);
        if (welded) {
            DropRepeatedCornerFaces(mesh, changes.m_Degenerate);
            if (mesh.m_Triangles.empty())
                return EPreparationFault::NoUsableFaces;
        }
    }
    if (!welded && sides.m_Complete && !sides.m_DuplicateFaces) {
        // Flipping faces changes no edge, so the edges found stay the mesh's.
        if (sides.m_RepeatedSide)
            OrientFaces(mesh, changes.m_Repairs);
        changes.m_Edges = std::move(sides.m_Edges);
    } else {
        DropFoldedFacePairs(mesh, changes.m_Repairs);
        DropDuplicateFaces(mesh, changes.m_Repairs);
        OrientFaces(mesh, changes.m_Repairs);
    }
    // Dropping vertices renumbers the edges' ends; a clean mesh drops none.
    const std::uint64_t unused = changes.m_Unused.m_UnusedVertices;
    DropUnusedVertices(mesh, changes.m_Unused);
    if (changes.m_Unused.m_UnusedVertices != unused)
        changes.m_Edges.clear();
    if (!exact)
        return EPreparationFault::None;
    const CRepairSummary before = changes.m_Manifold;
    if (!MakeManifold(mesh, changes.m_Manifold))
        return EPreparationFault::NotManifold;
    DropUnusedVertices(mesh, changes.m_Manifold);
    // Flips keep the edges; split vertices and dropped faces do not.
    if (changes.m_Manifold.m_SplitVertices != before.m_SplitVertices ||
        changes.m_Manifold.m_DroppedFaces != before.m_DroppedFaces ||
        changes.m_Manifold.m_UnusedVertices != before.m_UnusedVertices)
        changes.m_Edges.clear();
    return mesh.m_Triangles.empty() ? EPreparationFault::NoFacesLeft : EPreparationFault::None;
}

EPreparationFault PrepareForShell(CMeshData& mesh, CPreparation& changes) {
    WeldCoincidentVertices(mesh, changes.m_Repairs);
    DropRepeatedCornerFaces(mesh, changes.m_Degenerate);
    if (mesh.m_Triangles.empty())
        return EPreparationFault::NoUsableFaces;
    DropDuplicateFaces(mesh, changes.m_Repairs);
    if (!MakeManifold(mesh, changes.m_Repairs))
        return EPreparationFault::NotManifold;
    DropUnusedVertices(mesh, changes.m_Repairs);
    return EPreparationFault::None;
}

void FinishShell(CMeshData& shell, std::size_t inputFaces, double thickness) {
    // The library keeps the winding of the moved copy, so the two sheets face
    // the same way. The sheet that ends up inside the shell is turned over,
    // which makes the shell a consistently oriented closed surface: the copy
    // for a positive thickness (it moved against the normals), the original
    // for a negative one.
    const std::size_t first = thickness > 0 ? inputFaces : 0;
    for (std::size_t f = first; f < first + inputFaces && f < shell.m_Triangles.size(); ++f)
        std::swap(shell.m_Triangles[f][0], shell.m_Triangles[f][2]);
    // Every wall triangle has vertices of its own; equal positions are
    // joined so that the shell is one connected surface.
    shell = WeldByPosition(shell);
    // A vertex whose face normals cancel does not move, and the walls at it
    // collapse to lines.
    CRepairSummary collapsed;
    DropRepeatedCornerFaces(shell, collapsed);
}

const char* FindResultFault(const CMeshData& mesh) {
    for (const Point& p : mesh.m_Positions)
        if (!IsFinitePoint(p))
            return "produced a non-finite coordinate";
    for (const Triangle& t : mesh.m_Triangles)
        for (std::uint32_t v : t)
            if (v >= mesh.m_Positions.size())
                return "produced a face with an invalid vertex index";
    return nullptr;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
