// The readers against hand-written files, and every writer read back by its
// reader: vertex order and count survive OFF, OBJ and PLY exactly, STL welds
// its corners, polygons become fans.
#include <gtest/gtest.h>

#include <cstring>

#include "ToolTestSupport.h"
#include "core/ToolError.h"
#include "io/MeshFormats.h"

using namespace Corvane::Pellix::Quorvel::Tool;
using namespace QuorvelToolTest;

namespace {

// A mesh whose vertex order is not the order of first use, with an unused
// vertex and coordinates that need every bit of a double.
CMeshData MakeAwkwardMesh()
{
    CMeshData mesh = MakeSphere(1);
    std::reverse(mesh.m_Positions.begin(), mesh.m_Positions.end());
    const std::uint32_t last = static_cast<std::uint32_t>(mesh.m_Positions.size() - 1);
    for (Triangle& t : mesh.m_Triangles)
        for (std::uint32_t& v : t)
            v = last - v;
    mesh.m_Positions.emplace_back(0.1, 1.0 / 3.0, -2.5e-7);
    mesh.m_Positions[0].x += 1e-13;
    return mesh;
}

CMeshData ReadBack(const std::string& path)
{
    return ReadMeshFile(path);
}

std::string LittleEndianFloats(std::initializer_list<float> values)
{
    std::string bytes;
    for (float v : values)
        bytes.append(reinterpret_cast<const char*>(&v), 4);
    return bytes;
}

}  // namespace

TEST(MeshFormats, ReadingThenWritingKeepsVertexOrderAndCountExactly)
{
    CScratchDirectory dir;
    const CMeshData mesh = MakeAwkwardMesh();
    const struct {
        const char* m_Name;
        EEncoding m_Encoding;
    } cases[] = {{"a.off", EEncoding::Text}, {"a.obj", EEncoding::Text}, {"a.ply", EEncoding::Text},
                 {"b.ply", EEncoding::Binary}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.m_Name);
        WriteMeshFile(dir.Path(c.m_Name), mesh, c.m_Encoding);
        const CMeshData back = ReadBack(dir.Path(c.m_Name));
        ASSERT_EQ(back.m_Positions.size(), mesh.m_Positions.size());
        for (std::size_t i = 0; i < mesh.m_Positions.size(); ++i)
            EXPECT_EQ(back.m_Positions[i], mesh.m_Positions[i]) << "vertex " << i;
        EXPECT_EQ(back.m_Triangles, mesh.m_Triangles);
    }
    // Nothing but the outputs is left: the temporary files were renamed.
    EXPECT_EQ(dir.List(), (std::vector<std::string>{"a.obj", "a.off", "a.ply", "b.ply"}));
}

TEST(MeshFormats, StlWeldsCornersByExactPositionInBothEncodings)
{
    CScratchDirectory dir;
    CMeshData mesh = MakeCube(2);
    // Two vertices at one position: STL cannot tell them apart.
    mesh.m_Positions.push_back(mesh.m_Positions[7]);
    mesh.m_Triangles[11][2] = 8;
    for (EEncoding encoding : {EEncoding::Text, EEncoding::Binary}) {
        WriteMeshFile(dir.Path("cube.stl"), mesh, encoding);
        const CMeshData back = ReadBack(dir.Path("cube.stl"));
        EXPECT_EQ(back.m_Positions.size(), 8u);
        ASSERT_EQ(back.m_Triangles.size(), 12u);
        for (std::size_t f = 0; f < 12; ++f)
            for (int k = 0; k < 3; ++k) {
                const Point& expected = mesh.m_Positions[mesh.m_Triangles[f][k]];
                EXPECT_EQ(back.m_Positions[back.m_Triangles[f][k]], expected);
            }
    }
    // A binary file that starts with "solid" is still read as binary.
    std::string bytes = ReadFile(dir.Path("cube.stl"));
    std::memcpy(&bytes[0], "solid", 5);
    WriteFile(dir.Path("solid.stl"), bytes);
    EXPECT_EQ(ReadBack(dir.Path("solid.stl")).m_Triangles.size(), 12u);
}

