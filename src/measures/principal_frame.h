#pragma once
// Steps of `inertia`: the shell tensor, its axes, their order and the frame
// matrix built from them.

#include <array>

#include <Eigen/Core>

#include <geometry/triangle_surface.h>

#include "surface/determinant.h"

namespace Zelkov::Geometry::detail {

/// Unit axes with their moments; axis j belongs to moment j.
struct principal_axes {
    std::array<point<double, 3>, 3> axes;
    std::array<double, 3> moments;
};

/// Twice the inertia tensor about `center` of a unit-density shell over the
/// triangles: (tr(M2) E - M2) / 12, M2 summing per triangle, in order, the
/// area-scaled second moment of its corners and centroid about `center`.
/// Symmetric and positive semi-definite for finite input.
Eigen::Matrix3d shell_inertia_tensor(const triangle_surface& surface, const point<double, 3>& center) noexcept;

/// The columns of U of the full singular value decomposition (BDCSVD) of
/// `tensor`, each divided by its `stable_length`, with the singular values.
/// The decomposition's status is not examined.
/// \throws std::bad_alloc from the decomposition.
principal_axes principal_axes_of(const Eigen::Matrix3d& tensor);

/// Puts the pairs in descending order of moment by three compare-and-swap
/// steps (0 with 1, 0 with 2, 1 with 2), each swapping only on a strictly
/// larger later moment, so equal moments keep their places.
void order_by_moment(principal_axes& frame) noexcept;

/// The frame matrix: rows e0, e1, e2, then `origin`; m[3] = m[7] = m[11] = 0,
/// m[15] = 1. When its determinant is negative e0 alone is negated; zero or
/// NaN leaves it as it is.
matrix4x4<double> right_handed_frame(const principal_axes& frame, const point<double, 3>& origin) noexcept;

/// The inverse of a frame matrix with orthonormal rows: the transposed axes
/// and the translation -(b . e_j), each dot product added in the order y, x, z.
matrix4x4<double> inverse_frame(const matrix4x4<double>& frame) noexcept;

}  // namespace Zelkov::Geometry::detail
