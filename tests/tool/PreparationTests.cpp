// The remesh preparation against its repair steps taken one at a time, and
// the edges it finds on the way against the mesh's own census.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "ToolTestSupport.h"
#include "core/MeshRepair.h"
#include "core/MeshTopology.h"
#include "core/Preparation.h"

using namespace QuorvelToolTest;

namespace {

// The repairs in their documented order, each step on its own.
CMeshData RepairStepByStep(CMeshData mesh, bool exact, bool& manifold) {
    CRepairSummary summary;
    WeldCoincidentVertices(mesh, summary);
    DropRepeatedCornerFaces(mesh, summary);
    DropFoldedFacePairs(mesh, summary);
    DropDuplicateFaces(mesh, summary);
    OrientFaces(mesh, summary);
    DropUnusedVertices(mesh, summary);
    manifold = true;
    if (exact) {
        manifold = MakeManifold(mesh, summary);
        DropUnusedVertices(mesh, summary);
    }
    return mesh;
}

std::vector<std::uint64_t> CensusEdges(const CMeshData& mesh) {
    std::vector<std::uint64_t> keys;
    for (const CMeshEdge& edge : CEdgeCensus(mesh).m_Edges)
        keys.push_back(std::uint64_t(edge.m_A) << 32 | edge.m_B);
    return keys;
}

CMeshData JitteredSphere() {
    CMeshData mesh = MakeSphere(4);
    std::mt19937 random(5);
    std::uniform_real_distribution<double> jitter(-0.01, 0.01);
    for (Point& p : mesh.m_Positions)
        p = p + Point(jitter(random), jitter(random), jitter(random));
    return mesh;
}

class RemeshPreparation : public ::testing::TestWithParam<std::pair<std::string, std::function<CMeshData()>>> { };

}  // namespace

