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

struct target {
    std::string name;
    std::size_t max_vertices, max_triangles;
};

/// A surface as the target reads it; empty when it does not fit. The
/// construction target reads counts, null flags, points and near-range
/// indices; the others read `input::surface`.
std::string encode(const triangle_surface& s, const target& t)
{
    if (s.vertices.empty() || s.vertices.size() > t.max_vertices || s.triangles.size() > t.max_triangles) return {};
    const bool construction = t.name == "construction";
    std::string bytes{static_cast<char>(s.vertices.size() - (construction ? 0 : 1)),
                      static_cast<char>(s.triangles.size())};
    if (construction) bytes += '\0';  // no null spans
    for (const auto& p : s.vertices)
        for (const double x : {p.x, p.y, p.z})  // the palette byte nearest to x: quarter steps in [-2, 2)
            bytes += static_cast<char>(std::clamp(std::round((x + 2.0) * 4.0), 0.0, 15.0));
    for (const auto& triangle : s.triangles)
        for (const std::size_t c : triangle) {
            if (construction) bytes += '\0';  // an index near the vertex count
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

    const target targets[] = {
        {"whole_surface", 48, 96}, {"edits", 24, 48}, {"cache", 32, 80}, {"repair", 48, 96}, {"construction", 39, 39}};
    std::size_t written = 0;
    for (const auto& t : targets) {
        std::filesystem::create_directories(root / t.name);
        std::size_t n = 0;
        for (const auto& s : small_surfaces()) {
            const std::string bytes = encode(s, t);
            if (bytes.empty()) continue;
            std::ofstream(root / t.name / ("seed_" + std::to_string(n++)), std::ios::binary)
                << bytes << (t.name == "construction" ? "" : tail);
        }
        written += n;
    }
    std::printf("%zu seeds in %s\n", written, root.c_str());
    return 0;
}
