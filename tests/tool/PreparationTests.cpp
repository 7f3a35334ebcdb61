// The remesh preparation against its repair steps taken one at a time, and
// the edges it finds on the way against the mesh's own census.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "ToolTestSupport.h"
#include "core/MeshRepair.h"
#include "core/MeshTopology.h"
#include "core/Preparation.h"

using namespace QuorvelToolTest;

namespace {

// The repairs in their documented order, each step on its own.
CMeshData RepairStepByStep(CMeshData mesh, bool exact, bool& manifold) {
    CRepairSummary summary;
    WeldCoincidentVertices(mesh, summary);
    DropRepeatedCornerFaces(mesh, summary);
    DropDuplicateFaces(mesh, summary);
    OrientFaces(mesh, summary);
    DropUnusedVertices(mesh, summary);
    manifold = true;
    if (exact) {
        manifold = MakeManifold(mesh, summary);
        DropUnusedVertices(mesh, summary);
    }
    return mesh;
}

std::vector<std::uint64_t> CensusEdges(const CMeshData& mesh) {
    std::vector<std::uint64_t> keys;
    for (const CMeshEdge& edge : CEdgeCensus(mesh).m_Edges)
        keys.push_back(std::uint64_t(edge.m_A) << 32 | edge.m_B);
    return keys;
}

CMeshData JitteredSphere() {
    CMeshData mesh = MakeSphere(4);
    std::mt19937 random(5);
    std::uniform_real_distribution<double> jitter(-0.01, 0.01);
    for (Point& p : mesh.m_Positions)
        p = p + Point(jitter(random), jitter(random), jitter(random));
    return mesh;
}

class RemeshPreparation : public ::testing::TestWithParam<std::pair<std::string, std::function<CMeshData()>>> { };

}  // namespace

