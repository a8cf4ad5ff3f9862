#pragma once
/// \file
/// Connectivity and topology: the vertex-to-triangles map and what is asked of
/// it (neighbourhood queries, topology predicates), sparse adjacency, vertex
/// classification and the investigation report.
///
/// A map is *in step* with a surface when entry v is exactly the ascending set
/// of triangles naming v. Queries require that and do not test it.

#include <cstddef>

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

}  // namespace Zelkov::Geometry
