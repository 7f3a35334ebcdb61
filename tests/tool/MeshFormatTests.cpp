// Every format written and read back through the tool, and the readers
// against hand-written files: vertex order and count survive OFF, OBJ and PLY
// exactly, STL welds its corners, polygons become fans.
#include <gtest/gtest.h>

#include "ToolTestSupport.h"
#include "core/Numbers.h"
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
    // outputs' extensions show that case does not matter.
    const struct {
        const char* m_Input;
        const char* m_Output;
        EEncoding m_Encoding;
    } cases[] = {{"a.off", "A.OFF", EEncoding::Text}, {"b.obj", "B.Obj", EEncoding::Text},
                 {"c.ply", "C.PLY", EEncoding::Text}, {"d.ply", "D.Ply", EEncoding::Binary},
                 {"e.stl", "E.STL", EEncoding::Text}, {"f.stl", "F.Stl", EEncoding::Binary}};
    CScratchDirectory dir;
    CMeshData stl;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.m_Input);
        WriteMeshFile(dir.Path(c.m_Input), mesh, c.m_Encoding);
        const CRun run = RunQuorvel({"smooth", dir.Path(c.m_Input), "-o", dir.Path(c.m_Output), "--iterations", "0",
                                     c.m_Encoding == EEncoding::Text ? "--ascii" : "--quiet"});
        ASSERT_EQ(run.m_Status, 0) << run.m_Err;
        const CMeshData back = ReadMeshFile(dir.Path(c.m_Output));
        if (std::string(c.m_Input).find(".stl") == std::string::npos) {
            EXPECT_EQ(back.m_Positions, mesh.m_Positions);
            EXPECT_EQ(back.m_Triangles, mesh.m_Triangles);
            continue;
        }
        // STL keeps the single-precision corners of each triangle, the same
        // in either encoding; reading joins equal positions into one vertex.
        EXPECT_EQ(back.m_Positions.size(), used);
        ASSERT_EQ(back.m_Triangles.size(), mesh.m_Triangles.size());
        for (std::size_t f = 0; f < mesh.m_Triangles.size(); ++f)
            for (int k = 0; k < 3; ++k) {
                const Point& p = mesh.m_Positions[mesh.m_Triangles[f][k]];
                const Point& q = back.m_Positions[back.m_Triangles[f][k]];
                EXPECT_TRUE(float(q.x) == float(p.x) && float(q.y) == float(p.y) && float(q.z) == float(p.z));
            }
        EXPECT_TRUE(stl.m_Positions.empty() || stl.m_Positions == back.m_Positions);
        stl = back;
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

    // Binary PLY in either byte order, past properties and elements that
    // carry nothing for a mesh.
    const std::vector<Point> corners = {Point(0, 0, 0), Point(1, 0, 0), Point(0, 1, 0)};
    for (bool big : {false, true}) {
        std::string ply = std::string("ply\nformat binary_") + (big ? "big" : "little") +
                          "_endian 1.0\n"
                          "element vertex 3\nproperty double x\nproperty double y\nproperty double z\n"
                          "property list uchar float uv\nelement face 1\nproperty list uchar uint vertex_indices\n"
                          "element edge 1\nproperty int a\nproperty int b\nend_header\n";
        for (const Point& p : corners) {
            for (double c : {p.x, p.y, p.z})
                AppendBytes(ply, c, big);
            AppendBytes(ply, std::uint8_t(1), big);
            AppendBytes(ply, 0.5f, big);
        }
        AppendBytes(ply, std::uint8_t(3), big);
        for (std::uint32_t corner : {2u, 1u, 0u})
            AppendBytes(ply, corner, big);
        for (std::int32_t end : {0, 1})
            AppendBytes(ply, end, big);
        WriteFile(dir.Path("b.ply"), ply);
        EXPECT_EQ(ReadMeshFile(dir.Path("b.ply")).m_Positions, corners);
        EXPECT_EQ(ReadMeshFile(dir.Path("b.ply")).m_Triangles, (std::vector<Triangle>{{2, 1, 0}}));
    }
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

// Binary PLY in the common layout (fixed-size vertex properties, faces of
// one corner list) is read by a shorter path than other layouts: the same
// file with its faces as a quad, or with a further element, takes the
// general one, and all give the mesh the ASCII form of the file gives.
TEST(MeshFormats, BinaryPlyReadsAsItsAsciiTwinWhateverItsLayout) {
    const float xs[] = {0.1f, 1.5f, -2.25f, 3.0f};
    const double ys[] = {1.0 / 3.0, -0.5, 2.0, 1e-300};
    const float zs[] = {0.0f, 1.0f, -7.5f, 4.0f};
    auto header = [](const char* format, const char* faces, const char* extra) {
        return std::string("ply\nformat ") + format +
               " 1.0\nelement vertex 4\nproperty float x\nproperty uchar red\nproperty double y\nproperty float "
               "z\nelement face " +
               faces + "\nproperty list uchar int vertex_indices\n" + extra + "end_header\n";
    };
    auto vertices = [&]() {
        std::string bytes;
        for (int i = 0; i < 4; ++i) {
            AppendBytes(bytes, xs[i]);
            AppendBytes(bytes, static_cast<std::uint8_t>(200 + i));
            AppendBytes(bytes, ys[i]);
            AppendBytes(bytes, zs[i]);
        }
        return bytes;
    };
    auto face = [](std::string& bytes, std::initializer_list<std::int32_t> corners) {
        AppendBytes(bytes, static_cast<std::uint8_t>(corners.size()));
        for (const std::int32_t c : corners)
            AppendBytes(bytes, c);
    };
    std::string common = header("binary_little_endian", "2", "") + vertices();
    face(common, {0, 1, 2});
    face(common, {0, 2, 3});
    std::string quad = header("binary_little_endian", "1", "") + vertices();
    face(quad, {0, 1, 2, 3});
    std::string extra = header("binary_little_endian", "2", "element note 1\nproperty uchar n\n") + vertices();
    face(extra, {0, 1, 2});
    face(extra, {0, 2, 3});
    AppendBytes(extra, static_cast<std::uint8_t>(9));
    std::string ascii = header("ascii", "2", "");
    for (int i = 0; i < 4; ++i)
        ascii += FormatReal(xs[i]) + " 7 " + FormatReal(ys[i]) + " " + FormatReal(zs[i]) + "\n";
    ascii += "3 0 1 2\n3 0 2 3\n";

    const CMeshData expected = ReadPly(ascii, "ascii.ply");
    ASSERT_EQ(expected.m_Triangles.size(), 2u);
    for (const std::string* bytes : {&common, &quad, &extra}) {
        const CMeshData mesh = ReadPly(*bytes, "binary.ply");
        EXPECT_EQ(mesh.m_Positions, expected.m_Positions);
        EXPECT_EQ(mesh.m_Triangles, expected.m_Triangles);
    }
}
