// Every format written and read back through the tool, and the readers
// against hand-written files: vertex order and count survive OFF, OBJ and PLY
// exactly, polygons become fans.
#include <gtest/gtest.h>

#include "ToolTestSupport.h"
#include "io/MeshFormats.h"

using namespace QuorvelToolTest;

TEST(MeshFormats, EveryFormatRoundTripsThroughTheToolKeepingVertexOrder) {
    // Vertices numbered against the order of first use, coordinates that
    // need every bit of a double, a second vertex at one position and an
    // unused vertex.
    CMeshData mesh = MakeSphere(1);
    const std::uint32_t used = static_cast<std::uint32_t>(mesh.m_Positions.size());
    std::reverse(mesh.m_Positions.begin(), mesh.m_Positions.end());
    for (Triangle& t : mesh.m_Triangles)
        for (std::uint32_t& v : t)
            v = used - 1 - v;
    mesh.m_Positions.push_back(mesh.m_Positions[mesh.m_Triangles[0][0]]);
    mesh.m_Triangles[0][0] = used;
    mesh.m_Positions.emplace_back(0.1, 1.0 / 3.0, -2.5e-7);

    // Zero smoothing iterations move nothing, so "smooth" converts; the
    // outputs' extensions show that case does not matter. (STL, which keeps
    // single-precision corners and welds them, is FormatLimits' concern.)
    const struct {
        const char* m_Input;
        const char* m_Output;
        EEncoding m_Encoding;
    } cases[] = {{"a.off", "A.OFF", EEncoding::Text},
                 {"b.obj", "B.Obj", EEncoding::Text},
                 {"c.ply", "C.PLY", EEncoding::Text},
                 {"d.ply", "D.Ply", EEncoding::Binary}};
    CScratchDirectory dir;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.m_Input);
        WriteMeshFile(dir.Path(c.m_Input), mesh, c.m_Encoding);
        const CRun run = RunQuorvel({"smooth", dir.Path(c.m_Input), "-o", dir.Path(c.m_Output), "--iterations", "0",
                                     c.m_Encoding == EEncoding::Text ? "--ascii" : "--quiet"});
        ASSERT_EQ(run.m_Status, 0) << run.m_Err;
        const CMeshData back = ReadMeshFile(dir.Path(c.m_Output));
        EXPECT_EQ(back.m_Positions, mesh.m_Positions);
        EXPECT_EQ(back.m_Triangles, mesh.m_Triangles);
    }
    // Nothing but inputs and outputs is left: temporary files were renamed.
    EXPECT_EQ(dir.List().size(), 2 * std::size(cases));
}

TEST(MeshFormats, HandWrittenFilesOfEveryFormatReadAsDescribed) {
    CScratchDirectory dir;
    // A square and a pentagon sharing an edge; the pentagon becomes a fan
    // around its first corner.
    WriteFile(dir.Path("p.obj"), "# comment\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 0\nv 2 1 0\nv 1.5 2 0\n"
                                 "vt 0 0\nvn 0 0 1\ng polys\nf 1/1/1 2/1/1 3/1/1 4/1/1\nf -6//1 5 6 7 3\n");
    // The OFF file starts with the byte order mark some editors write.
    WriteFile(dir.Path("p.off"),
              "\xEF\xBB\xBFOFF\n# comment\n7 2 0\n0 0 0\n1 0 0\n1 1 0\n0 1 0\n2 0 0\n2 1 0\n1.5 2 0\n"
              "4 0 1 2 3\n5 1 4 5 6 2 255 0 0\n");
    WriteFile(dir.Path("p.ply"), "ply\nformat ascii 1.0\ncomment x\nelement vertex 7\nproperty float x\n"
                                 "property float y\nproperty float z\nproperty uchar red\nelement face 2\n"
                                 "property list uchar int vertex_indices\nproperty int flags\nend_header\n"
                                 "0 0 0 1\n1 0 0 1\n1 1 0 1\n0 1 0 1\n2 0 0 1\n2 1 0 1\n1.5 2 0 1\n"
                                 "4 0 1 2 3 9\n5 1 4 5 6 2 9\n");
    const std::vector<Triangle> fans = {{0, 1, 2}, {0, 2, 3}, {1, 4, 5}, {1, 5, 6}, {1, 6, 2}};
    for (const char* name : {"p.obj", "p.off", "p.ply"}) {
        const CMeshData mesh = ReadMeshFile(dir.Path(name));
        EXPECT_EQ(mesh.m_Positions.size(), 7u) << name;
        EXPECT_EQ(mesh.m_Positions[6], Point(1.5, 2, 0)) << name;
        EXPECT_EQ(mesh.m_Triangles, fans) << name;
    }

    const std::vector<Point> corners = {Point(0, 0, 0), Point(1, 0, 0), Point(0, 1, 0)};
    // A binary STL whose header starts like a text one: its size matches its
    // triangle count, which settles it.
    std::string stl = "solid, not a facet of text";
    stl.resize(80, ' ');
    AppendBytes(stl, std::uint32_t(1));
    for (float c : {0.f, 0.f, 1.f, 0.f, 0.f, 0.f, 1.f, 0.f, 0.f, 0.f, 1.f, 0.f})
        AppendBytes(stl, c);
    WriteFile(dir.Path("one.stl"), stl + std::string(2, '\0'));
    const CMeshData one = ReadMeshFile(dir.Path("one.stl"));
    EXPECT_EQ(one.m_Positions, corners);
    EXPECT_EQ(one.m_Triangles, (std::vector<Triangle>{{0, 1, 2}}));
}
