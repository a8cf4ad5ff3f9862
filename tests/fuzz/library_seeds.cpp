// Writes the seed corpora of the library fuzz targets: small generated
// surfaces in each target's input encoding (see library_input.h), followed by
// a fixed run of bytes that choose the operations.
//
// Usage: library_seeds <directory>; makes <directory>/<target>/seed_<n>.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <geometry/triangle_surface.h>

#include "meshgen.h"

using Zelkov::Geometry::triangle_surface;

namespace {

/// The palette byte nearest to x: quarter steps in [-2, 2).
unsigned char coordinate_byte(double x)
{
    const double step = std::round((x + 2.0) * 4.0);
    return static_cast<unsigned char>(std::clamp(step, 0.0, 15.0));
}

/// A surface as `input::surface` reads it; empty when it does not fit.
std::string encode(const triangle_surface& s, std::size_t max_vertices, std::size_t max_triangles)
{
    if (s.vertices.empty() || s.vertices.size() > max_vertices || s.triangles.size() > max_triangles) return {};
    std::string bytes;
    bytes += static_cast<char>(s.vertices.size() - 1);
    bytes += static_cast<char>(s.triangles.size());
    for (const auto& p : s.vertices)
        for (const double x : {p.x, p.y, p.z}) bytes += static_cast<char>(coordinate_byte(x));
    for (const auto& t : s.triangles)
        for (const std::size_t c : t) bytes += static_cast<char>(c);
    return bytes;
}

/// The input of the construction target: counts, null flags, points and
/// near-range indices.
std::string encode_construction(const triangle_surface& s)
{
    if (s.vertices.size() >= 40 || s.triangles.size() >= 40) return {};
    std::string bytes;
    bytes += static_cast<char>(s.vertices.size());
    bytes += static_cast<char>(s.triangles.size());
    bytes += '\0';
    for (const auto& p : s.vertices)
        for (const double x : {p.x, p.y, p.z}) bytes += static_cast<char>(coordinate_byte(x));
    for (const auto& t : s.triangles)
        for (const std::size_t c : t) {
            bytes += '\0';
            bytes += static_cast<char>(c);
        }
    return bytes;
}

std::vector<triangle_surface> small_surfaces()
{
    using namespace Zelkov::Meshgen;
    std::vector<triangle_surface> list{tetrahedron(), box(),       grid(2, 2),         grid(3, 1),         fan(6),
                                       fan(4, false), torus(4, 3), shuffled(box(), 5), soup(tetrahedron())};
    // A bow tie, a fin of three triangles on one edge, a duplicate and a
    // turned-over twin, a triangle repeating a corner, a free point.
    triangle_surface odd = grid(2, 1);
    odd.vertices.push_back({1, 1, 1});
    odd.vertices.push_back({-1, -1, 0});
    odd.triangles.push_back({0, 1, 6});
    odd.triangles.push_back(odd.triangles[1]);
    odd.triangles.push_back({odd.triangles[2][1], odd.triangles[2][0], odd.triangles[2][2]});
    odd.triangles.push_back({4, 4, 5});
    odd.triangles.push_back({5, 7, 2});
    list.push_back(odd);
    return list;
}

void write(const std::filesystem::path& file, const std::string& bytes)
{
    std::ofstream out(file, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <directory>\n", argv[0]);
        return 2;
    }
    const std::filesystem::path root = argv[1];
    // Operation bytes: a fixed walk through all choices.
    std::string tail;
    for (int i = 0; i < 192; ++i) tail += static_cast<char>((i * 37 + 11) % 256);

    struct target {
        const char* name;
        std::size_t max_vertices, max_triangles;
    };
    const target targets[] = {{"whole_surface", 48, 96}, {"edits", 24, 48}, {"cache", 32, 80}, {"repair", 48, 96}};
    std::size_t written = 0;
    for (const auto& t : targets) {
        std::filesystem::create_directories(root / t.name);
        std::size_t n = 0;
        for (const auto& s : small_surfaces()) {
            const std::string bytes = encode(s, t.max_vertices, t.max_triangles);
            if (bytes.empty()) continue;
            write(root / t.name / ("seed_" + std::to_string(n++)), bytes + tail);
        }
        written += n;
    }
    std::filesystem::create_directories(root / "construction");
    std::size_t n = 0;
    for (const auto& s : small_surfaces()) {
        const std::string bytes = encode_construction(s);
        if (!bytes.empty()) write(root / "construction" / ("seed_" + std::to_string(n++)), bytes);
    }
    written += n;
    std::printf("%zu seeds in %s\n", written, root.c_str());
    return 0;
}
