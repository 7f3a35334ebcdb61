// The C++ side of the Python overhead benchmark (bench/python/run.py).
//   bench_python_remesh write OUTPUT.ply [FACES]
//       writes the scan-like bumpy sphere of bench/peers at about FACES faces;
//   bench_python_remesh time INPUT.ply
//       times one run each of the same remesh from C++:
//       library   the mesh filled from arrays, RemeshPreservingShape, the
//                 result copied out (what a C++ caller of the library writes);
//       pipeline  the preparation of `quorvel remesh` around the same call
//                 (weld, drop repeated and duplicate faces, orient, unit
//                 scale), which Mesh.remesh also runs;
//       and prints wall and processor seconds of each. run.py alternates these
//       runs with the Python ones so that both meet the same machine load.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "../peers/ScanLikeMesh.h"
#include "commands/CommandSupport.h"
#include "core/MeshRepair.h"
#include "core/MeshTopology.h"
#include "core/Preparation.h"
#include "core/ToolMesh.h"
#include "io/MeshFormats.h"

using namespace Corvane::Pellix::Quorvel;
using namespace Corvane::Pellix::Quorvel::Tool;

namespace {

CMeshData Generate(int faces) {
    return PeerBench::Generate(PeerBench::BumpySphere, -1.3, 1.3, static_cast<std::size_t>(faces));
}

double Seconds(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Positions and faces as flat arrays, the form numpy hands over.
struct CArrays {
    std::vector<double> m_Positions;
    std::vector<unsigned int> m_Faces;
};

CArrays ToArrays(const CMeshData& mesh) {
    CArrays a;
    for (const Point& p : mesh.m_Positions)
        a.m_Positions.insert(a.m_Positions.end(), {p.x, p.y, p.z});
    for (const Triangle& t : mesh.m_Triangles)
        a.m_Faces.insert(a.m_Faces.end(), {t[0], t[1], t[2]});
    return a;
}

CArrays Library(const CArrays& in, double target) {
    ToolMesh mesh;
    mesh.SetUseExponentialGrowth(true);
    const unsigned int n = static_cast<unsigned int>(in.m_Positions.size() / 3);
    const unsigned int m = static_cast<unsigned int>(in.m_Faces.size() / 3);
    mesh.m_Vertices.Expand(n);
    for (unsigned int i = 0; i < n; ++i)
        mesh.m_Vertices[i] = TVertexPN<double>(
            Point(in.m_Positions[3 * i], in.m_Positions[3 * i + 1], in.m_Positions[3 * i + 2]), Point());
    mesh.m_Faces.Expand(m);
    for (unsigned int i = 0; i < m; ++i)
        mesh.m_Faces[i] = ToolMesh::Face(in.m_Faces[3 * i], in.m_Faces[3 * i + 1], in.m_Faces[3 * i + 2]);
    mesh.DetermineBoundingBox(true);
    mesh.RemeshPreservingShape(target);
    CArrays out;
    for (unsigned int i = 0; i < mesh.m_Vertices.GetCount(); ++i) {
        const Point& p = mesh.m_Vertices[i].m_Position;
        out.m_Positions.insert(out.m_Positions.end(), {p.x, p.y, p.z});
    }
    for (unsigned int i = 0; i < mesh.m_Faces.GetCount(); ++i)
        for (int k = 0; k < 3; ++k)
            out.m_Faces.push_back(mesh.m_Faces[i].m_Corners[k]);
    return out;
}

CMeshData Pipeline(const CMeshData& original) {
    CMeshData input = original;
    CPreparation changes;
    PrepareForRemesh(input, false, changes);
    const int exponent = UnitScaleExponent(input, false);
    ScaleByPowerOfTwo(input, exponent);
    const double target = TrueMeanEdgeLength(input);
    ToolMesh mesh;
    LoadIntoMesh(input, mesh);
    mesh.RemeshPreservingShape(target);
    CMeshData result = ExtractFromMesh(mesh);
    ScaleByPowerOfTwo(result, -exponent);
    DropRepeatedCornerFaces(result, changes.m_Degenerate);
    DropUnusedVertices(result, changes.m_Unused);
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 2 ? argv[1] : "";
    if (mode == "write") {
        WriteMeshFile(argv[2], Generate(argc > 3 ? std::atoi(argv[3]) : 50000), EEncoding::Binary);
        return 0;
    }
    if (mode != "time") {
        std::fprintf(stderr, "usage: %s write OUTPUT.ply [FACES] | time INPUT.ply\n", argv[0]);
        return 2;
    }
    const CMeshData mesh = ReadMeshFile(argv[2]);
    const CArrays arrays = ToArrays(mesh);
    const double target = TrueMeanEdgeLength(mesh);

    // One untimed run first: the timed ones then find the heap grown, as the
    // Python runs (in one long-lived process) do.
    Library(arrays, target);
    auto start = std::chrono::steady_clock::now();
    std::clock_t cpu = std::clock();
    const CArrays out = Library(arrays, target);
    const double libraryCpu = double(std::clock() - cpu) / CLOCKS_PER_SEC, library = Seconds(start);
    start = std::chrono::steady_clock::now();
    cpu = std::clock();
    const std::size_t facesOut = Pipeline(mesh).m_Triangles.size();
    const double pipelineCpu = double(std::clock() - cpu) / CLOCKS_PER_SEC, pipeline = Seconds(start);
    std::printf("faces_in %zu\nfaces_out %zu\nlibrary %.4f\npipeline %.4f\nlibrary_cpu %.4f\npipeline_cpu %.4f\n",
                mesh.m_Triangles.size(), facesOut, library, pipeline, libraryCpu, pipelineCpu);
    return out.m_Faces.empty() ? 1 : 0;
}
