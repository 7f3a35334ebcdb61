// The readers against hand-written and malformed files of each format,
// against the line endings and byte order marks that editors leave, the
// writers at the limits of what each format holds, and every format written
// and read back, directly and through the tool: vertex order and count
// survive OFF, OBJ and PLY exactly, polygons become fans.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>
#include <limits>
#include <tuple>
#include <utility>

#include "ToolTestSupport.h"
#include "core/Numbers.h"
#include "core/ToolError.h"
#include "io/MeshFormats.h"

using namespace QuorvelToolTest;

namespace {

// The message a read of `bytes` as file `name` fails with, or a note that it
// did not fail.
std::string ReadError(const CScratchDirectory& dir, const std::string& name, const std::string& bytes) {
    WriteFile(dir.Path(name), bytes);
    try {
        ReadMeshFile(dir.Path(name));
    } catch (const CToolError& error) {
        return error.what();
    }
    return "(read without error)";
}

std::string PlyHeader(const std::string& format, const std::string& vertexProperties, unsigned int vertices,
                      const std::string& cornerList, unsigned int faces) {
    return "ply\nformat " + format + " 1.0\nelement vertex " + std::to_string(vertices) + "\n" + vertexProperties +
           "element face " + std::to_string(faces) + "\nproperty list " + cornerList + " vertex_indices\nend_header\n";
}
const std::string FloatXyz = "property float x\nproperty float y\nproperty float z\n";

// Replaces every "\n" by `ending`, or, for "mixed", every other one by "\r\n".
std::string WithEndings(const std::string& text, const std::string& ending) {
    std::string out;
    bool odd = false;
    for (char c : text) {
        if (c == '\n')
            out += ending == "mixed" ? ((odd = !odd) ? "\r\n" : "\n") : ending;
        else
            out += c;
    }
    return out;
}

bool SameBits(const std::vector<Point>& a, const std::vector<Point>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(Point)) == 0;
}

}  // namespace

