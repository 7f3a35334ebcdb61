// Cost of building the adjacency tables on closed meshes of about 100k and
// 1M faces. The figure to watch is time_per_face: it should hardly change
// between the two sizes, since every builder only looks at the faces around
// each corner.
#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <utility>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;

enum Shape { Torus = 0, Icosphere = 1 };

// Meshes are built once per shape and size and shared by all runs. One
// build up front gives the outer tables their capacity, which later builds
// keep; BM_AssignConnectivityFreshMesh measures the first build instead.
Mesh& SharedMesh(Shape shape, unsigned int size) {
    static std::map<std::pair<int, unsigned int>, std::unique_ptr<Mesh>> meshes;
    std::unique_ptr<Mesh>& slot = meshes[std::make_pair(int(shape), size)];
    if (!slot) {
        slot = std::make_unique<Mesh>();
        if (shape == Torus)
            MakeTorus(*slot, size, size / 2);  // size * size faces
        else
            MakeIcosphere(*slot, size);  // 20 * 4^size faces
        slot->AssignFaceConnectivity(true);
        slot->AssignVertexConnectivity(true);
    }
    return *slot;
}

// time_per_face is the CPU time of one iteration divided by the face count
// (printed in seconds with an SI prefix, e.g. 180ns), which is steadier than
// wall time on a shared machine.
void Report(benchmark::State& state, const Mesh& mesh) {
    const double faces = mesh.m_Faces.GetCount();
    state.counters["faces"] = faces;
    state.counters["time_per_face"] =
        benchmark::Counter(faces, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// The reallocating builds, as a caller that rebuilds after an edit runs them.
void BM_AssignConnectivity(benchmark::State& state) {
    Mesh& mesh = SharedMesh(Shape(state.range(0)), unsigned(state.range(1)));
    for (auto _ : state) {
        mesh.AssignFaceConnectivity(true);
        mesh.AssignVertexConnectivity(true);
        benchmark::ClobberMemory();
    }
    Report(state, mesh);
}

// The reusing builds on tables that already hold one list per vertex.
void BM_ReassignConnectivity(benchmark::State& state) {
    Mesh& mesh = SharedMesh(Shape(state.range(0)), unsigned(state.range(1)));
    for (auto _ : state) {
        mesh.AssignVertexFaceConnectivity(false);
        mesh.AssignFaceConnectivity(false);
        mesh.AssignVertexConnectivity(false);
        benchmark::ClobberMemory();
    }
    Report(state, mesh);
}

// A freshly constructed mesh each time: the outer tables start without
// capacity. Exponential growth, the caller's choice, keeps their growth linear.
void BM_AssignConnectivityFreshMesh(benchmark::State& state) {
    Mesh& source = SharedMesh(Shape(state.range(0)), unsigned(state.range(1)));
    const bool exponential = state.range(2) != 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<Mesh> mesh(new Mesh);
        mesh->m_Vertices = source.m_Vertices;
        mesh->m_Faces = source.m_Faces;
        mesh->SetUseExponentialGrowth(exponential);
        state.ResumeTiming();
        mesh->AssignFaceConnectivity(true);
        mesh->AssignVertexConnectivity(true);
        benchmark::ClobberMemory();
        state.PauseTiming();
        mesh.reset();
        state.ResumeTiming();
    }
    Report(state, source);
}

// Torus 316 x 158 (~100k faces) and 1000 x 500 (1M); icosphere levels 6
// (82k) and 8 (1.3M).
void Sizes(benchmark::internal::Benchmark* b) {
    b->Args({Torus, 316})->Args({Torus, 1000})->Args({Icosphere, 6})->Args({Icosphere, 8});
    b->Unit(benchmark::kMillisecond)->MinTime(2.0);
}

void FreshSizes(benchmark::internal::Benchmark* b) {
    for (int exponential = 0; exponential <= 1; ++exponential)
        b->Args({Torus, 316, exponential})->Args({Torus, 1000, exponential});
    b->Unit(benchmark::kMillisecond)->Iterations(3);
}

}  // namespace

BENCHMARK(BM_AssignConnectivity)->Apply(Sizes);
BENCHMARK(BM_ReassignConnectivity)->Apply(Sizes);
BENCHMARK(BM_AssignConnectivityFreshMesh)->Apply(FreshSizes);
