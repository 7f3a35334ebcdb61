// Remeshing beside CGAL: for each generated input (a bumpy sphere and a bumpy
// torus extracted by marching tetrahedra, at the face counts given on the
// command line), the same target length (the input's mean edge length) and 5
// iterations, four runs:
//   preserve    TMesh::RemeshPreservingShape with its default options
//   exact       TMesh::Remesh (the designed remesh), connectivity built first, then DiscardVertices
//   cgal        CGAL::Polygon_mesh_processing::isotropic_remeshing, do_project(false)
//   cgal-proj   the same with do_project(true)
// and one table row each: faces, wall-clock seconds, speed relative to
// cgal-proj, and the quality figures of the command-line tool's report.
//
// With --stand-ins the inputs are instead the test suite's procedural
// stand-ins for the kinds of real input the shape-preserving remesh finds
// hardest (CAD tessellations with sharp features and long thin faces, organic
// figures with thin limbs and tight folds, noisy kept boundaries), each run
// by preserve and cgal-proj only.
//
// Usage: bench_peers_remesh [--relative R] [--repeat N] [--stand-ins [--only NAME] [--no-peer]] [--dump DIR]
//                           [FACES ...]
//   FACES       input sizes (default: 50000 500000)
//   --relative  target = R times the input's mean edge length (default 1)
//   --repeat    run every method N times and report the fastest (default 1)
//   --stand-ins the stand-ins instead of the generated sizes
//   --only      only the stand-ins whose name contains NAME
//   --no-peer   preserve alone, without CGAL (speed then reads 1.00x): the
//               quick loop while working on one stand-in
//   --dump      also write every input and result to DIR as OFF files
//               (NAME-input.off, NAME-METHOD.off), for `quorvel compare`
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/remesh.h>
#include <CGAL/Surface_mesh.h>
#include <omp.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "MeshFixtures.h"
#include "Quorvel.h"
#include "ScanLikeMesh.h"
#include "core/MeshTopology.h"
#include "io/MeshFormats.h"
#include "report/MeshStatistics.h"
#include "report/SurfaceDistance.h"

