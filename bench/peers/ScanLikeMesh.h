#pragma once

// Procedural stand-ins for scanned meshes: the zero set of a bumpy implicit
// surface, extracted by marching tetrahedra on a cubic grid. Like the output
// of a surface reconstruction the triangulation is closed, manifold and
// consistently oriented, but irregular: slivers, and edge lengths that vary
// by orders of magnitude, which is what a remesher is for.
#include <cmath>

#include "MeshFixtures.h"
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

// The surface field(p) = 0 in the cube [low, high]^3 of `cells`^3 cubes, by
// marching tetrahedra (the test suite's MakeImplicitSurface), as the tool's
// mesh data.
template <class Field>
CMeshData MarchingTetrahedra(Field field, int cells, double low, double high) {
    Corvane::Pellix::Quorvel::TMesh<double, Corvane::Pellix::Quorvel::TVertexPN<double>, Corvane::Pellix::Quorvel::CA8,
                                    unsigned int>
        surface;
    surface.SetUseExponentialGrowth(true);
    QuorvelTest::MakeImplicitSurface(surface, field, cells, low, high);
    CMeshData mesh;
    mesh.m_Positions.reserve(surface.m_Vertices.GetCount());
    for (unsigned int v = 0; v < surface.m_Vertices.GetCount(); ++v)
        mesh.m_Positions.push_back(surface.m_Vertices[v].m_Position);
    mesh.m_Triangles.reserve(surface.m_Faces.GetCount());
    for (unsigned int f = 0; f < surface.m_Faces.GetCount(); ++f) {
        const unsigned int* corner = surface.m_Faces[f].m_Corners;
        mesh.m_Triangles.push_back(Triangle{corner[0], corner[1], corner[2]});
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
