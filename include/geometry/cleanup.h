#pragma once
/// \file
/// Clean-up and selection: de-duplication, removal and copying of triangles and points, marked-region growth.
///
/// Index maps. An `old_to_new` map has one entry per element on entry, holding
/// that element's index after the call. Only `remove_free_points` uses a
/// sentinel: SIZE_MAX marks a removed vertex.
///
/// Selections. `marks` holds one byte per triangle: 0 is unmarked, anything
/// else marked. The selection operations write only 0 and 1, make exactly one
/// step per call and never change the surface; a flood fill is a loop of calls
/// until one returns false.

#include <cstddef>
#include <utility>
#include <vector>

#include <geometry/export.h>
#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry {

// ---------------------------------------------------------------- de-duplication

/// Merges equal points into one vertex and renumbers the triangles.
///
/// Afterwards the vertices are the distinct points in ascending lexicographic
/// order of (x, y, z), also when nothing was merged. Points are equal only when
/// `==` says so coordinate by coordinate: -0.0 and 0.0 merge (the stored sign
/// is that of either source), a point with a NaN coordinate never merges, not
/// even with a copy of itself; where such points occur the order is not
/// defined, and equal points that one of them separates in the sort may stay
/// apart. Free points are kept; triangles whose corners merge are kept as
/// degenerate triangles. The triangle order is unchanged.
///
/// \pre every triangle index is below the vertex count.
/// \returns the `old_to_new` map of the vertices: entry i is the new index of
/// old vertex i; every new index occurs. Empty for a surface without vertices
/// (which is left untouched).
/// \throws std::bad_alloc, std::length_error ("vector too long"); the surface
/// is then unchanged.
ZELKOV_TRIMESH_EXPORT std::vector<std::size_t> unique_vertices(triangle_surface& surface);

/// Merges equal triangles into one and sorts the triangles.
///
/// Every triangle is first rewritten to a canonical form, whether or not it has
/// a duplicate. With `consider_orientation` false its indices are sorted
/// ascending, which loses its orientation. With true it is rotated cyclically,
/// orientation kept: three different indices start with the smallest, (m, m, x)
/// and (m, x, x) in any rotation become (m, x, m) and (m, x, x). Triangles with
/// equal canonical forms are merged; afterwards the triangles stand in
/// ascending lexicographic order of their indices. Degenerate triangles are
/// kept. Vertices are untouched.
///
/// \returns the `old_to_new` map of the triangles; every new index occurs.
/// Empty for a surface without triangles.
/// \throws std::bad_alloc, std::length_error ("vector too long"); the
/// triangles are then in canonical form, with the same count and order.
ZELKOV_TRIMESH_EXPORT std::vector<std::size_t> unique_triangles(triangle_surface& surface, bool consider_orientation);

/// `unique_vertices`, then `unique_triangles` with `consider_orientation`, so
/// that triangles whose corners merged are compared with their final indices.
///
/// \pre every triangle index is below the vertex count.
/// \returns `first`: the vertex map; `second`: the triangle map, indexed by the
/// triangle order on entry.
/// \throws std::bad_alloc, std::length_error ("vector too long"). A failure in
/// the triangle step leaves merged vertices and canonical triangles; a failure
/// while the result is built loses the maps of the changed surface.
ZELKOV_TRIMESH_EXPORT std::pair<std::vector<std::size_t>, std::vector<std::size_t>> unique(triangle_surface& surface,
                                                                                           bool consider_orientation);

// ---------------------------------------------------------------- removal and copying

/// Removes the triangles at the positions in `indices`, filling each hole with
/// the last survivor not yet moved: the lowest hole gets the highest survivor,
/// and survivors before the first hole stay where they are. Five triangles
/// t0..t4 without {1, 3} give t0, t4, t2. Vertices are not touched and may be
/// left free.
///
/// \pre `indices` is ascending without repeats; entries beyond the last
/// triangle may stand at its end, as long as one entry is in range. Repeated or
/// unordered entries remove whatever triangle stands at the position by then.
/// Does nothing for an empty list or a surface without triangles. Never throws.
ZELKOV_TRIMESH_EXPORT void remove_triangles(triangle_surface& surface, std::vector<std::size_t> indices);