namespace {

using namespace Corvane::Pellix::Quorvel;
using Tool::CMeshData;
using Tool::CMeshStatistics;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef CGAL::Exact_predicates_inexact_constructions_kernel Kernel;
typedef CGAL::Surface_mesh<Kernel::Point_3> CgalMesh;

// Samples per surface for the distance figure, as the tool's remesh report.
constexpr std::size_t DistanceSamples = 200000;
constexpr unsigned int Iterations = 5;
// Where --dump writes the meshes; empty: nowhere.
std::string DumpFolder;

class CRun {
public:
    std::string m_Method;
    CMeshData m_Result;
    double m_Seconds = 0;
};

double Seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Lists sized up front: growing them by the default step would copy the
// whole list every thousand elements.
void Load(const CMeshData& data, Mesh& mesh) {
    mesh.SetUseExponentialGrowth(true);
    for (const Tool::Point& p : data.m_Positions)
        mesh.m_Vertices.Add(TVertexPN<double>(p, TVector3<double>()));
    for (const Tool::Triangle& t : data.m_Triangles)
        mesh.m_Faces.Add(TFace<unsigned int>(t[0], t[1], t[2]));
}

CMeshData Extract(const Mesh& mesh) {
    CMeshData data;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        data.m_Positions.push_back(mesh.m_Vertices[v].m_Position);
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        data.m_Triangles.push_back(
            Tool::Triangle{mesh.m_Faces[f].m_Corners[0], mesh.m_Faces[f].m_Corners[1], mesh.m_Faces[f].m_Corners[2]});
    return data;
}

CRun RunPreserve(const CMeshData& input, double target) {
    Mesh mesh;
    Load(input, mesh);
    CRun run;
    run.m_Method = "preserve";
    run.m_Seconds = Seconds([&] { mesh.RemeshPreservingShape(target); });
    run.m_Result = Extract(mesh);
    return run;
}

CRun RunExact(const CMeshData& input, double target) {
    Mesh mesh;
    Load(input, mesh);
    CRun run;
    run.m_Method = "exact";
    run.m_Seconds = Seconds([&] {
        mesh.AssignFaceConnectivity(true);
        mesh.AssignVertexConnectivity(true);
        mesh.Remesh(target);
        mesh.DiscardVertices();
    });
    run.m_Result = Extract(mesh);
    return run;
}

CRun RunCgal(const CMeshData& input, double target, bool project) {
    CgalMesh mesh;
    std::vector<CgalMesh::Vertex_index> vertices;
    vertices.reserve(input.m_Positions.size());
    for (const Tool::Point& p : input.m_Positions)
        vertices.push_back(mesh.add_vertex(Kernel::Point_3(p.x, p.y, p.z)));
    for (const Tool::Triangle& t : input.m_Triangles)
        mesh.add_face(vertices[t[0]], vertices[t[1]], vertices[t[2]]);
    CRun run;
    run.m_Method = project ? "cgal-proj" : "cgal";
    run.m_Seconds = Seconds([&] {
        CGAL::Polygon_mesh_processing::isotropic_remeshing(
            faces(mesh), target, mesh, CGAL::parameters::number_of_iterations(Iterations).do_project(project));
    });
    mesh.collect_garbage();
    for (const CgalMesh::Vertex_index v : mesh.vertices()) {
        const Kernel::Point_3& p = mesh.point(v);
        run.m_Result.m_Positions.push_back(Tool::Point(p.x(), p.y(), p.z()));
    }
    for (const CgalMesh::Face_index f : mesh.faces()) {
        Tool::Triangle t;
        int k = 0;
        for (const CgalMesh::Vertex_index v : vertices_around_face(mesh.halfedge(f), mesh))
            t[k++] = v.idx();
        run.m_Result.m_Triangles.push_back(t);
    }
    return run;
}

double Diagonal(const CMeshData& mesh) {
    Corvane::Pellix::Sarvetta::TBox<double> box(3.4028234663852886e38);
    for (const Tool::Point& p : mesh.m_Positions)
        box.Extend(p);
    return (box.m_Max - box.m_Min).GetLength();
}

void PrintHeader() {
    std::printf("%-10s %9s %9s %8s %7s %7s %8s %7s %9s %10s\n", "method", "faces in", "faces out", "seconds", "speed",
                "edge cv", "min ang", "val-6", "volume", "hausdorff");
}

void PrintRow(const CRun& run, const CMeshData& input, const CMeshStatistics& before, double reference) {
    const CMeshStatistics after = Tool::MeasureMesh(run.m_Result);
    const double distance = Tool::SampledHausdorffDistance(input, run.m_Result, DistanceSamples) / Diagonal(input);
    std::printf("%-10s %9zu %9zu %8.3f %6.2fx %7.3f %8.2f %7.3f %+8.3f%% %9.4f%%\n", run.m_Method.c_str(),
                input.m_Triangles.size(), run.m_Result.m_Triangles.size(), run.m_Seconds, reference / run.m_Seconds,
                after.m_EdgeVariation, after.m_MinAngle, after.m_RegularShare,
                100 * (after.m_Volume - before.m_Volume) / before.m_Volume, 100 * distance);
    std::fflush(stdout);
}

// The fastest of `repeat` runs (the result of the last).
template <class Method>
CRun Fastest(unsigned int repeat, Method&& method) {
    CRun best = method();
    for (unsigned int i = 1; i < repeat; ++i) {
        CRun run = method();
        run.m_Seconds = std::min(run.m_Seconds, best.m_Seconds);
        best = std::move(run);
    }
    return best;
}

// The input's name in a file name: letters and digits, the rest dashes.
void Dump(const std::string& name, const std::string& what, const CMeshData& mesh) {
    if (DumpFolder.empty())
        return;
    std::string file;
    for (const char c : name)
        file += std::isalnum(static_cast<unsigned char>(c)) ? c : '-';
    Tool::WriteMeshFile(DumpFolder + "/" + file + "-" + what + ".off", mesh, Tool::EEncoding::Text);
}

// every: all four methods; otherwise preserve beside cgal-proj, or alone
// without peer.
void Compare(const std::string& name, const CMeshData& input, double relative, unsigned int repeat, bool every = true,
             bool peer = true) {
    const double target = relative * Tool::TrueMeanEdgeLength(input);
    const CMeshStatistics before = Tool::MeasureMesh(input);
    std::printf(
        "\n%s: %zu vertices, %zu faces, edge cv %.3f, min angle %.2f, target %.6g (%g x its mean edge length)\n",
        name.c_str(), input.m_Positions.size(), input.m_Triangles.size(), before.m_EdgeVariation, before.m_MinAngle,
        target, relative);
    std::vector<CRun> runs;
    runs.push_back(Fastest(repeat, [&] { return RunPreserve(input, target); }));
    Dump(name, "input", input);
    Dump(name, runs.front().m_Method, runs.front().m_Result);
    if (!peer) {
        PrintHeader();
        PrintRow(runs.front(), input, before, runs.front().m_Seconds);
        return;
    }
    const CRun reference = Fastest(repeat, [&] { return RunCgal(input, target, true); });
    if (every) {
        runs.push_back(Fastest(repeat, [&] { return RunExact(input, target); }));
        runs.push_back(Fastest(repeat, [&] { return RunCgal(input, target, false); }));
    }
    for (std::size_t i = 1; i < runs.size(); ++i)
        Dump(name, runs[i].m_Method, runs[i].m_Result);
    Dump(name, reference.m_Method, reference.m_Result);
    PrintHeader();
    for (const CRun& run : runs)
        PrintRow(run, input, before, reference.m_Seconds);
    PrintRow(reference, input, before, reference.m_Seconds);
}

template <class Build>
CMeshData StandIn(Build&& build) {
    Mesh mesh;
    mesh.SetUseExponentialGrowth(true);
    build(mesh);
    return Extract(mesh);
}

void CompareStandIns(double relative, unsigned int repeat, const std::string& only, bool peer) {
    using namespace QuorvelTest;
    const std::pair<const char*, std::function<void(Mesh&)>> standIns[] = {
        {"CAD cylinder", [](Mesh& m) { MakeCadCylinder(m); }},
        {"filleted block", [](Mesh& m) { MakeFilletedBlock(m); }},
        {"CAD blade", [](Mesh& m) { MakeCadBlade(m); }},
        {"pierced block", [](Mesh& m) { MakePiercedBlock(m); }},
        {"blade strip", [](Mesh& m) { MakeBladeStrip(m, 300, 2); }},
        {"limbed figure", [](Mesh& m) { MakeLimbedFigure(m); }},
        {"limbed figure, fine", [](Mesh& m) { MakeLimbedFigure(m, 128); }},
        {"scanned creature", [](Mesh& m) { MakeScannedCreature(m, 5); }},
        {"scanned bone", [](Mesh& m) { MakeScannedBone(m, 5); }},
        {"noisy dense rim, 1 %", [](Mesh& m) { MakeDenseRimCylinder(m, 400, 40, 20, 0.01); }},
        {"noisy cut sphere", [](Mesh& m) { MakeCutSphere(m, 400, 48, 16, 0.08, 0.01); }},
        {"jittered lat-long sphere", [](Mesh& m) { MakeJitteredLatLongSphere(m, 50000); }},
        {"CAD bracket", [](Mesh& m) { MakeCadBracket(m); }},
        {"CAD hex nut", [](Mesh& m) { MakeCadHexNut(m); }},
        {"hull plate", [](Mesh& m) { MakeHullPlate(m); }},
        {"thin plate", [](Mesh& m) { MakeThinPlate(m); }},
        {"spiky sphere", [](Mesh& m) { MakeSpikySphere(m); }},
        {"spiky sphere, fine", [](Mesh& m) { MakeSpikySphere(m, 3, 12, 1.6, 0, 1); }},
        {"sharp cone", [](Mesh& m) { MakeSharpCone(m); }},
        {"three faceted spheres", [](Mesh& m) { MakeThreeSpheres(m); }},
        {"face cut scan", [](Mesh& m) { MakeFaceCutScan(m); }},
    };
    for (const auto& standIn : standIns)
        if (std::string(standIn.first).find(only) != std::string::npos)
            Compare(standIn.first, StandIn(standIn.second), relative, repeat, false, peer);
}

}  // namespace

