#pragma once

// Walks of a CBoxHierarchy shared by the triangle and point trees, the mesh
// tree's queries and the shape-preserving remesh's projection. Each walk keeps its stack on the C++ stack: no heap
// allocation, and any number of threads may walk one tree at once.

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "quorvel/meshes/queries/CBoxHierarchy.h"
#include "quorvel/meshes/queries/QueryOrder.h"

namespace Corvane::Pellix::Quorvel::TreeWalk {

typedef CBoxHierarchy::CNode CNode;

constexpr unsigned int StackSize = CBoxHierarchy::MaxDepth + 8;

// A line origin + t * direction against boxes grown by `pad` on every side.
// Per axis the ray knows which face of a box it enters by and which it
// leaves by, and the offsets from those faces to its origin, so a box costs
// two additions and two multiplications an axis and no branch.
//
// A zero component gives an infinite reciprocal; a bound that then comes
// out as 0 * inf = NaN is ignored by the comparisons below, so such a slab
// never rejects: the walk errs towards visiting.
class CRay {
public:
    CRay(const double origin[3], const double direction[3], double pad) {
        for (int k = 0; k < 3; ++k) {
            m_Inverse[k] = 1.0 / direction[k];
            const bool backwards = m_Inverse[k] < 0;
            m_Near[k] = backwards ? 3 + k : k;
            m_Far[k] = backwards ? k : 3 + k;
            m_NearOffset[k] = (backwards ? pad : -pad) - origin[k];
            m_FarOffset[k] = (backwards ? -pad : pad) - origin[k];
        }
    }

    // Parameter interval of the grown box clipped to [tNear, tFar]; false
    // when empty.
    bool Clip(const CNode& node, double& tNear, double tFar) const {
        // m_Min and m_Max are one run of six floats.
        const float* bounds = node.m_Min;
        double t0 = tNear, t1 = tFar;
        for (int k = 0; k < 3; ++k) {
            const double a = (double(bounds[m_Near[k]]) + m_NearOffset[k]) * m_Inverse[k];
            const double b = (double(bounds[m_Far[k]]) + m_FarOffset[k]) * m_Inverse[k];
            if (a > t0)
                t0 = a;
            if (b < t1)
                t1 = b;
        }
        if (!(t0 <= t1))
            return false;
        tNear = t0;
        return true;
    }

private:
    double m_Inverse[3];
    double m_NearOffset[3];
    double m_FarOffset[3];
    int m_Near[3];
    int m_Far[3];
};

static_assert(offsetof(CNode, m_Max) == offsetof(CNode, m_Min) + 3 * sizeof(float),
              "a node's bounds must be six consecutive floats");

// Every leaf whose grown box meets the line between tNear and tFar, nearer
// boxes first. leaf(first, count, tFar) may lower tFar to prune what lies
// beyond; it returns false to end the walk.
template <class Leaf>
void AlongRay(const CBoxHierarchy& tree, const CRay& ray, double tNear, double& tFar, Leaf&& leaf) {
    const CNode* nodes = tree.GetNodes().data();
    if (tree.IsEmpty())
        return;
    struct CEntry {
        std::uint32_t m_Node;
        double m_Near;
    } stack[StackSize];
    unsigned int top = 0;
    double t = tNear;
    if (!ray.Clip(nodes[0], t, tFar))
        return;
    stack[top++] = {0, t};
    while (top > 0) {
        const CEntry entry = stack[--top];
        if (entry.m_Near > tFar)
            continue;
        const CNode& node = nodes[entry.m_Node];
        if (node.IsLeaf()) {
            if (!leaf(node.m_First, node.m_Count, tFar))
                return;
            continue;
        }
        double ta = tNear, tb = tNear;
        const bool a = ray.Clip(nodes[node.m_First], ta, tFar);
        const bool b = ray.Clip(nodes[node.m_First + 1], tb, tFar);
        if (a && b) {
            if (ta <= tb) {
                stack[top++] = {node.m_First + 1, tb};
                stack[top++] = {node.m_First, ta};
            } else {
                stack[top++] = {node.m_First, ta};
                stack[top++] = {node.m_First + 1, tb};
            }
        } else if (a) {
            stack[top++] = {node.m_First, ta};
        } else if (b) {
            stack[top++] = {node.m_First + 1, tb};
        }
    }
}

inline double BoxDistanceSquared(const CNode& node, const double p[3]) {
#if defined(__SSE2__)
    // x and y side by side, z alone, with no branch: the operations below,
    // lane by lane, and the terms summed in the same order, so the same sum
    // to the last bit. A maximum keeps its second operand where either is
    // not a number, so a NaN gap adds nothing here either.
    const auto pair = [](const float* two) {
        return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(two))));
    };
    const __m128d zero = _mm_setzero_pd();
    const __m128d pxy = _mm_loadu_pd(p), pz = _mm_load_sd(p + 2);
    __m128d xy = _mm_max_pd(_mm_sub_pd(pair(node.m_Min), pxy), _mm_sub_pd(pxy, pair(node.m_Max)));
    xy = _mm_max_pd(xy, zero);
    xy = _mm_mul_pd(xy, xy);
    __m128d z = _mm_max_sd(_mm_sub_sd(_mm_set_sd(double(node.m_Min[2])), pz),
                           _mm_sub_sd(pz, _mm_set_sd(double(node.m_Max[2]))));
    z = _mm_max_sd(z, zero);
    z = _mm_mul_sd(z, z);
    return _mm_cvtsd_f64(_mm_add_sd(_mm_add_sd(xy, _mm_unpackhi_pd(xy, xy)), z));
