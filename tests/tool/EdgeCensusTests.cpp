// The tool's edge census against a plain map of the face sides.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "ToolTestSupport.h"
#include "core/MeshTopology.h"

using namespace QuorvelToolTest;

namespace {

// A sphere with a bit of everything the census tells apart: a fin (an edge
// of three faces), a face wound against its neighbours, a face naming a
// vertex twice, an open flap and a vertex no face uses.
CMeshData AwkwardMesh() {
    CMeshData mesh = MakeSphere(3);
    const auto count = static_cast<std::uint32_t>(mesh.m_Positions.size());
    mesh.m_Positions.emplace_back(3, 0, 0);
    mesh.m_Positions.emplace_back(4, 0, 0);
    mesh.m_Positions.emplace_back(5, 5, 5);
    const Triangle first = mesh.m_Triangles[0];
    mesh.m_Triangles.push_back(Triangle{first[0], first[1], count});
    std::swap(mesh.m_Triangles[7][0], mesh.m_Triangles[7][1]);
    mesh.m_Triangles.push_back(Triangle{first[2], first[2], count + 1});
    mesh.m_Triangles.push_back(Triangle{count, count + 1, first[1]});
    return mesh;
}

}  // namespace

// Every edge once, in ascending order of its ends, with the number of face
// sides on it and how many run from its low end; valences, boundary marks and
// the counts of open, non-manifold and misoriented edges follow from them.
TEST(EdgeCensus, CountsEverySideAsAMapOfTheSidesDoes) {
    for (const CMeshData& mesh : {AwkwardMesh(), MakeGrid(5, 0.5), MakeSphere(4)}) {
        std::map<std::pair<std::uint32_t, std::uint32_t>, std::pair<std::uint32_t, std::uint32_t>> sides;
        for (const Triangle& t : mesh.m_Triangles)
            for (int k = 0; k < 3; ++k) {
                const std::uint32_t a = t[k], b = t[(k + 1) % 3];
                if (a == b)
                    continue;
                auto& edge = sides[std::minmax(a, b)];
                ++edge.first;
                edge.second += a < b ? 1 : 0;
            }
        const CEdgeCensus census(mesh);
        ASSERT_EQ(census.m_Edges.size(), sides.size());
        std::vector<std::uint32_t> valence(mesh.m_Positions.size(), 0);
        std::set<std::uint32_t> boundary;
        std::uint64_t open = 0, nonManifold = 0, misoriented = 0;
        std::size_t i = 0;
        for (const auto& [ends, counts] : sides) {
            const CMeshEdge& edge = census.m_Edges[i++];
            EXPECT_EQ(edge.m_A, ends.first);
            EXPECT_EQ(edge.m_B, ends.second);
            EXPECT_EQ(edge.m_Faces, counts.first);
            EXPECT_EQ(edge.m_Forward, counts.second);
            ++valence[ends.first];
            ++valence[ends.second];
            if (counts.first == 1) {
                ++open;
                boundary.insert({ends.first, ends.second});
            }
            nonManifold += counts.first > 2 ? 1 : 0;
            misoriented += counts.first == 2 && counts.second != 1 ? 1 : 0;
        }
        EXPECT_EQ(census.m_Valence, valence);
        for (std::uint32_t v = 0; v < mesh.m_Positions.size(); ++v)
            EXPECT_EQ(census.m_OnBoundary[v] != 0, boundary.count(v) != 0) << v;
        EXPECT_EQ(census.m_OpenEdges, open);
        EXPECT_EQ(census.m_NonManifoldEdges, nonManifold);
        EXPECT_EQ(census.m_MisorientedEdges, misoriented);
    }
}
