#pragma once
// Simplification by edge collapses chosen by quadric error (Garland and
// Heckbert), on the library's neighbourhood cache.

#include <cstddef>
#include <vector>

#include <geometry/triangle_surface.h>

#include "stages.h"

namespace Zelkov::Cli {

struct simplify_options {
    /// Stop when no more than this many triangles are alive.
    std::size_t target_triangles = 0;
    /// A collapse is refused when it turns the normal of a surrounding
    /// triangle by more than this angle, in degrees (90 is the plain flip test).
    double max_normal_turn_degrees = 60.0;
    /// Keep boundary edges as they are: never collapsed, their vertices never
    /// moved. When false, boundary edges may collapse too, held near their
    /// place by the quadrics of planes upright on them.
    bool preserve_boundary = true;
};

struct simplify_counts {
    std::size_t triangles_before = 0;
    std::size_t triangles_after = 0;
    std::size_t collapses = 0;
    std::size_t boundary_edges = 0;         // reported by the cache
    std::size_t non_manifold_edges = 0;     // reported by the cache, never collapsed
    std::size_t pinned_vertices = 0;        // on such edges, or non-manifold: never moved or removed
    std::size_t refused_by_link = 0;        // link condition
    std::size_t refused_by_normal = 0;      // normal turn
    std::size_t removed_triangles = 0;      // taken out by remove_invalid_triangles
    double largest_error = 0.0;             // quadric error of the last collapse
    bool reached_target = false;
};

/// Collapses edges of `surface`, cheapest quadric error first, until at most
/// `options.target_triangles` triangles are alive or no edge may be collapsed,
/// then removes the dead triangles. Vertices keep their indices: those that
/// lost their triangles stay as free points for `remove_free_points`.
///
/// Each vertex carries the area-weighted sum of the plane quadrics of its
/// triangles; an edge's cost is the error of the summed quadric at the best
/// position, where the survivor is moved. A collapse needs the link condition
/// (the end vertices share exactly the two apexes of the edge's triangles),
/// leaves no apex with fewer than three triangles, and turns no surrounding
/// triangle's normal by more than the limit. Edges shared by three or more
/// triangles, and boundary edges unless `preserve_boundary` is false, are never
/// collapsed; their vertices, and the vertices in `pinned`, never move and
/// always survive. An inner edge between two boundary vertices is never collapsed.
///
/// \pre `surface` has no triangle that repeats a vertex; `pinned` is empty or
/// has one entry per vertex.
/// \throws std::length_error for more than 2^32 - 1 vertices.
simplify_counts collapse_by_quadrics(Zelkov::Geometry::triangle_surface& surface, const simplify_options& options,
                                     std::vector<unsigned char> pinned, stage_clock& clock);

}  // namespace Zelkov::Cli
