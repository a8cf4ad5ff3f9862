#pragma once
/// \file
/// Local surface edits that keep the caller's vertex-to-triangles map in step
/// and never renumber: splits, triangle collapse, edge flips and relaxation.
///
/// Common contract. `map` must be in step with `surface` on entry (entry v is
/// exactly the ascending set of triangles naming v); this is not tested. After
/// every edit that changes the surface, `map` equals a fresh
/// `get_vertex_to_triangles_map`, also for triangles that repeat a vertex.
/// No vertex or triangle changes its index and no vertex moves: new vertices
/// and triangles are appended. Indices and edges are not tested. An
/// allocation failure passes through as the container's exception with no
/// rollback: what was done stays done and the map may lag behind.
///
/// Corners of an edge (e0, e1) in a triangle on it: going through the corners
/// 0, 1, 2 in order, a corner holding e0 is e0's while e0 has no corner yet,
/// otherwise one holding e1 is e1's while e1 has none, and any other is the
/// third corner. Where the two ends are the same vertex, e0 is served first.

#include <array>
#include <cstddef>
#include <functional>
#include <vector>

#include <geometry/export.h>
#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry {

// ---------------------------------------------------------------- splitting

/// Splits triangle (a, b, c) at index `triangle` into three around its
/// centroid v, whose position is ((p_a + p_b) + p_c) / 3 per component.
///
/// The triangle becomes (a, b, v); (b, c, v) and (c, a, v) are appended at
/// the old count n and n + 1. Orientation is kept. A new vertex and its map
/// entry are appended, except when a = b = c: then v = a, nothing is added
/// and the triangle is left in three copies.
/// \pre `triangle` < triangles.size(); `map` in step with `surface`.
ZELKOV_TRIMESH_EXPORT void split_triangle_in_three(std::size_t triangle, triangle_surface& surface,
                                                   vertex_to_triangles_map& map);

/// Cuts every triangle on `edge` = (e0, e1) in two at a new vertex v placed at
/// p1 * (1 - weight) + p0 * weight, per component (`weight` is the share of
/// e0, and any value extrapolates along the line).
///
/// Each triangle t on the edge, taken in ascending order, keeps its index
/// with the end e0 (e1 replaced by v) and its piece with the end e1 (e0
/// replaced by v) is appended: k triangles give k new ones at the end, in the
/// order of their parents. Corner order, hence orientation, is kept.
/// A non-manifold edge is cut in all its triangles.
/// When e0 = e1, v = e0 and no vertex is added: each triangle repeating e0 is
/// then appended once more. Otherwise the vertex and an empty map entry are
/// appended even when no triangle lies on the edge.
/// \returns v, the vertex now on the edge.
/// \pre `map` in step with `surface`; e0, e1 < map.size().
ZELKOV_TRIMESH_EXPORT std::size_t split_edge(const std::array<std::size_t, 2>& edge, double weight,
                                             triangle_surface& surface, vertex_to_triangles_map& map);

/// As `split_edge` with `weight`, and appends `labels[t]` to `labels` for the
/// piece of each triangle t cut, so that the new triangles inherit their
/// parents' labels. \pre `labels` has an entry for every triangle on `edge`.
ZELKOV_TRIMESH_EXPORT std::size_t split_edge(const std::array<std::size_t, 2>& edge, double weight,
                                             triangle_surface& surface, vertex_to_triangles_map& map,
                                             std::vector<std::size_t>& labels);

/// As `split_edge` with `labels`, cutting at the existing `vertex`, which
/// keeps its position and map entry; nothing is appended to `vertices` or
/// `map`. A vertex already in a triangle on the edge leaves that triangle's
/// pieces with a repeated vertex.
/// \pre `vertex` < map.size().
ZELKOV_TRIMESH_EXPORT void split_edge(const std::array<std::size_t, 2>& edge, std::size_t vertex,
                                      triangle_surface& surface, vertex_to_triangles_map& map,
                                      std::vector<std::size_t>& labels);

/// Cuts only the lowest-indexed triangle on `edge` at the existing `vertex`,
/// with the same placement of pieces as `split_edge`; any other triangle on
/// the edge keeps naming the whole edge.
/// \pre at least one triangle lies on `edge` (not tested; an edge without one
/// is undefined); `vertex` < map.size().
ZELKOV_TRIMESH_EXPORT void split_boundary_edge(const std::array<std::size_t, 2>& edge, std::size_t vertex,
                                               triangle_surface& surface, vertex_to_triangles_map& map);