TEST(MeshFormats, HandWrittenFilesOfEveryFormatGiveTheSameFans)
{
    CScratchDirectory dir;
    // A square and a pentagon sharing an edge; the pentagon becomes a fan
    // around its first corner.
    WriteFile(dir.Path("p.obj"), "# comment\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 0\nv 2 1 0\nv 1.5 2 0\n"
                                 "vt 0 0\nvn 0 0 1\ng polys\nf 1/1/1 2/1/1 3/1/1 4/1/1\nf -6//1 5 6 7 3\n");
    WriteFile(dir.Path("p.off"), "OFF\n# comment\n7 2 0\n0 0 0\n1 0 0\n1 1 0\n0 1 0\n2 0 0\n2 1 0\n1.5 2 0\n"
                                 "4 0 1 2 3\n5 1 4 5 6 2 255 0 0\n");
    WriteFile(dir.Path("p.ply"), "ply\nformat ascii 1.0\ncomment x\nelement vertex 7\nproperty float x\n"
                                 "property float y\nproperty float z\nproperty uchar red\nelement face 2\n"
                                 "property list uchar int vertex_indices\nproperty int flags\nend_header\n"
                                 "0 0 0 1\n1 0 0 1\n1 1 0 1\n0 1 0 1\n2 0 0 1\n2 1 0 1\n1.5 2 0 1\n"
                                 "4 0 1 2 3 9\n5 1 4 5 6 2 9\n");
    const std::vector<Triangle> fans = {{0, 1, 2}, {0, 2, 3}, {1, 4, 5}, {1, 5, 6}, {1, 6, 2}};
    for (const char* name : {"p.obj", "p.off", "p.ply"}) {
        SCOPED_TRACE(name);
        const CMeshData mesh = ReadBack(dir.Path(name));
        EXPECT_EQ(mesh.m_Positions.size(), 7u);
        EXPECT_EQ(mesh.m_Positions[6], Point(1.5, 2, 0));
        EXPECT_EQ(mesh.m_Triangles, fans);
    }
}

TEST(MeshFormats, BinaryPlyInEitherByteOrderWithExtraPropertiesAndElements)
{
    CScratchDirectory dir;
    auto build = [](bool big) {
        std::string header = std::string("ply\nformat ") + (big ? "binary_big_endian" : "binary_little_endian") +
                             " 1.0\nelement vertex 3\nproperty double x\nproperty double y\nproperty double z\n"
                             "property list uchar float texture\nelement face 1\n"
                             "property list uchar uint vertex_indices\nelement edge 1\nproperty int a\n"
                             "property int b\nend_header\n";
        auto put = [&](const void* data, std::size_t size) {
            std::string bytes(static_cast<const char*>(data), size);
            if (big)
                std::reverse(bytes.begin(), bytes.end());
            header += bytes;
        };
        const double coordinates[3][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
        for (const auto& p : coordinates) {
            for (double c : p)
                put(&c, 8);
            header += char(1);
            const float texture = 0.5f;
            put(&texture, 4);
        }
        header += char(3);
        for (std::uint32_t corner : {2u, 1u, 0u})
            put(&corner, 4);
        for (std::int32_t end : {0, 1})
            put(&end, 4);
        return header;
    };
    for (bool big : {false, true}) {
        WriteFile(dir.Path("b.ply"), build(big));
        const CMeshData mesh = ReadBack(dir.Path("b.ply"));
        ASSERT_EQ(mesh.m_Positions.size(), 3u);
        EXPECT_EQ(mesh.m_Positions[1], Point(1, 0, 0));
        EXPECT_EQ(mesh.m_Triangles, (std::vector<Triangle>{{2, 1, 0}}));
    }
    // A binary STL of one triangle written by hand.
    std::string stl(80, ' ');
    stl += std::string("\x01\x00\x00\x00", 4);
    stl += LittleEndianFloats({0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0});
    stl += std::string(2, '\0');
    WriteFile(dir.Path("one.stl"), stl);
    const CMeshData one = ReadBack(dir.Path("one.stl"));
    EXPECT_EQ(one.m_Positions.size(), 3u);
    EXPECT_EQ(one.m_Positions[2], Point(0, 1, 0));
}

TEST(MeshFormats, UnknownExtensionsAreRefusedByName)
{
    EXPECT_THROW(FormatFromFileName("mesh.xyz"), CToolError);
    EXPECT_THROW(FormatFromFileName("dir.obj/mesh"), CToolError);
    EXPECT_EQ(FormatFromFileName("MESH.Obj"), EMeshFormat::Obj);
}
