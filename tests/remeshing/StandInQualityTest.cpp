// The quality of the shape-preserving remesh on procedural stand-ins for the
// kinds of real input it found hardest: CAD tessellations (long thin fans and
// quads, features at right angles, three feature lines meeting in a corner)
// and organic closed surfaces (a figure with limbs about two target lengths
// thick and gaps as narrow beside them, a noisy scanned creature). Each must
// keep its smallest angle and its distance from the input, its sharp
// corners, and fold nowhere.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "quorvel/meshes/queries/TMeshTree.h"
#include "remeshing/RemeshChecks.h"

namespace {

using namespace QuorvelTest;
typedef TVector3<double> Point;

struct CQualityCase {
    std::string m_Name;
    std::function<void(ShapeMesh&)> m_Build;
    // The target as a multiple of the input's mean edge length.
    double m_Relative;
    // What the remesh reaches today, less a margin that catches a return of
    // slivers or of vertices pulled off the surface, not noise: the smallest
    // angle in degrees and the distance of any vertex from the other
    // surface, both ways, in target lengths.
    double m_MinAngle;
    double m_MaxDistance;
    // Points that must stay vertices of the result: corners where three
    // feature lines meet.
    std::vector<std::array<double, 3>> m_Corners;
    // Edges whose faces turn by more than 120 degrees that the remesh still
    // leaves: one beside a hole of the pierced block, whose input holds 64
    // such edges, and those along the blade's trailing-edge wedge. More is a
    // regression.
    unsigned int m_KnownFolds = 0;
    // An open stand-in: its boundary stays open.
    bool m_Open = false;
};

class StandInQuality : public ::testing::TestWithParam<CQualityCase> { };

TEST_P(StandInQuality, KeepsItsAnglesItsDistanceAndItsCorners) {
    ShapeMesh mesh;
    GetParam().m_Build(mesh);
    const ShapeMesh input(mesh);
    const double target = GetParam().m_Relative * MeanEdge(input);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, !GetParam().m_Open));
    // The CAD inputs bend by right angles at their creases.
    EXPECT_LE(FoldedEdges(mesh, -0.5), GetParam().m_KnownFolds);
    EXPECT_GT(SmallestAngleInDegrees(mesh), GetParam().m_MinAngle);
    EXPECT_LT(FarthestVertex(mesh, input), GetParam().m_MaxDistance * target);
    EXPECT_LT(FarthestVertex(input, mesh), GetParam().m_MaxDistance * target);
    for (const auto& corner : GetParam().m_Corners) {
        const Point c(corner[0], corner[1], corner[2]);
        double nearest = 1e300;
        for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
            nearest = std::min(nearest, Position(mesh, v).DiffVectLen(c));
        EXPECT_LT(nearest, 1e-9) << "corner " << corner[0] << ", " << corner[1] << ", " << corner[2];
    }
}

const std::vector<std::array<double, 3>> BlockCorners = {{0, 0, 0}, {0, 0, 1.5}, {4, 2, 0}, {4, 2, 1.5}};
const std::vector<std::array<double, 3>> PlateCorners = {{-2, -2, 0},    {2, -2, 0},    {2, 2, 0},    {-2, 2, 0},
                                                         {-2, -2, 0.05}, {2, -2, 0.05}, {2, 2, 0.05}, {-2, 2, 0.05}};
// Where teeth start, on both rims of gears of 12 and 24 teeth.
const std::vector<std::array<double, 3>> GearCorners = {
    {1, 0, 0}, {1, 0, 0.4}, {0.5, 0.8660254037844386, 0}, {0, 1, 0.4}};
const double HullCornerHeight = 0.2 * std::exp(-8.0);
const std::vector<std::array<double, 3>> HullCorners = {
    {-1, -1, HullCornerHeight}, {1, -1, HullCornerHeight}, {1, 1, HullCornerHeight}, {-1, 1, HullCornerHeight}};

INSTANTIATE_TEST_SUITE_P(
    RemeshPreservingShape, StandInQuality,
    ::testing::Values(
        CQualityCase{"cad_cylinder", [](ShapeMesh& m) { MakeCadCylinder(m); }, 1.0, 30.0, 0.4, {}},
        CQualityCase{"cad_cylinder_fine", [](ShapeMesh& m) { MakeCadCylinder(m); }, 0.3, 27.0, 0.12, {}},
        CQualityCase{"filleted_block", [](ShapeMesh& m) { MakeFilletedBlock(m); }, 1.0, 29.5, 0.3, BlockCorners},
        CQualityCase{"filleted_block_fine", [](ShapeMesh& m) { MakeFilletedBlock(m); }, 0.3, 27.0, 0.12, BlockCorners},
        // At the default target the holes are narrower than the target and
        // the input's fans overlap themselves beside every hole (192 folded
        // edges); 28 are left today, 89 when the holes' rims were dropped and
        // the tunnels closed (1.3 degrees then, 16.4 now).
        CQualityCase{"pierced_block",
                     [](ShapeMesh& m) { MakePiercedBlock(m); },
                     1.0,
                     14.0,
                     0.6,
                     {{0, 0, 0}, {4, 0, 0}, {0, 3, 2}, {4, 3, 2}},
                     32},
        CQualityCase{"pierced_block_fine",
                     [](ShapeMesh& m) { MakePiercedBlock(m, 2, 2, 32); },
                     0.3,
                     27.0,
                     0.6,
                     {{0, 0, 0}, {2, 2, 2}},
                     0},
        // The blade's caps close at the trailing edge in a wedge of about 16
        // degrees, which bounds the smallest angle there; the wedge's sides
        // turn by more than 120 degrees, so its edges count as folds. At the
        // default target the blade is a third of the target thick: any
        // triangulation of it has small angles (11.8 degrees today, where no
        // face may cross it), and it must not flatten (0.88 targets from the
        // input when its short lines were dropped).
        CQualityCase{"cad_blade", [](ShapeMesh& m) { MakeCadBlade(m); }, 1.0, 11.0, 0.25, {{4, 0, 0}, {4, 0, 2}}, 4},
        CQualityCase{
            "cad_blade_fine", [](ShapeMesh& m) { MakeCadBlade(m); }, 0.3, 14.0, 0.5, {{4, 0, 0}, {4, 0, 2}}, 5},
        // The lofted blade is 0.12 thick, its mean edge 0.56: at both
        // targets its nose between the sections is no sharp edge of the
        // input, and faces from one side to the other cut it off a little
        // more in every iteration (21 % of the diagonal at both, 1.2 and 2.4
        // targets from the result); kept as a line between the caps'
        // outlines it stays (0.15 and 0.21 targets today). The caps'
        // trailing-edge wedges bound the angles (11.9 and 18.9 degrees
        // today; 2.7 at half the target when a flip left a face flat against
        // a cap's outline, at a corner merged across the cap); the nose and
        // the wedge fold.
        CQualityCase{"lofted_blade", [](ShapeMesh& m) { MakeLoftedCadBlade(m); }, 1.0, 11.0, 0.25, {{0.7, 0, 0}}, 13},
        CQualityCase{
            "lofted_blade_half", [](ShapeMesh& m) { MakeLoftedCadBlade(m); }, 0.5, 17.5, 0.3, {{0.7, 0, 0}}, 26},
        CQualityCase{"limbed_figure", [](ShapeMesh& m) { MakeLimbedFigure(m, 48); }, 1.0, 27.0, 0.45, {}},
        // The creature's noise makes spikes narrower than the target; 0.56
        // targets from the result when nothing drew a vertex onto their tips.
        CQualityCase{"scanned_creature", [](ShapeMesh& m) { MakeScannedCreature(m, 4); }, 1.0, 25.0, 0.53, {}},
        // The bone's noise makes spikes narrower than a fine target at its
        // curved ends; faces that pass over a spike's tip cut it off (0.30
        // targets from the result when nothing drew a vertex onto it).
        CQualityCase{"scanned_bone_fine", [](ShapeMesh& m) { MakeScannedBone(m, 4); }, 0.3, 32.5, 0.25, {}},
        // Near the poles the jitter makes neighbouring faces turn against
        // each other by far more than the feature angle; taken for creases,
        // they pinned slivers there (12.2 degrees, a folded edge, 0.30
        // targets from the input; 30.1 degrees and 0.26 targets today).
        CQualityCase{
            "jittered_lat_long_sphere", [](ShapeMesh& m) { MakeJitteredLatLongSphere(m); }, 1.0, 28.0, 0.28, {}},
        // A scan cut by a plane, its rim ten times finer than the target and
        // zig-zagging by a percent of its radius. The collapses thin the rim
        // to edges of about half a target, and a free vertex a target above
        // one made a face of 30 degrees; such rim edges merge at the end
        // where that opens the faces around them (35.1 degrees today). The
        // rim straightens within its noise (0.11 targets).
        CQualityCase{"noisy_cut_sphere",
                     [](ShapeMesh& m) { MakeCutSphere(m, 400, 48, 16, 0.08, 0.01); },
                     1.0,
                     34.0,
                     0.15,
                     {},
                     0,
                     true},
        // Low-polygon solids at their own mean edge length: every feature
        // line is shorter than three targets. When such lines were dropped,
        // the bracket collapsed into a tetrahedron (1.2 targets from the
        // input) and the nut's rims were cut across (0.95 targets, 28.6
        // degrees, two folded edges). The bracket's caps are fans whose
        // angles (20.0 degrees) no edit may raise without giving up an edge
        // of the solid.
        CQualityCase{"cad_bracket",
                     [](ShapeMesh& m) { MakeCadBracket(m); },
                     1.0,
                     19.0,
                     0.05,
                     {{0, 0, 0}, {4, 0, 0}, {0, 3, 0}, {0.8, 0.8, 2}, {4, 0.8, 2}, {0.8, 3, 2}}},
        // Solids whose corners stand far closer together than the target:
        // the teeth of gears (roots 0.27 and 0.15 targets wide) and a
        // bracket whose arms are a quarter of a target thick. Refined there
        // to the gaps between the corners, they keep every corner and edge
        // (no vertex off the input) at 28.2, 21.5 and 30.5 degrees. At the
        // global target the faces between the corners of such gears (the
        // sweep's, with caps cut into ears for the finer one) fell to 11.8
        // and 7.9 degrees, the finer gear's roots merged away, and such a
        // bracket's corners 0.23 targets apart merged (11.3 degrees). The
        // gears' flanks, narrow walls between the lines at the root and at
        // the tip, were left with a vertex in the middle of a crease too
        // short for the wall's height (19.1 and 20.0 degrees) until such a
        // vertex could go at the end. The teeth's caps, quadrilaterals of
        // four corners, and the roots' cap faces, whose free vertices stood
        // where the few places tried gained nothing (28.2 and 21.5 degrees),
        // now get a vertex inside and a searched place (28.5 and 26.6).
        CQualityCase{"cad_gear", [](ShapeMesh& m) { MakeCadGear(m); }, 1.0, 28.0, 0.001, GearCorners},
        CQualityCase{"cad_gear_24", [](ShapeMesh& m) { MakeCadGear(m, 24); }, 1.0, 26.0, 0.001, GearCorners},
        CQualityCase{"thin_cad_bracket",
                     [](ShapeMesh& m) { MakeThinCadBracket(m); },
                     1.0,
                     29.0,
                     0.001,
                     {{4, 0, 0}, {4, 0.6, 0}, {0.6, 0.6, 2.5}, {0.6, 3, 2.5}, {0, 3, 0}}},
        // The fit moves the bore's free vertices up to 0.075 targets off the
        // input.
        CQualityCase{"cad_hex_nut",
                     [](ShapeMesh& m) { MakeCadHexNut(m); },
                     1.0,
                     29.0,
                     0.08,
                     {{0.8660254037844387, 0.5, 0}, {0, 1, 0.8}}},
        // A terrain patch bounded by its hull: four rim edges, each many
        // targets long. Its corners lie far from the chords of their
        // neighbours; measured as a noisy rim, they were smoothed to the
        // plate's centre, the thin faces along the rims then turned steeply
        // and were kept as lines a hundredth of a target inside the rim,
        // with slivers between (4.5 degrees at 1 x, 13.0 at 0.3 x; 30.7 and
        // 31.7 today, 0.04 and 0.06 targets from the input).
        CQualityCase{"hull_plate", [](ShapeMesh& m) { MakeHullPlate(m); }, 1.0, 29.5, 0.1, HullCorners, 0, true},
        // A closed plate a third of the target thick: its wall, one quad
        // tall, was left as right triangles under the rims' edges (20.6
        // degrees); one rim's vertices now stand under the middles of the
        // other's edges (34.1 degrees, no vertex off the input).
        CQualityCase{"thin_plate", [](ShapeMesh& m) { MakeThinPlate(m); }, 1.0, 32.0, 0.01, PlateCorners},
        CQualityCase{"hull_plate_fine", [](ShapeMesh& m) { MakeHullPlate(m); }, 0.3, 30.5, 0.1, HullCorners, 0, true},
        // Needles: spikes whose creases (where short, kept as a solid's
        // edges) cut wedges from each tip, with thinner faces one ring below
        // where the split creases ran close (7.7 degrees and three folded
        // edges on six spikes, 9.6 degrees on twelve sharper ones of a finer
        // sphere); 14.1 and 10.1 degrees once the creases were dropped, at
        // 0.22 and 0.23 targets from the input (the sides between them).
        // The rings around the tips were uneven; spread evenly, with three
        // faces at most tips, 20.4 and 16.4 degrees, at 0.21 and 0.24.
        CQualityCase{"spiky_sphere", [](ShapeMesh& m) { MakeSpikySphere(m); }, 1.0, 19.0, 0.3, {}},
        CQualityCase{
            "spiky_sphere_fine", [](ShapeMesh& m) { MakeSpikySphere(m, 3, 12, 1.6, 0, 1); }, 1.0, 15.0, 0.3, {}},
        // A scan with noise spikes pulled out by 2 to 5 targets, each tip
        // searched for an even ring: 15.6 degrees, 0.28 targets from the
        // input (a spike's side), one folded edge.
        CQualityCase{"spiked_scan", [](ShapeMesh& m) { MakeSpikedScan(m); }, 1.0, 14.5, 0.35, {}, 1},
        // A sharp cone (half-angle 9.5 degrees), 16 faces at this target:
        // 14.9 degrees with four uneven faces at the tip and three folded
        // edges; spread evenly, 16.3 degrees and two folded edges, 0.21
        // targets from the input (the base's rim between its few
        // vertices); one folded edge since the base's three vertices are
        // spread evenly round it, and none since the last folds are moved
        // apart (16.3 degrees, the three faces' bound at the tip).
        CQualityCase{"sharp_cone", [](ShapeMesh& m) { MakeSharpCone(m); }, 1.0, 15.0, 0.3, {{0, 0, 6}}},
        // The same cone, its side faces first: the tip kept four faces
        // whose ring held a base vertex and a vertex of three neighbours
        // inside the tip's fan (13.96 degrees). That vertex now goes into
        // the tip with the ring spread evenly at once: three faces, 16.3
        // degrees of the 16.4 three can reach, no fold; the farthest input
        // vertex (on the base's rim, between the result's three base
        // vertices) 0.21 targets away either way.
        CQualityCase{"sharp_cone_sides_first",
                     [](ShapeMesh& m) { MakeSharpCone(m, 32, 6, true); },
                     1.0,
                     16.0,
                     0.25,
                     {{0, 0, 6}}},
        // Refined coarse facets: the result missed their vertices by up to
        // 0.12 targets; drawn back onto them, the farthest input vertex is
        // one of the finest sphere's, which is coarsened (0.083).
        CQualityCase{"three_spheres", [](ShapeMesh& m) { MakeThreeSpheres(m); }, 1.0, 35.0, 0.1, {}},
        // A scan cut along its faces by a plane and by three holes: every rim
        // vertex is a kept corner, tips of one face and notches between
        // them. Flips drove each rim vertex towards four edges, taking edges
        // from the notches and giving them to the tips, and relaxation then
        // pressed free vertices against the rim (14.4 degrees at 1 x); the
        // rim's vertices now aim at the edges their angle holds (48.9
        // degrees, 0.027 targets from the input). At 0.3 x, where the rim's
        // edges are split into straight rim vertices, a coarser cut scan
        // keeps 32.7 degrees at 0.093 targets.
        CQualityCase{"face_cut_scan", [](ShapeMesh& m) { MakeFaceCutScan(m); }, 1.0, 45.0, 0.04, {}, 0, true},
        CQualityCase{"face_cut_scan_fine", [](ShapeMesh& m) { MakeFaceCutScan(m, 3); }, 0.3, 31.0, 0.12, {}, 0, true},
        // At half the mean edge a notch of the rim (two faces at about 60
        // degrees) kept a free vertex a third of a target from the rim's
        // midpoint beside it, no collapse allowed onto the rim there (21.3
        // degrees); the notch now keeps one face of its own (36.8 degrees,
        // 0.032 targets from the input).
        CQualityCase{"face_cut_scan_half", [](ShapeMesh& m) { MakeFaceCutScan(m); }, 0.5, 35.0, 0.04, {}, 0, true},
        // A bent sheet at half its mean edge: its rims were smoothed for the
        // feature test by the mean of nine rim vertices, which beside the
        // fillet's fine rim reached a flange's far corner two units away;
        // the flange's slivers, turned over there, were kept as lines along
        // the rim and stayed (2.1 degrees). Smoothing now stays within the
        // noise it measures: 30.9 degrees, 0.097 targets from the input.
        CQualityCase{"bent_sheet_fine", [](ShapeMesh& m) { MakeBentSheet(m); }, 0.5, 28.0, 0.12, {}, 0, true},
        // A saddle whose crease meets the rim: where the rim's corners hold
        // one face's angle in space, two faces halved it and no flip could
        // join the corner's rim neighbours (27.5 degrees on 20 x 20 squares,
        // 25.5 on 50 x 50); such a corner is now cut off as an ear (31.7 and
        // 30.5 degrees, 0.018 and 0.012 targets from the input).
        CQualityCase{"saddle_crease", [](ShapeMesh& m) { MakeSaddleCrease(m); }, 1.0, 30.5, 0.03, {}, 0, true},
        CQualityCase{"saddle_crease_50", [](ShapeMesh& m) { MakeSaddleCrease(m, 50); }, 1.0, 29.5, 0.03, {}, 0, true},
        // A hole drilled through a boss and its plate, 0.8 deep at a target
        // of 0.8: the boss's top annulus, narrower than the target, refines
        // the hole's upper rim, and each wall face joins a short edge of one
        // rim to a vertex of the other a target below (9.6 degrees today),
        // and three neighbours on the upper rim keep a flat ear (10.4). At
        // half the target the wall's faces reach 31.0 degrees.
        CQualityCase{
            "drilled_boss", [](ShapeMesh& m) { MakeDrilledBossPlate(m); }, 1.0, 8.5, 0.3, {{2, 2, 0}, {-2, -2, 0.3}}},
        CQualityCase{"drilled_boss_fine",
                     [](ShapeMesh& m) { MakeDrilledBossPlate(m); },
                     0.5,
                     28.0,
                     0.3,
                     {{2, 2, 0}, {-2, -2, 0.3}}},
        // Ribs 0.03 thick on a plate at 0.3 times the mean edge, each rib's
        // top one quad whose diagonal is a hair longer than its rims: the
        // splits cut the diagonal first and then the edges to its middle,
        // some hundred free vertices inside each rib's top, of which the
        // collapses left up to 37 (7.2 degrees). The rims now go first and
        // the diagonal is flipped across the strip (19.9 degrees on the
        // tops), the splits run to the end past the budget of the global
        // target (26.2 degrees), and the plate's ends' rims slide apart at
        // the end (28.9).
        CQualityCase{"ribbed_panel_fine",
                     [](ShapeMesh& m) { MakeRibbedPanel(m); },
                     0.3,
                     27.0,
                     0.05,
                     {{0, 0, 0}, {3, 2, 0.1}, {1.485, 0, 0.5}, {2.515, 2, 0.5}}}),
    [](const ::testing::TestParamInfo<CQualityCase>& info) { return info.param.m_Name; });

