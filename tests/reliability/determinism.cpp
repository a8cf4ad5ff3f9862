// Every parallel operation gives the same result, bit for bit, in arenas of
// 1, 2, 3 and 8 threads, on large generated surfaces and on real ones.

#include <cmath>
#include <set>

#include <gtest/gtest.h>
#include <oneapi/tbb/global_control.h>

#include <geometry/cleanup.h>
#include <geometry/connectivity.h>
#include <geometry/fields.h>
#include <geometry/neighbourhood_cache.h>
#include <processing/repair.h>
#include <processing/simplify.h>

#include "cache/cache_checks.h"
#include "support/fixtures.h"

namespace {

using namespace Zelkov::Geometry;
using Zelkov::Testing::in_arena;
using Zelkov::Testing::same_bits;
using Zelkov::Testing::tri;

const int thread_counts[] = {2, 3, 8};

// Under ThreadSanitizer every access costs ten times more: smaller surfaces.
#if defined(__SANITIZE_THREAD__)
constexpr bool sanitizing_threads = true;
#else
constexpr bool sanitizing_threads = false;
#endif
constexpr std::size_t torus_triangles = sanitizing_threads ? 12000 : 80000;
constexpr std::size_t soup_triangles = sanitizing_threads ? 3000 : 20000;
const double pi = std::acos(-1.0);

/// Lets an arena of 8 threads have 8 threads on a machine with fewer cores:
/// without it the workers are capped at the hardware concurrency.
class Determinism : public testing::Test {
protected:
    oneapi::tbb::global_control allow_eight{oneapi::tbb::global_control::max_allowed_parallelism, 8};
};

/// Pattern and values of a compressed matrix, the values compared as bits.
bool same_bits(Eigen::SparseMatrix<double, 0, int> a, Eigen::SparseMatrix<double, 0, int> b)
{
    a.makeCompressed();
    b.makeCompressed();
    if (a.rows() != b.rows() || a.cols() != b.cols() || a.nonZeros() != b.nonZeros()) return false;
    const auto n = static_cast<std::size_t>(a.nonZeros());
    const auto cols = static_cast<std::size_t>(a.cols()) + 1;
    return std::equal(a.outerIndexPtr(), a.outerIndexPtr() + cols, b.outerIndexPtr()) &&
           std::equal(a.innerIndexPtr(), a.innerIndexPtr() + n, b.innerIndexPtr()) &&
           (n == 0 || std::memcmp(a.valuePtr(), b.valuePtr(), n * sizeof(double)) == 0);
}

struct named_surface {
    std::string name;
    triangle_surface surface;
    bool at_most_two_per_edge;  // no edge has three or more triangles
};

/// A closed torus, jittered and shuffled.
triangle_surface big_torus()
{
    using namespace Zelkov::Meshgen;
    return shuffled(jittered(torus_with_about(torus_triangles), 1e-3, 11), 12);
}

/// A soup with duplicate, turned-over and degenerate triangles, free points
/// and signed zeros: much to merge, several triangles on many edges.
triangle_surface messy()
{
    using namespace Zelkov::Meshgen;
    auto s = shuffled(soup(torus_with_about(soup_triangles)), 13);
    const std::size_t n = s.triangles.size();
    for (std::size_t t = 0; t < n; t += 7) s.triangles.push_back(s.triangles[t]);
    for (std::size_t t = 3; t < n; t += 11)
        s.triangles.push_back({s.triangles[t][1], s.triangles[t][0], s.triangles[t][2]});
    for (std::size_t t = 5; t < n; t += 13)
        s.triangles.push_back({s.triangles[t][0], s.triangles[t][0], s.triangles[t][2]});
    s.vertices.push_back({0.5, 0.5, 0.5});
    s.vertices.push_back({-0.0, 0.0, 0.0});
    s.vertices.push_back({0.0, -0.0, 0.0});
    return s;
}

/// The surfaces every test runs on, made once.
const std::vector<named_surface>& surfaces()
{
    static const std::vector<named_surface> all = [] {
        std::vector<named_surface> list;
        auto add = [&](std::string name, triangle_surface s) {
            const bool two = Zelkov::Testing::most_sides_on_an_edge(s) <= 2;
            list.push_back({std::move(name), std::move(s), two});
        };
        add("generated torus", big_torus());
        add("generated soup", messy());
        const std::string dir = Zelkov::Meshgen::shared_mesh_dir();
        if (!dir.empty())
            for (const char* file : {"armadillo_100k.obj", "bunny.obj", "dragon_res4.ply", "capsule_degenerate.obj"}) {
                if (sanitizing_threads && std::string(file) != "dragon_res4.ply") continue;
                if (auto s = Zelkov::Meshgen::read_mesh(dir + "/" + file)) add(file, std::move(*s));
            }
        return list;
    }();
    return all;
}

/// Runs `op` in a one-thread arena and in each arena of `thread_counts`, and
/// expects the same bits from all of them.
template <class Op>
void expect_same_in_every_arena(const std::string& name, const Op& op)
{
    const auto reference = in_arena(1, op);
    for (const int threads : thread_counts)
        EXPECT_TRUE(same_bits(in_arena(threads, op), reference)) << name << ", " << threads << " threads";
}

/// Vertex positions made from the coordinates, as a field to smooth.
std::vector<double> ramp(const triangle_surface& s)
{
    std::vector<double> field(s.vertices.size());
    for (std::size_t v = 0; v < field.size(); ++v)
        field[v] = s.vertices[v].x * s.vertices[v].z + std::sin(s.vertices[v].y);
    return field;
}

TEST_F(Determinism, VertexToTrianglesMapAndTriangleNeighbours)
{
    for (const auto& [name, s, two] : surfaces()) {
        const auto map = get_vertex_to_triangles_map(s);
        ASSERT_TRUE(check_vertex_to_triangles_map(s, map)) << name;
        expect_same_in_every_arena(name + ", map", [&s = s] { return get_vertex_to_triangles_map(s); });
        expect_same_in_every_arena(name + ", neighbours",
                                   [&s = s, &map] { return triangle_neighbour_indices(s, map); });
    }
}

/// A reported edge as its vertex pair, smaller first, and its kind: which of
/// the triangles of a non-manifold edge reports it is not fixed.
std::set<std::tuple<std::size_t, std::size_t, bool>> reported_edges(const triangle_surface& s,
                                                                    const Zelkov::Testing::report_log& log)
{
    std::set<std::tuple<std::size_t, std::size_t, bool>> edges;
    for (const auto& [t, e, boundary] : log.sorted()) {
        const auto [a, b] = std::minmax(s.triangles[t][e], s.triangles[t][(e + 1) % 3]);
        edges.emplace(a, b, boundary);
    }
    return edges;
}

TEST_F(Determinism, NeighbourhoodCacheConstruction)
{
    for (const auto& named : surfaces()) {
        triangle_surface s = named.surface;
        auto build = [&] {
            Zelkov::Testing::report_log log;
            neighbourhood_cache cache(s, log.callback());
            return std::make_pair(Zelkov::Testing::state_of(cache), reported_edges(s, log));
        };
        expect_same_in_every_arena(named.name, build);
        EXPECT_TRUE(same_bits(s, named.surface)) << named.name;
    }
}

/// The surface after `step` and what `step` returned.
template <class Step>
auto after(triangle_surface s, const Step& step)
{
    auto result = step(s);
    return std::make_pair(std::move(s), std::move(result));
}

TEST_F(Determinism, UniqueVerticesTrianglesAndBoth)
{
    for (const auto& [name, s, two] : surfaces()) {
        expect_same_in_every_arena(name + ", unique_vertices",
                                   [&s = s] { return after(s, [](auto& t) { return unique_vertices(t); }); });
        for (const bool oriented : {false, true}) {
            const std::string how = oriented ? " oriented" : " unoriented";
            expect_same_in_every_arena(name + ", unique_triangles" + how, [&s = s, oriented] {
                return after(s, [&](auto& t) { return unique_triangles(t, oriented); });
            });
            expect_same_in_every_arena(name + ", unique" + how, [&s = s, oriented] {
                return after(s, [&](auto& t) { return unique(t, oriented); });
            });
        }
    }
}

TEST_F(Determinism, ExpandMarkedAcrossSmoothEdges)
{
    // Where an edge has three or more triangles, which two of them count
    // depends on scheduling by contract; those surfaces are left out. The
    // edge table's locking makes this the slowest operation with more
    // threads than cores, so the largest surface is left out too.
    std::size_t checked = 0;
    for (const auto& [name, s, two] : surfaces()) {
        if (!two || s.triangles.size() > 90000) continue;
        ++checked;
        std::vector<unsigned char> seed(s.triangles.size());
        for (std::size_t t = 0; t < seed.size(); t += 97) seed[t] = 1;
        for (const auto& [min_marked, angle] : {std::pair{1, pi / 8}, {2, pi / 3}}) {
            expect_same_in_every_arena(
                name + ", expand_marked " + std::to_string(min_marked), [&s = s, &seed, min_marked, angle] {
                    std::vector<std::vector<unsigned char>> steps{seed};
                    for (int step = 0; step < 2; ++step) {
                        steps.push_back(steps.back());
                        expand_marked(s, steps.back(), static_cast<std::size_t>(min_marked), angle);
                    }
                    return steps;
                });
        }
    }
    EXPECT_GT(checked, 0u);
}

TEST_F(Determinism, SharpEdgesOfTheWholeSurface)
{
    for (const auto& [name, s, two] : surfaces())
        for (const bool oriented : {false, true})
            expect_same_in_every_arena(name + ", is_sharp_edge",
                                       [&s = s, oriented] { return is_sharp_edge(s, 20.0, oriented); });
}

TEST_F(Determinism, RoughnessCurvatureAndSmoothing)
{
    for (const auto& [name, s, two] : surfaces()) {
        const auto map = get_vertex_to_triangles_map(s);
        expect_same_in_every_arena(name + ", vertex_roughness", [&s = s, &map] { return vertex_roughness(s, map); });
        expect_same_in_every_arena(name + ", curvature", [&s = s, &map] { return curvature(s, map); });
        const auto field = ramp(s);
        expect_same_in_every_arena(name + ", smooth_scalar_field",
                                   [&s = s, &map, &field] { return smooth_scalar_field(s, field, map, 3); });
    }
}

TEST_F(Determinism, QuadricCollapsesInEveryBoundaryMode)
{
    using namespace Zelkov::Processing;
    for (const auto& [name, s, two] : surfaces()) {
        if (count_topologically_degenerate_triangles(s) > 0) continue;
        for (const auto mode : {boundary_mode::locked, boundary_mode::slide, boundary_mode::free}) {
            collapse_options o;
            o.target_triangles = s.triangles.size() / 5;
            o.boundary = mode;
            o.feature_angle_degrees = mode == boundary_mode::slide ? 40.0 : 180.0;
            expect_same_in_every_arena(name + ", collapse_by_quadrics", [&s = s, &o] {
                return after(s, [&](auto& t) { return collapse_by_quadrics(t, o).survivor; });
            });
        }
    }
}

TEST_F(Determinism, RepairWithEveryStep)
{
    using namespace Zelkov::Processing;
    repair_options o;
    o.tolerance_relative = 1e-5;
    o.fill.max_boundary_edges = 200;
    for (const auto& [name, s, two] : surfaces())
        expect_same_in_every_arena(name + ", repair",
                                   [&s = s, &o] { return after(s, [&](auto& t) { return repair(t, o).vertex_map; }); });
}

}  // namespace
