#include <geometry/measures.h>

#include <algorithm>
#include <cmath>

#include <math/vecmath.h>

#include "surface/stable_length.h"

namespace Zelkov::Geometry {

namespace {

using vec3 = point<double, 3>;

/// The three corners of a triangle, in the order t[0], t[1], t[2].
struct corners {
    const vec3& p0;
    const vec3& p1;
    const vec3& p2;
};

corners corners_of(const std::array<std::size_t, 3>& t, const triangle_surface& surface) noexcept
{
    return {surface.vertices[t[0]], surface.vertices[t[1]], surface.vertices[t[2]]};
}

corners corners_of(std::size_t triangle, const triangle_surface& surface) noexcept
{
    return corners_of(surface.triangles[triangle], surface);
}

/// Squared distance, the axes added in the order y, x, z.
double distance_sqr(const vec3& p, const vec3& q) noexcept
{
    const double dy = p.y - q.y;
    const double dx = p.x - q.x;
    const double dz = p.z - q.z;
    return (dy * dy + dx * dx) + dz * dz;
}

}  // namespace

double area(std::size_t triangle, const triangle_surface& surface) noexcept
{
    const auto [a, b, c] = corners_of(triangle, surface);
    return Zelkov::Math::get_area(a, b, c);
}

point<double, 3> normal(std::size_t triangle, const triangle_surface& surface, bool unit_length) noexcept
{
    return normal(surface.triangles[triangle], surface, unit_length);
}

point<double, 3> normal(const std::array<std::size_t, 3>& triangle, const triangle_surface& surface,
                        bool unit_length) noexcept
{
    const auto [a, b, c] = corners_of(triangle, surface);
    return Zelkov::Math::get_normal(a, b, c, unit_length);
}

point<double, 3> normal(std::size_t vertex, const triangle_surface& surface,
                        const vertex_to_triangles_map& map) noexcept
{
    const auto& fan = map[vertex];
    if (fan.empty()) return {0.0, 0.0, 0.0};
    // Unnormalised normals have length twice the area, so the sum is area-weighted.
    vec3 sum{0.0, 0.0, 0.0};
    for (const std::size_t t : fan) {
        const vec3 n = normal(t, surface, false);
        sum.x += n.x;
        sum.y += n.y;
        sum.z += n.z;
    }
    // A cancelling fan divides 0 by 0 on purpose: NaN, unlike the empty fan.
    return detail::normalised(sum);
}

double signed_volume_of_triangle(std::size_t triangle, const triangle_surface& surface,
                                 const point<double, 3>& reference) noexcept
{
    const auto [p0, p1, p2] = corners_of(triangle, surface);
    const vec3 a = Zelkov::Math::detail::sub(p0, reference);
    const vec3 b = Zelkov::Math::detail::sub(p1, reference);
    const vec3 c = Zelkov::Math::detail::sub(p2, reference);
    const vec3 n = Zelkov::Math::detail::cross(b, c);
    return ((n.y * a.y + n.x * a.x) + a.z * n.z) / 6.0;
}

double largest_edge_length_sqr(std::size_t triangle, const triangle_surface& surface) noexcept
{
    const auto [p0, p1, p2] = corners_of(triangle, surface);
    const double e01 = distance_sqr(p0, p1);
    const double e12 = distance_sqr(p1, p2);
    const double e20 = distance_sqr(p2, p0);
    const double m = e20 > e12 ? e20 : e12;
    return std::max(m, e01);
}

point<double, 3> barycentric_point(std::size_t triangle, const triangle_surface& surface,
                                   const point<double, 3>& weights) noexcept
{
    const auto [a, b, c] = corners_of(triangle, surface);
    return {(weights.x * a.x + weights.y * b.x) + weights.z * c.x,
            (weights.x * a.y + weights.y * b.y) + weights.z * c.y,
            (weights.x * a.z + weights.y * b.z) + weights.z * c.z};
}

void circumsphere(point<double, 3>& center, double& radius, std::size_t triangle,
                  const triangle_surface& surface) noexcept
{
    const auto [a, b, c] = corners_of(triangle, surface);
    Zelkov::Math::circumsphere(center, radius, a, b, c);
}

void angles(double& angle_0, double& angle_1, double& angle_2, std::size_t triangle,
            const triangle_surface& surface) noexcept
{
    const auto [a, b, c] = corners_of(triangle, surface);
    Zelkov::Math::get_angles(angle_0, angle_1, angle_2, a, b, c);
}

double triangle_quality(std::size_t triangle, const triangle_surface& surface) noexcept
{
    const auto [a, b, c] = corners_of(triangle, surface);
    const auto info = Zelkov::Math::compute_triangle_info(a, b, c);
    const double s0 = info.edge_length_sqr[0];
    const double s1 = info.edge_length_sqr[1];
    const double s2 = info.edge_length_sqr[2];
    // A triangle collapsed to a point counts as perfect; one with only some
    // edges collapsed as degenerate. NaN passes both tests.
    if (s0 == 0.0 && s1 == 0.0 && s2 == 0.0) return 1.0;
    if (s0 == 0.0 || s1 == 0.0 || s2 == 0.0) return 0.0;
    const double l0 = std::sqrt(s0);
    const double l1 = std::sqrt(s1);
    const double l2 = std::sqrt(s2);
    const vec3& v = info.unnormalised_normal;
    return (((v.y * v.y + v.x * v.x) + v.z * v.z) * 4.0) / (((l1 * l0) * l2) * ((l1 + l0) + l2));
}

bool is_sharp(std::size_t triangle, const triangle_surface& surface, double threshold) noexcept
{
    double angle_0, angle_1, angle_2;
    angles(angle_0, angle_1, angle_2, triangle, surface);
    return threshold >= angle_0 || threshold >= angle_1 || threshold >= angle_2;
}

}  // namespace Zelkov::Geometry
