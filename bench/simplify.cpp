// The quadric simplification's collapse step, from a closed generated
// mesh to half its triangles: the whole step (cache, quadrics, queue,
// collapses, compaction) in a one-thread arena and in the default arena, with
// the time of each stage as a counter.

#include <chrono>
#include <map>
#include <string>

#include <benchmark/benchmark.h>
#include <oneapi/tbb/task_arena.h>

#include <geometry/cleanup.h>

#include <processing/simplify.h>

#include "meshgen.h"

namespace {

using Zelkov::Geometry::triangle_surface;

const triangle_surface& plain_torus()
{
    static const triangle_surface plain = Zelkov::Meshgen::torus_with_about(1'000'000);
    return plain;
}

const triangle_surface& torus(bool shuffle)
{
    if (!shuffle) return plain_torus();
    static const triangle_surface mixed = Zelkov::Meshgen::shuffled(plain_torus(), 7);
    return mixed;
}

void simplify_to_half(benchmark::State& state)
{
    const triangle_surface& input = torus(state.range(0) != 0);
    oneapi::tbb::task_arena arena(state.range(1) == 1 ? 1 : oneapi::tbb::task_arena::automatic);
    Zelkov::Processing::collapse_options options;
    options.target_triangles = input.triangles.size() / 2;
    // Milliseconds per stage, summed over the iterations, from the progress events.
    std::map<std::string, double> stage_ms;
    std::string stage;
    std::chrono::steady_clock::time_point started;
    const auto time_stages = [&](const Zelkov::Processing::progress_event& e) {
        if (e.fraction == 0.0) {
            stage = e.stage;
            started = std::chrono::steady_clock::now();
        } else if (e.fraction == 1.0) {
            stage_ms[stage] +=
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started).count();
        }
        return true;
    };
    std::size_t after = 0;
    for (auto _ : state) {
        state.PauseTiming();
        triangle_surface s = input;
        state.ResumeTiming();
        arena.execute([&] {
            after = Zelkov::Processing::collapse_by_quadrics(s, options, {}, time_stages).triangles_after;
            Zelkov::Geometry::remove_free_points(s);
        });
    }
    for (const auto& [name, ms] : stage_ms) state.counters[name] = ms / static_cast<double>(state.iterations());
    state.counters["triangles after"] = static_cast<double>(after);
    state.SetItemsProcessed(state.iterations() * static_cast<long>(input.triangles.size()));
}

}  // namespace

// Arguments: shuffled (0/1), threads (1 = one thread, 0 = default arena).
BENCHMARK(simplify_to_half)->ArgsProduct({{0, 1}, {1, 0}})->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
