#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

// SplitEdges, CollapseEdges and FlipEdges are private members.
#include "MeshInternals.h"

#include "AdjacencyChecks.h"

using namespace QuorvelTest;

namespace {

// Single and double precision (whose limits widen single-precision
// constants), every attribute width and both index widths.
typedef ::testing::Types<
    TMesh<float, TVertexPN<float>, CA8, unsigned short>, TMesh<float, TVertexPNC<float>, CA16, unsigned int>,
    TMesh<double, TVertexPN<double>, CA16, unsigned short>, TMesh<double, TVertexPNC<double>, CA32, unsigned int>>
    MeshTypes;
template <typename Mesh>
class EdgeEdits : public ::testing::Test { };
TYPED_TEST_SUITE(EdgeEdits, MeshTypes);

// The exact orders of the first vertices' lists.
template <typename Mesh>
void ExpectLists(const Mesh& mesh, const std::vector<V>& neighbours, const std::vector<V>& faces) {
    for (unsigned int v = 0; v < neighbours.size(); ++v) {
        EXPECT_EQ(Entries(mesh.m_VertexConnectivity[v]), neighbours[v]) << "vertex " << v;
        EXPECT_EQ(Entries(mesh.m_VertexFaceConnectivity[v]), faces[v]) << "vertex " << v;
    }
}

// A refused edit leaves faces, positions and attributes as they were.
template <typename Mesh>
bool Unchanged(const Mesh& mesh, const Mesh& before) {
    bool same = AllCorners(mesh) == AllCorners(before) && mesh.m_Vertices.GetCount() == before.m_Vertices.GetCount();
    for (unsigned int v = 0; same && v < mesh.m_Vertices.GetCount(); ++v)
        same = mesh.m_Vertices[v].m_Position == before.m_Vertices[v].m_Position &&
               AttributeOf(mesh, v) == AttributeOf(before, v);
    return same;
}

}  // namespace

TYPED_TEST(EdgeEdits, SplitOfOpenAndSharedEdgesPinsFaceAndListOrders) {
    typedef TypeParam Mesh;
    typedef TVector3<RealOf<Mesh>> Vector;
    Mesh open;
    AddTables(open, {{0, 0, 0}, {2, 0, 0}, {1, 0.5, 0}}, {{0, 1, 2}});
    for (unsigned int v = 0; v < 3; ++v) {
        open.m_Vertices[v].m_Normal = Vector(0, 0, 1);
        open.m_Vertices[v].SetColour(0xFF00FF00u);
    }
    PrepareForEditing(open);
    ASSERT_TRUE(CMeshTestAccess::SplitEdges(open, 1));
    ASSERT_EQ(open.m_Vertices.GetCount(), 4u);
    EXPECT_EQ(open.m_Vertices[3].m_Position, Vector(1, 0, 0));
    // The midpoint's normal and colour are zero, not interpolated; it is open.
    EXPECT_EQ(open.m_Vertices[3].m_Normal.GetLength(), 0);
    EXPECT_EQ(ColourOf(open, 3), 0u);
    EXPECT_EQ(AttributeOf(open, 3), 1u);
    EXPECT_EQ(AllCorners(open), (V{0, 3, 2, 3, 1, 2}));
    ExpectLists(open, {{3, 2}, {3, 2}, {0, 1, 3}, {0, 1, 2}}, {{0}, {1}, {0, 1}, {0, 1}});
    EXPECT_TRUE(MatchesRebuild(open));
    EXPECT_FALSE(CMeshTestAccess::SplitEdges(open, 1));

    // a b c d: both faces keep their index and slots, the halves beyond the
    // midpoint are appended (the split face's first); the midpoint lists its
    // neighbours as (a, b, c, d) and its faces as (fi, g, t, u).
    Mesh shared;
    AddTables(shared, {{0, 0, 0}, {2, 0, 0}, {1, 0.6, 0}, {1, -0.6, 0}}, {{0, 1, 2}, {1, 0, 3}});
    PrepareForEditing(shared);
    ASSERT_TRUE(CMeshTestAccess::SplitEdges(shared, 1));
    ASSERT_EQ(shared.m_Vertices.GetCount(), 5u);
    EXPECT_EQ(shared.m_Vertices[4].m_Position, Vector(1, 0, 0));
    EXPECT_EQ(AttributeOf(shared, 4), 0u);
    EXPECT_EQ(AllCorners(shared), (V{0, 4, 2, 1, 4, 3, 4, 1, 2, 4, 0, 3}));
    ExpectLists(shared, {{4, 2, 3}, {4, 2, 3}, {0, 1, 4}, {1, 0, 4}, {0, 1, 2, 3}},
                {{0, 3}, {1, 2}, {0, 2}, {1, 3}, {0, 1, 2, 3}});
    EXPECT_TRUE(MatchesRebuild(shared));
}

