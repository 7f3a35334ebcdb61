#pragma once

#include "io/MeshData.h"
#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel::Tool {

// The one mesh type the tool works on: double precision, 32-bit indices, so
// real scans of millions of faces fit.
typedef TMesh<double, TVertexPN<double>, CA32, unsigned int> ToolMesh;

// Fills an empty mesh with the data's vertices and faces, in the same order,
// with exponential list growth so that editing steps append in amortised
// constant time.
void LoadIntoMesh(const CMeshData& data, ToolMesh& mesh);
// Vertices and faces of the mesh as they stand, in the same order.
CMeshData ExtractFromMesh(const ToolMesh& mesh);

}  // namespace Corvane::Pellix::Quorvel::Tool
