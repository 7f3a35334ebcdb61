// Every subcommand run as a user runs it, on small generated files, with its
// result checked against what the operation means geometrically.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sstream>

#include "ToolTestSupport.h"
#include "core/MeshTopology.h"
#include "io/MeshFormats.h"
#include "report/MeshStatistics.h"

using namespace Corvane::Pellix::Quorvel::Tool;
using namespace QuorvelToolTest;

namespace {

void ExpectSuccess(const CRun& run)
{
    EXPECT_FALSE(run.m_TimedOut);
    EXPECT_EQ(run.m_Status, 0) << run.m_Err;
}

// Points of a polyline or point file written as "x y z" or "v x y z" lines.
std::vector<Point> ReadPoints(const std::string& text)
{
    std::vector<Point> points;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        std::string first;
        words >> first;
        Point p;
        if (first == "v")
            words >> p.x >> p.y >> p.z;
        else if (!first.empty() && first != "l" && first[0] != '#')
            p.x = std::stod(first), words >> p.y >> p.z;
        else
            continue;
        points.push_back(p);
    }
    return points;
}

// The value of one "  name   value" row of the info report.
std::string Field(const std::string& report, const std::string& name)
{
    std::istringstream in(report);
    for (std::string line; std::getline(in, line);)
        if (line.rfind("  " + name + " ", 0) == 0) {
            const std::size_t value = line.find_first_not_of(' ', name.size() + 2);
            return value == std::string::npos ? std::string() : line.substr(value);
        }
    return "(no row " + name + ")";
}

bool IsClosedManifold(const CMeshData& mesh)
{
    const CEdgeCensus census(mesh);
    return census.m_OpenEdges == 0 && census.m_NonManifoldEdges == 0 && census.m_MisorientedEdges == 0;
}

}  // namespace

TEST(Subcommands, EveryCommandHasHelp)
{
    const CRun overview = RunQuorvel({"--help"});
    ExpectSuccess(overview);
    for (const char* command : {"remesh", "info", "smooth", "offset", "subdivide", "thicken", "contour", "infill"}) {
        SCOPED_TRACE(command);
        EXPECT_NE(overview.m_Out.find(std::string("  ") + command + " "), std::string::npos);
        const CRun help = RunQuorvel({command, "--help"});
        ExpectSuccess(help);
        EXPECT_EQ(help.m_Out.rfind(std::string("usage: quorvel ") + command, 0), 0u) << help.m_Out;
    }
}

TEST(Subcommands, RemeshBothMethodsApproachTheTargetAndKeepTheSphere)
{
    CScratchDirectory dir;
    WriteMeshFile(dir.Path("sphere.obj"), MakeSphere(4), EEncoding::Text);
    const CMeshStatistics input = MeasureMesh(MakeSphere(4));
    const double target = 0.15;
    for (const char* method : {"exact", "preserve"}) {
        SCOPED_TRACE(method);
        const CRun run = RunQuorvel({"remesh", dir.Path("sphere.obj"), "-o", dir.Path("out.ply"), "--target", "0.15",
                                     "--method", method, "--report", dir.Path("report.svg")});
        ExpectSuccess(run);
        for (const char* row : {"vertices", "edge length CV", "interior valence 6", "smallest angle", "volume change",
                                "distance from input", "open edges", "wall time"})
            EXPECT_NE(run.m_Out.find(row), std::string::npos) << row;
        const CMeshData output = ReadMeshFile(dir.Path("out.ply"));
        const CMeshStatistics result = MeasureMesh(output);
        EXPECT_TRUE(IsClosedManifold(output));
        EXPECT_GT(result.m_MeanEdge, 0.7 * target);
        EXPECT_LT(result.m_MeanEdge, 1.3 * target);
        EXPECT_LT(result.m_EdgeVariation, input.m_EdgeVariation + 0.1);
        // The exact method relaxes by plain neighbour averaging, which
        // shrinks a sphere; the shape-preserving one must not.
        if (std::string(method) == "preserve")
            EXPECT_NEAR(result.m_Volume, input.m_Volume, 0.02 * input.m_Volume);
        else
            EXPECT_GT(result.m_Volume, 0);
        EXPECT_EQ(ReadFile(dir.Path("report.svg")).rfind("<svg", 0), 0u);
    }
}

TEST(Subcommands, RemeshWithoutInputRunsTheBuiltInExample)
{
    const CRun run = RunQuorvel({"remesh", "--relative", "2", "--quiet"}, 600);
    ExpectSuccess(run);
    EXPECT_NE(run.m_Out.find("latitude-longitude sphere"), std::string::npos);
    EXPECT_TRUE(run.m_Err.empty()) << run.m_Err;
}

