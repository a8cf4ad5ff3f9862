#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <geometry/trimesh.h>

#include "commands.h"
#include "default_mesh.h"
#include <meshio/meshio.h>

namespace Zelkov::Cli {

input_mesh load_input(const common_options& options, stage_clock& clock)
{
    if (options.input.empty()) {
        auto surface = clock.run("generate default mesh", [&] { return default_mesh(options.default_mesh_triangles); });
        const std::string name =
            "built-in default mesh (square-section torus, " + std::to_string(surface.triangles.size()) + " triangles)";
        return {std::move(surface), name};
    }
    auto surface = clock.run("read", [&] { return Zelkov::Meshio::read_mesh_file(options.input); });
    return {std::move(surface), options.input};
}

std::vector<unsigned char> read_vertex_marks(const std::string& path, std::size_t vertex_count)
{
    namespace fs = std::filesystem;
    std::error_code ec;
    const auto status = fs::status(path, ec);
    if (!fs::exists(status)) throw Zelkov::Meshio::read_error(path + ": no such file");
    if (!fs::is_regular_file(status)) throw Zelkov::Meshio::read_error(path + ": not a regular file");
    std::ifstream in(path, std::ios::binary);
    if (!in) throw Zelkov::Meshio::read_error(path + ": cannot be read");
    std::vector<unsigned char> marks(vertex_count, 0);
    std::size_t line = 1;
    // One character at a time, so that no line or number of any length is held.
    std::uint64_t number = 0;
    std::string digits;  // as written, for the message, up to 20 of them
    const auto end_number = [&] {
        if (digits.empty()) return;
        if (number >= vertex_count)
            throw Zelkov::Meshio::read_error(path + ": line " + std::to_string(line) + ": vertex " +
                                             (digits.size() > 20 ? digits.substr(0, 20) + "..." : digits) +
                                             " is out of range (the input has " + std::to_string(vertex_count) +
                                             " vertices)");
        marks[number] = 1;
        number = 0;
        digits.clear();
    };
    for (std::istreambuf_iterator<char> c(in), stop; c != stop; ++c) {
        if (*c >= '0' && *c <= '9') {
            // Past the vertex count the number is refused anyway; stop it growing.
            number = std::min<std::uint64_t>(number * 10 + static_cast<std::uint64_t>(*c - '0'), vertex_count);
            if (digits.size() <= 20) digits += *c;
        } else if (*c == ' ' || *c == '\t' || *c == '\r' || *c == '\n') {
            end_number();
            line += *c == '\n';
        } else {
            throw Zelkov::Meshio::read_error(path + ": line " + std::to_string(line) +
                                             ": not a vertex number (whole numbers from 0, separated by spaces)");
        }
    }
    end_number();
    return marks;
}

value surface_summary(const Zelkov::Geometry::triangle_surface& surface)
{
    value v = value::object();
    v["vertices"] = surface.vertices.size();
    v["triangles"] = surface.triangles.size();
    const auto box = Zelkov::Geometry::bounding_volume(surface, false);
    if (!surface.triangles.empty())
        v["bounding_box"] = {{"min", triple(box.min.x, box.min.y, box.min.z)},
                             {"max", triple(box.max.x, box.max.y, box.max.z)}};
    return v;
}

value begin_report(const char* command, const input_mesh& in)
{
    value report = value::object();
    report["command"] = command;
    report["input"] = in.name;
    report["before"] = surface_summary(in.surface);
    return report;
}

value weld(Zelkov::Geometry::triangle_surface& surface, const Zelkov::Processing::weld_options& options,
           stage_clock& clock)
{
    return weld_report(Zelkov::Processing::weld(surface, options, clock.callback()), options);
}

value weld_report(const Zelkov::Processing::weld_result& r, const Zelkov::Processing::weld_options& options)
{
    value merged = value::object();
    merged["orientation_considered"] = options.consider_orientation;
    merged["vertices_merged"] = r.vertices_merged;
    merged["triangles_merged"] = r.triangles_merged;
    if (options.remove_degenerate) merged["degenerate_triangles_removed"] = r.degenerate_removed;
    if (options.remove_free_points) merged["free_vertices_removed"] = r.free_vertices_removed;
    return merged;
}

void write_output(const common_options& options, const Zelkov::Geometry::triangle_surface& surface,
                  const Zelkov::Meshio::ply_content& content, value& report, stage_clock& clock)
{
    if (options.output.empty()) return;
    if (surface.triangles.empty())
        throw Zelkov::Meshio::write_error(options.output + ": not written: the result has no triangles");
    if (Zelkov::Meshio::format_from_extension(options.output) == Zelkov::Meshio::mesh_format::stl) {
        std::size_t changed = 0;
        for (const auto& p : surface.vertices)
            for (const double x : {p.x, p.y, p.z}) changed += static_cast<double>(static_cast<float>(x)) != x;
        if (changed > 0)
            add_warning(report, options.output +
                                    ": STL stores coordinates as 32-bit floats: " + std::to_string(changed) +
                                    " coordinates were rounded (write .ply or .obj to keep them exactly)");
    }
    clock.run("write", [&] { Zelkov::Meshio::write_mesh_file(options.output, surface, content, options.input); });
    report["output"] = options.output;
}

void add_warning(value& report, const std::string& text) { report["warnings"].push_back(text); }

value field_summary(const std::vector<double>& values, std::optional<double> skip_value)
{
    std::vector<double> kept;
    kept.reserve(values.size());
    for (const double x : values)
        if (std::isfinite(x) && (!skip_value || x != *skip_value)) kept.push_back(x);
    value v = value::object();
    v["values"] = kept.size();
    if (kept.empty()) return v;
    std::sort(kept.begin(), kept.end());
    double sum = 0.0;
    for (const double x : kept) sum += x;
    auto at = [&](double q) { return kept[static_cast<std::size_t>(q * static_cast<double>(kept.size() - 1))]; };
    v["min"] = kept.front();
    v["p05"] = at(0.05);
    v["median"] = at(0.5);
    v["p95"] = at(0.95);
    v["max"] = kept.back();
    v["mean"] = sum / static_cast<double>(kept.size());
    return v;
}

}  // namespace Zelkov::Cli
