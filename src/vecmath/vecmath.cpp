#include <math/vecmath.h>

#include <cmath>

#include "vecmath/point_ops.h"

namespace Zelkov::Math {

using detail::cross;
using detail::dot;
using detail::scaled_length;
using detail::sub;

double get_area(const point<double, 3>& a, const point<double, 3>& b, const point<double, 3>& c)
{
    return scaled_length(cross(sub(b, a), sub(c, a))) / 2.0;
}

point<double, 3> get_normal(const point<double, 3>& a, const point<double, 3>& b, const point<double, 3>& c,
                            bool unit_length)
{
    const point<double, 3> n = cross(sub(b, a), sub(c, a));
    return unit_length ? detail::divide(n, scaled_length(n)) : n;
}

void circumsphere(point<double, 3>& center, double& radius, const point<double, 3>& a, const point<double, 3>& b,
                  const point<double, 3>& c)
{
    // Relative to a: centre = (|u|^2 (w x u) + |v|^2 (v x w)) / (2 |w|^2) with
    // u = b - a, v = c - a and w = u x v, the classical closed form that keeps
    // the centre in the plane of the triangle.
    const point<double, 3> u = sub(b, a);
    const point<double, 3> v = sub(c, a);
    const point<double, 3> w = cross(u, v);
    const double denominator = 2.0 * dot(w, w);
    const point<double, 3> numerator =
        detail::add(detail::scale(cross(w, u), dot(v, v)), detail::scale(cross(v, w), dot(u, u)));
    const point<double, 3> offset = detail::divide(numerator, denominator);
    center = detail::add(a, offset);
    radius = scaled_length(offset);
}

namespace {

/// Angle between u and v in radians, robust for tiny and near-straight angles.
/// Zero when either vector has zero length.
double angle_between(const point<double, 3>& u, const point<double, 3>& v)
{
    return std::atan2(scaled_length(cross(u, v)), dot(u, v));
}

}  // namespace

void get_angles(double& angle_a, double& angle_b, double& angle_c, const point<double, 3>& a, const point<double, 3>& b,
                const point<double, 3>& c)
{
    angle_a = angle_between(sub(b, a), sub(c, a));
    angle_b = angle_between(sub(c, b), sub(a, b));
    angle_c = angle_between(sub(a, c), sub(b, c));
}

triangle_info compute_triangle_info(const point<double, 3>& a, const point<double, 3>& b, const point<double, 3>& c)
{
    triangle_info info{};
    info.unnormalised_normal = cross(sub(b, a), sub(c, a));
    info.area = scaled_length(info.unnormalised_normal) / 2.0;
    const point<double, 3> ab = sub(b, a);
    const point<double, 3> bc = sub(c, b);
    const point<double, 3> ca = sub(a, c);
    info.edge_length_sqr = {dot(ab, ab), dot(bc, bc), dot(ca, ca)};
    return info;
}

}  // namespace Zelkov::Math
