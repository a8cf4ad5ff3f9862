#pragma once
/// \file
/// Repair: from a defective file (a soup, patches with cracks, duplicate
/// sheets, non-manifold edges, pinch vertices, turned-over pieces, holes) to
/// a clean, consistently oriented, manifold surface. One function per step,
/// each usable alone, and `repair`, which runs them in order.
///
/// Every step is deterministic and gives the same result for every thread
/// count. Steps that renumber vertices return an old-to-new map in which
/// SIZE_MAX marks a removed vertex.

#include <cstddef>
#include <vector>

#include <geometry/triangle_surface.h>
#include <processing/export.h>
#include <processing/progress.h>
#include <processing/weld.h>

namespace Zelkov::Processing {

using Zelkov::Geometry::triangle_surface;

// ---------------------------------------------------------------- weld within a tolerance

/// What `weld_within_tolerance` merged.
struct tolerance_weld_result {
    std::size_t vertices_merged = 0;  ///< vertices that fell onto another
    /// For each vertex on entry, its index on return.
    std::vector<std::size_t> vertex_map;
};

/// Merges each vertex into the first vertex (in index order) that lies within
/// `tolerance` of it (Euclidean distance <= tolerance) and has not itself been
/// merged. Chains do not merge through: a vertex joins a kept vertex only when
/// it is within the tolerance of that vertex itself. Nothing moves: kept
/// vertices keep their positions and their relative order, merged ones are
/// removed and their triangles renamed, which may leave triangles that repeat
/// a vertex. After `weld` (which sorts the vertices by coordinates) the result
/// does not depend on the input's order. A tolerance of 0 or below, or NaN,
/// merges nothing. Vertices with a non-finite coordinate are never merged.
/// \pre `surface` is valid.
/// \throws std::bad_alloc.
ZELKOV_PROCESSING_EXPORT tolerance_weld_result weld_within_tolerance(triangle_surface& surface, double tolerance);

// ---------------------------------------------------------------- removals

/// What to do with two triangles on the same vertices that run opposite ways.
enum class back_to_back_policy {
    drop_both,  ///< remove every copy: such pairs are usually a sheet folded flat onto itself
    keep_one,   ///< keep the first copy, as for duplicates that run the same way
};

/// Which defective triangles `remove_defective_triangles` removes.
struct removal_options {
    /// Also remove triangles of three different vertices with exactly zero area.
    bool zero_area = false;
    /// Triangles on the same three vertices that do not all run the same way.
    back_to_back_policy back_to_back = back_to_back_policy::drop_both;
    /// Remove the connected pieces (triangles joined through shared edges
    /// or vertices) with fewer triangles than this.
    std::size_t min_component_triangles = 0;
    /// Remove the connected pieces with less area than this.
    double min_component_area = 0.0;
};

/// What `remove_defective_triangles` removed.
struct removal_result {
    std::size_t degenerate = 0;           ///< triangles that repeat a vertex
    std::size_t zero_area = 0;            ///< three different vertices, zero area
    std::size_t duplicates = 0;           ///< later copies of a triangle that runs the same way
    std::size_t back_to_back = 0;         ///< triangles removed from groups that run both ways
    std::size_t small_components = 0;     ///< pieces below the limits
    std::size_t component_triangles = 0;  ///< the triangles of those pieces
};

/// Removes, in this order, triangles that repeat a vertex, zero-area ones (if
/// asked), duplicates (the first copy of a triangle that runs one way stays;
/// a group that runs both ways follows `back_to_back`), and the pieces below
/// the limits. The triangles that stay keep their order. Vertices stay (see
/// `remove_free_points` in the core).
/// \pre `surface` is valid.
/// \throws std::bad_alloc.
ZELKOV_PROCESSING_EXPORT removal_result remove_defective_triangles(triangle_surface& surface,
                                                                   const removal_options& options = {});

// ---------------------------------------------------------------- manifold

/// What `make_manifold` cut.
struct manifold_result {
    std::size_t non_manifold_edges = 0;  ///< edges that had three or more triangles
    std::size_t split_vertices = 0;      ///< vertices given one or more copies
    std::size_t vertices_added = 0;      ///< the copies
    /// For each vertex on return, the vertex it copies (itself for the
    /// vertices on entry, which keep their indices).
    std::vector<std::size_t> vertex_source;
};

/// Makes every edge carry at most two triangles and every vertex a single
/// fan, without moving anything. At an edge of three or more triangles, the
/// triangles are taken in order around the edge (by the angle of their third
/// corner about the edge, ties by index), and each one that runs the edge
/// from its higher to its lower vertex is paired with the next one around if
/// that one runs it the other way: the two face each other across a wedge
/// that lies inside both, so that solids touching along the edge come apart
/// whole. Each pair stays joined along the edge; the pairs and the triangles
/// left alone come apart there. Then each vertex whose triangles form several
/// fans (joined through the edges that stay joined) keeps its index for the
/// fan of its lowest triangle, and gets a copy for each other fan, appended
/// in the order the triangles first reach them. Where pairs on one edge stay
/// joined around both its ends, the first triangle on the edge keeps one
/// partner that runs the other way and the others take their own copies of
/// the edge's ends. Triangles that repeat a vertex are left as they are.
/// \pre `surface` is valid.
/// \throws std::bad_alloc.
ZELKOV_PROCESSING_EXPORT manifold_result make_manifold(triangle_surface& surface);

// ---------------------------------------------------------------- orientation

/// What `orient` turned over.
struct orient_result {
    std::size_t components = 0;                 ///< pieces joined through edges of two triangles
    std::size_t flipped_triangles = 0;          ///< triangles turned over in all
    std::size_t non_orientable_components = 0;  ///< left as they were, such as a Moebius strip
    std::size_t turned_outward = 0;             ///< closed pieces turned over whole
};

/// Orients each piece (triangles joined through edges of exactly two
/// triangles) consistently where it can be: the side of the piece that runs
/// against its lowest triangle is turned over if it is the smaller side,
/// else the other side is (a tie keeps the lowest triangle as it is). Pieces
/// that cannot be oriented are left as they are and counted. With `outward`,
/// each closed piece (no edge of one triangle) whose signed volume is
/// negative is then turned over whole. Triangles that repeat a vertex are
/// left alone.
/// \pre `surface` is valid; edges carry at most two triangles (see
///      `make_manifold`), or the pieces are taken across those edges only.
/// \throws std::bad_alloc.
ZELKOV_PROCESSING_EXPORT orient_result orient(triangle_surface& surface, bool outward = true);

// ---------------------------------------------------------------- holes

/// How `fill_holes` closes holes.
struct fill_options {
    /// Fill the holes whose loop has at most this many edges (0: none).
    std::size_t max_boundary_edges = 0;
    /// Split the new triangles until their size matches the edges around the
    /// hole, with flips that keep them well shaped.
    bool refine = true;
    /// Move the vertices made by refining so that the patch continues the
    /// surface's curvature (they stay on the flat fill otherwise).
    bool fair = true;
};

/// What `fill_holes` did.
struct fill_result {
    std::size_t holes = 0;            ///< boundary loops found
    std::size_t filled = 0;           ///< loops closed
    std::size_t too_large = 0;        ///< loops above the limit, left open
    std::size_t not_simple = 0;       ///< boundaries that do not form simple loops, left open
    std::size_t refused = 0;          ///< loops that close only by repeating an edge or with a flat triangle
    std::size_t triangles_added = 0;  ///< new triangles
    std::size_t vertices_added = 0;   ///< new vertices (appended)
};

/// Closes each boundary loop of at most `max_boundary_edges` edges with the
/// triangulation of least weight (the largest dihedral angle to the triangles
/// around it first, then the area), made in the direction that continues the
/// surface's orientation, then refined and faired as asked. The loops are
/// followed from the triangles' sides that are alone on their edge; a loop
/// that passes a vertex twice is reported as not simple and left open, and a
/// loop that closes only with an edge the surface already has, or with a
/// triangle of zero area, is refused and left open.
/// Existing triangles and vertices stay as they are; new ones are appended.
/// \pre `surface` is valid, manifold and consistently oriented where holes
///      are to be filled (see `make_manifold` and `orient`).
/// \throws std::bad_alloc.
ZELKOV_PROCESSING_EXPORT fill_result fill_holes(triangle_surface& surface, const fill_options& options);

// ---------------------------------------------------------------- the job

/// The steps of `repair`.
struct repair_options {
    /// Merge points closer than this after the exact weld (0: exact only).
    double tolerance = 0.0;
    /// A tolerance relative to the diagonal of the bounding box; the larger
    /// of the two is used.
    double tolerance_relative = 0.0;
    removal_options removal;    ///< what is removed as defective
    bool make_manifold = true;  ///< cut non-manifold edges and pinch vertices
    bool orient = true;         ///< orient pieces consistently, closed ones outward
    fill_options fill;          ///< hole filling, off unless a limit is given
};

/// What `repair` did, step by step.
struct repair_result {
    weld_result weld;                       ///< the exact weld
    double tolerance = 0.0;                 ///< the tolerance used
    tolerance_weld_result tolerance_weld;   ///< merges within it
    removal_result removal;                 ///< defective triangles and small pieces
    std::size_t free_vertices_removed = 0;  ///< vertices left without triangles
    manifold_result manifold;               ///< cuts
    orient_result orientation;              ///< turns
    fill_result fill;                       ///< holes closed
    /// For each input vertex, its index on return (the first copy where it
    /// was split), or SIZE_MAX when it was merged away or removed.
    std::vector<std::size_t> vertex_map;
};

/// Repairs `surface` in place: the exact weld (where only triangles that run
/// the same way merge, so that back-to-back pairs reach the removal step),
/// the weld within the tolerance, removal of defective triangles and small
/// pieces, removal of free points, `make_manifold`, `orient` (closed pieces
/// outward), `fill_holes` (when a limit is given; `fill` stays all zero
/// otherwise), and, when holes were filled, `orient` again so
/// that pieces closed by filling face outward too. Steps that the options
/// turn off are skipped. Reports the stages "weld", "weld within tolerance",
/// "remove defects", "remove free points", "make manifold", "orient", "fill
/// holes" and "orient again".
/// \pre `surface` is valid.
/// \throws cancelled, std::invalid_argument when a tolerance or limit is
///         negative or NaN, std::bad_alloc.
ZELKOV_PROCESSING_EXPORT repair_result repair(triangle_surface& surface, const repair_options& options = {},
                                              const progress_callback& progress = {});

}  // namespace Zelkov::Processing
