#pragma once

// What every result of RemeshPreservingShape must satisfy, and measures of
// its shape, computed here independently of the library's own code.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "MeshFixtures.h"
#include "editing/AdjacencyChecks.h"

namespace QuorvelTest {

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> ShapeMesh;

template <typename Mesh>
TVector3<double> Position(const Mesh& mesh, unsigned int v) {
    const auto& p = mesh.m_Vertices[v].m_Position;
    return TVector3<double>(p.x, p.y, p.z);
}

template <typename Mesh>
TVector3<double> AreaNormal(const Mesh& mesh, unsigned int f) {
    const TVector3<double> a = Position(mesh, mesh.m_Faces[f].m_Corners[0]);
    const TVector3<double> b = Position(mesh, mesh.m_Faces[f].m_Corners[1]);
    const TVector3<double> c = Position(mesh, mesh.m_Faces[f].m_Corners[2]);
    return (b - a) * (c - a);
}

// Directed edges of the faces, each with the number of faces that run along it.
template <typename Mesh>
std::map<std::pair<unsigned int, unsigned int>, int> DirectedEdges(const Mesh& mesh) {
    std::map<std::pair<unsigned int, unsigned int>, int> edges;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k)
            ++edges[std::make_pair(unsigned(mesh.m_Faces[f].m_Corners[k]),
                                   unsigned(mesh.m_Faces[f].m_Corners[(k + 1) % 3]))];
    return edges;
}

// The open edges as pairs of end positions, run the way their faces run them.
template <typename Mesh>
std::set<std::pair<TVector3<double>, TVector3<double>>> OpenEdges(const Mesh& mesh) {
    std::set<std::pair<TVector3<double>, TVector3<double>>> open;
    const auto edges = DirectedEdges(mesh);
    for (const auto& edge : edges)
        if (edges.count(std::make_pair(edge.first.second, edge.first.first)) == 0)
            open.insert(std::make_pair(Position(mesh, edge.first.first), Position(mesh, edge.first.second)));
    return open;
}

// The result is a clean oriented manifold whose derived lists are current:
// every corner in range and distinct, every vertex used, every edge run at
// most once each way (and, for a closed input, exactly once each way),
// finite positions and normals, zero attributes of the right counts, and
// connectivity tables equal to a fresh rebuild.
template <typename Mesh>
::testing::AssertionResult IsCleanResult(Mesh& mesh, bool closed) {
    const unsigned int vertexCount = mesh.m_Vertices.GetCount();
    const unsigned int faceCount = mesh.m_Faces.GetCount();
    std::vector<char> used(vertexCount, 0);
    for (unsigned int i = 0; i < 3 * faceCount; ++i) {
        const auto* c = mesh.m_Faces[i / 3].m_Corners;
        if (c[i % 3] >= vertexCount || c[i % 3] == c[(i + 1) % 3])
            return ::testing::AssertionFailure() << "face " << i / 3 << " indexes past the vertices or is degenerate";
        used[c[i % 3]] = 1;
    }
    for (unsigned int v = 0; v < vertexCount; ++v) {
        if (!used[v])
            return ::testing::AssertionFailure() << "vertex " << v << " is unreferenced";
        const auto &p = mesh.m_Vertices[v].m_Position, &n = mesh.m_Vertices[v].m_Normal;
        // A NaN or an infinity anywhere makes the sum not finite.
        if (!std::isfinite(double(p.x) + p.y + p.z + n.x + n.y + n.z))
            return ::testing::AssertionFailure() << "vertex " << v << " is not finite";
    }
    // The rebuild below refuses an edge run twice the same way.
    if (closed && ClosedEuler(mesh) == INT_MIN)
        return ::testing::AssertionFailure() << "a closed input gave an open edge";
    if (mesh.m_VertexAttributes.GetCount() != vertexCount || mesh.m_FaceAttributes.GetCount() != faceCount)
        return ::testing::AssertionFailure() << "attribute lists are not sized to the mesh";
    for (unsigned int i = 0; i < std::max(vertexCount, faceCount); ++i)
        if ((i < vertexCount && mesh.m_VertexAttributes[i].m_Value != 0) ||
            (i < faceCount && mesh.m_FaceAttributes[i].m_Value != 0))
            return ::testing::AssertionFailure() << "an attribute is set";
    return MatchesRebuild(mesh);
}

// The tables equal what the library's own rebuild gives for the same faces:
// the check for results that keep junk (repeated faces, edges of three
// faces), which a rebuild from first principles would refuse.
template <typename Mesh>
::testing::AssertionResult MatchesLibraryRebuild(Mesh& mesh) {
    Mesh fresh(mesh);
    BuildConnectivity(fresh);
    if (mesh.m_FaceConnectivity.GetCount() != fresh.m_FaceConnectivity.GetCount())
        return ::testing::AssertionFailure() << "the face table is not sized to the faces";
    for (unsigned int f = 0; f < fresh.m_FaceConnectivity.GetCount(); ++f)
        for (int k = 0; k < 3; ++k)
            if (mesh.m_FaceConnectivity[f].m_Neighbours[k] != fresh.m_FaceConnectivity[f].m_Neighbours[k])
                return ::testing::AssertionFailure() << "face " << f << " slot " << k << " differs from a rebuild";
    for (unsigned int v = 0; v < fresh.m_Vertices.GetCount(); ++v)
        if (Sorted(Entries(mesh.m_VertexConnectivity[v])) != Sorted(Entries(fresh.m_VertexConnectivity[v])))
            return ::testing::AssertionFailure() << "vertex " << v << " neighbours differ from a rebuild";
    return ::testing::AssertionSuccess();
}

