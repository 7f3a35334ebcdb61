// Ray casting against a closed mesh of about 82k faces (icosphere, 6 levels).
// Both queries are brute-force loops over every face, so one ray costs one
// pass over the face list; the figures are rays per second.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;
using Corvane::Pellix::Sarvetta::TLine3;

typedef TMesh<float, TVertexPN<float>, CA8, unsigned int> Mesh;
typedef TVector3<float> V;

Mesh& Sphere() {
    static Mesh* sphere = [] {
        Mesh* mesh = new Mesh;
        MakeIcosphere(*mesh, 6);
        mesh->DetermineBoundingBox(true);
        return mesh;
    }();
    return *sphere;
}

V RandomPoint(std::mt19937& random, float extent) {
    std::uniform_real_distribution<float> uniform(-extent, extent);
    return V(uniform(random), uniform(random), uniform(random));
}

// Lines from outside the sphere towards points near its centre: most hit.
void IntersectWithNearest(benchmark::State& state) {
    const Mesh& mesh = Sphere();
    std::mt19937 random(1);
    std::vector<TLine3<float>> lines;
    for (int i = 0; i < 64; ++i) {
        V origin = RandomPoint(random, 1);
        origin.Normalise();
        origin *= 3.0f;
        lines.emplace_back(origin, RandomPoint(random, 0.5f) - origin);
    }
    V hit;
    size_t i = 0;
    for (auto _ : state) {
        const bool found = mesh.IntersectWith(lines[i++ % lines.size()], &hit, 0.0f);
        benchmark::DoNotOptimize(found);
        benchmark::DoNotOptimize(hit);
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["faces"] = mesh.m_Faces.GetCount();
}
BENCHMARK(IntersectWithNearest)->Unit(benchmark::kMicrosecond);

// Points in a cube around the centre, inside and (near its corners) outside
// the sphere. A call casts rays until one meets no face ambiguously, so the
// rays each point takes are counted once beforehand from the generator's
// position after the call.
void IsWithinPoint(benchmark::State& state) {
    const Mesh& mesh = Sphere();
    std::vector<int> sequence;
    srand(0);
    for (int i = 0; i <= 2000; ++i)
        sequence.push_back(rand());

    std::mt19937 random(2);
    std::vector<V> points;
    std::vector<int> rays;
    for (int i = 0; i < 64; ++i) {
        points.push_back(RandomPoint(random, 0.8f));
        mesh.IsWithin(points.back());
        const int next = rand();
        int used = 1000;
        for (int r = 0; r <= 1000; ++r)
            if (sequence[2 * r] == next) {
                used = r;
                break;
            }
        rays.push_back(used);
    }

    size_t i = 0;
    int64_t cast = 0;
    for (auto _ : state) {
        const size_t k = i++ % points.size();
        const bool within = mesh.IsWithin(points[k]);
        benchmark::DoNotOptimize(within);
        cast += rays[k];
    }
    state.SetItemsProcessed(cast);
    state.counters["faces"] = mesh.m_Faces.GetCount();
}
BENCHMARK(IsWithinPoint)->Unit(benchmark::kMicrosecond);

}  // namespace
