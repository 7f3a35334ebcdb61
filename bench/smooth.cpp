// Smooth, 10 iterations, on a torus of 1024 x 1024 = 1,048,576 vertices with
// 1 and 2 threads. The 2-thread run reports its speed-up over the 1-thread
// run (which is registered first). The call includes its serial parts: the
// scratch list and the final vertex normals.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <chrono>
#include <map>
#include <memory>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;
typedef TMesh<float, TVertexPN<float>, CA8, unsigned int> Mesh;

Mesh& Input() {
    static std::unique_ptr<Mesh> mesh;
    if (!mesh) {
        mesh = std::make_unique<Mesh>();
        MakeTorus(*mesh, 1024u, 1024u, 2.0, 0.5);
        mesh->AssignVertexConnectivity(true);
        mesh->AssignVertexNormals();
    }
    return *mesh;
}

std::map<int, double> secondsPerCall;

void BM_Smooth(benchmark::State& state) {
    const int threads = static_cast<int>(state.range(0));
    Mesh& mesh = Input();
    const int previous = omp_get_max_threads();
    omp_set_num_threads(threads);

    double total = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        // Positions converge but the work per call does not depend on them.
        mesh.Smooth(10, 0, 0, 0);
        const auto stop = std::chrono::steady_clock::now();
        total += std::chrono::duration<double>(stop - start).count();
        state.SetIterationTime(std::chrono::duration<double>(stop - start).count());
    }
    omp_set_num_threads(previous);

    const double perCall = total / static_cast<double>(state.iterations());
    secondsPerCall[threads] = perCall;
    state.counters["vertices"] = mesh.m_Vertices.GetCount();
    state.counters["threads"] = threads;
    if (threads != 1 && secondsPerCall.count(1) != 0)
        state.counters["speedup"] = secondsPerCall[1] / perCall;
}

// The part of a call that no thread count shortens: the scratch list and
// the final vertex normals. It bounds the speed-up of BM_Smooth.
void BM_SmoothSerialPart(benchmark::State& state) {
    Mesh& mesh = Input();
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        mesh.Smooth(0, 0, 0, 0);
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}

}  // namespace

BENCHMARK(BM_SmoothSerialPart)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(1.0);
BENCHMARK(BM_Smooth)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(2.0);
