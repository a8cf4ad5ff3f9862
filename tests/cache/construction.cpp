#include <algorithm>
#include <map>
#include <new>
#include <optional>
#include <random>
#include <stdexcept>

#include <gtest/gtest.h>

#include <geometry/neighbourhood_cache.h>

#include "cache/cache_checks.h"
#include "support/fixtures.h"

namespace {

using namespace Zelkov::Testing;
using Zelkov::Geometry::detail::choose_link_width;
using tri = std::array<std::size_t, 3>;
using row3 = std::array<std::size_t, 3>;
using index_list = std::vector<std::size_t>;

constexpr std::size_t none = SIZE_MAX;
constexpr link_width both_widths[] = {link_width::narrow, link_width::wide};

triangle_surface surface_of(std::vector<tri> triangles, std::size_t vertex_count)
{
    return triangle_surface{std::vector<point3>(vertex_count), std::move(triangles)};
}

/// A small surface and its cache at one width, with the callback's reports.
struct small_case {
    small_case(std::vector<tri> triangles, std::size_t vertex_count, link_width width)
        : surface(surface_of(std::move(triangles), vertex_count)), cache(build_cache(surface, width, log.callback()))
    {
    }
    triangle_surface surface;
    report_log log;
    neighbourhood_cache cache;
};

std::vector<tri> random_triangles(std::size_t n, std::size_t range, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    std::vector<tri> triangles(n);
    for (auto& t : triangles) {
        do {
            for (auto& v : t) v = random() % range;
        } while (t[0] == t[1] || t[1] == t[2] || t[2] == t[0]);
    }
    return triangles;
}

TEST(NeighbourhoodCacheWidth, NarrowWhileLinksFitInThirtyTwoBits)
{
    EXPECT_EQ(choose_link_width(0, 0), link_width::narrow);
    EXPECT_EQ(choose_link_width(0xFFFFFFFE, 0x1FFFFFFE), link_width::narrow);
    EXPECT_EQ(choose_link_width(0xFFFFFFFF, 0), link_width::wide);
    EXPECT_EQ(choose_link_width(0, 0x1FFFFFFF), link_width::wide);
    EXPECT_EQ(choose_link_width(SIZE_MAX - 1, 0x1FFFFFFFFFFFFFFE), link_width::wide);
    EXPECT_THROW(choose_link_width(SIZE_MAX, 0), std::bad_alloc);
    EXPECT_THROW(choose_link_width(3, 0x1FFFFFFFFFFFFFFF), std::bad_alloc);
}

TEST(NeighbourhoodCache, EmptySurfaceHasOnlyTheSpareRow)
{
    for (const link_width width : both_widths) {
        const small_case built({}, 3, width);
        const auto& cache = built.cache;
        EXPECT_EQ(cache.no_triangle, 0u);
        EXPECT_EQ(cache.triangle_neighbours.size(), 1u);
        EXPECT_EQ(cache.vertex_corners, index_list(3, none));
        EXPECT_TRUE(cache.vertex_triangle_sets.empty());
        EXPECT_TRUE(built.log.sorted().empty());
        EXPECT_TRUE(around(cache, 1).empty());
    }
    triangle_surface nothing;
    const neighbourhood_cache cache(nothing, {});
    EXPECT_EQ(cache.triangle_neighbours.size(), 1u);
    EXPECT_TRUE(cache.vertex_corners.empty());
}

TEST(NeighbourhoodCache, SingleTriangleHasThreeBoundaryEdges)
{
    for (const link_width width : both_widths) {
        const small_case built({{0, 1, 2}}, 4, width);
        const auto& cache = built.cache;
        EXPECT_EQ(row(cache, 0), (row3{8, 8, 8}));
        EXPECT_EQ(cache.vertex_corners, (index_list{0, 1, 2, none}));  // vertex 3 is free
        EXPECT_EQ(built.log.sorted(), (std::vector<edge_report>{{0, 0, true}, {0, 1, true}, {0, 2, true}}));
        EXPECT_EQ(around(cache, 1), (index_list{0}));
    }
}

TEST(NeighbourhoodCache, ClosedTetrahedronKeepsTheLastCornerOfEachVertex)
{
    for (const link_width width : both_widths) {
        const small_case built({{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}}, 4, width);
        const auto& cache = built.cache;
        EXPECT_TRUE(built.log.sorted().empty());
        // Triangle 3 holds 0, 3, 2 at corners 0, 1, 2; vertex 1 lies last in triangle 2, corner 0.
        EXPECT_EQ(cache.vertex_corners, (index_list{12, 8, 14, 13}));
        // 0->2 faces edge 2 of triangle 3, 2->1 edge 0 of triangle 2, 1->0 edge 0 of triangle 1.
        EXPECT_EQ(row(cache, 0), (row3{28, 16, 8}));
        EXPECT_TRUE(cache.vertex_triangle_sets.empty());
        EXPECT_TRUE(in_step(cache));
    }
}

TEST(NeighbourhoodCache, TriangleWithARepeatedCornerIsItsOwnNeighbour)
{
    for (const link_width width : both_widths) {
        for (const tri t : {tri{0, 0, 1}, tri{1, 1, 0}}) {
            const small_case built({t}, 2, width);
            const auto& cache = built.cache;
            EXPECT_EQ(row(cache, 0), (row3{8, 4, 2}));
            EXPECT_EQ(built.log.sorted(), (std::vector<edge_report>{{0, 0, true}}));
            // The doubled vertex ends at corner 0; the fan of the other counts as closed.
            EXPECT_EQ(cache.vertex_corners[t[0]], 0u);
            EXPECT_EQ(cache.vertex_corners[t[2]], 2u);
            EXPECT_TRUE(cache.vertex_triangle_sets.empty());
        }
    }
}

TEST(NeighbourhoodCache, ThreeTrianglesOnOneEdgeMakeSetVertices)
{
    for (const link_width width : both_widths) {
        const small_case built({{0, 1, 2}, {1, 0, 3}, {0, 1, 4}}, 5, width);
        const auto& cache = built.cache;
        const auto reports = built.log.sorted();
        ASSERT_EQ(reports.size(), 7u);
        const auto non_manifold =
            std::find_if(reports.begin(), reports.end(), [](const edge_report& r) { return !std::get<2>(r); });
        ASSERT_NE(non_manifold, reports.end());
        EXPECT_EQ(std::get<1>(*non_manifold), 0u);  // edge 0 of whichever triangle reports it
        EXPECT_EQ(std::count_if(reports.begin(), reports.end(), [](const edge_report& r) { return std::get<2>(r); }),
                  6);
        for (std::size_t t = 0; t < 3; ++t) EXPECT_EQ(cache.triangle_neighbours[t][0] >> 1, 3u * 4);

        // Sets are numbered in the order of the first unreached corner: vertex 0, then vertex 1.
        EXPECT_EQ(cache.vertex_corners, (index_list{3, 7, 2, 6, 10}));
        ASSERT_EQ(cache.vertex_triangle_sets.size(), 2u);
        EXPECT_EQ(cache.vertex_triangle_sets[0], (std::set<std::size_t>{0, 1, 2}));
        EXPECT_EQ(cache.vertex_triangle_sets[1], (std::set<std::size_t>{0, 1, 2}));
        EXPECT_EQ(around(cache, 1), (index_list{0, 1, 2}));
        EXPECT_TRUE(in_step(cache));
    }
}

TEST(NeighbourhoodCache, BowTieVertexGetsASet)
{
    for (const link_width width : both_widths) {
        const small_case built({{0, 1, 2}, {0, 3, 4}}, 5, width);
        const auto& cache = built.cache;
        const auto reports = built.log.sorted();
        EXPECT_EQ(reports.size(), 6u);
        EXPECT_TRUE(std::all_of(reports.begin(), reports.end(), [](const edge_report& r) { return std::get<2>(r); }));
        EXPECT_EQ(cache.vertex_corners[0], 3u);
        ASSERT_EQ(cache.vertex_triangle_sets.size(), 1u);
        EXPECT_EQ(cache.vertex_triangle_sets[0], (std::set<std::size_t>{0, 1}));
        EXPECT_TRUE(in_step(cache));
    }
}

/// Generated surfaces: closed, open, turned-over patches, non-manifold piles,
/// and pairs that straddle the grouping chunks of 8192 records.
std::vector<triangle_surface> link_test_surfaces()
{
    using namespace Zelkov::Meshgen;
    std::vector<triangle_surface> surfaces;
    surfaces.push_back(shuffled(torus(100, 60), 1));
    surfaces.push_back(shuffled(icosphere(3), 2));
    auto mixed = shuffled(grid(40, 30), 3);
    std::vector<std::size_t> turn;
    for (std::size_t t = 0; t < mixed.triangles.size(); t += 7) turn.push_back(t);
    Zelkov::Geometry::invert(mixed, turn);
    surfaces.push_back(std::move(mixed));
    surfaces.push_back(surface_of(random_triangles(6000, 40, 4), 40));      // large groups of equal keys
    surfaces.push_back(surface_of(random_triangles(3000, 2000, 5), 2000));  // sparse pairs and boundaries
    return surfaces;
}

TEST(NeighbourhoodCache, LinksEqualTheDefinitionAtBothWidths)
{
    for (auto& surface : link_test_surfaces()) {
        const auto expected = expected_neighbours(surface.triangles);
        std::optional<cache_state> first;
        for (const link_width width : both_widths) {
            const auto cache = build_cache(surface, width);
            const auto state = state_of(cache);
            EXPECT_EQ(state.neighbours, expected);
            EXPECT_TRUE(in_step(cache));
            if (first) EXPECT_EQ(state, *first);
            else first = state;
        }
    }
}

TEST(NeighbourhoodCache, EachBoundaryAndNonManifoldEdgeIsReportedOnce)
{
    for (auto& surface : link_test_surfaces()) {
        std::map<std::pair<std::size_t, std::size_t>, std::vector<row3>> groups;
        for (std::size_t t = 0; t < surface.triangles.size(); ++t)
            for (std::size_t e = 0; e < 3; ++e) {
                const std::size_t a = surface.triangles[t][e], b = surface.triangles[t][(e + 1) % 3];
                groups[{std::min(a, b), std::max(a, b)}].push_back({t, e, 0});
            }
        std::vector<edge_report> boundary;
        std::size_t non_manifold = 0;
        for (const auto& [key, users] : groups) {
            if (users.size() == 1) boundary.emplace_back(users[0][0], users[0][1], true);
            if (users.size() > 2) ++non_manifold;
        }
        std::sort(boundary.begin(), boundary.end());
        report_log log;
        in_arena(3, [&] { neighbourhood_cache(surface, log.callback()); });
        const auto reports = log.sorted();
        std::vector<edge_report> boundary_reports, other_reports;
        for (const auto& r : reports) (std::get<2>(r) ? boundary_reports : other_reports).push_back(r);
        EXPECT_EQ(boundary_reports, boundary);
        ASSERT_EQ(other_reports.size(), non_manifold);
        std::set<std::pair<std::size_t, std::size_t>> reported_keys;
        for (const auto& [t, e, ignored] : other_reports) {
            const std::size_t a = surface.triangles[t][e], b = surface.triangles[t][(e + 1) % 3];
            EXPECT_GT((groups[{std::min(a, b), std::max(a, b)}].size()), 2u);
            reported_keys.insert({std::min(a, b), std::max(a, b)});
        }
        EXPECT_EQ(reported_keys.size(), non_manifold);
    }
}

TEST(NeighbourhoodCache, CallbackExceptionLeavesTheConstructor)
{
    auto surface = Zelkov::Meshgen::grid(30, 30);
    const auto before = surface.triangles;
    EXPECT_THROW(neighbourhood_cache(surface, [](std::size_t, std::size_t, bool) { throw std::runtime_error("stop"); }),
                 std::runtime_error);
    EXPECT_EQ(surface.triangles, before);
}

}  // namespace