TEST(Subcommands, RemeshJoinsCopiesOfOnePositionIntoOneSurface)
{
    // Written triangle by triangle, as some exporters do: every edge is open
    // until equal positions are joined.
    CScratchDirectory dir;
    const CMeshData sphere = MakeSphere(3);
    CMeshData soup;
    for (const Triangle& t : sphere.m_Triangles) {
        const std::uint32_t first = static_cast<std::uint32_t>(soup.m_Positions.size());
        for (std::uint32_t v : t)
            soup.m_Positions.push_back(sphere.m_Positions[v]);
        soup.m_Triangles.push_back(Triangle{first, first + 1, first + 2});
    }
    WriteMeshFile(dir.Path("soup.obj"), soup, EEncoding::Text);
    for (const char* method : {"exact", "preserve"}) {
        SCOPED_TRACE(method);
        const CRun run = RunQuorvel({"remesh", dir.Path("soup.obj"), "-o", dir.Path("out.obj"), "--method", method});
        ExpectSuccess(run);
        EXPECT_NE(run.m_Err.find("merged"), std::string::npos) << run.m_Err;
        EXPECT_TRUE(IsClosedManifold(ReadMeshFile(dir.Path("out.obj"))));
    }
}

TEST(Subcommands, RemeshHandlesNonManifoldInputWithoutCrashing)
{
    CScratchDirectory dir;
    // A closed box with a fin: a third face on one of its edges, and a
    // triangle hanging from one corner only.
    CMeshData mesh = MakeCube();
    mesh.m_Positions.insert(mesh.m_Positions.end(), {Point(0.5, -1, 0), Point(-1, -1, -1), Point(-1, 0, -1)});
    mesh.m_Triangles.push_back(Triangle{0, 1, 8});
    mesh.m_Triangles.push_back(Triangle{0, 9, 10});
    WriteMeshFile(dir.Path("fin.off"), mesh, EEncoding::Text);
    for (const char* method : {"exact", "preserve"}) {
        SCOPED_TRACE(method);
        const CRun run = RunQuorvel({"remesh", dir.Path("fin.off"), "-o", dir.Path("out.off"), "--relative", "0.5",
                                     "--method", method});
        EXPECT_FALSE(run.m_TimedOut);
        ASSERT_TRUE(run.m_Status == 0 || run.m_Status == 2) << run.m_Err;
        if (run.m_Status == 0) {
            const CMeshData output = ReadMeshFile(dir.Path("out.off"));
            EXPECT_FALSE(output.m_Triangles.empty());
        }
    }
}

TEST(Subcommands, InfoReportsMeasuresAndDefects)
{
    CScratchDirectory dir;
    WriteMeshFile(dir.Path("cube.stl"), MakeCube(2), EEncoding::Binary);
    const CRun cube = RunQuorvel({"info", dir.Path("cube.stl")});
    ExpectSuccess(cube);
    EXPECT_EQ(Field(cube.m_Out, "vertices"), "8");
    EXPECT_EQ(Field(cube.m_Out, "faces"), "12");
    EXPECT_EQ(Field(cube.m_Out, "area"), "24");
    EXPECT_EQ(Field(cube.m_Out, "volume"), "8");
    EXPECT_EQ(Field(cube.m_Out, "centre of mass"), "(1, 1, 1)");
    EXPECT_EQ(Field(cube.m_Out, "size"), "(2, 2, 2)");
    EXPECT_EQ(Field(cube.m_Out, "open edges"), "0");
    EXPECT_EQ(Field(cube.m_Out, "closed manifold"), "yes");

    WriteMeshFile(dir.Path("grid.obj"), MakeGrid(3), EEncoding::Text);
    const CRun grid = RunQuorvel({"info", dir.Path("grid.obj")});
    ExpectSuccess(grid);
    EXPECT_EQ(Field(grid.m_Out, "open edges"), "12");
    EXPECT_EQ(Field(grid.m_Out, "open contours"), "1");
    EXPECT_EQ(Field(grid.m_Out, "closed manifold"), "no");
}

