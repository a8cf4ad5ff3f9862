#include <cmath>
#include <numbers>

#include <gtest/gtest.h>

#include <math/vecmath.h>

#include "vecmath/point_ops.h"

using Zelkov::Math::point;
using p3 = point<double, 3>;

TEST(Vecmath, ScaledLengthIsExactOnSimpleCasesAndDoesNotOverflow)
{
    using Zelkov::Math::detail::scaled_length;
    EXPECT_EQ(scaled_length({0, 0, 0}), 0.0);
    EXPECT_EQ(scaled_length({3, 4, 0}), 5.0);
    EXPECT_EQ(scaled_length({0, -4, 3}), 5.0);
    const double huge = scaled_length({1e300, 1e300, 0});
    EXPECT_TRUE(std::isfinite(huge));
    EXPECT_NEAR(huge / 1e300, std::sqrt(2.0), 1e-15);
    EXPECT_NEAR(scaled_length({1e-300, 1e-300, 1e-300}) / 1e-300, std::sqrt(3.0), 1e-15);
}

TEST(Vecmath, AreaNormalAndInfoFollowTheRightHandRule)
{
    const p3 a{0, 0, 0}, b{2, 0, 0}, c{0, 2, 0};
    EXPECT_EQ(Zelkov::Math::get_area(a, b, c), 2.0);
    const p3 n = Zelkov::Math::get_normal(a, b, c, false);
    EXPECT_EQ(n.z, 4.0);
    const p3 u = Zelkov::Math::get_normal(a, c, b, true);
    EXPECT_EQ(u.z, -1.0);
    const auto info = Zelkov::Math::compute_triangle_info(a, b, c);
    EXPECT_EQ(info.unnormalised_normal.z, 4.0);
    EXPECT_EQ(info.edge_length_sqr[0], 4.0);
    EXPECT_EQ(info.edge_length_sqr[1], 8.0);
    EXPECT_EQ(info.edge_length_sqr[2], 4.0);
    EXPECT_TRUE(std::isnan(Zelkov::Math::get_normal(a, a, b, true).x));
}

TEST(Vecmath, AnglesAreRadiansAndSumToPi)
{
    double A = 0, B = 0, C = 0;
    Zelkov::Math::get_angles(A, B, C, {0, 0, 0}, {1, 0, 0}, {0, 1, 0});
    EXPECT_DOUBLE_EQ(A, std::numbers::pi / 2);
    EXPECT_DOUBLE_EQ(B, std::numbers::pi / 4);
    EXPECT_DOUBLE_EQ(C, std::numbers::pi / 4);
    // A needle: the small angle stays accurate.
    Zelkov::Math::get_angles(A, B, C, {0, 0, 0}, {1, 0, 0}, {1, 1e-9, 0});
    EXPECT_NEAR(A, 1e-9, 1e-22);
    EXPECT_NEAR(A + B + C, std::numbers::pi, 1e-15);
}

TEST(Vecmath, CircumsphereLiesInThePlaneAndIsEquidistant)
{
    const p3 a{1, 2, 3}, b{4, 2, 3}, c{1, 6, 3};
    p3 center{};
    double radius = 0;
    Zelkov::Math::circumsphere(center, radius, a, b, c);
    EXPECT_DOUBLE_EQ(center.x, 2.5);
    EXPECT_DOUBLE_EQ(center.y, 4.0);
    EXPECT_DOUBLE_EQ(center.z, 3.0);
    EXPECT_DOUBLE_EQ(radius, 2.5);
}