// Faces of a surface that is star-shaped around the origin whose normal does
// not point away from the origin: folded or inverted faces.
template <typename Mesh>
unsigned int InwardFaces(const Mesh& mesh) {
    unsigned int count = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const TVector3<double> centre = Position(mesh, mesh.m_Faces[f].m_Corners[0]) +
                                        Position(mesh, mesh.m_Faces[f].m_Corners[1]) +
                                        Position(mesh, mesh.m_Faces[f].m_Corners[2]);
        count += !(AreaNormal(mesh, f) % centre > 0);
    }
    return count;
}

// Distance from p to the segment a-b.
inline double SegmentDistance(const TVector3<double>& p, const TVector3<double>& a, const TVector3<double>& b) {
    const TVector3<double> d = b - a;
    const double length2 = d % d;
    double t = length2 > 0 ? ((p - a) % d) / length2 : 0;
    t = t < 0 ? 0 : (t > 1 ? 1 : t);
    return p.DiffVectLen(a + d * t);
}

// Distance from p to the triangle a, b, c: to its plane when p projects
// inside it, otherwise to the nearest side.
inline double TriangleDistance(const TVector3<double>& p, const TVector3<double>& a, const TVector3<double>& b,
                               const TVector3<double>& c) {
    const TVector3<double> n = (b - a) * (c - a);
    const double n2 = n % n;
    if (n2 > 0) {
        const TVector3<double> q = p - n * (((p - a) % n) / n2);
        const bool inside =
            ((b - a) * (q - a)) % n >= 0 && ((c - b) * (q - b)) % n >= 0 && ((a - c) * (q - c)) % n >= 0;
        if (inside)
            return p.DiffVectLen(q);
    }
    return std::min(SegmentDistance(p, a, b), std::min(SegmentDistance(p, b, c), SegmentDistance(p, c, a)));
}

// The distance from p to the surface of `surface`, by brute force.
template <typename Mesh>
double DistanceToSurface(const TVector3<double>& p, const Mesh& surface) {
    double nearest = 1e300;
    for (unsigned int f = 0; f < surface.m_Faces.GetCount() && nearest > 0; ++f) {
        const auto* c = surface.m_Faces[f].m_Corners;
        nearest = std::min(
            nearest, TriangleDistance(p, Position(surface, c[0]), Position(surface, c[1]), Position(surface, c[2])));
    }
    return nearest;
}

// The largest distance from a vertex of `mesh` to the surface of `surface`.
template <typename Mesh>
double FarthestVertex(const Mesh& mesh, const Mesh& surface) {
    double farthest = 0;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        farthest = std::max(farthest, DistanceToSurface(Position(mesh, v), surface));
    return farthest;
}

// Edges whose two faces turn against each other (normals more than 90
// degrees apart, or as far apart as minCosine says): folds, on a surface as
// smooth as the test inputs (on one with right-angled creases, count from
// further apart).
template <typename Mesh>
unsigned int FoldedEdges(const Mesh& mesh, double minCosine = 0) {
    std::map<std::pair<unsigned int, unsigned int>, unsigned int> faceOf;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k)
            faceOf[std::make_pair(unsigned(mesh.m_Faces[f].m_Corners[k]),
                                  unsigned(mesh.m_Faces[f].m_Corners[(k + 1) % 3]))] = f;
    unsigned int folded = 0;
    for (const auto& entry : faceOf) {
        if (entry.first.first > entry.first.second)
            continue;
        const auto other = faceOf.find(std::make_pair(entry.first.second, entry.first.first));
        if (other != faceOf.end()) {
            const TVector3<double> n1 = AreaNormal(mesh, entry.second), n2 = AreaNormal(mesh, other->second);
            folded += !(n1 % n2 > minCosine * n1.GetLength() * n2.GetLength());
        }
    }
    return folded;
}

// The smallest corner angle of all faces.
template <typename Mesh>
double SmallestAngleInDegrees(const Mesh& mesh) {
    double smallest = 180;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) {
            const TVector3<double> a = Position(mesh, mesh.m_Faces[f].m_Corners[k]);
            const TVector3<double> u = Position(mesh, mesh.m_Faces[f].m_Corners[(k + 1) % 3]) - a;
            const TVector3<double> w = Position(mesh, mesh.m_Faces[f].m_Corners[(k + 2) % 3]) - a;
            smallest = std::min(smallest, std::atan2((u * w).GetLength(), u % w) * 180 / Pi);
        }
    return smallest;
}

// The mean length of the edges, each counted once: the target the tool
// picks by default.
template <typename Mesh>
double MeanEdge(const Mesh& mesh) {
    double sum = 0;
    unsigned int count = 0;
    const auto edges = DirectedEdges(mesh);
    for (const auto& edge : edges)
        if (edge.first.first < edge.first.second ||
            edges.count(std::make_pair(edge.first.second, edge.first.first)) == 0) {
            sum += Position(mesh, edge.first.first).DiffVectLen(Position(mesh, edge.first.second));
            ++count;
        }
    return sum / count;
}

// The plain mean over the faces' sides (each inner edge counted twice).
template <typename Mesh>
double MeanSide(const Mesh& mesh) {
    double sum = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k)
            sum += Position(mesh, mesh.m_Faces[f].m_Corners[k])
                       .DiffVectLen(Position(mesh, mesh.m_Faces[f].m_Corners[(k + 1) % 3]));
    return sum / (3.0 * mesh.m_Faces.GetCount());
}

// Signed volume, computed here rather than with GetVolume.
template <typename Mesh>
double EnclosedVolume(const Mesh& mesh) {
    double volume = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        volume += Position(mesh, mesh.m_Faces[f].m_Corners[0]) % AreaNormal(mesh, f) / 6.0;
    return volume;
}

}  // namespace QuorvelTest
