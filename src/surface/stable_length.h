#pragma once
// The library's one way to measure and normalise a vector.

#include <math/records.h>

#include "vecmath/point_ops.h"

namespace Zelkov::Geometry::detail {

/// Scaled length of v: big * sqrt((mid/guard)^2 + (small/guard)^2 + 1) with
/// guard = max(big, smallest subnormal). 0 for the zero vector; no overflow for
/// finite components.
inline double stable_length(const Zelkov::Math::point<double, 3>& v) noexcept
{
    return Zelkov::Math::detail::scaled_length(v);
}

/// v divided component-wise by its `stable_length`, with no test: the zero
/// vector gives three NaNs.
inline Zelkov::Math::point<double, 3> normalised(const Zelkov::Math::point<double, 3>& v) noexcept
{
    const double length = stable_length(v);
    return {v.x / length, v.y / length, v.z / length};
}

}  // namespace Zelkov::Geometry::detail
