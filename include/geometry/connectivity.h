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
#include <ostream>
#include <vector>

#include <Eigen/SparseCore>

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

/// Merges the one-ring of `vertex` into `out`: for each triangle of
/// `map[vertex]`, the two corners that follow the first corner holding
/// `vertex`. The whole of `out`, earlier contents included, is then sorted
/// ascending and freed of duplicates, so the result is the union of the two.
/// The vertex is in its own ring only when one of its triangles names it twice.
/// The capacity of `out` is raised to twice the vertex's triangle count first.
/// \pre `map` is in step with `surface`; vertex < map.size().
ZELKOV_TRIMESH_EXPORT void one_ring_vertices_from_vertex(std::vector<std::size_t>& out, std::size_t vertex,
                                                         const triangle_surface& surface,
                                                         const vertex_to_triangles_map& map);

/// The one-ring of `vertex`: ascending, no duplicates, empty for a free vertex.
ZELKOV_TRIMESH_EXPORT std::vector<std::size_t>
one_ring_vertices_from_vertex(std::size_t vertex, const triangle_surface& surface, const vertex_to_triangles_map& map);

/// Appends (vertex, w) to `out` for each w of the one-ring of `vertex`, w
/// ascending. Earlier entries of `out` stay as they are (no sorting, no
/// merging). The pair says nothing about the direction of any triangle.
/// \pre `map` is in step with `surface`; vertex < map.size().
ZELKOV_TRIMESH_EXPORT void edges_from_vertex(std::vector<std::array<std::size_t, 2>>& out, std::size_t vertex,
                                             const triangle_surface& surface, const vertex_to_triangles_map& map);

/// The edges (vertex, w) of the one-ring of `vertex`, w ascending.
ZELKOV_TRIMESH_EXPORT std::vector<std::array<std::size_t, 2>>
edges_from_vertex(std::size_t vertex, const triangle_surface& surface, const vertex_to_triangles_map& map);

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
                                                      const vertex_to_triangles_map& map, bool consider_orientation);

/// The triangles on `edge`, ascending; see the out-argument overload.
ZELKOV_TRIMESH_EXPORT std::vector<std::size_t> triangle_indices_from_edge(const std::array<std::size_t, 2>& edge,
                                                                          const triangle_surface& surface,
                                                                          const vertex_to_triangles_map& map,
                                                                          bool consider_orientation);

/// With `consider_orientation`: whether `triangle` has the directed edge
/// edge[0]->edge[1] (two cyclically adjacent corners t[i], t[i+1 mod 3]).
/// Without: that edge or its reverse. edge[0] == edge[1] asks for two
/// adjacent corners that both hold the vertex.
ZELKOV_TRIMESH_EXPORT bool has_edge(const std::array<std::size_t, 2>& edge, const std::array<std::size_t, 3>& triangle,
                                    bool consider_orientation) noexcept;

/// The triangles that share a side with triangle `triangle`: those on its
/// edges (b, c), (c, a), (a, b) as `triangle_indices_from_edge` finds them
/// without orientation, `triangle` itself left out. A degenerate side (a, a)
/// finds the triangles that repeat a. Triangles touching at a single vertex
/// are not neighbours; all triangles of a non-manifold edge are, and an exact
/// duplicate is. A boundary side contributes nothing.
/// \returns the neighbours ascending, each once; possibly empty.
/// \pre `map` is in step with `surface`; triangle < surface.triangles.size().
ZELKOV_TRIMESH_EXPORT std::vector<std::size_t>
triangle_neighbour_indices(const triangle_surface& surface, const vertex_to_triangles_map& map, std::size_t triangle);

/// As above, building the map of `surface` for this one query.
ZELKOV_TRIMESH_EXPORT std::vector<std::size_t> triangle_neighbour_indices(const triangle_surface& surface,
                                                                          std::size_t triangle);

