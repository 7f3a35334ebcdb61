// Every kind of bad input ends the run with exit status 2 and one error line
// that names the file (and the line, for text formats) and what is wrong, and
// leaves the directory, earlier outputs included, as it was.
#include <gtest/gtest.h>

#include "ToolTestSupport.h"

using namespace QuorvelToolTest;

namespace {

void ExpectRefused(const CScratchDirectory& dir, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& fragments) {
    for (const char* output : {"out.obj", "out.ply"})
        WriteFile(dir.Path(output), "earlier output\n");
    const std::vector<std::string> before = dir.List();
    const CRun run = RunQuorvel(arguments);
    EXPECT_EQ(run.m_Status, 2);
    EXPECT_EQ(run.m_Err.rfind("quorvel: ", 0), 0u) << run.m_Err;
    EXPECT_EQ(run.m_Err.find('\n'), run.m_Err.size() - 1) << run.m_Err;
    for (const std::string& fragment : fragments)
        EXPECT_NE(run.m_Err.find(fragment), std::string::npos) << run.m_Err;
    EXPECT_EQ(dir.List(), before);
    for (const char* output : {"out.obj", "out.ply"})
        EXPECT_EQ(ReadFile(dir.Path(output)), "earlier output\n");
}

}  // namespace

TEST(BadInput, EveryDefectGivesOneLineNamingTheFileAndStatusTwo) {
    const struct {
        const char* m_Name;
        std::string m_Bytes;  // "<absent>" and "<directory>" make no regular file
        int m_Line;  // 0 where no line applies
        const char* m_Fragment;
    } cases[] = {
        // What the tool itself finds, and one reader error of each format:
        // the readers' other messages are FormatLimits'.
        {"absent.obj", "<absent>", 0, "cannot read"},
        {"folder.obj", "<directory>", 0, "not a regular file"},
        {"empty.obj", "", 0, "empty"},
        {"letters.obj", "v 0 0 0\nv 1 0 0\nv 0 abc 0\nf 1 2 3\n", 3, "malformed vertex coordinate 'abc'"},
        {"nofaces.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n", 0, "no faces"},
        {"degenerate.obj", "v 0 0 0\nv 0 0 0\nv 1 0 0\nf 1 2 3\nf 1 3\n", 0, "no usable faces"},
        {"range.off", "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 3\n", 6, "index 3 out of range"},
        {"noend.ply", "ply\nformat ascii 1.0\nelement vertex 3\n", 3, "end_header"},
        {"cut.stl", "solid x\nfacet normal 0 0 1\n outer loop\n  vertex 0 0 0\n  vertex 1 0 0\n", 5, "truncated"},
        {"mesh.xyz", "v 0 0 0\n", 0, "unknown extension"},
    };
    CScratchDirectory dir;
    for (const auto& bad : cases) {
        SCOPED_TRACE(bad.m_Name);
        const std::string path = dir.Path(bad.m_Name);
        if (bad.m_Bytes == "<directory>")
            std::filesystem::create_directory(path);
        if (bad.m_Bytes != "<directory>" && bad.m_Bytes != "<absent>")
            WriteFile(path, bad.m_Bytes);
        const std::string where = bad.m_Line > 0 ? path + ":" + std::to_string(bad.m_Line) + ": " : path + ": ";
        ExpectRefused(dir, {"remesh", path, "-o", dir.Path("out.obj")}, {where, bad.m_Fragment});
        std::filesystem::remove(path);
    }
    // Every subcommand reads through the same path.
    const std::string input = dir.Path("range.obj"), mesh = dir.Path("out.ply");
    WriteFile(input, "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 5\nv 1 1 0\n");
    const std::string commands[] = {"info",
                                    "smooth -o " + mesh,
                                    "offset -o " + mesh + " --distance 1",
                                    "subdivide -o " + mesh,
                                    "thicken -o " + mesh + " --thickness 1",
                                    "contour -o " + dir.Path("out.obj"),
                                    "infill -o " + mesh};
    for (const std::string& command : commands) {
        SCOPED_TRACE(command);
        std::vector<std::string> arguments = Words(command);
        arguments.insert(arguments.begin() + 1, input);
        ExpectRefused(dir, arguments, {input + ":4: ", "out of range"});
    }
}

TEST(BadInput, BadOptionsAndImpossibleRequestsAreRefusedBeforeAnyOutput) {
    CScratchDirectory dir;
    const std::string input = dir.Path("tet.off");
    WriteFile(input, "OFF\n4 4 0\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n3 0 2 1\n3 0 1 3\n3 0 3 2\n3 1 2 3\n");
    // One request of each kind the parser refuses, split at the commas;
    // which memory sizes parse is MemorySizes'.
    std::istringstream requests(
        "--target 0,--target -1,--target nan,--target inf,--target abc,--target 1e999,--relative 0,--relative -2,"
        "--target,--target 1 --relative 1,--method fast,--colour red,--feature-angle 200,--iterations 0,"
        "--method exact --iterations 3,--method exact --relative 1e6,--max-memory 0,--max-memory lots,"
        "--max-time 0,--max-time -5,--max-time soon,--weld-tolerance -1e-6,--weld-tolerance 0.5,--weld-tolerance x");
    for (std::string options; std::getline(requests, options, ',');) {
        SCOPED_TRACE(options);
        ExpectRefused(dir, Words("remesh " + input + " -o " + dir.Path("out.obj") + " " + options),
                      {Words(options)[0]});
    }
    ExpectRefused(dir, {"reshape", input}, {"'reshape'"});
    ExpectRefused(dir, {"compare", input}, {"two mesh files"});
    ExpectRefused(dir, {"compare", input, input, "--samples", "many"}, {"--samples", "'many'"});
    WriteFile(dir.Path("points.off"), "OFF\n3 0 0\n0 0 0\n1 0 0\n0 1 0\n");
    ExpectRefused(dir, {"compare", input, dir.Path("points.off")}, {dir.Path("points.off") + ": ", "no faces"});
    // Results that the output cannot hold: beyond the range of the single
    // precision STL stores, or beyond the range of double itself.
    const std::string far = dir.Path("far.off");
    WriteFile(far, "OFF\n3 1 0\n0 0 1.7e308\n1.7e308 0 1.7e308\n0 1.7e308 1.7e308\n3 0 1 2\n");
    ExpectRefused(dir, {"offset", input, "-o", dir.Path("out.stl"), "--distance", "1e300"},
                  {dir.Path("out.stl") + ": ", "single precision"});
    ExpectRefused(dir, {"offset", far, "-o", dir.Path("out.ply"), "--distance", "1e308"}, {far + ": ", "non-finite"});
    ExpectRefused(dir, {"contour", input, "-o", dir.Path("out.obj")}, {input + ": ", "closed"});
    ExpectRefused(dir, {"infill", input, "-o", dir.Path("out.obj")}, {dir.Path("out.obj") + ": ", ".ply"});
}