// Whatever the input holds, the preparation leaves the same mesh as the
// steps one by one; where it hands on the edges it found, they are the
// prepared mesh's, and the mean edge length from them is the same to the bit.
TEST_P(RemeshPreparation, MatchesTheStepsOneByOneAndHandsOnTheMeshsEdges) {
    const CMeshData input = GetParam().second();
    for (const bool exact : {false, true}) {
        SCOPED_TRACE(exact ? "exact" : "preserve");
        CMeshData prepared = input;
        CPreparation changes;
        const EPreparationFault fault = PrepareForRemesh(prepared, exact, changes);
        bool manifold = true;
        const CMeshData reference = RepairStepByStep(input, exact, manifold);
        if (!manifold) {
            EXPECT_EQ(fault, EPreparationFault::NotManifold);
            continue;
        }
        ASSERT_EQ(fault, EPreparationFault::None);
        EXPECT_EQ(prepared.m_Triangles, reference.m_Triangles);
        ASSERT_EQ(prepared.m_Positions.size(), reference.m_Positions.size());
        for (std::size_t v = 0; v < prepared.m_Positions.size(); ++v) {
            EXPECT_EQ(prepared.m_Positions[v].x, reference.m_Positions[v].x);
            EXPECT_EQ(prepared.m_Positions[v].y, reference.m_Positions[v].y);
            EXPECT_EQ(prepared.m_Positions[v].z, reference.m_Positions[v].z);
        }
        if (!changes.m_Edges.empty()) {
            EXPECT_EQ(changes.m_Edges, CensusEdges(prepared));
            EXPECT_EQ(MeanEdgeLength(prepared, changes.m_Edges), TrueMeanEdgeLength(prepared));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, RemeshPreparation,
    ::testing::Values(std::make_pair(std::string("CleanSphere"), std::function<CMeshData()>(JitteredSphere)),
                      std::make_pair(std::string("OpenGrid"),
                                     std::function<CMeshData()>([] { return MakeGrid(9, 0.5); })),
                      // A cap of faces wound the other way: orientation flips them back.
                      std::make_pair(std::string("FlippedCap"), std::function<CMeshData()>([] {
                                         CMeshData mesh = JitteredSphere();
                                         for (std::size_t f = 0; f < mesh.m_Triangles.size() / 5; ++f)
                                             std::swap(mesh.m_Triangles[f][1], mesh.m_Triangles[f][2]);
                                         return mesh;
                                     })),
                      // One face repeated as it is, one reversed, one rotated.
                      std::make_pair(std::string("DuplicateFaces"), std::function<CMeshData()>([] {
                                         CMeshData mesh = JitteredSphere();
                                         const Triangle a = mesh.m_Triangles[3], b = mesh.m_Triangles[40],
                                                        c = mesh.m_Triangles[77];
                                         mesh.m_Triangles.push_back(a);
                                         mesh.m_Triangles.push_back(Triangle{b[2], b[1], b[0]});
                                         mesh.m_Triangles.push_back(Triangle{c[1], c[2], c[0]});
                                         return mesh;
                                     })),
                      // Every face with corners of its own, as an STL file holds them, and
                      // faces that name a vertex twice.
                      std::make_pair(std::string("SeparateCornersAndDegenerateFaces"), std::function<CMeshData()>([] {
                                         const CMeshData sphere = JitteredSphere();
                                         CMeshData mesh;
                                         for (const Triangle& t : sphere.m_Triangles) {
                                             const auto first = static_cast<std::uint32_t>(mesh.m_Positions.size());
                                             for (std::uint32_t v : t)
                                                 mesh.m_Positions.push_back(sphere.m_Positions[v]);
                                             mesh.m_Triangles.push_back(Triangle{first, first + 1, first + 2});
                                         }
                                         mesh.m_Triangles.push_back(Triangle{0, 0, 5});
                                         return mesh;
                                     })),
                      // Vertices that no face uses, before and among the used ones.
                      std::make_pair(std::string("UnusedVertices"), std::function<CMeshData()>([] {
                                         CMeshData mesh = JitteredSphere();
                                         mesh.m_Positions.emplace_back(7, 7, 7);
                                         for (Triangle& t : mesh.m_Triangles)
                                             for (std::uint32_t& v : t)
                                                 v += 1;
                                         mesh.m_Positions.insert(mesh.m_Positions.begin(), Point(-7, 0, 0));
                                         return mesh;
                                     })),
                      // Two spheres and a fin, a third face on one edge, which the exact
                      // method's repair splits off.
                      std::make_pair(std::string("TwoSpheresAndAFin"), std::function<CMeshData()>([] {
                                         CMeshData mesh = JitteredSphere();
                                         const auto count = static_cast<std::uint32_t>(mesh.m_Positions.size());
                                         const Point shift(3, 0, 0);
                                         for (std::uint32_t v = 0; v < count; ++v)
                                             mesh.m_Positions.push_back(mesh.m_Positions[v] + shift);
                                         const std::size_t faces = mesh.m_Triangles.size();
                                         for (std::size_t f = 0; f < faces; ++f) {
                                             Triangle t = mesh.m_Triangles[f];
                                             for (std::uint32_t& v : t)
                                                 v += count;
                                             mesh.m_Triangles.push_back(t);
                                         }
                                         const Triangle first = mesh.m_Triangles[0];
                                         mesh.m_Positions.emplace_back(3, 3, 3);
                                         mesh.m_Triangles.push_back(Triangle{first[0], first[1], 2 * count});
                                         return mesh;
                                     }))),
    [](const ::testing::TestParamInfo<RemeshPreparation::ParamType>& info) { return info.param.first; });

// A mesh with nothing to repair has its edges found on the way, so the
// default target needs no census of its own.
TEST(RemeshPreparation, HandsOnTheEdgesOfACleanMesh) {
    for (const CMeshData& input : {JitteredSphere(), MakeGrid(9, 0.5)}) {
        CMeshData prepared = input;
        CPreparation changes;
        ASSERT_EQ(PrepareForRemesh(prepared, false, changes), EPreparationFault::None);
        EXPECT_EQ(changes.m_Edges, CensusEdges(input));
    }
}
