// The tool's own measures against closed forms, and the repairs done before
// the exact remesh.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "ToolTestSupport.h"
#include "commands/CommandSupport.h"
#include "core/KeySort.h"
#include "core/MeshRepair.h"
#include "core/MeshTopology.h"
#include "report/MeshStatistics.h"
#include "report/RemeshMeasures.h"
#include "report/SurfaceDistance.h"

using namespace QuorvelToolTest;

TEST(SurfaceDistance, HausdorffMeanAndRmsMatchClosedForms) {
    const CMeshData grid = MakeGrid(8, 0.5);
    CMeshData lifted = grid;
    for (Point& p : lifted.m_Positions)
        p.z += 0.3;
    EXPECT_NEAR(SampledHausdorffDistance(grid, lifted, 2000), 0.3, 1e-12);
    const CSurfaceDistances apart = MeasureSurfaceDistances(grid, lifted, 2000);
    EXPECT_NEAR(apart.GetHausdorff(), 0.3, 1e-12);
    EXPECT_NEAR(apart.GetMean(), 0.3, 1e-12);
    EXPECT_NEAR(apart.GetRms(), 0.3, 1e-12);
    // A finer copy of the same plane is at distance 0 whatever its samples.
    EXPECT_NEAR(SampledHausdorffDistance(grid, MakeGrid(16, 0.25), 2000), 0, 1e-12);
    // A plane against a smaller one: the larger has samples up to the far
    // corner away, the smaller none; the quick maximum and the exact one agree.
    const CMeshData half = MakeGrid(4, 0.5);
    const CSurfaceDistances lopsided = MeasureSurfaceDistances(grid, half, 5000);
    EXPECT_NEAR(lopsided.m_FromFirst.m_Max, std::sqrt(2.0) * 2, 1e-12);
    EXPECT_NEAR(lopsided.m_FromSecond.m_Max, 0, 1e-12);
    EXPECT_NEAR(SampledHausdorffDistance(grid, half, 5000), lopsided.GetHausdorff(), 1e-12);
    EXPECT_LT(lopsided.GetRms(), lopsided.GetHausdorff());
    EXPECT_LT(lopsided.GetMean(), lopsided.GetRms());
}

// A mesh large enough for the input's half to be prepared on a thread of
// its own while the caller works, against a copy with one vertex pushed
// out: that vertex is the furthest point, its push away, and the figures of
// each side are those of the mesh alone.
TEST(RemeshMeasures, FiguresOfBothSidesAndTheDistanceOfAPushedVertex) {
    const CMeshData sphere = MakeSphere(5);
    CMeshData bumped = sphere;
    bumped.m_Positions[17] = bumped.m_Positions[17] * 1.1;
    CRemeshMeasurer large(sphere);
    const CRemeshMeasures apart = large.Finish(bumped);
    EXPECT_NEAR(apart.m_Hausdorff, 0.1, 1e-12);
    EXPECT_EQ(apart.m_Hausdorff,
              SampledHausdorffDistance(sphere, bumped, RemeshAreaSamples(sphere.m_Triangles.size())));
    const CMeshStatistics bumpedFigures = MeasureMesh(bumped);
    EXPECT_EQ(apart.m_After.m_EdgeLengths, bumpedFigures.m_EdgeLengths);
    EXPECT_EQ(apart.m_After.m_InteriorValences, bumpedFigures.m_InteriorValences);
    EXPECT_DOUBLE_EQ(apart.m_After.m_Volume, bumpedFigures.m_Volume);
    EXPECT_DOUBLE_EQ(apart.m_Before.m_Area, MeasureMesh(sphere).m_Area);
    // Every vertex and edge midpoint, and the points spread by area.
    const std::size_t points =
        sphere.m_Positions.size() + CEdgeCensus(sphere).m_Edges.size() + RemeshAreaSamples(sphere.m_Triangles.size());
    EXPECT_TRUE(apart.m_BeforeSamples == points && apart.m_AfterSamples == points);
    // A measurer whose remesh failed is dropped unfinished.
    { CRemeshMeasurer abandoned(sphere); }
}

