#include <processing/weld.h>

#include <limits>

#include <geometry/trimesh.h>

#include "stages.h"
#include "topology_figures.h"

namespace Zelkov::Processing {

using namespace Zelkov::Geometry;

weld_result weld(triangle_surface& surface, const weld_options& options, const progress_callback& progress)
{
    constexpr std::size_t removed = std::numeric_limits<std::size_t>::max();
    weld_result r;
    const std::size_t v0 = surface.vertices.size(), t0 = surface.triangles.size();
    r.vertex_map =
        detail::run_stage(progress, "unique", [&] { return unique(surface, options.consider_orientation).first; });
    r.vertices_merged = v0 - surface.vertices.size();
    r.triangles_merged = t0 - surface.triangles.size();
    if (options.remove_degenerate)
        detail::run_stage(progress, "remove degenerate triangles", [&] {
            auto repeated = detail::repeated_vertex_triangles(surface);
            r.degenerate_removed = repeated.size();
            remove_triangles(surface, std::move(repeated));
        });
    if (options.remove_free_points) {
        std::vector<std::size_t> kept;
        detail::run_stage(progress, "remove free points", [&] { remove_free_points(surface, kept); });
        for (std::size_t& v : r.vertex_map) v = kept[v];
        for (const std::size_t k : kept) r.free_vertices_removed += k == removed;
    }
    return r;
}

}  // namespace Zelkov::Processing
