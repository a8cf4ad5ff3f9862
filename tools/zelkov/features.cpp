// `features`: sharp edges, roughness, curvature and a smoothed curvature,
// written as per-vertex values with a colour map.

#include <geometry/trimesh.h>

#include "colour_map.h"
#include "commands.h"
#include "meshio.h"

namespace Zelkov::Cli {

namespace {

using namespace Zelkov::Geometry;
using sparse = Eigen::SparseMatrix<double, 0, int>;

struct sharp_figures {
    std::size_t edges = 0;
    std::vector<double> on_vertex;  // 1.0 for a vertex on a sharp edge
};

/// Reads the sharp-edge matrix: each edge once, from below the diagonal.
sharp_figures read_sharp(const sparse& sharp, std::size_t vertices)
{
    sharp_figures f;
    f.on_vertex.assign(vertices, 0.0);
    for (int k = 0; k < sharp.outerSize(); ++k)
        for (sparse::InnerIterator it(sharp, k); it; ++it)
            if (it.row() > k && it.value() == 1.0) {
                ++f.edges;
                f.on_vertex[static_cast<std::size_t>(it.row())] = 1.0;
                f.on_vertex[static_cast<std::size_t>(k)] = 1.0;
            }
    return f;
}

}  // namespace

value run_features(const common_options& options, const features_options& o, stage_clock& clock)
{
    input_mesh in = load_input(options, clock);
    triangle_surface& s = in.surface;
    value report = begin_report("features", in);
    report.set("weld", weld(s, true, clock));
    report.set("after weld", surface_summary(s));

    const auto sharp = clock.run("sharp edges", [&] {
        return read_sharp(is_sharp_edge(s, o.sharp_angle_degrees, false), s.vertices.size());
    });
    value sv = value::new_object();
    sv.set("angle (degrees)", o.sharp_angle_degrees);
    sv.set("sharp edges", sharp.edges);
    std::size_t on_sharp = 0;
    for (const double x : sharp.on_vertex) on_sharp += x != 0.0;
    sv.set("vertices on sharp edges", on_sharp);
    report.set("sharp edges", std::move(sv));

    const auto map = clock.run("vertex-to-triangles map", [&] { return get_vertex_to_triangles_map(s); });
    const auto roughness = clock.run("roughness", [&] { return vertex_roughness(s, map); });
    report.set("roughness", field_summary(roughness, -1.0));
    const auto k = clock.run("curvature", [&] { return curvature(s, map); });
    report.set("curvature", field_summary(k));
    const auto smooth =
        clock.run("smooth curvature", [&] { return smooth_scalar_field(s, k, map, o.smoothing_iterations); });
    value sm = field_summary(smooth);
    sm.set("iterations", o.smoothing_iterations);
    report.set("smoothed curvature", std::move(sm));

    if (!options.output.empty()) {
        Zelkov::Meshio::ply_content content;
        content.fields = {{"sharp", sharp.on_vertex}, {"roughness", roughness}, {"curvature", k},
                          {"curvature_smoothed", smooth}};
        // The colours show the smoothed curvature, with sharp-edge vertices in black.
        content.colours = diverging_colours(smooth);
        for (std::size_t v = 0; v < s.vertices.size(); ++v)
            if (sharp.on_vertex[v] != 0.0) content.colours[v] = {0, 0, 0};
        clock.run("write", [&] { Zelkov::Meshio::write_mesh_file(options.output, s, content, options.input); });
        report.set("output", options.output);
    }
    return report;
}

}  // namespace Zelkov::Cli
