// Wavefront OBJ: `v` and `f` lines. Polygons are fan-triangulated; texture and
// normal indices are ignored; negative indices count back from the last vertex
// read so far. Every other statement (vt, vn, o, g, s, usemtl, ...) is skipped.

#include <limits>

#include "parse.h"

namespace Zelkov::Meshio::detail {

namespace {

constexpr std::size_t no_vertex = std::numeric_limits<std::size_t>::max();

/// The vertex index of one face corner ("7", "7/2", "7//3", "-1/4/4"),
/// zero-based, or no_vertex when the file names no vertex (0, or too far back).
std::size_t corner_index(std::string_view corner, std::size_t vertices_so_far, line_scanner& in)
{
    std::int64_t index = 0;
    const std::string_view number = corner.substr(0, corner.find('/'));
    const parsed status = parse_integer(number, index);
    if (status != parsed::ok) in.number_fault(status, number, "malformed face corner " + quoted(corner));
    if (index > 0) return static_cast<std::size_t>(index - 1);
    if (index < 0 && static_cast<std::uint64_t>(-(index + 1)) < vertices_so_far)
        return vertices_so_far - static_cast<std::size_t>(-(index + 1)) - 1;
    return no_vertex;
}

}  // namespace

raw_mesh parse_obj(std::string_view text)
{
    raw_mesh mesh;
    line_scanner in(without_bom(text));
    std::vector<std::size_t> polygon;
    while (in.next_line()) {
        const std::string_view tag = in.token();
        if (tag == "v") {
            point3 p{};
            p.x = in.number("vertex");
            p.y = in.number("vertex");
            p.z = in.number("vertex");
            mesh.vertices.push_back(p);
        } else if (tag == "f") {
            polygon.clear();
            for (std::string_view corner = in.token(); !corner.empty(); corner = in.token()) {
                if (corner.front() == '#') break;
                polygon.push_back(corner_index(corner, mesh.vertices.size(), in));
            }
            if (polygon.size() < 3) in.fail("face with fewer than 3 corners");
            add_polygon(mesh, polygon);
        }
    }
    return mesh;
}

}  // namespace Zelkov::Meshio::detail
