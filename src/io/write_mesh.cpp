// Writers: PLY (any encoding, optional per-vertex fields and colours), binary
// STL and OBJ, and the file-level guard that never overwrites the input.

#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>

#include <geometry/measures.h>
#include <meshio/meshio.h>

#include "parse.h"

namespace Zelkov::Meshio {

namespace {

using detail::point3;

template <class T>
void store(std::string& out, T value, bool big_endian)
{
    char raw[sizeof(T)];
    std::memcpy(raw, &value, sizeof(T));
    if (big_endian != (std::endian::native == std::endian::big)) std::reverse(raw, raw + sizeof(T));
    out.append(raw, sizeof(T));
}

/// The shortest decimal text that reads back to exactly `value`.
void append_number(std::string& out, double value)
{
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr);
}

void append_number(std::string& out, std::size_t value)
{
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr);
}

void check_lengths(const triangle_surface& surface, const ply_content& content)
{
    const std::size_t n = surface.vertices.size();
    for (const auto& f : content.fields)
        if (f.values.size() != n)
            throw std::invalid_argument("field '" + f.name + "' does not have one value per vertex");
    if (!content.colours.empty() && content.colours.size() != n)
        throw std::invalid_argument("colours do not have one entry per vertex");
    if (n > std::numeric_limits<std::uint32_t>::max()) throw std::invalid_argument("too many vertices for PLY indices");
}

std::string ply_header(const triangle_surface& surface, const ply_content& content)
{
    std::string h = "ply\nformat ";
    h += content.encoding == ply_encoding::ascii                  ? "ascii"
         : content.encoding == ply_encoding::binary_little_endian ? "binary_little_endian"
                                                                  : "binary_big_endian";
    h += " 1.0\ncomment written by zelkov\nelement vertex " + std::to_string(surface.vertices.size()) + "\n";
    const char* coordinate = content.float_coordinates ? "float" : "double";
    for (const char* axis : {"x", "y", "z"}) h += std::string("property ") + coordinate + " " + axis + "\n";
    for (const auto& f : content.fields) h += "property double " + f.name + "\n";
    if (!content.colours.empty()) h += "property uchar red\nproperty uchar green\nproperty uchar blue\n";
    h += "element face " + std::to_string(surface.triangles.size()) + "\n";
    h += "property list uchar uint vertex_indices\nend_header\n";
    return h;
}

void ply_ascii_body(std::string& out, const triangle_surface& surface, const ply_content& content)
{
    for (std::size_t v = 0; v < surface.vertices.size(); ++v) {
        const point3& p = surface.vertices[v];
        for (double c : {p.x, p.y, p.z}) {
            // A float coordinate is written as the double it widens to, so that
            // reading it back gives exactly the stored float.
            append_number(out, content.float_coordinates ? static_cast<double>(static_cast<float>(c)) : c);
            out += ' ';
        }
        for (const auto& f : content.fields) {
            append_number(out, f.values[v]);
            out += ' ';
        }
        if (!content.colours.empty())
            for (auto channel : content.colours[v]) {
                append_number(out, static_cast<std::size_t>(channel));
                out += ' ';
            }
        out.back() = '\n';
    }
    for (const auto& t : surface.triangles) {
        out += '3';
        for (std::size_t i : t) {
            out += ' ';
            append_number(out, i);
        }
        out += '\n';
    }
}

void ply_binary_body(std::string& out, const triangle_surface& surface, const ply_content& content)
{
    const bool big = content.encoding == ply_encoding::binary_big_endian;
    for (std::size_t v = 0; v < surface.vertices.size(); ++v) {
        const point3& p = surface.vertices[v];
        for (double c : {p.x, p.y, p.z}) {
            if (content.float_coordinates) store(out, static_cast<float>(c), big);
            else store(out, c, big);
        }
        for (const auto& f : content.fields) store(out, f.values[v], big);
        if (!content.colours.empty()) out.append(reinterpret_cast<const char*>(content.colours[v].data()), 3);
    }
    for (const auto& t : surface.triangles) {
        out += static_cast<char>(3);
        for (std::size_t i : t) store(out, static_cast<std::uint32_t>(i), big);
    }
}