// A rib's top, 0.03 wide where the target there is its width, wants one face
// across between its rims' vertices: each free vertex inside it makes two
// faces across, needles along the rims. At 0.3 times the mean edge the tops
// kept faces of 7.2 degrees; they now keep 19.9.
TEST(StandInQualityFine, RibbedPanelKeepsItsRibTopsOpen) {
    ShapeMesh mesh;
    MakeRibbedPanel(mesh);
    ASSERT_TRUE(mesh.RemeshPreservingShape(0.3 * MeanEdge(mesh)));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    double smallest = 180;
    unsigned int onRims = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const auto& corners = mesh.m_Faces[f].m_Corners;
        const Point p[3] = {Position(mesh, corners[0]), Position(mesh, corners[1]), Position(mesh, corners[2])};
        if (std::fabs(p[0].z - 0.5) > 1e-9 || std::fabs(p[1].z - 0.5) > 1e-9 || std::fabs(p[2].z - 0.5) > 1e-9)
            continue;
        for (int k = 0; k < 3; ++k) {
            const Point u = p[(k + 1) % 3] - p[k], w = p[(k + 2) % 3] - p[k];
            smallest = std::min(smallest, std::atan2((u * w).GetLength(), u % w) * 180 / Pi);
        }
    }
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        const Point p = Position(mesh, v);
        for (unsigned int k = 1; k <= 5; ++k)
            onRims += std::fabs(p.z - 0.5) < 1e-9 && std::fabs(std::fabs(p.x - 0.5 * k) - 0.015) < 1e-9;
    }
    EXPECT_GT(smallest, 17.5);
    // The rims are refined to about the rib's width all the same.
    EXPECT_GT(onRims, 5u * 2 * 30);
}

// The limbed figure's coarse facets cross its limbs at about the feature
// angle, so at a fine target it keeps short feature lines along them; where
// the input's sampling breaks such a crease, two line ends sit a third of
// the target apart at a foot and pinned a 16 degree sliver between them.
// Line ends that stop in the open surface merge from half the target.
TEST(StandInQualityFine, LimbedFigureLineEndsMergeAtAFineTarget) {
    ShapeMesh mesh;
    MakeLimbedFigure(mesh);
    const double target = 0.3 * MeanEdge(mesh);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 27.0);
}

// The small figure's worst faces at the mean edge length lay beside the feature
// lines its coarse facets make along the limbs: the smallest angle at one
// sliding vertex, an obtuse one at the next along the line, and no free corner
// whose move opened them (30.7 degrees). Sliding corners now move along their
// line there.
TEST(StandInQualityFine, LimbedFigureOpensItsFacesBesideItsLines) {
    ShapeMesh mesh;
    MakeLimbedFigure(mesh);
    ASSERT_TRUE(mesh.RemeshPreservingShape(MeanEdge(mesh)));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 32.5);
}

// The scans' worst faces after the edits lie just above 30 degrees among free
// vertices, where the final moves now also reach; they must not fold. The
// creature's last faces under 34 degrees sat across short edges between
// vertices of valence 5 and 6, opposite vertices of valence 7, which no move
// opens; their ends merge at the end.
TEST(StandInQualityFine, ScansRaiseTheirFreeFacesPastThirtyDegrees) {
    const std::tuple<const char*, std::function<void(ShapeMesh&)>, double> scans[] = {
        {"creature", [](ShapeMesh& m) { MakeScannedCreature(m, 5); }, 34.5},
        {"bone", [](ShapeMesh& m) { MakeScannedBone(m, 5); }, 33.0},
    };
    for (const auto& scan : scans) {
        SCOPED_TRACE(std::get<0>(scan));
        ShapeMesh mesh;
        std::get<1>(scan)(mesh);
        const double target = MeanEdge(mesh);
        ASSERT_TRUE(mesh.RemeshPreservingShape(target));
        EXPECT_TRUE(IsCleanResult(mesh, true));
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
        EXPECT_GT(SmallestAngleInDegrees(mesh), std::get<2>(scan));
    }
}

// The farthest vertex of `mesh` from `surface`, as FarthestVertex measures
// it, through the library's closest-point tree (which the query tests check
// against a search over every face): that search takes minutes on a sphere
// of 50,000 faces.
double FarthestVertexThroughTree(const ShapeMesh& mesh, const ShapeMesh& surface) {
    const TMeshTree<double, TVertexPN<double>, CA8, unsigned int> tree(surface);
    double farthest = 0;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        farthest = std::max(farthest, tree.GetDistance(mesh.m_Vertices[v].m_Position));
    return farthest;
}

// Moves a mesh hundreds of thousands of units from the origin, where a
// coordinate's rounding is a billionth of a target and every slack scaled by
// the coordinates is widest.
void MoveFarFromTheOrigin(ShapeMesh& mesh) {
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        mesh.m_Vertices[v].m_Position += TVector3<double>(2.5e5, -4e5, 3e5);
}

// Remeshes mesh on one thread and two, a copy of it, on two threads, so that
// the caller can compare the results (see SameResult).
bool RemeshOnOneAndTwoThreads(ShapeMesh& mesh, ShapeMesh& two, double target) {
    const int previous = omp_get_max_threads();
    omp_set_num_threads(1);
    const bool one = mesh.RemeshPreservingShape(target);
    omp_set_num_threads(2);
    const bool both = two.RemeshPreservingShape(target);
    omp_set_num_threads(previous);
    return one && both;
}

// The same vertices at the same positions, and as many faces.
::testing::AssertionResult SameResult(const ShapeMesh& mesh, const ShapeMesh& two) {
    if (mesh.m_Vertices.GetCount() != two.m_Vertices.GetCount() || mesh.m_Faces.GetCount() != two.m_Faces.GetCount())
        return ::testing::AssertionFailure()
               << mesh.m_Vertices.GetCount() << " vertices and " << mesh.m_Faces.GetCount() << " faces against "
               << two.m_Vertices.GetCount() << " and " << two.m_Faces.GetCount();
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        if (!(Position(mesh, v) == Position(two, v)))
            return ::testing::AssertionFailure() << "vertex " << v << " differs";
    return ::testing::AssertionSuccess();
}

// Remeshes mesh on one thread and a copy on two, and checks what every case
// here asks of the result before its own measures: a clean mesh, no folded
// edge and the same result on both thread counts.
::testing::AssertionResult RemeshesCleanlyOnOneAndTwoThreads(ShapeMesh& mesh, double target, bool closed) {
    ShapeMesh two(mesh);
    if (!RemeshOnOneAndTwoThreads(mesh, two, target))
        return ::testing::AssertionFailure() << "the remesh failed";
    if (const auto clean = IsCleanResult(mesh, closed); !clean)
        return clean;
    if (const unsigned int folds = FoldedEdges(mesh, -0.5))
        return ::testing::AssertionFailure() << folds << " folded edges";
    return SameResult(mesh, two);
}

// A hole drilled through a boss whose top annulus, narrower than the
// target, refines the hole's upper rim, with the strips merged by turn: the
// lower rim comes down to a few corners, and the wall's edges from the
// refined rim to them were spared as a strip's, each short rim edge joined
// to a corner a target below (2.8, 2.4 and 1.4 degrees with 48, 56 and 96
// sectors). Split down their grading, the walls keep 16.2, 16.7 and 21.8.
TEST(StandInQualityFine, HoleWallsBelowARimRefinedByAStripAreSplitDownTheirGrading) {
    const struct {
        unsigned int m_Sides;
        double m_MinAngle;
    } cases[] = {{48, 14.5}, {56, 15.0}, {96, 19.5}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.m_Sides);
        ShapeMesh mesh;
        MakeDrilledBossPlate(mesh, c.m_Sides, 0.1, true);
        const ShapeMesh input(mesh);
        const double target = MeanEdge(input);
        ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true));
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.m_MinAngle);
        EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.08 * target);
        EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.08 * target);
        for (const Point corner : {Point(2, 2, 0), Point(-2, -2, 0.3)}) {
            double nearest = 1e300;
            for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
                nearest = std::min(nearest, Position(mesh, v).DiffVectLen(corner));
            EXPECT_LT(nearest, 1e-9);
        }
    }
}