/// The neighbour list of every triangle, slot i for triangle i, computed in
/// parallel. The result does not depend on the number of threads. An
/// exception in a parallel body reaches the caller; no partial result is kept.
/// \pre `map` is in step with `surface`.
ZELKOV_TRIMESH_EXPORT std::vector<std::vector<std::size_t>>
triangle_neighbour_indices(const triangle_surface& surface, const vertex_to_triangles_map& map);

/// As above, building the map of `surface` first.
ZELKOV_TRIMESH_EXPORT std::vector<std::vector<std::size_t>> triangle_neighbour_indices(const triangle_surface& surface);

/// Finds the edge that `first` and `second` have in common, matching their
/// corners as multisets (a vertex repeated in `first` matches twice only if it
/// is repeated in `second` too).
///
/// With two matched corners, `edge` is written in the direction in which
/// `first` runs along it and the result is true. With fewer, both elements of
/// `edge` are set to SIZE_MAX and the result is false. With three (the same
/// vertices), `edge` gets the first two matched corners in `first`'s direction
/// and the result is false.
ZELKOV_TRIMESH_EXPORT bool edge_between_triangles(std::array<std::size_t, 2>& edge,
                                                  const std::array<std::size_t, 3>& first,
                                                  const std::array<std::size_t, 3>& second) noexcept;

/// With `consider_orientation`: whether `second` is a cyclic rotation of
/// `first`. Without: a rotation of `first` or of its reverse.
ZELKOV_TRIMESH_EXPORT bool are_equal(const std::array<std::size_t, 3>& first, const std::array<std::size_t, 3>& second,
                                     bool consider_orientation) noexcept;

// ---------------------------------------------------------------- topology predicates
//
// All of these rest on the count k of an edge: the number of triangles that
// `triangle_indices_from_edge` finds on it without orientation. k = 1 is a
// boundary edge, k = 2 a manifold edge, k >= 3 a non-manifold edge; k = 0 is
// none of them. No fan around a vertex is walked. Each requires `map` in step
// with `surface` and every index below its size; nothing is tested.

/// Whether `edge` lies on exactly two triangles. With `consider_orientation`
/// the two must also run along it in opposite directions (either one may run
/// edge[0]->edge[1]).
ZELKOV_TRIMESH_EXPORT bool is_manifold_edge(const std::array<std::size_t, 2>& edge, const triangle_surface& surface,
                                            const vertex_to_triangles_map& map, bool consider_orientation);

/// Whether `edge` lies on three or more triangles.
ZELKOV_TRIMESH_EXPORT bool is_non_manifold_edge(const std::array<std::size_t, 2>& edge, const triangle_surface& surface,
                                                const vertex_to_triangles_map& map);

/// Whether `edge` lies on exactly one triangle.
ZELKOV_TRIMESH_EXPORT bool is_boundary_edge(const std::array<std::size_t, 2>& edge, const triangle_surface& surface,
                                            const vertex_to_triangles_map& map);

/// Whether some vertex is named by exactly one of the triangles of `vertex`
/// (counted over the two corners each triangle has besides `vertex`). Without
/// repeated vertices this is "lies on a boundary edge". Needs no edge query.
/// A free vertex is not a boundary vertex.
ZELKOV_TRIMESH_EXPORT bool is_boundary_vertex(std::size_t vertex, const triangle_surface& surface,
                                              const vertex_to_triangles_map& map);

/// Whether `vertex` is an end of a non-manifold edge, and nothing more: a
/// vertex where two otherwise clean fans touch is not one.
ZELKOV_TRIMESH_EXPORT bool is_non_manifold_vertex(std::size_t vertex, const triangle_surface& surface,
                                                  const vertex_to_triangles_map& map);

/// Whether every side of every triangle passes `is_manifold_edge` with
/// `consider_orientation`. A boundary fails, so only closed surfaces pass;
/// free vertices and touching fans are not seen. True without triangles.
ZELKOV_TRIMESH_EXPORT bool is_manifold(const triangle_surface& surface, const vertex_to_triangles_map& map,
                                       bool consider_orientation);

