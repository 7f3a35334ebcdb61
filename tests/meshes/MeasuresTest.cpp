#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef TMesh<float, TVertexPNC<float>, CA16, unsigned short> FloatMesh;

const double Pi = 3.14159265358979323846;

struct Exact {
    long double area = 0;
    long double volume = 0;
};

// Area and volume of the polyhedron from its raw positions, in long double,
// with the tetrahedra taken from an off-centre point rather than the origin.
template <typename M>
Exact ExactMeasures(const M& mesh) {
    Exact e;
    const long double r[3] = {0.3L, -0.2L, 0.1L};
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        long double p[3][3];
        for (int k = 0; k < 3; ++k) {
            const auto& q = mesh.m_Vertices[mesh.m_Faces[f].m_Corners[k]].m_Position;
            p[k][0] = q.x;
            p[k][1] = q.y;
            p[k][2] = q.z;
        }
        long double a[3], b[3], c[3];
        for (int i = 0; i < 3; ++i) {
            a[i] = p[0][i] - p[2][i];
            b[i] = p[1][i] - p[2][i];
            c[i] = p[2][i] - r[i];
        }
        const long double n[3] = {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
        e.area += std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]) / 2;
        e.volume += (n[0] * c[0] + n[1] * c[1] + n[2] * c[2]) / 6;
    }
    return e;
}

TEST(Measures, VolumeAndAreaMatchClosedForms) {
    Mesh box;
    MakeBox(box, 2, 3, 5);
    box += TVector3<double>(-7, 4, 11);
    EXPECT_NEAR(box.GetVolume(), 30.0, 1e-10);
    EXPECT_NEAR(box.GetSurfaceArea(), 62.0, 1e-12);
    box.ReverseWindingOrder();
    EXPECT_NEAR(box.GetVolume(), -30.0, 1e-10);

    // Area of only the faces whose whole attribute matches: the two triangles
    // of the top face carry 3, a side carries 1 | 2 as well.
    box.AllocateFaceAttributeBuffer();
    box.ResetAttributes();
    box.m_FaceAttributes[2] = box.m_FaceAttributes[3] = CA8(3);
    box.m_FaceAttributes[4] = CA8(3 | 4);
    CA8 top(3);
    EXPECT_NEAR(box.GetSurfaceArea(top), 6.0, 1e-12);
    EXPECT_NEAR(box.GetSurfaceArea(CA8(3 | 4)), 5.0, 1e-12);

    for (unsigned int levels : {2u, 4u}) {
        const double radius = 1.5;
        Mesh sphere;
        MakeIcosphere(sphere, levels, radius);
        const Exact exact = ExactMeasures(sphere);
        EXPECT_NEAR(sphere.GetSurfaceArea(), double(exact.area), 1e-12 * double(exact.area));
        EXPECT_NEAR(sphere.GetVolume(), double(exact.volume), 1e-12 * double(exact.volume));
        // The inscribed polyhedron approaches the sphere from below.
        const double area = 4 * Pi * radius * radius, volume = 4 * Pi * radius * radius * radius / 3;
        const double slack = levels == 2 ? 0.05 : 0.005;
        EXPECT_LT(sphere.GetSurfaceArea(), area);
        EXPECT_GT(sphere.GetSurfaceArea(), area * (1 - slack));
        EXPECT_LT(sphere.GetVolume(), volume);
        EXPECT_GT(sphere.GetVolume(), volume * (1 - slack));

        FloatMesh single;
        MakeIcosphere(single, levels, radius);
        // Against its own rounded positions; the float sums drift a little.
        const Exact rounded = ExactMeasures(single);
        EXPECT_NEAR(single.GetSurfaceArea(), double(rounded.area), 1e-4 * double(rounded.area));
        EXPECT_NEAR(single.GetVolume(), double(rounded.volume), 1e-4 * double(rounded.volume));
    }

    Mesh torus;
    MakeTorus(torus, 96, 48, 2, 0.5);
    const double torusVolume = 2 * Pi * Pi * 2 * 0.25, torusArea = 4 * Pi * Pi * 2 * 0.5;
    EXPECT_LT(torus.GetVolume(), torusVolume);
    EXPECT_GT(torus.GetVolume(), 0.99 * torusVolume);
    EXPECT_NEAR(torus.GetSurfaceArea(), torusArea, 0.01 * torusArea);
}

