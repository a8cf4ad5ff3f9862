#include <algorithm>
#include <cmath>
#include <map>
#include <random>

#include <gtest/gtest.h>

#include <geometry/cleanup.h>
#include <math/vecmath.h>

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

std::size_t count(const marks_t& marks) { return std::count_if(marks.begin(), marks.end(), [](auto m) { return m != 0; }); }

/// The angle-limited step by definition, for surfaces whose edges have at most
/// two triangles.
marks_t expand_by_definition(const triangle_surface& s, marks_t marks, std::size_t min_marked, double max_angle)
{
    std::map<std::pair<std::size_t, std::size_t>, std::vector<std::size_t>> edges;
    for (std::size_t t = 0; t < s.triangles.size(); ++t)
        for (std::size_t c = 0; c < 3; ++c) {
            const auto a = s.triangles[t][c], b = s.triangles[t][(c + 1) % 3];
            edges[{std::min(a, b), std::max(a, b)}].push_back(t);
        }
    auto normal = [&](std::size_t t) {
        const auto& c = s.triangles[t];
        return Zelkov::Math::get_normal(s.vertices[c[0]], s.vertices[c[1]], s.vertices[c[2]], true);
    };
    std::vector<std::size_t> counts(marks.size());
    for (const auto& [edge, list] : edges) {
        if (list.size() != 2) continue;
        const auto n = normal(list[0]), m = normal(list[1]);
        if (!((n.y * m.y + n.x * m.x) + n.z * m.z >= std::cos(max_angle))) continue;
        counts[list[1]] += marks[list[0]] != 0;
        counts[list[0]] += marks[list[1]] != 0;
    }
    for (std::size_t t = 0; t < marks.size(); ++t)
        if (marks[t] == 0 && counts[t] >= min_marked) marks[t] = 1;
    return marks;
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
    while (shrink_marked(s, marks)) {
    }
    EXPECT_EQ(count(marks), 0u);
}

TEST(ExpandMarked, TrivialSelections)
{
    const auto s = grid_and_box();
    triangle_surface empty;
    marks_t none;
    EXPECT_FALSE(expand_marked(empty, none));
    EXPECT_FALSE(shrink_marked(empty, none));
    EXPECT_FALSE(expand_marked(empty, none, 0, pi));

    marks_t all(s.triangles.size(), 7);
    EXPECT_FALSE(expand_marked(s, all));
    EXPECT_FALSE(shrink_marked(s, all));
    EXPECT_FALSE(expand_marked(s, all, 0, pi));
    EXPECT_EQ(all, marks_t(s.triangles.size(), 7));

    marks_t zero(s.triangles.size(), 0);
    EXPECT_FALSE(expand_marked(s, zero));
    EXPECT_FALSE(shrink_marked(s, zero));
    EXPECT_FALSE(expand_marked(s, zero, 1, pi));
    EXPECT_TRUE(expand_marked(s, zero, 0, 0.0));
    EXPECT_EQ(zero, marks_t(s.triangles.size(), 1));

    marks_t one(s.triangles.size(), 0);
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
    while (expand_marked(box, marks, 1, 1.6)) {
    }
    EXPECT_EQ(count(marks), 12u);

    // A degenerate neighbour has a NaN normal and is never crossed.
    const triangle_surface flat{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {2, 0, 0}}, {{0, 1, 2}, {1, 0, 3}}};
    marks_t two{1, 0};
    EXPECT_FALSE(expand_marked(flat, two, 1, pi));
}

TEST(ExpandMarked, EdgeOfThreeTrianglesCountsItsFirstTwo)
{
    const triangle_surface s{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 1, 1}, {0, 1, -1}}, {{0, 1, 2}, {1, 0, 3}, {1, 0, 4}}};
    // In one thread the triangles arrive in index order, so t0 and t1 pair up.
    marks_t marks{1, 0, 0};
    EXPECT_TRUE(in_arena(1, [&] { return expand_marked(s, marks, 1, pi); }));
    EXPECT_EQ(marks, (marks_t{1, 1, 0}));
}

TEST(ExpandMarked, AngleLimitedStepMatchesTheDefinitionInEveryArena)
{
    const auto s = Zelkov::Meshgen::jittered(Zelkov::Meshgen::icosphere(4), 0.01, 9);
    std::mt19937_64 random(4);
    for (const double max_angle : {0.05, 0.15, 0.4}) {
        for (const std::size_t min_marked : {1u, 2u, 3u}) {
            marks_t marks(s.triangles.size());
            for (auto& m : marks) m = random() % 3 == 0 ? static_cast<unsigned char>(random() % 5) : 0;
            const auto expected = expand_by_definition(s, marks, min_marked, max_angle);
            for (const int threads : {1, 3, oneapi::tbb::task_arena::automatic}) {
                auto got = marks;
                const bool changed = in_arena(threads, [&] { return expand_marked(s, got, min_marked, max_angle); });
                EXPECT_EQ(got, expected) << max_angle << " " << min_marked << " " << threads;
                EXPECT_EQ(changed, count(expected) != count(marks));
            }
        }
    }
}

TEST(TwoSizeTHashCompare, PlainShiftAndAddWithWrapAround)
{
    using detail::TwoSizeTHashCompare;
    EXPECT_EQ(TwoSizeTHashCompare::hash({1, 2}), 65538u);
    EXPECT_EQ(TwoSizeTHashCompare::hash({std::size_t{1} << 48, 5}), 5u);
    EXPECT_TRUE(TwoSizeTHashCompare::equal({3, 4}, {3, 4}));
    EXPECT_FALSE(TwoSizeTHashCompare::equal({3, 4}, {4, 3}));
}

}  // namespace
