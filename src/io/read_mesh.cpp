// Loading a file, choosing its reader and turning the raw result into a
// checked surface.

#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <meshio/meshio.h>
#include "parse.h"

namespace Zelkov::Meshio {

namespace {

/// The bytes of a regular file (or of one that a link leads to). Devices,
/// pipes and sockets are refused before they are opened: they may never end.
std::string load_file(const std::string& path)
{
    namespace fs = std::filesystem;
    std::error_code ec;
    const auto status = fs::status(path, ec);
    if (!fs::exists(status)) throw read_error(path + ": no such file");
    if (fs::is_directory(status)) throw read_error(path + ": is a directory, not a mesh file");
    if (!fs::is_regular_file(status)) throw read_error(path + ": not a regular file");
    std::ifstream in(path, std::ios::binary);
    if (!in) throw read_error(path + ": cannot read (" + std::strerror(errno) + ")");
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) throw read_error(path + ": cannot read (I/O error)");
    return bytes;
}

detail::raw_mesh parse(std::string_view bytes, mesh_format format)
{
    switch (format) {
    case mesh_format::stl: return detail::parse_stl(bytes);
    case mesh_format::obj: return detail::parse_obj(bytes);
    case mesh_format::ply: return detail::parse_ply(bytes);
    case mesh_format::off: return detail::parse_off(bytes);
    }
    return {};
}

}  // namespace

std::optional<mesh_format> format_from_extension(const std::string& path)
{
    std::string ext = std::filesystem::path(path).extension().string();
    for (auto& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (ext == ".stl") return mesh_format::stl;
    if (ext == ".obj") return mesh_format::obj;
    if (ext == ".ply") return mesh_format::ply;
    if (ext == ".off") return mesh_format::off;
    return std::nullopt;
}

std::optional<mesh_format> format_from_content(std::string_view bytes)
{
    // The text formats may start with a byte order mark; a binary STL's header
    // may start with anything.
    const std::string_view text = detail::without_bom(bytes);
    if (text.substr(0, 4) == "ply\n" || text.substr(0, 5) == "ply\r\n") return mesh_format::ply;
    if (detail::is_exact_binary_stl(bytes)) return mesh_format::stl;
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return std::nullopt;
    const std::string_view start = text.substr(first, 5);
    if (start == "solid") return mesh_format::stl;
    if (start.substr(0, 3) == "OFF" || start.substr(0, 4) == "COFF" || start.substr(0, 4) == "NOFF")
        return mesh_format::off;
    return std::nullopt;
}

triangle_surface read_mesh_bytes(std::string_view bytes, mesh_format format, const std::string& name)
{
    detail::raw_mesh raw;
    try {
        raw = parse(bytes, format);
    } catch (const detail::format_error& e) {
        throw read_error(name + ": " + e.what());
    } catch (const std::bad_alloc&) {
        throw read_error(name + ": too large to read into memory");
    } catch (const std::length_error&) {
        throw read_error(name + ": too large to read into memory");
    }
    if (raw.triangles.empty())
        throw read_error(name + ": empty mesh (" + std::to_string(raw.vertices.size()) + " vertices, no triangles)");
    auto made = Zelkov::Geometry::make_triangle_surface({raw.vertices.data(), raw.vertices.size()},
                                                        {raw.triangles.data(), raw.triangles.size()});
    // On failure the accepted part ends just before the first bad triangle.
    if (!made.success)
        throw read_error(name + ": index out of range at triangle " + std::to_string(made.surface.triangles.size()) +
                         " (the file has " + std::to_string(raw.vertices.size()) + " vertices)");
    return std::move(made.surface);
}

triangle_surface read_mesh_file(const std::string& path)
{
    const std::string bytes = load_file(path);
    auto format = format_from_extension(path);
    if (!format) format = format_from_content(bytes);
    if (!format) throw read_error(path + ": unknown format (expected a .stl, .obj, .ply or .off file)");
    return read_mesh_bytes(bytes, *format, path);
}

}  // namespace Zelkov::Meshio
