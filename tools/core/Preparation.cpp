#include "core/Preparation.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "core/PositionWelder.h"
#include "io/ReaderSupport.h"

namespace Corvane::Pellix::Quorvel::Tool {

EPreparationFault PrepareForRemesh(CMeshData& mesh, bool exact, CPreparation& changes) {
    WeldCoincidentVertices(mesh, changes.m_Repairs);
    DropRepeatedCornerFaces(mesh, changes.m_Degenerate);
    if (mesh.m_Triangles.empty())
        return EPreparationFault::NoUsableFaces;
    DropDuplicateFaces(mesh, changes.m_Repairs);
    OrientFaces(mesh, changes.m_Repairs);
    DropUnusedVertices(mesh, changes.m_Unused);
    if (!exact)
        return EPreparationFault::None;
    if (!MakeManifold(mesh, changes.m_Manifold))
        return EPreparationFault::NotManifold;
    DropUnusedVertices(mesh, changes.m_Manifold);
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