// Ribs 0.03 thick lower the target over their whole walls, and at 0.3 times
// the mean edge the result asks some five times the faces of the global
// target: the splits of every iteration stopped at a budget counted from
// the global target, with the plate's ends, furthest from the ribs, still
// cut unevenly (rim edges of 1.5 targets, 22.0 degrees; the sweep's copy of
// the panel, numbered otherwise, kept a top-rim edge of 0.53 over bottom
// edges of 0.28 to 0.31, 13.8 degrees). Counted from the local target after
// the first iteration, the budget lets every edge be split: 26.2 degrees.
TEST(StandInQualityFine, RibbedPanelSplitsEveryEdgeWhereTheRibsLowerTheTarget) {
    ShapeMesh mesh;
    MakeRibbedPanel(mesh);
    const ShapeMesh input(mesh);
    const double target = 0.3 * MeanEdge(input);
    ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 23.5);
    EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.01 * target);
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.01 * target);
    // The plate's ends, 0.1 high, keep both rims' edges under the split
    // length.
    double longest = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const auto& corners = mesh.m_Faces[f].m_Corners;
        for (int k = 0; k < 3; ++k) {
            const Point a = Position(mesh, corners[k]), b = Position(mesh, corners[(k + 1) % 3]);
            const bool end = (a.x == 0 && b.x == 0) || (a.x == 3 && b.x == 3);
            if (end && a.z == b.z)
                longest = std::max(longest, a.DiffVectLen(b));
        }
    }
    EXPECT_GT(longest, 0);
    EXPECT_LT(longest, 4.0 / 3.0 * target);
}

// Ribs 0.03 thick at the mean edge are 0.035 targets wide, under the thin
// walls' floor: their tops and end caps kept rims of half a target and one
// quad per end, faces of 3.4 degrees, and the caps folded. Walls between
// lines that are each one edge between corners now set their target down to
// 0.03 targets, at twice their width, with the caps' feet measured where
// they stand on the plate's end.
TEST(StandInQualityFine, RibsThinnerThanTheWallFloorAreRefinedToTheirWidth) {
    const struct {
        unsigned int m_Ribs;
        double m_Thickness;
        double m_MinAngle;
    } cases[] = {{5, 0.03, 25.0}, {3, 0.03, 26.5}, {5, 0.032, 24.0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.m_Ribs);
        SCOPED_TRACE(c.m_Thickness);
        ShapeMesh mesh;
        MakeRibbedPanel(mesh, c.m_Ribs, c.m_Thickness);
        const ShapeMesh input(mesh);
        const double target = MeanEdge(input);
        ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true));
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.m_MinAngle);
        EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.01 * target);
        EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.01 * target);
        // Each rib's top corners and its caps' feet stay.
        unsigned int kept = 0;
        for (unsigned int k = 1; k <= c.m_Ribs; ++k)
            for (const double side : {-0.5, 0.5})
                for (const double y : {0.0, 2.0})
                    for (const double z : {0.1, 0.5}) {
                        const Point corner(3.0 * k / (c.m_Ribs + 1) + side * c.m_Thickness, y, z);
                        for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
                            if (Position(mesh, v).DiffVectLen(corner) < 1e-9) {
                                ++kept;
                                break;
                            }
                    }
        EXPECT_EQ(kept, 8 * c.m_Ribs);
    }
}

// A roof's gable ends stand 0.3 tall at a target of 2.1: their side walls
// are strips 0.14 targets tall between rims of edges some three times that,
// all of whose faces' corners lie on lines. A collapse after the last
// relaxation left a vertex of one rim near the end of the edge across
// (23.8 degrees; 21.5 in the sweep's copy, numbered otherwise); such
// corners now slide along their lines at the end (28.9).
TEST(StandInQualityFine, LowWallsBetweenLinesSlideTheirRimsApart) {
    ShapeMesh mesh;
    MakeArchedRoof(mesh);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 27.0);
    EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.05 * target);
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.05 * target);
}

// Fingertips are cones of a few facets. At the mean edge, the result's
// nearest vertex to an apex lay 0.64 targets from it and could not move
// onto it alone without thinning its fan (25.8 degrees), so the apex stuck
// out of the result by 0.54 targets; its ring now follows it there: 0.32
// targets, 35.1 degrees.
TEST(StandInQualityFine, FingertipApexesDrawTheirNearestVertexAndItsRing) {
    ShapeMesh mesh;
    MakeFingeredFigure(mesh);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 33.5);
    EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.4 * target);
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.1 * target);
}

// The creases that the thin ears' and tail's facets draw are no machined
// edges: kept, their short lines pinned the faces across the ears thin
// (30.3 degrees). Without them the ears' tips lie a little further from the
// result (0.34 targets with them, 0.40 without).
TEST(StandInQualityFine, EarsOfAnAnimalKeepNoCreasesOfTheirFacets) {
    ShapeMesh mesh;
    MakeEaredAnimal(mesh);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 32.5);
    EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.45 * target);
    // The fit's two steps reach 0.075 targets on the ears' thin tips.
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.08 * target);
}

// At half the mean edge (on a grid of 82 cells) the grid's creases along
// the thin tail make lines that stop in the open surface less than half a
// target from another line: the faces between the end and the other line
// stayed as narrow as the gap (21.9 degrees). Such ends now merge onto the
// other line (30.1 degrees); the input stays within 0.23 targets of the
// result, as before.
TEST(StandInQualityFine, TailLineEndsMergeOntoTheLinesTheyStopShortOf) {
    ShapeMesh mesh;
    MakeEaredAnimal(mesh, 82);
    const ShapeMesh input(mesh);
    const double target = 0.5 * MeanEdge(input);
    ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 29.0);
    EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.3 * target);
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.07 * target);
}

// A fin of two sheets 0.18 targets apart at half the input's mean edge:
// where they join the sphere, its equator is two rims back to back, the fin's
// root between them. Their wall sets the target along the rims (edges of
// 0.45 targets), and graded back as a strip's wall is, the row beside the
// lower rim wedged a vertex between two of the rim's and pinned faces of
// 26.8 degrees. The root's faces now grade back more slowly (30.5 degrees,
// the input within 0.035 targets of the result and the result within 0.012
// of the input). The fin's outer knife rim folds as the input's does, an
// edge of it folded for each of its 192 edges at this target, and no other.
TEST(StandInQualityFine, MembraneRootGradesSlowlyAwayFromItsRims) {
    ShapeMesh mesh;
    MakeMembraneFin(mesh);
    const ShapeMesh input(mesh);
    ASSERT_GT(EnclosedVolume(input), 0);
    const double target = 0.5 * MeanEdge(input);
    ShapeMesh two(mesh);
    ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_TRUE(SameResult(mesh, two));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 29.5);
    EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.05 * target);
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.03 * target);
    EXPECT_LE(FoldedEdges(mesh, -0.5), 192u);
}

// At 50,000 faces the jittered sphere's faces near the poles are narrower
// than half a target, and some of their creases have none of the other sense
// on one side and the same sense along a whole meridian: judged over half a
// target they made lines three to four targets long, whose corners and
// sliding vertices pinned slivers beside them (17.4 degrees, 0.32 targets
// from the input). Over one and a half targets the jitter averages out and
// none stays a line (26.6 degrees, 0.33 targets).
TEST(StandInQualityFine, JitteredSpherePolesKeepNoLinesAtFiftyThousandFaces) {
    ShapeMesh mesh;
    MakeJitteredLatLongSphere(mesh, 50000);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 26.0);
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.36 * target);
    EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.36 * target);
}

// The area, seen from +z, of the faces whose three corners lie in the
// plane at height z: a rim or a top that must stay covered by its faces.
double AreaInPlaneZ(const ShapeMesh& mesh, double z) {
    double area = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const auto& corners = mesh.m_Faces[f].m_Corners;
        const Point a = Position(mesh, corners[0]), b = Position(mesh, corners[1]), c = Position(mesh, corners[2]);
        if (std::fabs(a.z - z) < 1e-9 && std::fabs(b.z - z) < 1e-9 && std::fabs(c.z - z) < 1e-9)
            area += 0.5 * ((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x));
    }
    return area;
}

}  // namespace

// A block of flats whose parapet is 0.2 targets thick at the front and back:
// its two top rims, lines of sliding vertices closer than the corner merge,
// merged into one zig-zag line, the outer and inner sides meeting at a knife
// edge (14 folded edges), and where only some pairs merged, slivers across
// the parapet's top (7.6 degrees). Thin walls between such lines now lower
// the target so that both rims stay.
TEST(StandInQualityFine, ThinParapetKeepsBothRims) {
    ShapeMesh mesh;
    MakeBlockOfFlats(mesh);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    // 25.0 degrees (the side parapet's top beside the block's corner);
    // 0.05 and 0.19 targets (a window's recess) from the input.
    EXPECT_GT(SmallestAngleInDegrees(mesh), 24.5);
    EXPECT_LT(FarthestVertex(mesh, input), 0.1 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 0.25 * target);
    // The parapet's top keeps all its faces: 6 x 0.08 at the front and the
    // back, 0.3 x 1.84 at the sides.
    const double top = AreaInPlaneZ(mesh, 4.3);
    EXPECT_NEAR(top, 2 * 6 * 0.08 + 2 * 0.3 * 1.84, 1e-6);
}

// A block of flats 3 floors by 5 bays: the inside of its front parapet is a
// wall 0.3 tall between two lines that meets the side parapet's at a corner,
// and the front parapet's top, 0.08 wide, a wall of its own, ends there
// beside its outer line, which goes on to the block's corner. Staggered
// under the middle of the outer line's edge beside the corner, the inner
// line's last vertex stood 0.075 from the corner, and the faces between the
// two on the parapet's inner side fell to 21.4 degrees.
TEST(StandInQualityFine, ParapetInnerCornerKeepsItsFacesWide) {
    ShapeMesh mesh;
    MakeBlockOfFlats(mesh, 3, 5);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    // The faces whose corners all lie within 0.5 of an inner corner of the
    // parapet, up on its inner sides and its top.
    double corner = 180;
    unsigned int counted = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        bool near = true;
        for (const auto v : mesh.m_Faces[f].m_Corners) {
            const Point q = Position(mesh, v);
            bool beside = false;
            for (const double x : {0.3, 4.7})
                for (const double y : {0.08, 1.92})
                    beside = beside || std::hypot(q.x - x, q.y - y) < 0.5;
            near = near && beside && q.z > 3 - 1e-9;
        }
        if (!near)
            continue;
        ++counted;
        for (int k = 0; k < 3; ++k) {
            const Point a = Position(mesh, mesh.m_Faces[f].m_Corners[k]);
            const Point u = Position(mesh, mesh.m_Faces[f].m_Corners[(k + 1) % 3]) - a;
            const Point w = Position(mesh, mesh.m_Faces[f].m_Corners[(k + 2) % 3]) - a;
            corner = std::min(corner, std::atan2((u * w).GetLength(), u % w) * 180 / Pi);
        }
    }
    // 25.0 degrees, the side parapet's top; 21.4 with the inner line's last
    // vertex staggered.
    EXPECT_GT(counted, 20u);
    EXPECT_GT(corner, 24.5);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 24.5);
    EXPECT_LT(FarthestVertex(mesh, input), 0.1 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 0.25 * target);
}

// A gear of 24 teeth with ear-clipped caps: each tooth's tip wall is 0.18
// targets wide between two vertical lines 0.75 targets tall. Its corners
// stand where only two lines meet while the sizing is built (the flanks'
// edges along the caps are kept as lines only afterwards), so the tip wall
// counts as a thin wall, whose target is 2.5 times as wide. Its lines are
// too short to stagger and closed at both ends by the caps' edges: they are
// split at the wall's width, not once or twice (22.1 degrees then).
TEST(StandInQualityFine, GearWithEarClippedCapsKeepsItsTipsOnTheInput) {
    ShapeMesh mesh;
    MakeCadGear(mesh, 24, 0.4, true);
    const ShapeMesh input(mesh);
    ASSERT_GT(EnclosedVolume(input), 0);
    const double target = MeanEdge(input);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    // 26.6 degrees.
    EXPECT_GT(SmallestAngleInDegrees(mesh), 26.0);
    EXPECT_LT(FarthestVertex(mesh, input), 1e-6 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 1e-6 * target);
}

// The same gear far from the origin, where the sizing grid's margin is
// widest against its cells: each cell lists its corners by the least target
// they can set in it, and a place stops at the first that cannot lower what
// it has. The teeth refine as at the origin: 1,862 faces against 1,884
// there, 30.0 degrees, every vertex on the input.
TEST(StandInQualityFine, GearFarFromTheOriginRefinesItsTeethAsAtTheOrigin) {
    ShapeMesh near;
    MakeCadGear(near, 24, 0.4, true);
    ShapeMesh mesh(near);
    MoveFarFromTheOrigin(mesh);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ShapeMesh two(mesh);
    ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
    ASSERT_TRUE(near.RemeshPreservingShape(MeanEdge(near)));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 29.5);
    EXPECT_LT(FarthestVertexThroughTree(input, mesh), 1e-6 * target);
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 1e-6 * target);
    const double faces = mesh.m_Faces.GetCount(), nearFaces = near.m_Faces.GetCount();
    EXPECT_GT(faces, 0.95 * nearFaces);
    EXPECT_LT(faces, 1.05 * nearFaces);
    EXPECT_TRUE(SameResult(mesh, two));
}