#else
    double sum = 0;
    for (int k = 0; k < 3; ++k) {
        const double below = double(node.m_Min[k]) - p[k];
        const double above = p[k] - double(node.m_Max[k]);
        const double outside = below > above ? below : above;
        if (outside > 0)
            sum += outside * outside;
    }
    return sum;
#endif
}

// Nearest (below), confined to the subtree below node `subtree`, whose box
// lies at `distance` (squared, as BoxDistanceSquared gives it) from p: for a
// caller that has measured it already.
template <class Leaf>
void NearestBelow(const CBoxHierarchy& tree, std::uint32_t subtree, double distance, const double p[3], double& bound,
                  Leaf& leaf) {
    const CNode* nodes = tree.GetNodes().data();
    struct CEntry {
        std::uint32_t m_Node;
        double m_Distance;
    } stack[StackSize];
    unsigned int top = 0;
    stack[top++] = {subtree, distance};
    while (top > 0) {
        const CEntry entry = stack[--top];
        if (entry.m_Distance > bound)
            continue;
        const CNode& node = nodes[entry.m_Node];
        if (node.IsLeaf()) {
            leaf(node.m_First, node.m_Count, bound);
            continue;
        }
        const double da = BoxDistanceSquared(nodes[node.m_First], p);
        const double db = BoxDistanceSquared(nodes[node.m_First + 1], p);
        if (da <= db) {
            if (db <= bound)
                stack[top++] = {node.m_First + 1, db};
            if (da <= bound)
                stack[top++] = {node.m_First, da};
        } else {
            if (da <= bound)
                stack[top++] = {node.m_First, da};
            if (db <= bound)
                stack[top++] = {node.m_First + 1, db};
        }
    }
}

// Nearest (below), confined to the subtree below node `subtree`.
template <class Leaf>
void NearestBelow(const CBoxHierarchy& tree, std::uint32_t subtree, const double p[3], double& bound, Leaf& leaf) {
    NearestBelow(tree, subtree, BoxDistanceSquared(tree.GetNodes()[subtree], p), p, bound, leaf);
}

// Leaves in order of their boxes' distance from p, skipping those farther
// than bound (squared). leaf(first, count, bound) lowers bound as it finds
// nearer primitives. Boxes at exactly the bound are still visited, so a tie
// in a later box can still be weighed by its index.
template <class Leaf>
void Nearest(const CBoxHierarchy& tree, const double p[3], double& bound, Leaf&& leaf) {
    if (tree.IsEmpty())
        return;
    NearestBelow(tree, 0, p, bound, leaf);
}

// Links for walks that start at a leaf instead of the root: the parent of
// every node and the leaf of every position of the tree's order. Built in
// one pass over the nodes; stale once the tree is built again.
class CLinks {
public:
    static constexpr std::uint32_t NoNode = 0xFFFFFFFFu;

