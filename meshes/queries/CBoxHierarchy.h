#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "quorvel/maths/Limits.h"

namespace Corvane::Pellix::Quorvel {

namespace detail {

// A double rounded to the float next below (above) it or equal, so that a
// float box still holds the double one; beyond the float range, infinite.
// NaN stays NaN: traversals read a NaN bound as "no bound" and visit.
// Inline: the builders round six bounds a primitive, and a call each showed
// in the profile of the inside test's first call. Whether the conversion
// went the wrong way is a coin toss from one bound to the next, so the step
// is chosen by a mask rather than a branch: a mispredicted branch each was
// most of the time of a build's reference pass.
inline float RoundDown(double value) {
    if (value < -Sarvetta::LargestFloat)
        return -std::numeric_limits<float>::infinity();
    if (value > Sarvetta::LargestFloat)
        return std::numeric_limits<float>::max();
    const float f = static_cast<float>(value);
    std::uint32_t bits;
    std::memcpy(&bits, &f, sizeof bits);
    // One step towards minus infinity: up the magnitude of a negative float,
    // down that of a positive one, and from +0 to the smallest negative.
    const std::uint32_t negative = bits >> 31;
    const std::uint32_t stepped = bits == 0 ? 0x80000001u : bits + 2 * negative - 1;
    const std::uint32_t mask = 0u - static_cast<std::uint32_t>(static_cast<double>(f) > value);
    bits = (stepped & mask) | (bits & ~mask);
    float result;
    std::memcpy(&result, &bits, sizeof bits);
    return result;
}

inline float RoundUp(double value) {
    if (value > Sarvetta::LargestFloat)
        return std::numeric_limits<float>::infinity();
    if (value < -Sarvetta::LargestFloat)
        return -std::numeric_limits<float>::max();
    const float f = static_cast<float>(value);
    std::uint32_t bits;
    std::memcpy(&bits, &f, sizeof bits);
    // One step towards plus infinity; -0 and +0 go to the smallest positive.
    const std::uint32_t negative = bits >> 31;
    const std::uint32_t stepped = (bits << 1) == 0 ? 0x00000001u : bits + 1 - 2 * negative;
    const std::uint32_t mask = 0u - static_cast<std::uint32_t>(static_cast<double>(f) < value);
    bits = (stepped & mask) | (bits & ~mask);
    float result;
    std::memcpy(&result, &bits, sizeof bits);
    return result;
}

}  // namespace detail

namespace detail {

// Asks the cache for the line holding p; a hint only.
inline void Prefetch(const void* p) {
#if defined(__GNUC__)
    __builtin_prefetch(p);
#else
    (void)p;
#endif
}

// Storage for the index's arrays: aligned to a cache line, and a block of
// half a megabyte or more mapped on its own, on a huge-page boundary; up to
// 4 MB the system is asked to back it with huge pages where it can. A small
// tree fills megabytes at once, and in 4 KB pages the first touch of each
// page costs more than the data written to it; a block larger than that
// stays on small pages, whose faults weigh little beside its filling and
// come at a steady price, where fresh huge pages did not.
void* AllocateStorage(std::size_t bytes);
void FreeStorage(void* block, std::size_t bytes);

}  // namespace detail

// Allocator of the index's arrays (see detail::AllocateStorage). Elements
// are default-initialised: resize leaves plain data unset, for arrays that
// are filled at once after sizing.
template <class T>
class TCacheLineAllocator {
public:
    typedef T value_type;
    TCacheLineAllocator() = default;
    template <class U>
    TCacheLineAllocator(const TCacheLineAllocator<U>&) { }
    T* allocate(std::size_t n) { return static_cast<T*>(detail::AllocateStorage(n * sizeof(T))); }
    void deallocate(T* p, std::size_t n) { detail::FreeStorage(p, n * sizeof(T)); }
    template <class U>
    void construct(U* p) noexcept(std::is_nothrow_default_constructible<U>::value) {
        ::new (static_cast<void*>(p)) U;
    }
    template <class U, class... Arguments>
    void construct(U* p, Arguments&&... arguments) {
        ::new (static_cast<void*>(p)) U(std::forward<Arguments>(arguments)...);
    }
    bool operator==(const TCacheLineAllocator&) const { return true; }
    bool operator!=(const TCacheLineAllocator&) const { return false; }
};

// A bounding volume hierarchy over boxes, the skeleton shared by the triangle
// tree of a mesh's faces and the point tree of its vertices.
//
// The nodes sit in one flat array, parents before their children, so a tree
// costs two allocations however large it is. Node boxes are single precision,
// rounded outwards from the double boxes they enclose: every box still
// contains its primitives exactly, at half the memory. Siblings are
// adjacent and each pair fills one 64-byte cache line: the root is node 0,
// node 1 is unused padding, and every pair of children starts at an even
// index of a cache-aligned array, so a step down the tree costs one miss.
class CBoxHierarchy {
public:
    class CNode {
    public:
        float m_Min[3];
        float m_Max[3];
        // Leaves: m_Count primitives from position m_First of GetOrder().
        // Inner nodes (m_Count == 0): children at m_First and m_First + 1.
        std::uint32_t m_First;
        std::uint32_t m_Count;

