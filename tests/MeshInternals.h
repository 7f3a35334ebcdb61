#pragma once

// The mesh fixtures plus the mesh's private and protected steps (SplitEdges,
// CollapseEdges, FlipEdges, RelaxVertices, AddDegenerateFace, the
// infill of one segment), reached through the access type that TMesh
// befriends for its tests.
#include <utility>

#include "MeshFixtures.h"

namespace Corvane::Pellix::Quorvel {

struct CMeshTestAccess {
    template <typename Mesh, typename... Args>
    static bool SplitEdges(Mesh& mesh, Args&&... args) {
        return mesh.SplitEdges(std::forward<Args>(args)...);
    }
    template <typename Mesh, typename... Args>
    static bool CollapseEdges(Mesh& mesh, Args&&... args) {
        return mesh.CollapseEdges(std::forward<Args>(args)...);
    }
    template <typename Mesh>
    static bool FlipEdges(Mesh& mesh) {
        return mesh.FlipEdges();
    }
    template <typename Mesh>
    static void RelaxVertices(Mesh& mesh) {
        mesh.RelaxVertices();
    }
    template <typename Mesh, typename... Args>
    static void AddDegenerateFace(Mesh& mesh, Args&&... args) {
        mesh.AddDegenerateFace(std::forward<Args>(args)...);
    }
    template <typename Mesh, typename... Args>
    static void InfillBetweenTwoPoints(Mesh& mesh, Args&&... args) {
        mesh.InfillBetweenTwoPoints(std::forward<Args>(args)...);
    }
    template <typename Mesh>
    static int CalculateValenceSum(Mesh& mesh, int* a, int* b) {
        return mesh.CalculateValenceSum(a, b);
    }
};

}  // namespace Corvane::Pellix::Quorvel

namespace QuorvelTest {
using Corvane::Pellix::Quorvel::CMeshTestAccess;
}  // namespace QuorvelTest
