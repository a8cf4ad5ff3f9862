#include <geometry/fields.h>

#include <algorithm>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>


#include <geometry/connectivity.h>

#include "fields/vertex_loop.h"

namespace Zelkov::Geometry {

namespace {

void copy_in_parallel(const std::vector<double>& from, std::vector<double>& to)
{
    oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, from.size(), 1 << 14),
                              [&](const oneapi::tbb::blocked_range<std::size_t>& r) {
                                  std::copy(from.begin() + static_cast<std::ptrdiff_t>(r.begin()),
                                            from.begin() + static_cast<std::ptrdiff_t>(r.end()),
                                            to.begin() + static_cast<std::ptrdiff_t>(r.begin()));
                              });
}

}  // namespace

std::vector<double> smooth_scalar_field(const triangle_surface& surface, std::vector<double> field,
                                        const vertex_to_triangles_map& map, std::size_t iterations)
{
    const std::size_t count = surface.vertices.size();
    std::vector<std::vector<std::size_t>> ring_lists(count);
    detail::for_each_vertex(count, [&](std::size_t v) { ring_lists[v] = one_ring_vertices_from_vertex(v, surface, map); });

    std::vector<double> next_field;
    for (std::size_t iteration = 0; iteration < iterations; ++iteration) {
        // The whole buffer is cleared, so values past the vertex count end at
        // 0.0. The bodies below overwrite every value below the count, so only
        // the tail needs the zeros written: the result is the same.
        next_field.resize(field.size());
        std::fill(next_field.begin() + static_cast<std::ptrdiff_t>(std::min(count, field.size())), next_field.end(), 0.0);
        detail::for_each_vertex(count, [&](std::size_t v) {
            double sum = field[v];
            for (const std::size_t n : ring_lists[v]) sum += field[n];
            next_field[v] = sum / static_cast<double>(1 + ring_lists[v].size());
        });
        // Copied, not swapped: `field` keeps the previous pass while bodies
        // read it. The copy is split over the threads like the pass.
        copy_in_parallel(next_field, field);
    }
    return field;
}

}  // namespace Zelkov::Geometry
