#include <algorithm>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include <geometry/cleanup.h>

#include "cleanup/marked_growth.h"
#include "support/fixtures.h"

namespace {

using namespace Zelkov::Geometry;
using Zelkov::Testing::in_arena;
using Zelkov::Testing::tri;
using marks_t = std::vector<unsigned char>;

const double pi = std::acos(-1.0);

/// A grid of 6 x 5 squares and, beside it, a box: two components.
triangle_surface grid_and_box()
{
    auto s = Zelkov::Meshgen::grid(6, 5);
    copy_triangles(s, translate(Zelkov::Meshgen::box(), {0, 0, 10}));
    return s;
}

std::size_t count(const marks_t& marks)
{
    return std::count_if(marks.begin(), marks.end(), [](auto m) { return m != 0; });
}

TEST(ExpandMarked, VertexStepsFloodOneComponentAndStop)
{
    const auto s = grid_and_box();
    const std::size_t grid_triangles = 60;
    marks_t marks(s.triangles.size());
    marks[17] = 1;
    int calls = 0;
    while (expand_marked(s, marks)) ++calls;
    EXPECT_EQ(count(marks), grid_triangles);
    EXPECT_TRUE(std::all_of(marks.begin(), marks.begin() + grid_triangles, [](auto m) { return m == 1; }));
    EXPECT_GT(calls, 1);  // one call grows by one ring only
    EXPECT_LT(calls, 10);

    // The box's unmarked triangles share no vertex with the grid, and the
    // grid's own boundary is not outside.
    EXPECT_FALSE(shrink_marked(s, marks));
    marks[17] = 0;
    while (shrink_marked(s, marks)) {}
    EXPECT_EQ(count(marks), 0u);
}

TEST(ExpandMarked, TrivialSelections)
{
    triangle_surface empty;
    marks_t none;
    EXPECT_FALSE(expand_marked(empty, none));
    EXPECT_FALSE(shrink_marked(empty, none));
    EXPECT_FALSE(expand_marked(empty, none, 0, pi));

    // Everything marked (any non-zero byte) or nothing: no step has work,
    // but with no marked neighbour asked for every triangle qualifies.
    const auto s = grid_and_box();
    const std::size_t n = s.triangles.size();
    for (const unsigned char m : {0, 7}) {
        marks_t marks(n, m);
        EXPECT_FALSE(expand_marked(s, marks));
        EXPECT_FALSE(shrink_marked(s, marks));
        EXPECT_FALSE(expand_marked(s, marks, m == 0 ? 1 : 0, pi));
        EXPECT_EQ(marks, marks_t(n, m));
    }
    marks_t zero(n, 0);
    EXPECT_TRUE(expand_marked(s, zero, 0, 0.0));
    EXPECT_EQ(zero, marks_t(n, 1));

    marks_t one(n, 0);
    one[3] = 1;
    EXPECT_FALSE(expand_marked(s, one, 4, pi));
    EXPECT_EQ(count(one), 1u);
}

TEST(ExpandMarked, SharedVertexIsNotASharedEdge)
{
    const triangle_surface s{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}}, {{0, 1, 2}, {0, 3, 4}}};
    marks_t marks{1, 0};
    EXPECT_FALSE(expand_marked(s, marks, 1, pi));
    EXPECT_TRUE(expand_marked(s, marks));
    EXPECT_EQ(marks, (marks_t{1, 1}));
}

TEST(ExpandMarked, AngleLimitFollowsTheNormals)
{
    const auto box = Zelkov::Meshgen::box();
    marks_t marks(12);
    marks[0] = 1;
    // Axis-aligned faces have exact unit normals: only the coplanar partner passes.
    EXPECT_TRUE(expand_marked(box, marks, 1, 0.0));
    EXPECT_EQ(count(marks), 2u);
    EXPECT_FALSE(expand_marked(box, marks, 1, 0.1));
    // cos(pi / 2) computes to just above 0, so right angles do not pass it.
    EXPECT_FALSE(expand_marked(box, marks, 1, pi / 2));
    while (expand_marked(box, marks, 1, 1.6)) {}
    EXPECT_EQ(count(marks), 12u);

    // A degenerate neighbour has a NaN normal and is never crossed.
    const triangle_surface flat{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {2, 0, 0}}, {{0, 1, 2}, {1, 0, 3}}};
    marks_t two{1, 0};
    EXPECT_FALSE(expand_marked(flat, two, 1, pi));
}

TEST(ExpandMarked, EdgeOfThreeTrianglesCountsItsFirstTwo)
{
    const triangle_surface s{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 1, 1}, {0, 1, -1}},
                             {{0, 1, 2}, {1, 0, 3}, {1, 0, 4}}};
    // In one thread the triangles arrive in index order, so t0 and t1 pair up.
    marks_t marks{1, 0, 0};
    EXPECT_TRUE(in_arena(1, [&] { return expand_marked(s, marks, 1, pi); }));
    EXPECT_EQ(marks, (marks_t{1, 1, 0}));
}

TEST(ExpandMarked, CountsMarkedNeighboursAcrossSmoothEdges)
{
    // In a flat grid of one row, square k holds triangles 2k and 2k + 1 across
    // its diagonal, and triangle 2k + 1 touches 2k - 2 across its left edge.
    // So triangle 5 has two marked neighbours, 4 and 2; 3 and 7 have one.
    const auto grid = Zelkov::Meshgen::grid(4, 1);
    marks_t marks(8);
    marks[2] = marks[4] = 1;
    auto three = marks;
    EXPECT_FALSE(expand_marked(grid, three, 3, 0.0));
    EXPECT_TRUE(expand_marked(grid, marks, 2, 0.0));
    EXPECT_EQ(marks, (marks_t{0, 0, 1, 0, 1, 1, 0, 0}));
}

}  // namespace
