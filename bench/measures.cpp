// Whole-surface measures and the principal frame on a generated closed mesh of
// about two million triangles. All of them run serially on the calling thread.

#include <benchmark/benchmark.h>

#include <geometry/measures.h>

#include "meshgen.h"

namespace {

const Zelkov::Geometry::triangle_surface& large_torus()
{
    static const auto surface = Zelkov::Meshgen::torus_with_about(2'000'000);
    return surface;
}

void report_per_triangle(benchmark::State& state, const Zelkov::Geometry::triangle_surface& surface)
{
    state.counters["ns_per_triangle"] =
        benchmark::Counter(static_cast<double>(surface.triangles.size()),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_area(benchmark::State& state)
{
    const auto& surface = large_torus();
    for (auto _ : state) benchmark::DoNotOptimize(Zelkov::Geometry::area(surface));
    report_per_triangle(state, surface);
}

void BM_barycenter(benchmark::State& state)
{
    const auto& surface = large_torus();
    for (auto _ : state) benchmark::DoNotOptimize(Zelkov::Geometry::barycenter(surface));
    report_per_triangle(state, surface);
}

void BM_inertia(benchmark::State& state)
{
    const auto& surface = large_torus();
    for (auto _ : state) benchmark::DoNotOptimize(Zelkov::Geometry::inertia(surface));
    report_per_triangle(state, surface);
}

BENCHMARK(BM_area)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_barycenter)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_inertia)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
