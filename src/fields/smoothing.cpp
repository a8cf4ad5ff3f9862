#include <geometry/fields.h>

#include <algorithm>

#include <geometry/connectivity.h>

#include "fields/vertex_loop.h"

namespace Zelkov::Geometry {

std::vector<double> smooth_scalar_field(const triangle_surface& surface, std::vector<double> field,
                                        const vertex_to_triangles_map& map, std::size_t iterations)
{
    const std::size_t count = surface.vertices.size();
    std::vector<std::vector<std::size_t>> ring_lists(count);
    detail::for_each_vertex(count,
                            [&](std::size_t v) { ring_lists[v] = one_ring_vertices_from_vertex(v, surface, map); });

    std::vector<double> next_field;
    for (std::size_t iteration = 0; iteration < iterations; ++iteration) {
        // The whole buffer is cleared, so values past the vertex count end at
        // 0.0. The bodies below overwrite every value below the count, so only
        // the tail needs the zeros written: the result is the same.
        next_field.resize(field.size());
        std::fill(next_field.begin() + static_cast<std::ptrdiff_t>(std::min(count, field.size())), next_field.end(),
                  0.0);
        detail::for_each_vertex(count, [&](std::size_t v) {
            double sum = field[v];
            for (const std::size_t n : ring_lists[v]) sum += field[n];
            next_field[v] = sum / static_cast<double>(1 + ring_lists[v].size());
        });
        // Copied, not swapped: `field` keeps the previous pass while bodies
        // read it. The copy is split over the threads like the pass (the
        // loop is the fields' vertex loop, over the buffer's length).
        detail::for_each_vertex(next_field.size(), [&](std::size_t v) { field[v] = next_field[v]; });
    }
    return field;
}

}  // namespace Zelkov::Geometry
