#include <gtest/gtest.h>

#include "edits/edit_support.h"

namespace {

using namespace Zelkov::Geometry;
using namespace Zelkov::Testing;

/// The triangles after `collapse_triangle`, which must collapse; the map must stay exact.
std::vector<tri> collapsed(triangle_surface s, std::size_t triangle, std::size_t corner)
{
    auto map = get_vertex_to_triangles_map(s);
    EXPECT_TRUE(collapse_triangle(triangle, corner, s, map));
    EXPECT_TRUE(check_vertex_to_triangles_map(s, map));
    return s.triangles;
}

TEST(CollapseTriangle, FirstNeighbourSharesTheFlipAndFurtherOnesAreHalvedAtTheApex)
{
    EXPECT_EQ(collapsed(on_line(4, {{0, 1, 2}, {2, 1, 3}}), 0, 0), (std::vector<tri>{{0, 1, 3}, {2, 0, 3}}));
    EXPECT_EQ(collapsed(on_line(5, {{0, 1, 2}, {2, 1, 3}, {2, 1, 4}}), 0, 0),
              (std::vector<tri>{{0, 1, 3}, {2, 0, 3}, {0, 1, 4}, {2, 0, 4}}));

    // The count grows by (triangles on the side) - 2, also with the collapsed
    // triangle above its neighbours and an exact duplicate among them.
    EXPECT_EQ(
        collapsed(on_line(6, {{1, 2, 4}, {2, 1, 5}, {2, 1, 5}, {1, 2, 3}, {0, 1, 2}}), 4, 0),
        (std::vector<tri>{{0, 2, 4}, {0, 1, 5}, {0, 1, 5}, {1, 0, 3}, {0, 1, 4}, {2, 0, 5}, {2, 0, 5}, {0, 2, 3}}));
}

TEST(CollapseTriangle, RepeatedVerticesKeepTheMapExact)
{
    // Twins of opposite direction: d = a, so both come out repeating a vertex.
    EXPECT_EQ(collapsed(on_line(3, {{0, 1, 2}, {2, 1, 0}}), 0, 0), (std::vector<tri>{{0, 1, 0}, {2, 0, 0}}));
    // b = c: the side is the degenerate edge, whose triangles repeat that vertex.
    EXPECT_EQ(collapsed(on_line(5, {{3, 1, 1}, {1, 1, 4}, {1, 2, 1}, {0, 1, 2}}), 0, 0),
              (std::vector<tri>{{3, 1, 4}, {3, 1, 4}, {1, 2, 3}, {0, 1, 2}, {3, 2, 1}}));
}

}  // namespace
