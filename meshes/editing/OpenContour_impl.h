#pragma once

#include "quorvel/meshes/TMesh.h"

namespace Corvane::Pellix::Quorvel {

namespace detail {

template <typename Attribute>
bool IsContourMarked(const Attribute& attribute, const Attribute& mark) {
    return (attribute.m_Value & mark.m_Value) != 0;
}

template <typename Attribute>
void ClearContourMark(Attribute& attribute, const Attribute& mark) {
    typedef typename Attribute::ValueType Value;
    attribute.m_Value = static_cast<Value>(attribute.m_Value & static_cast<Value>(~mark.m_Value));
}

}  // namespace detail

// A greedy walk over boundary vertices, not over boundary edges: from each
// visited vertex it moves to the marked neighbour that has the fewest marked
// neighbours of its own, which keeps it on the rim and away from branches.
// The last vertex of a loop has no marked neighbour left once the walk stands
// beside it, so the choice rule never takes it; only the closing scan can.
template <typename Real, typename Vertex, typename Attribute, typename Index>
void TMesh<Real, Vertex, Attribute, Index>::ExtractOpenContour(const Attribute& mark, TPolygon<Real, Vector>* polygon) {
    MarkOpenVertices(mark);

    // The closing scan runs below whatever this holds when the walk ends: the
    // attribute count if the walk never started, otherwise the neighbour count
    // of the last visited vertex. So the closing point is found only among the
    // lowest-numbered vertices; contours of high-numbered rims stay one point
    // short. Callers depend on this bound as it is.
    unsigned int limit = m_VertexAttributes.GetCount();
    if (limit == 0)
        return;

    const unsigned int none = 0xFFFFFFFFu;
    unsigned int v = none;
    for (unsigned int u = 0; u < limit; ++u) {
        if (detail::IsContourMarked(m_VertexAttributes[u], mark)) {
            v = u;
            break;
        }
    }

    while (v != none) {
        detail::ClearContourMark(m_VertexAttributes[v], mark);
        polygon->Add(m_Vertices[v].m_Position);

        const TList<unsigned int>& neighbours = m_VertexConnectivity[v];
        limit = neighbours.GetCount();
        if (limit == 0)
            return;

        unsigned int next = none;
        unsigned int fewest = 0xFFFFFFFFu;
        for (unsigned int n = 0; n < limit; ++n) {
            const unsigned int w = neighbours[n];
            if (!detail::IsContourMarked(m_VertexAttributes[w], mark))
                continue;
            const TList<unsigned int>& around = m_VertexConnectivity[w];
            const unsigned int aroundCount = around.GetCount();
            unsigned int marked = 0;
            for (unsigned int k = 0; k < aroundCount; ++k)
                if (detail::IsContourMarked(m_VertexAttributes[around[k]], mark))
                    ++marked;
            // A marked neighbour with no marked neighbour left is a dead end.
            if (marked == 0)
                continue;
            if (marked < fewest) {
                fewest = marked;
                next = w;
            }
        }
        v = next;
    }

    for (unsigned int u = 0; u < limit; ++u) {
        if (detail::IsContourMarked(m_VertexAttributes[u], mark)) {
            detail::ClearContourMark(m_VertexAttributes[u], mark);
            polygon->Add(m_Vertices[u].m_Position);
            return;
        }
    }
}

}  // namespace Corvane::Pellix::Quorvel