/// As the overload without labels, appending `labels[t]` for the new piece.
ZELKOV_TRIMESH_EXPORT void split_boundary_edge(const std::array<std::size_t, 2>& edge, std::size_t vertex,
                                               triangle_surface& surface, vertex_to_triangles_map& map,
                                               std::vector<std::size_t>& labels);

// ---------------------------------------------------------------- collapse

/// Pushes the apex a at position `corner` of triangle t = `triangle` into its
/// opposite side (b, c), b at (corner + 1) mod 3 and c at (corner + 2) mod 3.
///
/// The lowest-indexed other triangle u on the side, with third vertex d,
/// shares the move with t: t becomes (a, b, d) and u has b replaced by a, so
/// the pair covers the quadrilateral a, b, d, c with the new edge (a, d).
/// Every further triangle w on the side is halved at a: w keeps b (c
/// replaced by a) and its c half (b replaced by a) is appended, in ascending
/// order of w. The triangle count grows by (triangles on the side) - 2.
/// Corner order is kept. No geometry is tested.
/// \returns false, changing nothing, when t is the only triangle on (b, c).
/// \pre `triangle` < triangles.size(); `corner` <= 2; `map` in step.
ZELKOV_TRIMESH_EXPORT bool collapse_triangle(std::size_t triangle, std::size_t corner, triangle_surface& surface,
                                             vertex_to_triangles_map& map);

// ---------------------------------------------------------------- flips and relaxation

/// Replaces `edge` = (e0, e1) by the other diagonal (c, d) of its two
/// triangles T0 < T1, c being the third vertex of T0 and d that of T1.
///
/// In T0 the corner of e0 takes d; in T1 the corner of e1 takes c. So
/// (e0, e1, c), (e1, e0, d) become (d, e1, c), (c, e0, d): T0 keeps e1 and T1
/// keeps e0, and passing the edge reversed swaps which end each keeps. Flips
/// also where c = d (both triangles then repeat a vertex) or where (c, d)
/// already exists.
/// \returns true if flipped; false, changing nothing, unless exactly two
/// triangles lie on the edge.
ZELKOV_TRIMESH_EXPORT bool flip_edge(const std::array<std::size_t, 2>& edge, triangle_surface& surface,
                                     vertex_to_triangles_map& map);

/// As `flip_edge`, guarded by `predicate`, which is called once with the new
/// diagonal (c, d), before anything changes, and only on an edge with exactly
/// two triangles. It is the only guard.
/// \returns true if flipped.
/// \throws std::bad_function_call for an empty `predicate` on a two-triangle
/// edge; whatever `predicate` throws passes through with nothing changed.
ZELKOV_TRIMESH_EXPORT bool flip_edge_if(const std::array<std::size_t, 2>& edge, triangle_surface& surface,
                                        vertex_to_triangles_map& map,
                                        const std::function<bool(const std::array<std::size_t, 2>&)>& predicate);

/// Flips `edge` when the angles at c and d opposite it sum to at least pi
/// (3.141592653589793), so that co-circular quadrilaterals are flipped.
/// Refuses unless the edge has exactly two triangles, c != d, and no triangle
/// lies on (c, d) yet. A zero-length side at an apex gives a NaN angle and no
/// flip. Positions never change.
/// \returns true if flipped.
ZELKOV_TRIMESH_EXPORT bool relax_edge(const std::array<std::size_t, 2>& edge, triangle_surface& surface,
                                      vertex_to_triangles_map& map);

/// As `relax_edge`, but flips only when the two opposite angles sum to
/// strictly more than pi and at least one of them is strictly above
/// `min_angle` (radians). Unlike the overload without `min_angle`, an exactly
/// co-circular quadrilateral is not flipped.
/// \returns true if flipped.
ZELKOV_TRIMESH_EXPORT bool relax_edge(const std::array<std::size_t, 2>& edge, triangle_surface& surface,
                                      vertex_to_triangles_map& map, double min_angle);

}  // namespace Zelkov::Geometry
