#include <algorithm>
#include <cmath>
#include <random>
#include <set>

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

// Sets of very different sizes are searched rather than walked. The result
// must still be what walking both side by side gives, after the earlier
// entries, in a vector whose room was raised once to the two sizes' sum.
TEST(TriangleIndicesFromEdge, LopsidedAndRandomSetsAgreeWithWalkingBoth)
{
    // Vertex 0 is in nearly every triangle and 1 in half, the rest drawn with
    // a strong skew; corners repeat, and edges are run either way. Beside it,
    // a fan whose hub has 3000 triangles and each rim vertex two.
    std::mt19937_64 random(7);
    const auto skewed = [&] { return 2 + static_cast<std::size_t>(std::pow(random() % 1000 / 1000.0, 3) * 46); };
    std::vector<tri> triangles(4000);
    for (auto& t : triangles) t = {random() % 50 ? 0 : skewed(), random() % 2 ? skewed() : 1, skewed()};
    for (const auto& s : {surface_of(std::move(triangles)), Zelkov::Meshgen::fan(3000, true)}) {
        const auto map = get_vertex_to_triangles_map(s);
        const auto check = [&](std::size_t a, std::size_t b, bool oriented) {
            ids out{s.triangles.size() - 1, 0};
            out.reserve(2 + (a + b) % 40);
            const std::size_t room = std::max(out.capacity(), map[a].size() + map[b].size());
            ids expected = out;
            for (auto i = map[a].begin(), j = map[b].begin(); a != b && i != map[a].end() && j != map[b].end();)
                if (*i == *j) expected.push_back(*i++), ++j;
                else *i < *j ? ++i : ++j;
            for (const std::size_t t : map[a])
                if (a == b && runs(s.triangles[t], a, a)) expected.push_back(t);
            if (oriented) std::erase_if(expected, [&](std::size_t t) { return !runs(s.triangles[t], a, b); });
            triangle_indices_from_edge(out, {a, b}, s, map, oriented);
            ASSERT_EQ(out, expected) << "(" << a << ", " << b << ") oriented " << oriented;
            ASSERT_EQ(out.capacity(), room) << "(" << a << ", " << b << ")";
        };
        // Every pair of the first surface; on the fan, the hub and some rim
        // vertices against all others, in both directions.
        for (std::size_t a = 0; a < map.size(); a += a < 50 ? 1 : 1000)
            for (std::size_t b = 0; b < map.size(); ++b)
                for (const bool oriented : {false, true}) {
                    check(a, b, oriented);
                    check(b, a, oriented);
                }
    }
}

TEST(OneRingVerticesFromVertex, EqualsTheDefinitionAndMergesEarlierEntries)
{
    for (const auto& [name, s] : awkward_surfaces()) {
        const auto map = get_vertex_to_triangles_map(s);
        for (std::size_t v = 0; v < map.size(); ++v) {
            // Every other corner of every triangle of v; v too when a triangle repeats it.
            std::set<std::size_t> ring;
            for (const auto& t : s.triangles) {
                for (const std::size_t w : t)
                    if (occurrences(t, v) > 0 && (w != v || occurrences(t, v) > 1)) ring.insert(w);
            }
            ASSERT_EQ(one_ring_vertices_from_vertex(v, s, map), ids(ring.begin(), ring.end())) << name << " " << v;

            std::vector<edge> edges{{99, 0}};
            edges_from_vertex(edges, v, s, map);
            ASSERT_EQ(edges.size(), ring.size() + 1);
            EXPECT_EQ(edges[0], (edge{99, 0}));
            auto w = ring.begin();
            for (std::size_t i = 1; i < edges.size(); ++i, ++w) EXPECT_EQ(edges[i], (edge{v, *w}));
        }
    }
    const auto s = surface_of({{0, 1, 2}, {3, 3, 0}}, 1);
    const auto map = get_vertex_to_triangles_map(s);
    ids out{9, 2, 9, 5};
    one_ring_vertices_from_vertex(out, 0, s, map);
    EXPECT_EQ(out, (ids{1, 2, 3, 5, 9}));
    EXPECT_EQ(one_ring_vertices_from_vertex(3, s, map), (ids{0, 3}));
    EXPECT_TRUE(one_ring_vertices_from_vertex(4, s, map).empty());
    EXPECT_TRUE(edges_from_vertex(4, s, map).empty());
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
    // A triangle touching at a vertex is no neighbour; an exact duplicate is.
    const auto s = surface_of({{0, 1, 2}, {2, 3, 4}, {0, 1, 2}});
    EXPECT_EQ(triangle_neighbour_indices(s, 0), (ids{2}));
    EXPECT_TRUE(triangle_neighbour_indices(s, 1).empty());
    EXPECT_TRUE(triangle_neighbour_indices(triangle_surface{}).empty());
}

TEST(EdgeBetweenTriangles, MatchesCornersAsMultisetsInTheFirstDirection)
{
    edge e{};
    EXPECT_TRUE(edge_between_triangles(e, {0, 1, 2}, {1, 0, 3}));
    EXPECT_EQ(e, (edge{0, 1}));
    EXPECT_TRUE(edge_between_triangles(e, {0, 1, 2}, {2, 5, 0}));
    EXPECT_EQ(e, (edge{2, 0}));
    EXPECT_TRUE(edge_between_triangles(e, {0, 1, 2}, {1, 2, 7}));
    EXPECT_EQ(e, (edge{1, 2}));
    EXPECT_FALSE(edge_between_triangles(e, {0, 1, 2}, {0, 5, 6}));
    EXPECT_EQ(e, (edge{SIZE_MAX, SIZE_MAX}));
    // Same three vertices: false, but the edge is still written.
    EXPECT_FALSE(edge_between_triangles(e, {0, 1, 2}, {2, 1, 0}));
    EXPECT_EQ(e, (edge{0, 1}));
    // A repeat in the first triangle matches twice only if the second repeats it too.
    EXPECT_TRUE(edge_between_triangles(e, {0, 0, 1}, {0, 1, 2}));
    EXPECT_EQ(e, (edge{1, 0}));
    EXPECT_FALSE(edge_between_triangles(e, {0, 0, 1}, {0, 1, 0}));
    EXPECT_EQ(e, (edge{0, 0}));
    EXPECT_FALSE(edge_between_triangles(e, {3, 3, 3}, {3, 4, 5}));
    EXPECT_EQ(e, (edge{SIZE_MAX, SIZE_MAX}));
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
