#pragma once
// Internal steps shared by the local edits: corners of an edge in a triangle,
// capacity growth, cutting triangles at a vertex, and the angle of two vectors.

#include <array>
#include <cstddef>
#include <vector>

#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry::detail {

/// Corner positions of an edge (e0, e1) in a triangle on it.
struct edge_corner_positions {
    std::size_t c0;  ///< corner of e0
    std::size_t c1;  ///< corner of e1
    std::size_t c2;  ///< the third corner
};

/// Assigns the corners of `triangle` in order 0, 1, 2: each end takes its first
/// free corner holding it, e0 before e1 where they are the same vertex, and the
/// remaining corner is the third. With a repeated vertex this fixes which of
/// the equal corners an edit rewrites.
/// \pre `triangle` names e0 and e1 (twice when e0 = e1).
inline edge_corner_positions edge_corners(const std::array<std::size_t, 3>& triangle, std::size_t e0,
                                          std::size_t e1) noexcept
{
    edge_corner_positions corners{0, 0, 0};
    bool found0 = false;
    bool found1 = false;
    for (std::size_t i = 0; i < 3; ++i) {
        if (triangle[i] == e0 && !found0) {
            corners.c0 = i;
            found0 = true;
        } else if (triangle[i] == e1 && !found1) {
            corners.c1 = i;
            found1 = true;
        } else {
            corners.c2 = i;
        }
    }
    return corners;
}

/// Doubles the capacity of `triangles` until it holds `needed`, so that the
/// appends of one edit never move the array while a triangle is read in place.
/// An empty allocation is raised to one first, so that the doubling progresses.
inline void ensure_triangle_capacity(std::vector<std::array<std::size_t, 3>>& triangles, std::size_t needed)
{
    while (triangles.capacity() < needed) triangles.reserve(triangles.capacity() == 0 ? 1 : 2 * triangles.capacity());
}

/// Cuts triangle `t` on `edge` at `v`: t keeps e0 (its corner of e1 takes v),
/// the copy keeps e1 (its corner of e0 takes v) and is appended. Appends
/// `labels[t]` when `labels` is given, and keeps `map` exact.
/// \pre the capacity of `triangles` holds one more triangle.
void split_incident_triangle(const std::array<std::size_t, 2>& edge, std::size_t t, std::size_t v,
                             triangle_surface& surface, vertex_to_triangles_map& map, std::vector<std::size_t>* labels);

/// Cuts every triangle on `edge`, ascending, at `v` by `split_incident_triangle`.
void split_all_incident_triangles(const std::array<std::size_t, 2>& edge, std::size_t v, triangle_surface& surface,
                                  vertex_to_triangles_map& map, std::vector<std::size_t>* labels);

/// The angle between `a` and `b` in [0, pi], by the half-angle formula
/// 2 atan(|a|b| - b|a|| / |a|b| + b|a||) with `stable_length` as the length.
/// Opposite vectors give pi; a zero vector gives NaN.
double vector_angle(const point<double, 3>& a, const point<double, 3>& b) noexcept;

}  // namespace Zelkov::Geometry::detail
