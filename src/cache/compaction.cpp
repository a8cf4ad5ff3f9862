#include <geometry/neighbourhood_cache.h>

#include <algorithm>

namespace Zelkov::Geometry {

std::size_t neighbourhood_cache::remove_invalid_triangles()
{
    // The compaction changes the triangle indices on which every link rests.
    vertex_corners.clear();
    triangle_neighbours.clear();

    auto& triangles = surface.triangles;
    const std::size_t count = triangles.size();
    const auto live_end = std::remove_if(triangles.begin(), triangles.end(),
                                         [](const std::array<std::size_t, 3>& t) { return t[0] == SIZE_MAX; });
    triangles.resize(static_cast<std::size_t>(live_end - triangles.begin()));
    return count - triangles.size();
}

}  // namespace Zelkov::Geometry
