#include <gtest/gtest.h>

#include "edits/edit_steps.h"
#include "edits/edit_support.h"

namespace {

using namespace Zelkov::Geometry;
using namespace Zelkov::Testing;

/// Two triangles on the edge (0, 1), running it in opposite directions.
triangle_surface two_triangles() { return {{{4, 8, 0}, {0, 0, 4}, {1, 1, 1}, {2, -1, 0}}, {{0, 1, 2}, {1, 0, 3}}}; }

TEST(SplitEdge, OldIndexKeepsTheFirstEndAndPiecesGoToTheEnd)
{
    auto s = two_triangles();
    auto map = get_vertex_to_triangles_map(s);
    std::vector<std::size_t> labels{7, 9};
    EXPECT_EQ(split_edge({0, 1}, 0.25, s, map, labels), 4u);
    ASSERT_EQ(s.vertices.size(), 5u);
    EXPECT_EQ(s.vertices[4], (point3{1, 2, 3}));  // 0.75 p1 + 0.25 p0
    EXPECT_EQ(s.triangles, (std::vector<tri>{{0, 4, 2}, {4, 0, 3}, {4, 1, 2}, {1, 4, 3}}));
    EXPECT_EQ(entries(map), (std::vector<ids>{{0, 1}, {2, 3}, {0, 2}, {1, 3}, {0, 1, 2, 3}}));
    EXPECT_EQ(labels, (std::vector<std::size_t>{7, 9, 7, 9}));

    // Reversed, the weight is the share of vertex 1 and each old index keeps vertex 1.
    auto r = two_triangles();
    auto rmap = get_vertex_to_triangles_map(r);
    EXPECT_EQ(split_edge({1, 0}, 0.25, r, rmap), 4u);
    EXPECT_EQ(r.vertices[4], (point3{3, 6, 1}));
    EXPECT_EQ(r.triangles, (std::vector<tri>{{4, 1, 2}, {1, 4, 3}, {0, 4, 2}, {4, 0, 3}}));
    EXPECT_TRUE(check_vertex_to_triangles_map(r, rmap));
}

TEST(SplitEdge, NonManifoldEdgeIsCutInEveryTriangle)
{
    auto s = on_line(5, {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}});
    auto map = get_vertex_to_triangles_map(s);
    EXPECT_EQ(split_edge({0, 1}, 0.5, s, map), 5u);
    EXPECT_EQ(s.triangles, (std::vector<tri>{{0, 5, 2}, {5, 0, 3}, {0, 5, 4}, {5, 1, 2}, {1, 5, 3}, {5, 1, 4}}));
    EXPECT_TRUE(check_vertex_to_triangles_map(s, map));
}

TEST(SplitEdge, EdgeWithoutTrianglesAddsAFreeVertex)
{
    auto s = two_triangles();
    auto map = get_vertex_to_triangles_map(s);
    EXPECT_EQ(split_edge({2, 3}, 2.0, s, map), 4u);
    EXPECT_EQ(s.vertices[4], (point3{0, 3, 2}));  // extrapolated beyond vertex 2
    EXPECT_EQ(s.triangles, two_triangles().triangles);
    ASSERT_EQ(map.size(), 5u);
    EXPECT_TRUE(map[4].empty());
}

TEST(SplitEdge, DegenerateEdgeDuplicatesTheTrianglesThatRepeatIt)
{
    auto s = on_line(3, {{0, 0, 1}, {0, 1, 2}, {1, 2, 2}, {2, 0, 2}});
    auto map = get_vertex_to_triangles_map(s);
    std::vector<std::size_t> labels{10, 11, 12, 13};
    EXPECT_EQ(split_edge({2, 2}, 0.3, s, map, labels), 2u);
    EXPECT_EQ(s.vertices.size(), 3u);
    EXPECT_EQ(map.size(), 3u);
    EXPECT_EQ(s.triangles, (std::vector<tri>{{0, 0, 1}, {0, 1, 2}, {1, 2, 2}, {2, 0, 2}, {1, 2, 2}, {2, 0, 2}}));
    EXPECT_EQ(labels, (std::vector<std::size_t>{10, 11, 12, 13, 12, 13}));
    EXPECT_TRUE(check_vertex_to_triangles_map(s, map));
}

TEST(SplitEdge, ExistingThirdVertexGivesRepeatedVerticesAndAnExactMap)
{
    auto s = two_triangles();
    auto map = get_vertex_to_triangles_map(s);
    std::vector<std::size_t> labels{7, 9};
    split_edge({0, 1}, std::size_t{2}, s, map, labels);
    EXPECT_EQ(s.vertices.size(), 4u);
    EXPECT_EQ(map.size(), 4u);
    EXPECT_EQ(s.triangles, (std::vector<tri>{{0, 2, 2}, {2, 0, 3}, {2, 1, 2}, {1, 2, 3}}));
    EXPECT_TRUE(check_vertex_to_triangles_map(s, map));
}

TEST(SplitBoundaryEdge, OnlyTheLowestTriangleIsCut)
{
    auto s = two_triangles();
    s.vertices.push_back({9, 9, 9});
    auto map = get_vertex_to_triangles_map(s);
    std::vector<std::size_t> labels{7, 9};
    split_boundary_edge({1, 0}, 4, s, map, labels);
    EXPECT_EQ(s.triangles, (std::vector<tri>{{4, 1, 2}, {1, 0, 3}, {0, 4, 2}}));
    EXPECT_EQ(labels, (std::vector<std::size_t>{7, 9, 7}));
    EXPECT_TRUE(check_vertex_to_triangles_map(s, map));

    split_boundary_edge({2, 4}, 3, s, map);
    EXPECT_EQ(s.triangles, (std::vector<tri>{{3, 1, 2}, {1, 0, 3}, {0, 4, 2}, {4, 1, 3}}));
    EXPECT_TRUE(check_vertex_to_triangles_map(s, map));
}

TEST(SplitTriangleInThree, PiecesAroundTheCentroid)
{
    triangle_surface s{{{0.1, 0, 0}, {0.2, 3, 0}, {0.3, 0, 6}}, {{0, 1, 2}}};
    auto map = get_vertex_to_triangles_map(s);
    split_triangle_in_three(0, s, map);
    ASSERT_EQ(s.vertices.size(), 4u);
    EXPECT_EQ(s.vertices[3], (point3{((0.1 + 0.2) + 0.3) / 3.0, 1, 2}));
    EXPECT_EQ(s.triangles, (std::vector<tri>{{0, 1, 3}, {1, 2, 3}, {2, 0, 3}}));
    EXPECT_EQ(entries(map), (std::vector<ids>{{0, 2}, {0, 1}, {1, 2}, {0, 1, 2}}));
}

TEST(SplitTriangleInThree, RepeatedVertices)
{
    auto s = on_line(3, {{1, 1, 1}, {0, 2, 0}, {2, 2, 1}});
    auto map = get_vertex_to_triangles_map(s);
    split_triangle_in_three(0, s, map);
    EXPECT_EQ(s.vertices.size(), 3u);
    EXPECT_EQ(s.triangles, (std::vector<tri>{{1, 1, 1}, {0, 2, 0}, {2, 2, 1}, {1, 1, 1}, {1, 1, 1}}));

    split_triangle_in_three(1, s, map);  // (a, b, a): t stays in the set of a
    split_triangle_in_three(2, s, map);  // (a, a, c)
    EXPECT_EQ(s.vertices.size(), 5u);
    EXPECT_EQ(s.triangles[1], (tri{0, 2, 3}));
    EXPECT_TRUE(check_vertex_to_triangles_map(s, map));
}

}  // namespace