// Whatever the input holds, the preparation leaves the same mesh as the
// steps one by one; where it hands on the edges it found, they are the
// prepared mesh's, and the mean edge length from them is the same to the bit.
TEST_P(RemeshPreparation, MatchesTheStepsOneByOneAndHandsOnTheMeshsEdges) {
    const CMeshData input = GetParam().second();
    for (const bool exact : {false, true}) {
        SCOPED_TRACE(exact ? "exact" : "preserve");
        CMeshData prepared = input;
        CPreparation changes;
        const EPreparationFault fault = PrepareForRemesh(prepared, exact, changes);
        bool manifold = true;
        const CMeshData reference = RepairStepByStep(input, exact, manifold);
        if (!manifold) {
            EXPECT_EQ(fault, EPreparationFault::NotManifold);
            continue;
        }
        ASSERT_EQ(fault, EPreparationFault::None);
        EXPECT_EQ(prepared.m_Triangles, reference.m_Triangles);
        ASSERT_EQ(prepared.m_Positions.size(), reference.m_Positions.size());
        for (std::size_t v = 0; v < prepared.m_Positions.size(); ++v) {
            EXPECT_EQ(prepared.m_Positions[v].x, reference.m_Positions[v].x);
            EXPECT_EQ(prepared.m_Positions[v].y, reference.m_Positions[v].y);
            EXPECT_EQ(prepared.m_Positions[v].z, reference.m_Positions[v].z);
        }
        if (!changes.m_Edges.empty()) {
            EXPECT_EQ(changes.m_Edges, CensusEdges(prepared));
            EXPECT_EQ(MeanEdgeLength(prepared, changes.m_Edges), TrueMeanEdgeLength(prepared));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, RemeshPreparation,
    ::testing::Values(std::make_pair(std::string("CleanSphere"), std::function<CMeshData()>(JitteredSphere)),
                      std::make_pair(std::string("OpenGrid"),
                                     std::function<CMeshData()>([] { return MakeGrid(9, 0.5); })),
                      // A cap of faces wound the other way: orientation flips them back.
                      std::make_pair(std::string("FlippedCap"), std::function<CMeshData()>([] {
                                         CMeshData mesh = JitteredSphere();
                                         for (std::size_t f = 0; f < mesh.m_Triangles.size() / 5; ++f)
                                             std::swap(mesh.m_Triangles[f][1], mesh.m_Triangles[f][2]);
                                         return mesh;
                                     })),
                      // One face repeated as it is, one reversed, one rotated.
                      std::make_pair(std::string("DuplicateFaces"), std::function<CMeshData()>([] {
                                         CMeshData mesh = JitteredSphere();
                                         const Triangle a = mesh.m_Triangles[3], b = mesh.m_Triangles[40],
                                                        c = mesh.m_Triangles[77];
                                         mesh.m_Triangles.push_back(a);
                                         mesh.m_Triangles.push_back(Triangle{b[2], b[1], b[0]});
                                         mesh.m_Triangles.push_back(Triangle{c[1], c[2], c[0]});
                                         return mesh;
                                     })),
                      // Every face with corners of its own, as an STL file holds them, and
                      // faces that name a vertex twice.
                      std::make_pair(std::string("SeparateCornersAndDegenerateFaces"), std::function<CMeshData()>([] {
                                         const CMeshData sphere = JitteredSphere();
                                         CMeshData mesh;
                                         for (const Triangle& t : sphere.m_Triangles) {
                                             const auto first = static_cast<std::uint32_t>(mesh.m_Positions.size());
                                             for (std::uint32_t v : t)
                                                 mesh.m_Positions.push_back(sphere.m_Positions[v]);
                                             mesh.m_Triangles.push_back(Triangle{first, first + 1, first + 2});
                                         }
                                         mesh.m_Triangles.push_back(Triangle{0, 0, 5});
                                         return mesh;
                                     })),
                      // Vertices that no face uses, before and among the used ones.
                      std::make_pair(std::string("UnusedVertices"), std::function<CMeshData()>([] {
                                         CMeshData mesh = JitteredSphere();
                                         mesh.m_Positions.emplace_back(7, 7, 7);
                                         for (Triangle& t : mesh.m_Triangles)
                                             for (std::uint32_t& v : t)
                                                 v += 1;
                                         mesh.m_Positions.insert(mesh.m_Positions.begin(), Point(-7, 0, 0));
                                         return mesh;
                                     })),
                      // Two spheres and a fin, a third face on one edge, which the exact
                      // method's repair splits off.
                      std::make_pair(std::string("TwoSpheresAndAFin"), std::function<CMeshData()>([] {
                                         CMeshData mesh = JitteredSphere();
                                         const auto count = static_cast<std::uint32_t>(mesh.m_Positions.size());
                                         const Point shift(3, 0, 0);
                                         for (std::uint32_t v = 0; v < count; ++v)
                                             mesh.m_Positions.push_back(mesh.m_Positions[v] + shift);
                                         const std::size_t faces = mesh.m_Triangles.size();
                                         for (std::size_t f = 0; f < faces; ++f) {
                                             Triangle t = mesh.m_Triangles[f];
                                             for (std::uint32_t& v : t)
                                                 v += count;
                                             mesh.m_Triangles.push_back(t);
                                         }
                                         const Triangle first = mesh.m_Triangles[0];
                                         mesh.m_Positions.emplace_back(3, 3, 3);
                                         mesh.m_Triangles.push_back(Triangle{first[0], first[1], 2 * count});
                                         return mesh;
                                     }))),
    [](const ::testing::TestParamInfo<RemeshPreparation::ParamType>& info) { return info.param.first; });

// A mesh with nothing to repair has its edges found on the way, so the
// default target needs no census of its own.
TEST(RemeshPreparation, HandsOnTheEdgesOfACleanMesh) {
    for (const CMeshData& input : {JitteredSphere(), MakeGrid(9, 0.5)}) {
        CMeshData prepared = input;
        CPreparation changes;
        ASSERT_EQ(PrepareForRemesh(prepared, false, changes), EPreparationFault::None);
        EXPECT_EQ(changes.m_Edges, CensusEdges(input));
    }
}

namespace {

// Every face with corners of its own, each copy moved by up to `jitter` in
// every coordinate, as an exporter that rounds face by face leaves them.
CMeshData JitteredSoup(const CMeshData& mesh, double jitter, unsigned int seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> offset(-jitter, jitter);
    CMeshData soup;
    for (const Triangle& t : mesh.m_Triangles) {
        const auto first = static_cast<std::uint32_t>(soup.m_Positions.size());
        for (std::uint32_t v : t)
            soup.m_Positions.push_back(mesh.m_Positions[v] + Point(offset(random), offset(random), offset(random)));
        soup.m_Triangles.push_back(Triangle{first, first + 1, first + 2});
    }
    return soup;
}

std::size_t OpenEdges(const CMeshData& mesh) {
    std::size_t open = 0;
    for (const CMeshEdge& edge : CEdgeCensus(mesh).m_Edges)
        open += edge.m_Faces == 1;
    return open;
}

}  // namespace

// Copies 1e-7 apart on a sphere of diagonal 3.5 join into the closed sphere,
// each at its first copy's place; a tolerance of 0 joins exact copies only.
TEST(RemeshPreparation, WeldsCopiesThatRoundingMovedApart) {
    const CMeshData sphere = MakeSphere(3);
    const CMeshData soup = JitteredSoup(sphere, 1e-7, 7);
    CMeshData welded = soup;
    CPreparation changes;
    ASSERT_EQ(PrepareForRemesh(welded, false, changes), EPreparationFault::None);
    EXPECT_EQ(welded.m_Triangles.size(), sphere.m_Triangles.size());
    EXPECT_EQ(welded.m_Positions.size(), sphere.m_Positions.size());
    EXPECT_EQ(OpenEdges(welded), 0u);
    EXPECT_EQ(changes.m_Repairs.m_WeldedVertices, soup.m_Positions.size() - sphere.m_Positions.size());
    EXPECT_NE(changes.m_Repairs.Describe().find("weld tolerance"), std::string::npos);
    // The edges were renumbered by the weld and are not handed on.
    EXPECT_TRUE(changes.m_Edges.empty());

    CMeshData kept = soup;
    CPreparation exactOnly;
    ASSERT_EQ(PrepareForRemesh(kept, false, exactOnly, 0), EPreparationFault::None);
    EXPECT_EQ(kept.m_Positions.size(), soup.m_Positions.size());
    EXPECT_EQ(OpenEdges(kept), 3 * soup.m_Triangles.size());

    // Copies farther apart than the tolerance stay apart.
    CMeshData far = JitteredSoup(sphere, 1e-4, 7);
    CPreparation none;
    ASSERT_EQ(PrepareForRemesh(far, false, none), EPreparationFault::None);
    EXPECT_EQ(none.m_Repairs.m_WeldedVertices, 0u);
}

// Only ends of open edges weld: two vertices of a closed sphere moved within
// the tolerance of each other stay two, and a row of open vertices each
// closer than the tolerance to the next joins in pairs to the first kept
// one, not all into one.
TEST(RemeshPreparation, WeldsOnlyOpenEdgesAndDoesNotChain) {
    CMeshData sphere = MakeSphere(3);
    const Triangle t = sphere.m_Triangles[0];
    sphere.m_Positions[t[1]] = sphere.m_Positions[t[0]] + Point(1e-8, 0, 0);
    CPreparation closed;
    ASSERT_EQ(PrepareForRemesh(sphere, false, closed), EPreparationFault::None);
    EXPECT_EQ(closed.m_Repairs.m_WeldedVertices, 0u);
    EXPECT_EQ(sphere.m_Triangles.size(), MakeSphere(3).m_Triangles.size());

    // Ten separate triangles, their first corners 0.6 tolerances apart in a
    // row along x, in a box 0.9 x 1 x 1.
    CMeshData row;
    const double step = 0.6 * DefaultWeldTolerance * std::sqrt(2.81);
    for (std::uint32_t k = 0; k < 10; ++k) {
        row.m_Positions.insert(row.m_Positions.end(),
                               {Point(k * step, 0, 0), Point(k * 0.1, 1, 0), Point(k * 0.1, 0, 1)});
        row.m_Triangles.push_back(Triangle{3 * k, 3 * k + 1, 3 * k + 2});
    }
    CPreparation rowChanges;
    ASSERT_EQ(PrepareForRemesh(row, false, rowChanges), EPreparationFault::None);
    EXPECT_EQ(rowChanges.m_Repairs.m_WeldedVertices, 5u);
}

// A vertex of one sheet on the inside of another's open edge splits that
// edge's face into a fan, so that the two share it: two grids side by side,
// the right one twice as fine, become one sheet whose only open edges are its
// outer rim, and a tolerance of 0 stitches nothing. A vertex near an edge's
// end is left to the weld.
// A flap folded flat (a face and its reverse) on an edge of a closed
// sphere goes whole, the sphere closed again; a sheet written two-sided
// keeps one side.
TEST(RemeshPreparation, DropsAFoldedFlapButKeepsOneSideOfATwoSidedSheet) {
    const CMeshData sphere = JitteredSphere();
    CMeshData flapped = sphere;
    const Triangle t = sphere.m_Triangles[10];
    const auto tip = static_cast<std::uint32_t>(flapped.m_Positions.size());
    flapped.m_Positions.push_back(flapped.m_Positions[t[0]] * 1.2);
    flapped.m_Triangles.push_back(Triangle{t[0], t[1], tip});
    flapped.m_Triangles.push_back(Triangle{t[1], t[0], tip});
    CPreparation changes;
    ASSERT_EQ(PrepareForRemesh(flapped, false, changes), EPreparationFault::None);
    EXPECT_EQ(changes.m_Repairs.m_DuplicateFaces, 2u);
    EXPECT_EQ(flapped.m_Triangles.size(), sphere.m_Triangles.size());
    EXPECT_EQ(OpenEdges(flapped), 0u);

    // Rounded iso-surface positions fold faces onto their reverses: with the
    // copies alone dropped, some edges keep three faces.
    const CMeshData blob = Tables([](ToolMesh& mesh) { QuorvelTest::MakeSnappedIsoSurface(mesh); });
    CMeshData copiesDropped = blob;
    CRepairSummary summary;
    WeldCoincidentVertices(copiesDropped, summary);
    DropRepeatedCornerFaces(copiesDropped, summary);
    DropDuplicateFaces(copiesDropped, summary);
    const auto crowded = [](const CMeshData& mesh) {
        std::size_t edges = 0;
        for (const CMeshEdge& edge : CEdgeCensus(mesh).m_Edges)
            edges += edge.m_Faces > 2;
        return edges;
    };
    EXPECT_GT(crowded(copiesDropped), 0u);
    CMeshData prepared = blob;
    CPreparation repaired;
    ASSERT_EQ(PrepareForRemesh(prepared, false, repaired), EPreparationFault::None);
    EXPECT_EQ(crowded(prepared), 0u);
    EXPECT_EQ(OpenEdges(prepared), 0u);

    CMeshData sheet = MakeGrid(4, 0.25);
    const std::size_t faces = sheet.m_Triangles.size();
    for (std::size_t f = 0; f < faces; ++f) {
        const Triangle s = sheet.m_Triangles[f];
        sheet.m_Triangles.push_back(Triangle{s[2], s[1], s[0]});
    }
    CPreparation sided;
    ASSERT_EQ(PrepareForRemesh(sheet, false, sided), EPreparationFault::None);
    EXPECT_EQ(sheet.m_Triangles.size(), faces);
    EXPECT_EQ(OpenEdges(sheet), 16u);
}

TEST(RemeshPreparation, StitchesVerticesOnOpenEdgesOfOtherSheets) {
    CMeshData halves = MakeGrid(2, 0.5);
    const CMeshData fine = MakeGrid(4, 0.25);
    const std::uint32_t base = static_cast<std::uint32_t>(halves.m_Positions.size());
    for (const Point& p : fine.m_Positions)
        halves.m_Positions.push_back(p + Point(1, 0, 0));
    for (const Triangle& t : fine.m_Triangles)
        halves.m_Triangles.push_back(Triangle{t[0] + base, t[1] + base, t[2] + base});
    CMeshData stitched = halves;
    CPreparation changes;
    ASSERT_EQ(PrepareForRemesh(stitched, false, changes), EPreparationFault::None);
    EXPECT_EQ(changes.m_Repairs.m_StitchedVertices, 2u);
    EXPECT_EQ(stitched.m_Triangles.size(), halves.m_Triangles.size() + 2);
    EXPECT_EQ(OpenEdges(stitched), 2u * 2 + 2u * 4 + 2 + 4);
    EXPECT_NE(changes.m_Repairs.Describe().find("T-junctions"), std::string::npos);

    CMeshData kept = halves;
    CPreparation none;
    ASSERT_EQ(PrepareForRemesh(kept, false, none, 0), EPreparationFault::None);
    EXPECT_EQ(none.m_Repairs.m_StitchedVertices, 0u);
    EXPECT_EQ(OpenEdges(kept), 2u * 2 + 2u * 4 + 2 + 4 + 2 + 4);
}
