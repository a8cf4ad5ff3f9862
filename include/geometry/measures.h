#pragma once
/// \file
/// Geometric measures: whole-surface and per-triangle measures, inertia and the principal frame.
///
/// Every measure runs on the calling thread and reads the surface only; any
/// number of threads may call them as long as nobody writes the surface. Sums
/// run in ascending triangle order with a fixed order of additions, so results
/// are reproducible to the bit. No measure tests an index and none guards a
/// division: a 0/0 gives NaN, and that NaN is the result.

#include <array>
#include <cstddef>

#include <geometry/export.h>
#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry {

// ---------------------------------------------------------------- whole surface

/// Total area: 0.0 plus `get_area` of each triangle, in triangle order.
/// \returns 0.0 for a surface without triangles.
ZELKOV_TRIMESH_EXPORT double area(const triangle_surface& surface) noexcept;

/// Sum over the triangles, in order, of `signed_volume_of_triangle` with
/// `vertices[0]` as the reference point of every triangle. A closed,
/// consistently outward surface gives its enclosed volume, positive; an open
/// surface gives a value that depends on which vertex is first.
/// \returns 0.0, without reading `vertices`, for a surface without triangles.
ZELKOV_TRIMESH_EXPORT double signed_volume(const triangle_surface& surface) noexcept;

/// `signed_volume` with its sign bit cleared.
ZELKOV_TRIMESH_EXPORT double volume(const triangle_surface& surface) noexcept;

/// The axis-aligned box of the surface. It starts as the empty box
/// (`Zelkov::Math::empty_boundingbox`) and grows by each point visited, axis by
/// axis; a NaN coordinate is skipped on its axis alone.
///
/// With `use_all_vertices` every vertex is visited, free points included.
/// Without it only the corners of the triangles are, so a surface without
/// triangles gives the empty box even when it has vertices.
ZELKOV_TRIMESH_EXPORT boundingbox<double, 3> bounding_volume(const triangle_surface& surface,
                                                             bool use_all_vertices) noexcept;

/// The area-weighted mean of the triangles' centroids: the sum of
/// (a + b + c) * area over the triangles divided by the sum of 3 * area.
/// Free points play no part.
/// \returns three NaNs when there are no triangles or none has area (0/0).
ZELKOV_TRIMESH_EXPORT point<double, 3> barycenter(const triangle_surface& surface) noexcept;

// ---------------------------------------------------------------- one triangle or one vertex
//
// A triangle is addressed by its position in `surface.triangles`; its corners
// are handed to the math library in the order t[0], t[1], t[2].
// \pre every index named is in range.

/// `get_area` of the triangle.
ZELKOV_TRIMESH_EXPORT double area(std::size_t triangle, const triangle_surface& surface) noexcept;

/// `get_normal` of the triangle: the right-hand normal over t[0], t[1], t[2],
/// of unit length with `unit_length`, else of length twice the area.
ZELKOV_TRIMESH_EXPORT point<double, 3> normal(std::size_t triangle, const triangle_surface& surface,
                                              bool unit_length) noexcept;

/// `get_normal` of the three vertices named by `triangle`, which need not be
/// a triangle of the surface.
ZELKOV_TRIMESH_EXPORT point<double, 3> normal(const std::array<std::size_t, 3>& triangle,
                                              const triangle_surface& surface, bool unit_length) noexcept;

/// The area-weighted normal of a vertex: the sum of the unnormalised
/// triangle normals of its fan, in ascending triangle order, divided by its
/// `stable_length`.
/// \pre `map` is in step with `surface` and `vertex < map.size()`.
/// \returns (0, 0, 0) for a vertex without triangles; three NaNs when the
/// fan's normals cancel exactly.
ZELKOV_TRIMESH_EXPORT point<double, 3> normal(std::size_t vertex, const triangle_surface& surface,
                                              const vertex_to_triangles_map& map) noexcept;

