#include <algorithm>
#include <cmath>

#include <geometry/trimesh.h>

#include "commands.h"
#include "default_mesh.h"
#include "meshio.h"

namespace Zelkov::Cli {

input_mesh load_input(const common_options& options, stage_clock& clock)
{
    if (options.input.empty()) {
        auto surface = clock.run("generate default mesh", [&] { return default_mesh(options.default_mesh_triangles); });
        const std::string name = "built-in default mesh (square-section torus, " +
                                 std::to_string(surface.triangles.size()) + " triangles)";
        return {std::move(surface), name};
    }
    auto surface = clock.run("read", [&] { return Zelkov::Meshio::read_mesh_file(options.input); });
    return {std::move(surface), options.input};
}

value surface_summary(const Zelkov::Geometry::triangle_surface& surface)
{
    value v = value::new_object();
    v.set("vertices", surface.vertices.size());
    v.set("triangles", surface.triangles.size());
    const auto box = Zelkov::Geometry::bounding_volume(surface, false);
    if (!surface.triangles.empty()) {
        value b = value::new_object();
        b.set("min", triple(box.min.x, box.min.y, box.min.z));
        b.set("max", triple(box.max.x, box.max.y, box.max.z));
        v.set("bounding box", std::move(b));
    }
    return v;
}

value begin_report(const char* command, const input_mesh& in)
{
    value report = value::new_object();
    report.set("command", command);
    report.set("input", in.name);
    report.set("before", surface_summary(in.surface));
    return report;
}

value weld(Zelkov::Geometry::triangle_surface& surface, bool consider_orientation, stage_clock& clock)
{
    const std::size_t v0 = surface.vertices.size(), t0 = surface.triangles.size();
    clock.run("unique", [&] { Zelkov::Geometry::unique(surface, consider_orientation); });
    value merged = value::new_object();
    merged.set("orientation considered", consider_orientation);
    merged.set("vertices merged", v0 - surface.vertices.size());
    merged.set("triangles merged", t0 - surface.triangles.size());
    return merged;
}

value field_summary(const std::vector<double>& values, std::optional<double> skip_value)
{
    std::vector<double> kept;
    kept.reserve(values.size());
    for (const double x : values)
        if (std::isfinite(x) && (!skip_value || x != *skip_value)) kept.push_back(x);
    value v = value::new_object();
    v.set("values", kept.size());
    if (kept.empty()) return v;
    std::sort(kept.begin(), kept.end());
    double sum = 0.0;
    for (const double x : kept) sum += x;
    auto at = [&](double q) { return kept[static_cast<std::size_t>(q * static_cast<double>(kept.size() - 1))]; };
    v.set("min", kept.front());
    v.set("p05", at(0.05));
    v.set("median", at(0.5));
    v.set("p95", at(0.95));
    v.set("max", kept.back());
    v.set("mean", sum / static_cast<double>(kept.size()));
    return v;
}

}  // namespace Zelkov::Cli
