#pragma once

#include <omp.h>

#include "quorvel/meshes/MeshObject_impl.h"
#include "quorvel/meshes/NormalsAndAttributes_impl.h"
#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

namespace detail {

// A char mask is widened with its sign, so a mask with bit 7 set also tests
// every higher bit of a 16- or 32-bit flag word.
template <typename Attribute>
typename Attribute::ValueType WidenMask(char mask) {
    return static_cast<typename Attribute::ValueType>(static_cast<signed char>(mask));
}

}  // namespace detail

// Jacobi smoothing: every new position comes from the positions of the
// previous iteration only, so the result is the same for any thread count.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::Smooth(unsigned int iterations, char fixedMask, char regionMask,
                                                   char outwardMask) {
    typedef typename Attribute::ValueType Flags;
    const unsigned int count = m_Vertices.GetCount();

    // Default vertices, colour included, are all zero. The scratch colour is
    // never filled from the mesh, so the copy-back zeroes the colours of
    // coloured meshes; a vertex that stays gets the scratch normal. Both are
    // side effects that callers see and that are kept.
    TList<Vertex> scratch(count, 1000u);
    scratch.Expand(count);

    const Flags fixedFlags = detail::WidenMask<Attribute>(fixedMask);
    const Flags regionFlags = detail::WidenMask<Attribute>(regionMask);
    const Flags outwardFlags = detail::WidenMask<Attribute>(outwardMask);

    Vertex* const vertices = m_Vertices.GetStream();
    Vertex* const work = scratch.GetStream();
    // Read only where a mask is set, so a mesh without attributes can be
    // smoothed with all masks 0.
    const Attribute* const attributes = m_VertexAttributes.GetStream();
    const CVertexConnections& neighbours = m_VertexConnectivity;

    for (unsigned int iteration = 0; iteration < iterations; ++iteration) {
#pragma omp parallel
        {
            // One contiguous block per thread, shared by both loops: a thread
            // writes only its own block of the scratch list and then only its
            // own block of the mesh.
            const unsigned int threads = static_cast<unsigned int>(omp_get_num_threads());
            const unsigned int thread = static_cast<unsigned int>(omp_get_thread_num());
            const unsigned int share = count / threads;
            const unsigned int rest = count % threads;
            const unsigned int begin = thread * share + (thread < rest ? thread : rest);
            const unsigned int end = begin + share + (thread < rest ? 1u : 0u);

            for (unsigned int i = begin; i < end; ++i) {
                Vertex& target = work[i];
                const Vertex& source = vertices[i];
                target.m_Position = source.m_Position;
                if (fixedFlags != 0 && (attributes[i].m_Value & fixedFlags) != 0)
                    continue;
                if (regionFlags != 0 && (attributes[i].m_Value & regionFlags) == 0)
                    continue;

                const TList<unsigned int>& around = neighbours[i];
                const unsigned int neighbourCount = around.GetCount();
                unsigned int excluded = 0;
                for (unsigned int n = 0; n < neighbourCount; ++n) {
                    const unsigned int m = around[n];
                    if (regionFlags != 0 && (attributes[m].m_Value & regionFlags) == 0)
                        ++excluded;
                    else
                        target.m_Position += vertices[m].m_Position;
                }
                // The vertex itself weighs as much as one neighbour.
                target.m_Position /= static_cast<Real>(neighbourCount - excluded + 1);
                target.m_Normal = source.m_Normal;

                // Flagged vertices may only move to the side their normal
                // points to; any other move is cancelled whole.
                if (outwardFlags != 0 && (attributes[i].m_Value & outwardFlags) != 0 &&
                    (target.m_Position - source.m_Position) % source.m_Normal <= 0)
                    target.m_Position = source.m_Position;
            }

            // The first loop reads neighbours that other threads overwrite in
            // the second.
#pragma omp barrier

            for (unsigned int i = begin; i < end; ++i)
                vertices[i] = work[i];
        }  // the region's closing barrier ends the iteration
    }

    detail::AssignVertexNormalsInParallel(*this);
}

// Five passes of plain neighbour averaging for the remeshing loop. The vertex
// normals serve as the scratch positions, so the caller must recompute them.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::RelaxVertices() {
    typedef typename Attribute::ValueType Flags;
    const Flags removed = 255;
    const unsigned int count = m_Vertices.GetCount();

    for (int pass = 0; pass < 5; ++pass) {
        for (unsigned int v = 0; v < count; ++v) {
            const Flags flags = m_VertexAttributes[v].m_Value;
            if (flags == removed)
                continue;
            Vertex& vertex = m_Vertices[v];
            if ((flags & 1) != 0) {
                vertex.m_Normal = vertex.m_Position;
                continue;
            }
            const TList<unsigned int>& around = m_VertexConnectivity[v];
            const unsigned int neighbourCount = around.GetCount();
            Vector sum;
            for (unsigned int n = 0; n < neighbourCount; ++n)
                sum += m_Vertices[around[n]].m_Position;
            // A vertex without neighbours divides by zero; that is not guarded.
            vertex.m_Normal = sum / static_cast<Real>(neighbourCount);
        }
        // Removed vertices take their stale normal as position too; nothing
        // may rely on where they end up.
        for (unsigned int v = 0; v < count; ++v)
            m_Vertices[v].m_Position = m_Vertices[v].m_Normal;
    }
}

template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::Offset(Real distance) {
    const unsigned int count = m_Vertices.GetCount();
    for (unsigned int v = 0; v < count; ++v) {
        Vector direction = m_Vertices[v].m_Normal;
        direction.Normalise();
        m_Vertices[v].m_Position += direction * distance;
    }
    AssignVertexNormals();
    detail::RebuildBox(m_BoundingBox, m_Vertices);
}

}  // namespace Corvane::Pellix::Quorvel