// A perforated plate 0.08 targets thick at twice its mean edge: each hole's
// two rims are closer than the floor of the sizing, and merged, the plate's
// top lay on its bottom and folded along every hole. A wall of one row of
// faces between long rim edges, with the plate's wide faces beyond, sets
// its target down to 0.05 targets.
TEST(StandInQualityFine, PerforatedSheetThinnerThanTheFloorKeepsBothSides) {
    ShapeMesh mesh;
    MakePerforatedSheet(mesh);
    const ShapeMesh input(mesh);
    const double volume = EnclosedVolume(input);
    ASSERT_NEAR(volume, 0.05 * 100 * (1 - 0.5 * 8 * 0.09 * std::sin(2 * Pi / 8)), 1e-9);
    const double target = 2 * MeanEdge(input);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    // No fold and the whole volume; merged, 760 folded edges.
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    EXPECT_NEAR(EnclosedVolume(mesh), volume, 0.01 * volume);
    // 12.3 degrees, the input's own quads of the holes' sides (0.05 x 0.23
    // between corners); 0.8 merged, and a hole's rim 0.05 off.
    EXPECT_GT(SmallestAngleInDegrees(mesh), 11.0);
    EXPECT_LT(FarthestVertex(mesh, input), 0.01 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 0.01 * target);
}

// A base slab 0.06 targets thick beside a wall standing on it, a separate
// piece whose sides lower the target over most of the slab. The slab's rims
// run between corners, and under the floor of the sizing they set no target:
// its top and bottom merged wherever the graded target grew past four
// times the thickness, and folded along every merge (510 folded edges, faces
// of no area). Lines between corners bound a wall under the floor as lines
// of sliding vertices do.
TEST(StandInQualityFine, SlabThinnerThanTheFloorBesideAWallKeepsBothSides) {
    ShapeMesh mesh;
    MakeSlabUnderWall(mesh);
    const ShapeMesh input(mesh);
    const double volume = EnclosedVolume(input);
    ASSERT_NEAR(volume, 7 * 4 * 0.2 + 3 * 0.4 * 1.6, 1e-9);
    const double target = MeanEdge(input);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    // 28.07 degrees. The wall between the slab's rims now reaches its short
    // sides, whose corners merged before (12.50 degrees there, 0.6 % of the
    // volume and 0.057 targets off).
    EXPECT_GT(SmallestAngleInDegrees(mesh), 25.0);
    EXPECT_NEAR(EnclosedVolume(mesh), volume, 1e-3 * volume);
    EXPECT_LT(FarthestVertex(mesh, input), 1e-3 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 1e-3 * target);
}

// A low-poly house: the chimney and the porch each fit within one target but
// are no debris; their sides' slivers (12.8 and 14.0 degrees) were left as
// they were (12.80 degrees, and 2 % of the diagonal off where the slab's
// short sides merged their corners). Then 16.95 degrees, on the slab's front
// side, a strip 0.2 tall whose bottom line had coarsened to edges of 0.875
// facing top edges of 0.44; now the two lines coarsen together, 25.47
// degrees (on the lower box's side), every vertex on the input, no fold but
// the eaves' own (the roof's edges of 37 degrees, two in the input, split).
TEST(StandInQualityFine, LowPolyHouseRemeshesItsChimneyAndPorch) {
    ShapeMesh mesh;
    MakeLowPolyHouse(mesh);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_EQ(FoldedEdges(mesh, -0.9), 0u);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 24.5);
    EXPECT_LT(FarthestVertex(mesh, input), 1e-3 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 1e-3 * target);
}

// The house at a third of its mean edge: the base slab's sides, strips 0.2
// tall between two lines, kept one line at twice the other's spacing, 11.29
// degrees at the front corner; coarsened together, 15.57 degrees.
TEST(StandInQualityFine, LowPolyHouseSlabSidesCoarsenTogetherAtAFinerTarget) {
    ShapeMesh mesh;
    MakeLowPolyHouse(mesh);
    const ShapeMesh input(mesh);
    const double target = 0.3 * MeanEdge(input);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 14.5);
}

// A porch against a box: the porch's corners lower the target over the
// box's front, whose two faces meet along a diagonal from corner to corner.
// That diagonal, an edge between two lines, ranked by the longer length
// allowed across a strip between lines, waited behind the shorter sides of
// its faces, which were cut towards it over and over: a fan of faces of no
// area along it that the face budget stopped (0.00 degrees and 611 folded
// edges face to face, 562 a hair apart). Now about 320 faces, none folded,
// every vertex on the input.
TEST(StandInQualityFine, PorchAgainstABoxKeepsTheBoxFrontFlat) {
    for (const double gap : {0.0, 0.01}) {
        for (const double factor : {1.0, 0.5}) {
            SCOPED_TRACE(gap);
            SCOPED_TRACE(factor);
            ShapeMesh mesh;
            MakePorchAgainstBox(mesh, 0.4, gap);
            const ShapeMesh input(mesh);
            const double volume = EnclosedVolume(input);
            ASSERT_NEAR(volume, 4 * 3 * 2.5 + 3 * 0.4 * 1.6, 1e-9);
            const double target = factor * MeanEdge(input);
            ASSERT_TRUE(mesh.RemeshPreservingShape(target));
            EXPECT_TRUE(IsCleanResult(mesh, true));
            EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
            // 31.23 and 30.00 degrees face to face, 30.12 and 30.86 a hair
            // apart.
            EXPECT_GT(SmallestAngleInDegrees(mesh), 29.5);
            EXPECT_NEAR(EnclosedVolume(mesh), volume, 1e-6 * volume);
            EXPECT_LT(FarthestVertex(mesh, input), 1e-6 * target);
            EXPECT_LT(FarthestVertex(input, mesh), 0.01 * target);
            // The face budget, reached by the fan, allowed about 1,450.
            EXPECT_LT(mesh.m_Faces.GetCount(), 700u);
        }
    }
}

// A thin-walled bowl whose flat rim is 0.29 targets wide between two closed
// creases without a corner, each edge of them 1.25 targets long: staggered
// across the rim at that spacing its faces reached 24.6 degrees. Lines of
// sliding vertices up to 0.4 targets apart, back to back, whose edges are
// over 3.46 times their distance long lower the target to 2.5 times it, as
// thinner walls do: the rim's lines are split in two.
TEST(StandInQualityFine, FlatRimOfAThinBowlKeepsItsFacesWide) {
    ShapeMesh mesh;
    MakeThinWalledBowl(mesh);
    const ShapeMesh input(mesh);
    ASSERT_GT(EnclosedVolume(input), 0);
    const double target = MeanEdge(input);
    ASSERT_TRUE(mesh.RemeshPreservingShape(target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    // 31.6 degrees, 0.015 and 0.036 targets from the input (the rim's
    // outlines cut the 48-gons' corners); 24.6 degrees when the rim's lines
    // kept their input spacing.
    EXPECT_GT(SmallestAngleInDegrees(mesh), 30.0);
    EXPECT_LT(FarthestVertex(mesh, input), 0.05 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 0.05 * target);
    // The rim keeps both its outlines and all its faces: the faces in z = 0
    // cover the area between the input's two 48-gons, a little more where
    // the inner outline cuts their corners (1.6 % now, 6.8 % at the input
    // spacing).
    const double rim = AreaInPlaneZ(mesh, 0);
    const double annulus = 0.5 * 48 * std::sin(2 * Pi / 48) * (1 - 0.97 * 0.97);
    EXPECT_GT(std::fabs(rim), annulus);
    EXPECT_LT(std::fabs(rim), 1.03 * annulus);
}

// A sheet 0.15 targets thick perforated by 10 x 10 holes of 8 sides, 2.3
// targets apart: the two rims of every hole bound a wall thinner than the
// corner merge, and the wall's sources reach over the whole sheet. Both rims
// of every hole stay (no fold, the input within rounding of the result), the
// faces keep their angles, and one thread and two give the same result; the
// count pins how far the refinement reaches.
TEST(StandInQualityFine, PerforatedSheetKeepsBothRimsOfEveryHole) {
    ShapeMesh mesh;
    MakePiercedBlock(mesh, 10, 10, 8, 0.065, 0.3);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ASSERT_LT(0.065, 0.2 * target);
    ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true));
    // 14.2 degrees and 9,446 faces; both rims of every hole within
    // rounding of the input's.
    EXPECT_GT(SmallestAngleInDegrees(mesh), 12.0);
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.01 * target);
    EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.01 * target);
    EXPECT_GT(mesh.m_Faces.GetCount(), 8000u);
    EXPECT_LT(mesh.m_Faces.GetCount(), 11000u);
}

// A stem half a target thick at its root and a quarter at its tip, coarsened
// to the target, kept two vertices round its cross-section: it flattened into
// a ribbon whose sides lay on each other (16 folded edges, 22 written inwards;
// 4.9 degrees; the input's vertices up to 0.26 targets from the result, 41 %
// of the volume gone). Now 17.5 degrees, the input within 0.08 targets of the
// result, either way round.
TEST(StandInQualityFine, ThinStemsKeepTheirCrossSection) {
    for (const bool inward : {false, true}) {
        ShapeMesh mesh;
        MakeThinStem(mesh, 5, 24, 0.8, 0.02, inward);
        const ShapeMesh input(mesh);
        const double target = 0.08;
        ShapeMesh two(mesh);
        ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
        EXPECT_TRUE(IsCleanResult(mesh, true)) << inward;
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u) << inward;
        EXPECT_GT(SmallestAngleInDegrees(mesh), 15.0) << inward;
        EXPECT_LT(FarthestVertex(input, mesh), 0.15 * target) << inward;
        EXPECT_LT(FarthestVertex(mesh, input), 0.05 * target) << inward;
        EXPECT_TRUE(SameResult(mesh, two));
    }
}

namespace {

// Sharp cones at targets coarser than their base (its circle shorter than
// two targets): the base's closed line was dropped as too short, nothing
// held the base, and the cone shrank into a small tetrahedron at its tip
// (4 faces, 71 to 80 % of the diagonal from the input, folded). Now the
// base's rim stays, with three vertices spread evenly round it, under the
// tip. Each case: sides, height, a base fanned from its rim, the target as a
// multiple of the mean edge, the smallest angle less a margin (three faces
// at the tip reach 2 asin(sin a sin 60 degrees) at best on a cone of
// half-angle a: 16.4, 9.9 and 12.4 degrees), and how far the input's
// vertices may lie from the result. No edge folds: three faces round so
// slender a tip fold where their ring is a degree uneven, and the last
// moves, or a fourth face at the tip, take those folds away. On the slender
// cones a base left bunched on one side lies up to 0.7 of its radius inside
// the rim, which the bound on the input's vertices catches; where the base
// slid along its rim to unfold the faces above it, the bound is looser.
struct CCoarseCone {
    unsigned int m_Sides;
    double m_Height;
    bool m_RimFan;
    double m_Relative;
    double m_MinAngle;
    double m_InputReach = 0.56;
};

}  // namespace

TEST(StandInQualityFine, SharpConesKeepTheirBaseAtCoarseTargets) {
    const CCoarseCone cases[] = {{32, 6, false, 1.0, 16.0},
                                 {32, 6, false, 1.5, 19.5},
                                 {32, 6, false, 2.0, 16.0},
                                 {32, 6, false, 3.0, 16.0},
                                 {32, 10, false, 1.0, 9.5},
                                 {32, 10, false, 1.5, 11.5},
                                 {32, 10, false, 2.0, 9.5},
                                 {32, 10, false, 3.0, 9.5},
                                 {24, 8, true, 1.0, 11.5},
                                 {24, 8, true, 1.5, 11.8},
                                 {24, 8, true, 2.0, 12.0},
                                 {24, 8, true, 3.0, 12.0},
                                 // Slender cones (half-angle 5.7 degrees and under), where a ring
                                 // of three stays between the tip and the base at 1 and 1.5 times.
                                 {20, 10, false, 1.0, 8.9, 0.68},
                                 {20, 10, false, 1.5, 9.3, 0.86},
                                 {20, 10, true, 1.0, 9.3},
                                 {20, 10, true, 1.5, 9.3},
                                 {24, 10, false, 1.0, 9.3},
                                 {24, 10, false, 1.5, 9.3},
                                 {24, 10, true, 1.0, 9.3},
                                 {24, 10, true, 1.5, 9.3, 0.62},
                                 {32, 10, true, 1.0, 9.3},
                                 {32, 10, true, 1.5, 9.3},
                                 {48, 10, false, 1.0, 7.9, 0.63},
                                 {48, 10, false, 1.5, 9.3},
                                 {48, 10, true, 1.0, 9.3},
                                 {48, 10, true, 1.5, 9.3},
                                 {64, 10, false, 1.0, 9.3},
                                 {64, 10, false, 1.5, 9.3},
                                 {64, 10, true, 1.0, 9.3, 0.72},
                                 {64, 10, true, 1.5, 9.3},
                                 // Cones whose last faces folded at half the mean edge, and
                                 // those of height 6 and 3 that folded.
                                 {20, 10, false, 0.5, 9.3},
                                 {20, 10, true, 0.5, 9.3},
                                 {24, 10, false, 0.5, 9.3},
                                 {32, 10, false, 0.5, 9.3},
                                 {32, 10, true, 0.5, 9.3},
                                 {48, 10, true, 0.5, 9.3},
                                 {64, 10, false, 0.5, 9.3},
                                 {24, 10, true, 0.5, 7.8},
                                 {20, 6, false, 1.0, 15.7},
                                 {20, 6, true, 0.5, 15.7},
                                 {24, 6, true, 0.5, 15.7},
                                 {48, 6, true, 0.5, 15.8},
                                 {48, 6, true, 1.0, 15.8},
                                 {64, 6, true, 1.5, 15.8, 0.63},
                                 {20, 3, false, 0.5, 30.6},
                                 {32, 3, true, 0.5, 33.8}};
    for (const CCoarseCone& c : cases) {
        ShapeMesh mesh;
        MakeSharpCone(mesh, c.m_Sides, c.m_Height, true, c.m_RimFan);
        const ShapeMesh input(mesh);
        const double target = c.m_Relative * MeanEdge(input);
        ShapeMesh two(mesh);
        ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
        const std::string name = std::to_string(c.m_Sides) + " sides, height " + std::to_string(c.m_Height) +
                                 (c.m_RimFan ? ", rim fan" : "") + ", at " + std::to_string(c.m_Relative);
        EXPECT_TRUE(IsCleanResult(mesh, true)) << name;
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u) << name;
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.m_MinAngle) << name;
        // The rim between three base vertices lies half the radius inside
        // their triangle's sides (0.5); the tip stays where it is, and the
        // fit of the faces moves free vertices up to 0.075 targets off the
        // input (its second step on a cone a few targets round).
        EXPECT_LT(FarthestVertex(input, mesh), c.m_InputReach) << name;
        EXPECT_LT(FarthestVertex(mesh, input), 0.08 * target) << name;
        unsigned int onRim = 0;
        bool tip = false;
        for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
            const Point p = Position(mesh, v);
            onRim += std::fabs(p.z) < 1e-9 && p.x * p.x + p.y * p.y > 0.95 * 0.95;
            tip = tip || p.DiffVectLen(Point(0, 0, c.m_Height)) < 1e-9;
        }
        EXPECT_GE(onRim, 3u) << name;
        EXPECT_TRUE(tip) << name;
        EXPECT_TRUE(SameResult(mesh, two)) << name;
    }
}

