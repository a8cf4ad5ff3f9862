#include <processing/features.h>

#include <cmath>

#include <geometry/trimesh.h>

#include "stages.h"
#include "topology_figures.h"

namespace Zelkov::Processing {

namespace {

using namespace Zelkov::Geometry;
using detail::run_stage;
using sparse = Eigen::SparseMatrix<double, 0, int>;

/// Reads the sharp-edge matrix, each edge once from below the diagonal, into
/// the result's sharp-edge figures.
void read_sharp(const sparse& sharp, std::size_t vertices, features_result& r)
{
    r.on_sharp_edge.assign(vertices, 0.0);
    detail::for_each_lower_entry(sharp, [&](std::size_t row, std::size_t column, double value) {
        if (value != 1.0) return;
        ++r.sharp_edges;
        r.on_sharp_edge[row] = r.on_sharp_edge[column] = 1.0;
    });
    for (const double x : r.on_sharp_edge) r.vertices_on_sharp_edges += x != 0.0;
}

/// `s` with each group of triangles on the same three vertices, in either
/// orientation, kept once: its first member, as it stands, in the order of `s`.
/// (The core's merge ignoring orientation would also turn triangles over.)
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

/// The core's smoothing with the undefined (non-finite) values left out: the
/// defined values and a mask of them are smoothed alike, and each result is
/// their quotient, the mean over the defined values within reach. Where all
/// values are defined this is exactly the core's smoothing, the mask staying 1.
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

std::size_t count_non_finite(const std::vector<double>& values)
{
    std::size_t n = 0;
    for (const double x : values) n += !std::isfinite(x);
    return n;
}

}  // namespace

features_result features(const triangle_surface& surface, const features_options& options,
                         const progress_callback& progress)
{
    features_result r;
    const triangle_surface measured = run_stage(progress, "set back-to-back duplicates aside",
                                                [&] { return without_back_to_back_duplicates(surface); });
    r.back_to_back_duplicates_set_aside = surface.triangles.size() - measured.triangles.size();
    run_stage(progress, "sharp edges", [&] {
        read_sharp(is_sharp_edge(measured, options.sharp_angle_degrees, false), measured.vertices.size(), r);
    });
    const auto map =
        run_stage(progress, "vertex-to-triangles map", [&] { return get_vertex_to_triangles_map(measured); });
    r.roughness = run_stage(progress, "roughness", [&] { return vertex_roughness(measured, map); });
    r.curvature = run_stage(progress, "curvature", [&] { return curvature(measured, map); });
    r.smoothed_curvature = run_stage(progress, "smooth curvature", [&] {
        return smooth_defined_values(measured, r.curvature, map, options.smoothing_iterations);
    });
    for (const double x : r.roughness) r.undefined_roughness += x == -1.0 || !std::isfinite(x);
    r.undefined_curvature = count_non_finite(r.curvature);
    r.undefined_smoothed_curvature = count_non_finite(r.smoothed_curvature);
    return r;
}

}  // namespace Zelkov::Processing
