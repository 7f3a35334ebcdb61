// Rough, broken and interrupted inputs. The same answer on any number of
// threads is pinned with the fingerprints.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "remeshing/RemeshChecks.h"

namespace {

using namespace QuorvelTest;

// A smooth sphere, whose answer is known, then bumps with more and more
// noise, each finer and coarser than its own edges.
TEST(RemeshPreservingShape, SmoothBumpyAndNoisySpheresGiveCleanUnfoldedMeshesOnTheirSurface) {
    const double inputs[][2] = {{0, 0}, {0.12, 0}, {0.12, 0.01}, {0.12, 0.03}};  // bumps, noise
    for (const auto& bumpsAndNoise : inputs) {
        const bool smooth = bumpsAndNoise[0] == 0;
        for (const double factor : {0.6, 1.0, smooth ? 1.3 : 2.0}) {
            SCOPED_TRACE(testing::Message()
                         << "bumps " << bumpsAndNoise[0] << ", noise " << bumpsAndNoise[1] << ", factor " << factor);
            ShapeMesh mesh;
            MakeBumpySphere(mesh, 4, bumpsAndNoise[0], bumpsAndNoise[1]);
            ASSERT_EQ(InwardFaces(mesh), 0u) << "the input itself should be star-shaped";
            const ShapeMesh input(mesh);
            const double target = factor * MeanSide(mesh);
            // Every vertex on the input: the projection's work, without the
            // fit of the faces that moves free vertices off it at the end.
            CRemeshOptions onInput;
            onInput.m_FitFaces = false;
            ASSERT_TRUE(mesh.RemeshPreservingShape(target, onInput));
            EXPECT_TRUE(IsCleanResult(mesh, true));
            EXPECT_EQ(InwardFaces(mesh), 0u);
            EXPECT_EQ(FoldedEdges(mesh), 0u);
            EXPECT_NEAR(EnclosedVolume(mesh) / EnclosedVolume(input), 1.0, smooth ? 0.005 : 0.02);
            EXPECT_GE(SmallestAngleInDegrees(mesh), 30.0);
            // The smooth and the roughest input, where projection works hardest.
            if (smooth || bumpsAndNoise[1] > 0.02) {
                EXPECT_LT(FarthestVertex(mesh, input), 1e-12);
            }
            if (!smooth)
                continue;
            // The edges settle inside the band between the collapse and split
            // limits, a little below the target where a coarsening is held up
            // by the length test of the collapse.
            EXPECT_GT(MeanSide(mesh) / target, 0.8);
            EXPECT_LT(MeanSide(mesh) / target, 1.05);
            EXPECT_LT(double(mesh.m_Faces.GetCount()) * factor * factor / input.m_Faces.GetCount(), 1.6);
            // Vertex normals are recomputed: unit and outward on a sphere.
            for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
                ASSERT_NEAR(mesh.m_Vertices[v].m_Normal.GetLength(), 1.0, 1e-9);
                ASSERT_GT(mesh.m_Vertices[v].m_Normal % Position(mesh, v), 0.9);
            }
        }
    }
}

// Targets far longer than the shape is thick: the collapses must stop while a
// thin tube is still a tube and a tetrahedron still a tetrahedron, or the
// surface would pinch into non-manifold junk. The Euler characteristic of a
// torus is 0, that of a sphere 2.
TEST(RemeshPreservingShape, CoarseTargetsKeepTheTopology) {
    ShapeMesh torus;
    MakeTorus(torus, 48, 6, 2.0, 0.05);
    ASSERT_TRUE(torus.RemeshPreservingShape(0.4));
    EXPECT_TRUE(IsCleanResult(torus, true));
    EXPECT_EQ(ClosedEuler(torus), 0);
    EXPECT_LT(torus.m_Faces.GetCount(), 288u);

    ShapeMesh input;
    MakeTetrahedron(input);
    ShapeMesh tetrahedron(input);
    ASSERT_TRUE(tetrahedron.RemeshPreservingShape(10.0));
    EXPECT_TRUE(IsCleanResult(tetrahedron, true));
    EXPECT_EQ(tetrahedron.m_Faces.GetCount(), 4u);
    EXPECT_LT(FarthestVertex(tetrahedron, input), 1e-12);
}

