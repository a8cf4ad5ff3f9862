// Whole-surface sharp edges, curvature and ten smoothing passes on a noisy
// torus of about a million triangles, in a one-thread arena and in the default arena.

#include <benchmark/benchmark.h>
#include <oneapi/tbb/task_arena.h>

#include <geometry/connectivity.h>
#include <geometry/fields.h>

#include "meshgen.h"

namespace {

using Zelkov::Geometry::triangle_surface;

const triangle_surface& noisy_torus()
{
    static const triangle_surface surface =
        Zelkov::Meshgen::jittered(Zelkov::Meshgen::torus_with_about(1'000'000), 1e-4, 11);
    return surface;
}

template <class Work>
void run_in_arena(benchmark::State& state, Work&& work)
{
    const int threads = static_cast<int>(state.range(0));
    oneapi::tbb::task_arena arena(threads == 0 ? oneapi::tbb::task_arena::automatic : threads);
    for (auto _ : state) arena.execute(work);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(noisy_torus().triangles.size()));
    state.SetLabel(threads == 0 ? "default arena" : "1 thread");
}

void BM_is_sharp_edge_whole_surface(benchmark::State& state)
{
    run_in_arena(state, [] { benchmark::DoNotOptimize(Zelkov::Geometry::is_sharp_edge(noisy_torus(), 30.0, true)); });
}

void BM_curvature(benchmark::State& state)
{
    const auto map = Zelkov::Geometry::get_vertex_to_triangles_map(noisy_torus());
    run_in_arena(state, [&] { benchmark::DoNotOptimize(Zelkov::Geometry::curvature(noisy_torus(), map)); });
}

void BM_smooth_scalar_field_10(benchmark::State& state)
{
    const auto& surface = noisy_torus();
    const auto map = Zelkov::Geometry::get_vertex_to_triangles_map(surface);
    std::vector<double> field(surface.vertices.size());
    for (std::size_t v = 0; v < field.size(); ++v) field[v] = surface.vertices[v].z;
    run_in_arena(state,
                 [&] { benchmark::DoNotOptimize(Zelkov::Geometry::smooth_scalar_field(surface, field, map, 10)); });
}

BENCHMARK(BM_is_sharp_edge_whole_surface)
    ->Arg(1)
    ->Arg(0)
    ->ArgName("threads")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_curvature)->Arg(1)->Arg(0)->ArgName("threads")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_smooth_scalar_field_10)->Arg(1)->Arg(0)->ArgName("threads")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
