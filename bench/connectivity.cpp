// Whole-surface connectivity passes on a closed torus of about a million
// triangles, in a one-thread arena and in the default arena.

#include <sstream>

#include <benchmark/benchmark.h>
#include <oneapi/tbb/task_arena.h>

#include <geometry/connectivity.h>

#include "meshgen.h"

namespace {

using Zelkov::Geometry::triangle_surface;
using Zelkov::Geometry::vertex_to_triangles_map;

struct million {
    triangle_surface surface = Zelkov::Meshgen::torus_with_about(1'000'000);
    vertex_to_triangles_map map = Zelkov::Geometry::get_vertex_to_triangles_map(surface);
};

const million& mesh()
{
    static const million instance;
    return instance;
}

/// Runs `pass` in the arena given by the second argument (1 thread or the
/// default) and reports the time per triangle.
template <class Pass>
void run(benchmark::State& state, Pass pass)
{
    const auto& m = mesh();
    const int threads = static_cast<int>(state.range(0));
    oneapi::tbb::task_arena arena(threads == 0 ? oneapi::tbb::task_arena::automatic : threads);
    for (auto _ : state) arena.execute([&] { pass(m); });
    state.counters["ns_per_triangle"] =
        benchmark::Counter(static_cast<double>(m.surface.triangles.size()),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.SetLabel(threads == 0 ? "default arena" : "1 thread");
}

void BM_triangle_neighbour_indices(benchmark::State& state)
{
    run(state, [](const million& m) {
        auto lists = Zelkov::Geometry::triangle_neighbour_indices(m.surface, m.map);
        benchmark::DoNotOptimize(lists.data());
    });
}

void BM_is_manifold(benchmark::State& state)
{
    run(state,
        [](const million& m) { benchmark::DoNotOptimize(Zelkov::Geometry::is_manifold(m.surface, m.map, true)); });
}

void BM_investigate(benchmark::State& state)
{
    run(state, [](const million& m) {
        std::ostringstream stream;
        Zelkov::Geometry::investigate(m.surface, m.map, stream);
        benchmark::DoNotOptimize(stream.str().size());
    });
}

BENCHMARK(BM_triangle_neighbour_indices)
    ->Arg(1)
    ->Arg(0)
    ->ArgName("threads")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_is_manifold)->Arg(1)->Arg(0)->ArgName("threads")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_investigate)->Arg(1)->Arg(0)->ArgName("threads")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
