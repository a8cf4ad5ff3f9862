#include "support/fixtures.h"

#include <algorithm>
#include <filesystem>

namespace Zelkov::Testing {

vertex_to_triangles_map brute_force_map(const std::vector<tri>& triangles, std::size_t vertex_count)
{
    for (const auto& t : triangles) vertex_count = std::max(vertex_count, *std::max_element(t.begin(), t.end()) + 1);
    vertex_to_triangles_map map(vertex_count);
    for (std::size_t t = 0; t < triangles.size(); ++t)
        for (const std::size_t v : triangles[t]) map[v].insert(t);
    return map;
}

std::string shared_mesh_or_skip(const std::string& name)
{
    const std::string dir = Zelkov::Meshgen::shared_mesh_dir();
    if (dir.empty()) return {};
    const std::string path = dir + "/" + name;
    return std::filesystem::exists(path) ? path : std::string();
}

}  // namespace Zelkov::Testing