// A square of two faces twenty times the target across: the splits must cut
// every face across its longest side, or the refinement breeds fans of
// slivers from the corners that relaxation cannot repair.
TEST(RemeshPreservingShape, CoarseInputRefinesIntoWellShapedFaces) {
    ShapeMesh mesh;
    MakeGrid(mesh, 1, 1, 10.0);
    ASSERT_TRUE(mesh.RemeshPreservingShape(0.5));
    EXPECT_TRUE(IsCleanResult(mesh, false));
    // About the faces of equilateral triangles of the target size.
    EXPECT_GT(mesh.m_Faces.GetCount(), 600u);
    EXPECT_LT(mesh.m_Faces.GetCount(), 1200u);
    EXPECT_GT(SmallestAngleInDegrees(mesh), 20.0);
}

// Solids tessellated as CAD programs export them: 200 rim vertices, flat
// caps fanned from one rim vertex, and sides of faces 40 times longer than
// wide.
// - Cylinder: cutting the slivers along their sides makes far more faces than
//   their area suggests; if the splits run out of room half-way, the left-over
//   long edges block every collapse and five iterations end in slivers.
// - Open tube: the rims are kept boundaries three times finer than the
//   target; no collapse or flip may join two rim vertices by an inner edge,
//   or faces flat against the rim (angles under 1 degree) appear.
// - Cone: its tip lies on no sharp edge, yet relaxation must not cut it off.
TEST(RemeshPreservingShape, CadTessellationsReachTheTargetAndKeepTheirShape) {
    enum EShape { Cylinder, Tube, Cone };
    for (const EShape shape : {Cylinder, Tube, Cone}) {
        SCOPED_TRACE(shape);
        ShapeMesh mesh;
        const unsigned int n = 200;
        for (unsigned int z = 0; z < (shape == Cone ? 1u : 2u); ++z)
            for (unsigned int i = 0; i < n; ++i) {
                const double angle = 2 * Pi * i / n;
                AddVertex(mesh, 0.5 * std::cos(angle), 0.5 * std::sin(angle), 2.0 * z);
            }
        if (shape == Cone)
            AddVertex(mesh, 0, 0, 1.5);
        for (unsigned int i = 0; i < n; ++i) {
            const unsigned int j = (i + 1) % n;
            AddFace(mesh, i, j, n + (shape == Cone ? 0 : j));
            if (shape != Cone)
                AddFace(mesh, i, n + j, n + i);
        }
        for (unsigned int i = 1; shape != Tube && i + 1 < n; ++i) {
            AddFace(mesh, 0, i + 1, i);
            if (shape == Cylinder)
                AddFace(mesh, n, n + i, n + i + 1);
        }
        const ShapeMesh input(mesh);
        CRemeshOptions onInput;
        onInput.m_FitFaces = false;
        ASSERT_TRUE(mesh.RemeshPreservingShape(0.05, onInput));
        EXPECT_TRUE(IsCleanResult(mesh, shape != Tube));
        EXPECT_LT(FarthestVertex(mesh, input), 1e-9);
        // Open rims three times finer than the target force narrow faces.
        // The cone, 18 degrees from its axis, has about 104 degrees of
        // surface around its tip: three faces there would fold unless
        // evenly spread, so four share it, at most 26 degrees each.
        EXPECT_GT(SmallestAngleInDegrees(mesh), shape == Tube ? 10.0 : (shape == Cone ? 24.0 : 25.0));
        // The rims and the tip turn by less than 120 degrees: no fold.
        EXPECT_EQ(FoldedEdges(mesh, -0.5), 0u);
        // The cylinder's area holds about 7,300 equilateral faces of the
        // target size.
        if (shape == Cylinder) {
            EXPECT_LT(mesh.m_Faces.GetCount(), 11000u);
        }
        if (shape == Cone) {
            double tip = 0;
            for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
                tip = std::max(tip, Position(mesh, v).z);
            EXPECT_EQ(tip, 1.5) << "the tip was cut off";
        }
    }
}

