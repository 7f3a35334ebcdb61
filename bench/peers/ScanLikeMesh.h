#pragma once

// Procedural stand-ins for scanned meshes: the zero set of a bumpy implicit
// surface, extracted by marching tetrahedra on a cubic grid. Like the output
// of a surface reconstruction the triangulation is closed, manifold and
// consistently oriented, but irregular: slivers, and edge lengths that vary
// by orders of magnitude, which is what a remesher is for.
#include <cmath>
#include <cstdint>
#include <unordered_map>
#include <utility>

#include "io/MeshData.h"

namespace PeerBench {

using Corvane::Pellix::Quorvel::Tool::CMeshData;
using Corvane::Pellix::Quorvel::Tool::Point;
using Corvane::Pellix::Quorvel::Tool::Triangle;

// A unit sphere with bumps of about 8 % of the radius.
inline double BumpySphere(double x, double y, double z) {
    return std::sqrt(x * x + y * y + z * z) - 1.0 - 0.08 * std::sin(5 * x) * std::sin(5 * y) * std::sin(5 * z);
}

// A torus (radii 0.7 and 0.3) with seven ridges around its axis.
inline double BumpyTorus(double x, double y, double z) {
    const double ring = std::sqrt(x * x + y * y) - 0.7;
    return std::sqrt(ring * ring + z * z) - 0.3 -
           0.04 * std::sin(7 * std::atan2(y, x)) * std::cos(3 * std::atan2(z, ring));
}

// The surface field(p) = 0 in the cube [low, high]^3 of `cells`^3 cubes, each
// cut into six tetrahedra around its main diagonal (the same way in every
// cube, so neighbouring cubes agree on their shared faces). Faces are wound so
// that their normals point to where the field is positive.
template <class Field>
CMeshData MarchingTetrahedra(Field field, int cells, double low, double high) {
    CMeshData mesh;
    const double step = (high - low) / cells;
    const std::int64_t side = cells + 1;
    // A small shift keeps grid points off symmetric surfaces, so that no
    // value is exactly zero and no triangle collapses.
    auto position = [&](std::int64_t g) {
        const std::int64_t i = g % side, j = (g / side) % side, k = g / (side * side);
        return Point(low + i * step + 1.234e-4, low + j * step + 2.345e-4, low + k * step + 0.876e-4);
    };
    std::vector<double> value(static_cast<std::size_t>(side * side * side));
    for (std::int64_t g = 0; g < side * side * side; ++g) {
        const Point p = position(g);
        value[static_cast<std::size_t>(g)] = field(p.x, p.y, p.z);
        if (value[static_cast<std::size_t>(g)] == 0)
            value[static_cast<std::size_t>(g)] = 1e-12;
    }

    std::unordered_map<std::uint64_t, std::uint32_t> onEdge;
    auto crossing = [&](std::int64_t a, std::int64_t b) {
        if (a > b)
            std::swap(a, b);
        const std::uint64_t key = static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(side * side * side) +
                                  static_cast<std::uint64_t>(b);
        const auto found = onEdge.find(key);
        if (found != onEdge.end())
            return found->second;
        const double va = value[static_cast<std::size_t>(a)], vb = value[static_cast<std::size_t>(b)];
        const Point pa = position(a), pb = position(b);
        const std::uint32_t index = static_cast<std::uint32_t>(mesh.m_Positions.size());
        mesh.m_Positions.push_back(pa + (pb - pa) * (va / (va - vb)));
        onEdge.emplace(key, index);
        return index;
    };
    auto emit = [&](std::uint32_t a, std::uint32_t b, std::uint32_t c, std::int64_t inside, std::int64_t outside) {
        const Point& pa = mesh.m_Positions[a];
        const Point normal = (mesh.m_Positions[b] - pa) * (mesh.m_Positions[c] - pa);
        if (normal % (position(outside) - position(inside)) >= 0)
            mesh.m_Triangles.push_back(Triangle{a, b, c});
        else
            mesh.m_Triangles.push_back(Triangle{a, c, b});
    };

    static const int tetrahedra[6][4] = {{0, 1, 3, 7}, {0, 3, 2, 7}, {0, 2, 6, 7},
                                         {0, 6, 4, 7}, {0, 4, 5, 7}, {0, 5, 1, 7}};
    for (std::int64_t k = 0; k < cells; ++k)
        for (std::int64_t j = 0; j < cells; ++j)
            for (std::int64_t i = 0; i < cells; ++i) {
                std::int64_t corner[8];
                for (int q = 0; q < 8; ++q)
                    corner[q] = ((k + ((q >> 2) & 1)) * side + j + ((q >> 1) & 1)) * side + i + (q & 1);
                for (const auto& tetrahedron : tetrahedra) {
                    std::int64_t in[4], out[4];
                    int ins = 0, outs = 0;
                    for (int q = 0; q < 4; ++q) {
                        const std::int64_t g = corner[tetrahedron[q]];
                        if (value[static_cast<std::size_t>(g)] < 0)
                            in[ins++] = g;
                        else
                            out[outs++] = g;
                    }
                    if (ins == 1) {
                        emit(crossing(in[0], out[0]), crossing(in[0], out[1]), crossing(in[0], out[2]), in[0], out[0]);
                    } else if (ins == 3) {
                        emit(crossing(out[0], in[0]), crossing(out[0], in[1]), crossing(out[0], in[2]), in[0], out[0]);
                    } else if (ins == 2) {
                        const std::uint32_t a = crossing(in[0], out[0]), b = crossing(in[0], out[1]);
                        const std::uint32_t c = crossing(in[1], out[1]), d = crossing(in[1], out[0]);
                        emit(a, b, c, in[0], out[0]);
                        emit(a, c, d, in[0], out[0]);
                    }
                }
            }
    return mesh;
}

// The grid resolution whose surface has about `faces` faces: the count grows
// with the square of the resolution, so one trial run fixes the constant.
template <class Field>
CMeshData Generate(Field field, double low, double high, std::size_t faces) {
    const int trial = 40;
    const CMeshData probe = MarchingTetrahedra(field, trial, low, high);
    const int cells = static_cast<int>(std::lround(trial * std::sqrt(double(faces) / probe.m_Triangles.size())));
    return MarchingTetrahedra(field, cells, low, high);
}

}  // namespace PeerBench
