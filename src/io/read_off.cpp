// OFF (Object File Format): a header line ("OFF", or a variant such as "COFF"
// with colours), the counts, one vertex per line, one polygon per line.
// Anything after the used numbers on a line (colours) is ignored, and so are
// comments and blank lines.

#include <algorithm>
#include <limits>

#include "parse.h"

namespace Zelkov::Meshio::detail {

namespace {

/// Moves to the next line that holds something besides a comment; false at
/// the end of the text.
bool next_content_line(line_scanner& in, std::string_view& first)
{
    while (in.next_line()) {
        first = in.token();
        if (!first.empty() && first.front() != '#') return true;
    }
    return false;
}

std::size_t count(std::string_view token, const char* what, line_scanner& in)
{
    std::int64_t value = 0;
    const parsed status = parse_integer(token, value);
    if (status != parsed::ok || value < 0) in.number_fault(status, token, std::string("malformed ") + what + " count");
    return static_cast<std::size_t>(value);
}

std::size_t vertex_index(std::string_view token, line_scanner& in)
{
    std::int64_t value = 0;
    const parsed status = parse_integer(token, value);
    if (status != parsed::ok) in.number_fault(status, token, "malformed face index " + quoted(token));
    return value < 0 ? std::numeric_limits<std::size_t>::max() : static_cast<std::size_t>(value);
}

}  // namespace

raw_mesh parse_off(std::string_view text)
{
    line_scanner in(without_bom(text));
    std::string_view token;
    if (!next_content_line(in, token) || token.size() < 3 || token.substr(token.size() - 3) != "OFF")
        throw format_error("not an OFF file (missing 'OFF' header)");
    // The counts may follow the keyword on its own line.
    token = in.token();
    if (token.empty() && !next_content_line(in, token)) throw format_error("truncated: no vertex and face counts");
    const std::size_t nv = count(token, "vertex", in);
    const std::size_t nf = count(in.token(), "face", in);
    // Every vertex and face takes a line of its own: a character and its end.
    if (!fits(std::uint64_t{nv} + nf, 2, in.bytes_left(), 1))
        throw format_error(count_too_large(
            "OFF header", nv, "vertices and " + std::to_string(nf) + (nf == 1 ? " face" : " faces"), in.bytes_left()));

    raw_mesh mesh;
    mesh.vertices.reserve(std::min<std::size_t>(nv, in.bytes_left() / 6));  // "0 0 0" and a line end
    for (std::size_t v = 0; v < nv; ++v) {
        if (!next_content_line(in, token))
            throw format_error("truncated: expected " + std::to_string(nv) + " vertices, found " + std::to_string(v));
        point3 p{};
        if (const parsed status = parse_double(token, p.x); status != parsed::ok)
            in.number_fault(status, token, "malformed vertex");
        p.y = in.number("vertex");
        p.z = in.number("vertex");
        mesh.vertices.push_back(p);
    }
    std::vector<std::size_t> polygon;
    for (std::size_t f = 0; f < nf; ++f) {
        if (!next_content_line(in, token))
            throw format_error("truncated: expected " + std::to_string(nf) + " faces, found " + std::to_string(f));
        const std::size_t corners = count(token, "corner", in);
        if (corners < 3) in.fail("face with fewer than 3 corners");
        if (!fits(corners, 2, in.bytes_left(), 1))
            throw format_error(count_too_large("face " + std::to_string(f), corners, "corners", in.bytes_left()));
        polygon.clear();
        for (std::size_t c = 0; c < corners; ++c) {
            const std::string_view index = in.token();
            if (index.empty()) in.fail("face with fewer indices than its count");
            polygon.push_back(vertex_index(index, in));
        }
        add_polygon(mesh, polygon);
    }
    return mesh;
}

}  // namespace Zelkov::Meshio::detail