    void Build(const CBoxHierarchy& tree) {
        const CBoxHierarchy::CNodes& nodes = tree.GetNodes();
        m_Parent.assign(nodes.size(), NoNode);
        m_Leaf.assign(tree.GetOrder().size(), NoNode);
        for (std::uint32_t n = 0; n < nodes.size(); ++n) {
            // Node 1 is padding: neither a leaf nor anyone's child.
            if (n == 1)
                continue;
            const CNode& node = nodes[n];
            if (node.IsLeaf()) {
                for (std::uint32_t i = node.m_First; i < node.m_First + node.m_Count; ++i)
                    m_Leaf[i] = n;
            } else {
                m_Parent[node.m_First] = m_Parent[node.m_First + 1] = n;
            }
        }
    }

    std::vector<std::uint32_t> m_Parent;
    std::vector<std::uint32_t> m_Leaf;
};

// Nearest for a point near an earlier one: the walk starts at the leaf of
// position `start` (typically the earlier answer, whose distance the caller
// has put into bound) and climbs to the root, entering every sibling subtree
// whose box lies within the bound. It visits the leaves that Nearest would
// visit, less those its tighter start rules out, in another order: a caller
// that must break ties independently of the order does so in leaf(). A
// leaf() that sets bound below zero ends the walk, as no box lies within it:
// a caller content with any primitive within reach stops at the first.
// `links` must have been built from this tree.
template <class Leaf>
void NearestFrom(const CBoxHierarchy& tree, const CLinks& links, std::uint32_t start, const double p[3], double& bound,
                 Leaf&& leaf) {
    if (tree.IsEmpty())
        return;
    const CNode* nodes = tree.GetNodes().data();
    std::uint32_t node = links.m_Leaf[start];
    NearestBelow(tree, node, p, bound, leaf);
    // Siblings are the two nodes of one even-odd pair.
    for (std::uint32_t parent = links.m_Parent[node]; parent != CLinks::NoNode && !(bound < 0);
         parent = links.m_Parent[node]) {
        const std::uint32_t sibling = node ^ 1u;
        if (BoxDistanceSquared(nodes[sibling], p) <= bound)
            NearestBelow(tree, sibling, p, bound, leaf);
        node = parent;
    }
}

inline bool Overlap(const CNode& a, const CNode& b, double pad) {
    for (int k = 0; k < 3; ++k) {
        // Negated so that a NaN bound never separates.
        if (double(a.m_Min[k]) - pad > double(b.m_Max[k]))
            return false;
        if (double(b.m_Min[k]) - pad > double(a.m_Max[k]))
            return false;
    }
    return true;
}

// Every pair of leaves, one from each tree, whose boxes come within pad of
// each other. pair(firstA, countA, firstB, countB) returns false to stop.
template <class Pair>
void Overlapping(const CBoxHierarchy& a, const CBoxHierarchy& b, double pad, Pair&& pair) {
    if (a.IsEmpty() || b.IsEmpty())
        return;
    const CNode* na = a.GetNodes().data();
    const CNode* nb = b.GetNodes().data();
    struct CEntry {
        std::uint32_t m_A, m_B;
    };
    // Descending the larger of two boxes keeps the stack at most the sum of
    // the depths times two.
    CEntry stack[2 * StackSize + 4];
    unsigned int top = 0;
    stack[top++] = {0, 0};
    while (top > 0) {
        const CEntry e = stack[--top];
        const CNode& x = na[e.m_A];
        const CNode& y = nb[e.m_B];
        if (!Overlap(x, y, pad))
            continue;
        if (x.IsLeaf() && y.IsLeaf()) {
            if (!pair(x.m_First, x.m_Count, y.m_First, y.m_Count))
                return;
            continue;
        }
        auto size = [](const CNode& n) {
            return double(n.m_Max[0]) - n.m_Min[0] + double(n.m_Max[1]) - n.m_Min[1] + double(n.m_Max[2]) - n.m_Min[2];
        };
        if (y.IsLeaf() || (!x.IsLeaf() && size(x) >= size(y))) {
            stack[top++] = {x.m_First + 1, e.m_B};
            stack[top++] = {x.m_First, e.m_B};
        } else {
            stack[top++] = {e.m_A, y.m_First + 1};
            stack[top++] = {e.m_A, y.m_First};
        }
    }
}

// Batches smaller than this run in their given order: sorting them costs
// more than the walks it would shorten.
constexpr std::size_t OrderedBatchSize = 2048;
// Queries a thread takes at a time: small enough to even out queries of
// unequal cost, large enough that a run of neighbours stays together.
constexpr int QueryChunk = 256;