TEST(MeshStatistics, CubeAndGridMatchTheirClosedForms) {
    const CMeshStatistics cube = MeasureMesh(MakeCube(2));
    EXPECT_EQ(cube.m_EdgeLengths.size(), 18u);
    EXPECT_DOUBLE_EQ(cube.m_MinEdge, 2);
    EXPECT_DOUBLE_EQ(cube.m_MaxEdge, 2 * std::sqrt(2.0));
    EXPECT_DOUBLE_EQ(cube.m_MeanEdge, (12 * 2 + 6 * 2 * std::sqrt(2.0)) / 18);
    EXPECT_NEAR(cube.m_MinAngle, 45, 1e-9);
    EXPECT_NEAR(cube.m_MaxAngle, 90, 1e-9);
    EXPECT_NEAR(cube.m_Volume, 8, 1e-12);
    // Open, its volume is taken about the box's centre: five of the six
    // pyramids from the centre, whatever the order of the faces.
    CMeshData open = MakeCube(2);
    const auto below = [](const Point& a, const Point& b) { return a.z < b.z; };
    const double top = std::max_element(open.m_Positions.begin(), open.m_Positions.end(), below)->z;
    const auto onTop = [&](const Triangle& t) {
        return open.m_Positions[t[0]].z + open.m_Positions[t[1]].z + open.m_Positions[t[2]].z == 3 * top;
    };
    open.m_Triangles.erase(std::remove_if(open.m_Triangles.begin(), open.m_Triangles.end(), onTop),
                           open.m_Triangles.end());
    ASSERT_EQ(open.m_Triangles.size(), 10u);
    EXPECT_NEAR(MeasureMesh(open).m_Volume, 8.0 * 5 / 6, 1e-12);
    std::reverse(open.m_Triangles.begin(), open.m_Triangles.end());
    EXPECT_NEAR(MeasureMesh(open).m_Volume, 8.0 * 5 / 6, 1e-12);
    const unsigned int n = 5;
    const CMeshData gridMesh = MakeGrid(n);
    const CMeshStatistics grid = MeasureMesh(gridMesh);
    const double axis = 2.0 * n * (n + 1), diagonal = n * n;
    EXPECT_NEAR(grid.m_MeanEdge, (axis + diagonal * std::sqrt(2.0)) / (axis + diagonal), 1e-12);
    // Every interior vertex of a grid split along one diagonal has valence 6.
    EXPECT_DOUBLE_EQ(grid.m_RegularShare, 1.0);
    EXPECT_EQ(grid.m_InteriorValences[6], (n - 1) * (n - 1));

    // A sheet tilted off the axes keeps a signed volume of rounding noise:
    // no volume change is reported for it, while a solid's is relative.
    CMeshData tilted = gridMesh;
    for (Point& p : tilted.m_Positions)
        p = Point(0.6 * p.x, p.y, 0.8 * p.x + 0.1 * p.y + 1);
    const CMeshStatistics sheet = MeasureMesh(tilted);
    EXPECT_TRUE(std::isnan(VolumeChange(sheet, grid)));
    EXPECT_TRUE(std::isnan(VolumeChange(grid, grid)));
    const CMeshStatistics doubled = MeasureMesh(MakeCube(2 * std::cbrt(2.0)));
    EXPECT_NEAR(VolumeChange(cube, doubled), 1, 1e-12);
    EXPECT_NEAR(VolumeChange(doubled, cube), -0.5, 1e-12);
}

TEST(MeshRepair, MakeManifoldSeparatesSheetsAndOrientsFaces) {
    // Three sheets on one edge (0, 1), and a fourth triangle touching the
    // first only at vertex 2.
    CMeshData book;
    book.m_Positions = {Point(0, 0, 0), Point(0, 0, 1), Point(1, 0, 0), Point(-1, 0, 0),
                        Point(0, 1, 0), Point(2, 1, 0), Point(2, -1, 0)};
    book.m_Triangles = {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}, {2, 5, 6}};
    EXPECT_EQ(CEdgeCensus(book).m_NonManifoldEdges, 1u);
    CRepairSummary summary;
    ASSERT_TRUE(MakeManifold(book, summary));
    const CEdgeCensus repaired(book);
    EXPECT_EQ(repaired.m_NonManifoldEdges, 0u);
    EXPECT_EQ(repaired.m_MisorientedEdges, 0u);
    EXPECT_EQ(book.m_Triangles.size(), 4u);
    // Vertices 0 and 1 get a copy for each sheet beyond the first; vertex 2
    // keeps its own fan and the bow-tie triangle gets a copy.
    EXPECT_EQ(summary.m_SplitVertices, 5u);
    EXPECT_EQ(book.m_Positions.size(), 12u);
    for (const Triangle& t : book.m_Triangles)
        for (std::uint32_t v : t)
            EXPECT_LT(v, book.m_Positions.size());

    // Two faces crossing an edge the same way: one is turned over.
    CMeshData pair = MakeGrid(1);
    std::swap(pair.m_Triangles[1][1], pair.m_Triangles[1][2]);
    EXPECT_EQ(CEdgeCensus(pair).m_MisorientedEdges, 1u);
    CRepairSummary flips;
    ASSERT_TRUE(MakeManifold(pair, flips));
    EXPECT_EQ(flips.m_FlippedFaces, 1u);
    EXPECT_EQ(CEdgeCensus(pair).m_MisorientedEdges, 0u);
    EXPECT_EQ(pair.m_Positions.size(), 4u);

    // Faces naming a vertex twice and duplicate faces go before the library
    // sees them; the order of the rest is kept. A large grid takes the packed
    // check that sorts by bytes; its copies name their corners rotated and
    // reversed.
    for (const CMeshData& clean : {MakeCube(), MakeGrid(60)}) {
        SCOPED_TRACE(clean.m_Triangles.size());
        CMeshData messy = clean;
        messy.m_Triangles.push_back(Triangle{1, 1, 2});
        for (const std::size_t f : {std::size_t(3), clean.m_Triangles.size() - 1}) {
            const Triangle& t = clean.m_Triangles[f];
            messy.m_Triangles.push_back(Triangle{t[1], t[2], t[0]});
            messy.m_Triangles.push_back(Triangle{t[0], t[2], t[1]});
        }
        CRepairSummary cleaned;
        DropRepeatedCornerFaces(messy, cleaned);
        DropDuplicateFaces(messy, cleaned);
        EXPECT_EQ(cleaned.m_RepeatedCornerFaces, 1u);
        EXPECT_EQ(cleaned.m_DuplicateFaces, 4u);
        EXPECT_EQ(messy.m_Triangles, clean.m_Triangles);
    }
}

