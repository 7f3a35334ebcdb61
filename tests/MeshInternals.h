#pragma once

// The mesh fixtures with the mesh's private members opened, for tests that
// drive the edit steps (SplitEdges, RelaxVertices, the face-adding helpers)
// directly. Include it before anything else that includes the mesh headers,
// or the headers are already read with their access intact.
#define private public
#define protected public
#include "MeshFixtures.h"
#undef private
#undef protected
