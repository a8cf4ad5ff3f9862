#include <gtest/gtest.h>

#include "edits/edit_support.h"

namespace {

using namespace Zelkov::Geometry;
using namespace Zelkov::Testing;

TEST(CollapseTriangle, FirstNeighbourSharesTheFlip)
{
    auto s = on_line(4, {{0, 1, 2}, {2, 1, 3}});
    auto map = get_vertex_to_triangles_map(s);
    EXPECT_TRUE(collapse_triangle(0, 0, s, map));
    EXPECT_EQ(s.triangles, (std::vector<tri>{{0, 1, 3}, {2, 0, 3}}));
    EXPECT_EQ(entries(map), (std::vector<ids>{{0, 1}, {0}, {1}, {0, 1}}));
    EXPECT_EQ(s.vertices, on_line(4, {}).vertices);
}

TEST(CollapseTriangle, FurtherNeighboursAreHalvedAtTheApex)
{
    auto s = on_line(5, {{0, 1, 2}, {2, 1, 3}, {2, 1, 4}});
    auto map = get_vertex_to_triangles_map(s);
    EXPECT_TRUE(collapse_triangle(0, 0, s, map));
    EXPECT_EQ(s.triangles, (std::vector<tri>{{0, 1, 3}, {2, 0, 3}, {0, 1, 4}, {2, 0, 4}}));
    EXPECT_EQ(entries(map), (std::vector<ids>{{0, 1, 2, 3}, {0, 2}, {1, 3}, {0, 1}, {2, 3}}));

    // The count grows by (triangles on the side) - 2, also with the collapsed
    // triangle above its neighbours and an exact duplicate among them.
    auto d = on_line(6, {{1, 2, 4}, {2, 1, 5}, {2, 1, 5}, {1, 2, 3}, {0, 1, 2}});
    auto dmap = get_vertex_to_triangles_map(d);
    EXPECT_TRUE(collapse_triangle(4, 0, d, dmap));
    EXPECT_EQ(
        d.triangles,
        (std::vector<tri>{{0, 2, 4}, {0, 1, 5}, {0, 1, 5}, {1, 0, 3}, {0, 1, 4}, {2, 0, 5}, {2, 0, 5}, {0, 2, 3}}));
    EXPECT_TRUE(check_vertex_to_triangles_map(d, dmap));
}

TEST(CollapseTriangle, BoundarySideIsRefusedPerCorner)
{
    auto s = on_line(4, {{0, 1, 2}, {2, 1, 3}});
    s.triangles.shrink_to_fit();
    const auto before = s;
    auto map = get_vertex_to_triangles_map(s);
    const auto map_before = map;
    EXPECT_FALSE(collapse_triangle(0, 1, s, map));
    EXPECT_FALSE(collapse_triangle(0, 2, s, map));
    EXPECT_FALSE(collapse_triangle(1, 0, s, map));
    EXPECT_EQ(s.triangles, before.triangles);
    EXPECT_EQ(s.triangles.capacity(), 2u);
    EXPECT_EQ(map, map_before);
    EXPECT_TRUE(collapse_triangle(1, 2, s, map));  // side (2, 1) has a neighbour
    EXPECT_TRUE(check_vertex_to_triangles_map(s, map));

    auto lone = on_line(3, {{0, 1, 2}});
    auto lone_map = get_vertex_to_triangles_map(lone);
    for (std::size_t corner = 0; corner < 3; ++corner) EXPECT_FALSE(collapse_triangle(0, corner, lone, lone_map));
}

TEST(CollapseTriangle, RepeatedVerticesKeepTheMapExact)
{
    // Twins of opposite direction: d = a, so both come out repeating a vertex.
    auto s = on_line(3, {{0, 1, 2}, {2, 1, 0}});
    auto map = get_vertex_to_triangles_map(s);
    EXPECT_TRUE(collapse_triangle(0, 0, s, map));
    EXPECT_EQ(s.triangles, (std::vector<tri>{{0, 1, 0}, {2, 0, 0}}));
    EXPECT_EQ(entries(map), (std::vector<ids>{{0, 1}, {0}, {1}}));

    // b = c: the side is the degenerate edge, whose triangles repeat that vertex.
    auto r = on_line(5, {{3, 1, 1}, {1, 1, 4}, {1, 2, 1}, {0, 1, 2}});
    auto rmap = get_vertex_to_triangles_map(r);
    EXPECT_TRUE(collapse_triangle(0, 0, r, rmap));
    EXPECT_EQ(r.triangles, (std::vector<tri>{{3, 1, 4}, {3, 1, 4}, {1, 2, 3}, {0, 1, 2}, {3, 2, 1}}));
    EXPECT_TRUE(check_vertex_to_triangles_map(r, rmap));
}

}  // namespace
