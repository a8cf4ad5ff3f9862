// The neighbourhood cache on generated closed meshes: construction in a
// one-thread arena and in the default arena, with the memory it takes, and a
// run of edge collapses down to a tenth of the triangles.

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <map>
#include <new>
#include <queue>
#include <vector>

#include <benchmark/benchmark.h>
#include <oneapi/tbb/task_arena.h>

#include <geometry/neighbourhood_cache.h>

#include "shortest_edge_policy.h"

#include "meshgen.h"

// ---------------------------------------------------------------- heap accounting
// Every operator new of the program, the library's included, passes through
// these counters, so that the cache's peak and resident memory can be read.

namespace {

std::atomic<std::size_t> heap_in_use{0};
std::atomic<std::size_t> heap_peak{0};

void* counted_allocation(std::size_t size)
{
    void* p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) throw std::bad_alloc();
    const std::size_t now =
        heap_in_use.fetch_add(malloc_usable_size(p), std::memory_order_relaxed) + malloc_usable_size(p);
    std::size_t peak = heap_peak.load(std::memory_order_relaxed);
    while (now > peak && !heap_peak.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {}
    return p;
}

void counted_release(void* p) noexcept
{
    if (p == nullptr) return;
    heap_in_use.fetch_sub(malloc_usable_size(p), std::memory_order_relaxed);
    std::free(p);
}

}  // namespace

void* operator new(std::size_t size) { return counted_allocation(size); }
void* operator new[](std::size_t size) { return counted_allocation(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return counted_allocation(size);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* p) noexcept { counted_release(p); }
void operator delete[](void* p) noexcept { counted_release(p); }
void operator delete(void* p, std::size_t) noexcept { counted_release(p); }
void operator delete[](void* p, std::size_t) noexcept { counted_release(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { counted_release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { counted_release(p); }

namespace {

using Zelkov::Geometry::neighbourhood_cache;
using Zelkov::Geometry::triangle_surface;
using clock_type = std::chrono::steady_clock;

const triangle_surface& torus_of(std::size_t triangles)
{
    static std::map<std::size_t, triangle_surface> cache;
    auto it = cache.find(triangles);
    if (it == cache.end()) it = cache.emplace(triangles, Zelkov::Meshgen::torus_with_about(triangles)).first;
    return it->second;
}

void BM_construction(benchmark::State& state)
{
    auto surface = torus_of(static_cast<std::size_t>(state.range(0)));
    const int threads = static_cast<int>(state.range(1));
    oneapi::tbb::task_arena arena(threads == 0 ? oneapi::tbb::task_arena::automatic : threads);
    const auto triangles = static_cast<double>(surface.triangles.size());
    double peak = 0, resident = 0;
    for (auto _ : state) {
        const std::size_t base = heap_in_use.load();
        heap_peak.store(base);
        arena.execute([&] {
            const neighbourhood_cache cache(surface, {});
            resident = static_cast<double>(heap_in_use.load() - base);
            benchmark::DoNotOptimize(cache.vertex_corners.data());
        });
        peak = static_cast<double>(heap_peak.load() - base);
    }
    state.counters["ns_per_triangle"] =
        benchmark::Counter(triangles, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["peak_bytes_per_triangle"] = peak / triangles;
    state.counters["resident_bytes_per_triangle"] = resident / triangles;
    state.SetLabel(threads == 0 ? "default arena" : "1 thread");
}

BENCHMARK(BM_construction)
    ->ArgsProduct({{1'000'000, 4'000'000}, {1, 0}})
    ->ArgNames({"triangles", "threads"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// ---------------------------------------------------------------- collapses

/// Simplifies to a tenth of the triangles, then replays the same collapses
/// on a fresh cache: the first time includes the caller's queue and link
/// test, the replay is `collapse_edge` alone.
void BM_collapse_to_tenth(benchmark::State& state)
{
    const auto& original = torus_of(static_cast<std::size_t>(state.range(0)));
    const std::size_t target = original.triangles.size() / 10;
    double simplify_seconds = 0, replay_seconds = 0, collapses = 0;
    for (auto _ : state) {
        auto surface = original;
        neighbourhood_cache cache(surface, {});
        Zelkov::Bench::shortest_edge_policy simplifier(surface, cache);
        auto start = clock_type::now();
        const auto sequence = simplifier.run(target);
        simplify_seconds += std::chrono::duration<double>(clock_type::now() - start).count();

        auto again = original;
        neighbourhood_cache fresh(again, {});
        start = clock_type::now();
        for (const auto& step : sequence)
            benchmark::DoNotOptimize(fresh.collapse_edge({step.triangle, step.edge_code}));
        const double replay = std::chrono::duration<double>(clock_type::now() - start).count();
        replay_seconds += replay;
        state.SetIterationTime(replay);
        collapses += static_cast<double>(sequence.size());
        if (fresh.vertex_triangle_sets.size() != 0) state.SkipWithError("a collapse left the plain path");
    }
    state.counters["collapses"] = collapses / static_cast<double>(state.iterations());
    state.counters["collapses_per_s"] = collapses / replay_seconds;
    state.counters["with_queue_per_s"] = collapses / simplify_seconds;
}

BENCHMARK(BM_collapse_to_tenth)
    ->Arg(1'000'000)
    ->Arg(4'000'000)
    ->ArgName("triangles")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();

}  // namespace

BENCHMARK_MAIN();
