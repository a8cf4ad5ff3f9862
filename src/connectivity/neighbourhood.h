#pragma once
// Internal steps shared by the neighbourhood queries, the topology predicates
// and the investigation report.

#include <array>
#include <cstddef>
#include <vector>

#include <geometry/connectivity.h>

namespace Zelkov::Geometry::detail {

/// The corner of `t` that holds `vertex`: the lowest one, and 2 without
/// looking at t[2] when neither t[0] nor t[1] holds it.
/// \pre `t` names `vertex`.
inline std::size_t corner_of_vertex(const std::array<std::size_t, 3>& t, std::size_t vertex) noexcept
{
    if (t[0] == vertex) return 0;
    if (t[1] == vertex) return 1;
    return 2;
}

/// The sides (t[0], t[1]), (t[1], t[2]), (t[2], t[0]) of a triangle, in this
/// order and direction.
inline std::array<std::array<std::size_t, 2>, 3> sides_of(const std::array<std::size_t, 3>& t) noexcept
{
    return {{{t[0], t[1]}, {t[1], t[2]}, {t[2], t[0]}}};
}

/// Appends, for each triangle of `map[vertex]` in ascending order, the two
/// corners that follow `corner_of_vertex`, after raising the capacity of `out`
/// to twice the vertex's triangle count. Neither sorts nor merges.
void append_ring_corners(std::vector<std::size_t>& out, std::size_t vertex, const triangle_surface& surface,
                         const vertex_to_triangles_map& map);

/// Replaces the contents of `list` with the triangles on `edge`, as
/// `triangle_indices_from_edge` finds them, and returns it. Lets a loop over
/// many edges keep one buffer.
inline const std::vector<std::size_t>& triangles_on_edge(std::vector<std::size_t>& list,
                                                         const std::array<std::size_t, 2>& edge,
                                                         const triangle_surface& surface,
                                                         const vertex_to_triangles_map& map, bool consider_orientation)
{
    list.clear();
    triangle_indices_from_edge(list, edge, surface, map, consider_orientation);
    return list;
}

/// The neighbours of one triangle in `work` (its contents are replaced), then
/// copied into a vector of exactly their length.
std::vector<std::size_t> triangle_neighbours(std::vector<std::size_t>& work, const triangle_surface& surface,
                                             const vertex_to_triangles_map& map, std::size_t triangle);

}  // namespace Zelkov::Geometry::detail
