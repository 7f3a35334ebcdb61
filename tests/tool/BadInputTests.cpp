// Every kind of bad input ends the run with exit status 2 and one error line
// that names the file (and the line, for text formats), quickly, and leaves
// no output file behind.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "ToolTestSupport.h"

using namespace QuorvelToolTest;

namespace {

struct CBadFile {
    const char* m_Name;
    std::string m_Bytes;
    // Expected "file:line:" prefix for text formats, 0 when no line applies.
    int m_Line;
    const char* m_Why;
};

std::string BinaryStlHeader(std::uint32_t count)
{
    std::string bytes(80, ' ');
    bytes.append(reinterpret_cast<const char*>(&count), 4);
    return bytes;
}

std::vector<CBadFile> BadFiles()
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::string nanStl = BinaryStlHeader(1) + std::string(12, '\0');
    for (float v : {0.f, 0.f, 0.f, 1.f, 0.f, 0.f, nan, 1.f, 0.f})
        nanStl.append(reinterpret_cast<const char*>(&v), 4);
    nanStl += std::string(2, '\0');
    std::string plyBody;
    for (float v : {0.f, 0.f, 0.f, 1.f, 0.f, 0.f})
        plyBody.append(reinterpret_cast<const char*>(&v), 4);
    const std::string plyHeader = "ply\nformat binary_little_endian 1.0\nelement vertex 3\nproperty float x\n"
                                  "property float y\nproperty float z\nelement face 1\n"
                                  "property list uchar int vertex_indices\nend_header\n";
    return {
        {"empty.obj", "", 0, "empty file"},
        {"letters.obj", "v 0 0 0\nv 1 0 0\nv 0 abc 0\nf 1 2 3\n", 3, "malformed coordinate"},
        {"short.obj", "v 0 0 0\nv 1 0\nv 0 1 0\nf 1 2 3\n", 2, "missing coordinate"},
        {"range.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n", 4, "index out of range"},
        {"zero.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 0 1 2\n", 4, "index 0"},
        {"nan.obj", "v 0 0 0\nv 1 0 0\nv nan 1 0\nf 1 2 3\n", 3, "non-finite coordinate"},
        {"huge.obj", "v 0 0 0\nv 1e999 0 0\nv 0 1 0\nf 1 2 3\n", 2, "overflowing coordinate"},
        {"nofaces.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n", 0, "no faces"},
        {"degenerate.obj", "v 0 0 0\nv 0 0 0\nv 1 0 0\nf 1 2 3\nf 1 3\n", 0, "no usable face, after notes"},
        {"truncated.off", "OFF\n4 2 0\n0 0 0\n1 0 0\n0 1 0\n1 1 0\n3 0 1 2\n", 0, "fewer faces than declared"},
        {"header.off", "OFF\n3 x 0\n", 2, "malformed count"},
        {"range.off", "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 3\n", 6, "index out of range"},
        {"inf.off", "OFF\n3 1 0\n0 0 0\ninf 0 0\n0 1 0\n3 0 1 2\n", 4, "non-finite coordinate"},
        {"giant.off", "OFF\n2000000000 2000000000 0\n0 0 0\n", 2, "count beyond the file size"},
        {"notoff.off", "ply\n", 1, "wrong magic"},
        {"range.ply", "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
                      "property float z\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n"
                      "0 0 0\n1 0 0\n0 1 0\n3 0 1 -1\n", 13, "negative index"},
        {"noend.ply", "ply\nformat ascii 1.0\nelement vertex 3\n", 3, "header without end"},
        {"truncated.ply", plyHeader + plyBody, 0, "binary data cut short"},
        {"giant.ply", "ply\nformat binary_little_endian 1.0\nelement vertex 2000000000\nproperty double x\n"
                      "property double y\nproperty double z\nend_header\n" + plyBody, 0, "count beyond the file size"},
        {"nan.stl", nanStl, 0, "non-finite coordinate"},
        {"giant.stl", BinaryStlHeader(0xFFFFFFFFu) + std::string(50, '\0'), 0, "count beyond the file size"},
        {"tiny.stl", "abc", 0, "shorter than a header"},
        {"cut.stl", "solid x\nfacet normal 0 0 1\n outer loop\n  vertex 0 0 0\n  vertex 1 0 0\n", 5, "ends in a loop"},
        {"mesh.xyz", "v 0 0 0\n", 0, "unknown extension"},
    };
}

void ExpectOneLineNaming(const CRun& run, const std::string& path, int line)
{
    EXPECT_FALSE(run.m_TimedOut);
    EXPECT_EQ(run.m_Status, 2);
    const std::vector<std::string> lines = run.ErrorLines();
    ASSERT_EQ(lines.size(), 1u) << run.m_Err;
    EXPECT_EQ(lines[0].rfind("quorvel: ", 0), 0u) << lines[0];
    const std::string where = line > 0 ? path + ":" + std::to_string(line) + ":" : path + ":";
    EXPECT_NE(lines[0].find(where), std::string::npos) << lines[0];
}

}  // namespace

