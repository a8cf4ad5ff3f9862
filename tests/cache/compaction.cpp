#include <gtest/gtest.h>

#include <geometry/neighbourhood_cache.h>

#include "support/fixtures.h"

namespace {

using Zelkov::Geometry::neighbourhood_cache;
using Zelkov::Geometry::triangle_surface;
using tri = std::array<std::size_t, 3>;

constexpr std::size_t none = SIZE_MAX;

// Whole runs of collapses end in a compaction in collapse.cpp; here, the rows
// marked by hand.
TEST(NeighbourhoodCacheRemoveInvalid, OnlyTheFirstIndexMarksADeadRowAndTheCacheIsSpent)
{
    triangle_surface surface{std::vector<Zelkov::Math::point<double, 3>>(6),
                             {{0, 1, 2}, {1, 3, 2}, {3, 4, 2}, {4, 5, 2}, {5, 0, 2}}};
    neighbourhood_cache cache(surface, {});
    surface.triangles[1][0] = none;
    surface.triangles[2][2] = none;  // not dead
    surface.triangles[4][0] = none;
    EXPECT_EQ(cache.remove_invalid_triangles(), 2u);
    const std::vector<tri> live{{0, 1, 2}, {3, 4, none}, {4, 5, 2}};
    EXPECT_EQ(surface.triangles, live);
    EXPECT_EQ(surface.vertices.size(), 6u);
    EXPECT_TRUE(cache.vertex_corners.empty());
    EXPECT_TRUE(cache.triangle_neighbours.empty());
    EXPECT_EQ(cache.no_triangle, 5u);
    EXPECT_EQ(cache.remove_invalid_triangles(), 0u);
    EXPECT_EQ(surface.triangles, live);
}

}  // namespace
