#include <cmath>

#include <gtest/gtest.h>

#include <geometry/measures.h>

#include "measures/principal_frame.h"
#include "measures/uneven_surface.h"
#include "meshgen.h"

namespace {

using namespace Zelkov::Geometry;
using Zelkov::Testing::bits;
using point3 = point<double, 3>;

point3 row(const matrix4x4<double>& m, int r) { return {m.m[4 * r], m.m[4 * r + 1], m.m[4 * r + 2]}; }

std::array<double, 4> projective(const matrix4x4<double>& m) { return {m.m[3], m.m[7], m.m[11], m.m[15]}; }

double dot(const point3& a, const point3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

void expect_near(const point3& a, const point3& b, double tolerance)
{
    EXPECT_NEAR(a.x, b.x, tolerance);
    EXPECT_NEAR(a.y, b.y, tolerance);
    EXPECT_NEAR(a.z, b.z, tolerance);
}

/// Rows 0-2 orthonormal, right-handed, and the projective entries 0, 0, 0, 1.
void expect_right_handed_frame(const matrix4x4<double>& m)
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(dot(row(m, i), row(m, j)), i == j ? 1.0 : 0.0, 1e-12);
    EXPECT_NEAR(detail::determinant(m), 1.0, 1e-12);
    EXPECT_EQ(projective(m), (std::array<double, 4>{0, 0, 0, 1}));
}

/// A rotation about the axis (1, 2, 2)/3 by 0.7 radians, in the row-vector layout.
matrix4x4<double> tilted(const point3& shift)
{
    const double c = std::cos(0.7), s = std::sin(0.7), t = 1 - c;
    const double x = 1.0 / 3, y = 2.0 / 3, z = 2.0 / 3;
    return {{t * x * x + c, t * x * y + s * z, t * x * z - s * y, 0, t * x * y - s * z, t * y * y + c,
             t * y * z + s * x, 0, t * x * z + s * y, t * y * z - s * x, t * z * z + c, 0, shift.x, shift.y, shift.z,
             1}};
}

/// A box of 1 x 2 x 10 with its long side along z, centred at (1, 2, 3).
triangle_surface long_box() { return translate(Zelkov::Meshgen::box(1, 2, 10), {0.5, 1, -2}); }

TEST(ShellInertiaTensor, TwiceTheShellInertia)
{
    // A unit cube shell of density 1 has moment 5/3 about every axis through
    // its centre.
    const auto tensor = detail::shell_inertia_tensor(Zelkov::Meshgen::box(), {0.5, 0.5, 0.5});
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(tensor(i, j), i == j ? 10.0 / 3 : 0.0, 1e-14);
    EXPECT_TRUE(detail::shell_inertia_tensor(triangle_surface{}, {0, 0, 0}).isZero(0.0));
}

TEST(OrderByMoment, DescendingAndEqualMomentsKeepTheirOrder)
{
    const point3 a{1, 0, 0}, b{0, 1, 0}, c{0, 0, 1};
    const auto ordered = [&](std::array<double, 3> moments) {
        detail::principal_axes frame{{a, b, c}, moments};
        detail::order_by_moment(frame);
        return frame;
    };
    const auto ascending = ordered({1, 2, 3});
    EXPECT_EQ(ascending.moments, (std::array<double, 3>{3, 2, 1}));
    EXPECT_EQ(ascending.axes, (std::array<point3, 3>{c, b, a}));
    EXPECT_EQ(ordered({2, 2, 2}).axes, (std::array<point3, 3>{a, b, c}));  // equal moments keep their order
}

TEST(RightHandedFrame, NegatesOnlyTheFirstAxis)
{
    const point3 a{1, 0, 0}, b{0, 1, 0}, c{0, 0, 1};
    const auto left = detail::right_handed_frame({{a, c, b}, {3, 2, 1}}, {4, 5, 6});
    EXPECT_EQ(row(left, 0), (point3{-1, 0, 0}));
    EXPECT_EQ(row(left, 1), c);
    EXPECT_EQ(row(left, 2), b);
    EXPECT_EQ(row(left, 3), (point3{4, 5, 6}));

    const auto right = detail::right_handed_frame({{b, c, a}, {3, 2, 1}}, {4, 5, 6});
    EXPECT_EQ(row(right, 0), b);

    // A NaN translation makes the full determinant NaN: nothing is negated.
    const double nan = std::nan("");
    const auto undefined = detail::right_handed_frame({{a, c, b}, {0, 0, 0}}, {nan, nan, nan});
    EXPECT_EQ(row(undefined, 0), a);
}

TEST(Inertia, LongBoxAxesAndCentre)
{
    const auto m = inertia(long_box());
    expect_right_handed_frame(m);
    // Largest moment about x (the box is wider in y than in x), smallest about z.
    EXPECT_NEAR(std::fabs(m.m[0]), 1.0, 1e-12);
    EXPECT_NEAR(std::fabs(m.m[5]), 1.0, 1e-12);
    EXPECT_NEAR(std::fabs(m.m[10]), 1.0, 1e-12);
    expect_near(row(m, 3), {1, 2, 3}, 1e-12);
    // Tilted, the same box is checked through inertia_transform below: its
    // extents in the frame tell that the axes follow it.
}

TEST(Inertia, EqualMomentsGiveSomeRightHandedFrame)
{
    expect_right_handed_frame(inertia(Zelkov::Meshgen::box()));
    expect_right_handed_frame(inertia(Zelkov::Meshgen::icosphere(2)));
    expect_right_handed_frame(inertia(Zelkov::Testing::uneven_torus()));
}

TEST(Inertia, NaNFlowsThroughWithoutThrowing)
{
    const auto empty = inertia(triangle_surface{});
    EXPECT_TRUE(std::isnan(empty.m[12]) && std::isnan(empty.m[13]) && std::isnan(empty.m[14]));
    EXPECT_EQ(empty.m[15], 1.0);

    const triangle_surface slivers{{{0, 0, 0}, {1, 1, 1}, {2, 2, 2}}, {{0, 1, 2}, {1, 1, 0}}};
    const auto flat = inertia(slivers);
    EXPECT_TRUE(std::isnan(flat.m[12]));
}

TEST(InertiaTransform, MovesIntoTheFrameAndReturnsTheWayBack)
{
    auto original = long_box();
    transform(original, tilted({-4, 0, 9}));
    auto moved = original;
    const auto m = inertia_transform(moved);

    // The result is inertia's matrix, not its inverse.
    const auto expected = inertia(original);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(bits(m.m[i]), bits(expected.m[i]));
    expect_right_handed_frame(m);
    EXPECT_EQ(row(m, 3), barycenter(original));

    EXPECT_EQ(moved.triangles, original.triangles);  // right-handed: nothing turned over
    expect_near(barycenter(moved), {0, 0, 0}, 1e-12);
    const auto box = bounding_volume(moved, true);
    EXPECT_NEAR(box.max.z - box.min.z, 10.0, 1e-12);
    EXPECT_NEAR(box.max.y - box.min.y, 2.0, 1e-12);
    EXPECT_NEAR(box.max.x - box.min.x, 1.0, 1e-12);

    transform(moved, m);
    for (std::size_t v = 0; v < original.vertices.size(); ++v)
        expect_near(moved.vertices[v], original.vertices[v], 1e-12);
    EXPECT_EQ(moved.triangles, original.triangles);
}

}  // namespace
