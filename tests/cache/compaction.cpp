#include <gtest/gtest.h>

#include <geometry/neighbourhood_cache.h>

#include "support/fixtures.h"

namespace {

using Zelkov::Geometry::neighbourhood_cache;
using Zelkov::Geometry::triangle_surface;
using tri = std::array<std::size_t, 3>;

constexpr std::size_t none = SIZE_MAX;

TEST(NeighbourhoodCacheRemoveInvalid, WithoutCollapsesNothingGoesButTheCacheIsSpent)
{
    auto surface = Zelkov::Meshgen::torus(5, 4);
    const auto before = surface;
    neighbourhood_cache cache(surface, {});
    EXPECT_EQ(cache.remove_invalid_triangles(), 0u);
    EXPECT_EQ(surface.triangles, before.triangles);
    EXPECT_EQ(surface.vertices.size(), before.vertices.size());
    EXPECT_TRUE(cache.vertex_corners.empty());
    EXPECT_TRUE(cache.triangle_neighbours.empty());
    EXPECT_EQ(cache.no_triangle, 40u);
    EXPECT_EQ(cache.remove_invalid_triangles(), 0u);
}

TEST(NeighbourhoodCacheRemoveInvalid, OnlyTheFirstIndexMarksADeadRow)
{
    triangle_surface surface{std::vector<Zelkov::Math::point<double, 3>>(6),
                             {{0, 1, 2}, {1, 3, 2}, {3, 4, 2}, {4, 5, 2}, {5, 0, 2}}};
    neighbourhood_cache cache(surface, {});
    surface.triangles[1][0] = none;
    surface.triangles[2][2] = none;  // not dead
    surface.triangles[4][0] = none;
    EXPECT_EQ(cache.remove_invalid_triangles(), 2u);
    EXPECT_EQ(surface.triangles, (std::vector<tri>{{0, 1, 2}, {3, 4, none}, {4, 5, 2}}));
    EXPECT_EQ(surface.vertices.size(), 6u);
}

TEST(NeighbourhoodCacheRemoveInvalid, AllDeadOrNoneAtAll)
{
    triangle_surface pillow{std::vector<Zelkov::Math::point<double, 3>>(3), {{0, 1, 2}, {0, 2, 1}}};
    neighbourhood_cache cache(pillow, {});
    cache.collapse_edge({1, 2});
    EXPECT_EQ(cache.remove_invalid_triangles(), 2u);
    EXPECT_TRUE(pillow.triangles.empty());
    EXPECT_EQ(pillow.vertices.size(), 3u);

    triangle_surface points{std::vector<Zelkov::Math::point<double, 3>>(2), {}};
    neighbourhood_cache empty(points, {});
    EXPECT_EQ(empty.remove_invalid_triangles(), 0u);
}

}  // namespace