// A hull part of a low-polygon model: a ring of points at the given angles
// (degrees, increasing) round the x axis at x = 0, another at x = length,
// joined by a band that advances along whichever ring's next point comes
// first in angle, each ring's cap fanned from its first point.
void MakeRingLoft(ShapeMesh& mesh, const std::vector<double>& first, const std::vector<double>& second,
                  double firstRadius, double secondRadius, double length) {
    const unsigned int n = static_cast<unsigned int>(first.size()), m = static_cast<unsigned int>(second.size());
    for (const double degrees : first)
        AddVertex(mesh, 0, firstRadius * std::cos(degrees * Pi / 180), firstRadius * std::sin(degrees * Pi / 180));
    for (const double degrees : second)
        AddVertex(mesh, length, secondRadius * std::cos(degrees * Pi / 180),
                  secondRadius * std::sin(degrees * Pi / 180));
    for (unsigned int i = 0, j = 0; i < n || j < m;) {
        const double nextFirst = first[(i + 1) % n] + (i + 1 >= n ? 360 : 0);
        const double nextSecond = second[(j + 1) % m] + (j + 1 >= m ? 360 : 0);
        if (j >= m || (i < n && nextFirst <= nextSecond)) {
            AddFace(mesh, i % n, (i + 1) % n, n + j % m);
            ++i;
        } else {
            AddFace(mesh, i % n, n + (j + 1) % m, n + j % m);
            ++j;
        }
    }
    for (unsigned int k = 1; k + 1 < n; ++k)
        AddFace(mesh, 0, k + 1, k);
    for (unsigned int k = 1; k + 1 < m; ++k)
        AddFace(mesh, n, n + k, n + k + 1);
    BuildConnectivity(mesh);
}

// A low-polygon model's tail: rings of six points at uneven angles, 0.67
// apart, of radii 0.04 and 0.028, joined by faces 0.67 long and a few
// hundredths wide. Remeshed to a target about a third of its length the
// tail, thinner than the target, is refined far finer along its middle than
// at its ends, and the long sides between the end rings wait their turn
// while the faces beside them are cut towards their far corners: 20 faces
// once became 1,300, slivers of no area. With every corner's gain in a
// split pass bounded, the tail stays a few dozen faces.
//
// An ear, 0.26 long, whose rings each hold two points a twentieth of a
// degree apart (two corners a hair apart, two lines running as one from
// them): the lines' vertices side by side kept faces of under a degree
// between them until they merged like corners. Of the two creases from the
// tip to the root's points 4 degrees apart only one stays now (see
// MakeHullEar), and the lines from the root's merged corner to the tip's
// points at 67 and 205 degrees fork at that corner, 12.5 degrees apart;
// before, the merge of the two that ran as one carried the fork 0.05 along
// the ear (22.8 degrees, but 3.8 % of the diagonal from the input against
// 2.9 % now).
TEST(RemeshPreservingShape, ThinHullPartsOfLowPolygonModelsKeepWideFaces) {
    // Remeshes the loft to `target` and returns the input it was.
    const auto remeshed = [](ShapeMesh& mesh, double target) {
        EXPECT_GT(EnclosedVolume(mesh), 0);
        ShapeMesh input(mesh);
        EXPECT_TRUE(mesh.RemeshPreservingShape(target));
        EXPECT_TRUE(IsCleanResult(mesh, true));
        return input;
    };
    ShapeMesh tail;
    MakeRingLoft(tail, {110, 149, 158, 184, 245, 254}, {56, 93, 99, 140, 151, 191}, 0.04, 0.028, 0.67);
    const ShapeMesh tailInput = remeshed(tail, 0.257);
    EXPECT_LT(tail.m_Faces.GetCount(), 200u);
    EXPECT_GT(SmallestAngleInDegrees(tail), 1.0);
    EXPECT_LT(FarthestVertex(tail, tailInput), 0.04);

    ShapeMesh ear;
    MakeRingLoft(ear, {27, 27.05, 190, 194, 278, 346}, {12, 67, 205, 205.05, 220, 242}, 0.04, 0.028, 0.26);
    const ShapeMesh earInput = remeshed(ear, 0.247);
    EXPECT_GT(SmallestAngleInDegrees(ear), 12.0);
    EXPECT_LT(FarthestVertex(ear, earInput), 0.02);
    EXPECT_LT(FarthestVertex(earInput, ear), 0.02);
}

