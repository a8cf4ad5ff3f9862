#include <processing/surface_info.h>

#include <sstream>

#include <geometry/trimesh.h>

#include "stages.h"
#include "topology_figures.h"

namespace Zelkov::Processing {

namespace {

using namespace Zelkov::Geometry;
using detail::run_stage;

measure_figures measure(const triangle_surface& s)
{
    measure_figures m;
    m.area = area(s);
    m.signed_volume = signed_volume(s);
    m.volume = volume(s);
    m.barycenter = barycenter(s);
    m.principal_frame = inertia(s);
    return m;
}

vertex_class_figures classify(const std::vector<int>& codes, const std::vector<unsigned char>& pinched)
{
    vertex_class_figures f;
    for (const int c : codes) {
        if (c == 0) ++f.regular_or_free;
        else if (c == 1) ++f.boundary;
        else if (c == 2) ++f.inconsistent_orientation;
        else ++f.on_non_manifold_edge;
    }
    for (const unsigned char p : pinched) f.pinch += p;
    return f;
}

std::size_t count_zero_area(const triangle_surface& s)
{
    std::size_t n = 0;
    for (std::size_t t = 0; t < s.triangles.size(); ++t) {
        const auto& tri = s.triangles[t];
        n += tri[0] != tri[1] && tri[0] != tri[2] && tri[1] != tri[2] && area(t, s) == 0.0;
    }
    return n;
}

/// Duplicate triangles; duplicate positions come from the welded copy.
void count_duplicates(const triangle_surface& s, std::size_t welded_vertices, defect_figures& f)
{
    f.duplicate_positions = s.vertices.size() - welded_vertices;
    triangle_surface copy = s;
    unique_triangles(copy, false);
    f.duplicate_triangles = s.triangles.size() - copy.triangles.size();
}

void inspect_topology(const triangle_surface& s, const vertex_to_triangles_map& map, inspect_result& r,
                      const progress_callback& progress)
{
    const auto counts = run_stage(progress, "edge counts", [&] { return adjacency_matrix_with_edge_count(s, true); });
    r.edges = detail::count_edges(counts);
    r.boundary_loops = detail::boundary_loops(counts);
    r.closed_manifold = is_manifold(s, map, false);
    r.closed_and_consistently_oriented = is_manifold(s, map, true);
    const auto codes = run_stage(progress, "classify vertices", [&] { return classify_vertex_topology(counts); });
    const auto pinched = run_stage(progress, "pinch vertices", [&] { return pinch_vertices(s, map); });
    r.vertex_classes = classify(codes, pinched);
    for (std::size_t v = 0; v < s.vertices.size(); ++v) r.free_vertices += map[v].empty();
    r.connected_components = run_stage(progress, "components", [&] { return detail::connected_components(s); });
    r.non_orientable_components =
        run_stage(progress, "orientation", [&] { return detail::non_orientable_components(s); });
}

/// The surface with its equal positions merged, welded once for the Euler
/// characteristic and the count of duplicate positions.
triangle_surface welded_copy(const triangle_surface& s)
{
    triangle_surface welded = s;
    unique_vertices(welded);
    return welded;
}

}  // namespace

investigation_figures investigate_sides(const triangle_surface& surface, const vertex_to_triangles_map& map)
{
    investigation_figures f;
    if (!detail::investigation_is_affordable(surface, map)) {
        f.skipped_because = "too many triangles share an edge or a repeated vertex for a side-by-side count; "
                            "see the edge figures instead";
        return f;
    }
    std::ostringstream text;
    investigate(surface, map, text);
    f.done = true;
    f.text = text.str();
    // The numbers, read back from the report's "label: number" lines in their order.
    std::size_t* const numbers[] = {&f.degenerate_triangles, &f.boundary_sides, &f.manifold_sides,
                                    &f.oriented_manifold_sides, &f.non_manifold_sides};
    std::istringstream lines(f.text);
    std::size_t next = 0;
    for (std::string line; std::getline(lines, line) && next < std::size(numbers);) {
        const std::size_t colon = line.rfind(": ");
        if (colon != std::string::npos) *numbers[next++] = std::stoull(line.substr(colon + 2));
    }
    return f;
}

inspect_result inspect(const triangle_surface& surface, const inspect_options& options,
                       const progress_callback& progress)
{
    const triangle_surface& s = surface;
    inspect_result r;
    r.vertices = s.vertices.size();
    r.triangles = s.triangles.size();
    r.box = bounding_volume(s, false);
    r.measures = run_stage(progress, "measures", [&] { return measure(s); });
    const auto map = run_stage(progress, "vertex-to-triangles map", [&] { return get_vertex_to_triangles_map(s); });
    inspect_topology(s, map, r, progress);
    const triangle_surface welded = run_stage(progress, "weld for the euler characteristic", [&] {
        triangle_surface w = welded_copy(s);
        r.welded = detail::welded_euler_characteristic(w);
        return w;
    });
    r.defects.topologically_degenerate = count_topologically_degenerate_triangles(s);
    r.defects.zero_area = count_zero_area(s);
    run_stage(progress, "duplicates", [&] { count_duplicates(s, welded.vertices.size(), r.defects); });
    r.defects.non_finite_vertices = detail::non_finite_vertices(s);
    if (options.investigate)
        r.investigation = run_stage(progress, "investigate", [&] { return investigate_sides(s, map); });
    return r;
}

}  // namespace Zelkov::Processing
