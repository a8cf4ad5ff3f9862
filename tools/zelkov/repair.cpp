// `repair`: the repair job's steps and a before-and-after table of every
// figure `info` reports, so that a user sees what changed.

#include <processing/repair.h>

#include "commands.h"

namespace Zelkov::Cli {

namespace {

using namespace Zelkov::Processing;

/// The leaves of two reports of the same shape, side by side: each number or
/// flag becomes [before, after].
value side_by_side(const value& before, const value& after)
{
    if (!before.is_object()) return value::array({before, after});
    value out = value::object();
    for (const auto& [key, v] : before.items()) out[key] = side_by_side(v, after.at(key));
    return out;
}

value figures(const triangle_surface& s) { return figures_report(inspect(s, {.investigate = false})); }

repair_options options_of(const repair_cli_options& o)
{
    repair_options r;
    r.tolerance = o.tolerance;
    r.tolerance_relative = o.tolerance_relative;
    r.removal.zero_area = o.zero_area;
    r.removal.back_to_back =
        o.back_to_back == "keep-one" ? back_to_back_policy::keep_one : back_to_back_policy::drop_both;
    r.removal.min_component_triangles = o.min_component_triangles;
    r.removal.min_component_area = o.min_component_area;
    r.make_manifold = !o.keep_non_manifold;
    r.orient = !o.keep_orientation;
    r.fill.max_boundary_edges = o.fill_holes;
    r.fill.refine = o.fill != "flat";
    r.fill.fair = o.fill == "faired";
    return r;
}

value steps_report(const repair_result& r, bool filling)
{
    const auto& d = r.removal;
    value v = {{"weld", {{"vertices_merged", r.weld.vertices_merged}, {"triangles_merged", r.weld.triangles_merged}}},
               {"tolerance", {{"used", r.tolerance}, {"vertices_merged", r.tolerance_weld.vertices_merged}}},
               {"removed",
                {{"degenerate_triangles", d.degenerate},
                 {"zero_area_triangles", d.zero_area},
                 {"duplicate_triangles", d.duplicates},
                 {"back_to_back_triangles", d.back_to_back},
                 {"small_components", d.small_components},
                 {"their_triangles", d.component_triangles},
                 {"free_vertices", r.free_vertices_removed}}},
               {"manifold",
                {{"non_manifold_edges_cut", r.manifold.non_manifold_edges},
                 {"vertices_split", r.manifold.split_vertices},
                 {"vertices_added", r.manifold.vertices_added}}},
               {"orientation",
                {{"components", r.orientation.components},
                 {"triangles_flipped", r.orientation.flipped_triangles},
                 {"non_orientable_components", r.orientation.non_orientable_components},
                 {"turned_outward", r.orientation.turned_outward}}}};
    // Holes are traced only when filling is asked for; the table's boundary
    // loops count them otherwise.
    if (filling)
        v["holes"] = {{"found", r.fill.holes},
                      {"filled", r.fill.filled},
                      {"too_large", r.fill.too_large},
                      {"not_simple", r.fill.not_simple},
                      {"refused", r.fill.refused},
                      {"triangles_added", r.fill.triangles_added},
                      {"vertices_added", r.fill.vertices_added}};
    return v;
}

}  // namespace

value run_repair(const common_options& options, const repair_cli_options& o, stage_clock& clock)
{
    input_mesh in = load_input(options, clock);
    triangle_surface& s = in.surface;
    value report = begin_report("repair", in);
    const value before = clock.run("figures before", [&] { return figures(s); });
    const repair_result r = repair(s, options_of(o), clock.callback());
    report["repair"] = steps_report(r, o.fill_holes > 0);
    report["before_and_after"] = side_by_side(before, clock.run("figures after", [&] { return figures(s); }));
    report["after"] = surface_summary(s);
    write_output(options, s, {}, report, clock);
    return report;
}

}  // namespace Zelkov::Cli