// The loop of every batch form: query(i) for every i below count, on all
// cores. Queries run in the Morton order of their points (position(i, p)
// puts query i's point, a ray's origin, in p[0..2]): neighbours walk the same
// nodes and leaves, which then come from the cache. Each thread starts on
// its own stretch of that order and works along it, so the nodes and leaves
// that one chunk leaves in its core's private caches serve the next (threads
// taking chunks in turn lost part of that reuse: up to 9% more time a query
// at 500k faces).
// A thread whose stretch is done takes chunks from the far end of another's:
// one whose core is taken by other work does not hold up the whole batch.
// Each query stands alone and writes only its own result, so the order
// changes no answer.
template <typename Position, typename Query>
void ForEachQuery(std::size_t count, const Position& position, const Query& query) {
    const std::int64_t n = static_cast<std::int64_t>(count);
    if (count < OrderedBatchSize || count > 0xFFFFFFFFu) {
#pragma omp parallel for schedule(dynamic, QueryChunk)
        for (std::int64_t i = 0; i < n; ++i)
            query(static_cast<std::size_t>(i));
        return;
    }
    // The box of the finite points, then each point's cell of a 1024^3 grid
    // over it.
    double low[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, high[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
#pragma omp parallel
    {
        double myLow[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, myHigh[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
#pragma omp for schedule(static) nowait
        for (std::int64_t i = 0; i < n; ++i) {
            double p[3];
            position(static_cast<std::size_t>(i), p);
            for (int k = 0; k < 3; ++k)
                if (std::isfinite(p[k])) {
                    myLow[k] = std::min(myLow[k], p[k]);
                    myHigh[k] = std::max(myHigh[k], p[k]);
                }
        }
#pragma omp critical(QuorvelQueryBox)
        for (int k = 0; k < 3; ++k) {
            low[k] = std::min(low[k], myLow[k]);
            high[k] = std::max(high[k], myHigh[k]);
        }
    }
    double scale[3];
    for (int k = 0; k < 3; ++k)
        scale[k] = high[k] > low[k] ? 1024.0 / (high[k] - low[k]) : 0.0;
    std::vector<std::uint32_t, TCacheLineAllocator<std::uint32_t>> keys(count), order(count);
#pragma omp parallel for schedule(static)
    for (std::int64_t i = 0; i < n; ++i) {
        double p[3];
        position(static_cast<std::size_t>(i), p);
        keys[static_cast<std::size_t>(i)] = detail::MortonKey(p, low, scale);
    }
    detail::SortByKey(keys.data(), count, order.data());
    // Each stretch's next and end positions in one word, so that its owner
    // (at the front) and a helper (at the back) claim disjoint chunks. A
    // team smaller than asked for leaves stretches without an owner, which
    // the helpers then use up.
    struct alignas(64) CStretch {
        std::atomic<std::uint64_t> m_Range;
    };
    const std::uint64_t stretchCount = static_cast<std::uint64_t>(std::max(1, omp_get_max_threads()));
    std::vector<CStretch> stretches(stretchCount);
    for (std::uint64_t s = 0; s < stretchCount; ++s)
        stretches[s].m_Range.store(count * s / stretchCount | (count * (s + 1) / stretchCount) << 32,
                                   std::memory_order_relaxed);
    const std::uint32_t* const sorted = order.data();
#pragma omp parallel
    {
        const std::uint64_t self = static_cast<std::uint64_t>(omp_get_thread_num());
        for (std::uint64_t step = 0; step < stretchCount; ++step) {
            const bool own = step == 0;
            std::atomic<std::uint64_t>& range = stretches[(self + step) % stretchCount].m_Range;
            for (std::uint64_t word = range.load(std::memory_order_relaxed);;) {
                const std::uint64_t next = word & 0xFFFFFFFFu, end = word >> 32;
                if (next >= end)
                    break;
                const std::uint64_t size = std::min<std::uint64_t>(QueryChunk, end - next);
                const std::uint64_t first = own ? next : end - size;
                const std::uint64_t claimed = own ? (next + size) | end << 32 : next | (end - size) << 32;
                if (!range.compare_exchange_weak(word, claimed, std::memory_order_relaxed))
                    continue;
                for (std::uint64_t i = first; i < first + size; ++i)
                    query(sorted[i]);
                word = range.load(std::memory_order_relaxed);
            }
        }
    }
}

}  // namespace Corvane::Pellix::Quorvel::TreeWalk