/// Signed volume of the tetrahedron of the triangle and `reference`, the
/// triple product over 6. Positive when `reference` lies on the side away
/// from which the triangle's right-hand normal points; swapping two corners
/// negates it.
ZELKOV_TRIMESH_EXPORT double signed_volume_of_triangle(std::size_t triangle, const triangle_surface& surface,
                                                       const point<double, 3>& reference) noexcept;

/// The largest squared edge length of the triangle; no square root.
ZELKOV_TRIMESH_EXPORT double largest_edge_length_sqr(std::size_t triangle, const triangle_surface& surface) noexcept;

/// (weights.x * v[t[0]] + weights.y * v[t[1]]) + weights.z * v[t[2]], per
/// coordinate. The weights are used as given: they need not sum to 1, so a
/// point outside the triangle may be asked for.
ZELKOV_TRIMESH_EXPORT point<double, 3> barycentric_point(std::size_t triangle, const triangle_surface& surface,
                                                         const point<double, 3>& weights) noexcept;

/// The circumscribed circle of the triangle, from the math library's
/// `circumsphere`: writes its centre and radius. Not finite for a degenerate
/// triangle.
ZELKOV_TRIMESH_EXPORT void circumsphere(point<double, 3>& center, double& radius, std::size_t triangle,
                                        const triangle_surface& surface) noexcept;

/// The interior angles at t[0], t[1] and t[2], in the unit of `get_angles`
/// (radians).
ZELKOV_TRIMESH_EXPORT void angles(double& angle_0, double& angle_1, double& angle_2, std::size_t triangle,
                                  const triangle_surface& surface) noexcept;

/// Shape quality from 0 (degenerate) to 1 (equilateral): twice the inscribed
/// radius over the circumscribed radius, 16 area^2 / (l0 l1 l2 (l0 + l1 + l2)).
/// \returns 1.0 for a triangle collapsed to a point (all edges exactly 0),
/// 0.0 when some but not all edges are exactly 0, NaN for NaN input.
ZELKOV_TRIMESH_EXPORT double triangle_quality(std::size_t triangle, const triangle_surface& surface) noexcept;

/// True when `threshold` is greater than or equal to one of the triangle's
/// interior angles, compared in the unit of `get_angles` (radians). A NaN
/// angle never makes it true.
ZELKOV_TRIMESH_EXPORT bool is_sharp(std::size_t triangle, const triangle_surface& surface, double threshold) noexcept;

// ---------------------------------------------------------------- principal frame

/// The principal frame of the surface taken as a thin shell of uniform
/// density over its triangles: rows e0, e1, e2 are orthonormal axes in
/// descending order of moment of inertia (row 2 is the long axis of an
/// elongated body), the translation row is `barycenter(surface)`, m[3] = m[7] =
/// m[11] = 0 and m[15] = 1. The frame is made right-handed by negating e0
/// alone when the determinant is negative; each axis's sign is otherwise that
/// of the decomposition, and equal moments keep the decomposition's order.
/// The matrix maps frame coordinates to surface coordinates (see `transform`).
///
/// Without triangles the translation is NaN and the axes are those of a zero
/// tensor; with zero-area triangles only, the tensor holds NaN and the axes
/// mean nothing. Neither case throws.
/// \throws std::bad_alloc from the singular value decomposition.
ZELKOV_TRIMESH_EXPORT matrix4x4<double> inertia(const triangle_surface& surface);

/// Moves `surface` into its principal frame: afterwards its barycenter lies at
/// the origin, up to rounding, and its axes along x, y and z. Triangles keep
/// their order and orientation.
/// \returns `inertia` of the surface as it was, so that `transform` with the
/// result brings the surface back.
/// \throws std::bad_alloc from the singular value decomposition.
ZELKOV_TRIMESH_EXPORT matrix4x4<double> inertia_transform(triangle_surface& surface);

}  // namespace Zelkov::Geometry