TEST(RemeshPreservingShape, ProgressCanStopAfterAnyIteration) {
    ShapeMesh input;
    MakeBumpySphere(input, 3, 0.12, 0.02);
    const double target = 0.7 * MeanSide(input);

    // The sixth stop never comes: all five iterations run and report.
    for (unsigned int stop = 1; stop <= 6; ++stop) {
        SCOPED_TRACE(stop);
        std::vector<std::pair<unsigned int, unsigned int>> calls;
        CRemeshOptions options, fewer;
        options.m_Progress = [&](unsigned int done, unsigned int total) {
            calls.push_back(std::make_pair(done, total));
            return done < stop;
        };
        ShapeMesh stopped(input);
        EXPECT_EQ(stopped.RemeshPreservingShape(target, options), stop > 5);
        ASSERT_EQ(calls.size(), std::min(stop, 5u));
        for (unsigned int i = 0; i < calls.size(); ++i)
            EXPECT_EQ(calls[i], std::make_pair(i + 1, 5u));
        EXPECT_TRUE(IsCleanResult(stopped, true));
        EXPECT_EQ(InwardFaces(stopped), 0u);

        // Stopping after k iterations is the same as asking for k.
        fewer.m_Iterations = std::min(stop, 5u);
        ShapeMesh counted(input);
        EXPECT_TRUE(counted.RemeshPreservingShape(target, fewer));
        ASSERT_EQ(counted.m_Vertices.GetCount(), stopped.m_Vertices.GetCount());
        ASSERT_EQ(counted.m_Faces.GetCount(), stopped.m_Faces.GetCount());
        for (unsigned int v = 0; v < counted.m_Vertices.GetCount(); ++v)
            ASSERT_TRUE(counted.m_Vertices[v].m_Position == stopped.m_Vertices[v].m_Position);
    }
}

// A closed sphere with junk added: a fourth face on an existing edge, a
// duplicate face, a face with a repeated corner, a face with an index past the
// vertices, a needle of three collinear vertices, an unused vertex and a
// vertex at NaN with a face of its own. Junk the edits cannot use stays where
// it is; the rest is remeshed.
TEST(RemeshPreservingShape, JunkInputIsSurvived) {
    ShapeMesh mesh;
    MakeIcosphere(mesh, 3);
    const unsigned int sphereVertices = mesh.m_Vertices.GetCount();
    const unsigned int a = mesh.m_Faces[0].m_Corners[0], b = mesh.m_Faces[0].m_Corners[1];
    const TVector3<double> nonManifoldEnd = Position(mesh, a);
    AddVertex(mesh, 0, 0, 0);  // the apex of the extra face on edge a-b
    AddFace(mesh, a, b, sphereVertices);
    AddFace(mesh, mesh.m_Faces[5].m_Corners[0], mesh.m_Faces[5].m_Corners[1], mesh.m_Faces[5].m_Corners[2]);
    AddFace(mesh, 3, 3, 7);
    AddFace(mesh, 3, 7, 1000000);
    // A needle, an unused vertex and a face with a corner at NaN.
    AddTables(mesh, {{3, 0, 0}, {4, 0, 0}, {5, 0, 0}, {9, 9, 9}, {std::nan(""), 0, 0}, {0, 6, 0}, {0, 7, 0}},
              {{0, 1, 2}, {4, 5, 6}});

    mesh.RemeshPreservingShape(0.7 * 0.1);

    const unsigned int vertexCount = mesh.m_Vertices.GetCount();
    std::vector<char> used(vertexCount, 0);
    unsigned int nanVertices = 0;
    bool endKept = false;
    for (unsigned int i = 0; i < 3 * mesh.m_Faces.GetCount(); ++i) {
        const auto* c = mesh.m_Faces[i / 3].m_Corners;
        ASSERT_LT(c[i % 3], vertexCount);
        ASSERT_NE(c[i % 3], c[(i + 1) % 3]) << "face " << i / 3;
        used[c[i % 3]] = 1;
    }
    for (unsigned int v = 0; v < vertexCount; ++v) {
        EXPECT_TRUE(used[v]) << "vertex " << v << " is unused";
        const TVector3<double> p = Position(mesh, v);
        nanVertices += std::isnan(p.x);
        endKept |= p == nonManifoldEnd;
    }
    EXPECT_EQ(nanVertices, 1u);
    EXPECT_TRUE(endKept) << "a vertex of the non-manifold edge moved";
    EXPECT_GT(mesh.m_Faces.GetCount(), 2000u);
    EXPECT_TRUE(MatchesLibraryRebuild(mesh));
}

}  // namespace
