#pragma once

#include <cstdint>
#include <cstring>
#include <unordered_map>

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
        m_Index.reserve(count);
        m_Mesh.m_Positions.reserve(count);
    }

    std::uint32_t Add(Point p) {
        p.x += 0.0;
        p.y += 0.0;
        p.z += 0.0;
        const auto found = m_Index.emplace(Key{p.x, p.y, p.z}, static_cast<std::uint32_t>(m_Mesh.m_Positions.size()));
        if (found.second)
            m_Mesh.m_Positions.push_back(p);
        return found.first->second;
    }

private:
    struct Key {
        double x, y, z;
        bool operator==(const Key& o) const { return x == o.x && y == o.y && z == o.z; }
    };
    struct KeyHash {
        std::size_t operator()(const Key& k) const {
            std::uint64_t bits[3];
            std::memcpy(bits, &k, sizeof bits);
            std::uint64_t h = 0x9E3779B97F4A7C15ull;
            for (std::uint64_t b : bits)
                h = (h ^ b) * 0xBF58476D1CE4E5B9ull + (h >> 29);
            return static_cast<std::size_t>(h ^ (h >> 31));
        }
    };
    CMeshData& m_Mesh;
    std::unordered_map<Key, std::uint32_t, KeyHash> m_Index;
};

// The mesh with vertices at equal positions merged, faces kept in order.
CMeshData WeldByPosition(const CMeshData& mesh);

}  // namespace Corvane::Pellix::Quorvel::Tool
