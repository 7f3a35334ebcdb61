// The key sort behind batch queries and Morton trees: keys of random points,
// as many as the first argument, on as many threads as the second. Below the
// size from which the sort shares its passes, both thread counts run the
// same one-thread sort; above it, the second thread must pay for the cache
// lines the threads share at every digit.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <cstdint>
#include <random>
#include <vector>

#include "quorvel/meshes/queries/QueryOrder.h"

namespace {

void SortByKey(benchmark::State& state) {
    const std::size_t count = std::size_t(state.range(0));
    std::mt19937 random(3);
    std::uniform_int_distribution<std::uint32_t> key(0, (1u << 30) - 1);
    std::vector<std::uint32_t> keys(count), order(count);
    for (std::uint32_t& k : keys)
        k = key(random);
    const int saved = omp_get_max_threads();
    omp_set_num_threads(int(state.range(1)));
    for (auto _ : state) {
        Corvane::Pellix::Quorvel::detail::SortByKey(keys.data(), count, order.data());
        benchmark::DoNotOptimize(order.data());
    }
    omp_set_num_threads(saved);
    state.SetItemsProcessed(state.iterations() * std::int64_t(count));
}
BENCHMARK(SortByKey)
    ->ArgsProduct({{50000, 200000, 500000, 1 << 20, 4 << 20}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
