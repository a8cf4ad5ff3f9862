// `info`: what a mesh file holds, as stored (nothing is welded first, except
// for the Euler characteristic, which is of the welded surface).

#include <geometry/trimesh.h>

#include "commands.h"
#include "figures.h"

namespace Zelkov::Cli {

namespace {

using namespace Zelkov::Geometry;

value measures(const triangle_surface& s)
{
    value v = value::object();
    v["area"] = area(s);
    v["signed_volume"] = signed_volume(s);
    v["volume"] = volume(s);
    const auto c = barycenter(s);
    v["barycenter"] = triple(c.x, c.y, c.z);
    const auto m = inertia(s);
    v["principal_frame"] = {{"axis_of_largest_moment", triple(m.m[0], m.m[1], m.m[2])},
                            {"middle_axis", triple(m.m[4], m.m[5], m.m[6])},
                            {"axis_of_smallest_moment", triple(m.m[8], m.m[9], m.m[10])},
                            {"origin", triple(m.m[12], m.m[13], m.m[14])}};
    return v;
}

value vertex_classes(const std::vector<int>& codes, std::size_t pinches)
{
    std::size_t regular = 0, boundary = 0, misoriented = 0, non_manifold = 0;
    for (const int c : codes) {
        if (c == 0) ++regular;
        else if (c == 1) ++boundary;
        else if (c == 2) ++misoriented;
        else ++non_manifold;
    }
    value v = value::object();
    v["regular_or_free"] = regular;
    v["boundary"] = boundary;
    v["inconsistent_orientation"] = misoriented;
    v["on_a_non_manifold_edge"] = non_manifold;
    v["pinch"] = pinches;
    return v;
}

value topology(const triangle_surface& s, const vertex_to_triangles_map& map,
               const Eigen::SparseMatrix<double, 0, int>& counts, stage_clock& clock)
{
    value v = value::object();
    const edge_figures edges = count_edges(counts);
    v["edges"] = edges.edges;
    v["boundary_edges"] = edges.boundary;
    v["manifold_edges"] = edges.manifold;
    v["non_manifold_edges"] = edges.non_manifold;
    v["misoriented_edges"] = edges.misoriented;
    v["boundary_loops"] = boundary_loops(counts);
    v["closed_manifold"] = is_manifold(s, map, false);
    v["closed_and_consistently_oriented"] = is_manifold(s, map, true);
    const auto codes = clock.run("classify vertices", [&] { return classify_vertex_topology(counts); });
    const auto pinched = clock.run("pinch vertices", [&] { return pinch_vertices(s, map); });
    std::size_t pinches = 0;
    for (const unsigned char p : pinched) pinches += p;
    v["vertex_classes"] = vertex_classes(codes, pinches);
    std::size_t free_points = 0;
    for (std::size_t i = 0; i < s.vertices.size(); ++i) free_points += map[i].empty();
    v["free_vertices"] = free_points;
    v["connected_components"] = clock.run("components", [&] { return connected_components(s); });
    v["non_orientable_components"] = clock.run("orientation", [&] { return non_orientable_components(s); });
    const euler_figures euler = clock.run("weld for the euler characteristic", [&] { return welded_euler_characteristic(s); });
    v["welded"] = {{"vertices", euler.vertices},
                   {"edges", euler.edges},
                   {"triangles", euler.triangles},
                   {"euler_characteristic", euler.characteristic}};
    return v;
}

value defects(const triangle_surface& s, stage_clock& clock)
{
    value v = value::object();
    v["topologically_degenerate_triangles"] = count_topologically_degenerate_triangles(s);
    std::size_t zero_area = 0;
    for (std::size_t t = 0; t < s.triangles.size(); ++t) {
        const auto& tri = s.triangles[t];
        zero_area += tri[0] != tri[1] && tri[0] != tri[2] && tri[1] != tri[2] && area(t, s) == 0.0;
    }
    v["zero_area_triangles"] = zero_area;
    clock.run("duplicates", [&] {
        triangle_surface copy = s;
        unique_vertices(copy);
        v["duplicate_positions"] = s.vertices.size() - copy.vertices.size();
        copy = s;
        unique_triangles(copy, false);
        v["duplicate_triangles"] = s.triangles.size() - copy.triangles.size();
    });
    v["non_finite_vertices"] = non_finite_vertices(s);
    return v;
}

}  // namespace

value run_info(const common_options& options, stage_clock& clock)
{
    const input_mesh in = load_input(options, clock);
    const triangle_surface& s = in.surface;
    value report = value::object();
    report["command"] = "info";
    report["input"] = in.name;
    report["surface"] = surface_summary(s);
    report["measures"] = clock.run("measures", [&] { return measures(s); });
    const auto map = clock.run("vertex-to-triangles map", [&] { return get_vertex_to_triangles_map(s); });
    const auto counts = clock.run("edge counts", [&] { return adjacency_matrix_with_edge_count(s, true); });
    report["topology"] = topology(s, map, counts, clock);
    report["defects"] = defects(s, clock);
    report["investigation"] = investigation(s, map, clock);
    return report;
}

}  // namespace Zelkov::Cli
