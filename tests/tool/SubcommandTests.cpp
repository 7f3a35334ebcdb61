// Every subcommand run as a user runs it, on small generated files, with its
// result checked against what the operation means geometrically. (The offset
// is the library's Offset with the tool's reading and writing around it; the
// remesh stand-ins are the remeshing suite's, which the tool's power-of-two
// scaling and exact text files leave unchanged.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <random>
#include <sstream>

#include "ToolTestSupport.h"
#include "core/MeshTopology.h"
#include "core/Numbers.h"
#include "io/MeshFormats.h"
#include "report/MeshStatistics.h"
#include "report/RemeshMeasures.h"

using namespace QuorvelToolTest;

namespace {

void ExpectSuccess(const CRun& run) {
    EXPECT_EQ(run.m_Status, 0) << run.m_Err;
}

// The value of one "  name   value" row of a report.
std::string Field(const std::string& report, const std::string& name) {
    const std::size_t row = report.find("\n  " + name + " ");
    if (row == std::string::npos)
        return "(no row " + name + ")";
    const std::size_t value = report.find_first_not_of(' ', row + name.size() + 3);
    return report.substr(value, report.find('\n', value) - value);
}

// The values of the named rows, runs of spaces squeezed to one, joined by " | ".
std::string Fields(const std::string& report, const std::vector<std::string>& names) {
    std::string joined;
    for (const std::string& name : names) {
        joined += joined.empty() ? "" : " | ";
        for (char c : Field(report, name))
            if (c != ' ' || joined.back() != ' ')
                joined += c;
    }
    return joined;
}

// The mesh written triangle by triangle, as some exporters do: every edge is
// open until equal positions are joined.
CMeshData Soup(const CMeshData& mesh) {
    CMeshData soup;
    for (const Triangle& t : mesh.m_Triangles) {
        const std::uint32_t first = static_cast<std::uint32_t>(soup.m_Positions.size());
        for (std::uint32_t v : t)
            soup.m_Positions.push_back(mesh.m_Positions[v]);
        soup.m_Triangles.push_back(Triangle{first, first + 1, first + 2});
    }
    return soup;
}

// Runs a command whose arguments start "COMMAND INPUT -o OUTPUT" and reads
// its output.
CMeshData Produce(const std::vector<std::string>& arguments) {
    const CRun run = RunQuorvel(arguments);
    EXPECT_EQ(run.m_Status, 0) << run.m_Err;
    return ReadMeshFile(arguments.at(3));
}

bool IsClosedManifold(const CMeshData& mesh) {
    const CEdgeCensus census(mesh);
    return census.m_OpenEdges == 0 && census.m_NonManifoldEdges == 0 && census.m_MisorientedEdges == 0;
}

}  // namespace

TEST(Subcommands, HelpAndParserAgreeOnEveryOption) {
    // Every option a command's help lists is accepted (with a value when the
    // help names one), every option its usage line shows is listed, and an
    // option it does not list is refused: the help cannot drift from the
    // parser. The input is missing, so each run ends right after parsing.
    const CRun overview = RunQuorvel({"--help"});
    ExpectSuccess(overview);
    const std::string missing = "/nonexistent/quorvel-test.obj";
    for (const std::string command :
         {"remesh", "info", "smooth", "offset", "subdivide", "thicken", "contour", "infill", "compare"}) {
        SCOPED_TRACE(command);
        EXPECT_NE(overview.m_Out.find("  " + command + " "), std::string::npos);
        const CRun help = RunQuorvel({command, "--help"});
        ExpectSuccess(help);
        ASSERT_EQ(help.m_Out.rfind("usage: quorvel " + command, 0), 0u) << help.m_Out;
        const std::size_t table = help.m_Out.find("\noptions:\n");
        ASSERT_NE(table, std::string::npos);
        std::istringstream rows(help.m_Out.substr(table + 10));
        std::string row, listed;
        while (std::getline(rows, row) && row.rfind("  -", 0) == 0) {
            std::istringstream words(row);
            std::vector<std::string> names;
            std::string word;
            while (words >> word && word[0] == '-')
                names.push_back(word.back() == ',' ? word.substr(0, word.size() - 1) : word);
            const bool takesValue =
                !word.empty() && word[0] != '-' && std::isupper(static_cast<unsigned char>(word[0]));
            for (const std::string& name : names) {
                listed += name + " ";
                std::vector<std::string> arguments = {command, missing, name};
                if (takesValue)
                    arguments.push_back("1");
                const CRun run = RunQuorvel(arguments);
                EXPECT_EQ(run.m_Status, 2) << name;
                EXPECT_EQ(run.m_Err.find("unknown option"), std::string::npos) << run.m_Err;
                EXPECT_EQ(run.m_Err.find("value"), std::string::npos) << run.m_Err;
            }
        }
        const std::string usage = help.m_Out.substr(0, help.m_Out.find('\n'));
        for (std::size_t at = usage.find("--"); at != std::string::npos; at = usage.find("--", at + 2)) {
            const std::string name = usage.substr(at, usage.find_first_of(" ]|", at) - at);
            EXPECT_NE(listed.find(name + " "), std::string::npos) << name << " is in the usage line only";
        }
        const CRun bogus = RunQuorvel({command, missing, "--bogus"});
        EXPECT_EQ(bogus.m_Status, 2);
        EXPECT_NE(bogus.m_Err.find("unknown option '--bogus'"), std::string::npos) << bogus.m_Err;
    }
}

