// get_vertex_to_triangles_map on generated closed meshes, in a one-thread arena
// and in the default arena.

#include <map>

#include <benchmark/benchmark.h>
#include <oneapi/tbb/task_arena.h>

#include <geometry/connectivity.h>

#include "meshgen.h"

namespace {

const Zelkov::Geometry::triangle_surface& torus_of(std::size_t triangles)
{
    static std::map<std::size_t, Zelkov::Geometry::triangle_surface> cache;
    auto it = cache.find(triangles);
    if (it == cache.end()) it = cache.emplace(triangles, Zelkov::Meshgen::torus_with_about(triangles)).first;
    return it->second;
}

void BM_vertex_to_triangles_map(benchmark::State& state)
{
    const auto& surface = torus_of(static_cast<std::size_t>(state.range(0)));
    const int threads = static_cast<int>(state.range(1));
    oneapi::tbb::task_arena arena(threads == 0 ? oneapi::tbb::task_arena::automatic : threads);
    for (auto _ : state) {
        auto map = arena.execute([&] { return Zelkov::Geometry::get_vertex_to_triangles_map(surface); });
        benchmark::DoNotOptimize(map.data());
    }
    state.counters["ns_per_triangle"] =
        benchmark::Counter(static_cast<double>(surface.triangles.size()),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.SetLabel(threads == 0 ? "default arena" : "1 thread");
}

BENCHMARK(BM_vertex_to_triangles_map)
    ->ArgsProduct({{100'000, 2'000'000}, {1, 0}})
    ->ArgNames({"triangles", "threads"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
