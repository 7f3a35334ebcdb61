#pragma once

// Independent views of a mesh's adjacency, for checking that a local edit kept
// the three tables in step with its faces.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "MeshFixtures.h"

namespace QuorvelTest {

typedef std::vector<unsigned int> V;
const unsigned int None = CFaceConnections::None;

inline V Entries(const TList<unsigned int>& list) {
    return V(list.GetStream(), list.GetStream() + list.GetCount());
}

inline V Sorted(V list) {
    std::sort(list.begin(), list.end());
    return list;
}

template <typename Mesh>
V FaceCorners(const Mesh& mesh, unsigned int f) {
    return {mesh.m_Faces[f].m_Corners[0], mesh.m_Faces[f].m_Corners[1], mesh.m_Faces[f].m_Corners[2]};
}

template <typename Mesh>
V Neighbours(const Mesh& mesh, unsigned int f) {
    const unsigned int* n = mesh.m_FaceConnectivity[f].m_Neighbours;
    return {n[0], n[1], n[2]};
}

// Every face's corners in order.
template <typename Mesh>
V AllCorners(const Mesh& mesh) {
    V out;
    for (unsigned int i = 0; i < 3 * mesh.m_Faces.GetCount(); ++i)
        out.push_back(mesh.m_Faces[i / 3].m_Corners[i % 3]);
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

// The kept tables must equal tables rebuilt from scratch over the live faces
// (corner 0 differs from corner 1): slot k names the face across the edge
// from corner k to corner k + 1, and vertex lists hold the same entries
// (their orders legitimately differ). Live faces must form a consistently
// wound manifold and use no removed vertex (attribute 255), whose own lists
// are not examined, so collapsed faces and vertices need no renumbering.
template <typename Mesh>
::testing::AssertionResult MatchesRebuild(const Mesh& mesh) {
    const unsigned int faceCount = mesh.m_Faces.GetCount(), vertexCount = mesh.m_Vertices.GetCount();
    if (mesh.m_FaceConnectivity.GetCount() != faceCount || mesh.m_VertexConnectivity.GetCount() != vertexCount ||
        mesh.m_VertexFaceConnectivity.GetCount() != vertexCount)
        return ::testing::AssertionFailure() << "the tables do not hold one record per face and per vertex";
    std::map<std::pair<unsigned int, unsigned int>, unsigned int> faceOf;  // directed edge -> its face
    std::vector<std::set<unsigned int>> neighbours(vertexCount);
    std::vector<V> faces(vertexCount);
    for (unsigned int f = 0; f < faceCount; ++f) {
        const V c = FaceCorners(mesh, f);
        for (int k = 0; c[0] != c[1] && k < 3; ++k) {
            const auto edge = std::make_pair(c[k], c[(k + 1) % 3]);
            if (edge.first == edge.second || AttributeOf(mesh, edge.first) == 255 || !faceOf.emplace(edge, f).second)
                return ::testing::AssertionFailure() << "live face " << f << " repeats a corner, uses a removed vertex "
                                                     << "or shares a directed edge";
            neighbours[c[k]].insert({edge.second, c[(k + 2) % 3]});
            faces[c[k]].push_back(f);
        }
    }
    for (unsigned int f = 0; f < faceCount; ++f) {
        const V c = FaceCorners(mesh, f);
        for (int k = 0; c[0] != c[1] && k < 3; ++k) {
            const auto across = faceOf.find(std::make_pair(c[(k + 1) % 3], c[k]));
            if (mesh.m_FaceConnectivity[f].m_Neighbours[k] != (across == faceOf.end() ? None : across->second))
                return ::testing::AssertionFailure() << "face " << f << " slot " << k << " differs from a rebuild";
        }
    }
    for (unsigned int v = 0; v < vertexCount; ++v)
        if (AttributeOf(mesh, v) != 255 &&
            (Sorted(Entries(mesh.m_VertexConnectivity[v])) != V(neighbours[v].begin(), neighbours[v].end()) ||
             Sorted(Entries(mesh.m_VertexFaceConnectivity[v])) != faces[v]))
            return ::testing::AssertionFailure() << "vertex " << v << " lists differ from a rebuild";
    return ::testing::AssertionSuccess();
}

// V - E + F over the live faces and the vertices they use, read from the
// faces alone; INT_MIN unless those faces form a closed, consistently wound
// manifold. A sphere gives 2.
template <typename Mesh>
int ClosedEuler(const Mesh& mesh) {
    std::set<std::pair<unsigned int, unsigned int>> directed;
    std::set<unsigned int> used;
    int faces = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const V c = FaceCorners(mesh, f);
        for (int k = 0; c[0] != c[1] && k < 3; ++k) {
            used.insert(c[k]);
            if (c[k] >= mesh.m_Vertices.GetCount() || c[k] == c[(k + 1) % 3] ||
                !directed.emplace(c[k], c[(k + 1) % 3]).second)
                return INT_MIN;
        }
        faces += c[0] != c[1];
    }
    for (const auto& edge : directed)
        if (!directed.count(std::make_pair(edge.second, edge.first)))
            return INT_MIN;
    return int(used.size()) - int(directed.size() / 2) + faces;
}

}  // namespace QuorvelTest
