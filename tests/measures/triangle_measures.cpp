#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include <geometry/connectivity.h>
#include <geometry/measures.h>
#include <math/vecmath.h>

#include "measures/uneven_surface.h"
#include "meshgen.h"
#include "surface/stable_length.h"

namespace {

using namespace Zelkov::Geometry;
using Zelkov::Testing::bits;
using point3 = point<double, 3>;

void expect_same_bits(const point3& a, const point3& b)
{
    EXPECT_EQ(bits(a.x), bits(b.x));
    EXPECT_EQ(bits(a.y), bits(b.y));
    EXPECT_EQ(bits(a.z), bits(b.z));
}

/// One triangle (0, 1, 2) on the given corners.
triangle_surface single(const point3& a, const point3& b, const point3& c) { return {{a, b, c}, {{0, 1, 2}}}; }

TEST(TriangleMeasures, WrappersPassCornersInTriangleOrder)
{
    const auto s = Zelkov::Testing::uneven_torus();
    for (const std::size_t t : {0u, 17u, 300u}) {
        const auto& tr = s.triangles[t];
        const auto &a = s.vertices[tr[0]], &b = s.vertices[tr[1]], &c = s.vertices[tr[2]];
        EXPECT_EQ(bits(area(t, s)), bits(Zelkov::Math::get_area(a, b, c)));
        for (const bool unit : {true, false}) {
            expect_same_bits(normal(t, s, unit), Zelkov::Math::get_normal(a, b, c, unit));
            expect_same_bits(normal(tr, s, unit), Zelkov::Math::get_normal(a, b, c, unit));
        }
        point3 center{}, expected_center{};
        double radius = 0, expected_radius = 0;
        circumsphere(center, radius, t, s);
        Zelkov::Math::circumsphere(expected_center, expected_radius, a, b, c);
        expect_same_bits(center, expected_center);
        EXPECT_EQ(bits(radius), bits(expected_radius));
    }
    // Three indices that are no triangle of the surface only address vertices.
    expect_same_bits(normal(std::array<std::size_t, 3>{5, 2, 9}, s, false),
                     Zelkov::Math::get_normal(s.vertices[5], s.vertices[2], s.vertices[9], false));

    // angle_0 belongs to t[0]: a right angle at the first corner.
    const auto right = single({0, 0, 0}, {1, 0, 0}, {0, 2, 0});
    double a0, a1, a2;
    angles(a0, a1, a2, 0, right);
    EXPECT_DOUBLE_EQ(a0, std::acos(0.0));
    EXPECT_DOUBLE_EQ(a1, std::atan(2.0));
    EXPECT_DOUBLE_EQ(a2, std::atan(0.5));
}

TEST(VertexNormal, FreeVertexAndCancellingFan)
{
    // Vertex 3 is free; vertex 0's two triangles are one triangle both ways.
    const triangle_surface s{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {5, 5, 5}}, {{0, 1, 2}, {0, 2, 1}}};
    const auto map = get_vertex_to_triangles_map(s);
    expect_same_bits(normal(std::size_t{3}, s, map), {0.0, 0.0, 0.0});
    const point3 cancelled = normal(std::size_t{0}, s, map);
    EXPECT_TRUE(std::isnan(cancelled.x) && std::isnan(cancelled.y) && std::isnan(cancelled.z));
}

TEST(VertexNormal, AreaWeightedSumInFanOrder)
{
    // A big triangle facing +z and a small one facing +x: area weighting tilts
    // the normal towards +z by the ratio of the areas (4 : 1).
    const triangle_surface s{{{0, 0, 0}, {2, 0, 0}, {0, 4, 0}, {0, 1, 0}, {0, 0, 2}}, {{0, 1, 2}, {0, 3, 4}}};
    const point3 n = normal(std::size_t{0}, s, get_vertex_to_triangles_map(s));
    EXPECT_DOUBLE_EQ(n.x, 1.0 / std::sqrt(17.0));
    EXPECT_DOUBLE_EQ(n.y, 0.0);
    EXPECT_DOUBLE_EQ(n.z, 4.0 / std::sqrt(17.0));

    // On an uneven surface the sum runs over the fan in ascending order and is
    // normalised by stable_length.
    const auto uneven = Zelkov::Meshgen::shuffled(Zelkov::Testing::uneven_torus(), 3);
    const auto map = get_vertex_to_triangles_map(uneven);
    for (const std::size_t v : {0u, 42u, 200u}) {
        point3 sum{0, 0, 0};
        for (const std::size_t t : map[v]) {
            const point3 m = normal(t, uneven, false);
            sum = {sum.x + m.x, sum.y + m.y, sum.z + m.z};
        }
        expect_same_bits(normal(v, uneven, map), detail::normalised(sum));
    }
}

