#include "commands/DefaultMesh.h"

#include <cmath>

namespace Corvane::Pellix::Quorvel::Tool {

const char* const DefaultMeshName = "built-in latitude-longitude sphere";

namespace {

// Four times as many meridians as parallels: faces twice as tall as wide at
// the equator, ever thinner towards the poles, where Meridians faces meet.
constexpr std::uint32_t Meridians = 512;
constexpr std::uint32_t Parallels = 128;

}  // namespace

CMeshData MakeDefaultMesh() {
    const double pi = 3.14159265358979323846;
    CMeshData mesh;
    mesh.m_Positions.emplace_back(0, 0, 1);
    for (std::uint32_t i = 1; i < Parallels; ++i) {
        const double polar = pi * i / Parallels;
        for (std::uint32_t j = 0; j < Meridians; ++j) {
            const double azimuth = 2 * pi * j / Meridians;
            mesh.m_Positions.emplace_back(std::sin(polar) * std::cos(azimuth), std::sin(polar) * std::sin(azimuth),
                                          std::cos(polar));
        }
    }
    mesh.m_Positions.emplace_back(0, 0, -1);
    const std::uint32_t south = static_cast<std::uint32_t>(mesh.m_Positions.size() - 1);
    auto ring = [](std::uint32_t i, std::uint32_t j) { return 1 + (i - 1) * Meridians + j % Meridians; };

    // Outward winding: counter-clockwise seen from outside.
    for (std::uint32_t j = 0; j < Meridians; ++j)
        mesh.m_Triangles.push_back(Triangle{0, ring(1, j), ring(1, j + 1)});
    for (std::uint32_t i = 1; i + 1 < Parallels; ++i)
        for (std::uint32_t j = 0; j < Meridians; ++j) {
            const std::uint32_t a = ring(i, j), b = ring(i, j + 1), c = ring(i + 1, j), d = ring(i + 1, j + 1);
            // Diagonals alternate like a chequerboard, as when quads are
            // split without a plan: vertices get 4 or 8 neighbours, not 6.
            if ((i + j) % 2 == 0) {
                mesh.m_Triangles.push_back(Triangle{a, c, d});
                mesh.m_Triangles.push_back(Triangle{a, d, b});
            } else {
                mesh.m_Triangles.push_back(Triangle{a, c, b});
                mesh.m_Triangles.push_back(Triangle{b, c, d});
            }
        }
    for (std::uint32_t j = 0; j < Meridians; ++j)
        mesh.m_Triangles.push_back(Triangle{south, ring(Parallels - 1, j + 1), ring(Parallels - 1, j)});
    return mesh;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
