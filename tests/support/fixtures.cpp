#include "support/fixtures.h"

#include <algorithm>
#include <filesystem>
#include <random>

namespace Zelkov::Testing {

vertex_to_triangles_map brute_force_map(const std::vector<tri>& triangles, std::size_t vertex_count)
{
    for (const auto& t : triangles) vertex_count = std::max(vertex_count, *std::max_element(t.begin(), t.end()) + 1);
    vertex_to_triangles_map map(vertex_count);
    for (std::size_t t = 0; t < triangles.size(); ++t)
        for (const std::size_t v : triangles[t]) map[v].insert(t);
    return map;
}

std::vector<tri> random_triangles(std::size_t n, std::size_t range, std::uint64_t seed, bool distinct_corners)
{
    std::mt19937_64 random(seed);
    std::vector<tri> triangles(n);
    for (auto& t : triangles) do {
            for (auto& v : t) v = random() % range;
        } while (distinct_corners && (t[0] == t[1] || t[1] == t[2] || t[2] == t[0]));
    return triangles;
}

std::map<std::pair<std::size_t, std::size_t>, std::size_t> sides_per_edge(const triangle_surface& s)
{
    std::map<std::pair<std::size_t, std::size_t>, std::size_t> count;
    for (const auto& t : s.triangles)
        for (std::size_t c = 0; c < 3; ++c) ++count[std::minmax(t[c], t[(c + 1) % 3])];
    return count;
}

std::size_t most_sides_on_an_edge(const triangle_surface& s)
{
    std::size_t most = 0;
    for (const auto& [edge, n] : sides_per_edge(s)) most = std::max(most, n);
    return most;
}

std::string shared_mesh_or_skip(const std::string& name)
{
    const std::string dir = Zelkov::Meshgen::shared_mesh_dir();
    if (dir.empty()) return {};
    const std::string path = dir + "/" + name;
    return std::filesystem::exists(path) ? path : std::string();
}

}  // namespace Zelkov::Testing
