#pragma once
// Internal steps of the sort-based de-duplication: the orders used by the
// sorts and the canonical form of a triangle.

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include <math/records.h>

namespace Zelkov::Geometry::detail {

/// Lexicographic order of (x, y, z): the first coordinate that differs under
/// `!=` decides by `<`. Looks at the point alone. With a NaN coordinate it is
/// no strict weak order: such a point is unordered against every point that
/// agrees with it on the coordinates before, and so may sort between equal
/// points.
inline bool point_less(const Zelkov::Math::point<double, 3>& a, const Zelkov::Math::point<double, 3>& b) noexcept
{
    if (a.x != b.x) return a.x < b.x;
    if (a.y != b.y) return a.y < b.y;
    return a.z < b.z;
}

/// The rotation of (a, b, c) that starts at its smallest index, chosen so that
/// all three rotations of a triangle give the same triple: (m, m, x) in any
/// rotation gives (m, x, m), (m, x, x) gives (m, x, x).
inline std::array<std::size_t, 3> canonical_rotation(const std::array<std::size_t, 3>& t) noexcept
{
    std::size_t p = 0;
    if (t[2] <= std::min(t[0], t[1])) p = 2;
    else if (t[1] <= t[0]) p = 1;
    const std::size_t s = t[p] != t[(p + 1) % 3] ? p : (p + 1) % 3;
    return {t[s % 3], t[(s + 1) % 3], t[(s + 2) % 3]};
}

/// The three indices in ascending order.
inline std::array<std::size_t, 3> sorted_indices(std::array<std::size_t, 3> t) noexcept
{
    if (t[1] < t[0]) std::swap(t[0], t[1]);
    if (t[2] < t[1]) std::swap(t[1], t[2]);
    if (t[1] < t[0]) std::swap(t[0], t[1]);
    return t;
}

}  // namespace Zelkov::Geometry::detail
