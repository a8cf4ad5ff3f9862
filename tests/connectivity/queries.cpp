#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <tuple>

#include <gtest/gtest.h>

#include <geometry/connectivity.h>

#include "connectivity/oracles.h"

namespace {

using namespace Zelkov::Geometry;
using namespace Zelkov::Testing;
using ids = std::vector<std::size_t>;
using edge = std::array<std::size_t, 2>;

TEST(TriangleIndicesFromEdge, EqualsTheDefinitionForEveryPairAndDirection)
{
    for (const auto& [name, s] : awkward_surfaces()) {
        const auto map = get_vertex_to_triangles_map(s);
        for (std::size_t a = 0; a < map.size(); ++a)
            for (std::size_t b = 0; b < map.size(); ++b)
                for (const bool oriented : {false, true})
                    ASSERT_EQ(triangle_indices_from_edge({a, b}, s, map, oriented),
                              triangles_on(s.triangles, a, b, oriented))
                        << name << " (" << a << ", " << b << ") oriented " << oriented;
    }
}

// Sets of very different sizes are searched rather than walked; the result
// must be the same, after the earlier entries of `out`.
TEST(TriangleIndicesFromEdge, LopsidedSetsAgreeWithTheDefinition)
{
    // Vertex 0 is in nearly every triangle and 1 in half, the rest drawn with
    // a strong skew; corners repeat, and edges are run either way.
    std::mt19937_64 random(7);
    const auto skewed = [&] { return 2 + static_cast<std::size_t>(std::pow(random() % 1000 / 1000.0, 3) * 46); };
    std::vector<tri> triangles(4000);
    for (auto& t : triangles) t = {random() % 50 ? 0 : skewed(), random() % 2 ? skewed() : 1, skewed()};
    const auto s = surface_of(std::move(triangles));
    const auto map = get_vertex_to_triangles_map(s);
    for (std::size_t a = 0; a < map.size(); ++a)
        for (std::size_t b = 0; b < map.size(); ++b)
            for (const bool oriented : {false, true}) {
                // The earlier entries stay in front, thinned like the rest when oriented.
                ids out{s.triangles.size() - 1, 0}, expected;
                for (const std::size_t t : out)
                    if (!oriented || runs(s.triangles[t], a, b)) expected.push_back(t);
                for (const std::size_t t : triangles_on(s.triangles, a, b, oriented)) expected.push_back(t);
                triangle_indices_from_edge(out, {a, b}, s, map, oriented);
                ASSERT_EQ(out, expected) << "(" << a << ", " << b << ") oriented " << oriented;
            }
}

TEST(OneRingVerticesFromVertex, EqualsTheDefinitionAndMergesEarlierEntries)
{
    for (const auto& [name, s] : awkward_surfaces()) {
        const auto map = get_vertex_to_triangles_map(s);
        for (std::size_t v = 0; v < map.size(); ++v) {
            // Every other corner of every triangle of v; v too when a triangle repeats it.
            std::set<std::size_t> ring;
            for (const auto& t : s.triangles)
                for (const std::size_t w : t)
                    if (occurrences(t, v) > 0 && (w != v || occurrences(t, v) > 1)) ring.insert(w);
            ASSERT_EQ(one_ring_vertices_from_vertex(v, s, map), ids(ring.begin(), ring.end())) << name << " " << v;
            // Earlier entries, unsorted and repeated, are merged in.
            ids merged{v + 7, 3, v + 7}, expected = merged;
            one_ring_vertices_from_vertex(merged, v, s, map);
            expected.insert(expected.end(), ring.begin(), ring.end());
            std::sort(expected.begin(), expected.end());
            expected.erase(std::unique(expected.begin(), expected.end()), expected.end());
            EXPECT_EQ(merged, expected);

            std::vector<edge> edges{{99, 0}};
            edges_from_vertex(edges, v, s, map);
            ASSERT_EQ(edges.size(), ring.size() + 1);
            EXPECT_EQ(edges[0], (edge{99, 0}));
            auto w = ring.begin();
            for (std::size_t i = 1; i < edges.size(); ++i, ++w) EXPECT_EQ(edges[i], (edge{v, *w}));
        }
    }
}

TEST(TriangleNeighbourIndices, EqualsTheDefinitionOnEveryTriangle)
{
    for (const auto& [name, s] : awkward_surfaces()) {
        const auto map = get_vertex_to_triangles_map(s);
        const auto all = triangle_neighbour_indices(s, map);
        ASSERT_EQ(all.size(), s.triangles.size());
        for (std::size_t t = 0; t < s.triangles.size(); ++t) {
            std::set<std::size_t> expected;
            for (const auto& side :
                 {edge{s.triangles[t][1], s.triangles[t][2]}, edge{s.triangles[t][2], s.triangles[t][0]},
                  edge{s.triangles[t][0], s.triangles[t][1]}})
                for (const std::size_t u : triangles_on(s.triangles, side[0], side[1], false))
                    if (u != t) expected.insert(u);
            ASSERT_EQ(all[t], ids(expected.begin(), expected.end())) << name << " triangle " << t;
            EXPECT_EQ(triangle_neighbour_indices(s, map, t), all[t]);
        }
        EXPECT_EQ(triangle_neighbour_indices(s), all);
    }
}

TEST(EdgeBetweenTriangles, MatchesCornersAsMultisetsInTheFirstDirection)
{
    constexpr std::size_t no = SIZE_MAX;
    const std::vector<std::tuple<tri, tri, bool, edge>> cases{
        {{0, 1, 2}, {1, 0, 3}, true, {0, 1}},
        {{0, 1, 2}, {2, 5, 0}, true, {2, 0}},
        {{0, 1, 2}, {1, 2, 7}, true, {1, 2}},
        {{0, 1, 2}, {0, 5, 6}, false, {no, no}},
        {{0, 1, 2}, {2, 1, 0}, false, {0, 1}},  // same three vertices: false, but the edge is written
        // A repeat in the first triangle matches twice only if the second repeats it too.
        {{0, 0, 1}, {0, 1, 2}, true, {1, 0}},
        {{0, 0, 1}, {0, 1, 0}, false, {0, 0}},
        {{3, 3, 3}, {3, 4, 5}, false, {no, no}}};
    for (const auto& [first, second, found, expected] : cases) {
        edge e{7, 7};
        EXPECT_EQ(edge_between_triangles(e, first, second), found) << first[0] << first[1] << first[2];
        EXPECT_EQ(e, expected) << first[0] << first[1] << first[2] << " " << second[0] << second[1] << second[2];
    }
}

TEST(AreEqualAndHasEdge, AgreeWithRotationsOfEveryTripleOverThreeValues)
{
    std::vector<tri> all;
    for (std::size_t i = 0; i < 27; ++i) all.push_back({i % 3, i / 3 % 3, i / 9});
    const auto rotations = [](const tri& t) { return std::vector<tri>{t, {t[1], t[2], t[0]}, {t[2], t[0], t[1]}}; };
    for (const auto& a : all) {
        for (const auto& b : all) {
            const auto same = rotations(b);
            const auto turned = rotations({b[0], b[2], b[1]});
            const bool rotation = std::find(same.begin(), same.end(), a) != same.end();
            const bool reversal = std::find(turned.begin(), turned.end(), a) != turned.end();
            ASSERT_EQ(are_equal(a, b, true), rotation) << a[0] << a[1] << a[2] << " " << b[0] << b[1] << b[2];
            ASSERT_EQ(are_equal(a, b, false), rotation || reversal);
        }
        for (std::size_t x = 0; x < 3; ++x) {
            for (std::size_t y = 0; y < 3; ++y) {
                EXPECT_EQ(has_edge({x, y}, a, true), runs(a, x, y));
                EXPECT_EQ(has_edge({x, y}, a, false), runs(a, x, y) || runs(a, y, x));
            }
        }
    }
}

}  // namespace