TEST(Subcommands, RemeshRepairsAwkwardInputAndBothMethodsApproachTheTarget) {
    CScratchDirectory dir;
    // A closed box with a fin (a third face on one of its edges) and a
    // triangle hanging from one corner only.
    CMeshData fin = MakeCube();
    fin.m_Positions.insert(fin.m_Positions.end(), {Point(0.5, -1, 0), Point(-1, -1, -1), Point(-1, 0, -1)});
    fin.m_Triangles.insert(fin.m_Triangles.end(), {{0, 1, 8}, {0, 9, 10}});
    WriteMeshFile(dir.Path("fin.off"), fin, EEncoding::Text);
    // Coordinates near the top of the double range are remeshed at unit
    // scale and scaled back.
    CMeshData far = MakeCube();
    for (Point& p : far.m_Positions)
        p *= 1.5e308;
    WriteMeshFile(dir.Path("far.ply"), far, EEncoding::Binary);
    const CMeshData sphere = MakeSphere(2);
    CMeshData soup = Soup(sphere);
    // One face written twice adds nothing to the surface; one wound against
    // its neighbours is turned to agree with them.
    soup.m_Triangles.push_back(soup.m_Triangles[5]);
    std::swap(soup.m_Triangles[9][0], soup.m_Triangles[9][1]);
    WriteMeshFile(dir.Path("soup.obj"), soup, EEncoding::Text);
    const CMeshStatistics input = MeasureMesh(sphere);
    for (const std::string method : {"exact", "preserve"}) {
        SCOPED_TRACE(method);
        const CRun run = RunQuorvel({"remesh", dir.Path("soup.obj"), "-o", dir.Path("out.ply"), "--target", "0.15",
                                     "--method", method, "--report", dir.Path("report.svg")});
        ExpectSuccess(run);
        EXPECT_NE(run.m_Err.find("merged"), std::string::npos) << run.m_Err;
        for (const char* row : {"vertices", "edge length CV", "interior valence 6", "smallest angle", "volume change",
                                "distance from input", "open edges", "wall time"})
            EXPECT_NE(run.m_Out.find(row), std::string::npos) << row;
        const CMeshData output = ReadMeshFile(dir.Path("out.ply"));
        const CMeshStatistics result = MeasureMesh(output);
        // The distance is measured on the input as read: every vertex and
        // edge midpoint of the soup, and its points spread by area.
        const auto spread = [](const CMeshData& mesh) { return RemeshAreaSamples(mesh.m_Triangles.size()); };
        const std::uint64_t points = soup.m_Positions.size() + CEdgeCensus(soup).m_Edges.size() + spread(soup);
        EXPECT_NE(run.m_Out.find(
                      "from " + FormatCount(points) + " points of the input and " +
                      FormatCount(output.m_Positions.size() + CEdgeCensus(output).m_Edges.size() + spread(output)) +
                      " of the output"),
                  std::string::npos)
            << run.m_Out;
        EXPECT_TRUE(IsClosedManifold(output));
        EXPECT_GT(result.m_MeanEdge, 0.7 * 0.15);
        EXPECT_LT(result.m_MeanEdge, 1.3 * 0.15);
        EXPECT_LT(result.m_EdgeVariation, input.m_EdgeVariation + 0.1);
        // The exact method relaxes by plain neighbour averaging, which
        // shrinks a sphere; the shape-preserving one must not.
        EXPECT_GT(result.m_Volume, method == "exact" ? 0 : 0.98 * input.m_Volume);
        EXPECT_LT(result.m_Volume, 1.02 * input.m_Volume);
        EXPECT_EQ(ReadFile(dir.Path("report.svg")).rfind("<svg", 0), 0u);

        // Refusing the fin is allowed; crashing or writing an empty mesh is not.
        const CRun finned = RunQuorvel(Words("remesh " + dir.Path("fin.off") + " -o " + dir.Path("out.off") +
                                             " --relative 0.5 --method " + method));
        ASSERT_TRUE(finned.m_Status == 0 || finned.m_Status == 2) << finned.m_Err;
        EXPECT_TRUE(finned.m_Status == 2 || !ReadMeshFile(dir.Path("out.off")).m_Triangles.empty());
        ExpectSuccess(RunQuorvel({"remesh", dir.Path("far.ply"), "-o", dir.Path("far.off"), "--method", method}));
    }
}