/// The facet normal of STL: the unit normal of triangle t as the core
/// measures it, or zero for a triangle without area (whose normal is NaN).
point3 facet_normal(std::size_t t, const triangle_surface& surface)
{
    const point3 n = Zelkov::Geometry::normal(t, surface, true);
    if (!(std::isfinite(n.x) && std::isfinite(n.y) && std::isfinite(n.z))) return {0, 0, 0};
    return n;
}

bool same_file(const std::string& a, const std::string& b)
{
    namespace fs = std::filesystem;
    if (b.empty()) return false;
    std::error_code ec;
    if (fs::exists(a, ec) && fs::exists(b, ec)) return fs::equivalent(a, b, ec);
    return fs::weakly_canonical(a, ec) == fs::weakly_canonical(b, ec);
}

/// Writes `bytes` to a temporary file beside `path` and renames it over
/// `path` only once it is complete, so that a failure (a full disk, say)
/// leaves whatever `path` held before untouched.
void write_whole_file(const std::string& path, const std::string& bytes)
{
    const std::string partial = path + ".partial";
    std::ofstream out(partial, std::ios::binary | std::ios::trunc);
    if (!out) throw write_error(path + ": cannot write (" + std::strerror(errno) + ")");
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    std::error_code ec;
    if (!out) {
        std::filesystem::remove(partial, ec);
        throw write_error(path + ": cannot write (I/O error)");
    }
    std::filesystem::rename(partial, path, ec);
    if (ec) {
        std::filesystem::remove(partial, ec);
        throw write_error(path + ": cannot write (" + ec.message() + ")");
    }
}

}  // namespace

std::string ply_bytes(const triangle_surface& surface, const ply_content& content)
{
    check_lengths(surface, content);
    std::string out = ply_header(surface, content);
    if (content.encoding == ply_encoding::ascii) ply_ascii_body(out, surface, content);
    else ply_binary_body(out, surface, content);
    return out;
}

std::string stl_bytes(const triangle_surface& surface)
{
    if (surface.triangles.size() > std::numeric_limits<std::uint32_t>::max())
        throw std::invalid_argument("too many triangles for binary STL");
    std::string out(80, ' ');
    const std::string title = "binary STL written by zelkov";
    out.replace(0, title.size(), title);
    store(out, static_cast<std::uint32_t>(surface.triangles.size()), false);
    out.reserve(84 + 50 * surface.triangles.size());
    for (std::size_t k = 0; k < surface.triangles.size(); ++k) {
        const auto& t = surface.triangles[k];
        const point3& a = surface.vertices[t[0]];
        const point3& b = surface.vertices[t[1]];
        const point3& c = surface.vertices[t[2]];
        for (const point3& p : {facet_normal(k, surface), a, b, c}) {
            store(out, static_cast<float>(p.x), false);
            store(out, static_cast<float>(p.y), false);
            store(out, static_cast<float>(p.z), false);
        }
        out.append(2, '\0');
    }
    return out;
}

std::string obj_bytes(const triangle_surface& surface)
{
    std::string out = "# written by zelkov\n";
    for (const auto& p : surface.vertices) {
        out += "v ";
        append_number(out, p.x);
        out += ' ';
        append_number(out, p.y);
        out += ' ';
        append_number(out, p.z);
        out += '\n';
    }
    for (const auto& t : surface.triangles) {
        out += 'f';
        for (std::size_t i : t) {
            out += ' ';
            append_number(out, i + 1);
        }
        out += '\n';
    }
    return out;
}

void check_output_path(const std::string& path, const std::string& protected_input)
{
    if (same_file(path, protected_input))
        throw write_error(path + ": refusing to overwrite the input file; choose another output name");
    const auto format = format_from_extension(path);
    if (format != mesh_format::ply && format != mesh_format::stl && format != mesh_format::obj)
        throw write_error(path + ": unknown output format (expected a .ply, .stl or .obj file name)");
}

void write_mesh_file(const std::string& path, const triangle_surface& surface, const ply_content& content,
                     const std::string& protected_input)
{
    check_output_path(path, protected_input);
    const auto format = format_from_extension(path);
    std::string bytes;
    if (format == mesh_format::ply) bytes = ply_bytes(surface, content);
    else if (format == mesh_format::stl) bytes = stl_bytes(surface);
    else bytes = obj_bytes(surface);

    write_whole_file(path, bytes);
}

}  // namespace Zelkov::Meshio
