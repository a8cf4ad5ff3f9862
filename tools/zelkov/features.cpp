// `features`: sharp edges, roughness, curvature and a smoothed curvature,
// written as per-vertex values with a colour map.
//
// Real scans often hold back-to-back duplicate triangles (the same three
// vertices in both orientations). Their normals cancel, so that a vertex whose
// triangles cancel has no normal and its curvature, and its neighbours', is
// undefined (NaN). The fields are therefore measured on a copy in which each
// such group is kept once; what is still undefined is counted, said why, and
// left out of the smoothing of the display field instead of spreading.

#include <cmath>

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

/// The library's smoothing with the undefined (non-finite) values left out:
/// the defined values and a mask of them are smoothed alike, and each result
/// is their quotient, the mean over the defined values within reach. A vertex
/// with no defined value within reach stays undefined.
std::vector<double> smooth_defined_values(const triangle_surface& s, const std::vector<double>& field,
                                          const vertex_to_triangles_map& map, std::size_t iterations)
{
    std::vector<double> values(field.size()), mask(field.size());
    for (std::size_t v = 0; v < field.size(); ++v) {
        const bool defined = std::isfinite(field[v]);
        values[v] = defined ? field[v] : 0.0;
        mask[v] = defined ? 1.0 : 0.0;
    }
    values = smooth_scalar_field(s, std::move(values), map, iterations);
    mask = smooth_scalar_field(s, std::move(mask), map, iterations);
    for (std::size_t v = 0; v < values.size(); ++v) values[v] = mask[v] > 0.0 ? values[v] / mask[v] : NAN;
    return values;
}

/// `s` with each group of triangles on the same three vertices, in either
/// orientation, kept once: its first member, as it stands, in the order of `s`.
/// (The library's merge ignoring orientation would also turn triangles over.)
triangle_surface without_back_to_back_duplicates(const triangle_surface& s)
{
    triangle_surface unoriented = s;
    const std::vector<std::size_t> group = unique_triangles(unoriented, false);
    std::vector<unsigned char> seen(unoriented.triangles.size(), 0);
    triangle_surface kept;
    kept.vertices = s.vertices;
    for (std::size_t t = 0; t < s.triangles.size(); ++t)
        if (!seen[group[t]]) {
            seen[group[t]] = 1;
            kept.triangles.push_back(s.triangles[t]);
        }
    return kept;
}

std::size_t count_non_finite(const std::vector<double>& values)
{
    std::size_t n = 0;
    for (const double x : values) n += !std::isfinite(x);
    return n;
}

/// The count of undefined values of each field and why they are undefined.
value undefined_values(const std::vector<double>& roughness, const std::vector<double>& k,
                       const std::vector<double>& smooth)
{
    std::size_t rough_undefined = 0;
    for (const double x : roughness) rough_undefined += x == -1.0 || !std::isfinite(x);
    value v = value::object();
    v["roughness"] = rough_undefined;
    v["curvature"] = count_non_finite(k);
    v["smoothed_curvature"] = count_non_finite(smooth);
    if (rough_undefined > 0)
        v["roughness_reason"] = "free vertices, or all neighbours at the vertex's own position";
    if (count_non_finite(k) > 0)
        v["curvature_reason"] = "the vertex or a neighbour has no normal: its triangles have no area or cancel out";
    if (count_non_finite(smooth) > 0)
        v["smoothed_curvature_reason"] = "no vertex with a defined curvature within the smoothing's reach";
    return v;
}

}  // namespace

value run_features(const common_options& options, const features_options& o, stage_clock& clock)
{
    input_mesh in = load_input(options, clock);
    triangle_surface& s = in.surface;
    value report = begin_report("features", in);
    report["weld"] = weld(s, true, clock);
    report["after_weld"] = surface_summary(s);

    // The copy differs from `s` only in its triangles: the vertices, and so
    // the per-vertex fields, are the same.
    const triangle_surface measured =
        clock.run("set back-to-back duplicates aside", [&] { return without_back_to_back_duplicates(s); });
    report["back_to_back_duplicates_set_aside"] = s.triangles.size() - measured.triangles.size();

    const auto sharp = clock.run("sharp edges", [&] {
        return read_sharp(is_sharp_edge(measured, o.sharp_angle_degrees, false), measured.vertices.size());
    });
    std::size_t on_sharp = 0;
    for (const double x : sharp.on_vertex) on_sharp += x != 0.0;
    report["sharp_edges"] = {{"angle_degrees", o.sharp_angle_degrees},
                             {"sharp_edges", sharp.edges},
                             {"vertices_on_sharp_edges", on_sharp}};

    const auto map = clock.run("vertex-to-triangles map", [&] { return get_vertex_to_triangles_map(measured); });
    const auto roughness = clock.run("roughness", [&] { return vertex_roughness(measured, map); });
    report["roughness"] = field_summary(roughness, -1.0);
    const auto k = clock.run("curvature", [&] { return curvature(measured, map); });
    report["curvature"] = field_summary(k);
    const auto smooth =
        clock.run("smooth curvature", [&] { return smooth_defined_values(measured, k, map, o.smoothing_iterations); });
    value sm = field_summary(smooth);
    sm["iterations"] = o.smoothing_iterations;
    report["smoothed_curvature"] = std::move(sm);
    report["undefined_values"] = undefined_values(roughness, k, smooth);

    Zelkov::Meshio::ply_content content;
    content.fields = {{"sharp", sharp.on_vertex}, {"roughness", roughness}, {"curvature", k},
                      {"curvature_smoothed", smooth}};
    // The colours show the smoothed curvature, with sharp-edge vertices in black.
    content.colours = diverging_colours(smooth);
    for (std::size_t v = 0; v < s.vertices.size(); ++v)
        if (sharp.on_vertex[v] != 0.0) content.colours[v] = {0, 0, 0};
    write_output(options, s, content, report, clock);
    return report;
}

}  // namespace Zelkov::Cli
