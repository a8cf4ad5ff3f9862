#include <processing/simplify.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

#include <geometry/trimesh.h>

#include "stages.h"
#include "topology_figures.h"

namespace Zelkov::Processing {

namespace {

using namespace Zelkov::Geometry;
using detail::run_stage;

std::size_t target_for(const simplify_options& o, std::size_t triangles)
{
    if (o.target_triangles) return *o.target_triangles;
    return static_cast<std::size_t>(std::llround(o.ratio * static_cast<double>(triangles)));
}

/// The smaller of the absolute bound and the relative one on the diagonal
/// of the box around the vertices that triangles use.
double error_bound(const simplify_options& o, const triangle_surface& s)
{
    if (!(o.max_error_relative < std::numeric_limits<double>::infinity()) || s.triangles.empty()) return o.max_error;
    return std::min(o.max_error, o.max_error_relative * detail::box_diagonal(s));
}

/// Flips every edge whose two triangles are within `flat_degrees` of each
/// other and fail the Delaunay test, once over the edges as they stand at the
/// start. Creases are left alone, so the shape does not change.
std::size_t relax_flat_edges(triangle_surface& s, vertex_to_triangles_map& map, double flat_degrees)
{
    std::vector<std::array<std::size_t, 2>> edges;
    edges.reserve(3 * s.triangles.size() / 2);
    for (const auto& t : s.triangles)
        for (int e = 0; e < 3; ++e)
            if (t[e] < t[(e + 1) % 3]) edges.push_back({t[e], t[(e + 1) % 3]});
    std::size_t flips = 0;
    for (const auto& edge : edges)
        if (!is_sharp_edge(edge, s, map, flat_degrees, false)) flips += relax_edge(edge, s, map);
    return flips;
}

/// Where each input vertex ended: through the weld, the collapses and the
/// removal of free points.
std::vector<std::size_t> compose_vertex_maps(const std::vector<std::size_t>& welded,
                                             const std::vector<std::size_t>& survivor,
                                             const std::vector<std::size_t>& kept)
{
    std::vector<std::size_t> map(welded.size());
    for (std::size_t v = 0; v < welded.size(); ++v) map[v] = kept[survivor[welded[v]]];
    return map;
}

}  // namespace

weld_options simplify_weld_options()
{
    weld_options w;
    w.remove_degenerate = true;
    w.remove_free_points = false;
    return w;
}

simplify_result simplify(triangle_surface& surface, const simplify_options& options, const progress_callback& progress)
{
    if (!options.locked.empty() && options.locked.size() != surface.vertices.size())
        throw std::invalid_argument("the vertex locks have " + std::to_string(options.locked.size()) + " entries for " +
                                    std::to_string(surface.vertices.size()) + " vertices");
    triangle_surface& s = surface;
    simplify_result r;
    r.weld = weld(s, simplify_weld_options(), progress);

    const auto map = run_stage(progress, "vertex-to-triangles map", [&] { return get_vertex_to_triangles_map(s); });
    if (options.investigate)
        r.investigation = run_stage(progress, "investigate", [&] { return investigate_sides(s, map); });
    auto pinned = run_stage(progress, "pinch vertices", [&] { return pinch_vertices(s, map); });
    for (std::size_t v = 0; v < options.locked.size(); ++v)
        if (options.locked[v] && r.weld.vertex_map[v] < pinned.size()) pinned[r.weld.vertex_map[v]] = 1;

    collapse_options c;
    c.target_triangles = r.target_triangles = target_for(options, s.triangles.size());
    c.max_error = r.error_bound = error_bound(options, s);
    c.max_normal_turn_degrees = options.max_normal_turn_degrees;
    c.boundary = options.boundary;
    c.feature_angle_degrees = options.feature_angle_degrees;
    r.collapse = collapse_by_quadrics(s, c, std::move(pinned), progress);

    std::vector<std::size_t> kept;
    run_stage(progress, "remove free points", [&] { remove_free_points(s, kept); });
    r.vertex_map = compose_vertex_maps(r.weld.vertex_map, r.collapse.survivor, kept);
    auto fresh = run_stage(progress, "vertex-to-triangles map", [&] { return get_vertex_to_triangles_map(s); });
    r.relaxed_edges =
        run_stage(progress, "relax edges", [&] { return relax_flat_edges(s, fresh, options.relax_flat_degrees); });
    r.curvature = run_stage(progress, "curvature", [&] { return curvature(s, fresh); });
    r.valid = is_valid(s);
    r.closed_and_consistently_oriented = is_manifold(s, fresh, true);
    return r;
}

}  // namespace Zelkov::Processing
