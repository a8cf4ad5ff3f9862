// unique_vertices welding the triangle soup of a torus (three points per
// triangle), in a one-thread arena and in the default arena, and one step of
// the angle-limited expand_marked on a closed torus.

#include <map>

#include <benchmark/benchmark.h>
#include <oneapi/tbb/task_arena.h>

#include <geometry/cleanup.h>

#include "meshgen.h"

namespace {

using Zelkov::Geometry::triangle_surface;

const triangle_surface& torus_of(std::size_t triangles)
{
    static std::map<std::size_t, triangle_surface> cache;
    auto it = cache.find(triangles);
    if (it == cache.end()) it = cache.emplace(triangles, Zelkov::Meshgen::torus_with_about(triangles)).first;
    return it->second;
}

const triangle_surface& soup_of(std::size_t triangles)
{
    static std::map<std::size_t, triangle_surface> cache;
    auto it = cache.find(triangles);
    if (it == cache.end()) it = cache.emplace(triangles, Zelkov::Meshgen::soup(torus_of(triangles))).first;
    return it->second;
}

oneapi::tbb::task_arena arena_of(int threads)
{
    return oneapi::tbb::task_arena(threads == 0 ? oneapi::tbb::task_arena::automatic : threads);
}

void per_triangle(benchmark::State& state, std::size_t triangles, int threads)
{
    state.counters["ns_per_triangle"] = benchmark::Counter(
        static_cast<double>(triangles), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.SetLabel(threads == 0 ? "default arena" : "1 thread");
}

void BM_unique_vertices_weld_soup(benchmark::State& state)
{
    const auto& soup = soup_of(static_cast<std::size_t>(state.range(0)));
    const int threads = static_cast<int>(state.range(1));
    auto arena = arena_of(threads);
    triangle_surface surface;
    for (auto _ : state) {
        state.PauseTiming();
        surface = soup;
        state.ResumeTiming();
        auto map = arena.execute([&] { return Zelkov::Geometry::unique_vertices(surface); });
        benchmark::DoNotOptimize(map.data());
    }
    per_triangle(state, soup.triangles.size(), threads);
    state.counters["vertices_after"] = static_cast<double>(surface.vertices.size());
}

void BM_expand_marked_angle_limited(benchmark::State& state)
{
    const auto& surface = torus_of(static_cast<std::size_t>(state.range(0)));
    const int threads = static_cast<int>(state.range(1));
    auto arena = arena_of(threads);
    // Scattered marked triangles, so that the step has work everywhere.
    std::vector<unsigned char> initial(surface.triangles.size());
    for (std::size_t t = 0; t < initial.size(); t += 97) initial[t] = 1;
    std::vector<unsigned char> marks;
    for (auto _ : state) {
        state.PauseTiming();
        marks = initial;
        state.ResumeTiming();
        const bool changed = arena.execute([&] { return Zelkov::Geometry::expand_marked(surface, marks, 1, 0.5); });
        benchmark::DoNotOptimize(changed);
    }
    per_triangle(state, surface.triangles.size(), threads);
}

BENCHMARK(BM_unique_vertices_weld_soup)
    ->ArgsProduct({{1'000'000, 4'000'000}, {1, 0}})
    ->ArgNames({"triangles", "threads"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

BENCHMARK(BM_expand_marked_angle_limited)
    ->ArgsProduct({{1'000'000}, {1, 0}})
    ->ArgNames({"triangles", "threads"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
