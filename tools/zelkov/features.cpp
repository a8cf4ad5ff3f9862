// `features`: weld, then the `features` job; its fields are written as
// per-vertex values with a colour map.

#include <processing/features.h>

#include "colour_map.h"
#include "commands.h"

namespace Zelkov::Cli {

namespace {

/// How many vertices each field has no value for, and why.
value undefined_values(const Zelkov::Processing::features_result& r)
{
    value v = value::object();
    v["roughness"] = r.undefined_roughness;
    v["curvature"] = r.undefined_curvature;
    v["smoothed_curvature"] = r.undefined_smoothed_curvature;
    if (r.undefined_roughness > 0)
        v["roughness_reason"] = "free vertices, or all neighbours at the vertex's own position";
    if (r.undefined_curvature > 0)
        v["curvature_reason"] = "the vertex or a neighbour has no normal: its triangles have no area or cancel out";
    if (r.undefined_smoothed_curvature > 0)
        v["smoothed_curvature_reason"] = "no vertex with a defined curvature within the smoothing's reach";
    return v;
}

}  // namespace

value run_features(const common_options& options, const features_options& o, stage_clock& clock)
{
    input_mesh in = load_input(options, clock);
    Zelkov::Geometry::triangle_surface& s = in.surface;
    value report = begin_report("features", in);
    Zelkov::Processing::weld_options w;
    w.remove_free_points = false;
    report["weld"] = weld(s, w, clock);
    report["after_weld"] = surface_summary(s);

    Zelkov::Processing::features_options fo;
    fo.sharp_angle_degrees = o.sharp_angle_degrees;
    fo.smoothing_iterations = o.smoothing_iterations;
    const auto r = Zelkov::Processing::features(s, fo, clock.callback());
    report["back_to_back_duplicates_set_aside"] = r.back_to_back_duplicates_set_aside;
    report["sharp_edges"] = {{"angle_degrees", o.sharp_angle_degrees},
                             {"sharp_edges", r.sharp_edges},
                             {"vertices_on_sharp_edges", r.vertices_on_sharp_edges}};
    report["roughness"] = field_summary(r.roughness, -1.0);
    report["curvature"] = field_summary(r.curvature);
    value sm = field_summary(r.smoothed_curvature);
    sm["iterations"] = o.smoothing_iterations;
    report["smoothed_curvature"] = std::move(sm);
    report["undefined_values"] = undefined_values(r);

    Zelkov::Meshio::ply_content content;
    content.fields = {{"sharp", r.on_sharp_edge},
                      {"roughness", r.roughness},
                      {"curvature", r.curvature},
                      {"curvature_smoothed", r.smoothed_curvature}};
    // The colours show the smoothed curvature, with sharp-edge vertices in black.
    content.colours = diverging_colours(r.smoothed_curvature);
    for (std::size_t v = 0; v < s.vertices.size(); ++v)
        if (r.on_sharp_edge[v] != 0.0) content.colours[v] = {0, 0, 0};
    write_output(options, s, content, report, clock);
    return report;
}

}  // namespace Zelkov::Cli
