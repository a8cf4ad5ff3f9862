#pragma once
// Small helpers for the tests of the local edits.

#include <cstddef>
#include <vector>

#include <geometry/connectivity.h>
#include <geometry/edits.h>

#include "support/fixtures.h"

namespace Zelkov::Testing {

using ids = std::vector<std::size_t>;

/// The map entries as plain vectors, for whole-map comparisons with readable failures.
inline std::vector<ids> entries(const vertex_to_triangles_map& map)
{
    std::vector<ids> out;
    for (const auto& set : map) out.emplace_back(set.begin(), set.end());
    return out;
}

/// A surface of the given triangles over `count` points on the x axis.
inline triangle_surface on_line(std::size_t count, std::vector<tri> triangles)
{
    triangle_surface s;
    for (std::size_t i = 0; i < count; ++i) s.vertices.push_back({static_cast<double>(i), 0.0, 0.0});
    s.triangles = std::move(triangles);
    return s;
}

}  // namespace Zelkov::Testing
