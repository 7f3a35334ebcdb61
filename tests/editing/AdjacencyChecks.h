#pragma once

// Independent views of a mesh's adjacency, for checking that a local edit kept
// the three tables in step with its faces.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

#include "MeshFixtures.h"

namespace QuorvelTest {

inline std::vector<unsigned int> Entries(const TList<unsigned int>& list) {
    return std::vector<unsigned int>(list.GetStream(), list.GetStream() + list.GetCount());
}

inline std::vector<unsigned int> Sorted(const TList<unsigned int>& list) {
    std::vector<unsigned int> out = Entries(list);
    std::sort(out.begin(), out.end());
    return out;
}

template <typename Mesh>
std::vector<unsigned int> FaceCorners(const Mesh& mesh, unsigned int f) {
    return {mesh.m_Faces[f].m_Corners[0], mesh.m_Faces[f].m_Corners[1], mesh.m_Faces[f].m_Corners[2]};
}

template <typename Mesh>
std::vector<unsigned int> Neighbours(const Mesh& mesh, unsigned int f) {
    const CFaceConnections& c = mesh.m_FaceConnectivity[f];
    return {c.m_Neighbours[0], c.m_Neighbours[1], c.m_Neighbours[2]};
}

// Every face's corners in order.
template <typename Mesh>
std::vector<unsigned int> AllCorners(const Mesh& mesh) {
    std::vector<unsigned int> out;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (unsigned int c : FaceCorners(mesh, f)) out.push_back(c);
    return out;
}

template <typename Mesh>
unsigned int AttributeOf(const Mesh& mesh, unsigned int v) {
    return static_cast<unsigned int>(mesh.m_VertexAttributes[v].m_Value);
}

// A vertex's colour, 0 for vertex types without one.
template <typename Mesh>
unsigned int ColourOf(const Mesh& mesh, unsigned int v) {
    unsigned int colour = 0;
    float x, y, z, nx, ny, nz;
    mesh.m_Vertices[v].GetData(x, y, z, nx, ny, nz, colour);
    return colour;
}

// Connectivity built from scratch and one zero attribute per vertex: the
// state the editing steps expect on entry.
template <typename Mesh>
void PrepareForEditing(Mesh& mesh) {
    BuildConnectivity(mesh);
    mesh.AllocateVertexAttributeBuffer();
    mesh.ResetAttributes();
}

// The face table must equal a fresh build exactly; the vertex tables must hold
// the same entries as a fresh build (their orders legitimately differ).
template <typename Mesh>
::testing::AssertionResult MatchesRebuild(Mesh& mesh) {
    Mesh fresh(mesh);
    fresh.AssignFaceConnectivity(true);
    fresh.AssignVertexConnectivity(true);
    if (mesh.m_FaceConnectivity.GetCount() != mesh.m_Faces.GetCount())
        return ::testing::AssertionFailure() << "face table has " << mesh.m_FaceConnectivity.GetCount()
                                             << " records for " << mesh.m_Faces.GetCount() << " faces";
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        if (!(mesh.m_FaceConnectivity[f] == fresh.m_FaceConnectivity[f]))
            return ::testing::AssertionFailure() << "face " << f << " neighbours differ from a rebuild";
    const unsigned int vertexCount = mesh.m_Vertices.GetCount();
    if (mesh.m_VertexConnectivity.GetCount() != vertexCount || mesh.m_VertexFaceConnectivity.GetCount() != vertexCount)
        return ::testing::AssertionFailure() << "vertex tables do not have one list per vertex";
    for (unsigned int v = 0; v < vertexCount; ++v) {
        if (Sorted(mesh.m_VertexConnectivity[v]) != Sorted(fresh.m_VertexConnectivity[v]))
            return ::testing::AssertionFailure() << "vertex " << v << " neighbours differ from a rebuild";
        if (Sorted(mesh.m_VertexFaceConnectivity[v]) != Sorted(fresh.m_VertexFaceConnectivity[v]))
            return ::testing::AssertionFailure() << "vertex " << v << " faces differ from a rebuild";
    }
    return ::testing::AssertionSuccess();
}

// Checks the tables against the live faces only (corner 0 differs from corner
// 1), computed here with standard containers, so that faces and vertices
// removed by collapse need no renumbering. A removed vertex (attribute 255)
// must not be used by any live face; its own lists are not examined.
template <typename Mesh>
::testing::AssertionResult LiveAdjacencyConsistent(const Mesh& mesh) {
    const unsigned int none = CFaceConnections::None;
    const unsigned int faceCount = mesh.m_Faces.GetCount();
    const unsigned int vertexCount = mesh.m_Vertices.GetCount();
    std::map<std::pair<unsigned int, unsigned int>, std::vector<unsigned int>> edges;
    std::vector<std::set<unsigned int>> neighbours(vertexCount);
    std::vector<std::vector<unsigned int>> faces(vertexCount);
    auto live = [&](unsigned int f) { return mesh.m_Faces[f].m_Corners[0] != mesh.m_Faces[f].m_Corners[1]; };
    for (unsigned int f = 0; f < faceCount; ++f) {
        if (!live(f)) continue;
        const std::vector<unsigned int> c = FaceCorners(mesh, f);
        if (c[1] == c[2] || c[2] == c[0]) return ::testing::AssertionFailure() << "live face " << f << " repeats a corner";
        for (int k = 0; k < 3; ++k) {
            if (mesh.m_VertexAttributes[c[k]].m_Value == 255)
                return ::testing::AssertionFailure() << "live face " << f << " uses removed vertex " << c[k];
            edges[std::minmax(c[k], c[(k + 1) % 3])].push_back(f);
            neighbours[c[k]].insert(c[(k + 1) % 3]);
            neighbours[c[k]].insert(c[(k + 2) % 3]);
            faces[c[k]].push_back(f);
        }
    }
    for (unsigned int f = 0; f < faceCount; ++f) {
        if (!live(f)) continue;
        const std::vector<unsigned int> c = FaceCorners(mesh, f);
        for (int k = 0; k < 3; ++k) {
            const std::vector<unsigned int>& sharing = edges[std::minmax(c[k], c[(k + 1) % 3])];
            if (sharing.size() > 2) return ::testing::AssertionFailure() << "edge of face " << f << " is non-manifold";
            const unsigned int expected = sharing.size() == 2 ? (sharing[0] == f ? sharing[1] : sharing[0]) : none;
            if (mesh.m_FaceConnectivity[f].m_Neighbours[k] != expected)
                return ::testing::AssertionFailure() << "face " << f << " slot " << k << " holds "
                                                     << mesh.m_FaceConnectivity[f].m_Neighbours[k] << ", expected "
                                                     << expected;
        }
    }
    for (unsigned int v = 0; v < vertexCount; ++v) {
        if (mesh.m_VertexAttributes[v].m_Value == 255) continue;
        const std::vector<unsigned int> expectedNeighbours(neighbours[v].begin(), neighbours[v].end());
        if (Sorted(mesh.m_VertexConnectivity[v]) != expectedNeighbours)
            return ::testing::AssertionFailure() << "vertex " << v << " neighbour list disagrees with the live faces";
        std::sort(faces[v].begin(), faces[v].end());
        if (Sorted(mesh.m_VertexFaceConnectivity[v]) != faces[v])
            return ::testing::AssertionFailure() << "vertex " << v << " face list disagrees with the live faces";
    }
    return ::testing::AssertionSuccess();
}

}  // namespace QuorvelTest
