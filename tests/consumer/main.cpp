// Both documented entry points: the umbrella header and a header named below
// the project folder.
#include <Quorvel.h>
#include <quorvel/meshes/TMesh.h>
#include <quorvel/meshes/queries/TMeshTree.h>

#include <cmath>
#include <cstdio>

using namespace Corvane::Pellix;

int main() {
    typedef Quorvel::TMesh<double, Quorvel::TVertexPNC<double>, Quorvel::CA16, unsigned short> Mesh;
    Mesh mesh;
    // A unit right-angled tetrahedron, wound outward.
    const double p[4][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    for (auto& q : p)
        mesh.m_Vertices.Add(Quorvel::TVertexPNC<double>(q[0], q[1], q[2], 0, 0, 0, 0u));
    mesh.m_Faces.Add(Quorvel::TFace<unsigned short>(0, 2, 1));
    mesh.m_Faces.Add(Quorvel::TFace<unsigned short>(0, 1, 3));
    mesh.m_Faces.Add(Quorvel::TFace<unsigned short>(0, 3, 2));
    mesh.m_Faces.Add(Quorvel::TFace<unsigned short>(1, 2, 3));

    Mesh copy(mesh);
    Sarvetta::TVector3<double> shift(1, 2, 3);
    copy += shift;
    copy.Append(mesh);

    Sarvetta::TMatrix3x3<double> m;
    Sarvetta::TVector3<double> v(1, 2, 3);
    v *= m;
    const bool ok = copy.m_Vertices.GetCount() == 8 && copy.m_Faces.GetCount() == 8 &&
                    copy.m_Faces[4].m_Corners[0] == 4 && v == Sarvetta::TVector3<double>(1, 2, 3);
    std::printf("consumer: %s\n", ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}