TEST(Subcommands, EveryFormatRoundTripsThroughTheTool)
{
    // Zero smoothing iterations move nothing, so "smooth" converts.
    CScratchDirectory dir;
    CMeshData mesh = MakeSphere(2, 1.7);
    std::swap(mesh.m_Positions[3], mesh.m_Positions[20]);
    for (Triangle& t : mesh.m_Triangles)
        for (std::uint32_t& v : t)
            v = v == 3 ? 20 : (v == 20 ? 3 : v);
    WriteMeshFile(dir.Path("in.off"), mesh, EEncoding::Text);
    std::string previous = dir.Path("in.off");
    for (const char* name : {"a.obj", "b.ply", "c.off", "d.ply", "e.obj"}) {
        SCOPED_TRACE(name);
        std::vector<std::string> arguments = {"smooth", previous, "-o", dir.Path(name), "--iterations", "0"};
        if (std::string(name) == "b.ply")
            arguments.push_back("--ascii");
        ExpectSuccess(RunQuorvel(arguments));
        const CMeshData back = ReadMeshFile(dir.Path(name));
        ASSERT_EQ(back.m_Positions.size(), mesh.m_Positions.size());
        for (std::size_t i = 0; i < mesh.m_Positions.size(); ++i)
            EXPECT_EQ(back.m_Positions[i], mesh.m_Positions[i]);
        EXPECT_EQ(back.m_Triangles, mesh.m_Triangles);
        previous = dir.Path(name);
    }
    // STL holds every corner of every triangle; reading welds them back to
    // one vertex per position.
    for (const char* name : {"f.stl", "g.stl"}) {
        std::vector<std::string> arguments = {"smooth", previous, "-o", dir.Path(name), "--iterations", "0"};
        if (std::string(name) == "g.stl")
            arguments.push_back("--ascii");
        ExpectSuccess(RunQuorvel(arguments));
        const CMeshData back = ReadMeshFile(dir.Path(name));
        EXPECT_EQ(back.m_Positions.size(), mesh.m_Positions.size());
        EXPECT_EQ(back.m_Triangles.size(), mesh.m_Triangles.size());
        EXPECT_TRUE(IsClosedManifold(back));
    }
}

TEST(Subcommands, SmoothFlattensBumpsAndKeepsTheBoundary)
{
    CScratchDirectory dir;
    CMeshData bumpy = MakeGrid(8);
    std::mt19937 random(3);
    std::uniform_real_distribution<double> noise(-0.2, 0.2);
    const CEdgeCensus census(bumpy);
    for (std::size_t v = 0; v < bumpy.m_Positions.size(); ++v)
        if (!census.m_OnBoundary[v])
            bumpy.m_Positions[v].z = noise(random);
    WriteMeshFile(dir.Path("bumpy.ply"), bumpy, EEncoding::Binary);
    ExpectSuccess(RunQuorvel({"smooth", dir.Path("bumpy.ply"), "-o", dir.Path("smooth.ply"), "--iterations", "20"}));
    const CMeshData smooth = ReadMeshFile(dir.Path("smooth.ply"));
    ASSERT_EQ(smooth.m_Positions.size(), bumpy.m_Positions.size());
    EXPECT_EQ(smooth.m_Triangles, bumpy.m_Triangles);
    double before = 0, after = 0;
    for (std::size_t v = 0; v < bumpy.m_Positions.size(); ++v) {
        if (census.m_OnBoundary[v]) {
            EXPECT_EQ(smooth.m_Positions[v], bumpy.m_Positions[v]);
        }
        before = std::max(before, std::fabs(bumpy.m_Positions[v].z));
        after = std::max(after, std::fabs(smooth.m_Positions[v].z));
    }
    EXPECT_LT(after, 0.5 * before);

    ExpectSuccess(RunQuorvel({"smooth", dir.Path("bumpy.ply"), "-o", dir.Path("free.ply"), "--free-boundary"}));
    EXPECT_NE(ReadMeshFile(dir.Path("free.ply")).m_Positions[0], bumpy.m_Positions[0]);
}

TEST(Subcommands, OffsetMovesEveryVertexByTheDistanceOutwards)
{
    CScratchDirectory dir;
    const CMeshData sphere = MakeSphere(3);
    WriteMeshFile(dir.Path("sphere.obj"), sphere, EEncoding::Text);
    ExpectSuccess(RunQuorvel({"offset", dir.Path("sphere.obj"), "-o", dir.Path("grown.obj"), "--distance", "0.25"}));
    const CMeshData grown = ReadMeshFile(dir.Path("grown.obj"));
    ASSERT_EQ(grown.m_Positions.size(), sphere.m_Positions.size());
    for (std::size_t v = 0; v < sphere.m_Positions.size(); ++v) {
        EXPECT_NEAR(grown.m_Positions[v].DiffVectLen(sphere.m_Positions[v]), 0.25, 1e-12);
        EXPECT_NEAR(grown.m_Positions[v].GetLength(), 1.25, 0.01);
    }
}