TEST(FormatLimits, MalformedFilesOfEachFormatAreRefusedAtTheirPlace) {
    const std::string triangle = "0 0 0\n1 0 0\n0 1 0\n";
    // A binary PLY triangle whose one face gives its corner count as `count`.
    const auto binaryFace = [](const std::string& cornerList, std::uint8_t count, auto... corners) {
        std::string bytes = PlyHeader("binary_little_endian", FloatXyz, 3, cornerList, 1);
        for (int i = 0; i < 9; ++i)
            AppendBytes(bytes, float(i % 4 == 0));
        AppendBytes(bytes, count);
        (AppendBytes(bytes, corners), ...);
        return bytes;
    };
    std::string nanVertex =
        PlyHeader("binary_big_endian", "property double x\nproperty double y\nproperty double z\n", 2, "uchar int", 0);
    for (double c : {0.0, 0.0, 0.0, 1.0, -std::numeric_limits<double>::infinity(), 0.0})
        AppendBytes(nanVertex, c, true);
    const auto binaryStl = [](std::uint32_t count, std::initializer_list<float> values) {
        std::string bytes(80, ' ');
        AppendBytes(bytes, count);
        for (float v : values)
            AppendBytes(bytes, v);
        return bytes + std::string(2, '\0');
    };
    const float nan = std::numeric_limits<float>::quiet_NaN();

    const struct {
        const char* m_Name;
        std::string m_Bytes;
        const char* m_Place;  // ":LINE: " for text, ": " where no line applies
        const char* m_Fragment;
    } cases[] = {
        // PLY headers.
        {"noformat.ply", "ply\nelement vertex 0\nend_header\n", ":3: ", "no format line"},
        {"format.ply", "ply\nformat binary_middle_endian 1.0\nend_header\n", ":2: ", "unknown PLY format"},
        {"early.ply", "ply\nformat ascii 1.0\nproperty float x\n", ":3: ", "before any element"},
        {"type.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float128 x\n", ":4: ", "'float128'"},
        {"listcount.ply", PlyHeader("ascii", FloatXyz, 3, "float int", 1), ":8: ", "integer type"},
        {"noz.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\nend_header\n0 0\n",
         ":6: ", "lacks an x, y or z"},
        {"nolist.ply",
         "ply\nformat ascii 1.0\nelement vertex 0\n" + FloatXyz +
             "element face 0\nproperty int n\n"
             "end_header\n",
         ":9: ", "vertex_indices"},
        // PLY bodies, text and binary.
        {"few.ply", PlyHeader("ascii", FloatXyz, 3, "uchar int", 1) + triangle + "3 0 1\n", ":13: ", "too few values"},
        {"many.ply", PlyHeader("ascii", FloatXyz, 3, "uchar int", 1) + "0 0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n",
         ":10: ", "more values"},
        {"nan.ply", PlyHeader("ascii", FloatXyz, 3, "uchar int", 1) + "0 0 0\nnan 0 0\n0 1 0\n3 0 1 2\n",
         ":11: ", "non-finite"},
        {"count.ply", PlyHeader("ascii", FloatXyz, 1000000, "uchar int", 1) + triangle + "3 0 1 2\n",
         ":9: ", "more elements than the rest of the file"},
        {"inf.ply", nanVertex, ": ", "non-finite coordinate in vertex 1"},
        {"negative.ply", binaryFace("char int", 255), ": ", "negative list length"},
        {"floatindex.ply", binaryFace("uchar float", 3, 0.f, 1.f, 2.f), ": ", "integer type"},
        {"range.ply", binaryFace("uchar uint", 3, 0u, 1u, 3u), ": ", "index 3 out of range"},
        {"ushort.ply", binaryFace("uchar ushort", 3, std::uint16_t(0), std::uint16_t(1), std::uint16_t(65535)), ": ",
         "index 65535 out of range"},
        {"short.ply", binaryFace("uchar short", 3, std::int16_t(0), std::int16_t(1), std::int16_t(-1)), ": ",
         "index -1 out of range"},
        // OBJ.
        {"before.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf -4 -3 -2\n", ":4: ", "before the first vertex"},
        {"corner.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 x 3\n", ":4: ", "malformed face corner 'x'"},
        {"huge.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 99999999999999999999\n", ":4: ", "malformed face corner"},
        // OFF.
        {"counts.off", "OFF\n3\n" + triangle, ":2: ", "vertex and face counts"},
        {"negative.off", "OFF\n-3 1 0\n" + triangle + "3 0 1 2\n", ":2: ", "malformed vertex count '-3'"},
        {"binary.off", "OFF BINARY\n3 1 0\n", ":1: ", "binary OFF"},
        {"corners.off", "OFF\n3 1 0\n" + triangle + "4 0 1 2\n", ":6: ", "lists 4 corners but gives 3"},
        {"dimension.off", "4OFF\n3 1 0\n" + triangle + "3 0 1 2\n", ":1: ", "not an OFF file"},
        // STL.
        {"outside.stl", "solid s\nfacet normal 0 0 1\nvertex 0 0 0\n", ":3: ", "outside an 'outer loop'"},
        {"nested.stl", "solid s\nfacet normal 0 0 1\nouter loop\nouter loop\n", ":4: ", "inside another loop"},
        {"keyword.stl", "solid s\nfacet normal 0 0 1\nouter loop\nvertices 0 0 0\n", ":4: ", "unexpected 'vertices'"},
        {"two.stl", "solid s\nfacet normal 0 0 1\nouter loop\nvertex 0 0\n", ":4: ", "three coordinates"},
        {"float.stl", "solid s\nfacet normal 0 0 1\nouter loop\nvertex 1e39 0 0\n", ":4: ", "non-finite"},
        {"short.stl", binaryStl(2, {}) + std::string(48, '\0'), ": ", "declares 2 triangles"},
        // More of each format; the tool shows every one of these messages as
        // it shows the few of them in BadInput.
        {"short.obj", "v 0 0 0\nv 1 0\nv 0 1 0\nf 1 2 3\n", ":2: ", "three coordinates"},
        {"zero.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 0 1 2\n", ":4: ", "index 0"},
        {"nan.obj", "v 0 0 0\nv 1 0 0\nv nan 1 0\nf 1 2 3\n", ":3: ", "non-finite"},
        {"huge.obj", "v 0 0 0\nv 1e999 0 0\nv 0 1 0\nf 1 2 3\n", ":2: ", "1e999"},
        {"truncated.off", "OFF\n4 2 0\n0.0 0.0 0.0\n1.0 0.0 0.0\n0.0 1.0 0.0\n1.0 1.0 0.0\n3 0 1 2\n", ": ",
         "truncated"},
        {"header.off", "OFF\n3 x 0\n", ":2: ", "malformed face count"},
        {"inf.off", "OFF\n3 1 0\n0 0 0\ninf 0 0\n0 1 0\n3 0 1 2\n", ":4: ", "non-finite"},
        {"giant.off", "OFF\n2000000000 2000000000 0\n0 0 0\n", ":2: ", "more than the rest of the file can hold"},
        {"notoff.off", "ply\n", ":1: ", "not an OFF file"},
        {"range.ply", PlyHeader("ascii", FloatXyz, 3, "uchar int", 1) + "0 0 0\n1 0 0\n0 1 0\n3 0 1 -1\n",
         ":13: ", "index -1 out of range"},
        {"giant.ply", PlyHeader("binary_little_endian", FloatXyz, 2000000000, "uchar int", 1) + std::string(24, '\0'),
         ": ", "truncated"},
        {"nan.stl", binaryStl(1, {0, 0, 0, 0, 0, 0, 1, 0, 0, nan, 1, 0}), ": ", "non-finite"},
        {"giant.stl", binaryStl(0xFFFFFFFFu, {}) + std::string(48, '\0'), ": ", "truncated"},
        {"tiny.stl", "abc", ": ", "truncated"},
    };
    CScratchDirectory dir;
    for (const auto& bad : cases) {
        SCOPED_TRACE(bad.m_Name);
        const std::string message = ReadError(dir, bad.m_Name, bad.m_Bytes);
        EXPECT_EQ(message.rfind(dir.Path(bad.m_Name) + bad.m_Place, 0), 0u) << message;
        EXPECT_NE(message.find(bad.m_Fragment), std::string::npos) << message;
    }
}