/// The negation of `is_manifold` with the same argument, leaving early at the
/// first boundary side. False without triangles.
ZELKOV_TRIMESH_EXPORT bool is_bad(const triangle_surface& surface, const vertex_to_triangles_map& map,
                                  bool consider_orientation);

/// As above, building the map of `surface` first.
ZELKOV_TRIMESH_EXPORT bool is_bad(const triangle_surface& surface, bool consider_orientation);

/// The number of triangles that name a vertex index twice or three times.
/// Positions are not read.
ZELKOV_TRIMESH_EXPORT std::size_t count_topologically_degenerate_triangles(const triangle_surface& surface) noexcept;

// ---------------------------------------------------------------- sparse adjacency

/// The V x V vertex adjacency of `surface` (V = vertices.size()), with 1.0 for
/// each pair joined by a triangle side: in both directions when `directed` is
/// false (symmetric), only t[i] -> t[i+1 mod 3] when true. Repeated edges hold
/// 1.0, not a sum; a repeated corner gives a diagonal entry. Vertex indices
/// enter as their low 32 bits.
/// \pre every triangle index is below V.
/// \throws std::bad_alloc, std::length_error ("vector too long").
ZELKOV_TRIMESH_EXPORT Eigen::SparseMatrix<double, 0, int> adjacency_matrix(const triangle_surface& surface,
                                                                           bool directed);

/// The V x V count of triangles per directed edge: entry (a, b) is how many
/// triangles have the directed edge a -> b. With `symmetric_pattern`, an
/// explicit 0.0 is stored at (a, b) wherever only b -> a exists, so the pattern
/// is symmetric while the values are not; that form is the one
/// `classify_vertex_topology` needs.
/// \pre every triangle index is below V.
/// \throws std::bad_alloc, std::length_error ("vector too long").
ZELKOV_TRIMESH_EXPORT Eigen::SparseMatrix<double, 0, int>
adjacency_matrix_with_edge_count(const triangle_surface& surface, bool symmetric_pattern);

/// One topology code per row of `edge_counts`, read from its entries below the
/// diagonal and their mirrors: 0 regular (each edge one triangle each way, or
/// no edge at all); 1 boundary (an edge of one triangle, none of three or
/// more); 2 inconsistent orientation (an edge of two triangles running the same
/// way, none of one or of three or more); n >= 3 non-manifold, n the largest
/// count on an edge of the vertex. Values are truncated to int.
/// Only the `symmetric_pattern` form of `adjacency_matrix_with_edge_count` is
/// complete: otherwise an edge stored only above the diagonal is not seen.
ZELKOV_TRIMESH_EXPORT std::vector<int> classify_vertex_topology(const Eigen::SparseMatrix<double, 0, int>& edge_counts);

// ---------------------------------------------------------------- investigation report

/// Writes a nine-line topology report of `surface` to `stream`:
///
///     ************************************************
///     investigation
///     ************************************************
///     Topologically degenerate triangles: <n>
///     Boundary edges: <n>
///     Manifold edges (ignoring orientation): <n>
///        of which are true (oriented) manifold edges: <n>
///     Non-manifold edges: <n>
///     ************************************************
///
/// The edge figures count triangle sides, not distinct edges: each side
/// counts by the number of triangles on its edge (1 boundary, 2 manifold, 0 or
/// 3 and more non-manifold), so a closed surface of F triangles reports 3F
/// manifold edges. A manifold side is oriented when the two triangles run
/// along it in opposite directions. Each line ends with std::endl, so the
/// first two lines are visible before the counting. The stream's own width,
/// fill, base and locale apply; no flag is set or restored, and the stream's
/// state is not looked at.
/// \pre `map` is in step with `surface`.
ZELKOV_TRIMESH_EXPORT void investigate(const triangle_surface& surface, const vertex_to_triangles_map& map,
                                       std::ostream& stream);

}  // namespace Zelkov::Geometry
