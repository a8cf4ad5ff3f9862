#include <cmath>
#include <functional>
#include <numbers>

#include <gtest/gtest.h>

#include "edits/edit_steps.h"
#include "edits/edit_support.h"

namespace {

using namespace Zelkov::Geometry;
using namespace Zelkov::Testing;
using edge_predicate = std::function<bool(const std::array<std::size_t, 2>&)>;

triangle_surface unit_square() { return {{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {{0, 1, 2}, {0, 2, 3}}}; }

triangle_surface rhombus() { return {{{-2, 0, 0}, {2, 0, 0}, {0, 1, 0}, {0, -1, 0}}, {{0, 1, 2}, {1, 0, 3}}}; }

/// The triangles after `flip_edge`, which must flip; the map must stay exact.
std::vector<tri> flipped(triangle_surface s, const std::array<std::size_t, 2>& edge)
{
    auto map = get_vertex_to_triangles_map(s);
    EXPECT_TRUE(flip_edge(edge, s, map));
    EXPECT_TRUE(check_vertex_to_triangles_map(s, map));
    return s.triangles;
}

TEST(VectorAngle, HalfAngleFormula)
{
    EXPECT_EQ(detail::vector_angle({0, -1, 0}, {1, 0, 0}), 1.5707963267948966);
    EXPECT_EQ(detail::vector_angle({1, 2, 3}, {-2, -4, -6}), std::numbers::pi);
    EXPECT_EQ(detail::vector_angle({1, 2, 3}, {2, 4, 6}), 0.0);
    EXPECT_NEAR(detail::vector_angle({2, 0, 0}, {-2, 1, 0}), std::numbers::pi - std::atan(0.5), 1e-15);
    // Nearly parallel vectors keep their tiny angle, where an arccosine gives 0.
    EXPECT_NEAR(detail::vector_angle({1, 0, 0}, {1, 1e-9, 0}), 1e-9, 1e-24);
    EXPECT_TRUE(std::isnan(detail::vector_angle({0, 0, 0}, {1, 0, 0})));
}

TEST(FlipEdge, EachTriangleKeepsTheOtherEnd)
{
    EXPECT_EQ(flipped(unit_square(), {0, 2}), (std::vector<tri>{{3, 1, 2}, {0, 1, 3}}));
    EXPECT_EQ(flipped(unit_square(), {2, 0}), (std::vector<tri>{{0, 1, 3}, {1, 2, 3}}));
}

// Refusals on edges without exactly two triangles, and that they change
// nothing, are checked by the random edit sequences.
TEST(FlipEdge, OnlyAnEdgeOfTwoTrianglesAsksThePredicateAboutTheNewEdge)
{
    auto s = on_line(5, {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}, {2, 1, 3}});
    const auto before = s;
    auto map = get_vertex_to_triangles_map(s);
    for (const std::array<std::size_t, 2> edge : {std::array<std::size_t, 2>{0, 1}, {0, 2}, {2, 4}, {3, 3}})
        EXPECT_FALSE(flip_edge_if(edge, s, map, edge_predicate{}));  // an empty predicate is never called
    EXPECT_THROW(flip_edge_if({1, 2}, s, map, edge_predicate{}), std::bad_function_call);
    std::vector<std::array<std::size_t, 2>> asked;
    const edge_predicate refuse = [&](const std::array<std::size_t, 2>& e) { return asked.push_back(e), false; };
    EXPECT_FALSE(flip_edge_if({2, 1}, s, map, refuse));
    EXPECT_EQ(asked, (std::vector<std::array<std::size_t, 2>>{{0, 3}}));
    EXPECT_EQ(s.triangles, before.triangles);
}

TEST(FlipEdge, RepeatedVerticesKeepTheMapExact)
{
    // Two triangles on the same three vertices: c = d, which relaxing refuses.
    auto twins = on_line(3, {{0, 1, 2}, {2, 1, 0}});
    auto map = get_vertex_to_triangles_map(twins);
    EXPECT_FALSE(relax_edge({0, 1}, twins, map));
    EXPECT_EQ(flipped(twins, {0, 1}), (std::vector<tri>{{2, 1, 2}, {2, 2, 0}}));

    // The lower triangle repeats e0 (c = e0): it still names e0 after the flip.
    EXPECT_EQ(flipped(on_line(3, {{0, 1, 0}, {1, 0, 2}}), {0, 1}), (std::vector<tri>{{2, 1, 0}, {0, 0, 2}}));
    // The upper triangle repeats an end as its far corner d. With d = e1 it
    // still names e1 after giving up its corner of e1; with d = e0 the lower
    // triangle's corner of e0 takes e0 again and nothing moves in its set.
    EXPECT_EQ(flipped(on_line(3, {{0, 1, 2}, {1, 0, 1}}), {0, 1}), (std::vector<tri>{{1, 1, 2}, {2, 0, 1}}));
    EXPECT_EQ(flipped(on_line(3, {{0, 1, 2}, {0, 1, 0}}), {0, 1}), (std::vector<tri>{{0, 1, 2}, {0, 2, 0}}));

    // A degenerate edge with exactly two triangles flips like any other.
    EXPECT_EQ(flipped(on_line(3, {{0, 0, 1}, {0, 0, 2}}), {0, 0}), (std::vector<tri>{{2, 0, 1}, {0, 1, 2}}));
}

TEST(RelaxEdge, CoCircularSquareFlipsOnlyWithoutMinAngle)
{
    auto s = unit_square();
    auto map = get_vertex_to_triangles_map(s);
    for (const double min_angle : {-1.0, 0.0, 1.0}) EXPECT_FALSE(relax_edge({0, 2}, s, map, min_angle)) << min_angle;
    EXPECT_EQ(s.triangles, unit_square().triangles);

    EXPECT_TRUE(relax_edge({0, 2}, s, map));
    EXPECT_EQ(s.triangles, (std::vector<tri>{{3, 1, 2}, {0, 1, 3}}));
    EXPECT_TRUE(relax_edge({1, 3}, s, map));  // the new diagonal is co-circular too
    EXPECT_TRUE(check_vertex_to_triangles_map(s, map));
}

TEST(RelaxEdge, RhombusFlipsItsLongDiagonalOnce)
{
    for (const double min_angle : {std::nan(""), 2.0, 2.5}) {
        auto s = rhombus();
        auto map = get_vertex_to_triangles_map(s);
        const bool flipped = std::isnan(min_angle) ? relax_edge({0, 1}, s, map) : relax_edge({0, 1}, s, map, min_angle);
        EXPECT_EQ(flipped, min_angle != 2.5) << min_angle;  // each opposite angle is about 2.2143
        if (!flipped) continue;
        EXPECT_EQ(s.triangles, (std::vector<tri>{{3, 1, 2}, {2, 0, 3}}));
        EXPECT_FALSE(relax_edge({2, 3}, s, map));  // each opposite angle is about 0.9273
        EXPECT_FALSE(relax_edge({3, 2}, s, map, -1.0));
    }
}

TEST(RelaxEdge, MinAngleNeedsOnlyOneOppositeAngleAboveIt)
{
    // A kite whose opposite angles are about 2.7468 and 0.9273, once with the
    // wide one at c and once at d: 1.5 lies between them.
    for (const bool wide_at_c : {true, false}) {
        const double c = wide_at_c ? 0.2 : 2.0, d = wide_at_c ? -2.0 : -0.2;
        triangle_surface s{{{-1, 0, 0}, {1, 0, 0}, {0, c, 0}, {0, d, 0}}, {{0, 1, 2}, {1, 0, 3}}};
        auto map = get_vertex_to_triangles_map(s);
        EXPECT_TRUE(relax_edge({0, 1}, s, map, 1.5)) << wide_at_c;
        EXPECT_EQ(s.triangles, (std::vector<tri>{{3, 1, 2}, {2, 0, 3}}));
    }
}

TEST(RelaxEdge, RefusesAnExistingDiagonalOrAZeroLengthSide)
{
    auto s = rhombus();
    s.triangles.push_back({2, 3, 0});
    auto map = get_vertex_to_triangles_map(s);
    EXPECT_FALSE(relax_edge({0, 1}, s, map));
    EXPECT_FALSE(relax_edge({0, 1}, s, map, 0.0));
    std::vector<std::array<std::size_t, 2>> asked;
    EXPECT_TRUE(flip_edge_if({0, 1}, s, map, [&](const auto& e) { return asked.push_back(e), true; }));
    EXPECT_EQ(asked, (std::vector<std::array<std::size_t, 2>>{{2, 3}}));
    EXPECT_TRUE(check_vertex_to_triangles_map(s, map));

    auto z = unit_square();
    z.vertices[3] = z.vertices[0];  // the apex d sits on the end e0
    auto zmap = get_vertex_to_triangles_map(z);
    EXPECT_FALSE(relax_edge({0, 2}, z, zmap));
    EXPECT_FALSE(relax_edge({0, 2}, z, zmap, -1.0));
    EXPECT_EQ(z.triangles, unit_square().triangles);
}

}  // namespace
