// Local edits on large surfaces: a Delaunay relaxation sweep over every edge of
// a noisy grid, and a long refinement by edge splits. Both report edits per
// second; copying the surface and map for each run is not timed.

#include <algorithm>
#include <random>

#include <benchmark/benchmark.h>

#include <geometry/connectivity.h>
#include <geometry/edits.h>

#include "meshgen.h"

namespace {

using namespace Zelkov::Geometry;
using edge = std::array<std::size_t, 2>;

struct prepared_surface {
    triangle_surface surface;
    vertex_to_triangles_map map;
    std::vector<edge> edges;  // every edge once, ends ascending
};

/// A grid of 708 x 708 squares (about 1 M triangles), moved at random by up to
/// 0.3 in each coordinate, with its map and its edges.
const prepared_surface& noisy_grid()
{
    static const prepared_surface prepared = [] {
        prepared_surface p;
        p.surface = Zelkov::Meshgen::jittered(Zelkov::Meshgen::grid(708, 708), 0.3, 42);
        p.map = get_vertex_to_triangles_map(p.surface);
        for (const auto& t : p.surface.triangles)
            for (std::size_t i = 0; i < 3; ++i)
                p.edges.push_back({std::min(t[i], t[(i + 1) % 3]), std::max(t[i], t[(i + 1) % 3])});
        std::sort(p.edges.begin(), p.edges.end());
        p.edges.erase(std::unique(p.edges.begin(), p.edges.end()), p.edges.end());
        return p;
    }();
    return prepared;
}

void BM_relax_sweep(benchmark::State& state)
{
    const auto& grid = noisy_grid();
    std::size_t flips = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto surface = grid.surface;
        auto map = grid.map;
        state.ResumeTiming();
        flips = 0;
        for (const auto& e : grid.edges) flips += relax_edge(e, surface, map) ? 1 : 0;
        benchmark::DoNotOptimize(flips);
    }
    state.counters["edits_per_second"] =
        benchmark::Counter(static_cast<double>(grid.edges.size()), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["flips"] = static_cast<double>(flips);
    state.SetLabel(std::to_string(grid.surface.triangles.size()) + " triangles, " + std::to_string(grid.edges.size()) +
                   " edges");
}

BENCHMARK(BM_relax_sweep)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_split_refinement(benchmark::State& state)
{
    const auto splits = static_cast<std::size_t>(state.range(0));
    const auto start = Zelkov::Meshgen::jittered(Zelkov::Meshgen::grid(100, 100), 0.3, 7);
    const auto start_map = get_vertex_to_triangles_map(start);
    std::size_t triangles = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto surface = start;
        auto map = start_map;
        std::mt19937_64 random(1);
        state.ResumeTiming();
        // The midpoint of a random side of a random triangle, over and over.
        for (std::size_t k = 0; k < splits; ++k) {
            const auto& t = surface.triangles[random() % surface.triangles.size()];
            const std::size_t side = random() % 3;
            benchmark::DoNotOptimize(split_edge({t[side], t[(side + 1) % 3]}, 0.5, surface, map));
        }
        triangles = surface.triangles.size();
    }
    state.counters["edits_per_second"] =
        benchmark::Counter(static_cast<double>(splits), benchmark::Counter::kIsIterationInvariantRate);
    state.SetLabel(std::to_string(start.triangles.size()) + " -> " + std::to_string(triangles) + " triangles");
}

BENCHMARK(BM_split_refinement)->Arg(1'000'000)->ArgName("splits")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