namespace {

// Thin rods of few sides at their mean edge, each side one quad, each cap
// fanned from a rim vertex: a rim under half the target came down to the
// three vertices a closed line keeps, in the order its short edges came,
// side by side on one side of the rim, and the rod flattened into a strip
// (0.3 to 3 degrees, some folded). Now no edge of a rim spans more than half
// of it, and each rim keeps three vertices round the axis. Each case: sides,
// radius, length, the smallest angle less a margin (1.97 to 0.32 degrees
// before), and how far the input's vertices may lie from the result in
// radii (the rim between three vertices spread evenly lies half the radius
// inside their triangle's sides; a flattened rod, the whole radius).
struct CThinRod {
    unsigned int m_Sides;
    double m_Radius, m_Length;
    double m_MinAngle;
    double m_InputReach;
};

// The widest turn round the axis between neighbouring vertices of the rim
// at height z (those further than `inner` from the axis), and their count.
double WidestRimGap(const ShapeMesh& mesh, double z, double inner, std::size_t& count) {
    std::vector<double> turns;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        const Point p = Position(mesh, v);
        if (std::fabs(p.z - z) < 1e-9 && p.x * p.x + p.y * p.y > inner * inner)
            turns.push_back(std::atan2(p.y, p.x));
    }
    count = turns.size();
    if (turns.empty())
        return 2 * Pi;
    std::sort(turns.begin(), turns.end());
    double widest = turns.front() + 2 * Pi - turns.back();
    for (std::size_t k = 1; k < turns.size(); ++k)
        widest = std::max(widest, turns[k] - turns[k - 1]);
    return widest;
}

}  // namespace

TEST(StandInQualityFine, ThinRodsKeepTheirRimsRoundTheAxis) {
    const CThinRod cases[] = {{12, 0.5, 20, 5.5, 0.7},
                              {12, 0.5, 10, 11.0, 0.7},
                              {16, 0.5, 10, 8.5, 0.9},
                              {10, 0.5, 20, 3.5, 0.7},
                              {14, 0.5, 20, 10.0, 0.8}};
    for (const CThinRod& c : cases) {
        std::vector<std::array<double, 2>> outline(c.m_Sides);
        for (unsigned int i = 0; i < c.m_Sides; ++i) {
            const double a = 2 * Pi * i / c.m_Sides;
            outline[i] = {c.m_Radius * std::cos(a), c.m_Radius * std::sin(a)};
        }
        ShapeMesh mesh;
        AddCadPrism(mesh, outline, c.m_Length);
        const ShapeMesh input(mesh);
        const double target = MeanEdge(input);
        ShapeMesh two(mesh);
        ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
        const std::string name = std::to_string(c.m_Sides) + " sides, radius " + std::to_string(c.m_Radius) +
                                 ", length " + std::to_string(c.m_Length);
        EXPECT_TRUE(IsCleanResult(mesh, true)) << name;
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u) << name;
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.m_MinAngle) << name;
        EXPECT_LT(FarthestVertex(input, mesh), c.m_InputReach * c.m_Radius) << name;
        // Each rim's vertices round the axis: no gap between two of them
        // wider than half a turn.
        for (const double z : {0.0, c.m_Length}) {
            std::size_t count = 0;
            const double widest = WidestRimGap(mesh, z, 0.9 * c.m_Radius, count);
            ASSERT_GE(count, 3u) << name << ", rim at " << z;
            EXPECT_LE(widest, 1.02 * Pi) << name << ", rim at " << z;
        }
        EXPECT_TRUE(SameResult(mesh, two)) << name;
    }
}

namespace {

// Thin bars and rods at their mean edge whose rims came down to three
// vertices: the tube between them was left to the free vertices the
// collapses kept, bunched on one side and joined across it (a hexagonal
// bar's one rim also merged down to two corners, the bar flattened into a
// strip: 1.43 degrees, five folded edges). Now a rim of corners keeps three,
// and the tube between two rims of three is laid as rings of three turned
// a sixth of a turn from each other. Each case: sides, length, whether the
// caps are fanned from their centre (else from a rim vertex, see
// AddCadPrism), and the smallest angle less a margin (main gave 1.43 on
// the bar, 0.0 to 4.5 on the rods).
struct CTubeBar {
    unsigned int m_Sides;
    double m_Length;
    bool m_CentreFans;
    double m_MinAngle;
};

}  // namespace

TEST(StandInQualityFine, ThinBarsAreLaidAsRingsBetweenTheirRims) {
    const double radius = 0.5;
    const CTubeBar cases[] = {{6, 20, true, 4.0},   {10, 20, true, 6.5},  {12, 20, true, 6.5}, {16, 20, true, 6.5},
                              {10, 20, false, 6.5}, {16, 20, false, 6.5}, {20, 20, false, 6.0}};
    for (const CTubeBar& c : cases) {
        std::vector<std::array<double, 2>> outline(c.m_Sides);
        for (unsigned int i = 0; i < c.m_Sides; ++i) {
            const double a = 2 * Pi * i / c.m_Sides;
            outline[i] = {radius * std::cos(a), radius * std::sin(a)};
        }
        ShapeMesh mesh;
        if (c.m_CentreFans)
            AddCentreFannedPrism(mesh, outline, c.m_Length);
        else
            AddCadPrism(mesh, outline, c.m_Length);
        const ShapeMesh input(mesh);
        const double target = MeanEdge(input);
        ShapeMesh two(mesh);
        ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
        const std::string name = std::to_string(c.m_Sides) + " sides" + (c.m_CentreFans ? ", centre fans" : "");
        EXPECT_TRUE(IsCleanResult(mesh, true)) << name;
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u) << name;
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.m_MinAngle) << name;
        // A rim between three vertices lies up to 0.87 radii inside (two
        // of them across the axis, the third a sixth of a turn from one);
        // the rings lie on the input, moved off it by the fit alone.
        EXPECT_LT(FarthestVertex(input, mesh), 0.9 * radius) << name;
        EXPECT_LT(FarthestVertex(mesh, input), 0.3 * radius) << name;
        // Three vertices round each rim, no gap wider than half a turn.
        for (const double z : {0.0, c.m_Length}) {
            std::size_t count = 0;
            const double widest = WidestRimGap(mesh, z, 0.8 * radius, count);
            ASSERT_GE(count, 3u) << name << ", rim at " << z;
            EXPECT_LE(widest, 1.02 * Pi) << name << ", rim at " << z;
        }
        EXPECT_TRUE(SameResult(mesh, two)) << name;
    }
}

// A spike of a ragged scanned border whose neck, between two border vertices,
// is a seventh of the target: the valence flips took the neck's edge and left
// faces from the spike's tip across the neck, flat at both of its ends (1.9
// degrees), and no flip could give the edge back, since it joins two open
// vertices. Now the angle flips restore such an edge where it is short and
// cuts off no ear: the spike keeps its input faces (12.9 degrees at the tip).
TEST(StandInQualityFine, SpikeOfARaggedBorderKeepsItsNeck) {
    ShapeMesh mesh;
    MakeBorderSpike(mesh);
    const ShapeMesh input(mesh);
    const double target = 0.575;
    ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, false));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 11.0);
    EXPECT_LT(FarthestVertex(mesh, input), 0.03 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 0.2 * target);
    // The spike's tip stays a vertex.
    bool tip = false;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        tip |= Position(mesh, v) == Point(0, 0, 0);
    EXPECT_TRUE(tip);
}

// Peninsulas one face wide on bases of a fourteenth and a twenty-fifth of
// the target (see MakeBorderEars), at twice the sheet's cell: their tips lie
// a third of a target out, past what the border's noise lets it straighten,
// so every vertex of them stayed on the border, and the face inward from
// each base was as thin as the base is short, its far corner a target away
// (4.05 degrees). The tips now leave the border, the outer one first, then
// the inner one on its neck, and the border runs across the bases.
TEST(StandInQualityFine, BorderEarsOnShortBasesLoseTheirTips) {
    ShapeMesh mesh;
    MakeBorderEars(mesh);
    const ShapeMesh input(mesh);
    const double target = 0.2;
    ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, false));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 25.0);
    EXPECT_LT(FarthestVertex(mesh, input), 0.03 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 0.4 * target);
}

// Pieces of a scanned rock face's ragged border where island faces touch it
// (see MakeRimBesideIslandCorner and MakeRimEarOnIslandCorner), at the target
// of the whole face at twice its mean edge. Where an island touches the
// border, the border vertex stays as it is, fixed: a border vertex a
// twentieth of a target beside it, a corner by its turn, stayed too, and the
// face on the edge between them was as thin as that edge is short (3.97
// degrees). Where the island's vertex keeps one face, the border vertex
// beside it that makes the face thin, 0.28 targets out, stayed as a corner
// (7.31). Both now leave the border.
TEST(StandInQualityFine, RimVerticesBesideIslandCornersLeaveTheBorder) {
    const double target = 0.11554;
    for (int piece = 0; piece < 2; ++piece) {
        ShapeMesh mesh;
        if (piece == 0)
            MakeRimBesideIslandCorner(mesh);
        else
            MakeRimEarOnIslandCorner(mesh);
        const ShapeMesh input(mesh);
        ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, false)) << piece;
        EXPECT_GT(SmallestAngleInDegrees(mesh), 17.0) << piece;
        EXPECT_LT(FarthestVertex(mesh, input), 0.03 * target) << piece;
        EXPECT_LT(FarthestVertex(input, mesh), 0.4 * target) << piece;
    }
}

// A frayed cloth (see MakeFrayedCloth) at its mean edge length: where the
// border turns back on itself (a notch, or a vertex beside one whose fans
// touch at a point), the notch was left two faces, one flat against the
// rim (0.26 degrees, 174 at the notch): the only edge that opens it joins
// the notch to the open vertex across, which no flip could make. The angle
// flips now split an open vertex's angle over 120 degrees that way: over
// 150, a free vertex relaxed next to a vertex where two fans touch still
// left a face of 6.7 degrees there (27.9 now).
TEST(StandInQualityFine, FrayedClothOpensNotchesOfItsBorder) {
    ShapeMesh mesh;
    MakeFrayedCloth(mesh, 40, 1);
    // The fray keeps 2,824 of the grid's 3,200 faces.
    ASSERT_EQ(mesh.m_Faces.GetCount(), 2824u);
    const ShapeMesh input(mesh);
    const double target = 0.087051;
    ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, false));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 25.0);
    EXPECT_LT(FarthestVertex(mesh, input), 0.06 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 0.3 * target);
}

// Frayed cloths (see MakeFrayedCloth) of other seeds at their mean edge: a
// notch where the border turns by a right angle the other way holds 270
// degrees, four and a half faces of 60. The flips gave such a notch the
// valence of a straight rim, three faces, and relaxation drew the free
// corner they share against the notch (11.08, 14.67 and 4.97 degrees); it
// now asks for five.
TEST(StandInQualityFine, FrayedClothNotchesKeepFacesForTheirAngle) {
    for (const unsigned int seed : {2u, 11u, 28u}) {
        ShapeMesh mesh;
        MakeFrayedCloth(mesh, 40, seed);
        const ShapeMesh input(mesh);
        const double target = MeanEdge(input);
        ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, false)) << seed;
        EXPECT_GT(SmallestAngleInDegrees(mesh), 27.0) << seed;
        EXPECT_LT(FarthestVertex(mesh, input), 0.06 * target) << seed;
        EXPECT_LT(FarthestVertex(input, mesh), 0.3 * target) << seed;
    }
}

// A heightfield with a pit cut out face by face (see MakeSteppedPitField),
// remeshed coarser than its grid: the pit's rim is a staircase of kept edges
// half a target long or less. A step's convex corner holds about a right
// angle, one good face, yet was left two, split by a free vertex drawn past
// the reflex corner beside it, the face between them flat at that corner: 8.4
// to 20.9 degrees in these cases. The angle flips now cut such a corner off
// as an ear where the ear itself is no sliver (21.2 to 27.3 degrees).
TEST(StandInQualityFine, SteppedPitRimCornersAreCutOffAsEars) {
    struct SCase {
        unsigned int n;
        double pit;
        unsigned int seed;
        double relative;
        double angle;
    };
    const SCase cases[] = {
        {30, 0.25, 2, 2.0, 24.0}, {30, 0.25, 5, 2.0, 25.0}, {40, 0.35, 3, 2.0, 19.0}, {30, 0.4, 7, 2.5, 20.0}};
    for (const SCase& c : cases) {
        SCOPED_TRACE(c.seed);
        ShapeMesh mesh;
        MakeSteppedPitField(mesh, c.n, c.pit, c.seed);
        const ShapeMesh input(mesh);
        const double target = c.relative * MeanEdge(input);
        ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, false));
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.angle);
        EXPECT_EQ(FoldedEdges(mesh), 0u);
        EXPECT_LT(FarthestVertex(mesh, input), 0.03 * target);
        EXPECT_LT(FarthestVertex(input, mesh), 0.35 * target);
    }
}

