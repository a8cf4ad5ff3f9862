#include <algorithm>
#include <cmath>
#include <map>
#include <random>

#include <gtest/gtest.h>

#include <geometry/cleanup.h>

#include "cleanup/unique.h"
#include "support/fixtures.h"

namespace {

using namespace Zelkov::Geometry;
using Zelkov::Testing::canonical;
using Zelkov::Testing::point3;
using Zelkov::Testing::same_bits;
using Zelkov::Testing::tri;

bool has_nan(const point3& p) { return std::isnan(p.x) || std::isnan(p.y) || std::isnan(p.z); }

/// A soup of `n` triangles whose corners take few distinct values, with -0.0
/// beside 0.0 and, when `nan_share` > 0, that share of points holding a NaN.
triangle_surface crowded_soup(std::size_t n, double nan_share, std::uint64_t seed)
{
    const double values[] = {-1.0, -0.0, 0.0, 0.5, 1.0};
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    auto value = [&] { return values[random() % 5]; };
    triangle_surface s;
    for (std::size_t i = 0; i < 3 * n; ++i) {
        point3 p{value(), value(), value()};
        if (unit(random) < nan_share) (random() % 2 ? p.x : p.z) = std::nan("");
        s.vertices.push_back(p);
    }
    for (std::size_t t = 0; t < n; ++t) s.triangles.push_back({3 * t, 3 * t + 1, 3 * t + 2});
    return s;
}

/// Checks `unique_vertices` against the definition: merged exactly when `==`,
/// every point kept as itself, NaN points bit for bit, triangles renumbered.
void expect_welded(const triangle_surface& before, const triangle_surface& after, const std::vector<std::size_t>& map)
{
    const std::size_t n = before.vertices.size();
    ASSERT_EQ(map.size(), n);
    const bool any_nan = std::any_of(before.vertices.begin(), before.vertices.end(), has_nan);
    std::vector<bool> occurs(after.vertices.size());
    for (std::size_t i = 0; i < n; ++i) {
        ASSERT_LT(map[i], after.vertices.size());
        occurs[map[i]] = true;
        const auto& kept = after.vertices[map[i]];
        EXPECT_TRUE(has_nan(before.vertices[i]) ? same_bits(kept, before.vertices[i]) : kept == before.vertices[i]);
        // A NaN point, unordered against others, may sort between equal points
        // and keep them apart; otherwise points merge exactly when equal.
        for (std::size_t j = i + 1; j < n; ++j) {
            const bool equal = before.vertices[i] == before.vertices[j];
            if (map[i] == map[j] || !any_nan) {
                ASSERT_EQ(map[i] == map[j], equal) << i << " " << j;
            }
        }
    }
    EXPECT_TRUE(std::all_of(occurs.begin(), occurs.end(), [](bool b) { return b; }));
    ASSERT_EQ(after.triangles.size(), before.triangles.size());
    for (std::size_t t = 0; t < before.triangles.size(); ++t)
        for (std::size_t c = 0; c < 3; ++c) EXPECT_EQ(after.triangles[t][c], map[before.triangles[t][c]]);
}

TEST(UniqueVertices, MatchesTheDefinitionOnCrowdedSoups)
{
    for (const double nan_share : {0.0, 0.05, 0.3}) {
        const auto before = crowded_soup(700, nan_share, 11);
        auto after = before;
        const auto* storage = after.vertices.data();
        const auto map = unique_vertices(after);
        expect_welded(before, after, map);
        EXPECT_EQ(after.vertices.data(), storage);
        if (nan_share == 0.0) {
            EXPECT_EQ(after.vertices.size(), 64u);  // -0.0 and 0.0 are one value
            EXPECT_TRUE(std::is_sorted(after.vertices.begin(), after.vertices.end(), detail::point_less));
        }
    }
    triangle_surface empty;
    EXPECT_TRUE(unique_vertices(empty).empty());
    EXPECT_TRUE(unique_triangles(empty, true).empty());
}

TEST(UniqueTriangles, MatchesTheDefinition)
{
    // Over six values, 5000 random triples hold each of the 216 possible ones.
    std::mt19937_64 random(3);
    std::vector<tri> triangles(5000);
    for (auto& t : triangles)
        for (auto& v : t) v = random() % 6;
    for (const bool consider_orientation : {false, true}) {
        std::map<tri, std::size_t> distinct;
        for (const auto& t : triangles) distinct[canonical(t, consider_orientation)];
        std::vector<tri> expected;
        for (auto& [t, index] : distinct) {
            index = expected.size();
            expected.push_back(t);
        }
        triangle_surface s{{}, triangles};
        const auto map = unique_triangles(s, consider_orientation);
        EXPECT_EQ(s.triangles, expected);
        ASSERT_EQ(map.size(), triangles.size());
        for (std::size_t t = 0; t < triangles.size(); ++t)
            EXPECT_EQ(map[t], distinct.at(canonical(triangles[t], consider_orientation)));
    }
}

TEST(Unique, WeldsASoupBackIntoItsSurfaceKeepingDegenerateTriangles)
{
    auto soup = Zelkov::Meshgen::soup(Zelkov::Meshgen::box());
    std::size_t twin = 2;  // another copy of the point of corner 1
    while (!(soup.vertices[twin] == soup.vertices[1])) ++twin;
    soup.triangles.push_back(soup.triangles[3]);
    soup.triangles.push_back({0, 1, twin});
    const auto [vertex_map, triangle_map] = unique(soup, true);
    EXPECT_EQ(soup.vertices.size(), 8u);
    EXPECT_EQ(vertex_map.size(), 36u);
    ASSERT_EQ(triangle_map.size(), 14u);
    EXPECT_EQ(triangle_map[12], triangle_map[3]);
    EXPECT_EQ(soup.triangles.size(), 13u);
    const std::size_t a = vertex_map[0], b = vertex_map[1];
    EXPECT_EQ(soup.triangles[triangle_map[13]], a < b ? (tri{a, b, b}) : (tri{b, a, b}));
}

}  // namespace
