// `simplify`: the typical job. Read, weld with `unique`, take the map and a
// report, collapse edges by quadric error on the neighbourhood cache, compact,
// drop free points, relax flat edges, and measure curvature on the result.

#include <algorithm>
#include <cmath>

#include <geometry/trimesh.h>

#include "colour_map.h"
#include "commands.h"
#include <meshio/meshio.h>
#include "quadric_simplify.h"

namespace Zelkov::Cli {

namespace {

using namespace Zelkov::Geometry;

std::size_t target_for(const simplify_cli_options& o, std::size_t triangles)
{
    if (o.target) return *o.target;
    const double ratio = o.ratio.value_or(0.1);
    return static_cast<std::size_t>(std::llround(ratio * static_cast<double>(triangles)));
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

}  // namespace

value run_simplify(const common_options& options, const simplify_cli_options& o, stage_clock& clock)
{
    input_mesh in = load_input(options, clock);
    triangle_surface& s = in.surface;
    value report = begin_report("simplify", in);
    Zelkov::Processing::weld_options w;
    w.remove_degenerate = true;
    w.remove_free_points = false;
    report["weld"] = weld(s, w, clock);

    const auto map = clock.run("vertex-to-triangles map", [&] { return get_vertex_to_triangles_map(s); });
    report["investigation"] =
        investigation_report(clock.run("investigate", [&] { return Zelkov::Processing::investigate_sides(s, map); }));
    auto pinned = clock.run("pinch vertices", [&] { return Zelkov::Processing::pinch_vertices(s, map); });

    simplify_options so;
    so.target_triangles = target_for(o, s.triangles.size());
    so.max_normal_turn_degrees = o.max_normal_turn_degrees;
    so.preserve_boundary = !o.collapse_boundary;
    const simplify_counts counts = collapse_by_quadrics(s, so, std::move(pinned), clock);

    value c = value::object();
    c["target_triangles"] = so.target_triangles;
    c["reached_target"] = counts.reached_target;
    c["collapses"] = counts.collapses;
    c["triangles_removed"] = counts.removed_triangles;
    c["boundary_edges"] = counts.boundary_edges;
    c["boundary_kept_as_it_is"] = so.preserve_boundary;
    c["non_manifold_edges_kept"] = counts.non_manifold_edges;
    c["vertices_held_in_place"] = counts.pinned_vertices;
    c["refused_by_the_link_condition"] = counts.refused_by_link;
    c["refused_by_the_normal_test"] = counts.refused_by_normal;
    c["largest_quadric_error"] = counts.largest_error;
    report["collapse"] = std::move(c);

    clock.run("remove free points", [&] { remove_free_points(s); });
    auto fresh = clock.run("vertex-to-triangles map", [&] { return get_vertex_to_triangles_map(s); });
    const std::size_t flips =
        clock.run("relax edges", [&] { return relax_flat_edges(s, fresh, o.relax_flat_degrees); });
    report["relaxed_edges"] = flips;
    const auto k = clock.run("curvature", [&] { return curvature(s, fresh); });
    report["curvature"] = field_summary(k);

    value after = surface_summary(s);
    after["valid"] = is_valid(s);
    after["closed_and_consistently_oriented"] = is_manifold(s, fresh, true);
    report["after"] = std::move(after);

    Zelkov::Meshio::ply_content content;
    content.fields.push_back({"curvature", k});
    content.colours = diverging_colours(k);
    write_output(options, s, content, report, clock);
    return report;
}

}  // namespace Zelkov::Cli