// Serrated leaves (see MakeSerratedLeaf) end in blunt rows a hundredth
// wide, a tenth of the mean edge or less: two bends of the rim of about 37
// degrees each a short edge apart. Both stayed, each a hair too far from
// the straightened rim to go, and the face on the edge between them was a
// sliver: 7.6 to 12.6 degrees in these cases (11.0 for the finest leaf at
// twice its mean edge). Two bends nearer than corners merge are one bend at
// the target's resolution, and one of them goes: 25.2 to 33.7 degrees.
TEST(StandInQualityFine, BluntLeafTipsKeepOneOfTheirTwoBends) {
    struct SCase {
        unsigned int rows;
        unsigned int across;
        double relative;
        double angle;
    };
    const SCase cases[] = {
        {30, 8, 1.0, 30.0}, {30, 8, 0.5, 27.0}, {40, 12, 1.0, 30.0}, {50, 8, 1.0, 22.0}, {120, 20, 2.0, 24.0}};
    for (const SCase& c : cases) {
        SCOPED_TRACE(testing::Message() << c.rows << " x " << c.across << " at " << c.relative);
        ShapeMesh mesh;
        MakeSerratedLeaf(mesh, c.rows, c.across);
        const ShapeMesh input(mesh);
        const double target = c.relative * MeanEdge(input);
        ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, false));
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.angle);
        EXPECT_LT(FarthestVertex(mesh, input), 0.035 * target);
        EXPECT_LT(FarthestVertex(input, mesh), 0.3 * target);
    }
}

// Icosahedral spheres with holes cut face by face (see MakeHoledIcosphere)
// at 2.5 times their mean edge: a tip of a hole's staircase rim of 55 to 90
// degrees kept two faces, one a sliver turned over the other (two folded
// edges; 4.3 to 14.7 degrees). The flip that cuts the tip off as an ear
// makes faces that cannot agree with both old ones, and was refused; it now
// needs them to agree with each other and with one of the two: no folds,
// 18.6 to 25.9 degrees.
TEST(StandInQualityFine, RimTipsFoldedOverTheirSliverAreCutOffAsEars) {
    const std::vector<double> radii = {0.03, 0.08, 0.15, 0.3, 0.5};
    const struct {
        unsigned int seed;
        double angle;
    } cases[] = {{7, 21.0}, {19, 22.0}, {22, 16.0}, {34, 22.0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.seed);
        ShapeMesh mesh;
        MakeHoledIcosphere(mesh, 4, radii, c.seed);
        const ShapeMesh input(mesh);
        const double target = 2.5 * MeanEdge(input);
        ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, false));
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.angle);
        EXPECT_LT(FarthestVertex(mesh, input), 0.035 * target);
        EXPECT_LT(FarthestVertex(input, mesh), 0.3 * target);
    }
}

// A voxelised pipe tee (see MakeVoxelisedPipeTee) at its mean edge: where
// the creases at the branch's foot and the bores' ends run diagonal to the
// grid, each is two lines a chamfer of a fraction of a voxel apart, and the
// faces between them stayed as narrow as the chamfer (9.22 degrees). The
// lines' vertices side by side now merge into corners: 17.58. No more folded
// edges than the input holds (its thin walls fold where the tetrahedra cut
// them), and the result lies on the input.
TEST(StandInQualityFine, CreaseHalvesAChamferApartMergeIntoOne) {
    ShapeMesh mesh;
    MakeVoxelisedPipeTee(mesh);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ShapeMesh two(mesh);
    ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_LE(FoldedEdges(mesh, -0.5), FoldedEdges(input, -0.5));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 16.0);
    EXPECT_LT(FarthestVertex(mesh, input), 0.08 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 0.5 * target);
    EXPECT_TRUE(SameResult(mesh, two));
}

// A corrugated hose of six waves (see MakeCorrugatedHose) coarsened to two
// and three times its mean edge keeps its crests and troughs as lines. Its
// last trough lies a quarter target from the open rim, whose vertices stay
// where the input has them: at three times, the trough's vertices stood
// beside the rim's, and the faces across were as thin as the strip is
// narrow against the edge (16.4 degrees); they now stand under the middles
// of the rim's edges (27.5). At twice, where the rim is twice as fine as the
// trough, the trough's vertices stand at rim vertices instead: under the
// middles of the rim's short edges they gave 19.4.
TEST(StandInQualityFine, HoseTroughBesideItsOpenRimStaggersAgainstIt) {
    for (const double relative : {2.0, 3.0}) {
        ShapeMesh mesh;
        MakeCorrugatedHose(mesh, 64, 6);
        const ShapeMesh input(mesh);
        const double target = relative * MeanEdge(input);
        ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, false)) << relative;
        EXPECT_GT(SmallestAngleInDegrees(mesh), 26.5) << relative;
        EXPECT_LT(FarthestVertex(mesh, input), 0.01 * target) << relative;
        EXPECT_LT(FarthestVertex(input, mesh), 0.1 * target) << relative;
    }
}

// A hull tail (see MakeHullTail) at 1 and 1.2 times its mean edge: measured
// as a part thinner than the target only at its end rings, where the middle
// across lies on an end's face, its sides flattened into a ribbon that
// folded (8.4 degrees and 2 folded edges at 1 times, 6.2 degrees at 1.2).
// Its tip stays cut back by a fifth of the target.
TEST(StandInQualityFine, HullTailKeepsItsCrossSection) {
    for (const double target : {0.2565, 0.3}) {
        ShapeMesh mesh;
        MakeHullTail(mesh);
        const ShapeMesh input(mesh);
        ShapeMesh two(mesh);
        ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
        EXPECT_TRUE(IsCleanResult(mesh, true)) << target;
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u) << target;
        EXPECT_GT(SmallestAngleInDegrees(mesh), 8.0) << target;
        EXPECT_LT(FarthestVertex(mesh, input), 0.05 * target) << target;
        EXPECT_LT(FarthestVertex(input, mesh), 0.3 * target) << target;
        EXPECT_TRUE(SameResult(mesh, two));
    }
}

// A hull ear (see MakeHullEar) at the mean edge of the animal it comes
// from, a third of a target thick: from the tip's lone point two creases ran
// to root points 0.02 apart (a needle of 4.4 degrees between them), and two
// more to tip points a few thousandths apart. Each pair made two lines that
// ran as one from the same corner, and every face between them kept the
// needle's angle there (4.44 degrees); their vertices side by side could not
// merge on a part that thin. Of two such creases only the one that turns
// more now stays: 14.7 degrees, the tip's points merged into one corner 0.15
// targets from the farthest of them. Its two folded edges are as many as
// before.
TEST(StandInQualityFine, CreasesLeavingACornerAsOneKeepOne) {
    ShapeMesh mesh;
    MakeHullEar(mesh);
    const ShapeMesh input(mesh);
    const double target = 0.257;
    ShapeMesh two(mesh);
    ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_LE(FoldedEdges(mesh, -0.5), 2u);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 10.0);
    EXPECT_LT(FarthestVertex(input, mesh), 0.2 * target);
    EXPECT_LT(FarthestVertex(mesh, input), 0.1 * target);
    EXPECT_TRUE(SameResult(mesh, two));
}

// A low-poly rock (see MakeLowPolyRock) at its mean edge: every vertex a
// corner of its shape and no line to hold one. The collapses cut off its
// corners pass after pass, down to 7 vertices, 71 % of the volume gone and
// an input vertex 1.36 targets from the result. Now 10 vertices, 35 % of the
// volume gone, no input vertex more than 0.38 targets off, 36.9 degrees.
TEST(StandInQualityFine, LowPolyRockKeepsItsCorners) {
    ShapeMesh mesh;
    MakeLowPolyRock(mesh);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 33.0);
    EXPECT_GT(EnclosedVolume(mesh), 0.55 * EnclosedVolume(input));
    EXPECT_LT(FarthestVertex(input, mesh), 0.55 * target);
    // The fit's two steps reach 0.075 targets.
    EXPECT_LT(FarthestVertex(mesh, input), 0.08 * target);
}

// The comb (see MakeSlottedComb) at 0.73 to 1.17 times its mean edge, its
// slots 0.05 to 0.08 targets wide: the slots' ends merged corner to corner
// across the slot, whose sides folded onto each other (8, 8 and 5 folded
// edges, 1.5 to 3 % of the diagonal from the input). The slot's ends now
// bound a thin wall; at 0.8 a slot's end wall is still left as two faces
// (7.6 degrees).
TEST(StandInQualityFine, SlotsOfAnEarClippedCombKeepTheirEnds) {
    const std::array<std::pair<double, double>, 3> cases = {{{0.5, 14.0}, {0.65, 14.0}, {0.8, 7.0}}};
    for (const auto& [target, angle] : cases) {
        ShapeMesh mesh;
        MakeSlottedComb(mesh);
        const ShapeMesh input(mesh);
        ShapeMesh two(mesh);
        ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
        EXPECT_TRUE(IsCleanResult(mesh, true)) << target;
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u) << target;
        EXPECT_GT(SmallestAngleInDegrees(mesh), angle) << target;
        EXPECT_LT(FarthestVertex(mesh, input), 0.06 * target) << target;
        EXPECT_LT(FarthestVertex(input, mesh), 0.1 * target) << target;
        EXPECT_TRUE(SameResult(mesh, two));
    }
}

// A spiked scan of 5,120 faces has enough bare tips that their even rings
// are searched on two threads, in rounds of tips that write nowhere another
// reads. The result is the one thread's, and keeps what the tips' search
// gains there.
TEST(StandInQualityFine, SpikedScanTipsGiveTheSameResultOnOneAndTwoThreads) {
    ShapeMesh mesh;
    MakeSpikedScan(mesh, 4);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ShapeMesh two(mesh);
    ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    // 6,146 faces, 12.50 degrees, no fold; the tips 0.31 targets from the
    // result at most.
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 12.0);
    EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.35 * target);
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.08 * target);
    EXPECT_TRUE(SameResult(mesh, two));
}

// A scan whose six holes were filled by fans from one rim vertex (see
// MakeFanFilledScan): where a rim bends back as seen from the fan's vertex,
// slivers lie turned over against all their neighbours. All their edges bent
// by more than the feature angle and were kept as lines, which pinned the
// pleats and the folds between them (8 folded edges, 28.8 degrees, 0.068
// targets from the input); a face turned over by more than about 168
// degrees against all three neighbours now marks no lines.
TEST(StandInQualityFine, FanFilledHolesLoseTheirPleats) {
    ShapeMesh mesh;
    MakeFanFilledScan(mesh, 4, 6, 73);
    ASSERT_EQ(mesh.m_Faces.GetCount(), 5032u);
    const ShapeMesh input(mesh);
    // The fans fold 21 edges of the input.
    ASSERT_EQ(FoldedEdges(input, -0.5), 21u);
    const double target = MeanEdge(input);
    ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 33.0);
    EXPECT_LT(FarthestVertex(mesh, input), 0.045 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 0.065 * target);
}

// Two other draws of the same scan, where two holes' fans overlap in flaps
// turned over against their neighbours by 168 to 172 degrees: the flaps'
// edges were lines with corners that kept them whole, and the result
// followed one layer of the fold. Now the flaps mark no lines and the result
// passes between the layers. Seed 10: 11.07 degrees, 13 folded edges, 0.034
// and 0.131 targets from the input each way before; 17.42 degrees after.
// Seed 3: 0.027 and 0.164 targets before; 0.024 and 0.127 after, 15 folded
// edges both (the input has 30). Since the fans over the input's own folds
// keep 10 degrees through the moves against folds, seed 3 keeps 17 folded
// edges, 6.96 degrees, 0.024 and 0.118 targets.
TEST(StandInQualityFine, FanFilledFlapsLeaveTheResultBetweenTheirLayers) {
    struct SCase {
        unsigned int m_Seed, m_Folds;
        double m_MinAngle, m_From, m_To;
    };
    for (const SCase& c : {SCase{10, 13, 16.0, 0.04, 0.14}, SCase{3, 17, 6.5, 0.03, 0.14}}) {
        ShapeMesh mesh;
        MakeFanFilledScan(mesh, 4, 6, c.m_Seed);
        const ShapeMesh input(mesh);
        const double target = MeanEdge(input);
        ShapeMesh two(mesh);
        ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target)) << c.m_Seed;
        // These draws' fans already run some edges twice the same way in
        // the input (a fan crossing a hole filled before), which the result
        // keeps: no check of its tables against a rebuild here.
        EXPECT_LE(FoldedEdges(mesh, -0.5), c.m_Folds) << c.m_Seed;
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.m_MinAngle) << c.m_Seed;
        EXPECT_LT(FarthestVertex(mesh, input), c.m_From * target) << c.m_Seed;
        EXPECT_LT(FarthestVertex(input, mesh), c.m_To * target) << c.m_Seed;
        EXPECT_TRUE(SameResult(mesh, two)) << c.m_Seed;
    }
}

