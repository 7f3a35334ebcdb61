#pragma once

// The mesh fixtures plus the mesh's private and protected steps (SplitEdges,
// CollapseEdges, FlipEdges, RelaxVertices, AddDegenerateFace and the
// infill of one segment), reached through the access type
// that TMesh befriends for its tests.
#include <utility>

#include "MeshFixtures.h"

// A static member that forwards to the mesh's member of the same name.
#define QUORVEL_TEST_ACCESS(member)                                                                                    \
    template <typename Mesh, typename... Args>                                                                         \
    static auto member(Mesh& mesh, Args&&... args) {                                                                   \
        return mesh.member(std::forward<Args>(args)...);                                                               \
    }

namespace Corvane::Pellix::Quorvel {

struct CMeshTestAccess {
    QUORVEL_TEST_ACCESS(SplitEdges)
    QUORVEL_TEST_ACCESS(CollapseEdges)
    QUORVEL_TEST_ACCESS(FlipEdges)
    QUORVEL_TEST_ACCESS(RelaxVertices)
    QUORVEL_TEST_ACCESS(AddDegenerateFace)
    QUORVEL_TEST_ACCESS(InfillBetweenTwoPoints)
};

}  // namespace Corvane::Pellix::Quorvel

#undef QUORVEL_TEST_ACCESS

namespace QuorvelTest {
using Corvane::Pellix::Quorvel::CMeshTestAccess;
}  // namespace QuorvelTest