TEST(SignedVolumeOfTriangle, SideAndSign)
{
    const auto s = single({1, 0, 0}, {0, 1, 0}, {0, 0, 1});
    EXPECT_DOUBLE_EQ(signed_volume_of_triangle(0, s, {0, 0, 0}), 1.0 / 6.0);  // behind
    EXPECT_DOUBLE_EQ(signed_volume_of_triangle(0, s, {1, 1, 1}), -2.0 / 6.0);
    EXPECT_NEAR(signed_volume_of_triangle(0, s, {0.7, 0.2, 0.1}), 0.0, 1e-16);  // in the plane

    // Swapping the last two corners negates the value exactly.
    const point3 r{-3.25, 17.5, 0.125};
    const auto swapped = single({1, 0, 0}, {0, 0, 1}, {0, 1, 0});
    EXPECT_EQ(bits(signed_volume_of_triangle(0, swapped, r)), bits(-signed_volume_of_triangle(0, s, r)));
}

TEST(LargestEdgeLengthSqr, LargestOfTheThree)
{
    EXPECT_EQ(largest_edge_length_sqr(0, single({2, 2, 2}, {2, 2, 2}, {2, 2, 2})), 0.0);
    // The longest edge in each of the three places.
    EXPECT_EQ(largest_edge_length_sqr(0, single({0, 3, 0}, {4, 0, 0}, {0, 0, 0})), 25.0);
    EXPECT_EQ(largest_edge_length_sqr(0, single({0, 0, 0}, {0, 3, 0}, {4, 0, 0})), 25.0);
    EXPECT_EQ(largest_edge_length_sqr(0, single({4, 0, 0}, {0, 0, 0}, {0, 3, 0})), 25.0);
}

TEST(BarycentricPoint, WeightsAreTakenAsGiven)
{
    const auto s = single({1.5, -2, 3}, {4, 5, -6}, {7, 8, 9});
    EXPECT_EQ(barycentric_point(0, s, {1, 0, 0}), s.vertices[0]);
    EXPECT_EQ(barycentric_point(0, s, {0, 0, 0}), (point3{0, 0, 0}));
    EXPECT_EQ(barycentric_point(0, s, {2, -1, 0}), (point3{-1, -9, 12}));
    const point3 w{0.1, 0.7, 0.2};
    const point3 p = barycentric_point(0, s, w);
    EXPECT_EQ(bits(p.x), bits((0.1 * 1.5 + 0.7 * 4) + 0.2 * 7));
    EXPECT_EQ(bits(p.z), bits((0.1 * 3 + 0.7 * -6) + 0.2 * 9));
}

TEST(TriangleQuality, RegularRightAndDegenerateCases)
{
    EXPECT_NEAR(triangle_quality(0, single({0, 0, 0}, {1, 0, 0}, {0.5, std::sqrt(0.75), 0})), 1.0, 1e-15);
    EXPECT_EQ(triangle_quality(0, single({0, 0, 0}, {1, 0, 0}, {2, 0, 0})), 0.0);
    EXPECT_EQ(triangle_quality(0, single({3, 3, 3}, {3, 3, 3}, {3, 3, 3})), 1.0);
    // Each of the three edges of zero length alone: 0, where the formula gives 0/0.
    const point3 p{3, 3, 3}, q{4, 3, 3};
    for (const auto& one_edge_collapsed : {single(p, p, q), single(q, p, p), single(p, q, p)})
        EXPECT_EQ(triangle_quality(0, one_edge_collapsed), 0.0);
    EXPECT_TRUE(std::isnan(triangle_quality(0, single({std::nan(""), 0, 0}, {1, 0, 0}, {0, 1, 0}))));
    // Right isosceles: 2 r / R = 2 (sqrt 2 - 1).
    const double right_isosceles = 2 * (std::sqrt(2.0) - 1);
    EXPECT_NEAR(triangle_quality(0, single({0, 0, 0}, {1, 0, 0}, {0, 1, 0})), right_isosceles, 1e-15);
}

TEST(IsSharp, ThresholdIsInclusiveAndNaNIsNeverSharp)
{
    // The smallest angle in each of the three places.
    const point3 p[3] = {{0, 0, 0}, {4, 0, 0}, {0, 1, 0}};
    for (int r = 0; r < 3; ++r) {
        const auto s = single(p[r], p[(r + 1) % 3], p[(r + 2) % 3]);
        double a0, a1, a2;
        angles(a0, a1, a2, 0, s);
        const double smallest = std::min({a0, a1, a2});
        EXPECT_TRUE(is_sharp(0, s, smallest));
        EXPECT_FALSE(is_sharp(0, s, std::nextafter(smallest, 0.0)));
    }

    const auto broken = single({std::nan(""), 0, 0}, {1, 0, 0}, {0, 1, 0});
    EXPECT_FALSE(is_sharp(0, broken, std::numeric_limits<double>::infinity()));
}

}  // namespace