TEST(Measures, CentreOfMassIsTheSolidsCentroid) {
    // A tetrahedron's solid centroid is its vertex mean.
    Mesh tetra;
    MakeTetrahedron(tetra);
    tetra += TVector3<double>(5, -3, 7);
    TVector3<double> c;
    tetra.CentreOfMass(&c);
    EXPECT_NEAR(c.x, 5.25, 1e-12);
    EXPECT_NEAR(c.y, -2.75, 1e-12);
    EXPECT_NEAR(c.z, 7.25, 1e-12);
    // Both sums change sign with the winding.
    tetra.ReverseWindingOrder();
    tetra.CentreOfMass(&c);
    EXPECT_NEAR(c.x, 5.25, 1e-12);

    // Two disjoint solids: the volume-weighted centroid, which is not the
    // vertex mean that serves as reference point.
    Mesh pair;
    MakeBox(pair, 2, 2, 2);
    Mesh small;
    MakeTetrahedron(small);
    small += TVector3<double>(10, 0, 0);
    pair.Append(small);
    const double vBox = 8, vTet = 1.0 / 6;
    const double x = (vBox * 1 + vTet * 10.25) / (vBox + vTet), y = (vBox * 1 + vTet * 0.25) / (vBox + vTet);
    pair.CentreOfMass(&c);
    EXPECT_NEAR(c.x, x, 1e-12);
    EXPECT_NEAR(c.y, y, 1e-12);
    EXPECT_NEAR(c.z, y, 1e-12);

    // No faces: 0 / 0 on every component.
    Mesh empty;
    AddVertex(empty, 1, 2, 3);
    empty.CentreOfMass(&c);
    EXPECT_TRUE(std::isnan(c.x) && std::isnan(c.y) && std::isnan(c.z));
}

TEST(Measures, CentresAndBoxesCountOnlyWhatTheyShould) {
    Mesh mesh;
    MakeTetrahedron(mesh);
    AddVertex(mesh, 100, 100, 100);  // used by no face
    const TVector3<double> used = mesh.GetCentre(false), all = mesh.GetCentre(true);
    EXPECT_EQ(used, TVector3<double>(0.25, 0.25, 0.25));
    EXPECT_NEAR(all.x, 101.0 / 5, 1e-12);

    mesh.DetermineBoundingBox(false);
    EXPECT_EQ(mesh.m_BoundingBox.m_Max, TVector3<double>(1, 1, 1));
    mesh.DetermineBoundingBox(true);
    EXPECT_EQ(mesh.m_BoundingBox.m_Max, TVector3<double>(100, 100, 100));
    EXPECT_EQ(mesh.m_BoundingBox.m_Min, TVector3<double>(0, 0, 0));

    const TVector3<double> centre = mesh.GetFaceCentre(3);
    EXPECT_NEAR(centre.x, 1.0 / 3, 1e-15);
    EXPECT_NEAR(centre.z, 1.0 / 3, 1e-15);

    Mesh loose;
    AddVertex(loose, 4, 4, 4);
    EXPECT_EQ(loose.GetCentre(false), TVector3<double>(0, 0, 0));
    Mesh empty;
    EXPECT_EQ(empty.GetCentre(true), TVector3<double>(0, 0, 0));
    empty.m_BoundingBox.Extend(TVector3<double>(1, 1, 1));
    empty.DetermineBoundingBox(true);
    const double big = 3.4028234663852886e38;
    EXPECT_EQ(empty.m_BoundingBox.m_Min, TVector3<double>(big, big, big));
    EXPECT_EQ(empty.m_BoundingBox.m_Max, TVector3<double>(-big, -big, -big));
}

