#pragma once
/// \file
/// `inspect`: what a surface holds, as it is stored: counts, measures, edges
/// by kind, vertex classes, pieces, defects and the investigation report.

#include <cstddef>
#include <string>
#include <vector>

#include <geometry/triangle_surface.h>
#include <math/records.h>
#include <processing/export.h>
#include <processing/progress.h>

namespace Zelkov::Processing {

using Zelkov::Geometry::triangle_surface;
using Zelkov::Geometry::vertex_to_triangles_map;

/// Whole-surface measures, as the core computes them.
struct measure_figures {
    double area = 0.0;                            ///< `area`
    double signed_volume = 0.0;                   ///< `signed_volume`: positive when closed and outward
    double volume = 0.0;                          ///< `volume`
    Zelkov::Math::point<double, 3> barycenter{};  ///< `barycenter`: NaN without triangles
    /// Rows 0 to 2 hold the axes of the largest, middle and smallest moment,
    /// m[12..14] the origin.
    Zelkov::Math::matrix4x4<double> principal_frame{};
};

/// Distinct undirected edges between two different vertices, by the number
/// of triangle sides on them.
struct edge_figures {
    std::size_t edges = 0;         ///< all of them
    std::size_t boundary = 0;      ///< one side
    std::size_t manifold = 0;      ///< two sides
    std::size_t non_manifold = 0;  ///< three or more
    std::size_t misoriented = 0;   ///< two sides that run the same way
};

/// Vertices by the core's topology code, and pinch vertices.
struct vertex_class_figures {
    std::size_t regular_or_free = 0;           ///< code 0
    std::size_t boundary = 0;                  ///< code 1
    std::size_t inconsistent_orientation = 0;  ///< code 2
    std::size_t on_non_manifold_edge = 0;      ///< code 3 and above
    std::size_t pinch = 0;                     ///< triangles in two or more fans joined only at the vertex
};

/// The surface after merging equal positions, over its triangles that do
/// not repeat a vertex: the vertices they use, their distinct edges, and
/// V - E + F.
struct welded_figures {
    std::size_t vertices = 0;            ///< used by a triangle
    std::size_t edges = 0;               ///< distinct undirected edges
    std::size_t triangles = 0;           ///< with three different vertices
    long long euler_characteristic = 0;  ///< vertices - edges + triangles
};

/// What a surface holds that most algorithms do not expect.
struct defect_figures {
    std::size_t topologically_degenerate = 0;  ///< triangles that repeat a vertex
    std::size_t zero_area = 0;                 ///< three different vertices, exactly zero area
    std::size_t duplicate_positions = 0;       ///< vertices that merging equal positions removes
    std::size_t duplicate_triangles = 0;       ///< triangles that merging ignoring orientation removes
    std::size_t non_finite_vertices = 0;       ///< a NaN or infinite coordinate
};

/// The core's investigation report: its text and its numbers, which count
/// triangle sides, so that an inner edge counts once from each triangle.
struct investigation_figures {
    /// False when the report was left out; `skipped_because` says why.
    bool done = false;
    std::string skipped_because;              ///< empty when `done`
    std::size_t degenerate_triangles = 0;     ///< triangles that repeat a vertex
    std::size_t boundary_sides = 0;           ///< sides alone on their edge
    std::size_t manifold_sides = 0;           ///< sides sharing their edge with one other, either way
    std::size_t oriented_manifold_sides = 0;  ///< of those, the ones the other runs the opposite way
    std::size_t non_manifold_sides = 0;       ///< sides on an edge of three or more triangles
    std::string text;                         ///< the core's nine lines
};

/// What `inspect` leaves out.
struct inspect_options {
    /// Run the core's investigation report (left out anyway where it would
    /// be too slow; see `investigate_sides`).
    bool investigate = true;
};

/// Everything `inspect` finds.
struct inspect_result {
    std::size_t vertices = 0;   ///< as stored, free ones included
    std::size_t triangles = 0;  ///< as stored
    /// The box of the vertices that triangles use; meaningless without triangles.
    Zelkov::Math::boundingbox<double, 3> box{};
    measure_figures measures;                       ///< area, volumes, barycenter, principal frame
    edge_figures edges;                             ///< edges by the number of triangles on them
    std::size_t boundary_loops = 0;                 ///< pieces of the boundary-edge graph
    bool closed_manifold = false;                   ///< `is_manifold` ignoring orientation
    bool closed_and_consistently_oriented = false;  ///< `is_manifold` with orientation
    vertex_class_figures vertex_classes;            ///< vertices by topology
    std::size_t free_vertices = 0;                  ///< vertices without triangles
    std::size_t connected_components = 0;           ///< triangles joined through shared vertices
    std::size_t non_orientable_components = 0;      ///< components with no consistent orientation
    welded_figures welded;                          ///< the surface after merging equal positions
    defect_figures defects;                         ///< degenerate, duplicate and non-finite counts
    investigation_figures investigation;            ///< the core's report, unless left out
};

/// Inspects `surface` as stored: nothing is welded except for `welded`.
/// Reports the stages "measures", "vertex-to-triangles map", "edge counts",
/// "classify vertices", "pinch vertices", "components", "orientation",
/// "weld for the euler characteristic", "duplicates" and "investigate".
/// Linear in the size of the surface up to sorting, whatever its valences.
/// \pre `surface` is valid (`is_valid`).
/// \throws cancelled, std::bad_alloc.
ZELKOV_PROCESSING_EXPORT inspect_result inspect(const triangle_surface& surface, const inspect_options& options = {},
                                                const progress_callback& progress = {});

/// The core's investigation report of `surface`, or, when many triangles
/// share one edge or repeat one vertex, a refusal with its reason: the report
/// lists for every triangle side all triangles on its edge, and so grows with
/// the square of their number. Surfaces where no edge carries more than a
/// few triangles are never refused, whatever their size.
/// \pre `map` is in step with `surface`.
ZELKOV_PROCESSING_EXPORT investigation_figures investigate_sides(const triangle_surface& surface,
                                                                 const vertex_to_triangles_map& map);

/// For each vertex, 1 when its triangles form two or more fans that share no
/// edge at the vertex (a pinch or bow-tie), else 0. Triangles that repeat a
/// vertex are left out. Parallel over the vertices; the same for every thread
/// count.
/// \pre `map` is in step with `surface`.
ZELKOV_PROCESSING_EXPORT std::vector<unsigned char> pinch_vertices(const triangle_surface& surface,
                                                                   const vertex_to_triangles_map& map);

}  // namespace Zelkov::Processing