// An STL whose faces rounded their corners each their own way: copies of a
// vertex 1e-7 apart. The remesh joins them and gives the welded sphere's
// result; with --weld-tolerance 0 every face stays a piece of its own.
TEST(Subcommands, RemeshWeldsCopiesThatRoundingMovedApart) {
    CScratchDirectory dir;
    const CMeshData sphere = MakeSphere(3);
    CMeshData soup = Soup(sphere);
    std::mt19937 random(11);
    std::uniform_real_distribution<double> jitter(-1e-7, 1e-7);
    for (Point& p : soup.m_Positions)
        p = p + Point(jitter(random), jitter(random), jitter(random));
    WriteMeshFile(dir.Path("soup.off"), soup, EEncoding::Text);
    WriteMeshFile(dir.Path("sphere.off"), sphere, EEncoding::Text);
    const CRun welded = RunQuorvel(Words("remesh " + dir.Path("sphere.off") + " -o " + dir.Path("welded.off")));
    const CRun run = RunQuorvel(Words("remesh " + dir.Path("soup.off") + " -o " + dir.Path("out.off")));
    ExpectSuccess(welded);
    ExpectSuccess(run);
    EXPECT_NE(run.m_Err.find("within the weld tolerance"), std::string::npos) << run.m_Err;
    const CMeshData reference = ReadMeshFile(dir.Path("welded.off")), output = ReadMeshFile(dir.Path("out.off"));
    EXPECT_TRUE(IsClosedManifold(output));
    EXPECT_EQ(output.m_Triangles.size(), reference.m_Triangles.size());
    const CMeshStatistics a = MeasureMesh(reference), b = MeasureMesh(output);
    EXPECT_NEAR(b.m_MinAngle, a.m_MinAngle, 0.01);
    EXPECT_NEAR(b.m_Volume, a.m_Volume, 1e-5);
    EXPECT_EQ(Field(run.m_Out, "distance from input / diag"), Field(welded.m_Out, "distance from input / diag"));

    const CRun apart =
        RunQuorvel(Words("remesh " + dir.Path("soup.off") + " -o " + dir.Path("apart.off") + " --weld-tolerance 0"));
    ExpectSuccess(apart);
    EXPECT_EQ(apart.m_Err.find("weld tolerance"), std::string::npos) << apart.m_Err;
    EXPECT_FALSE(IsClosedManifold(ReadMeshFile(dir.Path("apart.off"))));
}

