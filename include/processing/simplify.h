#pragma once
/// \file
/// `simplify`: fewer triangles by edge collapses chosen by quadric error
/// (Garland and Heckbert) on the core's neighbourhood cache, as a whole job
/// (weld, collapse, clean up, relax) or as the collapse step alone.

#include <cstddef>
#include <optional>
#include <vector>

#include <geometry/triangle_surface.h>
#include <processing/export.h>
#include <processing/surface_info.h>
#include <processing/progress.h>
#include <processing/weld.h>

namespace Zelkov::Processing {

using Zelkov::Geometry::triangle_surface;

/// The limits of the collapse step.
struct collapse_options {
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

/// What the collapse step did.
struct collapse_counts {
    std::size_t triangles_before = 0;    ///< live triangles at the start
    std::size_t triangles_after = 0;     ///< rows left after the dead ones were removed
    std::size_t collapses = 0;           ///< edges collapsed
    std::size_t boundary_edges = 0;      ///< reported by the cache
    std::size_t non_manifold_edges = 0;  ///< reported by the cache, never collapsed
    std::size_t pinned_vertices = 0;     ///< on such edges, or pinned by the caller: never moved or removed
    std::size_t refused_by_link = 0;     ///< refused by the link condition
    std::size_t refused_by_normal = 0;   ///< refused by the normal-turn limit
    std::size_t removed_triangles = 0;   ///< taken out by `remove_invalid_triangles`
    double largest_error = 0.0;          ///< the largest quadric error of a collapse made
    bool reached_target = false;         ///< at most `target_triangles` are left
    /// For each vertex, the vertex it was collapsed into, followed to the end
    /// (a vertex that survives maps to itself).
    std::vector<std::size_t> survivor;
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
/// always survive. An inner edge between two boundary vertices is never
/// collapsed. A refused edge is not tried again until one of its ends has
/// changed. The result is the same for every thread count.
///
/// Reports the stages "neighbourhood cache", "quadrics", "edge queue",
/// "collapses" (with fractions in between) and "remove invalid triangles".
/// \pre `surface` has no triangle that repeats a vertex; `pinned` is empty or
/// has one entry per vertex.
/// \throws std::length_error for more than 2^32 - 1 vertices; cancelled.
ZELKOV_PROCESSING_EXPORT collapse_counts collapse_by_quadrics(triangle_surface& surface,
                                                              const collapse_options& options,
                                                              std::vector<unsigned char> pinned = {},
                                                              const progress_callback& progress = {});

/// The whole simplification job.
struct simplify_options {
    /// The number of triangles to reach; when not given, `ratio` of the
    /// triangles left after welding, rounded to the nearest whole number.
    std::optional<std::size_t> target_triangles;
    double ratio = 0.1;                     ///< the fraction to keep when no target is given, in (0, 1]
    double max_normal_turn_degrees = 60.0;  ///< see `collapse_options`
    bool preserve_boundary = true;          ///< see `collapse_options`
    /// Afterwards, flip the edges whose triangles lie within this many degrees
    /// of flat and fail the Delaunay test (`relax_edge`), once each.
    double relax_flat_degrees = 5.0;
    /// Run the core's investigation report on the welded input.
    bool investigate = true;
};

/// What the job did, and the figures of its result.
struct simplify_result {
    weld_result weld;                     ///< the welding of equal points and triangles
    investigation_figures investigation;  ///< of the welded input, when asked for
    std::size_t target_triangles = 0;     ///< the target the collapses aimed at
    collapse_counts collapse;             ///< the collapse step
    std::size_t relaxed_edges = 0;        ///< edges flipped by the relaxation
    /// For each vertex on entry, the vertex of the result it became: welded
    /// and collapsed vertices map to the vertex they merged into; SIZE_MAX
    /// marks a vertex left without triangles (free in the input, or on
    /// triangles that welding flattened), which the clean-up removed.
    std::vector<std::size_t> vertex_map;
    std::vector<double> curvature;                  ///< the core's `curvature` of the result
    bool valid = false;                             ///< `is_valid` of the result
    bool closed_and_consistently_oriented = false;  ///< `is_manifold` of the result, with orientation
};

/// How `simplify` welds: equal points and triangles merged, triangles that
/// repeat a vertex dropped, free points kept until after the collapses.
ZELKOV_PROCESSING_EXPORT weld_options simplify_weld_options();

/// Simplifies `surface` in place: welds with `simplify_weld_options`, holds pinch vertices in place,
/// collapses edges (`collapse_by_quadrics`) down to the target, removes the
/// vertices left without triangles and relaxes flat edges. Reports the
/// stages of `weld`, "vertex-to-triangles map", "investigate", "pinch
/// vertices", those of `collapse_by_quadrics`, "remove free points", "relax
/// edges" and "curvature". The same for every thread count.
/// \pre `surface` is valid.
/// \throws std::length_error for more than 2^32 - 1 vertices; cancelled.
ZELKOV_PROCESSING_EXPORT simplify_result simplify(triangle_surface& surface, const simplify_options& options = {},
                                                  const progress_callback& progress = {});

}  // namespace Zelkov::Processing
