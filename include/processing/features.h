#pragma once
/// \file
/// `features`: sharp edges, roughness, curvature and a smoothed curvature for
/// display, per vertex.

#include <cstddef>
#include <vector>

#include <geometry/triangle_surface.h>
#include <processing/export.h>
#include <processing/progress.h>

namespace Zelkov::Processing {

using Zelkov::Geometry::triangle_surface;

/// The thresholds of `features`.
struct features_options {
    /// An edge is sharp when its triangles' normals differ by more than this.
    double sharp_angle_degrees = 30.0;
    /// Passes of the box filter over the curvature for `smoothed_curvature`.
    std::size_t smoothing_iterations = 10;
};

/// Per-vertex fields, one value per vertex of the surface. A value that is
/// not defined is NaN (curvature), or -1 (roughness).
struct features_result {
    /// Triangles left out of the measuring because another triangle on the
    /// same three vertices runs the other way (their normals cancel).
    std::size_t back_to_back_duplicates_set_aside = 0;
    std::size_t sharp_edges = 0;              ///< edges beyond the angle
    std::size_t vertices_on_sharp_edges = 0;  ///< vertices on one of them
    std::vector<double> on_sharp_edge;        ///< 1.0 on a sharp edge, else 0.0
    std::vector<double> roughness;            ///< the core's `vertex_roughness`
    std::vector<double> curvature;            ///< the core's `curvature`
    /// The curvature smoothed over the defined values only: NaN where no
    /// defined value lies within the smoothing's reach.
    std::vector<double> smoothed_curvature;
    std::size_t undefined_roughness = 0;           ///< -1: no ring, or only coincident neighbours
    std::size_t undefined_curvature = 0;           ///< NaN: the vertex or a neighbour has no normal
    std::size_t undefined_smoothed_curvature = 0;  ///< NaN: no defined value within reach
};

/// Measures the fields of `surface` on a copy in which each group of triangles
/// on the same three vertices is kept once, its first member as it stands, so
/// that back-to-back duplicates do not cancel the normals. Undefined values
/// stay as the core gives them and are counted; the smoothing leaves them
/// out instead of spreading them. Reports the stages "set back-to-back
/// duplicates aside", "sharp edges", "vertex-to-triangles map", "roughness",
/// "curvature" and "smooth curvature". The same for every thread count.
/// \pre `surface` is valid; callers usually weld it first.
/// \throws cancelled, std::bad_alloc.
ZELKOV_PROCESSING_EXPORT features_result features(const triangle_surface& surface, const features_options& options = {},
                                                  const progress_callback& progress = {});

}  // namespace Zelkov::Processing