// A thick-walled pipe elbow (see MakePipeElbow) at 1 and 2 times its mean
// edge: its end annuli are 0.34 and 0.17 targets wide, and both rims of
// each stay, with vertices on them all round. At 1 times each annulus is a
// strip refined to its width (see StripWidthFactor): 31 or 32 vertices a
// rim, 30.0 degrees, 0.05 / 0.07 targets from the input each way (before,
// 10 or 11 a rim and 20.2 degrees, a rim's vertex facing the one across).
// At 2 times the annuli lie under the corner merge, above the strip's floor
// there (see StripFloorFactor), and are refined to their width too: 30 to 32
// vertices a rim, 23.5 degrees, 0.05 / 0.24 targets (before, at the close-wall
// spacing, 6 to 10 a rim and 12.1 degrees, a folded edge allowed).
TEST(StandInQualityFine, PipeElbowEndAnnuliKeepBothRims) {
    struct SCase {
        double m_Relative, m_MinAngle, m_To;
        unsigned int m_Folds, m_RimVertices;
    };
    for (const SCase& c : {SCase{1.0, 28.0, 0.12, 0, 26}, SCase{2.0, 21.0, 0.27, 0, 26}}) {
        ShapeMesh mesh;
        MakePipeElbow(mesh);
        ASSERT_EQ(mesh.m_Faces.GetCount(), 1920u);
        const ShapeMesh input(mesh);
        const double target = c.m_Relative * MeanEdge(input);
        ShapeMesh two(mesh);
        ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
        EXPECT_TRUE(IsCleanResult(mesh, true)) << c.m_Relative;
        EXPECT_LE(FoldedEdges(mesh, -0.5), c.m_Folds) << c.m_Relative;
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.m_MinAngle) << c.m_Relative;
        EXPECT_LT(FarthestVertex(mesh, input), 0.08 * target) << c.m_Relative;
        EXPECT_LT(FarthestVertex(input, mesh), c.m_To * target) << c.m_Relative;
        // The vertices on each end's rims, outer and inner: within the
        // sagitta of the input's 32-gon of the circle.
        unsigned int onRim[2][2] = {{0, 0}, {0, 0}};
        for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
            const Point p = Position(mesh, v);
            const double start = std::hypot(p.x, p.y), end = std::hypot(p.y, p.z - 1.0);
            for (int r = 0; r < 2; ++r) {
                const double radius = r == 0 ? 0.5 : 0.4;
                onRim[0][r] += std::fabs(p.z + 2.0) < 1e-9 && std::fabs(start - radius) < 0.003;
                onRim[1][r] += std::fabs(p.x - 3.0) < 1e-9 && std::fabs(end - radius) < 0.003;
            }
        }
        for (int e = 0; e < 2; ++e)
            for (int r = 0; r < 2; ++r)
                EXPECT_GE(onRim[e][r], c.m_RimVertices) << c.m_Relative << " end " << e << " rim " << r;
        EXPECT_TRUE(SameResult(mesh, two)) << c.m_Relative;
    }
}

// A sheet-metal Z bracket 0.1 thick as a closed solid: its section (two
// flanges and a web joined by bends of six facets, inner radius 0.15)
// extruded 2, each cap clipped ear by ear into long slivers across the
// sheet. At its mean edge the web's section is a wall 0.095 targets wide
// between lines 1.25 long, under the sizing's floor; the ear-clipped cap joins
// no face across it, so it set no target, and the web's ends kept edges of
// 0.7 across 0.1: 8.6 degrees, the input 0.16 targets from the result. Both
// sides' faces lie in the cap's plane (see FlatAcrossCos): the wall is refined
// to its stretched width, 14.2 degrees and 0.11 targets, no fold.
TEST(StandInQualityFine, EarClippedBracketsThinWebSetsItsTarget) {
    std::vector<std::array<double, 2>> outline;
    const double t = 0.1, ri = 0.15, cx = 2.0 + ri + t + ri;
    const auto arc = [&](double x, double y, double r, double a0, double a1) {
        for (int k = 0; k <= 6; ++k) {
            const double a = a0 + (a1 - a0) * k / 6;
            const std::array<double, 2> p = {x + r * std::cos(a), y + r * std::sin(a)};
            if (outline.empty() || std::hypot(p[0] - outline.back()[0], p[1] - outline.back()[1]) > 1e-9)
                outline.push_back(p);
        }
    };
    outline.push_back({0.0, 0.0});
    arc(2.0, ri + t, ri + t, -Pi / 2, 0.0);
    arc(cx, 1.5, ri, Pi, Pi / 2);
    outline.push_back({4.0, 1.5 + ri});
    outline.push_back({4.0, 1.5 + ri + t});
    arc(cx, 1.5, ri + t, Pi / 2, Pi);
    arc(2.0, ri + t, ri, 0.0, -Pi / 2);
    outline.push_back({0.0, t});
    ShapeMesh mesh;
    AddEarClippedPrism(mesh, outline, 2.0);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 12.5);
    EXPECT_LT(FarthestVertex(mesh, input), 0.05 * target);
    EXPECT_LT(FarthestVertex(input, mesh), 0.13 * target);
}

namespace {

// The area of the section of a closed mesh by the plane at height z: each
// face crossing it gives a segment, turned so that the face's outside lies
// on its right, and the segments' shoelace sums to the area inside.
double SectionArea(const ShapeMesh& mesh, double z) {
    double area = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const auto& corners = mesh.m_Faces[f].m_Corners;
        const Point p[3] = {Position(mesh, corners[0]), Position(mesh, corners[1]), Position(mesh, corners[2])};
        std::vector<Point> cut;
        for (int k = 0; k < 3; ++k) {
            const Point &a = p[k], &b = p[(k + 1) % 3];
            if ((a.z > z) != (b.z > z)) {
                const double s = (z - a.z) / (b.z - a.z);
                cut.push_back(Point(a.x + s * (b.x - a.x), a.y + s * (b.y - a.y), z));
            }
        }
        if (cut.size() != 2)
            continue;
        const Point n = (p[1] - p[0]) * (p[2] - p[0]);
        if ((cut[1].x - cut[0].x) * -n.y + (cut[1].y - cut[0].y) * n.x < 0)
            std::swap(cut[0], cut[1]);
        area += 0.5 * (cut[0].x * cut[1].y - cut[1].x * cut[0].y);
    }
    return area;
}

}  // namespace

// A lathe-turned wine glass of 192 sectors at its mean edge (0.249): the
// rim is a flat annulus 0.08 targets wide between two 192-gons, the stem 0.4
// targets across and written as one span of faces 3.5 targets long. The
// rims, coarsened like any other lines, grew edges of 0.28 whose chords
// passed within 0.001 of the other rim, so the faces across lay flat
// (0.51 degrees), the foot's rims merged and folded (25 folded edges), and
// the stem, measured only at its middle, flattened into a ribbon of a third
// of its section. Now 14.1 degrees (the foot's rim), no fold, both rims
// whole and the stem's middle round; 1 and 2 threads the same.
TEST(StandInQualityFine, LatheWineGlassKeepsItsRimsAndItsStem) {
    ShapeMesh mesh;
    MakeLatheWineGlass(mesh);
    const ShapeMesh input(mesh);
    ASSERT_GT(EnclosedVolume(input), 0);
    const double target = MeanEdge(input);
    ShapeMesh two(mesh);
    ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 13.0);
    // 0.05 targets from the input, which lies up to 0.18 targets from the
    // result where the bowl's profile bends and at the stem's top.
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.08 * target);
    EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.25 * target);
    // The faces in the rim's plane cover the annulus between the two
    // 192-gons (within 0.3 % now; 4.4 % short with the faces across flat).
    const double rim = AreaInPlaneZ(mesh, 2.2);
    const double annulus = 0.5 * 192 * std::sin(2 * Pi / 192) * (0.55 * 0.55 - 0.53 * 0.53);
    EXPECT_NEAR(rim, annulus, 0.01 * annulus);
    // The stem's middle, three or four vertices round, keeps 65 to 95 % of
    // its section from z = 0.2 to 0.7 (a third to a half, none at 0.7,
    // when it flattened). Its top, where it widens into the bowl's bottom,
    // still flattens from 0.8 up.
    for (const double z : {0.2, 0.3, 0.4, 0.45, 0.5, 0.6, 0.7})
        EXPECT_GT(SectionArea(mesh, z), 0.55 * Pi * 0.05 * 0.05) << z;
    EXPECT_TRUE(SameResult(mesh, two));
}

// A sheet 0.06 thick, a quarter of its mean edge, whose rim is a half-round
// bead of 8 facets and whose corners are patches of the sphere: no edge of it
// bends by the feature angle, so no line keeps the rim. Taken for a plate's
// rim, which a line keeps, the rim set no target, and the collapses, flips
// and relaxation cut across it a little deeper at every pass: at the mean
// edge the sheet came out 2.2 long of 3.06 (27 % of the diagonal from the
// input), at half of it 10 %. Refined like a tube, its collapses bounded
// there, the rim stays: 30.6 and 35.1 degrees, the input within 0.42 and
// 0.35 targets of the result, the result 0.03 and 0.05 from the input, no
// fold; 1 and 2 threads the same.
TEST(StandInQualityFine, BeadedSheetKeepsItsRim) {
    for (const auto& [relative, angle] : {std::pair{1.0, 28.0}, std::pair{0.5, 32.0}}) {
        ShapeMesh mesh;
        MakeRoundedSlab(mesh);
        const ShapeMesh input(mesh);
        const double target = relative * MeanEdge(input);
        ShapeMesh two(mesh);
        ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
        EXPECT_TRUE(IsCleanResult(mesh, true));
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u) << relative;
        EXPECT_GT(SmallestAngleInDegrees(mesh), angle) << relative;
        EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.08 * target) << relative;
        EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.5 * target) << relative;
        // The sheet keeps its length and width (3.06 x 2.06).
        double low[2] = {1e300, 1e300}, high[2] = {-1e300, -1e300};
        for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
            const Point p = Position(mesh, v);
            low[0] = std::min(low[0], p.x);
            high[0] = std::max(high[0], p.x);
            low[1] = std::min(low[1], p.y);
            high[1] = std::max(high[1], p.y);
        }
        EXPECT_GT(high[0] - low[0], 3.0) << relative;
        EXPECT_GT(high[1] - low[1], 2.0) << relative;
        EXPECT_TRUE(SameResult(mesh, two)) << relative;
    }
}

// A lens: an icosphere of 5,120 faces flattened to a twentieth of its width,
// at its mean edge. The rim bends round by 180 degrees within a sixth of a
// target, over rows of thin faces none of whose edges turns by the feature
// angle; no crease kept it, and the collapses, flips and relaxation carried
// it inward pass after pass until the input's rim lay 1.58 targets from the
// result. Found as a closed loop across which the faces a third of a target
// to either side turn by more than 110 degrees, it is kept as a line, the
// target lowered beside it so that the faces across it turn by less than a
// fold: the input within 0.053 targets of the result (the result 0.016 from
// the input), 21.1 degrees (the rim's narrow faces bend round it), 8,600
// faces, no fold; 1 and 2 threads the same.
TEST(StandInQualityFine, LensKeepsItsRoundedRimAsALine) {
    ShapeMesh mesh;
    MakeIcosphere(mesh, 4);
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        mesh.m_Vertices[v].m_Position.z *= 0.05;
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true));
    EXPECT_GT(SmallestAngleInDegrees(mesh), 19.5);
    EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.1 * target);
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.05 * target);
    // The rim's lowered target stays beside it.
    EXPECT_LT(mesh.m_Faces.GetCount(), 9500u);
}

// The tips' searches project onto the input triangles gathered around each
// tip, passing by those whose plane lies farther than the nearest so far;
// the slack on that plane's distance grows with the coordinates. The same
// scan moved hundreds of thousands of units from the origin, where a
// coordinate's rounding is a billionth of a target, keeps what the scan at
// the origin gains.
TEST(StandInQualityFine, SpikedScanFarFromTheOriginKeepsItsTips) {
    ShapeMesh mesh;
    MakeSpikedScan(mesh, 4);
    MoveFarFromTheOrigin(mesh);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ShapeMesh two(mesh);
    ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
    EXPECT_TRUE(IsCleanResult(mesh, true));
    // 6,130 faces, 12.98 degrees, no fold; the tips 0.31 targets from the
    // result at most, the result 0.05 from the input.
    EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 12.0);
    EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.35 * target);
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.08 * target);
    EXPECT_TRUE(SameResult(mesh, two));
}

// The eared animal simplified by quadric edge collapse, as decimators hand
// over reconstructed creatures: the flat body in a few large faces, the tail
// and ears in many small ones, the mean edge wider than the tail, and caps
// standing across the legs where the iso-surface crossed a grid plane. No
// single vertex of the tail's rounded end turns enough to count as a cone's
// tip; unheld, the collapses and the relaxation walked it in, and the input
// lay up to 0.9 to 3.6 targets from the result. The creases the standing caps drew made lines a
// hair apart on a leg that pinned faces of 3.8 degrees between them. Now no
// point of the input lies more than 0.35 to 0.49 targets from the result,
// and the smallest angles are 19.7 and 20.0 degrees where the caps stood;
// 11.9 degrees at 83 cells is an ear's, as before. The folds are the ears'
// (as many as before).
TEST(StandInQualityFine, DecimatedAnimalKeepsItsTailTipAndDrawsNoLinesOnStandingCaps) {
    struct CCase {
        int m_Cells;
        unsigned int m_Faces;
        double m_MinAngle;
        unsigned int m_KnownFolds;
    };
    for (const CCase& c : {CCase{83, 3000, 11.0, 0}, CCase{70, 3000, 17.0, 1}, CCase{70, 2000, 18.0, 3}}) {
        ShapeMesh mesh;
        MakeEaredAnimal(mesh, c.m_Cells);
        DecimateByQuadrics(mesh, c.m_Faces);
        const ShapeMesh input(mesh);
        const double target = MeanEdge(input);
        ShapeMesh two(mesh);
        ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
        EXPECT_TRUE(IsCleanResult(mesh, true)) << c.m_Cells << " " << c.m_Faces;
        EXPECT_LE(FoldedEdges(mesh, -0.5), c.m_KnownFolds) << c.m_Cells << " " << c.m_Faces;
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.m_MinAngle) << c.m_Cells << " " << c.m_Faces;
        EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.7 * target) << c.m_Cells << " " << c.m_Faces;
        EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.2 * target) << c.m_Cells << " " << c.m_Faces;
        EXPECT_TRUE(SameResult(mesh, two)) << c.m_Cells << " " << c.m_Faces;
    }
}

namespace {

// Remeshes the fixture's noisy scan of this seed at its mean edge and checks
// what every noisy-scan case asks: a clean result, its smallest angle over
// minAngle, no more folded edges than the input's over foldShare, every
// vertex within 0.6 targets of the input, one and two threads alike.
void ExpectNoisyScanRemeshes(unsigned int seed, double minAngle, int foldShare) {
    SCOPED_TRACE(seed);
    ShapeMesh mesh;
    MakePinholedScan(mesh, 5, 1.0, 14, seed);
    const ShapeMesh input(mesh);
    const double target = MeanEdge(input);
    ShapeMesh two(mesh);
    ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
    EXPECT_TRUE(IsCleanResult(mesh, false));
    EXPECT_GT(SmallestAngleInDegrees(mesh), minAngle);
    EXPECT_LT(FoldedEdges(mesh, -0.5), FoldedEdges(input, -0.5) / foldShare);
    EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.6 * target);
    EXPECT_TRUE(SameResult(mesh, two));
}

}  // namespace

