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
    const std::size_t now = heap_in_use.fetch_add(malloc_usable_size(p), std::memory_order_relaxed) + malloc_usable_size(p);
    std::size_t peak = heap_peak.load(std::memory_order_relaxed);
    while (now > peak && !heap_peak.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
    }
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
    state.counters["ns_per_triangle"] = benchmark::Counter(
        triangles, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
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

struct queued_edge {
    double length_sqr;
    std::size_t triangle;
    std::uint32_t edge;
    std::size_t from, to;
    bool operator>(const queued_edge& other) const { return length_sqr > other.length_sqr; }
};

/// Shortest edge first, with a link condition of its own: the two ends must
/// share exactly two neighbours, so that the closed surface stays a manifold
/// and every collapse takes the plain path.
class shortest_edge_simplifier {
public:
    shortest_edge_simplifier(triangle_surface& surface, neighbourhood_cache& cache) : surface_(surface), cache_(cache)
    {
        for (std::size_t t = 0; t < surface.triangles.size(); ++t)
            for (std::uint32_t e = 0; e < 3; ++e)
                if (surface.triangles[t][e] < surface.triangles[t][(e + 1) % 3]) push(t, e);
    }

    /// Collapses until `target` live triangles remain; returns the collapses done, in order.
    std::vector<neighbourhood_cache::triangle_edge> run(std::size_t target)
    {
        std::vector<neighbourhood_cache::triangle_edge> done;
        std::size_t live = surface_.triangles.size();
        while (live > target && !queue_.empty()) {
            const queued_edge candidate = queue_.top();
            queue_.pop();
            if (!current(candidate) || !link_condition(candidate.from, candidate.to)) continue;
            const neighbourhood_cache::triangle_edge edge{candidate.triangle, candidate.edge * 2};
            const std::size_t kept = cache_.collapse_edge(edge);
            done.push_back(edge);
            live -= 2;
            auto& p = surface_.vertices[kept];
            const auto& q = surface_.vertices[candidate.to];
            p = {(p.x + q.x) / 2, (p.y + q.y) / 2, (p.z + q.z) / 2};
            requeue_around(kept);
        }
        return done;
    }

private:
    double length_sqr(std::size_t a, std::size_t b) const
    {
        const auto& p = surface_.vertices[a];
        const auto& q = surface_.vertices[b];
        return (p.x - q.x) * (p.x - q.x) + (p.y - q.y) * (p.y - q.y) + (p.z - q.z) * (p.z - q.z);
    }

    void push(std::size_t t, std::uint32_t e)
    {
        const std::size_t a = surface_.triangles[t][e], b = surface_.triangles[t][(e + 1) % 3];
        queue_.push({length_sqr(a, b), t, e, a, b});
    }

    bool current(const queued_edge& c) const
    {
        const auto& t = surface_.triangles[c.triangle];
        return t[0] != SIZE_MAX && t[c.edge] == c.from && t[(c.edge + 1) % 3] == c.to &&
               length_sqr(c.from, c.to) == c.length_sqr;
    }

    std::vector<std::size_t>& ring(std::size_t v, std::vector<std::size_t>& out)
    {
        star_.clear();
        cache_.append_vertex_triangles(v, star_);
        out.clear();
        for (const std::size_t t : star_)
            for (const std::size_t w : surface_.triangles[t])
                if (w != v) out.push_back(w);
        std::sort(out.begin(), out.end());
        out.erase(std::unique(out.begin(), out.end()), out.end());
        return out;
    }

    bool link_condition(std::size_t a, std::size_t b)
    {
        ring(a, ring_a_);
        ring(b, ring_b_);
        common_.clear();
        std::set_intersection(ring_a_.begin(), ring_a_.end(), ring_b_.begin(), ring_b_.end(), std::back_inserter(common_));
        return common_.size() == 2 && ring_a_.size() > 3 && ring_b_.size() > 3;
    }

    void requeue_around(std::size_t v)
    {
        star_.clear();
        cache_.append_vertex_triangles(v, star_);
        for (const std::size_t t : star_)
            for (std::uint32_t e = 0; e < 3; ++e)
                if (surface_.triangles[t][e] == v) push(t, e);  // each edge at v starts at v in one triangle
    }

    triangle_surface& surface_;
    neighbourhood_cache& cache_;
    std::priority_queue<queued_edge, std::vector<queued_edge>, std::greater<>> queue_;
    std::vector<std::size_t> star_, ring_a_, ring_b_, common_;
};

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
        shortest_edge_simplifier simplifier(surface, cache);
        auto start = clock_type::now();
        const auto sequence = simplifier.run(target);
        simplify_seconds += std::chrono::duration<double>(clock_type::now() - start).count();

        auto again = original;
        neighbourhood_cache fresh(again, {});
        start = clock_type::now();
        for (const auto& edge : sequence) benchmark::DoNotOptimize(fresh.collapse_edge(edge));
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