TEST(Measures, PrincipalAxesFollowTheVertexScatter) {
    // A 4 x 2 x 1 box turned by 30 degrees about z.
    Mesh box;
    MakeBox(box, 4, 2, 1);
    const double a = Pi / 6;
    box *= TMatrix3x3<double>(std::cos(a), std::sin(a), 0, -std::sin(a), std::cos(a), 0, 0, 0, 1);
    TVector3<double> major, middle, minor;
    ASSERT_TRUE(box.DeterminePrincipalAxes(&major, &middle, &minor));
    EXPECT_NEAR(std::fabs(major % TVector3<double>(std::cos(a), std::sin(a), 0)), 1.0, 1e-9);
    EXPECT_NEAR(std::fabs(middle % TVector3<double>(-std::sin(a), std::cos(a), 0)), 1.0, 1e-9);
    EXPECT_NEAR(std::fabs(minor.z), 1.0, 1e-9);

    // A cube's scatter has three equal values: minor gets vector 0, middle
    // ends with vector 2 and major is left as it was.
    Mesh cube;
    MakeBox(cube);
    TVector3<double> vectors[3];
    double eigen[3];
    ASSERT_TRUE(TMatrix3x3<double>(2, 0, 0, 0, 2, 0, 0, 0, 2).Eigenspace(eigen, vectors));
    const TVector3<double> untouched(7, 7, 7);
    major = untouched;
    ASSERT_TRUE(cube.DeterminePrincipalAxes(&major, &middle, &minor));
    EXPECT_EQ(major, untouched);
    EXPECT_EQ(minor, vectors[0]);
    EXPECT_EQ(middle, vectors[2]);

    // A non-finite scatter makes the solver fail; the outputs stay.
    AddVertex(cube, std::numeric_limits<double>::infinity(), 0, 0);
    minor = middle = untouched;
    EXPECT_FALSE(cube.DeterminePrincipalAxes(&major, &middle, &minor));
    EXPECT_EQ(minor, untouched);
    EXPECT_EQ(middle, untouched);
}

TEST(Measures, EdgeLengthsAndTheFaceCountMean) {
    Mesh box;
    MakeBox(box, 1, 2, 3);
    EXPECT_DOUBLE_EQ(box.GetMinEdgeLength(), 1.0);
    EXPECT_DOUBLE_EQ(box.GetMaxEdgeLength(), std::sqrt(13.0));

    // The deviations from the shortest edge are divided by the number of
    // faces, not of edges, so the result is m + 3 * (true mean - m).
    double sum = 0;
    const unsigned int faces = box.m_Faces.GetCount();
    for (unsigned int f = 0; f < faces; ++f)
        for (int k = 0; k < 3; ++k) {
            const auto& p = box.m_Vertices[box.m_Faces[f].m_Corners[k]].m_Position;
            const auto& q = box.m_Vertices[box.m_Faces[f].m_Corners[(k + 1) % 3]].m_Position;
            sum += std::sqrt((p.x - q.x) * (p.x - q.x) + (p.y - q.y) * (p.y - q.y) + (p.z - q.z) * (p.z - q.z));
        }
    const double mean = sum / (3 * faces), m = 1.0;
    EXPECT_NEAR(box.GetMeanEdgeLength(), m + 3 * (mean - m), 1e-12);

    // All edges equal: exactly that length.
    Mesh regular;
    AddVertex(regular, 1, 1, 1);
    AddVertex(regular, 1, -1, -1);
    AddVertex(regular, -1, 1, -1);
    AddVertex(regular, -1, -1, 1);
    AddFace(regular, 0, 1, 2);
    AddFace(regular, 0, 3, 1);
    AddFace(regular, 0, 2, 3);
    AddFace(regular, 1, 3, 2);
    EXPECT_EQ(regular.GetMeanEdgeLength(), regular.GetMinEdgeLength());
    EXPECT_DOUBLE_EQ(regular.GetMaxEdgeLength(), std::sqrt(8.0));

    // No faces: the sentinels show through.
    FloatMesh empty;
    EXPECT_FLOAT_EQ(empty.GetMinEdgeLength(), std::sqrt(std::numeric_limits<float>::max()));
    EXPECT_TRUE(std::isnan(empty.GetMaxEdgeLength()));
    EXPECT_TRUE(std::isnan(empty.GetMeanEdgeLength()));
    EXPECT_EQ(empty.GetVolume(), 0.0f);
    EXPECT_EQ(empty.GetSurfaceArea(), 0.0f);
    Mesh emptyDouble;
    EXPECT_DOUBLE_EQ(emptyDouble.GetMinEdgeLength(), std::sqrt(std::numeric_limits<double>::max()));
}

}  // namespace