TEST(BadInput, EveryDefectGivesOneLineNamingTheFileAndStatusTwo)
{
    CScratchDirectory dir;
    for (const CBadFile& bad : BadFiles()) {
        SCOPED_TRACE(std::string(bad.m_Name) + ": " + bad.m_Why);
        const std::string path = dir.Path(bad.m_Name);
        WriteFile(path, bad.m_Bytes);
        const auto start = std::chrono::steady_clock::now();
        const CRun run = RunQuorvel({"remesh", path, "-o", dir.Path("out.obj"), "--quiet"}, 60);
        ExpectOneLineNaming(run, path, bad.m_Line);
        // Declared counts are checked against the file size before anything
        // is allocated, so even absurd headers fail at once.
        EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 10.0);
        EXPECT_FALSE(FileExists(dir.Path("out.obj")));
        ::unlink(path.c_str());
    }
    // Every subcommand reads through the same path.
    const std::string input = dir.Path("range.obj");
    WriteFile(input, "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 4\n");
    const std::string mesh = dir.Path("out.ply"), polyline = dir.Path("out.obj");
    const std::vector<std::vector<std::string>> commands = {
        {"info", input},
        {"smooth", input, "-o", mesh},
        {"offset", input, "-o", mesh, "--distance", "1"},
        {"subdivide", input, "-o", mesh},
        {"thicken", input, "-o", mesh, "--thickness", "1"},
        {"contour", input, "-o", polyline},
        {"infill", input, "-o", mesh}};
    for (const auto& arguments : commands) {
        SCOPED_TRACE(arguments[0]);
        ExpectOneLineNaming(RunQuorvel(arguments), input, 4);
        EXPECT_FALSE(FileExists(mesh));
        EXPECT_FALSE(FileExists(polyline));
    }
}

TEST(BadInput, MissingAndUnreadableFilesAreNamed)
{
    CScratchDirectory dir;
    ExpectOneLineNaming(RunQuorvel({"info", dir.Path("absent.obj")}), dir.Path("absent.obj"), 0);
    ::mkdir(dir.Path("folder.obj").c_str(), 0700);
    ExpectOneLineNaming(RunQuorvel({"info", dir.Path("folder.obj")}), dir.Path("folder.obj"), 0);
    ::rmdir(dir.Path("folder.obj").c_str());
}

TEST(BadInput, TargetsMustBePositiveFiniteNumbers)
{
    CScratchDirectory dir;
    WriteFile(dir.Path("tet.off"), "OFF\n4 4 0\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n3 0 2 1\n3 0 1 3\n3 0 3 2\n3 1 2 3\n");
    const std::vector<std::vector<std::string>> bad = {
        {"--target", "0"},   {"--target", "-1"},  {"--target", "nan"},    {"--target", "inf"},
        {"--target", "abc"}, {"--target", "1e999"}, {"--relative", "0"}, {"--relative", "-2"},
        {"--target"},        {"--target", "1", "--relative", "1"},        {"--method", "fast"}};
    for (const auto& options : bad) {
        std::vector<std::string> arguments = {"remesh", dir.Path("tet.off"), "-o", dir.Path("out.off")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const CRun run = RunQuorvel(arguments);
        SCOPED_TRACE(run.m_Err);
        EXPECT_EQ(run.m_Status, 2);
        EXPECT_EQ(run.ErrorLines().size(), 1u);
        EXPECT_FALSE(FileExists(dir.Path("out.off")));
    }
    const CRun unknown = RunQuorvel({"remesh", dir.Path("tet.off"), "--colour", "red"});
    EXPECT_EQ(unknown.m_Status, 2);
    EXPECT_NE(unknown.m_Err.find("--colour"), std::string::npos);
    EXPECT_EQ(RunQuorvel({"reshape"}).m_Status, 2);
}

TEST(BadInput, AFailedRunLeavesAnExistingOutputUntouched)
{
    CScratchDirectory dir;
    WriteFile(dir.Path("out.obj"), "previous contents\n");
    WriteFile(dir.Path("bad.obj"), "v 0 0 0\nv 1 0 0\n");
    const CRun run = RunQuorvel({"remesh", dir.Path("bad.obj"), "-o", dir.Path("out.obj")});
    EXPECT_EQ(run.m_Status, 2);
    EXPECT_EQ(ReadFile(dir.Path("out.obj")), "previous contents\n");
    EXPECT_EQ(dir.List(), (std::vector<std::string>{"bad.obj", "out.obj"}));
}
