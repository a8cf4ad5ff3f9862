#pragma once
/// \file
/// `weld`: a triangle soup or a surface of patches made into one surface by
/// merging equal points and equal triangles, as `clean` does.

#include <cstddef>
#include <vector>

#include <geometry/triangle_surface.h>
#include <processing/export.h>
#include <processing/progress.h>

namespace Zelkov::Processing {

using Zelkov::Geometry::triangle_surface;

/// What `weld` merges and drops.
struct weld_options {
    /// Merge only triangles that run the same way; when false, triangles on
    /// the same three vertices merge whatever their orientation, and every
    /// triangle may come out turned over (the core's merge sorts its corners).
    bool consider_orientation = true;
    /// Remove the triangles that repeat a vertex after merging.
    bool remove_degenerate = false;
    /// Remove the vertices that no triangle uses.
    bool remove_free_points = true;
};

/// What `weld` did.
struct weld_result {
    std::size_t vertices_merged = 0;        ///< vertices that fell together with another
    std::size_t triangles_merged = 0;       ///< triangles that fell together with another
    std::size_t degenerate_removed = 0;     ///< triangles that repeated a vertex
    std::size_t free_vertices_removed = 0;  ///< vertices left without triangles
    /// For each vertex on entry, its index on return, or SIZE_MAX when it was
    /// removed as a free point.
    std::vector<std::size_t> vertex_map;
};

/// Merges equal positions (exactly, with no tolerance), then equal triangles,
/// with the core's `unique`; then, as the options say, drops triangles that
/// repeat a vertex and vertices without triangles. Vertices come out in
/// ascending order of their coordinates, triangles in ascending order of their
/// indices. Reports the stages "unique", "remove degenerate triangles" and
/// "remove free points". Deterministic and the same for every thread count.
/// \pre `surface` is valid.
/// \throws cancelled, std::bad_alloc.
ZELKOV_PROCESSING_EXPORT weld_result weld(triangle_surface& surface, const weld_options& options = {},
                                          const progress_callback& progress = {});

}  // namespace Zelkov::Processing
