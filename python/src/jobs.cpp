// The processing jobs (inspect, weld, simplify, features, repair) and mesh files. Jobs that change a surface work on a
// copy of the mesh and return the result as a new Mesh with their figures,
// which are dataclasses of zelkov._results.

#include <cmath>

#include <meshio/meshio.h>
#include <processing/features.h>
#include <processing/repair.h>
#include <processing/simplify.h>
#include <processing/surface_info.h>
#include <processing/weld.h>

#include "common.h"

namespace zelkov_python {

namespace P = Zelkov::Processing;
namespace IO = Zelkov::Meshio;

namespace {

using opt_threads = std::optional<int>;

/// The job's progress for a Python callable `progress(stage, fraction)`,
/// called with the GIL; a False return, or an exception, stops the job. The
/// exception is kept and raised in place of `Cancelled`.
struct progress_bridge {
    py::object callable;
    std::shared_ptr<py::error_already_set> raised;

    P::progress_callback callback()
    {
        if (callable.is_none()) return {};
        return [this](const P::progress_event& e) {
            py::gil_scoped_acquire acquire;
            try {
                const py::object r = callable(std::string(e.stage), e.fraction);
                return r.is_none() || r.cast<bool>();
            } catch (py::error_already_set& error) {
                raised = std::make_shared<py::error_already_set>(std::move(error));
                return false;
            }
        };
    }

