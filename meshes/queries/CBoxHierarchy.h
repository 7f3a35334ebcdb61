#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Corvane::Pellix::Quorvel {

// A bounding volume hierarchy over boxes, the skeleton shared by the triangle
// tree of a mesh's faces and the point tree of its vertices.
//
// The nodes sit in one flat array, parents before their children, so a tree
// costs two allocations however large it is. Node boxes are single precision,
// rounded outwards from the double boxes they enclose: every box still
// contains its primitives exactly, at half the memory and twice the nodes per
// cache line.
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
    void Build(const double* boxes, std::uint32_t count, std::uint32_t leafSize);
    void Clear();

    bool IsEmpty() const { return m_Nodes.empty(); }
    const std::vector<CNode>& GetNodes() const { return m_Nodes; }
    // Primitive indices in tree order: leaf primitives are contiguous here.
    const std::vector<std::uint32_t>& GetOrder() const { return m_Order; }
    std::size_t GetMemoryUsage() const;

private:
    std::vector<CNode> m_Nodes;
    std::vector<std::uint32_t> m_Order;
};

}  // namespace Corvane::Pellix::Quorvel
