// The procedural stand-ins for inputs on which `quorvel remesh` once never
// ended, run through the tool as a user runs it: each run must end with exit
// status 0 and write a valid mesh of a size in proportion to the input.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "ToolTestSupport.h"
#include "core/MeshTopology.h"
#include "io/MeshFormats.h"
#include "report/MeshStatistics.h"

using namespace QuorvelToolTest;

namespace {

struct CStandIn {
    std::string m_File;
    CMeshData m_Mesh;
    std::string m_Relative;
    bool m_Closed;
};

std::vector<CStandIn> StandIns() {
    return {
        {"blade.off", Tables([](ToolMesh& m) { QuorvelTest::MakeBladeStrip(m, 300, 2); }), "1", false},
        {"block.off", Tables([](ToolMesh& m) { QuorvelTest::MakePiercedBlock(m, 3, 3, 16); }), "0.25", true},
        {"creature.off", Tables([](ToolMesh& m) { QuorvelTest::MakeScannedCreature(m, 4); }), "0.5", true},
        {"bone.off", Tables([](ToolMesh& m) { QuorvelTest::MakeScannedBone(m, 3); }), "0.25", true},
    };
}

}  // namespace

TEST(StandIns, BothMethodsEndAndWriteAValidMesh) {
    CScratchDirectory dir;
    for (const CStandIn& standIn : StandIns()) {
        WriteMeshFile(dir.Path(standIn.m_File), standIn.m_Mesh, EEncoding::Text);
        for (const std::string method : {"exact", "preserve"}) {
            SCOPED_TRACE(standIn.m_File + ", " + method);
            const CRun run = RunQuorvel({"remesh", dir.Path(standIn.m_File), "-o", dir.Path("out.off"), "--method",
                                         method, "--relative", standIn.m_Relative, "--quiet"},
                                        60);
            ASSERT_EQ(run.m_Status, 0) << run.m_Err;
            // The reader refuses indices past the vertices and non-finite
            // positions; a face naming a vertex twice it lets through.
            const CMeshData output = ReadMeshFile(dir.Path("out.off"));
            ASSERT_FALSE(output.m_Triangles.empty());
            for (const Triangle& t : output.m_Triangles)
                ASSERT_TRUE(t[0] != t[1] && t[1] != t[2] && t[2] != t[0]);
            // Twice the input plus the equilateral faces of the target size
            // (the mean edge times the factor) that cover its area.
            const CMeshStatistics input = MeasureMesh(standIn.m_Mesh);
            const double target = std::stod(standIn.m_Relative) * input.m_MeanEdge;
            const double bound =
                2.0 * (standIn.m_Mesh.m_Triangles.size() + input.m_Area / (std::sqrt(3.0) / 4 * target * target));
            EXPECT_LT(output.m_Triangles.size(), bound);
            if (method == std::string("preserve")) {
                const CEdgeCensus census(output);
                EXPECT_EQ(census.m_NonManifoldEdges, 0u);
                EXPECT_EQ(census.m_MisorientedEdges, 0u);
                if (standIn.m_Closed) {
                    EXPECT_EQ(census.m_OpenEdges, 0u);
                }
            }
        }
    }
}
