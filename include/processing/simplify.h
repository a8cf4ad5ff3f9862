#pragma once
/// \file
/// `simplify`: fewer triangles by edge collapses chosen by quadric error
/// (Garland and Heckbert) on the core's neighbourhood cache, as a whole job
/// (weld, collapse, clean up, relax) or as the collapse step alone.

#include <cstddef>
#include <limits>
#include <optional>
#include <vector>

#include <geometry/triangle_surface.h>
#include <processing/export.h>
#include <processing/surface_info.h>
#include <processing/progress.h>
#include <processing/weld.h>

namespace Zelkov::Processing {

using Zelkov::Geometry::triangle_surface;

/// What a boundary edge may do in the collapse step.
enum class boundary_mode {
    locked,  ///< never collapsed; its vertices never move
    slide,   ///< its vertices move only along the boundary, and boundary edges collapse along it
    free,    ///< collapses like any edge, held near its place by the quadrics of planes upright on it
};

/// The limits of the collapse step.
struct collapse_options {
    /// Stop when no more than this many triangles are alive.
    std::size_t target_triangles = 0;
    /// Stop earlier: no collapse whose error, as a length (see
    /// `collapse_counts::largest_distance`), is above this. Infinity: no bound.
    double max_error = std::numeric_limits<double>::infinity();
    /// A collapse is refused when it turns the normal of a surrounding
    /// triangle by more than this angle, in degrees (90 is the plain flip test).
    double max_normal_turn_degrees = 60.0;
    /// What boundary edges may do.
    boundary_mode boundary = boundary_mode::locked;
    /// Inner edges whose two triangles' normals turn by more than this angle,
    /// in degrees, are features: kept like a sliding boundary (their vertices
    /// move only along them, the ends of a feature line never). 180 or more:
    /// no features.
    double feature_angle_degrees = 180.0;
};

/// What the collapse step did.
struct collapse_counts {
    std::size_t triangles_before = 0;    ///< live triangles at the start
    std::size_t triangles_after = 0;     ///< rows left after the dead ones were removed
    std::size_t collapses = 0;           ///< edges collapsed
    std::size_t passes = 0;              ///< passes that collapsed edges
    std::size_t boundary_edges = 0;      ///< edges with one triangle
    std::size_t non_manifold_edges = 0;  ///< edges with three or more triangles, never collapsed
    std::size_t feature_edges = 0;       ///< inner edges sharper than the feature angle
    std::size_t pinned_vertices = 0;     ///< never moved or removed: on such edges, corners of features, or pinned
    std::size_t refused_by_link = 0;     ///< refusals by the link condition, summed over the passes
    std::size_t refused_by_normal = 0;   ///< refusals by the normal-turn limit, summed over the passes
    std::size_t removed_triangles = 0;   ///< the triangles that died, taken out of the rows
    double largest_error = 0.0;          ///< the largest quadric error of a collapse made
    /// The largest error of a collapse made as a length: the root of the
    /// mean squared distance of the new vertex to the planes merged into it,
    /// weighted by area.
    double largest_distance = 0.0;
    bool reached_target = false;  ///< at most `target_triangles` are left
    /// For each vertex, the vertex it was collapsed into, followed to the end
    /// (a vertex that survives maps to itself).
    std::vector<std::size_t> survivor;
};

/// Collapses edges of `surface`, cheapest quadric error first, until at most
/// `options.target_triangles` triangles are alive, no edge may be collapsed
/// or every collapse left is above `options.max_error`, then removes the dead
/// triangles, keeping the others in their order. Vertices keep their
/// indices: those that lost their triangles stay as free points for
/// `remove_free_points`.
///
/// Each vertex carries the area-weighted sum of the plane quadrics of its
/// triangles; an edge's cost is the error of the summed quadric at the best
/// position, where the survivor is moved. The loop runs in passes: each pass
/// orders the edges by cost (in buckets of the top bits of the cost as a
/// float, in triangle order within a bucket) and collapses them cheapest
/// first, up to 1.5 times the least cost of the bucket that holds the rank of
/// the collapses still wanted, each edge whose ends no earlier collapse of
/// the pass used. It goes a slice of edges at a time (a 32nd of the
/// triangles, but at least 64 and at most 4096): in order, an edge is taken when its ends
/// lie outside the stars of the edges taken before it in the slice, and
/// waits for the next slice otherwise. A collapse needs the link condition
/// (the end vertices share exactly the apexes of the edge's triangles),
/// leaves no inner apex with fewer than three triangles, and turns no
/// surrounding triangle's normal by more than the limit; an edge refused is
/// not tried again until something in its stars changes. Edges shared by
/// three or more triangles, and boundary edges in `boundary_mode::locked`,
/// are never collapsed; their vertices, and the vertices in `pinned`, never
/// move and always survive. An inner edge between two boundary vertices is
/// never collapsed. A vertex with more than 32 triangles keeps its place and
/// is never removed. An input whose triangles name vertices far apart is
/// worked on in a numbering of its own (Morton order); what is given back is
/// in the input's. The result is the same for every thread count.
///
/// Reports the stages "edge kinds", "quadrics", "collapses" (with a fraction
/// at each hundredth of the triangles asked for) and "remove invalid
/// triangles".
/// \pre `surface` has no triangle that repeats a vertex; `pinned` is empty or
/// has one entry per vertex.
/// \throws std::length_error for 2^32 - 1 vertices or more; cancelled.
ZELKOV_PROCESSING_EXPORT collapse_counts collapse_by_quadrics(triangle_surface& surface,
                                                              const collapse_options& options,
                                                              std::vector<unsigned char> pinned = {},
                                                              const progress_callback& progress = {});

/// The whole simplification job.
struct simplify_options {
    /// The number of triangles to reach; when not given, `ratio` of the
    /// triangles left after welding, rounded to the nearest whole number.
    std::optional<std::size_t> target_triangles;
    double ratio = 0.1;  ///< the fraction to keep when no target is given, in (0, 1]
    /// Stop earlier, at this error as a length (see
    /// `collapse_counts::largest_distance`). Infinity: no bound.
    double max_error = std::numeric_limits<double>::infinity();
    /// The same bound as a fraction of the diagonal of the welded input's
    /// bounding box; the smaller of the two bounds applies.
    double max_error_relative = std::numeric_limits<double>::infinity();
    double max_normal_turn_degrees = 60.0;           ///< see `collapse_options`
    boundary_mode boundary = boundary_mode::locked;  ///< see `collapse_options`
    double feature_angle_degrees = 180.0;            ///< see `collapse_options`; 180: no features
    /// Input vertices that must neither move nor go: empty, or one entry per
    /// vertex of the input (before welding); a welded vertex is locked when
    /// any of its copies is.
    std::vector<unsigned char> locked;
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
    double error_bound = 0.0;             ///< the error bound the collapses kept to, as a length (infinity: none)
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
/// \pre `surface` is valid; `options.locked` is empty or has one entry per vertex.
/// \throws std::invalid_argument when `options.locked` has another size;
/// std::length_error for 2^32 - 1 vertices or more; cancelled.
ZELKOV_PROCESSING_EXPORT simplify_result simplify(triangle_surface& surface, const simplify_options& options = {},
                                                  const progress_callback& progress = {});

}  // namespace Zelkov::Processing
