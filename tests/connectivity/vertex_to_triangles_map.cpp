#include <algorithm>

#include <gtest/gtest.h>

#include <geometry/connectivity.h>

#include "support/fixtures.h"

namespace {

using namespace Zelkov::Geometry;
using Zelkov::Testing::brute_force_map;
using Zelkov::Testing::random_triangles;
using tri = std::array<std::size_t, 3>;

const_span_triangles tspan(const std::vector<tri>& t) { return {t.data(), t.size()}; }

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
