#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include <geometry/connectivity.h>

#include "connectivity/triangle_buckets.h"
#include "support/fixtures.h"

namespace {

using namespace Zelkov::Geometry;
using Zelkov::Testing::brute_force_map;
using tri = std::array<std::size_t, 3>;

const_span_triangles tspan(const std::vector<tri>& t) { return {t.data(), t.size()}; }

/// Triangles with many repeated and shared corners, indices below `range`.
std::vector<tri> random_triangles(std::size_t n, std::size_t range, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    std::vector<tri> triangles(n);
    for (auto& t : triangles)
        for (auto& v : t) v = random() % range;
    return triangles;
}

TEST(VertexToTrianglesMap, SizeFromSpanAndFromSurface)
{
    EXPECT_TRUE(get_vertex_to_triangles_map(const_span_triangles{nullptr, 0}).empty());
    triangle_surface s{std::vector<point<double, 3>>(10), {{0, 1, 2}, {2, 1, 3}}};
    EXPECT_EQ(get_vertex_to_triangles_map(tspan(s.triangles)).size(), 4u);
    const auto map = get_vertex_to_triangles_map(s);
    EXPECT_EQ(map.size(), 10u);
    EXPECT_TRUE(map[9].empty());

    // An index past the vertex array lengthens the map; it is not refused.
    s.triangles.push_back({0, 14, 1});
    const auto long_map = get_vertex_to_triangles_map(s);
    EXPECT_EQ(long_map.size(), 15u);
    EXPECT_EQ(long_map[14].size(), 1u);
    EXPECT_TRUE(check_vertex_to_triangles_map(s, long_map));
}

// The buckets filled in parallel must share no vertex. A fault there is a
// data race, which the maps themselves would show only now and then.
TEST(VertexToTrianglesMap, BucketsAreVertexDisjointAscendingAndComplete)
{
    for (const auto& triangles : {random_triangles(5000, 800, 1), random_triangles(300, 40, 2),
                                  Zelkov::Meshgen::shuffled(Zelkov::Meshgen::torus(40, 30), 3).triangles}) {
        for (const std::size_t requested : {2u, 3u, 4u, 9u}) {
            std::size_t bucket_count = requested, vertex_count = 0;
            const auto buckets = detail::assign_triangle_buckets(tspan(triangles), bucket_count, vertex_count);
            ASSERT_EQ(buckets.size(), requested);
            std::vector<std::size_t> owner(vertex_count, SIZE_MAX);
            std::vector<int> seen(triangles.size(), 0);
            for (std::size_t b = 0; b < bucket_count; ++b) {
                EXPECT_TRUE(std::is_sorted(buckets[b].begin(), buckets[b].end()));
                for (const std::size_t t : buckets[b]) {
                    ++seen[t];
                    if (b + 1 == bucket_count) continue;
                    for (const std::size_t v : triangles[t]) {
                        EXPECT_TRUE(owner[v] == SIZE_MAX || owner[v] == b) << "vertex " << v;
                        owner[v] = b;
                    }
                }
            }
            EXPECT_TRUE(std::all_of(seen.begin(), seen.end(), [](int n) { return n == 1; }));
        }
    }
}

TEST(VertexToTrianglesMap, EqualsTheDefinition)
{
    const auto fan = Zelkov::Meshgen::fan(500);
    for (const auto& triangles : {random_triangles(20000, 3000, 4), random_triangles(19, 5, 5), fan.triangles,
                                  Zelkov::Meshgen::shuffled(Zelkov::Meshgen::icosphere(4), 6).triangles})
        EXPECT_EQ(get_vertex_to_triangles_map(tspan(triangles)), brute_force_map(triangles));
}

TEST(VertexToTrianglesMap, CheckRejectsStaleLongAndDisorderedMaps)
{
    const auto torus = Zelkov::Meshgen::torus(12, 9);
    auto map = get_vertex_to_triangles_map(torus);
    EXPECT_TRUE(check_vertex_to_triangles_map(torus, map));

    auto longer = map;
    longer.emplace_back();
    EXPECT_FALSE(check_vertex_to_triangles_map(torus, longer));

    auto stale = map;
    stale[5].erase(*stale[5].begin());
    stale[5].insert(torus.triangles.size() + 1);
    EXPECT_FALSE(check_vertex_to_triangles_map(torus, stale));

    auto disordered = map;
    auto& seq = disordered[7].get_sequence_ref();
    std::reverse(seq.begin(), seq.end());
    EXPECT_FALSE(check_vertex_to_triangles_map(torus, disordered));
}

}  // namespace
