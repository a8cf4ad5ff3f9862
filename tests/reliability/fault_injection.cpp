// Allocation fault injection: the global operator new of this program throws
// std::bad_alloc at the N-th allocation after it is armed. Each operation is
// run for N = 0, 1, 2, ... until it completes, and after every failure the
// test checks what the operation promises to leave behind. Run under
// AddressSanitizer, a leak on any of these paths ends the program with a
// report.

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>
#include <streambuf>

#include <gtest/gtest.h>
#include <oneapi/tbb/global_control.h>

#include <geometry/trimesh.h>

#include "support/fixtures.h"

namespace {

/// Allocations still allowed while armed; negative when disarmed.
std::atomic<long> allowance{-1};

void* allocate(std::size_t size)
{
    long left = allowance.load(std::memory_order_relaxed);
    while (left >= 0) {
        if (left == 0) throw std::bad_alloc();
        if (allowance.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) break;
    }
    if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace {

using namespace Zelkov::Geometry;
using Zelkov::Testing::in_arena;
using Zelkov::Testing::same_bits;
using Zelkov::Testing::tri;

/// Arms the injector for the lifetime of the object: the allocation after
/// `allowed` successful ones throws, and so does every one after it until
/// disarmed.
struct armed {
    explicit armed(long allowed) { allowance.store(allowed); }
    ~armed() { allowance.store(-1); }
};

/// Runs `attempt` with the injector armed at 0, 1, 2, ... allocations until it
/// completes. `attempt` does its own checks, with `failed` telling whether
/// the operation threw std::bad_alloc. \returns the number of failure points.
long sweep(const std::function<void(long allowed, bool& failed)>& attempt)
{
    for (long allowed = 0;; ++allowed) {
        bool failed = false;
        attempt(allowed, failed);
        if (!failed || testing::Test::HasFatalFailure()) return allowed;
        // A sweep that never completes means the operation allocates without end.
        if (allowed > 1000000) {
            ADD_FAILURE() << "no completion after " << allowed << " allocations";
            return allowed;
        }
    }
}

/// Runs `op` with the injector armed; true when it threw std::bad_alloc.
template <class Op>
bool fails(long allowed, const Op& op)
{
    try {
        armed guard(allowed);
        op();
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

/// Lets an arena of three threads have three on a machine with fewer cores.
const oneapi::tbb::global_control allow_three(oneapi::tbb::global_control::max_allowed_parallelism, 3);

/// Sweeps in a one-thread arena, where the allocation order is fixed and every
/// point is reached, and in an arena of three threads, where failures strike
/// inside parallel bodies on worker threads.
void sweep_in_arenas(const std::string& what, const std::function<void(long, bool&)>& attempt)
{
    for (const int threads : {1, 3}) {
        const long points = in_arena(threads, [&] { return sweep(attempt); });
        std::printf("[ swept    ] %s, %d threads: %ld failure points\n", what.c_str(), threads, points);
    }
}

/// A small surface with everything legal and odd: a grid and a box with
/// duplicate and turned-over triangles, repeated corners, equal points, a
/// NaN point, -0.0 beside 0.0 and free points.
triangle_surface odd_surface()
{
    using namespace Zelkov::Meshgen;
    auto s = shuffled(grid(6, 5), 3);
    copy_triangles(s, soup(translate(box(), {0, 0, 2})));
    const std::size_t n = s.triangles.size();
    for (std::size_t t = 0; t < n; t += 9) s.triangles.push_back(s.triangles[t]);
    for (std::size_t t = 4; t < n; t += 10)
        s.triangles.push_back({s.triangles[t][1], s.triangles[t][0], s.triangles[t][2]});
    s.triangles.push_back({2, 2, 5});
    s.triangles.push_back({7, 3, 7});
    const std::size_t nan = s.vertices.size();
    s.vertices.push_back({std::nan(""), 0, 0});
    s.vertices.push_back({-0.0, 0.0, 0.0});
    s.vertices.push_back({4, 4, 4});  // free
    s.vertices.push_back({4, 4, 4});  // free and equal
    s.triangles.push_back({nan, 0, 1});
    return s;
}

/// Surfaces for the sweeps: the odd one, a closed torus, and one without triangles.
std::vector<triangle_surface> sweep_surfaces()
{
    triangle_surface points_only;
    points_only.vertices = {{1, 2, 3}, {0, 0, 0}, {1, 2, 3}};
    return {odd_surface(), Zelkov::Meshgen::torus(12, 8), points_only};
}

/// Every triangle rewritten in its canonical form.
triangle_surface canonical(triangle_surface s, bool consider_orientation)
{
    for (auto& t : s.triangles) t = Zelkov::Testing::canonical(t, consider_orientation);
    return s;
}

/// Sweeps `op`, which works on its state (a surface, marks) in place and
/// returns what it reports. A failure reaches the caller as std::bad_alloc
/// (also from inside a parallel body) and leaves the state as one of
/// `after_failure`; on completion the state and the report are those of an
/// undisturbed run, unless they may differ from run to run.
template <class State, class Op>
void sweep_operation(const std::string& what, const State& original, const Op& op,
                     const std::vector<State>& after_failure, bool completion_is_fixed = true)
{
    auto expected = original;
    const auto expected_report = op(expected);
    sweep_in_arenas(what, [&](long allowed, bool& failed) {
        auto s = original;
        decltype(op(s)) report{};
        failed = fails(allowed, [&] { report = op(s); });
        if (failed) {
            EXPECT_TRUE(std::any_of(after_failure.begin(), after_failure.end(),
                                    [&](const State& left) { return same_bits(s, left); }))
                << what << " at " << allowed;
        } else if (completion_is_fixed) {
            EXPECT_TRUE(same_bits(s, expected) && same_bits(report, expected_report)) << what << " at " << allowed;
        }
    });
}

/// An operation that only reads the surface: after a failure it is as it was.
template <class Op>
void sweep_reader(const std::string& what, const triangle_surface& original, const Op& op)
{
    sweep_operation(
        what, original, [&](const triangle_surface& s) { return op(s); }, std::vector{original});
}

TEST(FaultInjection, DeduplicationLeavesTheSurfaceOrOneOfItsSteps)
{
    for (const auto& original : sweep_surfaces()) {
        sweep_operation("unique_vertices", original, [](auto& s) { return unique_vertices(s); }, {original});
        for (const bool oriented : {false, true}) {
            // Triangles are first rewritten in canonical form, which stays.
            sweep_operation("unique_triangles", original, [&](auto& s) { return unique_triangles(s, oriented); },
                            {canonical(original, oriented)});
            auto merged = original;
            unique_vertices(merged);
            auto done = original;
            unique(done, oriented);
            sweep_operation("unique", original, [&](auto& s) { return unique(s, oriented); },
                            {original, canonical(merged, oriented), done});
        }
    }
}

TEST(FaultInjection, RemoveFreePointsLeavesTheSurfaceUnchanged)
{
    const auto surfaces = sweep_surfaces();
    for (const auto& original : {surfaces[0], surfaces[2], Zelkov::Meshgen::box()}) {
        sweep_operation("remove_free_points", original,
                        [](auto& s) {
                            std::vector<std::size_t> map;
                            const bool removed = remove_free_points(s, map);
                            return std::make_pair(removed, std::move(map));  // no allocation after the operation
                        },
                        {original});
        sweep_operation("remove_free_points without a map", original, [](auto& s) { return remove_free_points(s); },
                        {original});
    }
}

TEST(FaultInjection, MarkedGrowthLeavesTheMarksUnchanged)
{
    const double pi = std::acos(-1.0);
    using marks = std::vector<unsigned char>;
    for (const auto& s : sweep_surfaces()) {
        marks seed(s.triangles.size());
        for (std::size_t t = 0; t < seed.size(); t += 5) seed[t] = 3;
        // Where an edge has three or more triangles, the angle-limited growth
        // may pair different ones from run to run, by contract.
        const bool crowded = Zelkov::Testing::most_sides_on_an_edge(s) >= 3;
        sweep_operation(
            "expand_marked with an angle", seed, [&](marks& m) { return expand_marked(s, m, 1, pi / 4); }, {seed},
            !crowded);
        sweep_operation("expand_marked", seed, [&](marks& m) { return expand_marked(s, m); }, {seed});
        sweep_operation("shrink_marked", seed, [&](marks& m) { return shrink_marked(s, m); }, {seed});
    }
}

/// A sparse matrix as comparable triplets.
std::vector<std::tuple<int, int, double>> triplets(const Eigen::SparseMatrix<double, 0, int>& m)
{
    std::vector<std::tuple<int, int, double>> out;
    for (int k = 0; k < m.outerSize(); ++k)
        for (Eigen::SparseMatrix<double, 0, int>::InnerIterator it(m, k); it; ++it)
            out.emplace_back(it.row(), it.col(), it.value());
    return out;
}

/// A stream writing into storage made before the injector is armed: a
/// string stream would catch its own allocation failure and set badbit.
struct fixed_buffer : std::streambuf {
    std::array<char, 4096> storage{};
    std::ostream stream{this};
    fixed_buffer() { setp(storage.data(), storage.data() + storage.size()); }
    std::string text() const { return std::string(pbase(), pptr()); }
};

TEST(FaultInjection, ParallelAndReadingOperationsPassFailuresOn)
{
    for (const auto& surface : sweep_surfaces()) {
        sweep_reader("get_vertex_to_triangles_map", surface,
                     [](const auto& s) { return get_vertex_to_triangles_map(s); });
        sweep_reader("check_vertex_to_triangles_map", surface,
                     [](const auto& s) { return check_vertex_to_triangles_map(s, get_vertex_to_triangles_map(s)); });
        sweep_reader("triangle_neighbour_indices", surface,
                     [](const auto& s) { return triangle_neighbour_indices(s); });
        sweep_reader("is_sharp_edge", surface, [](const auto& s) { return triplets(is_sharp_edge(s, 30.0, true)); });
        sweep_reader("vertex_roughness", surface, [](const auto& s) { return vertex_roughness(s); });
        sweep_reader("curvature", surface, [](const auto& s) { return curvature(s); });
        sweep_reader("smooth_scalar_field", surface, [](const auto& s) {
            const std::vector<double> field(s.vertices.size(), 1.5);
            return smooth_scalar_field(s, field, get_vertex_to_triangles_map(s), 2);
        });
        sweep_reader("adjacency_matrix", surface,
                     [](const auto& s) { return triplets(adjacency_matrix_with_edge_count(s, true)); });
        sweep_reader("classify_vertex_topology", surface,
                     [](const auto& s) { return classify_vertex_topology(adjacency_matrix_with_edge_count(s, true)); });
        sweep_reader("investigate", surface, [](const auto& s) {
            fixed_buffer report;
            investigate(s, get_vertex_to_triangles_map(s), report.stream);
            return report.text();
        });
        sweep_reader("make_triangle_surface", surface, [](const auto& s) {
            auto made =
                make_triangle_surface({s.vertices.data(), s.vertices.size()}, {s.triangles.data(), s.triangles.size()});
            return std::make_pair(made.success, made.surface.triangles);
        });
        sweep_reader("inertia", surface, [](const auto& s) { return inertia(s); });
    }
}

TEST(FaultInjection, NeighbourhoodCacheConstructionLeavesTheSurface)
{
    for (const auto& original : sweep_surfaces()) {
        sweep_in_arenas("neighbourhood_cache", [&](long allowed, bool& failed) {
            auto s = original;
            std::atomic<std::size_t> reports{0};
            failed = fails(allowed, [&] {
                neighbourhood_cache cache(s, [&](std::size_t, std::size_t, bool) { reports.fetch_add(1); });
            });
            EXPECT_TRUE(same_bits(s, original)) << allowed;
        });
        // A callback that throws from a worker thread: the exception reaches
        // the caller, the surface is unchanged.
        auto s = original;
        const bool has_reports = [&] {
            std::atomic<std::size_t> count{0};
            neighbourhood_cache probe(s, [&](std::size_t, std::size_t, bool) { count.fetch_add(1); });
            return count.load() > 0;
        }();
        if (!has_reports) continue;
        in_arena(3, [&] {
            EXPECT_THROW(
                neighbourhood_cache(s, [](std::size_t, std::size_t, bool) { throw std::runtime_error("stop"); }),
                std::runtime_error);
        });
        EXPECT_TRUE(same_bits(s, original));
    }
}

/// Every triangle names vertices that exist.
bool indices_in_range(const triangle_surface& s)
{
    return std::all_of(s.triangles.begin(), s.triangles.end(), [&](const tri& t) {
        return t[0] < s.vertices.size() && t[1] < s.vertices.size() && t[2] < s.vertices.size();
    });
}

TEST(FaultInjection, CopiesStayValidAndCollapsesAndEditsLeakNothing)
{
    const auto source = odd_surface();
    std::vector<std::size_t> some;
    for (std::size_t t = 0; t < source.triangles.size(); t += 3) some.push_back(t);
    sweep_in_arenas("copy_triangles", [&](long allowed, bool& failed) {
        auto target = Zelkov::Meshgen::box();
        failed = fails(allowed, [&] { copy_triangles(target, source, some); });
        EXPECT_TRUE(indices_in_range(target)) << allowed;
        auto whole = Zelkov::Meshgen::box();
        failed = fails(allowed, [&] { copy_triangles(whole, source); }) || failed;
        EXPECT_TRUE(indices_in_range(whole)) << allowed;
    });

    // Collapses through the general path allocate; a failure spends the
    // cache, which must still be destroyed without a leak.
    sweep_in_arenas("collapse_edge", [&](long allowed, bool& failed) {
        auto s = Zelkov::Meshgen::torus(10, 8);
        s.triangles.push_back(s.triangles[0]);  // a non-manifold edge sends collapses down the general path
        neighbourhood_cache cache(s, {});
        failed = fails(allowed, [&] {
            for (std::size_t t = 0; t < 40; t += 4)
                if (s.triangles[t][0] != SIZE_MAX) cache.collapse_edge({t, 0});
        });
    });

    // Local edits keep no rollback; they must still leak nothing and end in range.
    sweep_in_arenas("split, collapse and flip", [&](long allowed, bool& failed) {
        auto s = Zelkov::Meshgen::grid(4, 4);
        auto map = get_vertex_to_triangles_map(s);
        failed = fails(allowed, [&] {
            split_edge({0, 1}, 0.5, s, map);
            split_triangle_in_three(3, s, map);
            collapse_triangle(5, 0, s, map);
            flip_edge({6, 7}, s, map);
        });
        EXPECT_TRUE(indices_in_range(s)) << allowed;
        if (!failed) {
            EXPECT_TRUE(check_vertex_to_triangles_map(s, map));
        }
    });
}

}  // namespace
