#include <cmath>
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include <geometry/triangle_surface.h>

namespace {

using namespace Zelkov::Geometry;
using tri = std::array<std::size_t, 3>;
using p3 = point<double, 3>;

const std::vector<p3> three_points{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
const p3 some_point{};
const tri some_triangle{0, 0, 0};

const_span_vertices vspan(const std::vector<p3>& v) { return {v.data(), v.size()}; }
const_span_triangles tspan(const std::vector<tri>& t) { return {t.data(), t.size()}; }

/// make_triangle_surface and is_valid agree on every input.
void expect_verdict(const_span_vertices v, const_span_triangles t, bool expected)
{
    EXPECT_EQ(make_triangle_surface(v, t).success, expected);
    EXPECT_EQ(is_valid(v, t), expected);
}

TEST(MakeTriangleSurface, RulesAboutNullAndEmptySpans)
{
    expect_verdict({nullptr, 0}, {nullptr, 0}, true);
    expect_verdict({&some_point, 0}, {&some_triangle, 0}, true);
    expect_verdict({nullptr, 4}, {nullptr, 0}, false);              // rule 1
    expect_verdict({three_points.data(), 3}, {nullptr, 2}, false);  // rule 3
    expect_verdict({nullptr, 0}, {&some_triangle, 1}, false);       // rule 4
    expect_verdict({three_points.data(), 3}, {nullptr, 0}, true);   // rule 5

    // Rejections by rules 1-4 give an empty surface, not the vertices alone.
    const auto r = make_triangle_surface({three_points.data(), 3}, {nullptr, 2});
    EXPECT_TRUE(r.surface.vertices.empty());
    EXPECT_TRUE(r.surface.triangles.empty());
    const auto only_points = make_triangle_surface({three_points.data(), 3}, {nullptr, 0});
    EXPECT_EQ(only_points.surface.vertices.size(), 3u);
    EXPECT_TRUE(only_points.surface.triangles.empty());
}

TEST(MakeTriangleSurface, KeepsEverythingBeforeTheFirstBadTriangle)
{
    const std::vector<tri> triangles{{0, 1, 2}, {0, 1, 3}, {0, 1, 2}};
    const auto r = make_triangle_surface(vspan(three_points), tspan(triangles));
    EXPECT_FALSE(r.success);
    EXPECT_EQ(r.surface.vertices.size(), 3u);
    ASSERT_EQ(r.surface.triangles.size(), 1u);
    EXPECT_EQ(r.surface.triangles[0], (tri{0, 1, 2}));
    EXPECT_FALSE(is_valid(triangle_surface{three_points, triangles}));
}

TEST(MakeTriangleSurface, IndexBoundsAreExact)
{
    const std::size_t max = std::numeric_limits<std::size_t>::max();
    for (const auto& [t, ok] : std::vector<std::pair<tri, bool>>{
             {{0, 1, 2}, true}, {{2, 2, 2}, true}, {{0, 3, 1}, false}, {{max, 0, 1}, false}}) {
        const std::vector<tri> one{t};
        expect_verdict(vspan(three_points), tspan(one), ok);
    }
}

TEST(MakeTriangleSurface, CopiesCoordinatesBitForBitIncludingNaN)
{
    const std::vector<p3> odd{{-0.0, std::numeric_limits<double>::quiet_NaN(), 1e-310}, {1, 2, 3}};
    const std::vector<tri> triangles{{0, 0, 1}};
    const auto r = make_triangle_surface(vspan(odd), tspan(triangles));
    ASSERT_TRUE(r.success);
    EXPECT_TRUE(std::signbit(r.surface.vertices[0].x));
    EXPECT_TRUE(std::isnan(r.surface.vertices[0].y));
    EXPECT_EQ(r.surface.vertices[0].z, 1e-310);
    EXPECT_TRUE(is_valid(r.surface));
}

TEST(MakeTriangleSurface, VerticesOnlyNumbersTheFirstThirdOfTheFlatRun)
{
    std::vector<p3> points(12);
    auto triangles_for = [&](std::size_t n) { return make_triangle_surface({points.data(), n}); };
    EXPECT_EQ(triangles_for(3).surface.triangles, (std::vector<tri>{{0, 0, 0}}));
    EXPECT_EQ(triangles_for(6).surface.triangles, (std::vector<tri>{{0, 1, 0}, {0, 0, 0}}));
    EXPECT_EQ(triangles_for(9).surface.triangles, (std::vector<tri>{{0, 1, 2}, {0, 0, 0}, {0, 0, 0}}));
    EXPECT_EQ(triangles_for(12).surface.triangles, (std::vector<tri>{{0, 1, 2}, {3, 0, 0}, {0, 0, 0}, {0, 0, 0}}));
    EXPECT_TRUE(triangles_for(12).success);
    EXPECT_EQ(triangles_for(12).surface.vertices.size(), 12u);

    EXPECT_TRUE(make_triangle_surface(const_span_vertices{nullptr, 0}).success);
    EXPECT_FALSE(make_triangle_surface(const_span_vertices{nullptr, 3}).success);
    EXPECT_FALSE(make_triangle_surface(const_span_vertices{points.data(), 0}).success);
    const auto four = triangles_for(4);
    EXPECT_FALSE(four.success);
    EXPECT_TRUE(four.surface.vertices.empty());
}

}  // namespace