TYPED_TEST(EdgeEdits, SplitFinishesAFaceFirstBreaksTiesLowAndHasAStrictLimit) {
    typedef TypeParam Mesh;
    typedef TVector3<RealOf<Mesh>> Vector;
    Mesh mesh;
    AddTables(mesh, {{0, 0, 0}, {4, 0, 0}, {2, 1, 0}}, {{0, 1, 2}});
    PrepareForEditing(mesh);
    // Limit 2 (float) or just above (double): the base halves stay, the
    // slanted sides (sqrt 5) are split. Face 0 is split at its base, then
    // at c-a, before face 1 (its first half) splits b-c.
    ASSERT_TRUE(CMeshTestAccess::SplitEdges(mesh, RealOf<Mesh>(1.5)));
    ASSERT_EQ(mesh.m_Vertices.GetCount(), 6u);
    EXPECT_EQ(mesh.m_Vertices[3].m_Position, Vector(2, 0, 0));
    EXPECT_EQ(mesh.m_Vertices[4].m_Position, Vector(1, 0.5, 0));
    EXPECT_EQ(mesh.m_Vertices[5].m_Position, Vector(3, 0.5, 0));
    EXPECT_EQ(AllCorners(mesh), (V{4, 3, 2, 3, 1, 5, 0, 3, 4, 3, 5, 2}));
    EXPECT_TRUE(MatchesRebuild(mesh));

    // Of two equally long longest edges the lower-numbered one is split.
    Mesh tie;
    AddTables(tie, {{0, 0, 0}, {2, 0, 0}, {1, 2, 0}}, {{0, 1, 2}});
    PrepareForEditing(tie);
    ASSERT_TRUE(CMeshTestAccess::SplitEdges(tie, RealOf<Mesh>(1.6)));
    EXPECT_EQ(tie.m_Vertices[3].m_Position, Vector(1.5, 1, 0));
    EXPECT_EQ(FaceCorners(tie, 0), (V{0, 1, 3}));
    EXPECT_TRUE(MatchesRebuild(tie));

    // The limit is strict and uses the single-precision 4/3: at exactly the
    // limit a double mesh using the exact 4/3 would split.
    const RealOf<Mesh> target = 3, limitLength = target * RealOf<Mesh>(1.3333334f);
    Mesh edge;
    AddTables(edge, {{0, 0, 0}, {0, 0, 0}, {2, 0.1, 0}}, {{0, 1, 2}});
    edge.m_Vertices[1].m_Position.x = limitLength;
    PrepareForEditing(edge);
    EXPECT_FALSE(CMeshTestAccess::SplitEdges(edge, target));
    edge.m_Vertices[1].m_Position.x = std::nextafter(limitLength, RealOf<Mesh>(10));
    EXPECT_TRUE(CMeshTestAccess::SplitEdges(edge, target));
    EXPECT_TRUE(MatchesRebuild(edge));
}

// A 4 x 4 grid of unit squares centred on vertex 12 with its boundary marked
// open. Vertex 13 sits at (dx, 0), so for dx < 1 12-13 is the only short
// edge; it lies in face 13 = (7, 13, 12) as its edge 1 and in face 20 =
// (12, 13, 18) as its edge 0.
template <typename Mesh>
void MakeGridWithShortEdge(Mesh& mesh, RealOf<Mesh> dx) {
    MakeGrid(mesh, 4, 4);
    mesh -= TVector3<RealOf<Mesh>>(2, 2, 0);
    mesh.m_Vertices[13].m_Position.x = dx;
    PrepareForEditing(mesh);
    for (unsigned int v = 0; v < 25; ++v)
        if (v % 5 == 0 || v % 5 == 4 || v / 5 == 0 || v / 5 == 4)
            mesh.m_VertexAttributes[v] = 1;
}