    template <class F>
    auto run(opt_threads threads, F&& f)
    {
        try {
            return work(threads, f);
        } catch (const P::cancelled&) {
            if (raised) {
                auto error = std::move(*raised);
                raised.reset();
                throw error;
            }
            throw;
        }
    }
};

py::array point_array(const point3& p) { return own(std::vector<point3>{p}, {3}); }

py::object investigation_record(const P::investigation_figures& f)
{
    return record("InvestigationFigures",
                  py::dict(py::arg("done") = f.done, py::arg("skipped_because") = f.skipped_because,
                           py::arg("degenerate_triangles") = f.degenerate_triangles,
                           py::arg("boundary_sides") = f.boundary_sides, py::arg("manifold_sides") = f.manifold_sides,
                           py::arg("oriented_manifold_sides") = f.oriented_manifold_sides,
                           py::arg("non_manifold_sides") = f.non_manifold_sides, py::arg("text") = f.text));
}

py::object weld_record(P::weld_result&& r)
{
    return record("WeldResult", py::dict(py::arg("vertices_merged") = r.vertices_merged,
                                         py::arg("triangles_merged") = r.triangles_merged,
                                         py::arg("degenerate_removed") = r.degenerate_removed,
                                         py::arg("free_vertices_removed") = r.free_vertices_removed,
                                         py::arg("vertex_map") = own(std::move(r.vertex_map))));
}

py::object inspect_record(const P::inspect_result& r)
{
    const auto& m = r.measures;
    const auto& e = r.edges;
    const auto& c = r.vertex_classes;
    const auto& w = r.welded;
    const auto& d = r.defects;
    return record(
        "InspectResult",
        py::dict(py::arg("vertices") = r.vertices, py::arg("triangles") = r.triangles,
                 py::arg("box") = own(std::vector<point3>{r.box.min, r.box.max}),
                 py::arg("measures") =
                     record("MeasureFigures",
                            py::dict(py::arg("area") = m.area, py::arg("signed_volume") = m.signed_volume,
                                     py::arg("volume") = m.volume, py::arg("barycenter") = point_array(m.barycenter),
                                     py::arg("principal_frame") = matrix_array(m.principal_frame))),
                 py::arg("edges") = record(
                     "EdgeFigures", py::dict(py::arg("edges") = e.edges, py::arg("boundary") = e.boundary,
                                             py::arg("manifold") = e.manifold, py::arg("non_manifold") = e.non_manifold,
                                             py::arg("misoriented") = e.misoriented)),
                 py::arg("boundary_loops") = r.boundary_loops, py::arg("closed_manifold") = r.closed_manifold,
                 py::arg("closed_and_consistently_oriented") = r.closed_and_consistently_oriented,
                 py::arg("vertex_classes") = record(
                     "VertexClassFigures",
                     py::dict(py::arg("regular_or_free") = c.regular_or_free, py::arg("boundary") = c.boundary,
                              py::arg("inconsistent_orientation") = c.inconsistent_orientation,
                              py::arg("on_non_manifold_edge") = c.on_non_manifold_edge, py::arg("pinch") = c.pinch)),
                 py::arg("free_vertices") = r.free_vertices, py::arg("connected_components") = r.connected_components,
                 py::arg("non_orientable_components") = r.non_orientable_components,
                 py::arg("welded") =
                     record("WeldedFigures", py::dict(py::arg("vertices") = w.vertices, py::arg("edges") = w.edges,
                                                      py::arg("triangles") = w.triangles,
                                                      py::arg("euler_characteristic") = w.euler_characteristic)),
                 py::arg("defects") =
                     record("DefectFigures", py::dict(py::arg("topologically_degenerate") = d.topologically_degenerate,
                                                      py::arg("zero_area") = d.zero_area,
                                                      py::arg("duplicate_positions") = d.duplicate_positions,
                                                      py::arg("duplicate_triangles") = d.duplicate_triangles,
                                                      py::arg("non_finite_vertices") = d.non_finite_vertices)),
                 py::arg("investigation") = investigation_record(r.investigation)));
}

P::boundary_mode boundary_of(const std::string& name)
{
    if (name == "locked") return P::boundary_mode::locked;
    if (name == "slide") return P::boundary_mode::slide;
    if (name == "free") return P::boundary_mode::free;
    throw py::value_error("boundary must be 'locked', 'slide' or 'free', not '" + name + "'");
}

py::object simplify_record(P::simplify_result&& r)
{
    auto& c = r.collapse;
    py::object collapse = record(
        "CollapseCounts",
        py::dict(py::arg("triangles_before") = c.triangles_before, py::arg("triangles_after") = c.triangles_after,
                 py::arg("collapses") = c.collapses, py::arg("passes") = c.passes,
                 py::arg("boundary_edges") = c.boundary_edges, py::arg("non_manifold_edges") = c.non_manifold_edges,
                 py::arg("feature_edges") = c.feature_edges, py::arg("pinned_vertices") = c.pinned_vertices,
                 py::arg("refused_by_link") = c.refused_by_link, py::arg("refused_by_normal") = c.refused_by_normal,
                 py::arg("removed_triangles") = c.removed_triangles, py::arg("largest_error") = c.largest_error,
                 py::arg("largest_distance") = c.largest_distance, py::arg("reached_target") = c.reached_target,
                 py::arg("survivor") = own(std::move(c.survivor))));
    return record("SimplifyResult",
                  py::dict(py::arg("weld") = weld_record(std::move(r.weld)),
                           py::arg("investigation") = investigation_record(r.investigation),
                           py::arg("target_triangles") = r.target_triangles, py::arg("error_bound") = r.error_bound,
                           py::arg("collapse") = collapse, py::arg("relaxed_edges") = r.relaxed_edges,
                           py::arg("vertex_map") = own(std::move(r.vertex_map)),
                           py::arg("curvature") = own(std::move(r.curvature)), py::arg("valid") = r.valid,
                           py::arg("closed_and_consistently_oriented") = r.closed_and_consistently_oriented));
}

py::object features_record(P::features_result&& r)
{
    return record(
        "FeaturesResult",
        py::dict(py::arg("back_to_back_duplicates_set_aside") = r.back_to_back_duplicates_set_aside,
                 py::arg("sharp_edges") = r.sharp_edges, py::arg("vertices_on_sharp_edges") = r.vertices_on_sharp_edges,
                 py::arg("on_sharp_edge") = own(std::move(r.on_sharp_edge)),
                 py::arg("roughness") = own(std::move(r.roughness)), py::arg("curvature") = own(std::move(r.curvature)),
                 py::arg("smoothed_curvature") = own(std::move(r.smoothed_curvature)),
                 py::arg("undefined_roughness") = r.undefined_roughness,
                 py::arg("undefined_curvature") = r.undefined_curvature,
                 py::arg("undefined_smoothed_curvature") = r.undefined_smoothed_curvature));
}

P::back_to_back_policy policy_of(const std::string& name)
{
    if (name == "drop_both") return P::back_to_back_policy::drop_both;
    if (name == "keep_one") return P::back_to_back_policy::keep_one;
    throw py::value_error("back_to_back must be 'drop_both' or 'keep_one', not '" + name + "'");
}

py::object removal_record(const P::removal_result& r)
{
    return record("RemovalResult",
                  py::dict(py::arg("degenerate") = r.degenerate, py::arg("zero_area") = r.zero_area,
                           py::arg("duplicates") = r.duplicates, py::arg("back_to_back") = r.back_to_back,
                           py::arg("small_components") = r.small_components,
                           py::arg("component_triangles") = r.component_triangles));
}

py::object manifold_record(P::manifold_result&& r)
{
    return record("ManifoldResult",
                  py::dict(py::arg("non_manifold_edges") = r.non_manifold_edges,
                           py::arg("split_vertices") = r.split_vertices, py::arg("vertices_added") = r.vertices_added,
                           py::arg("vertex_source") = own(std::move(r.vertex_source))));
}

py::object orient_record(const P::orient_result& r)
{
    return record("OrientResult",
                  py::dict(py::arg("components") = r.components, py::arg("flipped_triangles") = r.flipped_triangles,
                           py::arg("non_orientable_components") = r.non_orientable_components,
                           py::arg("turned_outward") = r.turned_outward));
}

py::object fill_record(const P::fill_result& r)
{
    return record("FillResult", py::dict(py::arg("holes") = r.holes, py::arg("filled") = r.filled,
                                         py::arg("too_large") = r.too_large, py::arg("not_simple") = r.not_simple,
                                         py::arg("refused") = r.refused, py::arg("triangles_added") = r.triangles_added,
                                         py::arg("vertices_added") = r.vertices_added));
}

IO::ply_content ply_content_from(const mesh& m, py::handle fields, py::handle colours, const std::string& encoding,
                                 bool float_coordinates)
{
    IO::ply_content content;
    if (!fields.is_none())
        for (const auto& [name, values] : fields.cast<py::dict>())
            content.fields.push_back(
                {name.cast<std::string>(), values_from(values, m.vertex_count(), "fields values")});
    if (!colours.is_none()) {
        const auto c = values_from(colours, 3 * m.vertex_count(), "colours");
        content.colours.resize(m.vertex_count());
        for (std::size_t i = 0; i < c.size(); ++i) {
            if (!(c[i] >= 0 && c[i] <= 255)) throw py::value_error("colours must lie in 0..255");
            content.colours[i / 3][i % 3] = static_cast<std::uint8_t>(c[i]);
        }
    }
    if (encoding == "ascii") content.encoding = IO::ply_encoding::ascii;
    else if (encoding == "binary_big_endian") content.encoding = IO::ply_encoding::binary_big_endian;
    else if (encoding != "binary_little_endian")
        throw py::value_error("encoding must be 'ascii', 'binary_little_endian' or 'binary_big_endian'");
    content.float_coordinates = float_coordinates;
    return content;
}

}  // namespace

void bind_jobs(py::module_& m)
{
    py::register_exception<P::cancelled>(m, "Cancelled");
    py::register_exception<IO::read_error>(m, "ReadError", PyExc_OSError);
    py::register_exception<IO::write_error>(m, "WriteError", PyExc_OSError);

    m.def(
        "inspect",
        [](const mesh& self, bool investigate, py::object progress, opt_threads threads) {
            progress_bridge bridge{std::move(progress), {}};
            P::inspect_options options;
            options.investigate = investigate;
            const auto r = bridge.run(threads, [&] { return P::inspect(self.s(), options, bridge.callback()); });
            return inspect_record(r);
        },
        py::arg("mesh"), py::kw_only(), py::arg("investigate") = true, py::arg("progress") = py::none(),
        py::arg("threads") = py::none());
    m.def(
        "pinch_vertices",
        [](const mesh& self, opt_threads threads) {
            return own(work(threads, [&] { return P::pinch_vertices(self.s(), self.map()); })).attr("view")("bool");
        },
        py::arg("mesh"), py::arg("threads") = py::none());
    m.def(
        "weld",
        [](const mesh& self, bool consider_orientation, bool remove_degenerate, bool remove_free_points,
           py::object progress, opt_threads threads) {
            progress_bridge bridge{std::move(progress), {}};
            P::weld_options options{consider_orientation, remove_degenerate, remove_free_points};
            triangle_surface s = self.s();
            auto r = bridge.run(threads, [&] { return P::weld(s, options, bridge.callback()); });
            return py::make_tuple(mesh(std::move(s)), weld_record(std::move(r)));
        },
        py::arg("mesh"), py::kw_only(), py::arg("consider_orientation") = true, py::arg("remove_degenerate") = false,
        py::arg("remove_free_points") = true, py::arg("progress") = py::none(), py::arg("threads") = py::none());
    m.def(
        "simplify",
        [](const mesh& self, std::optional<std::size_t> target_triangles, double ratio, double max_error,
           double max_error_relative, double max_normal_turn_degrees, const std::string& boundary,
           double feature_angle_degrees, py::handle locked, double relax_flat_degrees, bool investigate,
           py::object progress, opt_threads threads) {
            if (!(ratio > 0 && ratio <= 1)) throw py::value_error("ratio must lie in (0, 1]");
            for (const double x :
                 {max_error, max_error_relative, max_normal_turn_degrees, feature_angle_degrees, relax_flat_degrees})
                if (std::isnan(x) || x < 0) throw py::value_error("errors and angles must be numbers >= 0");
            P::simplify_options o;
            o.target_triangles = target_triangles;
            o.ratio = ratio;
            o.max_error = max_error;
            o.max_error_relative = max_error_relative;
            o.max_normal_turn_degrees = max_normal_turn_degrees;
            o.boundary = boundary_of(boundary);
            o.feature_angle_degrees = feature_angle_degrees;
            if (!locked.is_none()) o.locked = bytes_from(locked, self.vertex_count(), "locked");
            o.relax_flat_degrees = relax_flat_degrees;
            o.investigate = investigate;
            progress_bridge bridge{std::move(progress), {}};
            triangle_surface s = self.s();
            auto r = bridge.run(threads, [&] { return P::simplify(s, o, bridge.callback()); });
            return py::make_tuple(mesh(std::move(s)), simplify_record(std::move(r)));
        },
        py::arg("mesh"), py::kw_only(), py::arg("target_triangles") = py::none(), py::arg("ratio") = 0.1,
        py::arg("max_error") = INFINITY, py::arg("max_error_relative") = INFINITY,
        py::arg("max_normal_turn_degrees") = 60.0, py::arg("boundary") = "locked",
        py::arg("feature_angle_degrees") = 180.0, py::arg("locked") = py::none(), py::arg("relax_flat_degrees") = 5.0,
        py::arg("investigate") = true, py::arg("progress") = py::none(), py::arg("threads") = py::none());
    m.def(
        "features",
        [](const mesh& self, double sharp_angle_degrees, std::size_t smoothing_iterations, py::object progress,
           opt_threads threads) {
            progress_bridge bridge{std::move(progress), {}};
            const P::features_options o{sharp_angle_degrees, smoothing_iterations};
            auto r = bridge.run(threads, [&] { return P::features(self.s(), o, bridge.callback()); });
            return features_record(std::move(r));
        },
        py::arg("mesh"), py::kw_only(), py::arg("sharp_angle_degrees") = 30.0, py::arg("smoothing_iterations") = 10,
        py::arg("progress") = py::none(), py::arg("threads") = py::none());

    m.def(
        "repair",
        [](const mesh& self, double tolerance, double tolerance_relative, bool zero_area,
           const std::string& back_to_back, std::size_t min_component_triangles, double min_component_area,
           bool make_manifold, bool orient, std::size_t max_boundary_edges, bool refine, bool fair, py::object progress,
           std::optional<int> threads) {
            P::repair_options o;
            o.tolerance = tolerance;
            o.tolerance_relative = tolerance_relative;
            o.removal = {zero_area, policy_of(back_to_back), min_component_triangles, min_component_area};
            o.make_manifold = make_manifold;
            o.orient = orient;
            o.fill = {max_boundary_edges, refine, fair};
            progress_bridge bridge{std::move(progress), {}};
            triangle_surface s = self.s();
            auto r = bridge.run(threads, [&] { return P::repair(s, o, bridge.callback()); });
            py::object figures = record(
                "RepairResult",
                py::dict(py::arg("weld") = weld_record(std::move(r.weld)), py::arg("tolerance") = r.tolerance,
                         py::arg("tolerance_vertices_merged") = r.tolerance_weld.vertices_merged,
                         py::arg("removal") = removal_record(r.removal),
                         py::arg("free_vertices_removed") = r.free_vertices_removed,
                         py::arg("manifold") = manifold_record(std::move(r.manifold)),
                         py::arg("orientation") = orient_record(r.orientation), py::arg("fill") = fill_record(r.fill),
                         py::arg("vertex_map") = own(std::move(r.vertex_map))));
            return py::make_tuple(mesh(std::move(s)), figures);
        },
        py::arg("mesh"), py::kw_only(), py::arg("tolerance") = 0.0, py::arg("tolerance_relative") = 0.0,
        py::arg("zero_area") = false, py::arg("back_to_back") = "drop_both", py::arg("min_component_triangles") = 0,
        py::arg("min_component_area") = 0.0, py::arg("make_manifold") = true, py::arg("orient") = true,
        py::arg("max_boundary_edges") = 0, py::arg("refine") = true, py::arg("fair") = true,
        py::arg("progress") = py::none(), py::arg("threads") = py::none());
    m.def(
        "read",
        [](const std::string& path) { return mesh(work(std::nullopt, [&] { return IO::read_mesh_file(path); })); },
        py::arg("path"));
    m.def(
        "read_bytes",
        [](const py::bytes& data, const std::string& format, const std::string& name) {
            const auto f = IO::format_from_extension("mesh." + format);
            if (!f) throw py::value_error("format must be 'stl', 'obj', 'ply' or 'off', not '" + format + "'");
            const std::string bytes = data;
            return mesh(work(std::nullopt, [&] { return IO::read_mesh_bytes(bytes, *f, name); }));
        },
        py::arg("data"), py::arg("format"), py::arg("name") = "<bytes>");
    m.def(
        "write",
        [](const std::string& path, const mesh& self, py::handle fields, py::handle colours,
           const std::string& encoding, bool float_coordinates) {
            const auto content = ply_content_from(self, fields, colours, encoding, float_coordinates);
            work(std::nullopt, [&] { IO::write_mesh_file(path, self.s(), content); });
        },
        py::arg("path"), py::arg("mesh"), py::kw_only(), py::arg("fields") = py::none(),
        py::arg("colours") = py::none(), py::arg("encoding") = "binary_little_endian",
        py::arg("float_coordinates") = false);
}

}  // namespace zelkov_python