// A plate's STL whose long sides are one quad each, the caps' corners lying
// on their edges unshared: a crack of zero width along both rims of each
// side. The preparation stitches the corners into the sides' edges, so the
// remesh sees one closed solid; left open, the sides were strips a third of
// a target tall between two kept rims with a row of free vertices inside
// them (13.8 degrees). With --weld-tolerance 0 nothing is stitched.
TEST(Subcommands, RemeshStitchesTJunctionsOfSolidExports) {
    CScratchDirectory dir;
    const CMeshData plate = Tables([](ToolMesh& mesh) { QuorvelTest::MakeStlPlateWithWholeSides(mesh); });
    WriteMeshFile(dir.Path("plate.off"), plate, EEncoding::Text);
    const CRun run = RunQuorvel(Words("remesh " + dir.Path("plate.off") + " -o " + dir.Path("out.off")));
    ExpectSuccess(run);
    EXPECT_NE(run.m_Err.find("8 vertices on another face's open edge stitched"), std::string::npos) << run.m_Err;
    const CMeshData output = ReadMeshFile(dir.Path("out.off"));
    EXPECT_TRUE(IsClosedManifold(output));
    const CMeshStatistics measured = MeasureMesh(output);
    EXPECT_GT(measured.m_MinAngle, 28.0);
    EXPECT_LT(std::stod(Field(run.m_Out, "distance from input / diag")), 1.5);

    const CRun apart =
        RunQuorvel(Words("remesh " + dir.Path("plate.off") + " -o " + dir.Path("apart.off") + " --weld-tolerance 0"));
    ExpectSuccess(apart);
    EXPECT_EQ(apart.m_Err.find("stitched"), std::string::npos) << apart.m_Err;
    EXPECT_FALSE(IsClosedManifold(ReadMeshFile(dir.Path("apart.off"))));
}

// Rounded positions fold a face onto its reverse where the iso-surface
// passes a grid point; with only the copy dropped, a third face stayed on
// those edges and the remesh left them non-manifold, with a face of no area.
TEST(Subcommands, RemeshDropsFacesFoldedOntoTheirReverse) {
    CScratchDirectory dir;
    const CMeshData blob = Tables([](ToolMesh& mesh) { QuorvelTest::MakeSnappedIsoSurface(mesh); });
    WriteMeshFile(dir.Path("blob.off"), blob, EEncoding::Text);
    const CRun run = RunQuorvel(Words("remesh " + dir.Path("blob.off") + " -o " + dir.Path("out.off")));
    ExpectSuccess(run);
    const CMeshData output = ReadMeshFile(dir.Path("out.off"));
    EXPECT_TRUE(IsClosedManifold(output));
    const CMeshStatistics measured = MeasureMesh(output);
    EXPECT_GT(measured.m_MinAngle, 30.0);
    EXPECT_LT(std::stod(Field(run.m_Out, "distance from input / diag")), 0.5);
}

TEST(Subcommands, RemeshWithoutInputRunsTheBuiltInExample) {
    const CRun run = RunQuorvel({"remesh", "--relative", "2", "--quiet"}, 600);
    ExpectSuccess(run);
    EXPECT_NE(run.m_Out.find("latitude-longitude sphere"), std::string::npos);
    EXPECT_TRUE(run.m_Err.empty()) << run.m_Err;
}

