#include <algorithm>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include <geometry/neighbourhood_cache.h>

#include "cache/cache_checks.h"
#include "support/fixtures.h"

namespace {

namespace entries = Zelkov::Geometry::cache_entries;

using namespace Zelkov::Testing;
using tri = std::array<std::size_t, 3>;
using edge = neighbourhood_cache::triangle_edge;

constexpr std::size_t none = SIZE_MAX;

std::uint32_t code(std::size_t k) { return static_cast<std::uint32_t>(2 * k); }

bool is_set_vertex(const neighbourhood_cache& cache, std::size_t v)
{
    return entries::is_set_entry(cache.vertex_corners[v]);
}

std::size_t live_count(const triangle_surface& surface) { return live_rows(surface).size(); }

/// The live triangles holding both a and b.
std::size_t shared_triangles(const triangle_surface& surface, std::size_t a, std::size_t b)
{
    std::size_t count = 0;
    for (const auto& t : surface.triangles)
        if (t[0] != none && std::count(t.begin(), t.end(), a) && std::count(t.begin(), t.end(), b)) ++count;
    return count;
}

TEST(NeighbourhoodCacheCollapse, PillowVanishesWhole)
{
    auto surface = surface_of({{0, 1, 2}, {0, 2, 1}});
    neighbourhood_cache cache(surface, {});
    EXPECT_EQ(cache.collapse_edge(edge{0, code(0)}), 0u);
    EXPECT_EQ(surface.triangles, (std::vector<tri>{{none, 0, 2}, {none, 2, 0}}));
    // The twin's links re-point triangle 0 at itself.
    EXPECT_EQ(cache.triangle_neighbours[0][1], 4u);
    EXPECT_EQ(cache.triangle_neighbours[0][2], 2u);
    EXPECT_EQ(cache.vertex_corners, std::vector<std::size_t>(3, none));
}

TEST(NeighbourhoodCacheCollapse, TriangleWithARepeatedCornerGoesInTheGeneralPath)
{
    // Vertex 1 has the fan of triangles 0 and 1 and, apart, triangle 2: a set vertex.
    auto surface = surface_of({{0, 1, 2}, {2, 1, 3}, {4, 4, 1}});
    neighbourhood_cache cache(surface, {});
    ASSERT_EQ(cache.vertex_corners[1], 3u);
    EXPECT_EQ(cache.collapse_edge(edge{0, code(0)}), 0u);
    EXPECT_EQ(surface.triangles, (std::vector<tri>{{none, 0, 2}, {2, 0, 3}, {none, 4, 0}}));
    // 0 takes over the set of 1, which now holds the survivor.
    EXPECT_EQ(cache.vertex_corners[0], 3u);
    EXPECT_EQ(cache.vertex_corners[1], none);
    EXPECT_EQ(cache.vertex_corners[2], 4u);
    ASSERT_EQ(cache.vertex_triangle_sets.size(), 1u);
    EXPECT_EQ(cache.vertex_triangle_sets[0], (std::set<std::size_t>{1}));
}

// ---------------------------------------------------------------- random runs

triangle_surface turned_every(triangle_surface surface, std::size_t step)
{
    std::vector<std::size_t> turn;
    for (std::size_t t = 0; t < surface.triangles.size(); t += step) turn.push_back(t);
    Zelkov::Geometry::invert(surface, turn);
    return surface;
}

/// Three strips of triangles glued along one spine of `n` edges: every spine
/// edge has three triangles.
triangle_surface book(std::size_t n)
{
    triangle_surface s{std::vector<point3>((n + 1) * 4), {}};
    for (std::size_t page = 1; page <= 3; ++page)
        for (std::size_t i = 0; i < n; ++i) {
            const std::size_t q = page * (n + 1) + i;
            s.triangles.push_back({i, i + 1, q});
            s.triangles.push_back({i + 1, q + 1, q});
        }
    return s;
}

std::vector<triangle_surface> random_run_surfaces()
{
    using namespace Zelkov::Meshgen;
    return {surface_of({{0, 1, 2}, {0, 2, 1}}),  // a pillow, gone in one collapse
            shuffled(torus(9, 7), 1),
            shuffled(icosphere(1), 2),
            turned_every(torus(8, 6), 5),
            box(),
            shuffled(grid(8, 6), 3),
            turned_every(shuffled(grid(9, 5), 4), 3),
            fan(10, false),
            book(8),
            surface_of(random_triangles(80, 24, 80 * 24, true))};  // piles of non-manifold edges
}

struct run_result {
    std::vector<tri> triangles;
    cache_state state;
    std::size_t collapses;
};

/// Collapses random edges of random live triangles, checking the cache after
/// every collapse; stops when `keep` or fewer live triangles remain.
run_result collapse_at_random(triangle_surface& surface, link_width width, std::uint64_t seed, std::size_t keep)
{
    auto cache = build_cache(surface, width);
    EXPECT_TRUE(in_step(cache));
    std::mt19937_64 random(seed);
    const std::size_t rows = surface.triangles.size();
    std::size_t collapses = 0;
    for (auto live = live_rows(surface); live.size() > keep; live = live_rows(surface)) {
        std::size_t t = random() % rows;
        while (surface.triangles[t][0] == none) t = (t + 1) % rows;
        const std::size_t k = random() % 3;
        const tri before = surface.triangles[t];
        const std::size_t removed = before[(k + 1) % 3], flattened = shared_triangles(surface, before[k], removed);
        const auto code_with_noise = static_cast<std::uint32_t>(2 * k + random() % 2);
        EXPECT_EQ(cache.collapse_edge(edge{t, code_with_noise}), before[k]);
        ++collapses;
        // Exactly the triangles that held both ends die, and no live one names the removed end.
        EXPECT_EQ(surface.triangles[t][0], none);
        EXPECT_EQ(live_count(surface), live.size() - flattened);
        EXPECT_EQ(shared_triangles(surface, removed, removed), 0u);
        EXPECT_EQ(cache.vertex_corners[removed], none);
        // More than two triangles on the pair is no plain neighbourhood: the kept end now has a set.
        if (flattened > 2) {
            EXPECT_TRUE(is_set_vertex(cache, before[k]) || cache.vertex_corners[before[k]] == none);
        }
        EXPECT_EQ(surface.triangles.size(), rows);
        const auto checked = in_step(cache);
        EXPECT_TRUE(checked) << "after collapse " << collapses << " of edge " << k << " of " << t << " (seed " << seed
                             << ")";
        if (!checked) break;
    }
    run_result result{surface.triangles, state_of(cache), collapses};

    const auto expected = live_rows(surface);
    EXPECT_EQ(cache.remove_invalid_triangles(), rows - expected.size());
    EXPECT_EQ(surface.triangles, expected);
    EXPECT_TRUE(Zelkov::Geometry::is_valid(surface));
    EXPECT_TRUE(cache.vertex_corners.empty());
    EXPECT_TRUE(cache.triangle_neighbours.empty());
    return result;
}

TEST(NeighbourhoodCacheCollapse, RandomRunsKeepTheCacheInStep)
{
    std::size_t collapses = 0;
    for (const auto& original : random_run_surfaces())
        for (std::uint64_t seed = 0; seed < 10; ++seed) {
            auto surface = original;
            const std::size_t keep = seed % 2 == 0 ? 0 : original.triangles.size() / 3;
            collapses += collapse_at_random(surface, link_width::narrow, 100 + seed, keep).collapses;
            if (HasFailure()) return;
        }
    EXPECT_GE(collapses, 2500u);
}

TEST(NeighbourhoodCacheCollapse, BothWidthsCollapseAlike)
{
    for (const auto& original : random_run_surfaces()) {
        auto narrow = original, wide = original;
        const auto a = collapse_at_random(narrow, link_width::narrow, 7, original.triangles.size() / 4);
        const auto b = collapse_at_random(wide, link_width::wide, 7, original.triangles.size() / 4);
        EXPECT_EQ(a.triangles, b.triangles);
        EXPECT_EQ(a.state, b.state);
        EXPECT_EQ(narrow.triangles, wide.triangles);
    }
}

}  // namespace