TEST(Subcommands, SubdivideBoundsEdgesAndKeepsTheSurface)
{
    CScratchDirectory dir;
    WriteMeshFile(dir.Path("grid.obj"), MakeGrid(3), EEncoding::Text);
    ExpectSuccess(RunQuorvel({"subdivide", dir.Path("grid.obj"), "-o", dir.Path("fine.obj"), "--max-length", "0.3"}));
    const CMeshData fine = ReadMeshFile(dir.Path("fine.obj"));
    const CMeshStatistics statistics = MeasureMesh(fine);
    EXPECT_LE(statistics.m_MaxEdge, 0.3);
    EXPECT_NEAR(statistics.m_Area, 9, 1e-9);
    for (const Point& p : fine.m_Positions)
        EXPECT_EQ(p.z, 0);
    // Corners and midpoints shared by neighbouring pieces are merged.
    EXPECT_LT(fine.m_Positions.size(), 3 * fine.m_Triangles.size() / 2);
}

TEST(Subcommands, ThickenMakesAClosedShellOfTheGivenThickness)
{
    CScratchDirectory dir;
    WriteMeshFile(dir.Path("sheet.off"), MakeGrid(4, 0.5), EEncoding::Text);
    for (const char* thickness : {"0.25", "-0.25"}) {
        SCOPED_TRACE(thickness);
        ExpectSuccess(RunQuorvel({"thicken", dir.Path("sheet.off"), "-o", dir.Path("shell.off"), "--thickness", thickness}));
        const CMeshData shell = ReadMeshFile(dir.Path("shell.off"));
        EXPECT_TRUE(IsClosedManifold(shell));
        const CMeshStatistics statistics = MeasureMesh(shell);
        EXPECT_NEAR(statistics.m_Volume, 4 * 0.25, 1e-9);
        EXPECT_NEAR(statistics.m_Area, 2 * 4 + 8 * 0.25, 1e-9);
    }
}

TEST(Subcommands, ContourWritesBoundaryPointsAsAPolyline)
{
    CScratchDirectory dir;
    const unsigned int n = 4;
    WriteMeshFile(dir.Path("grid.ply"), MakeGrid(n), EEncoding::Binary);
    for (const char* name : {"edge.obj", "edge.xyz"}) {
        SCOPED_TRACE(name);
        ExpectSuccess(RunQuorvel({"contour", dir.Path("grid.ply"), "-o", dir.Path(name)}));
        const std::string text = ReadFile(dir.Path(name));
        const std::vector<Point> points = ReadPoints(text);
        EXPECT_GE(points.size(), 2u);
        for (const Point& p : points)
            EXPECT_TRUE(p.x == 0 || p.y == 0 || p.x == n || p.y == n) << p.x << " " << p.y;
        EXPECT_EQ(text.find("\nl 1 2 ") != std::string::npos, std::string(name) == "edge.obj");
    }
    WriteMeshFile(dir.Path("cube.obj"), MakeCube(), EEncoding::Text);
    const CRun closed = RunQuorvel({"contour", dir.Path("cube.obj"), "-o", dir.Path("none.obj")});
    EXPECT_EQ(closed.m_Status, 2);
    EXPECT_FALSE(FileExists(dir.Path("none.obj")));
}

TEST(Subcommands, InfillCoversTheSurfaceWithinTheSpacing)
{
    CScratchDirectory dir;
    WriteMeshFile(dir.Path("grid.obj"), MakeGrid(2), EEncoding::Text);
    ExpectSuccess(RunQuorvel({"infill", dir.Path("grid.obj"), "-o", dir.Path("points.ply"), "--spacing", "0.25",
                              "--ascii"}));
    const std::string text = ReadFile(dir.Path("points.ply"));
    const std::size_t body = text.find("end_header\n");
    ASSERT_NE(body, std::string::npos);
    const std::vector<Point> points = ReadPoints(text.substr(body + 11));
    EXPECT_NE(text.find("element vertex " + std::to_string(points.size()) + "\n"), std::string::npos);
    for (const Point& p : points) {
        EXPECT_EQ(p.z, 0);
        EXPECT_TRUE(p.x >= 0 && p.x <= 2 && p.y >= 0 && p.y <= 2);
    }
    // Any point of the surface has a generated point within the spacing.
    std::mt19937 random(5);
    std::uniform_real_distribution<double> coordinate(0, 2);
    for (int i = 0; i < 200; ++i) {
        const Point q(coordinate(random), coordinate(random), 0);
        double nearest = HUGE_VAL;
        for (const Point& p : points)
            nearest = std::min(nearest, p.DiffVectLen(q));
        EXPECT_LE(nearest, 0.25);
    }
    const CRun notPly = RunQuorvel({"infill", dir.Path("grid.obj"), "-o", dir.Path("points.obj")});
    EXPECT_EQ(notPly.m_Status, 2);
}
