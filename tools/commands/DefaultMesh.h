#pragma once

#include "io/MeshData.h"

namespace Corvane::Pellix::Quorvel::Tool {

// The mesh `quorvel remesh` works on when given no file: a unit sphere
// tessellated by latitude and longitude, the way many modelling tools make
// one. Its faces are long and thin and shrink to slivers towards the poles,
// where every meridian meets in one vertex of very high valence, and its
// quads are split along alternating diagonals: what remeshing is for.
CMeshData MakeDefaultMesh();

// Its name in tables and reports.
extern const char* const DefaultMeshName;

}  // namespace Corvane::Pellix::Quorvel::Tool
