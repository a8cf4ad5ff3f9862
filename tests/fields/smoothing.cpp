#include <gtest/gtest.h>

#include <geometry/connectivity.h>
#include <geometry/fields.h>

#include "support/fixtures.h"

namespace {

using namespace Zelkov::Geometry;

std::vector<double> smooth(const triangle_surface& s, std::vector<double> field, std::size_t iterations)
{
    return smooth_scalar_field(s, std::move(field), get_vertex_to_triangles_map(s), iterations);
}

TEST(SmoothScalarField, BoxMeanOverTheRing)
{
    triangle_surface s{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {9, 9, 9}}, {{0, 1, 2}}};
    EXPECT_EQ(smooth(s, {3, 0, 0, 4}, 1), (std::vector<double>{1, 1, 1, 4}));
    EXPECT_EQ(smooth(s, {3, 0, 0, 4}, 0), (std::vector<double>{3, 0, 0, 4}));
    EXPECT_EQ(smooth(s, {3, 0, 0, 4}, 7)[3], 4.0);  // isolated vertex keeps its value
    EXPECT_TRUE(smooth(triangle_surface{}, {}, 3).empty());
}

TEST(SmoothScalarField, SurplusIsZeroedAndPassesDoNotMix)
{
    const auto grid = Zelkov::Meshgen::grid(3, 3);
    std::vector<double> field(grid.vertices.size() + 2, 0.0);
    field[5] = 16.0;
    field[grid.vertices.size()] = 42.0;
    const auto once = smooth(grid, field, 1);
    ASSERT_EQ(once.size(), field.size());
    EXPECT_EQ(once[grid.vertices.size()], 0.0);
    EXPECT_EQ(once[grid.vertices.size() + 1], 0.0);
    // Two passes equal one pass applied twice: each pass reads only the previous one.
    EXPECT_EQ(smooth(grid, field, 2), smooth(grid, once, 1));
}

}  // namespace
