#pragma once
/// \file
/// Plain records of the companion math library: points, axis-aligned boxes,
/// 4x4 affine matrices and the per-triangle record of `compute_triangle_info`.
/// All are aggregates with public members and no invariants of their own.

#include <array>
#include <cstddef>
#include <limits>

namespace Zelkov::Math {

/// A point or vector of dimension N. The general form stores its coordinates in
/// an array; dimensions 2 and 3 have named members only.
template <class T, std::size_t N>
struct point {
    std::array<T, N> coords;  ///< the coordinates in order
};

/// Two coordinates, in the order x, y.
template <class T>
struct point<T, 2> {
    T x;  ///< first coordinate
    T y;  ///< second coordinate
};

/// Three coordinates, in the order x, y, z, and nothing else: a vector of
/// `point<double,3>` is a contiguous run of doubles x0 y0 z0 x1 y1 z1 ...
template <class T>
struct point<T, 3> {
    T x;  ///< first coordinate
    T y;  ///< second coordinate
    T z;  ///< third coordinate
};

static_assert(sizeof(point<double, 3>) == 3 * sizeof(double));

/// Exact comparison, coordinate by coordinate (a NaN coordinate is unequal to all).
template <class T>
constexpr bool operator==(const point<T, 3>& a, const point<T, 3>& b) noexcept
{
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

/// An axis-aligned box. A box grown by any point has `min` not above `max`.
template <class T, std::size_t N>
struct boundingbox {
    point<T, N> min;  ///< the smallest coordinate in each direction
    point<T, N> max;  ///< the largest coordinate in each direction
};

/// The empty box of dimension 3: an inverted box with the largest finite value
/// in every coordinate of `min` and its negative in every coordinate of `max`.
template <class T>
constexpr boundingbox<T, 3> empty_boundingbox() noexcept
{
    constexpr T big = std::numeric_limits<T>::max();
    return {{big, big, big}, {-big, -big, -big}};
}

/// A 4x4 matrix of sixteen values in row-major order, acting on row vectors:
/// m[0..2], m[4..6], m[8..10] are the images of the x, y and z axes and
/// m[12..14] the translation. m[3], m[7], m[11] and m[15] take no part in
/// mapping a point.
template <class T>
struct matrix4x4 {
    T m[16];  ///< row-major values
};

/// What `compute_triangle_info` tells about a triangle a, b, c.
struct triangle_info {
    /// (b - a) x (c - a); its length is twice the triangle's area.
    point<double, 3> unnormalised_normal;
    /// The triangle's area, half the length of `unnormalised_normal`.
    double area;
    /// |b - a|^2, |c - b|^2, |a - c|^2.
    std::array<double, 3> edge_length_sqr;
};

}  // namespace Zelkov::Math