/// Removes the vertices that no triangle names, keeping the order of the rest,
/// and renumbers the triangles. A surface without triangles loses all its
/// vertices. The vertex array keeps its capacity.
///
/// \pre every triangle index is below the vertex count.
/// \returns true when at least one vertex was removed.
/// \throws std::bad_alloc, std::length_error ("vector too long", "vector<bool>
/// too long"); the surface is then unchanged.
ZELKOV_TRIMESH_EXPORT bool remove_free_points(triangle_surface& surface);

/// As above, and overwrites `old_to_new` with one entry per vertex on entry:
/// the new index of a kept vertex, SIZE_MAX for a removed one. When nothing is
/// removed the map is the identity 0, 1, ..., n - 1 (empty for no vertices);
/// it is built with a 32-bit counter, so it is defined up to 2^31 vertices.
ZELKOV_TRIMESH_EXPORT bool remove_free_points(triangle_surface& surface, std::vector<std::size_t>& old_to_new);

/// Appends all vertices of `source`, free ones included, and all its
/// triangles with their indices shifted by the vertex count of `target` on
/// entry. Nothing is merged. Reserves exactly the sums when capacity is short.
///
/// \pre `source` is valid and is not `target`.
/// \throws std::bad_alloc, std::length_error ("vector too long"); part of the
/// copy may then be in `target`.
ZELKOV_TRIMESH_EXPORT void copy_triangles(triangle_surface& target, const triangle_surface& source);

/// Appends the triangles of `source` named in `indices`, in list order, with
/// the vertices they use. Within one call each source vertex is copied once,
/// at its first use, and new vertices are numbered in order of first use; the
/// vertices already in `target` are never compared. A repeated entry copies
/// its triangle again without new vertices. Triangles {4, 2, 0}, {0, 2, 7}
/// into an empty target give source vertices 4, 2, 0, 7 and triangles
/// {0, 1, 2}, {2, 1, 3}.
///
/// Reserves room for `indices.size()` more triangles and twice as many more
/// vertices when capacity is short; more vertices grow the array as usual.
/// \pre `source` is valid, every entry names a triangle of it, and `source` is
/// not `target`.
/// \throws std::bad_alloc, std::length_error ("vector too long",
/// "unordered_map/set too long"); part of the copy may then be in `target`,
/// each appended triangle after the vertices it needs.
ZELKOV_TRIMESH_EXPORT void copy_triangles(triangle_surface& target, const triangle_surface& source,
                                          const std::vector<std::size_t>& indices);

// ---------------------------------------------------------------- marked-region growth

/// Marks each unmarked triangle that shares at least one vertex with a triangle
/// marked on entry. Triangles marked in this call do not spread further in it.
///
/// \pre `marks.size()` equals the triangle count; the surface is valid.
/// \returns true when at least one triangle became marked.
/// \throws std::bad_alloc, std::length_error; `marks` is then unchanged.
ZELKOV_TRIMESH_EXPORT bool expand_marked(const triangle_surface& surface, std::vector<unsigned char>& marks);

/// Marks each unmarked triangle that has at least `min_marked_neighbours`
/// marked neighbours across smooth edges. An edge is smooth when the dot
/// product of the unit normals of its two triangles is at least
/// cos(`max_angle`) (radians); a NaN product is never smooth. An edge of one
/// triangle counts for nothing, and an edge of three or more triangles counts
/// as if it held only two of them, which two depending on thread scheduling.
/// Neighbours are found through a hash table of the edges; no connectivity map
/// is used or built. A triangle can count itself through a repeated corner.
///
/// The result does not depend on the number of threads when no edge has more
/// than two triangles.
/// \pre `marks.size()` equals the triangle count; the surface is valid.
/// \returns true when at least one triangle became marked.
/// \throws std::bad_alloc, std::length_error; `marks` is then unchanged.
ZELKOV_TRIMESH_EXPORT bool expand_marked(const triangle_surface& surface, std::vector<unsigned char>& marks,
                                         std::size_t min_marked_neighbours, double max_angle);

/// Unmarks each marked triangle that shares at least one vertex with a
/// triangle unmarked on entry. The boundary of the surface is not outside: a
/// marked triangle with a free edge whose vertices touch no unmarked triangle
/// stays marked.
///
/// \pre `marks.size()` equals the triangle count; the surface is valid.
/// \returns true when at least one triangle became unmarked.
/// \throws std::bad_alloc, std::length_error; `marks` is then unchanged.
ZELKOV_TRIMESH_EXPORT bool shrink_marked(const triangle_surface& surface, std::vector<unsigned char>& marks);

}  // namespace Zelkov::Geometry