TYPED_TEST(EdgeEdits, CollapseKeepsFirstCornerAtExactMidpointAndHasAStrictLimit) {
    typedef TypeParam Mesh;
    typedef RealOf<Mesh> Real;
    Mesh mesh;
    MakeGridWithShortEdge(mesh, Real(0.3));
    ASSERT_TRUE(CMeshTestAccess::CollapseEdges(mesh, Real(0.625)));

    // Both faces score the same; face 13 comes first and its edge runs from
    // 13 to 12, so 13 survives although it has the higher index.
    EXPECT_EQ(mesh.m_Vertices[13].m_Position, TVector3<Real>((Real(0.3) + Real(0)) * Real(0.5), 0, 0));
    EXPECT_EQ(mesh.m_Vertices[12].m_Position, TVector3<Real>(0, 0, 0));  // left where it was
    EXPECT_EQ(AttributeOf(mesh, 12), 255u);
    EXPECT_EQ(mesh.m_Vertices.GetCount(), 25u);
    V zeroed;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        if (FaceCorners(mesh, f) == V{0, 0, 0})
            zeroed.push_back(f);
    EXPECT_EQ(zeroed, (V{13, 20}));
    EXPECT_TRUE(MatchesRebuild(mesh));

    const Mesh before(mesh);
    EXPECT_FALSE(CMeshTestAccess::CollapseEdges(mesh, Real(0.625)));
    EXPECT_TRUE(Unchanged(mesh, before));

    // Strict limit of target * 0.8f: one step shorter is still above 0.4 in
    // double, so a limit built from the exact 0.8 would keep that edge.
    const Real target = Real(0.5), limitLength = target * Real(0.8f);
    Mesh exact, shorter;
    MakeGridWithShortEdge(exact, limitLength);
    EXPECT_FALSE(CMeshTestAccess::CollapseEdges(exact, target));
    MakeGridWithShortEdge(shorter, std::nextafter(limitLength, Real(0)));
    EXPECT_TRUE(CMeshTestAccess::CollapseEdges(shorter, target));
}

TYPED_TEST(EdgeEdits, CollapseLinkConditionRejectsThirdSharedNeighbour) {
    typedef TypeParam Mesh;
    // Tetrahedron with edge 1-2 short; capping face (1, 2, 3) with vertex 4
    // makes 0, 3 and 4 common neighbours of 1 and 2.
    Mesh tetrahedron, capped;
    const std::vector<std::array<double, 3>> points = {{0, 0, 5}, {0, 0, 0}, {0.1, 0, 0}, {0, 5, 0}, {0.05, 4, 0}};
    AddTables(tetrahedron, {points[0], points[1], points[2], points[3]}, {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}});
    AddTables(capped, points, {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 4}, {2, 3, 4}, {3, 1, 4}});
    PrepareForEditing(tetrahedron);
    PrepareForEditing(capped);
    EXPECT_TRUE(CMeshTestAccess::CollapseEdges(tetrahedron, RealOf<Mesh>(1.25)));
    EXPECT_TRUE(MatchesRebuild(tetrahedron));
    const Mesh before(capped);
    EXPECT_FALSE(CMeshTestAccess::CollapseEdges(capped, RealOf<Mesh>(1.25)));
    EXPECT_TRUE(Unchanged(capped, before));
    EXPECT_TRUE(MatchesRebuild(capped));
}

TYPED_TEST(EdgeEdits, FlipRestoresReversedDiagonalInRegularTorusOnly) {
    typedef TypeParam Mesh;
    Mesh regular, mesh;
    MakeTorus(regular, 6, 5);
    MakeTorus(mesh, 6, 5);
    const V fresh = AllCorners(regular);
    PrepareForEditing(regular);
    // All valences 6: every flip would raise the deviation from 0 to 4.
    EXPECT_FALSE(CMeshTestAccess::FlipEdges(regular));
    EXPECT_EQ(AllCorners(regular), fresh);

    // Quad (2, 1) with the other diagonal: b and c get valence 7, a and d 5.
    const unsigned int a = 1 * 6 + 2, b = a + 1, c = a + 6, d = c + 1, s = 2 * a;
    mesh.m_Faces[s] = typename Mesh::Face(a, b, c);
    mesh.m_Faces[s + 1] = typename Mesh::Face(b, d, c);
    PrepareForEditing(mesh);
    EXPECT_TRUE(CMeshTestAccess::FlipEdges(mesh));
    // Windings and slots come out exactly as the regular torus has them.
    EXPECT_EQ(AllCorners(mesh), fresh);
    EXPECT_TRUE(MatchesRebuild(mesh));
    EXPECT_FALSE(CMeshTestAccess::FlipEdges(mesh));
}