// Hand-written files with polygons, comments, texture and normal indices and
// extra properties, and the writers' STL and binary PLY (whose header only is
// text), with every line ending and with or without the byte order mark
// some editors write.
TEST(FormatLimits, FilesReadAsDescribedWhateverTheirLineEndingsAndByteOrderMark) {
    CScratchDirectory dir;
    // A square and a pentagon sharing an edge; the pentagon becomes a fan
    // around its first corner.
    CMeshData polygons;
    polygons.m_Positions = {Point(0, 0, 0), Point(1, 0, 0), Point(1, 1, 0),  Point(0, 1, 0),
                            Point(2, 0, 0), Point(2, 1, 0), Point(1.5, 2, 0)};
    polygons.m_Triangles = {{0, 1, 2}, {0, 2, 3}, {1, 4, 5}, {1, 5, 6}, {1, 6, 2}};
    CMeshData square;
    square.m_Positions = {Point(0, 0, 0), Point(1, 0, 0), Point(1, 1, 0), Point(0, 1, 0)};
    square.m_Triangles = {{0, 1, 2}, {0, 2, 3}};
    std::vector<std::tuple<std::string, std::string, const CMeshData*>> files = {
        {"p.obj",
         "# comment\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 0\nv 2 1 0\nv 1.5 2 0\n"
         "vt 0 0\nvn 0 0 1\ng polys\nf 1/1/1 2/1/1 3/1/1 4/1/1\nf -6//1 5 6 7 3\n",
         &polygons},
        {"p.off",
         "OFF\n# comment\n7 2 0\n0 0 0\n1 0 0\n1 1 0\n0 1 0\n2 0 0\n2 1 0\n1.5 2 0\n4 0 1 2 3\n5 1 4 5 6 2 255 0 0\n",
         &polygons},
        {"p.ply",
         "ply\nformat ascii 1.0\ncomment x\nelement vertex 7\nproperty float x\nproperty float y\nproperty float "
         "z\nproperty uchar red\nelement face 2\nproperty list uchar int vertex_indices\nproperty int flags\n"
         "end_header\n0 0 0 1\n1 0 0 1\n1 1 0 1\n0 1 0 1\n2 0 0 1\n2 1 0 1\n1.5 2 0 1\n4 0 1 2 3 9\n5 1 4 5 6 2 9\n",
         &polygons}};
    for (const auto& [name, encoding] : {std::pair("s.stl", EEncoding::Text), std::pair("b.ply", EEncoding::Binary)}) {
        WriteMeshFile(dir.Path(name), square, encoding);
        files.emplace_back(name, ReadFile(dir.Path(name)), &square);
    }
    for (const std::string ending : {"\n", "\r\n", "mixed"}) {
        for (const std::string bom : {"", "\xEF\xBB\xBF"}) {
            SCOPED_TRACE(::testing::PrintToString(ending) + (bom.empty() ? "" : " BOM"));
            for (const auto& [name, text, expected] : files) {
                const std::size_t textEnd = name == "b.ply" ? text.find("end_header\n") + 11 : text.size();
                WriteFile(dir.Path(name), bom + WithEndings(text.substr(0, textEnd), ending) + text.substr(textEnd));
                const CMeshData mesh = ReadMeshFile(dir.Path(name));
                EXPECT_EQ(mesh.m_Positions, expected->m_Positions) << name;
                EXPECT_EQ(mesh.m_Triangles, expected->m_Triangles) << name;
            }
            // Line numbers in messages still count lines.
            const std::string bad = WithEndings("v 0 0 0\nv 1 0 0\nv 0 x 0\nf 1 2 3\n", ending);
            EXPECT_EQ(ReadError(dir, "bad.obj", bom + bad).rfind(dir.Path("bad.obj") + ":3: ", 0), 0u);
        }
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
    EXPECT_EQ(one.m_Positions, (std::vector<Point>{Point(0, 0, 0), Point(1, 0, 0), Point(0, 1, 0)}));
    EXPECT_EQ(one.m_Triangles, (std::vector<Triangle>{{0, 1, 2}}));
}

TEST(FormatLimits, EveryFormatGivesBackEveryValueItCanHoldDirectlyAndThroughTheTool) {
    // Doubles at the ends of the range, subnormals, negative zero and values
    // that need all seventeen digits survive OFF, OBJ and PLY bit for bit.
    const double big = DBL_MAX, small = std::numeric_limits<double>::denorm_min();
    CMeshData extremes;
    extremes.m_Positions = {Point(big, -big, DBL_MIN), Point(small, -small, -0.0), Point(0.1, 1.0 / 3.0, 2.0 / 3.0),
                            Point(123456789.12345679, -1e-300, 1e300)};
    extremes.m_Triangles = {{0, 1, 2}, {1, 2, 3}};
    // Single-precision counterparts for STL, which stores floats (and welds
    // the two zeros into +0).
    CMeshData floats;
    floats.m_Positions = {Point(FLT_MAX, -FLT_MAX, FLT_MIN),
                          Point(std::numeric_limits<float>::denorm_min(), 0.1f, -2.5f),
                          Point(1.f / 3.f, 16777217.0f, -1e-30f), Point(1, 2, 3)};
    floats.m_Triangles = {{0, 1, 2}, {1, 3, 2}};
    // Indices beyond 16 bits, in a file large enough to need them.
    CMeshData wide;
    for (std::uint32_t v = 0; v < 70000; ++v)
        wide.m_Positions.emplace_back(v, v % 7, 0);
    wide.m_Triangles = {{0, 65535, 65536}, {69999, 1, 32768}};
    // Vertices numbered against the order of first use, a second vertex at
    // one position and an unused vertex: the tool keeps their order and count.
    CMeshData ordered = MakeSphere(1);
    const std::uint32_t used = static_cast<std::uint32_t>(ordered.m_Positions.size());
    std::reverse(ordered.m_Positions.begin(), ordered.m_Positions.end());
    for (Triangle& t : ordered.m_Triangles)
        for (std::uint32_t& v : t)
            v = used - 1 - v;
    ordered.m_Positions.push_back(ordered.m_Positions[ordered.m_Triangles[0][0]]);
    ordered.m_Triangles[0][0] = used;
    ordered.m_Positions.emplace_back(0.1, 1.0 / 3.0, -2.5e-7);

    // Zero smoothing iterations move nothing, so "smooth" converts; the
    // outputs' extensions show that case does not matter. STL goes only
    // through the writer: the tool welds its corners.
    CScratchDirectory dir;
    const struct {
        const char* m_Name;
        const char* m_ToolOutput;
        EEncoding m_Encoding;
        std::vector<const CMeshData*> m_Meshes;
    } cases[] = {{"a.off", "A.OFF", EEncoding::Text, {&extremes, &wide, &ordered}},
                 {"a.obj", "B.Obj", EEncoding::Text, {&extremes, &wide, &ordered}},
                 {"a.ply", "C.PLY", EEncoding::Text, {&extremes, &wide, &ordered}},
                 {"b.ply", "D.Ply", EEncoding::Binary, {&extremes, &wide, &ordered}},
                 {"a.stl", nullptr, EEncoding::Text, {&floats}},
                 {"b.stl", nullptr, EEncoding::Binary, {&floats}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.m_Name);
        for (const CMeshData* mesh : c.m_Meshes) {
            WriteMeshFile(dir.Path(c.m_Name), *mesh, c.m_Encoding);
            const CMeshData back = ReadMeshFile(dir.Path(c.m_Name));
            EXPECT_TRUE(SameBits(back.m_Positions, mesh->m_Positions));
            EXPECT_EQ(back.m_Triangles, mesh->m_Triangles);
        }
        // The file now holds the last mesh written, `ordered`.
        if (c.m_ToolOutput == nullptr)
            continue;
        const CRun run = RunQuorvel({"smooth", dir.Path(c.m_Name), "-o", dir.Path(c.m_ToolOutput), "--iterations", "0",
                                     c.m_Encoding == EEncoding::Text ? "--ascii" : "--quiet"});
        ASSERT_EQ(run.m_Status, 0) << run.m_Err;
        const CMeshData back = ReadMeshFile(dir.Path(c.m_ToolOutput));
        EXPECT_TRUE(SameBits(back.m_Positions, ordered.m_Positions));
        EXPECT_EQ(back.m_Triangles, ordered.m_Triangles);
    }
    // Nothing but inputs and outputs is left: temporary files were renamed.
    EXPECT_EQ(dir.List().size(), 10u);
}

// Binary PLY in the common layout (fixed-size vertex properties, faces of
// one corner list) is read by a shorter path than other layouts: the same
// file with its faces as a quad, or with a further element, takes the
// general one, and all give the mesh the ASCII form of the file gives.
TEST(MeshFormats, BinaryPlyReadsAsItsAsciiTwinWhateverItsLayoutByteOrderOrWidths) {
    const float xs[] = {0.1f, 1.5f, -2.25f, 3.0f}, zs[] = {0.0f, 1.0f, -7.5f, 4.0f};
    const double ys[] = {1.0 / 3.0, -0.5, 2.0, 1e-300};
    const auto header = [](const char* format, const char* faces, const char* extra) {
        return std::string("ply\nformat ") + format +
               " 1.0\nelement vertex 4\nproperty float x\nproperty uchar red\nproperty double y\nproperty float "
               "z\nelement face " +
               faces + "\nproperty list uchar int vertex_indices\n" + extra + "end_header\n";
    };
    // Each face as its corner count and its corners.
    const auto faces = [](std::initializer_list<std::initializer_list<std::int32_t>> corners) {
        std::string bytes;
        for (const auto& face : corners) {
            AppendBytes(bytes, static_cast<std::uint8_t>(face.size()));
            for (const std::int32_t c : face)
                AppendBytes(bytes, c);
        }
        return bytes;
    };
    std::string vertices, ascii = header("ascii", "2", "");
    for (int i = 0; i < 4; ++i) {
        AppendBytes(vertices, xs[i]);
        AppendBytes(vertices, static_cast<std::uint8_t>(200 + i));
        AppendBytes(vertices, ys[i]);
        AppendBytes(vertices, zs[i]);
        ascii += FormatReal(xs[i]) + " 7 " + FormatReal(ys[i]) + " " + FormatReal(zs[i]) + "\n";
    }
    const CMeshData expected = ReadPly(ascii + "3 0 1 2\n3 0 2 3\n", "ascii.ply");
    ASSERT_EQ(expected.m_Triangles.size(), 2u);
    for (const std::string& bytes : {header("binary_little_endian", "2", "") + vertices + faces({{0, 1, 2}, {0, 2, 3}}),
                                     header("binary_little_endian", "1", "") + vertices + faces({{0, 1, 2, 3}}),
                                     header("binary_little_endian", "2", "element note 1\nproperty uchar n\n") +
                                         vertices + faces({{0, 1, 2}, {0, 2, 3}}) + "\x09"}) {
        const CMeshData mesh = ReadPly(bytes, "binary.ply");
        EXPECT_EQ(mesh.m_Positions, expected.m_Positions);
        EXPECT_EQ(mesh.m_Triangles, expected.m_Triangles);
    }

    CScratchDirectory dir;
    // PLY of either byte order with coordinates and corners of every integer
    // width reads the same values.
    for (const bool bigEndian : {false, true}) {
        SCOPED_TRACE(bigEndian ? "big-endian" : "little-endian");
        std::string file = PlyHeader(bigEndian ? "binary_big_endian" : "binary_little_endian",
                                     "property char x\nproperty ushort y\nproperty int skipped\nproperty double z\n", 3,
                                     "ushort uint", 1);
        file.insert(file.find("end_header"), "element extra 1\nproperty list int short values\n");
        for (int v = 0; v < 3; ++v) {
            AppendBytes(file, std::int8_t(v == 0 ? -128 : 127), bigEndian);
            AppendBytes(file, std::uint16_t(v == 1 ? 65535 : 0), bigEndian);
            AppendBytes(file, std::int32_t(-1), bigEndian);
            AppendBytes(file, v == 2 ? -0.5e-310 : 1e308, bigEndian);
        }
        AppendBytes(file, std::uint16_t(3), bigEndian);
        for (std::uint32_t corner : {2u, 0u, 1u})
            AppendBytes(file, corner, bigEndian);
        AppendBytes(file, std::int32_t(2), bigEndian);
        AppendBytes(file, std::int16_t(-7), bigEndian);
        AppendBytes(file, std::int16_t(7), bigEndian);
        WriteFile(dir.Path("e.ply"), file);
        const CMeshData mesh = ReadMeshFile(dir.Path("e.ply"));
        EXPECT_EQ(mesh.m_Positions,
                  (std::vector<Point>{Point(-128, 0, 1e308), Point(127, 65535, 1e308), Point(127, 0, -0.5e-310)}));
        EXPECT_EQ(mesh.m_Triangles, (std::vector<Triangle>{{2, 0, 1}}));
        // The same file cut anywhere in its data is refused, never misread.
        const std::size_t header = file.find("end_header\n") + 11;
        for (std::size_t cut = header; cut < file.size(); cut += 3)
            EXPECT_NE(ReadError(dir, "cut.ply", file.substr(0, cut)).find("truncated"), std::string::npos) << cut;
    }
}
