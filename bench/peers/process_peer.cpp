// A whole remeshing process with CGAL, to time beside a whole `quorvel remesh`
// process on the same file: read an OFF or PLY file, remesh it with CGAL's
// isotropic remeshing to the input's mean edge length (5 iterations, vertices
// projected back onto the input, as the tool's default method does), write
// the result (binary PLY, or OFF by the output's extension). It links CGAL
// and nothing of quorvel, so its start-up is CGAL's own. An optional third
// argument R remeshes to R times the mean edge length instead, as the tool's
// --relative R.
//
// Usage: bench_peers_process IN.(off|ply) OUT.(off|ply) [R]
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/IO/polygon_mesh_io.h>
#include <CGAL/Polygon_mesh_processing/measure.h>
#include <CGAL/Polygon_mesh_processing/remesh.h>
#include <CGAL/Surface_mesh.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

typedef CGAL::Exact_predicates_inexact_constructions_kernel Kernel;
typedef CGAL::Surface_mesh<Kernel::Point_3> Mesh;

}  // namespace

int main(int argc, char** argv) {
    const double relative = argc == 4 ? std::atof(argv[3]) : 1.0;
    if ((argc != 3 && argc != 4) || !(relative > 0)) {
        std::fprintf(stderr, "usage: %s IN.(off|ply) OUT.(off|ply) [R]\n", argv[0]);
        return 2;
    }
    namespace PMP = CGAL::Polygon_mesh_processing;
    Mesh mesh;
    // The soup reader repairs what it must (orientation, non-manifold
    // vertices) before building the mesh, as the tool repairs its input.
    if (!PMP::IO::read_polygon_mesh(std::string(argv[1]), mesh) || mesh.is_empty() || !CGAL::is_triangle_mesh(mesh)) {
        std::fprintf(stderr, "%s: cannot read a triangle mesh\n", argv[1]);
        return 2;
    }
    double total = 0;
    for (const Mesh::Edge_index e : mesh.edges())
        total += PMP::edge_length(e, mesh);
    const double target = relative * total / static_cast<double>(mesh.number_of_edges());
    PMP::isotropic_remeshing(faces(mesh), target, mesh, CGAL::parameters::number_of_iterations(5).do_project(true));
    mesh.collect_garbage();
    if (!CGAL::IO::write_polygon_mesh(std::string(argv[2]), mesh, CGAL::parameters::use_binary_mode(true))) {
        std::fprintf(stderr, "%s: cannot write\n", argv[2]);
        return 2;
    }
    return 0;
}
