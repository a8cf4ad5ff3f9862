#pragma once
// The full determinant of a 4x4 matrix, shared by `transform` and the
// principal frame, which only ask for its sign.

#include <math/records.h>

namespace Zelkov::Geometry::detail {

inline double det3(double a, double b, double c, double d, double e, double f, double g, double h, double i) noexcept
{
    return a * (e * i - f * h) - b * (d * i - f * g) + c * (d * h - e * g);
}

/// Expansion along the first row: m[0], m[1], m[2], m[3], each times its
/// signed 3x3 minor. Every entry takes part, so a NaN anywhere makes it NaN.
inline double determinant(const Zelkov::Math::matrix4x4<double>& matrix) noexcept
{
    const double* m = matrix.m;
    const double minor0 = det3(m[5], m[6], m[7], m[9], m[10], m[11], m[13], m[14], m[15]);
    const double minor1 = det3(m[4], m[6], m[7], m[8], m[10], m[11], m[12], m[14], m[15]);
    const double minor2 = det3(m[4], m[5], m[7], m[8], m[9], m[11], m[12], m[13], m[15]);
    const double minor3 = det3(m[4], m[5], m[6], m[8], m[9], m[10], m[12], m[13], m[14]);
    return m[0] * minor0 - m[1] * minor1 + m[2] * minor2 - m[3] * minor3;
}

}  // namespace Zelkov::Geometry::detail