// Faces (0, 1, 2) and (1, 0, 3) on the edge 0-1, the other edges open. A
// valence is the length of a neighbour list, so the lists are padded with
// isolated vertices 4, 5, ... to the requested valences.
template <typename Mesh>
void MakePaddedPair(Mesh& mesh, const std::array<unsigned int, 4>& valences) {
    AddTables(mesh, {{0, 0, 0}, {2, 0, 0}, {1, 1, 0}, {1, -1, 0}}, {{0, 1, 2}, {1, 0, 3}});
    for (int i = 0; i < 10; ++i)
        AddVertex(mesh, 5 + i, 5, 0);
    PrepareForEditing(mesh);
    for (unsigned int v = 0; v < 4; ++v)
        for (unsigned int pad = 4; mesh.m_VertexConnectivity[v].GetCount() < valences[v]; ++pad)
            mesh.m_VertexConnectivity[v].Add(pad);
}

TYPED_TEST(EdgeEdits, FlipLowersTheValenceDeviationAndRewiresAllTables) {
    // Targets are 6 inside and 4 for open vertices (bit 0 alone decides).
    // 4, 10, 3, 3 drops from 38 to 26 and flips. 3, 10, 3, 3 would drop from
    // 43 to 33 but leave an end with valence 2, with either end. 5, 5, 2, 2
    // with c and d open stays at 10 and equality keeps the edge; inner it flips.
    const struct {
        std::array<unsigned int, 4> valences;
        unsigned int attributeC, attributeD;
        bool flips;
    } cases[] = {{{4, 10, 3, 3}, 0, 0, true},
                 {{3, 10, 3, 3}, 0, 0, false},
                 {{10, 3, 3, 3}, 0, 0, false},
                 {{5, 5, 2, 2}, 1, 255, false},
                 {{5, 5, 2, 2}, 2, 254, true}};
    for (const auto& c : cases) {
        TypeParam mesh;
        MakePaddedPair(mesh, c.valences);
        mesh.m_VertexAttributes[2] = c.attributeC;
        mesh.m_VertexAttributes[3] = c.attributeD;
        EXPECT_EQ(CMeshTestAccess::FlipEdges(mesh), c.flips);
        EXPECT_EQ(AllCorners(mesh), c.flips ? (V{0, 3, 2, 1, 2, 3}) : (V{0, 1, 2, 1, 0, 3}));
        if (c.valences[0] != 4)
            continue;
        EXPECT_EQ(Neighbours(mesh, 0), (V{None, 1, None}));
        EXPECT_EQ(Neighbours(mesh, 1), (V{None, 0, None}));
        // A removed neighbour is replaced by the last entry, a removed face
        // keeps the order; additions append.
        ExpectLists(mesh, {{4, 2, 3}, {10, 2, 3, 4, 5, 6, 7, 8, 9}, {0, 1, 4, 3}, {1, 0, 4, 2}},
                    {{0}, {1}, {0, 1}, {1, 0}});
    }
}

TYPED_TEST(EdgeEdits, SplitFlipCollapseKeepAClosedSurfaceInStep) {
    typedef TypeParam Mesh;
    typedef RealOf<Mesh> Real;
    Mesh sphere;
    MakeIcosphere(sphere, 1);
    sphere.m_Vertices[3].m_Position *= Real(1.4);  // break the symmetry
    PrepareForEditing(sphere);
    ASSERT_TRUE(CMeshTestAccess::SplitEdges(sphere, Real(0.25)));
    ASSERT_TRUE(MatchesRebuild(sphere));
    EXPECT_EQ(ClosedEuler(sphere), 2);
    ASSERT_TRUE(CMeshTestAccess::FlipEdges(sphere));
    ASSERT_TRUE(MatchesRebuild(sphere));
    ASSERT_TRUE(CMeshTestAccess::CollapseEdges(sphere, Real(0.3)));
    ASSERT_TRUE(MatchesRebuild(sphere));
    EXPECT_EQ(ClosedEuler(sphere), 2);
    unsigned int removed = 0;
    for (unsigned int v = 0; v < sphere.m_Vertices.GetCount(); ++v)
        removed += AttributeOf(sphere, v) == 255;
    EXPECT_GT(removed, 10u);
    EXPECT_TRUE(CMeshTestAccess::FlipEdges(sphere));
    EXPECT_TRUE(MatchesRebuild(sphere));
    EXPECT_EQ(ClosedEuler(sphere), 2);

    // An open patch with its rim marked open, whose faces have open slots.
    Mesh patch;
    MakeGridWithShortEdge(patch, Real(1));
    ASSERT_TRUE(CMeshTestAccess::SplitEdges(patch, Real(0.6)));
    ASSERT_TRUE(MatchesRebuild(patch));
    ASSERT_TRUE(CMeshTestAccess::FlipEdges(patch));
    EXPECT_TRUE(MatchesRebuild(patch));
}