// Raw laser scans whose noise of one edge folds the input over itself in
// many places (see MakePinholedScan; seeds 23 and 2: 1,383 and 1,412 folded
// edges). The moves against folds at the end thinned fans down to the
// mesh's smallest angle, which one sliver anywhere sets: faces of 4.93 and
// 7.02 degrees, each beside a fold that follows one of the input's own. Over
// the input's folds the fans now keep 10 degrees or their own: 8.49 and
// 9.81 degrees, 93 and 91 folded edges where there were 90 (more since, see
// the next tests: seed 2 folds 125 of the input's 1,412 once its spikes'
// rings are spread among their folds).
TEST(StandInQualityFine, NoisyScansKeepTheirFansBesideTheInputsFolds) {
    for (const auto& [seed, angle] : std::array<std::pair<unsigned int, double>, 2>{{{23, 8.0}, {2, 9.0}}}) {
        ExpectNoisyScanRemeshes(seed, angle, 11);
    }
}

// The same scans: their noise creases them into corners a target or so
// apart, and the valence flips joined two of them to a free vertex in a cap
// the relaxation could not open (only the free vertex moves) and the angle
// flips could not cut (the flip of its long side folds against the input's
// own folds). On an input that folds like noise, no valence flip over its
// folds makes a face under 22 degrees with two fixed vertices that its pair
// did not have, and the moves against folds keep 14 degrees there: 7.89,
// 6.91 and 8.67 degrees became 15.17, 14.24 and 14.58, with 87, 82 and 94
// folded edges where there were 75, 69 and 83.
TEST(StandInQualityFine, NoisyScansFlipNoCapBetweenTwoCorners) {
    for (const unsigned int seed : {10u, 20u, 21u}) {
        ExpectNoisyScanRemeshes(seed, 13.0, 12);
    }
}

// The same scans: their noise makes spikes whose tips stay corners, each
// tip's ring among folds that copy the input's own. The tips' rings were
// spread evenly only where that left fewer folds around them than there
// were, so beside such folds the rings stayed as the collapses left them,
// two of their vertices a quarter of a target apart: faces of 11.96 and 9.33
// degrees at the tips. Now as many folds as there were will do: 14.98 and
// 14.39 degrees, with 77 and 100 folded edges where there were 65 and 92.
TEST(StandInQualityFine, NoisyScansSpreadTheRingsOfTheirSpikesAmongFolds) {
    for (const unsigned int seed : {14u, 16u}) {
        ExpectNoisyScanRemeshes(seed, 13.5, 12);
    }
}

// The same scans: the noise makes lines too, and a cap whose three corners
// lay on one of them (the line turning by 6 degrees at the middle one) stayed
// at 3.15 degrees: the flip of its long side folded against a face beside it,
// and the middle vertex could not merge along its line. Over the input's
// folds a face that thin may be flipped though the new faces fold: 15.41
// degrees, 86 folded edges where there were 81.
TEST(StandInQualityFine, NoisyScansCutCapsAlongTheirLinesThoughTheFlipFolds) {
    ExpectNoisyScanRemeshes(24, 14.0, 12);
}

// A hand decimated by quadric collapse, as decimators hand over
// reconstructed figures: each finger is a few long slivers, and where a grid
// plane of the iso-surface cut its tip, the tip is a cluster of small
// facets whose edges crease by about the feature angle. A crease there too
// short for the target, kept as a line of its own edge where a neighbouring
// line edge lowers the target, pinned its two corners; under a tenth of a
// target apart they could not merge at the lowered target, and the faces
// beside them kept the angle the short edge allowed. At a coarse target the
// corners of such rough creases merge as at the global target: 8.35 degrees
// became 15.40 (1.25 times the mean edge, 58 cells, 1,500 faces) and 10.68
// became 18.42 (1.5 times, 56 cells), no fold, the input within
// 0.55 targets of the result.
TEST(StandInQualityFine, FingertipCreasesOfDecimatedHandsLetTheirCornersMerge) {
    struct CCase {
        int m_Cells;
        double m_Relative;
        double m_MinAngle;
    };
    for (const CCase& c : {CCase{58, 1.25, 14.0}, CCase{56, 1.5, 17.0}}) {
        ShapeMesh mesh;
        MakeCloseFingeredHand(mesh, c.m_Cells);
        DecimateByQuadrics(mesh, 1500);
        const ShapeMesh input(mesh);
        const double target = c.m_Relative * MeanEdge(input);
        ShapeMesh two(mesh);
        ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
        EXPECT_TRUE(IsCleanResult(mesh, true)) << c.m_Cells;
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u) << c.m_Cells;
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.m_MinAngle) << c.m_Cells;
        EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.6 * target) << c.m_Cells;
        EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.08 * target) << c.m_Cells;
        EXPECT_TRUE(SameResult(mesh, two)) << c.m_Cells;
    }
}

// Spheres decimated by vertex clustering (see MakeClusteredSphere) hold
// flaps: faces hinged on edges that two other faces already share, folded
// back onto them. Each such edge was locked and its ends fixed, so the flap,
// a sliver, stayed as it came, and so did the faces hinged with it: 2.07,
// 0.22 and 0.42 degrees, 2, 4 and 3 folded edges, and edges run twice the
// same way. Dropped, as they lie on the surface beneath them, the spheres
// come out at 35.15, 35.50 and 35.16 degrees, clean and without folds.
TEST(StandInQualityFine, ClusteredSpheresLoseTheFlapsFoldedOntoThem) {
    struct CCase {
        unsigned int m_Levels;
        double m_Cell;
        unsigned int m_Seed;
        double m_Bumps;
        double m_MinAngle;
    };
    for (const CCase& c : {CCase{5, 0.12, 1, 0, 30.0}, CCase{5, 0.08, 3, 0.2, 30.0}, CCase{5, 0.08, 8, 0.2, 30.0}}) {
        SCOPED_TRACE(c.m_Seed);
        ShapeMesh mesh;
        MakeClusteredSphere(mesh, c.m_Levels, c.m_Cell, c.m_Seed, c.m_Bumps);
        const ShapeMesh input(mesh);
        const double target = MeanEdge(input);
        EXPECT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, false));
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.m_MinAngle);
        EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.12 * target);
        EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.05 * target);
    }
}

// The fingered figure simplified by quadric edge collapse and remeshed at
// half its mean edge, as a user refines a decimated creature. The caps the
// decimator left standing across its limbs are up to a fifth of a target
// across there: judged as facets, their creases made two lines leave one
// corner a fifth of a target apart, and the faces between them kept the
// cap's angle. Taken for fins, 5.62 degrees became 24.95 (44 cells, 500
// faces) and 31.14 became 35.14 (55 cells, 1,500 faces), no fold, the
// input as close to the result as before.
TEST(StandInQualityFine, DecimatedFigureAtHalfItsMeanEdgeDrawsNoLinesOnStandingCaps) {
    struct CCase {
        int m_Cells;
        unsigned int m_Faces;
        double m_MinAngle;
    };
    for (const CCase& c : {CCase{44, 500, 22.0}, CCase{55, 1500, 33.5}}) {
        SCOPED_TRACE(c.m_Cells);
        ShapeMesh mesh;
        MakeFingeredFigure(mesh, c.m_Cells);
        DecimateByQuadrics(mesh, c.m_Faces);
        const ShapeMesh input(mesh);
        const double target = 0.5 * MeanEdge(input);
        ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true));
        EXPECT_GT(SmallestAngleInDegrees(mesh), c.m_MinAngle);
        EXPECT_LT(FarthestVertexThroughTree(input, mesh), 0.6 * target);
        EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.08 * target);
    }
}

// A bar whose long edge is rounded far finer than the target (see
// MakeEdgeFilletedBar), remeshed at twice its mean edge: the fillet's lines
// are close, the local target beside them lowered, and the strips across the
// fillet longer than the lowered limit from the start. No collapse could
// then merge the arc's vertices along the cap's outline, a hair apart, and
// the strips stayed slivers: under 30 degrees in all three cases, one with
// four folded edges. Each case: the fillet's radius and facets, the bar's
// side.
TEST(StandInQualityFine, FilletsFinerThanTheTargetMergeAlongTheCapOutline) {
    const std::array<std::tuple<double, unsigned int, double>, 3> cases = {
        {{0.02, 6, 2.0}, {0.2, 24, 2.0}, {0.1, 3, 5.0}}};
    for (const auto& [radius, facets, side] : cases) {
        ShapeMesh mesh;
        MakeEdgeFilletedBar(mesh, radius, facets, side);
        const ShapeMesh input(mesh);
        const double target = 2 * MeanEdge(input);
        ShapeMesh two(mesh);
        ASSERT_TRUE(RemeshOnOneAndTwoThreads(mesh, two, target));
        EXPECT_TRUE(IsCleanResult(mesh, true)) << radius;
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u) << radius;
        EXPECT_GT(SmallestAngleInDegrees(mesh), 30.0) << radius;
        EXPECT_LT(FarthestVertex(mesh, input), 0.01 * target) << radius;
        EXPECT_LT(FarthestVertex(input, mesh), 0.1 * target) << radius;
        EXPECT_TRUE(SameResult(mesh, two)) << radius;
    }
}

// Boxes whose edges are rounded far finer than the target (see
// MakeRoundedSlab; rounds of 0.02, a twenty-fifth of the target or less),
// each facet of a round turning by less than the feature angle, so that no
// line holds the edges or the corners. At the target's scale each corner is
// a point where the surface closes a quarter turn short, less than a cone's
// limit, and relaxation drew the vertices off it: the input's farthest
// vertex lay 0.60, 0.88, 0.71 and 0.41 targets from the result. Kept as
// tips, the corners stay: 0.04, 0.48 (the slab at twice, 0.64 thick, keeps
// one corner of each pair across its thickness), 0.06 and 0.03; smallest
// angles 34.4, 36.7, 32.1 and 31.3 degrees, no fold. Each case: the
// half-extents, the facets across a round, the target over the mean edge,
// and how far the input may lie from the result, in targets.
TEST(StandInQualityFine, BoxCornersRoundedFinerThanTheTargetStay) {
    struct CCase {
        std::array<double, 3> m_Half;
        unsigned int m_Cells;
        double m_Relative;
        double m_Reach;
    };
    for (const CCase& c : {CCase{{2.0, 0.5, 0.3}, 2, 1.0, 0.15}, CCase{{2.0, 0.5, 0.3}, 2, 2.0, 0.6},
                           CCase{{0.5, 0.5, 0.5}, 3, 1.0, 0.15}, CCase{{0.5, 0.5, 0.5}, 3, 2.0, 0.15}}) {
        const std::string name = std::to_string(c.m_Half[0]) + " at " + std::to_string(c.m_Relative);
        ShapeMesh mesh;
        MakeRoundedSlab(mesh, c.m_Half, 0.02, c.m_Cells);
        const ShapeMesh input(mesh);
        const double target = c.m_Relative * MeanEdge(input);
        ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true)) << name;
        EXPECT_GT(SmallestAngleInDegrees(mesh), 30.0) << name;
        EXPECT_LT(FarthestVertexThroughTree(input, mesh), c.m_Reach * target) << name;
        // The fit's two steps reach 0.075 targets on the rounds.
        EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.08 * target) << name;
    }
}

// Solids whose edges no line holds, remeshed to about their own faces: a box
// 2 on a side whose upright edges are rounded to 0.05 in two facets (ear-clipped
// caps), a cube 2 on a side with chamfers of 0.05 at twice its mean edge, and a
// hexagon nut round a hexagonal hole. The rounds' facets turn by less than the
// feature angle, the chamfers' and the nut's lines are shorter than a line
// must be to stay, and the valence flips joined the middles of two sides
// across the edge between them: the middles of the input's edges lay 0.33
// targets from the box's result, 0.31 from the cube's and 0.23 from the nut's,
// and the result's vertices 0.05 to 0.07 targets off the input. Flipped onto the
// input at the end, the middles lie within about a hundredth of a target, the
// smallest angles 40, 40 and 32 degrees, no fold. Each case: the input, the target
// over its mean edge.
TEST(StandInQualityFine, EdgesHeldByNoLineAreNotCutAcross) {
    std::vector<std::array<double, 2>> rounded;
    for (int k = 0; k < 4; ++k)
        for (int s = 0; s <= 2; ++s) {
            const double a = Pi / 2 * (k + s / 2.0);
            rounded.push_back(
                {(k == 0 || k == 3 ? 0.95 : -0.95) + 0.05 * std::cos(a), (k < 2 ? 0.95 : -0.95) + 0.05 * std::sin(a)});
        }
    const std::array<std::pair<std::function<void(ShapeMesh&)>, double>, 3> cases = {
        {{[&](ShapeMesh& mesh) { AddEarClippedPrism(mesh, rounded, 2.0); }, 1.0},
         {[](ShapeMesh& mesh) {
              MakeRoundedSlab(mesh, {1.0, 1.0, 1.0}, 0.05, 1);
          },
          2.0},
         {[](ShapeMesh& mesh) { MakeCadHexNut(mesh, 6); }, 1.0}}};
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        ShapeMesh mesh;
        cases[i].first(mesh);
        const ShapeMesh input(mesh);
        const double target = cases[i].second * MeanEdge(input);
        ASSERT_TRUE(RemeshesCleanlyOnOneAndTwoThreads(mesh, target, true));
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
        EXPECT_GT(SmallestAngleInDegrees(mesh), 30.0);
        double farthest = 0;
        for (unsigned int f = 0; f < input.m_Faces.GetCount(); ++f) {
            const auto* c = input.m_Faces[f].m_Corners;
            for (int k = 0; k < 3; ++k) {
                const auto middle = (Position(input, c[k]) + Position(input, c[(k + 1) % 3])) * 0.5;
                farthest = std::max(farthest, DistanceToSurface(middle, mesh));
            }
        }
        EXPECT_LT(farthest, 0.05 * target);
        EXPECT_LT(FarthestVertexThroughTree(mesh, input), 0.05 * target);
    }
}