TEST(Subcommands, InfoReportsMeasuresAndDefectsAndCompareDistancesBothWays) {
    CScratchDirectory dir;
    WriteMeshFile(dir.Path("cube.stl"), MakeCube(2), EEncoding::Binary);
    WriteMeshFile(dir.Path("grid.obj"), MakeGrid(3), EEncoding::Text);
    const CRun cube = RunQuorvel({"info", dir.Path("cube.stl")}), grid = RunQuorvel({"info", dir.Path("grid.obj")});
    ExpectSuccess(cube);
    ExpectSuccess(grid);
    EXPECT_EQ(Fields(cube.m_Out, {"vertices", "faces", "area", "volume", "centre of mass", "size", "open edges",
                                  "closed manifold"}),
              "8 | 12 | 24 | 8 | (1, 1, 1) | (2, 2, 2) | 0 | yes");
    EXPECT_EQ(Fields(grid.m_Out, {"open edges", "open contours", "closed manifold"}), "12 | 1 | no");

    // A 2 x 2 plane and a 1 x 1 plane half a unit above its corner: from the
    // small plane every point is 0.5 away; from the large one the far corner
    // is sqrt(1 + 1 + 0.25) = 1.5 away.
    const CMeshData large = MakeGrid(8, 0.25);
    CMeshData small = MakeGrid(4, 0.25);
    for (Point& p : small.m_Positions)
        p.z += 0.5;
    WriteMeshFile(dir.Path("large.ply"), large, EEncoding::Binary);
    WriteMeshFile(dir.Path("small.obj"), small, EEncoding::Text);
    const CRun run = RunQuorvel({"compare", dir.Path("large.ply"), dir.Path("small.obj"), "--samples", "20000"});
    ExpectSuccess(run);
    EXPECT_EQ(Fields(run.m_Out, {"faces", "open edges", "max", "Hausdorff (sampled)"}),
              "128 32 | 32 16 | 1.5 0.5 | 1.5 53 %");
    // The mean lies between the two one-sided extremes.
    const double mean = std::stod(Field(run.m_Out, "mean"));
    EXPECT_GT(mean, 0.5);
    EXPECT_LT(mean, 1.5);
    // Symmetric in what it reports: swapping the files swaps the columns.
    const CRun swapped = RunQuorvel({"compare", dir.Path("small.obj"), dir.Path("large.ply"), "--samples", "20000"});
    ExpectSuccess(swapped);
    EXPECT_EQ(Fields(swapped.m_Out, {"max"}), "0.5 1.5");
}

TEST(Subcommands, SmoothFlattensBumpsAndKeepsTheBoundary) {
    CScratchDirectory dir;
    CMeshData bumpy = MakeGrid(8);
    const CEdgeCensus census(bumpy);
    for (std::size_t v = 0; v < bumpy.m_Positions.size(); ++v)
        if (!census.m_OnBoundary[v])
            bumpy.m_Positions[v].z = 0.2 * std::sin(7.0 * v);
    WriteMeshFile(dir.Path("bumpy.ply"), bumpy, EEncoding::Binary);
    const CMeshData smooth =
        Produce({"smooth", dir.Path("bumpy.ply"), "-o", dir.Path("smooth.ply"), "--iterations", "20"});
    ASSERT_EQ(smooth.m_Positions.size(), bumpy.m_Positions.size());
    EXPECT_EQ(smooth.m_Triangles, bumpy.m_Triangles);
    double before = 0, after = 0;
    for (std::size_t v = 0; v < bumpy.m_Positions.size(); ++v) {
        EXPECT_TRUE(!census.m_OnBoundary[v] || smooth.m_Positions[v] == bumpy.m_Positions[v]) << v;
        before = std::max(before, std::fabs(bumpy.m_Positions[v].z));
        after = std::max(after, std::fabs(smooth.m_Positions[v].z));
    }
    EXPECT_LT(after, 0.5 * before);
    EXPECT_NE(Produce({"smooth", dir.Path("bumpy.ply"), "-o", dir.Path("free.ply"), "--free-boundary"}).m_Positions[0],
              bumpy.m_Positions[0]);
}

TEST(Subcommands, SubdivideBoundsEdgesAndKeepsTheSurface) {
    CScratchDirectory dir;
    WriteMeshFile(dir.Path("grid.obj"), MakeGrid(3), EEncoding::Text);
    const CMeshData fine =
        Produce({"subdivide", dir.Path("grid.obj"), "-o", dir.Path("fine.obj"), "--max-length", "0.3"});
    const CMeshStatistics statistics = MeasureMesh(fine);
    EXPECT_LE(statistics.m_MaxEdge, 0.3);
    EXPECT_NEAR(statistics.m_Area, 9, 1e-9);
    for (const Point& p : fine.m_Positions)
        EXPECT_EQ(p.z, 0);
    // Corners and midpoints shared by neighbouring pieces are merged.
    EXPECT_LT(fine.m_Positions.size(), 3 * fine.m_Triangles.size() / 2);
}

