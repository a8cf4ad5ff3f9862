#pragma once
// The repair pairings of the peer benchmark (program bench_repair_peers):
// CGAL's Polygon Mesh Processing pipeline and admesh, each taking our
// surface, timing only its own repair, and handing its result back as a
// `triangle_surface` so that every result is inspected by the same code.

#include <cstddef>
#include <limits>

#include <geometry/triangle_surface.h>

namespace Zelkov::Peers {

using Zelkov::Geometry::triangle_surface;

/// How a peer closes holes after its repair.
enum class hole_fill { none, flat, refined, faired };

/// What a peer's run gives back.
struct peer_run {
    double seconds = 0.0;          ///< the timed stretch
    std::size_t holes_filled = 0;  ///< border cycles the peer closed (admesh: triangles it added)
    bool succeeded = true;         ///< false when the peer reported a failure
};

/// CGAL: repair_polygon_soup, orient_polygon_soup, polygon_soup_to_polygon_mesh,
/// stitch_borders, duplicate_non_manifold_vertices, then `fill` on each
/// border cycle of at most `max_boundary_edges` edges (triangulate_hole,
/// triangulate_and_refine_hole or triangulate_refine_and_fair_hole). When
/// `out` is given the mesh is handed back there (untimed).
peer_run cgal_repair(const triangle_surface& in, hole_fill fill, std::size_t max_boundary_edges, triangle_surface* out);

/// CGAL's hole filling alone on a manifold, oriented surface: every border
/// cycle of at most `max_boundary_edges` edges, filled as `fill` says, the
/// triangulation searched among all triangles on the loop's vertices (CGAL's
/// `use_delaunay_triangulation(false)`; the pipeline keeps the default). `patch`
/// receives the new triangles over all the mesh's vertices (untimed).
peer_run cgal_fill_holes(const triangle_surface& in, hole_fill fill, std::size_t max_boundary_edges,
                         triangle_surface& patch);

/// admesh (libadmesh's stl_repair, the code behind the admesh command) with
/// the command's --exact --tolerance=T --nearby --remove-unconnected
/// --fill-holes --normal-directions --normal-values, on the facets of `in`
/// (coordinates as floats). `out` receives admesh's shared-vertex mesh
/// (stl_generate_shared_vertices, what it writes as OFF or OBJ), untimed.
peer_run admesh_repair(const triangle_surface& in, float tolerance, triangle_surface* out);

/// The distance from `sampled` to `reference`, both over the triangles
/// they name, sampled at the centroids of the 16 equal parts of each triangle
/// of `sampled` (split four ways along each side), weighted by area for the mean.
struct patch_distance {
    double mean = 0.0;
    double max = 0.0;
};
patch_distance distance_between(const triangle_surface& sampled, const triangle_surface& reference);

}  // namespace Zelkov::Peers
