#pragma once
/// \file
/// The five geometric primitives of Zelkov.Vecmath.Core. Every function is
/// re-entrant and keeps no state, so parallel bodies may call it freely.
/// Lengths are taken by a scaled norm that neither overflows nor underflows
/// for finite input.

#include <math/export.h>
#include <math/records.h>

namespace Zelkov::Math {

/// Area of the triangle a, b, c: |(b - a) x (c - a)| / 2. Never negative;
/// NaN when a coordinate is NaN.
ZELKOV_VECMATH_EXPORT double get_area(const point<double, 3>& a, const point<double, 3>& b, const point<double, 3>& c);

/// Normal of the triangle a, b, c: (b - a) x (c - a), following the right-hand
/// rule over a, b, c. With `unit_length` the result is divided by its length;
/// a triangle of zero area then gives three NaNs. Without it, the length of the
/// result is twice the triangle's area.
ZELKOV_VECMATH_EXPORT point<double, 3> get_normal(const point<double, 3>& a, const point<double, 3>& b,
                                                  const point<double, 3>& c, bool unit_length);

/// Centre and radius of the circle through a, b, c. The centre lies in the
/// triangle's plane. For a degenerate triangle (collinear or coincident
/// points) the results are not finite.
ZELKOV_VECMATH_EXPORT void circumsphere(point<double, 3>& center, double& radius, const point<double, 3>& a,
                                        const point<double, 3>& b, const point<double, 3>& c);

/// Interior angles in radians at a, b and c. Each is computed as
/// atan2(|u x v|, u . v) of the two edge vectors leaving its corner, which is
/// accurate also for very small and very flat angles. A zero-length edge
/// gives an angle of 0 at both of its ends.
ZELKOV_VECMATH_EXPORT void get_angles(double& angle_a, double& angle_b, double& angle_c, const point<double, 3>& a,
                                      const point<double, 3>& b, const point<double, 3>& c);

/// The normal, area and squared edge lengths of the triangle a, b, c; see
/// `triangle_info`.
ZELKOV_VECMATH_EXPORT triangle_info compute_triangle_info(const point<double, 3>& a, const point<double, 3>& b,
                                                          const point<double, 3>& c);

}  // namespace Zelkov::Math
