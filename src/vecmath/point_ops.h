#pragma once
// Internal inline arithmetic on three-component points, shared by both
// libraries. Each function fixes its order of operations: sums run x, y, z from
// left to right, so results are reproducible to the bit.

#include <algorithm>
#include <cmath>

#include <math/records.h>

namespace Zelkov::Math::detail {

using vec3 = point<double, 3>;

inline vec3 sub(const vec3& a, const vec3& b) noexcept { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline vec3 add(const vec3& a, const vec3& b) noexcept { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline vec3 scale(const vec3& a, double s) noexcept { return {a.x * s, a.y * s, a.z * s}; }
inline vec3 divide(const vec3& a, double s) noexcept { return {a.x / s, a.y / s, a.z / s}; }

inline double dot(const vec3& a, const vec3& b) noexcept { return a.x * b.x + a.y * b.y + a.z * b.z; }

inline vec3 cross(const vec3& a, const vec3& b) noexcept
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// Length of (x, y, z) scaled by its largest component, so that squaring
/// neither overflows nor underflows: sqrt(r1^2 + r2^2 + 1) * big, where big is
/// the largest absolute component and r1, r2 are the other two divided by
/// max(big, smallest subnormal). The zero vector has length 0.
inline double scaled_length(const vec3& v) noexcept
{
    const double ax = std::fabs(v.x);
    const double ay = std::fabs(v.y);
    const double az = std::fabs(v.z);
    const double big = std::max(std::max(ax, ay), az);
    const double mid = std::min(az, std::max(ax, ay));
    const double small = std::min(ay, ax);
    const double guard = std::max(big, 5e-324);
    const double r1 = mid / guard;
    const double r2 = small / guard;
    return std::sqrt(r1 * r1 + r2 * r2 + 1.0) * big;
}

}  // namespace Zelkov::Math::detail
