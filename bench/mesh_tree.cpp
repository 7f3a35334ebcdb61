// The mesh tree on a closed mesh of about 82k faces (icosphere, 6 levels,
// double precision): build time, and queries per second of each kind, the
// batch forms on 1 and 2 threads. bench/queries.cpp times the mesh's own
// brute-force queries on the same sphere; the twins here give the same
// answers.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <memory>
#include <random>
#include <vector>

#include "MeshFixtures.h"
#include "quorvel/meshes/queries/TMeshTree.h"

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Sarvetta::TLine3;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> Mesh;
typedef TMeshTree<double, TVertexPN<double>, CA8, unsigned int> Tree;
typedef TVector3<double> V;

constexpr std::size_t QueryCount = 4096;

const Mesh& Sphere() {
    static const Mesh* sphere = [] {
        Mesh* mesh = new Mesh;
        MakeIcosphere(*mesh, 6);
        mesh->DetermineBoundingBox(true);
        return mesh;
    }();
    return *sphere;
}

const Tree& SphereTree() {
    static const Tree* tree = new Tree(Sphere());
    return *tree;
}

V RandomPoint(std::mt19937& random, double extent) {
    std::uniform_real_distribution<double> uniform(-extent, extent);
    return V(uniform(random), uniform(random), uniform(random));
}

// Lines from outside the sphere towards points near its centre: most hit.
const std::vector<TLine3<double>>& Lines() {
    static const std::vector<TLine3<double>> lines = [] {
        std::mt19937 random(1);
        std::vector<TLine3<double>> result;
        for (std::size_t i = 0; i < QueryCount; ++i) {
            V origin = RandomPoint(random, 1);
            origin.Normalise();
            origin *= 3.0;
            result.emplace_back(origin, RandomPoint(random, 0.5) - origin);
        }
        return result;
    }();
    return lines;
}

// Points in the sphere's box: about half inside.
const std::vector<V>& Points() {
    static const std::vector<V> points = [] {
        std::mt19937 random(2);
        std::vector<V> result;
        for (std::size_t i = 0; i < QueryCount; ++i)
            result.push_back(RandomPoint(random, 1));
        return result;
    }();
    return points;
}

void Build(benchmark::State& state) {
    const Mesh& mesh = Sphere();
    for (auto _ : state) {
        Tree tree(mesh);
        benchmark::DoNotOptimize(tree.GetFaceCount());
    }
    state.SetItemsProcessed(state.iterations() * mesh.m_Faces.GetCount());
    state.counters["faces"] = mesh.m_Faces.GetCount();
}
BENCHMARK(Build)->Unit(benchmark::kMillisecond);

void NearestHit(benchmark::State& state) {
    const Tree& tree = SphereTree();
    const auto& lines = Lines();
    V hit;
    std::size_t i = 0;
    for (auto _ : state) {
        const bool found = tree.IntersectWith(lines[i++ % lines.size()], &hit, 0.0);
        benchmark::DoNotOptimize(found);
        benchmark::DoNotOptimize(hit);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(NearestHit)->Unit(benchmark::kMicrosecond);

void IsWithinTwin(benchmark::State& state) {
    const Tree& tree = SphereTree();
    const auto& points = Points();
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(tree.IsWithin(points[i++ % points.size()]));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(IsWithinTwin)->Unit(benchmark::kMicrosecond);

void ContainsByWindingNumber(benchmark::State& state) {
    const Tree& tree = SphereTree();
    const auto& points = Points();
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(tree.Contains(points[i++ % points.size()]));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ContainsByWindingNumber)->Unit(benchmark::kMicrosecond);

void ClosestPoint(benchmark::State& state) {
    const Tree& tree = SphereTree();
    const auto& points = Points();
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(tree.FindClosestPoint(points[i++ % points.size()]));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ClosestPoint)->Unit(benchmark::kMicrosecond);

void ClosestVertexTwin(benchmark::State& state) {
    const Tree& tree = SphereTree();
    const auto& points = Points();
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(tree.FindClosestVertex(points[i++ % points.size()]));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ClosestVertexTwin)->Unit(benchmark::kMicrosecond);

// Batch forms over all QueryCount queries; the argument is the thread count.
void BatchNearestHit(benchmark::State& state) {
    const Tree& tree = SphereTree();
    const auto& lines = Lines();
    std::vector<TLineHit<double>> hits(lines.size());
    omp_set_num_threads(int(state.range(0)));
    for (auto _ : state)
        tree.IntersectNearest(lines.data(), lines.size(), hits.data(), 0.0);
    state.SetItemsProcessed(state.iterations() * lines.size());
}
BENCHMARK(BatchNearestHit)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

void BatchIsWithin(benchmark::State& state) {
    const Tree& tree = SphereTree();
    const auto& points = Points();
    std::unique_ptr<bool[]> results(new bool[points.size()]);
    omp_set_num_threads(int(state.range(0)));
    for (auto _ : state)
        tree.IsWithin(points.data(), points.size(), results.get());
    state.SetItemsProcessed(state.iterations() * points.size());
}
BENCHMARK(BatchIsWithin)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

void BatchContains(benchmark::State& state) {
    const Tree& tree = SphereTree();
    const auto& points = Points();
    std::unique_ptr<bool[]> results(new bool[points.size()]);
    omp_set_num_threads(int(state.range(0)));
    for (auto _ : state)
        tree.Contains(points.data(), points.size(), results.get());
    state.SetItemsProcessed(state.iterations() * points.size());
}
BENCHMARK(BatchContains)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

void BatchClosestPoint(benchmark::State& state) {
    const Tree& tree = SphereTree();
    const auto& points = Points();
    std::vector<CSurfacePoint> results(points.size());
    omp_set_num_threads(int(state.range(0)));
    for (auto _ : state)
        tree.FindClosestPoints(points.data(), points.size(), results.data());
    state.SetItemsProcessed(state.iterations() * points.size());
}
BENCHMARK(BatchClosestPoint)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