        bool IsLeaf() const { return m_Count != 0; }
    };

    // Deepest tree the builder makes; traversals size their stacks by it.
    static constexpr unsigned int MaxDepth = 96;

    // Builds over `count` boxes given as six doubles each (minimum x, y, z,
    // then maximum x, y, z), splitting by the surface-area heuristic on 16
    // bins of the box centres along the widest axis, down to at most
    // `leafSize` primitives a leaf. O(n log n). Replaces any previous tree.
    // Large trees grow their subtrees on all cores; the nodes and their order
    // are the same whatever the number of threads.
    void Build(const double* boxes, std::uint32_t count, std::uint32_t leafSize);
    // The same over primitives given as points (three doubles each): the box
    // of primitive i holds its `pointsPer` points, point j being
    // positions[3 * indices[pointsPer * i + j]], or
    // positions[3 * (pointsPer * i + j)] when `indices` is null. Saves the
    // caller an array of boxes.
    void BuildOverPoints(const double* positions, const std::uint32_t* indices, std::uint32_t pointsPer,
                         std::uint32_t count, std::uint32_t leafSize);
    // The same tree shape in a fraction of the time, for a tree built once
    // for a single pass of queries: each node splits at the median centre
    // along the longest side of its centres' box (ties by primitive index),
    // down to at most `leafSize` primitives a leaf (at most 255). O(n log n),
    // deterministic, at most 32 levels deep; the surface-area tree of Build
    // is usually the quicker one to search. Replaces any previous tree.
    void BuildByMedian(const double* boxes, std::uint32_t count, std::uint32_t leafSize);
    /// Builds over `count` boxes as BuildByMedian does, quicker still, for
    /// one pass of queries that start near the last answer: the primitives
    /// sorted along a Morton curve of their box centres (1,024 cells an axis
    /// over the centres' box; a non-finite centre counts as the origin),
    /// each node split where the highest bit that differs within its range
    /// changes, or at the middle when all its keys are equal. Linear besides
    /// one sort of the keys, deterministic; its boxes fit less tightly than
    /// the median tree's.
    /// \pre `boxes` holds `count` boxes of six doubles (minimum x, y, z,
    ///      then maximum x, y, z).
    /// \post Any previous tree replaced; every primitive in one leaf of at
    ///       most `leafSize` (taken between 1 and 255), at most 62 levels
    ///       deep.
    void BuildInMortonOrder(const double* boxes, std::uint32_t count, std::uint32_t leafSize);
    void Clear();

    bool IsEmpty() const { return m_Nodes.empty(); }
    typedef std::vector<CNode, TCacheLineAllocator<CNode>> CNodes;
    const CNodes& GetNodes() const { return m_Nodes; }
    // Primitive indices in tree order: leaf primitives are contiguous here.
    const std::vector<std::uint32_t>& GetOrder() const { return m_Order; }
    std::size_t GetMemoryUsage() const;

private:
    template <class Boxes>
    void BuildFrom(std::uint32_t count, std::uint32_t leafSize, const Boxes& boxOf);
    // The node boxes of a shaped tree, from the leaves' primitives up; the
    // leaves on all threads where `parallel`, the same boxes either way.
    void FitBoxes(const double* boxes, bool parallel);

    CNodes m_Nodes;
    std::vector<std::uint32_t> m_Order;
};

static_assert(sizeof(CBoxHierarchy::CNode) == 32, "two nodes to a cache line");

}  // namespace Corvane::Pellix::Quorvel
