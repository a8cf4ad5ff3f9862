// `info`: what a mesh file holds, as stored (nothing is welded first).

#include <sstream>

#include <geometry/trimesh.h>

#include "commands.h"
#include "figures.h"

namespace Zelkov::Cli {

namespace {

using namespace Zelkov::Geometry;

value measures(const triangle_surface& s)
{
    value v = value::new_object();
    v.set("area", area(s));
    v.set("signed volume", signed_volume(s));
    v.set("volume", volume(s));
    const auto c = barycenter(s);
    v.set("barycenter", triple(c.x, c.y, c.z));
    const auto m = inertia(s);
    value frame = value::new_object();
    frame.set("axis of largest moment", triple(m.m[0], m.m[1], m.m[2]));
    frame.set("middle axis", triple(m.m[4], m.m[5], m.m[6]));
    frame.set("axis of smallest moment", triple(m.m[8], m.m[9], m.m[10]));
    frame.set("origin", triple(m.m[12], m.m[13], m.m[14]));
    v.set("principal frame", std::move(frame));
    return v;
}

/// The numbers of the investigation report, read back from its lines
/// ("label: number"), with the report text itself.
value investigation(const triangle_surface& s, const vertex_to_triangles_map& map)
{
    std::ostringstream text;
    investigate(s, map, text);
    value v = value::new_object();
    std::istringstream lines(text.str());
    for (std::string line; std::getline(lines, line);) {
        const std::size_t colon = line.rfind(": ");
        if (colon == std::string::npos) continue;
        std::size_t first = line.find_first_not_of(' ');
        v.set(line.substr(first, colon - first), static_cast<std::size_t>(std::stoull(line.substr(colon + 2))));
    }
    v.set("report", text.str());
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
    value v = value::new_object();
    v.set("regular or free (code 0)", regular);
    v.set("boundary (code 1)", boundary);
    v.set("inconsistent orientation (code 2)", misoriented);
    v.set("on a non-manifold edge (code 3+)", non_manifold);
    v.set("pinch (fans touching at a vertex)", pinches);
    return v;
}

value topology(const triangle_surface& s, const vertex_to_triangles_map& map, stage_clock& clock)
{
    value v = value::new_object();
    const auto counts = clock.run("edge counts", [&] { return adjacency_matrix_with_edge_count(s, true); });
    const edge_figures edges = count_edges(counts);
    v.set("edges", edges.edges);
    v.set("boundary edges", edges.boundary);
    v.set("manifold edges", edges.manifold);
    v.set("non-manifold edges", edges.non_manifold);
    v.set("closed manifold", is_manifold(s, map, false));
    v.set("closed and consistently oriented", is_manifold(s, map, true));
    const auto codes = clock.run("classify vertices", [&] { return classify_vertex_topology(counts); });
    const auto pinched = clock.run("pinch vertices", [&] { return pinch_vertices(s, map); });
    std::size_t pinches = 0;
    for (const unsigned char p : pinched) pinches += p;
    v.set("vertex classes", vertex_classes(codes, pinches));
    std::size_t free_points = 0;
    for (std::size_t i = 0; i < s.vertices.size(); ++i) free_points += map[i].empty();
    v.set("free vertices", free_points);
    v.set("connected components", clock.run("components", [&] { return connected_components(s); }));
    return v;
}

value defects(const triangle_surface& s, stage_clock& clock)
{
    value v = value::new_object();
    v.set("topologically degenerate triangles", count_topologically_degenerate_triangles(s));
    std::size_t zero_area = 0;
    for (std::size_t t = 0; t < s.triangles.size(); ++t) {
        const auto& tri = s.triangles[t];
        zero_area += tri[0] != tri[1] && tri[0] != tri[2] && tri[1] != tri[2] && area(t, s) == 0.0;
    }
    v.set("zero-area triangles", zero_area);
    clock.run("duplicates", [&] {
        triangle_surface copy = s;
        unique_vertices(copy);
        v.set("duplicate positions", s.vertices.size() - copy.vertices.size());
        copy = s;
        unique_triangles(copy, false);
        v.set("duplicate triangles", s.triangles.size() - copy.triangles.size());
    });
    return v;
}

}  // namespace

value run_info(const common_options& options, stage_clock& clock)
{
    const input_mesh in = load_input(options, clock);
    const triangle_surface& s = in.surface;
    value report = value::new_object();
    report.set("command", "info");
    report.set("input", in.name);
    report.set("surface", surface_summary(s));
    report.set("measures", clock.run("measures", [&] { return measures(s); }));
    const auto map = clock.run("vertex-to-triangles map", [&] { return get_vertex_to_triangles_map(s); });
    report.set("topology", topology(s, map, clock));
    report.set("defects", defects(s, clock));
    report.set("investigation", clock.run("investigate", [&] { return investigation(s, map); }));
    return report;
}

}  // namespace Zelkov::Cli