int Usage(const char* program) {
    std::fprintf(stderr,
                 "usage: %s [--relative R] [--repeat N] [--stand-ins [--only NAME] [--no-peer]] [--dump DIR] [FACES "
                 "...]   (FACES "
                 "at least 1000 each)\n",
                 program);
    return 2;
}

int main(int argc, char** argv) {
    std::vector<std::size_t> sizes;
    double relative = 1;
    unsigned long repeat = 1;
    bool standIns = false;
    bool peer = true;
    std::string only;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        char* end = nullptr;
        if (argument == "--relative" && i + 1 < argc) {
            relative = std::strtod(argv[++i], &end);
            if (*end != '\0' || !(relative > 0))
                return Usage(argv[0]);
        } else if (argument == "--repeat" && i + 1 < argc) {
            repeat = std::strtoul(argv[++i], &end, 10);
            if (*end != '\0' || repeat < 1)
                return Usage(argv[0]);
        } else if (argument == "--stand-ins") {
            standIns = true;
        } else if (argument == "--only" && i + 1 < argc) {
            only = argv[++i];
        } else if (argument == "--no-peer") {
            peer = false;
        } else if (argument == "--dump" && i + 1 < argc) {
            DumpFolder = argv[++i];
        } else {
            const unsigned long long faces = std::strtoull(argv[i], &end, 10);
            if (end == argv[i] || *end != '\0' || faces < 1000)
                return Usage(argv[0]);
            sizes.push_back(faces);
        }
    }
    if (sizes.empty())
        sizes = {50000, 500000};

    std::printf("Remeshing to %g x the input's mean edge length, %u iterations; %d OpenMP threads; CGAL %s;\n"
                "seconds: fastest of %lu. speed: cgal-proj seconds / seconds. volume: change from the input.\n"
                "hausdorff: sampled symmetric distance to the input over the input's bounding-box diagonal.\n",
                relative, Iterations, omp_get_max_threads(), CGAL_VERSION_STR, repeat);
    if (standIns) {
        CompareStandIns(relative, static_cast<unsigned int>(repeat), only, peer);
        return 0;
    }
    for (const std::size_t faces : sizes) {
        Compare("bumpy sphere", PeerBench::Generate(PeerBench::BumpySphere, -1.3, 1.3, faces), relative,
                static_cast<unsigned int>(repeat));
        Compare("bumpy torus", PeerBench::Generate(PeerBench::BumpyTorus, -1.1, 1.1, faces), relative,
                static_cast<unsigned int>(repeat));
    }
    return 0;
}