TEST(Subcommands, ThickenMakesAClosedShellOfTheGivenThickness) {
    CScratchDirectory dir;
    WriteMeshFile(dir.Path("sheet.off"), MakeGrid(4, 0.5), EEncoding::Text);
    // The same sheet written as separate triangles, some wound against their
    // neighbours.
    CMeshData jumbled = Soup(MakeGrid(4, 0.5));
    for (std::size_t f = 1; f < jumbled.m_Triangles.size(); f += 3)
        std::swap(jumbled.m_Triangles[f][1], jumbled.m_Triangles[f][2]);
    WriteMeshFile(dir.Path("jumbled.obj"), jumbled, EEncoding::Text);
    // Either way the shell's area is the sheet's twice and its rim's walls,
    // its volume the sheet's area times the thickness; the jumbled sheet's
    // winding is whichever its repair chose, so only its volume's size counts.
    for (const char* thickness : {"0.25", "-0.25"})
        for (const char* input : {"sheet.off", "jumbled.obj"}) {
            SCOPED_TRACE(std::string(input) + " " + thickness);
            const CMeshData shell =
                Produce({"thicken", dir.Path(input), "-o", dir.Path("shell.off"), "--thickness", thickness});
            EXPECT_TRUE(IsClosedManifold(shell));
            const CMeshStatistics statistics = MeasureMesh(shell);
            EXPECT_NEAR(input[0] == 's' ? statistics.m_Volume : std::fabs(statistics.m_Volume), 4 * 0.25, 1e-9);
            EXPECT_NEAR(statistics.m_Area, 2 * 4 + 8 * 0.25, 1e-9);
        }
}

TEST(Subcommands, ContourWritesTheRimAsAPolylineAndInfillCoversTheSurfaceWithinTheSpacing) {
    CScratchDirectory dir;
    WriteMeshFile(dir.Path("grid.ply"), MakeGrid(4), EEncoding::Binary);
    ExpectSuccess(RunQuorvel({"contour", dir.Path("grid.ply"), "-o", dir.Path("edge.obj")}));
    ExpectSuccess(RunQuorvel({"contour", dir.Path("grid.ply"), "-o", dir.Path("edge.xyz")}));
    const std::string obj = ReadFile(dir.Path("edge.obj"));
    const std::vector<Point> rim = ReadObj(obj, "edge.obj").m_Positions;
    std::istringstream xyz(ReadFile(dir.Path("edge.xyz")));
    std::vector<Point> plain;
    for (Point p; xyz >> p.x >> p.y >> p.z;)
        plain.push_back(p);
    EXPECT_EQ(plain, rim);
    // One walk along the rim: unit steps between boundary vertices, joined
    // in order by one line.
    ASSERT_GE(rim.size(), 2u);
    for (std::size_t i = 0; i < rim.size(); ++i) {
        const Point& p = rim[i];
        EXPECT_TRUE(p.x == 0 || p.y == 0 || p.x == 4 || p.y == 4) << p.x << " " << p.y;
        EXPECT_TRUE(i == 0 || p.DiffVectLen(rim[i - 1]) == 1) << i;
    }
    EXPECT_NE(obj.find("\nl 1 2 3 "), std::string::npos);

    // Infill of a 2 x 2 grid.
    WriteMeshFile(dir.Path("small.obj"), MakeGrid(2), EEncoding::Text);
    ExpectSuccess(
        RunQuorvel({"infill", dir.Path("small.obj"), "-o", dir.Path("points.ply"), "--spacing", "0.25", "--ascii"}));
    const std::string text = ReadFile(dir.Path("points.ply"));
    const std::vector<Point> points = ReadPly(text, "points.ply").m_Positions;
    // The header declares every point written, no more and no fewer.
    EXPECT_EQ(std::count(text.begin() + text.find("end_header"), text.end(), '\n'), std::ptrdiff_t(points.size()) + 1);
    for (const Point& p : points)
        EXPECT_TRUE(p.z == 0 && p.x >= 0 && p.x <= 2 && p.y >= 0 && p.y <= 2) << p.x << " " << p.y << " " << p.z;
    // Any point of the surface has a generated point within the spacing.
    for (int i = 0; i < 21 * 21; ++i) {
        const Point q(0.1 * (i % 21), 0.1 * (i / 21), 0);
        double nearest = HUGE_VAL;
        for (const Point& p : points)
            nearest = std::min(nearest, p.DiffVectLen(q));
        EXPECT_LE(nearest, 0.25);
    }
}
