#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "io/MeshData.h"

namespace Corvane::Pellix::Quorvel::Tool {

// Gives every distinct position one vertex of a mesh, numbered in order of
// first appearance. Positions weld only when exactly equal; adding 0.0 turns
// -0.0 into +0.0, so the two zeros, equal as numbers, weld too.
class CPositionWelder {
public:
    explicit CPositionWelder(CMeshData& mesh) : m_Mesh(mesh) { }

    // Room for `count` distinct positions, so that adding them rehashes
    // nothing.
    void Reserve(std::size_t count) {
        m_Mesh.m_Positions.reserve(m_Mesh.m_Positions.size() + count);
        if (2 * count > m_Slots.size())
            Grow(count);
    }

    std::uint32_t Add(Point p) {
        p.x += 0.0;
        p.y += 0.0;
        p.z += 0.0;
        if (2 * (m_Count + 1) > m_Slots.size())
            Grow(m_Count + 1);
        for (std::size_t i = Slot(p);; i = (i + 1) & (m_Slots.size() - 1)) {
            const std::uint32_t v = m_Slots[i];
            if (v == Empty) {
                m_Slots[i] = static_cast<std::uint32_t>(m_Mesh.m_Positions.size());
                m_Mesh.m_Positions.push_back(p);
                ++m_Count;
                return m_Slots[i];
            }
            const Point& q = m_Mesh.m_Positions[v];
            if (q.x == p.x && q.y == p.y && q.z == p.z)
                return v;
        }
    }

private:
    // An open table of vertex numbers, at most half full, probed linearly
    // from the position's hash: one array instead of a node a position, which
    // made the weld of a 25,000-vertex mesh mostly allocation.
    static constexpr std::uint32_t Empty = 0xFFFFFFFFu;

    std::size_t Slot(const Point& p) const {
        std::uint64_t bits[3];
        std::memcpy(&bits[0], &p.x, sizeof(double));
        std::memcpy(&bits[1], &p.y, sizeof(double));
        std::memcpy(&bits[2], &p.z, sizeof(double));
        std::uint64_t h = 0x9E3779B97F4A7C15ull;
        for (std::uint64_t b : bits)
            h = (h ^ b) * 0xBF58476D1CE4E5B9ull + (h >> 29);
        // The high bits of a multiplicative hash: coordinates on a grid have
        // low mantissa bits of zero.
        return static_cast<std::size_t>(((h ^ (h >> 31)) * 0x9E3779B97F4A7C15ull) >> m_Shift);
    }

    void Grow(std::size_t count) {
        std::size_t size = 16;
        unsigned int bits = 4;
        while (size < 2 * count) {
            size *= 2;
            ++bits;
        }
        std::vector<std::uint32_t> old(size, Empty);
        old.swap(m_Slots);
        m_Shift = 64 - bits;
        for (const std::uint32_t v : old) {
            if (v == Empty)
                continue;
            std::size_t i = Slot(m_Mesh.m_Positions[v]);
            while (m_Slots[i] != Empty)
                i = (i + 1) & (m_Slots.size() - 1);
            m_Slots[i] = v;
        }
    }

    CMeshData& m_Mesh;
    std::vector<std::uint32_t> m_Slots;
    unsigned int m_Shift = 64;
    std::size_t m_Count = 0;
};

// The mesh with vertices at equal positions merged, faces kept in order.
CMeshData WeldByPosition(const CMeshData& mesh);

}  // namespace Corvane::Pellix::Quorvel::Tool
