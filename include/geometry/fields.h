#pragma once
/// \file
/// Sharp features and per-vertex scalar fields: sharp edges, roughness,
/// curvature and smoothing.
///
/// Sharpness. An edge is sharp when exactly two triangles meet on it and the
/// dot product d of their unit normals lies strictly below
/// limit = cos((angle_degrees * pi) / 180): equality is not sharp, a NaN d is not
/// sharp, boundary edges and edges of three or more triangles never are.
/// `consider_orientation` decides about two triangles that run their common
/// edge in the same direction: true compares the normals as stored (a flat
/// such pair has d = -1 and is sharp); false mends the pair first by taking -d.
///
/// Fields are `std::vector<double>` with one value per entry of
/// `surface.vertices`, computed in parallel; each value is computed alone and in
/// a fixed order, so results do not depend on the number of threads.

#include <array>
#include <cstddef>
#include <vector>

#include <Eigen/SparseCore>

#include <geometry/export.h>
#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry {

// ---------------------------------------------------------------- sharp edges

/// Whether `edge` is sharp for `angle_degrees` (see the file comment).
/// Only an edge with exactly two triangles (`triangle_indices_from_edge`
/// without orientation) can be sharp; no normal is computed otherwise.
/// \pre `map` is in step with `surface`.
ZELKOV_TRIMESH_EXPORT bool is_sharp_edge(const std::array<std::size_t, 2>& edge, const triangle_surface& surface,
                                         const vertex_to_triangles_map& map, double angle_degrees,
                                         bool consider_orientation);

/// Classifies every edge of `surface` at once, without a map.
///
/// \returns a V x V matrix. For each edge (a, b), a != b, the entries (a, b) and
/// (b, a) are both stored: 1.0 when the edge is sharp, an explicit 0.0 when not,
/// so the stored pattern enumerates all edges. A triangle repeating a vertex a
/// also stores (a, a), holding the index of the first such triangle (or -2.0
/// when three or more of its directed edges a->a meet); look off the diagonal
/// for edges. Vertex indices enter as their low 32 bits.
/// \pre fewer than 2^31 vertices.
ZELKOV_TRIMESH_EXPORT Eigen::SparseMatrix<double, 0, int>
is_sharp_edge(const triangle_surface& surface, double angle_degrees, bool consider_orientation);

/// Whether any edge at `vertex` is sharp. Walks the edges of
/// `edges_from_vertex` in order and stops at the first sharp one; a vertex
/// without edges gives false.
ZELKOV_TRIMESH_EXPORT bool vertex_on_sharp_edge(std::size_t vertex, const triangle_surface& surface,
                                                const vertex_to_triangles_map& map, double angle_degrees,
                                                bool consider_orientation);

// ---------------------------------------------------------------- roughness and curvature

/// Distance from each vertex to the centre of its one-ring weighted by inverse
/// distance. Ring vertices at the vertex's own position carry no weight; a
/// vertex with no weighted ring vertex gets -1.0. Boundary vertices are not
/// treated specially (their ring lies to one side).
ZELKOV_TRIMESH_EXPORT std::vector<double> vertex_roughness(const triangle_surface& surface,
                                                           const vertex_to_triangles_map& map);

/// As above; builds the map first.
ZELKOV_TRIMESH_EXPORT std::vector<double> vertex_roughness(const triangle_surface& surface);

/// Discrete curvature: at vertex a, the mean over the edges (a, b) of its
/// one-ring of ((n_b - n_a) . (p_b - p_a)) / |p_b - p_a|^2, with n the
/// area-weighted unit vertex normals. An edge of zero length adds nothing but
/// still counts; an isolated vertex gets 0.0. About 1/r on a sphere of radius r
/// with outward normals; positive on convex regions. A vertex whose normal is
/// NaN spreads NaN to its neighbours.
ZELKOV_TRIMESH_EXPORT std::vector<double> curvature(const triangle_surface& surface,
                                                    const vertex_to_triangles_map& map);

/// As above; builds the map first.
ZELKOV_TRIMESH_EXPORT std::vector<double> curvature(const triangle_surface& surface);

// ---------------------------------------------------------------- smoothing

/// Replaces, `iterations` times, each vertex's value by the plain mean of its
/// own value and those of its one-ring (a box filter over the mesh graph).
/// Rings are computed once. Values of `field` at or beyond the vertex count
/// are set to 0.0 by the first iteration; with `iterations` 0 the field comes
/// back as given.
/// \pre `field.size() >= surface.vertices.size()`.
ZELKOV_TRIMESH_EXPORT std::vector<double> smooth_scalar_field(const triangle_surface& surface,
                                                              std::vector<double> field,
                                                              const vertex_to_triangles_map& map,
                                                              std::size_t iterations);

}  // namespace Zelkov::Geometry
