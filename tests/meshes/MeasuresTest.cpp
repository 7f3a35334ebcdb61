#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef TMesh<float, TVertexPNC<float>, CA16, unsigned short> FloatMesh;
typedef TVector3<double> V;

// Area and volume of the polyhedron from its raw positions, in long double,
// with the tetrahedra taken from an off-centre point rather than the origin.
template <typename M>
std::pair<double, double> ExactMeasures(const M& mesh) {
    typedef TVector3<long double> L;
    const L apex(0.3L, -0.2L, 0.1L);
    long double area = 0, volume = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        L p[3];
        for (int k = 0; k < 3; ++k) {
            const auto& q = mesh.m_Vertices[mesh.m_Faces[f].m_Corners[k]].m_Position;
            p[k] = L(q.x, q.y, q.z);
        }
        const L n = (p[0] - p[2]) * (p[1] - p[2]);
        area += n.GetLength() / 2;
        volume += n % (p[2] - apex) / 6;
    }
    return {double(area), double(volume)};
}

TEST(Measures, VolumeAndAreaMatchClosedForms) {
    Mesh box;
    MakeBox(box, 2, 3, 5);
    box += V(-7, 4, 11);
    EXPECT_NEAR(box.GetVolume(), 30.0, 1e-10);
    EXPECT_NEAR(box.GetSurfaceArea(), 62.0, 1e-12);
    box.ReverseWindingOrder();
    EXPECT_NEAR(box.GetVolume(), -30.0, 1e-10);

    // Area of only the faces whose whole attribute matches: the two triangles
    // of the top face carry 3, a side triangle carries 3 | 4.
    box.AllocateFaceAttributeBuffer();
    box.ResetAttributes();
    box.m_FaceAttributes[2] = box.m_FaceAttributes[3] = CA8(3);
    box.m_FaceAttributes[4] = CA8(3 | 4);
    CA8 top(3);
    EXPECT_NEAR(box.GetSurfaceArea(top), 6.0, 1e-12);
    EXPECT_NEAR(box.GetSurfaceArea(CA8(3 | 4)), 5.0, 1e-12);

    // The inscribed polyhedron approaches the sphere from below.
    const double radius = 1.5, area = 4 * Pi * radius * radius, volume = area * radius / 3;
    Mesh sphere;
    MakeIcosphere(sphere, 4, radius);
    const std::pair<double, double> exact = ExactMeasures(sphere);
    EXPECT_NEAR(sphere.GetSurfaceArea(), exact.first, 1e-12 * exact.first);
    EXPECT_NEAR(sphere.GetVolume(), exact.second, 1e-12 * exact.second);
    EXPECT_TRUE(exact.first < area && exact.first > area * 0.995);
    EXPECT_TRUE(exact.second < volume && exact.second > volume * 0.995);
}

TEST(Measures, CentreOfMassIsTheSolidsCentroid) {
    // A tetrahedron's solid centroid is its vertex mean, whichever the
    // winding (both sums change sign).
    Mesh tetra, pair, small, empty;
    MakeTetrahedron(tetra);
    tetra += V(5, -3, 7);
    V c;
    for (int pass = 0; pass < 2; ++pass, tetra.ReverseWindingOrder()) {
        tetra.CentreOfMass(&c);
        EXPECT_LT(c.DiffVectLen(V(5.25, -2.75, 7.25)), 1e-12);
    }

    // Two disjoint solids: the volume-weighted centroid, which is not the
    // vertex mean that serves as reference point.
    MakeBox(pair, 2, 2, 2);
    MakeTetrahedron(small);
    small += V(10, 0, 0);
    pair.Append(small);
    const double vBox = 8, vTet = 1.0 / 6, y = (vBox * 1 + vTet * 0.25) / (vBox + vTet);
    pair.CentreOfMass(&c);
    EXPECT_LT(c.DiffVectLen(V((vBox * 1 + vTet * 10.25) / (vBox + vTet), y, y)), 1e-12);

    // No faces: 0 / 0 on every component.
    AddVertex(empty, 1, 2, 3);
    empty.CentreOfMass(&c);
    EXPECT_TRUE(std::isnan(c.x) && std::isnan(c.y) && std::isnan(c.z));
}