TEST(KeySort, AgreesWithAComparisonSortWhateverBytesTheKeysShare) {
    std::mt19937_64 random(7);
    for (const std::size_t count : {std::size_t(0), std::size_t(1), std::size_t(100), std::size_t(50000)})
        for (const std::uint64_t mask : {~std::uint64_t(0), std::uint64_t(0x0000FFFF0000FFFFull),
                                         std::uint64_t(0xFF00000000000001ull), std::uint64_t(0)}) {
            std::vector<std::uint64_t> keys(count);
            for (std::uint64_t& key : keys)
                key = (random() & mask) | 0x0000010000000000ull;
            std::vector<std::uint64_t> expected = keys;
            std::sort(expected.begin(), expected.end());
            SortKeys(keys);
            EXPECT_EQ(keys, expected) << count << " keys under mask " << std::hex << mask;
        }

    // Compared from bit 32 up: the low halves, here descending, keep their
    // order among equal high halves.
    std::vector<std::uint64_t> keys(50000);
    for (std::size_t i = 0; i < keys.size(); ++i)
        keys[i] = (random() % 1000) << 32 | (keys.size() - i);
    std::vector<std::uint64_t> expected = keys;
    std::stable_sort(expected.begin(), expected.end(),
                     [](std::uint64_t a, std::uint64_t b) { return a >> 32 < b >> 32; });
    SortKeys(keys, 32);
    EXPECT_EQ(keys, expected);
}

// The tool works on meshes scaled near unit size by a power of two and scales
// the result back: both ways must round as ldexp does, to the last bit, even
// where the result is subnormal or overflows.
TEST(UnitScale, ScalingByAPowerOfTwoRoundsAsLdexpDoes) {
    const double values[] = {
        1.0, -1.2345678901234567, 0x1.fffffffffffffp+1023, 0x1p-1074, 0x1.8p-1070, 3.0e-300, -7.5e300,
        0.0, 1.0000000000000002};
    for (const int exponent : {-1100, -1074, -1060, -1022, -200, -1, 1, 17, 1023, 1030, 2000}) {
        std::vector<Point> points;
        for (const double v : values)
            points.emplace_back(v, -v, v * 0.5);
        std::vector<Point> scaled = points;
        ScaleByPowerOfTwo(scaled, exponent);
        for (std::size_t i = 0; i < points.size(); ++i)
            for (int k = 0; k < 3; ++k)
                EXPECT_EQ(scaled[i][k], std::ldexp(points[i][k], exponent)) << points[i][k] << " * 2^" << exponent;
    }
}

// The mean edge length that sets the default target sums the same edges in
// the same order as the table's figure, so the two agree to the bit, on a
// mesh with repeated, reversed and degenerate faces and unused vertices.
TEST(MeshStatistics, TrueMeanEdgeLengthIsTheTablesMeanToTheBit) {
    CMeshData mesh = MakeSphere(4);
    std::mt19937 random(3);
    std::uniform_real_distribution<double> jitter(-0.01, 0.01);
    for (Point& p : mesh.m_Positions)
        p = p + Point(jitter(random), jitter(random), jitter(random));
    const Triangle first = mesh.m_Triangles[0];
    mesh.m_Triangles.push_back(first);
    mesh.m_Triangles.push_back(Triangle{first[2], first[1], first[0]});
    mesh.m_Triangles.push_back(Triangle{first[0], first[0], first[1]});
    mesh.m_Positions.emplace_back(5, 5, 5);
    EXPECT_EQ(TrueMeanEdgeLength(mesh), MeasureMesh(mesh).m_MeanEdge);
}
