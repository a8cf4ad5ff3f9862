// `info`: the report of `inspect`, what a mesh file holds as stored.

#include <processing/surface_info.h>

#include "commands.h"

namespace Zelkov::Cli {

namespace {

using namespace Zelkov::Processing;

value measures(const measure_figures& m)
{
    const auto& f = m.principal_frame.m;
    return {{"area", m.area},
            {"signed_volume", m.signed_volume},
            {"volume", m.volume},
            {"barycenter", triple(m.barycenter.x, m.barycenter.y, m.barycenter.z)},
            {"principal_frame",
             {{"axis_of_largest_moment", triple(f[0], f[1], f[2])},
              {"middle_axis", triple(f[4], f[5], f[6])},
              {"axis_of_smallest_moment", triple(f[8], f[9], f[10])},
              {"origin", triple(f[12], f[13], f[14])}}}};
}

value topology(const inspect_result& r)
{
    const auto& c = r.vertex_classes;
    return {{"edges", r.edges.edges},
            {"boundary_edges", r.edges.boundary},
            {"manifold_edges", r.edges.manifold},
            {"non_manifold_edges", r.edges.non_manifold},
            {"misoriented_edges", r.edges.misoriented},
            {"boundary_loops", r.boundary_loops},
            {"closed_manifold", r.closed_manifold},
            {"closed_and_consistently_oriented", r.closed_and_consistently_oriented},
            {"vertex_classes",
             {{"regular_or_free", c.regular_or_free},
              {"boundary", c.boundary},
              {"inconsistent_orientation", c.inconsistent_orientation},
              {"on_a_non_manifold_edge", c.on_non_manifold_edge},
              {"pinch", c.pinch}}},
            {"free_vertices", r.free_vertices},
            {"connected_components", r.connected_components},
            {"non_orientable_components", r.non_orientable_components},
            {"welded",
             {{"vertices", r.welded.vertices},
              {"edges", r.welded.edges},
              {"triangles", r.welded.triangles},
              {"euler_characteristic", r.welded.euler_characteristic}}}};
}

value defects(const defect_figures& d)
{
    return {{"topologically_degenerate_triangles", d.topologically_degenerate},
            {"zero_area_triangles", d.zero_area},
            {"duplicate_positions", d.duplicate_positions},
            {"duplicate_triangles", d.duplicate_triangles},
            {"non_finite_vertices", d.non_finite_vertices}};
}

}  // namespace

value figures_report(const inspect_result& r) { return {{"topology", topology(r)}, {"defects", defects(r.defects)}}; }

value investigation_report(const investigation_figures& f)
{
    value v = value::object();
    v["counts"] = "triangle sides: an edge is counted once from each triangle on it";
    if (!f.done) {
        v["skipped"] = f.skipped_because;
        return v;
    }
    v["degenerate_triangles"] = f.degenerate_triangles;
    v["boundary_sides"] = f.boundary_sides;
    v["manifold_sides"] = f.manifold_sides;
    v["oriented_manifold_sides"] = f.oriented_manifold_sides;
    v["non_manifold_sides"] = f.non_manifold_sides;
    v["text"] = f.text;
    return v;
}

value run_info(const common_options& options, stage_clock& clock)
{
    const input_mesh in = load_input(options, clock);
    const inspect_result r = inspect(in.surface, {}, clock.callback());
    value report = value::object();
    report["command"] = "info";
    report["input"] = in.name;
    report["surface"] = surface_summary(in.surface);
    report["measures"] = measures(r.measures);
    report.update(figures_report(r));
    report["investigation"] = investigation_report(r.investigation);
    return report;
}

}  // namespace Zelkov::Cli
