#pragma once

#include <omp.h>

#include <cstdint>

#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

namespace detail {

// Empties the first `count` lists of a table in place. Each inner list keeps
// its array, so a repeated rebuild of an unchanged mesh allocates nothing.
inline void EmptyLists(CVertexConnections& table, unsigned int count) {
    for (unsigned int v = 0; v < count; ++v)
        table[v].Clear(false);
}

// Meshes of fewer faces build their face connectivity on the calling thread.
constexpr std::int64_t ParallelConnectivityFaces = 8192;

// Fresh empty lists, one per vertex, grow size 6 (the valence of a regular
// interior vertex, so most lists allocate exactly once).
inline void ReallocateLists(CVertexConnections& table, unsigned int count) {
    table.Allocate(0, 6);
    table.Allocate(count, 6);
}

// The lists AssignVertexConnectivity(true) makes, entry for entry, read off
// current vertex-face lists instead of scattered from the faces: a vertex's
// faces ascend in its list, so visiting them in turn makes the same
// insertions into its neighbour list in the same order, and each list is
// filled by one thread.
template <typename Mesh>
void AssignVertexConnectivityFromFaceLists(Mesh& mesh) {
    const unsigned int vertexCount = mesh.m_Vertices.GetCount();
    ReallocateLists(mesh.m_VertexConnectivity, vertexCount);
    const auto* const faces = mesh.m_Faces.GetStream();
    const std::int64_t vertexEntries = vertexCount;
#pragma omp parallel for schedule(static) if (vertexEntries >= ParallelConnectivityFaces / 2)
    for (std::int64_t entry = 0; entry < vertexEntries; ++entry) {
        const unsigned int v = static_cast<unsigned int>(entry);
        const TList<unsigned int>& around = mesh.m_VertexFaceConnectivity[v];
        TList<unsigned int>& neighbours = mesh.m_VertexConnectivity[v];
        const unsigned int* const listed = around.GetStream();
        const unsigned int count = around.GetCount();
        for (unsigned int i = 0; i < count; ++i) {
            // A face naming v twice is listed twice, and inserts for both
            // corners on its first visit, as the face scan does.
            if (i > 0 && listed[i - 1] == listed[i])
                continue;
            const unsigned int corners[3] = {faces[listed[i]].m_Corners[0], faces[listed[i]].m_Corners[1],
                                             faces[listed[i]].m_Corners[2]};
            for (int k = 0; k < 3; ++k) {
                if (corners[k] != v)
                    continue;
                neighbours.AddUnique(corners[k == 0 ? 1 : 0]);
                neighbours.AddUnique(corners[k == 2 ? 1 : 2]);
            }
        }
    }
}

}  // namespace detail

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::AssignVertexFaceConnectivity(bool reallocate) {
    const unsigned int vertexCount = m_Vertices.GetCount();
    if (reallocate)
        detail::ReallocateLists(m_VertexFaceConnectivity, vertexCount);
    else
        detail::EmptyLists(m_VertexFaceConnectivity, vertexCount);

    // Faces are appended in ascending order, so every list comes out sorted;
    // a face naming a vertex twice appears twice in its list. Each thread
    // fills the lists of its own run of vertices, scanning all faces in
    // order: every list gets the same additions in the same order as on one
    // thread, and its own thread alone touches it.
    const unsigned int faceCount = m_Faces.GetCount();
    const Face* faces = m_Faces.GetStream();
#pragma omp parallel if (std::int64_t(faceCount) >= detail::ParallelConnectivityFaces)
    {
        const std::uint64_t threads = static_cast<std::uint64_t>(omp_get_num_threads());
        const std::uint64_t thread = static_cast<std::uint64_t>(omp_get_thread_num());
        const unsigned int low = static_cast<unsigned int>(vertexCount * thread / threads);
        const unsigned int high = static_cast<unsigned int>(vertexCount * (thread + 1) / threads);
        for (unsigned int f = 0; f < faceCount; ++f) {
            const Index* corners = faces[f].m_Corners;
            for (int k = 0; k < 3; ++k) {
                const unsigned int v = corners[k];
                if (v >= low && v < high)
                    m_VertexFaceConnectivity[v].Add(f);
            }
        }
    }
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::AssignVertexConnectivity(bool reallocate) {
    const unsigned int vertexCount = m_Vertices.GetCount();
    if (reallocate)
        detail::ReallocateLists(m_VertexConnectivity, vertexCount);
    else
        detail::EmptyLists(m_VertexConnectivity, vertexCount);

    // The order of the six insertions fixes the order of every neighbour
    // list, which edge operations and their callers depend on. A repeated
    // corner is not filtered, so such a vertex becomes its own neighbour.
    const unsigned int faceCount = m_Faces.GetCount();
    const Face* faces = m_Faces.GetStream();
    for (unsigned int f = 0; f < faceCount; ++f) {
        const unsigned int a = faces[f].m_Corners[0];
        const unsigned int b = faces[f].m_Corners[1];
        const unsigned int c = faces[f].m_Corners[2];
        TList<unsigned int>& la = m_VertexConnectivity[a];
        la.AddUnique(b);
        la.AddUnique(c);
        TList<unsigned int>& lb = m_VertexConnectivity[b];
        lb.AddUnique(a);
        lb.AddUnique(c);
        TList<unsigned int>& lc = m_VertexConnectivity[c];
        lc.AddUnique(a);
        lc.AddUnique(b);
    }
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::AssignFaceConnectivity(bool assignVertexFaceConnectivity) {
    if (assignVertexFaceConnectivity)
        AssignVertexFaceConnectivity(true);

    const unsigned int faceCount = m_Faces.GetCount();
    // Never shrunk: surplus records of an earlier, larger mesh stay behind.
    m_FaceConnectivity.Expand(faceCount);

    const Face* faces = m_Faces.GetStream();
    CFaceConnections* connectivity = m_FaceConnectivity.GetStream();
    // Each face's record is written by the face alone and read from lists
    // no one writes meanwhile, so the threads share the scan with the same
    // result; a small mesh is not worth waking them for.
    const std::int64_t faceEntries = faceCount;
#pragma omp parallel for schedule(static) if (faceEntries >= detail::ParallelConnectivityFaces)
    for (std::int64_t entry = 0; entry < faceEntries; ++entry) {
        const unsigned int f = static_cast<unsigned int>(entry);
        const unsigned int corners[3] = {faces[f].m_Corners[0], faces[f].m_Corners[1], faces[f].m_Corners[2]};
        const unsigned int a = corners[0], b = corners[1], c = corners[2];
        unsigned int* neighbours = connectivity[f].m_Neighbours;
        neighbours[0] = neighbours[1] = neighbours[2] = CFaceConnections::None;

        // A later match overwrites an earlier one: on an edge shared by more
        // than two faces the slot keeps the last of them in this scan order,
        // and a duplicate of f (all three corners shared) lands in slot 0 only.
        // Lists just rebuilt are sorted, so each slot ends at its highest
        // match whichever list holds it: every face across a side is in a's
        // or b's list, and c's list can only move slot 0, to a duplicate of
        // f, which a's list holds too. Then c's list is read only where a's
        // held a duplicate.
        bool duplicate = !assignVertexFaceConnectivity;
        for (int k = 0; k < 3; ++k) {
            if (k == 2 && !duplicate)
                break;
            const TList<unsigned int>& around = m_VertexFaceConnectivity[corners[k]];
            const unsigned int* candidates = around.GetStream();
            const unsigned int count = around.GetCount();
            for (unsigned int i = 0; i < count; ++i) {
                const unsigned int g = candidates[i];
                if (g == f)
                    continue;
                const Index* other = faces[g].m_Corners;
                const unsigned int g0 = other[0], g1 = other[1], g2 = other[2];
                const bool hasA = g0 == a || g1 == a || g2 == a;
                const bool hasB = g0 == b || g1 == b || g2 == b;
                const bool hasC = g0 == c || g1 == c || g2 == c;
                duplicate = duplicate || (hasA && hasB && hasC);
                if (hasA && hasB)
                    neighbours[0] = g;
                else if (hasA && hasC)
                    neighbours[2] = g;
                else if (!hasA && hasB && hasC)
                    neighbours[1] = g;
            }
        }
    }
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::ClearVertexConnectivity() {
    m_VertexConnectivity.Allocate(0, 6);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::ClearVertexFaceConnectivty() {
    m_VertexFaceConnectivity.Allocate(0, 6);
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::SetFaceConnection(CFaceConnections* connections, int cornerA, int cornerB,
                                                              unsigned int face) {
    // Slot 2 also takes every pair that names no edge (equal corners, corners
    // above 2); callers patching records rely on never writing out of range.
    int slot = 2;
    if ((cornerA == 0 && cornerB == 1) || (cornerA == 1 && cornerB == 0))
        slot = 0;
    else if ((cornerA == 1 && cornerB == 2) || (cornerA == 2 && cornerB == 1))
        slot = 1;
    connections->m_Neighbours[slot] = face;
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::FindMatchedEdge(CFaceConnections& connections, unsigned int face,
                                                            unsigned int* firstCorner, unsigned int* secondCorner) {
    for (unsigned int k = 0; k < 3; ++k) {
        if (connections.m_Neighbours[k] == face) {
            *firstCorner = k;
            *secondCorner = (k + 1) % 3;
            return;
        }
    }
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
int TMesh<Real, Vertex, Attribute, Index>::CalculateValenceSum(int* const a, int* const b) {
    // Wraps modulo 2^32 on overflow; unsigned arithmetic gives the same bits
    // without the undefined behaviour of signed overflow.
    unsigned int sum = 0;
    for (int i = 0; i < 4; ++i) {
        const unsigned int d = static_cast<unsigned int>(a[i]) - static_cast<unsigned int>(b[i]);
        sum += d * d;
    }
    return static_cast<int>(sum);
}

// Hooks kept with their signatures; they check nothing in this library.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::CheckMeshValidity() { }

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::CheckNeighbourValidity(unsigned int /*face*/) { }

}  // namespace Corvane::Pellix::Quorvel
