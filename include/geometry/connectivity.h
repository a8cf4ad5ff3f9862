#pragma once
/// \file
/// Connectivity and topology: the vertex-to-triangles map and what is asked of
/// it (neighbourhood queries, topology predicates), sparse adjacency, vertex
/// classification and the investigation report.
///
/// A map is *in step* with a surface when entry v is exactly the ascending set
/// of triangles naming v. Queries require that and do not test it.

#include <array>
#include <cstddef>
#include <vector>

#include <geometry/export.h>
#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry {

// ---------------------------------------------------------------- vertex-to-triangles map

/// Builds the map of `triangles`: entry v is the ascending set of the triangle
/// indices that name v, each once, also when a triangle names v in two or
/// three corners.
///
/// \returns a map with (largest named vertex index + 1) entries, 0 when there
/// are no triangles. A null `data` with `size` 0 is read as no triangles.
/// The result is the same for every thread count.
/// \pre no index equals SIZE_MAX.
/// \throws std::bad_alloc, std::length_error ("vector too long", or
/// Boost.Container's "get_next_capacity, allocator's max size reached").
ZELKOV_TRIMESH_EXPORT vertex_to_triangles_map get_vertex_to_triangles_map(const_span_triangles triangles);

/// The map of `surface.triangles`, lengthened with empty sets to at least
/// `surface.vertices.size()` entries. A triangle naming a vertex beyond the
/// vertex array lengthens the map further; it is not refused.
ZELKOV_TRIMESH_EXPORT vertex_to_triangles_map get_vertex_to_triangles_map(const triangle_surface& surface);

/// True when `map` equals a fresh build from `surface`, set by set and element
/// by element. Always pays for a full rebuild; tells only whether, not where,
/// the maps differ.
ZELKOV_TRIMESH_EXPORT bool check_vertex_to_triangles_map(const triangle_surface& surface,
                                                         const vertex_to_triangles_map& map);

// ---------------------------------------------------------------- neighbourhood queries

/// Appends to `out` the triangles on `edge` = (e0, e1), ascending.
///
/// For e0 != e1: every triangle naming both vertices, in any corners and
/// direction, found by intersecting the two sorted sets of `map` (triangle
/// data is not read). For e0 == e1: every triangle of e0 that names e0 in two
/// or three corners. With `consider_orientation`, the whole of `out`, earlier
/// entries included, is then thinned to the triangles that have the directed
/// edge e0->e1, keeping their order.
/// \pre `map` is in step with `surface`; e0, e1 < map.size(); earlier entries of
/// `out` are valid triangle indices when `consider_orientation` is true.
ZELKOV_TRIMESH_EXPORT void triangle_indices_from_edge(std::vector<std::size_t>& out,
                                                      const std::array<std::size_t, 2>& edge,
                                                      const triangle_surface& surface,
                                                      const vertex_to_triangles_map& map,
                                                      bool consider_orientation);

/// The triangles on `edge`, ascending; see the out-argument overload.
ZELKOV_TRIMESH_EXPORT std::vector<std::size_t> triangle_indices_from_edge(
    const std::array<std::size_t, 2>& edge, const triangle_surface& surface,
    const vertex_to_triangles_map& map, bool consider_orientation);

/// With `consider_orientation`: whether `triangle` has the directed edge
/// edge[0]->edge[1] (two cyclically adjacent corners t[i], t[i+1 mod 3]).
/// Without: that edge or its reverse. edge[0] == edge[1] asks for two
/// adjacent corners that both hold the vertex.
ZELKOV_TRIMESH_EXPORT bool has_edge(const std::array<std::size_t, 2>& edge,
                                    const std::array<std::size_t, 3>& triangle,
                                    bool consider_orientation) noexcept;

}  // namespace Zelkov::Geometry
