// `simplify`: the report of the `simplify` job, and its result written with
// the curvature as colours.

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include <processing/simplify.h>

#include "colour_map.h"
#include "commands.h"

namespace Zelkov::Cli {

namespace {

const char* boundary_name(Zelkov::Processing::boundary_mode mode)
{
    switch (mode) {
    case Zelkov::Processing::boundary_mode::slide: return "slide";
    case Zelkov::Processing::boundary_mode::free: return "free";
    default: return "locked";
    }
}

Zelkov::Processing::boundary_mode boundary_of(const std::string& name)
{
    if (name == "slide") return Zelkov::Processing::boundary_mode::slide;
    if (name == "free") return Zelkov::Processing::boundary_mode::free;
    return Zelkov::Processing::boundary_mode::locked;
}

/// A length that may be infinite, as JSON can hold it.
value length_or_none(double x) { return std::isfinite(x) ? value(x) : value(nullptr); }

value collapse_report(const Zelkov::Processing::simplify_result& r, const Zelkov::Processing::simplify_options& o)
{
    const auto& c = r.collapse;
    return {{"target_triangles", r.target_triangles},
            {"reached_target", c.reached_target},
            {"error_bound", length_or_none(r.error_bound)},
            {"largest_error", c.largest_distance},
            {"collapses", c.collapses},
            {"passes", c.passes},
            {"triangles_removed", c.removed_triangles},
            {"boundary", boundary_name(o.boundary)},
            {"boundary_edges", c.boundary_edges},
            {"feature_edges", c.feature_edges},
            {"non_manifold_edges_kept", c.non_manifold_edges},
            {"vertices_held_in_place", c.pinned_vertices},
            {"refused_by_the_link_condition", c.refused_by_link},
            {"refused_by_the_normal_test", c.refused_by_normal},
            {"largest_quadric_error", c.largest_error}};
}

}  // namespace

value run_simplify(const common_options& options, const simplify_cli_options& o, stage_clock& clock)
{
    input_mesh in = load_input(options, clock);
    Zelkov::Geometry::triangle_surface& s = in.surface;
    value report = begin_report("simplify", in);

    Zelkov::Processing::simplify_options so;
    so.target_triangles = o.target;
    so.ratio = o.ratio.value_or(0.1);
    so.max_error = o.max_error.value_or(std::numeric_limits<double>::infinity());
    so.max_error_relative = o.max_error_relative.value_or(std::numeric_limits<double>::infinity());
    so.max_normal_turn_degrees = o.max_normal_turn_degrees;
    so.boundary = boundary_of(o.boundary);
    so.feature_angle_degrees = o.preserve_sharp_degrees.value_or(180.0);
    so.relax_flat_degrees = o.relax_flat_degrees;
    if (!o.lock_file.empty()) so.locked = read_vertex_marks(o.lock_file, s.vertices.size());
    const auto r = Zelkov::Processing::simplify(s, so, clock.callback());

    report["weld"] = weld_report(r.weld, Zelkov::Processing::simplify_weld_options());
    report["investigation"] = investigation_report(r.investigation);
    report["collapse"] = collapse_report(r, so);
    if (!so.locked.empty())
        report["collapse"]["locked_input_vertices"] = std::count(so.locked.begin(), so.locked.end(), 1);
    report["relaxed_edges"] = r.relaxed_edges;
    report["curvature"] = field_summary(r.curvature);
    value after = surface_summary(s);
    after["valid"] = r.valid;
    after["closed_and_consistently_oriented"] = r.closed_and_consistently_oriented;
    report["after"] = std::move(after);

    Zelkov::Meshio::ply_content content;
    content.fields.push_back({"curvature", r.curvature});
    content.colours = diverging_colours(r.curvature);
    write_output(options, s, content, report, clock);
    return report;
}

}  // namespace Zelkov::Cli
