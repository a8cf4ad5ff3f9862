// STL, binary and ASCII. Every facet brings three vertices of its own, as the
// format stores them; nothing is welded.

#include "parse.h"

namespace Zelkov::Meshio::detail {

namespace {

constexpr std::size_t header_size = 84;
constexpr std::size_t facet_size = 50;

std::uint32_t little_u32(const char* p) { return load<std::uint32_t>(p, false); }
float little_float(const char* p) { return load<float>(p, false); }

std::uint64_t declared_facets(std::string_view bytes) { return little_u32(bytes.data() + 80); }

raw_mesh parse_binary(std::string_view bytes)
{
    const std::uint64_t count = declared_facets(bytes);
    raw_mesh mesh;
    mesh.vertices.reserve(3 * count);
    mesh.triangles.reserve(count);
    for (std::size_t f = 0; f < count; ++f) {
        const char* corner = bytes.data() + header_size + facet_size * f + 12;
        for (std::size_t c = 0; c < 3; ++c, corner += 12)
            mesh.vertices.push_back({little_float(corner), little_float(corner + 4), little_float(corner + 8)});
        mesh.triangles.push_back({3 * f, 3 * f + 1, 3 * f + 2});
    }
    return mesh;
}

/// One facet after its "facet" keyword: a normal, then a loop of at least three
/// vertices, fan-triangulated.
void parse_facet(token_stream& in, raw_mesh& mesh)
{
    in.expect("normal");
    for (int i = 0; i < 3; ++i) in.number();
    in.expect("outer");
    in.expect("loop");
    std::vector<std::size_t> polygon;
    for (;;) {
        const std::string_view t = in.next();
        if (t.empty()) in.truncated();
        if (t == "endloop") break;
        if (t != "vertex") in.fail("expected 'vertex' or 'endloop', found " + quoted(t));
        point3 p{};
        p.x = in.number();
        p.y = in.number();
        p.z = in.number();
        polygon.push_back(mesh.vertices.size());
        mesh.vertices.push_back(p);
    }
    if (polygon.size() < 3) in.fail("facet with fewer than 3 vertices");
    in.expect("endfacet");
    add_polygon(mesh, polygon);
}

raw_mesh parse_ascii(std::string_view text)
{
    token_stream in(text, "ASCII STL ends inside a facet");
    raw_mesh mesh;
    bool inside_solid = false;
    for (;;) {
        const std::string_view t = in.next();
        if (t.empty()) break;
        if (!inside_solid) {
            if (t != "solid") in.fail("expected 'solid', found " + quoted(t));
            in.skip_line();  // the rest of the line is the solid's name
            inside_solid = true;
        } else if (t == "facet") {
            parse_facet(in, mesh);
        } else if (t == "endsolid") {
            in.skip_line();
            inside_solid = false;
        } else {
            in.fail("expected 'facet' or 'endsolid', found " + quoted(t));
        }
    }
    if (inside_solid) throw format_error("truncated: ASCII STL ends without 'endsolid'");
    return mesh;
}

bool starts_with_solid(std::string_view bytes)
{
    const std::size_t first = bytes.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && bytes.substr(first, 5) == "solid";
}

/// Why bytes that are not an ASCII STL cannot be read as a binary one.
std::string binary_misfit(std::string_view bytes)
{
    if (bytes.size() < header_size)
        return "truncated: a binary STL needs at least 84 bytes, the file has " + std::to_string(bytes.size());
    return count_too_large("binary STL", declared_facets(bytes), "triangles", bytes.size() - header_size);
}

bool binary_fits(std::string_view bytes)
{
    return bytes.size() >= header_size && bytes.size() >= header_size + facet_size * declared_facets(bytes);
}

}  // namespace

bool is_exact_binary_stl(std::string_view bytes)
{
    return bytes.size() >= header_size && bytes.size() == header_size + facet_size * declared_facets(bytes);
}

raw_mesh parse_stl(std::string_view bytes)
{
    // Binary files may begin with "solid" too, or with a byte order mark; a
    // size that matches the declared count decides for binary.
    if (is_exact_binary_stl(bytes)) return parse_binary(bytes);
    if (const std::string_view text = without_bom(bytes); starts_with_solid(text)) {
        try {
            return parse_ascii(text);
        } catch (const format_error&) {
            // Text with a NUL byte is a binary file that merely begins with "solid".
            const bool binary_bytes = bytes.find('\0') != std::string_view::npos;
            if (!binary_bytes) throw;
            if (binary_fits(bytes)) return parse_binary(bytes);
            throw format_error(binary_misfit(bytes));
        }
    }
    if (!binary_fits(bytes)) throw format_error(binary_misfit(bytes));
    return parse_binary(bytes);  // trailing bytes after the last facet are ignored
}

}  // namespace Zelkov::Meshio::detail