TEST(Measures, CentresAndBoxesCountOnlyWhatTheyShould) {
    Mesh mesh, empty;
    MakeTetrahedron(mesh);
    AddVertex(mesh, 100, 100, 100);  // used by no face
    EXPECT_EQ(mesh.GetCentre(false), V(0.25, 0.25, 0.25));
    EXPECT_NEAR(mesh.GetCentre(true).x, 101.0 / 5, 1e-12);
    for (const bool all : {false, true}) {
        mesh.DetermineBoundingBox(all);
        EXPECT_EQ(mesh.m_BoundingBox.m_Max, all ? V(100, 100, 100) : V(1, 1, 1));
    }
    // Nothing to count: a zero centre and the reset box, whatever was there.
    EXPECT_EQ(empty.GetCentre(true), V(0, 0, 0));
    empty.m_BoundingBox.Extend(V(1, 1, 1));
    empty.DetermineBoundingBox(true);
    EXPECT_EQ(empty.m_BoundingBox.m_Max.x, -3.4028234663852886e38);
}

TEST(Measures, PrincipalAxesFollowTheVertexScatter) {
    // A 4 x 2 x 1 box turned by 30 degrees about z.
    Mesh box;
    MakeBox(box, 4, 2, 1);
    const double a = Pi / 6;
    box *= TMatrix3x3<double>(std::cos(a), std::sin(a), 0, -std::sin(a), std::cos(a), 0, 0, 0, 1);
    V major, middle, minor;
    ASSERT_TRUE(box.DeterminePrincipalAxes(&major, &middle, &minor));
    EXPECT_NEAR(std::fabs(major % V(std::cos(a), std::sin(a), 0)), 1.0, 1e-9);
    EXPECT_NEAR(std::fabs(middle % V(-std::sin(a), std::cos(a), 0)), 1.0, 1e-9);
    EXPECT_NEAR(std::fabs(minor.z), 1.0, 1e-9);

    // A cube's scatter has three equal values: minor gets vector 0, middle
    // ends with vector 2 and major is left as it was.
    Mesh cube;
    MakeBox(cube);
    V vectors[3];
    double eigen[3];
    ASSERT_TRUE(TMatrix3x3<double>(2, 0, 0, 0, 2, 0, 0, 0, 2).Eigenspace(eigen, vectors));
    const V untouched(7, 7, 7);
    major = untouched;
    ASSERT_TRUE(cube.DeterminePrincipalAxes(&major, &middle, &minor));
    EXPECT_TRUE(major == untouched && minor == vectors[0] && middle == vectors[2]);

    // A non-finite scatter makes the solver fail; the outputs stay.
    AddVertex(cube, std::numeric_limits<double>::infinity(), 0, 0);
    minor = middle = untouched;
    EXPECT_FALSE(cube.DeterminePrincipalAxes(&major, &middle, &minor));
    EXPECT_TRUE(minor == untouched && middle == untouched);
}

TEST(Measures, EdgeLengthsAndTheFaceCountMean) {
    Mesh box;
    MakeBox(box, 1, 2, 3);
    EXPECT_DOUBLE_EQ(box.GetMinEdgeLength(), 1.0);
    EXPECT_DOUBLE_EQ(box.GetMaxEdgeLength(), std::sqrt(13.0));

    // The deviations from the shortest edge are divided by the number of
    // faces, not of edges, so the result is m + 3 * (true mean - m). Each
    // side a x b gives two triangles of edges a, b and the diagonal.
    const double sum = 4 * (1 + 2 + 1 + 3 + 2 + 3 + std::sqrt(5.0) + std::sqrt(10.0) + std::sqrt(13.0));
    EXPECT_NEAR(box.GetMeanEdgeLength(), 1.0 + 3 * (sum / 36 - 1.0), 1e-12);

    // No faces: the sentinels show through.
    FloatMesh empty;
    EXPECT_FLOAT_EQ(empty.GetMinEdgeLength(), std::sqrt(std::numeric_limits<float>::max()));
    EXPECT_TRUE(std::isnan(empty.GetMaxEdgeLength()) && std::isnan(empty.GetMeanEdgeLength()));
    EXPECT_TRUE(empty.GetVolume() == 0.0f && empty.GetSurfaceArea() == 0.0f);
    EXPECT_DOUBLE_EQ(Mesh().GetMinEdgeLength(), std::sqrt(std::numeric_limits<double>::max()));
}

}  // namespace
