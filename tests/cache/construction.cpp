#include <algorithm>
#include <map>
#include <optional>

#include <gtest/gtest.h>

#include <geometry/neighbourhood_cache.h>

#include "cache/cache_checks.h"
#include "support/fixtures.h"

namespace {

using namespace Zelkov::Testing;
using tri = std::array<std::size_t, 3>;
using vertex_pair = std::pair<std::size_t, std::size_t>;

constexpr std::size_t none = SIZE_MAX;
constexpr link_width both_widths[] = {link_width::narrow, link_width::wide};

/// The callback's reports against the definition: every boundary edge (the
/// only triangle on its vertex pair) once, as that triangle's edge, and every
/// vertex pair of three or more triangles once, by any of them.
void expect_reports_by_definition(const triangle_surface& s, const report_log& log)
{
    const auto pair_of = [&](std::size_t t, std::size_t e) -> vertex_pair {
        return std::minmax(s.triangles[t][e], s.triangles[t][(e + 1) % 3]);
    };
    std::map<vertex_pair, std::vector<edge_report>> users;
    for (std::size_t t = 0; t < s.triangles.size(); ++t)
        for (std::size_t e = 0; e < 3; ++e) users[pair_of(t, e)].emplace_back(t, e, true);
    std::vector<edge_report> boundary, boundary_reports;
    std::set<vertex_pair> crowded, crowded_reports;
    for (const auto& [pair, list] : users) {
        if (list.size() == 1) boundary.push_back(list[0]);
        if (list.size() > 2) crowded.insert(pair);
    }
    std::sort(boundary.begin(), boundary.end());
    std::size_t crowded_count = 0;
    for (const auto& [t, e, is_boundary] : log.sorted()) {
        if (is_boundary) boundary_reports.emplace_back(t, e, true);
        else ++crowded_count, crowded_reports.insert(pair_of(t, e));
    }
    EXPECT_EQ(boundary_reports, boundary);
    EXPECT_EQ(crowded_reports, crowded);
    EXPECT_EQ(crowded_count, crowded.size());
}

// Small surfaces beside the generated ones below, with the number of vertices
// whose star is not one fan: free vertices alone, a lone triangle, a closed
// tetrahedron, a triangle that repeats a corner (its own neighbour across its
// two edges on the same pair), three triangles on one edge, and a bow tie.
TEST(NeighbourhoodCache, SmallOddSurfacesMatchTheDefinition)
{
    const std::vector<std::pair<std::vector<tri>, std::size_t>> cases{{{}, 0},
                                                                      {{{0, 1, 2}}, 0},
                                                                      {Zelkov::Meshgen::tetrahedron().triangles, 0},
                                                                      {{{0, 0, 1}}, 0},
                                                                      {{{1, 1, 0}}, 0},
                                                                      {{{0, 1, 2}, {1, 0, 3}, {0, 1, 4}}, 2},
                                                                      {{{0, 1, 2}, {0, 3, 4}}, 1}};
    for (const auto& [triangles, sets] : cases)
        for (const link_width width : both_widths) {
            auto surface = surface_of(triangles, 2);
            report_log log;
            const auto cache = build_cache(surface, width, log.callback());
            EXPECT_EQ(state_of(cache).neighbours, expected_neighbours(triangles));
            expect_reports_by_definition(surface, log);
            EXPECT_EQ(cache.vertex_triangle_sets.size(), sets);
            // in_step asks for three different corners in every triangle.
            if (triangles.empty() || triangles[0][0] != triangles[0][1]) {
                EXPECT_TRUE(in_step(cache));
            }
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
    surfaces.push_back(surface_of(random_triangles(6000, 40, 4, true)));    // large groups of equal keys
    surfaces.push_back(surface_of(random_triangles(3000, 2000, 5, true)));  // sparse pairs and boundaries
    return surfaces;
}

// Built in an arena of three threads, so that the reports come from several.
TEST(NeighbourhoodCache, LinksAndReportsEqualTheDefinitionAtBothWidths)
{
    for (auto& surface : link_test_surfaces()) {
        const auto expected = expected_neighbours(surface.triangles);
        std::optional<cache_state> first;
        for (const link_width width : both_widths) {
            report_log log;
            const auto state = in_arena(3, [&] {
                const auto cache = build_cache(surface, width, log.callback());
                EXPECT_TRUE(in_step(cache));
                return state_of(cache);
            });
            expect_reports_by_definition(surface, log);
            EXPECT_EQ(state.neighbours, expected);
            if (!first) first = state;
            EXPECT_EQ(state, *first);
        }
    }
}

}  // namespace
