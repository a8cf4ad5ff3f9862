#pragma once
// Internal pieces of the angle-limited growth of a selection: the hash of an
// undirected edge and the table from edges to the triangles that have them.

#include <cstddef>
#include <utility>
#include <vector>

#include <oneapi/tbb/concurrent_hash_map.h>
#include <oneapi/tbb/tbb_allocator.h>

#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry::detail {

/// Hash and equality of an edge key (first, second), first <= second.
/// The hash is (first << 16) + second with wrap-around and no further mixing:
/// the table's mask takes its low bits, so neighbouring vertex indices land in
/// neighbouring buckets.
struct TwoSizeTHashCompare {
    static std::size_t hash(const std::pair<std::size_t, std::size_t>& key) noexcept
    {
        return (key.first << 16) + key.second;
    }
    static bool equal(const std::pair<std::size_t, std::size_t>& a,
                      const std::pair<std::size_t, std::size_t>& b) noexcept
    {
        return a.first == b.first && a.second == b.second;
    }
};

using edge_key = std::pair<std::size_t, std::size_t>;

/// From each undirected edge to the triangles that have it, in order of arrival.
using edge_triangle_map =
    oneapi::tbb::concurrent_hash_map<edge_key, std::vector<std::size_t>, TwoSizeTHashCompare,
                                     oneapi::tbb::tbb_allocator<std::pair<const edge_key, std::vector<std::size_t>>>>;

/// The unit normal of every triangle, in parallel.
std::vector<point<double, 3>> unit_normals(const triangle_surface& surface);

/// Enters every triangle under its three edges, in parallel. A triangle with a
/// repeated corner stands twice under the edge it repeats. The order of each
/// list depends on scheduling.
void collect_edges(const triangle_surface& surface, edge_triangle_map& edge_triangles);

/// For each triangle, the number of marked triangles across its edges whose
/// two normals have a dot product of at least `limit`; only the first two
/// triangles of an edge's list take part.
std::vector<unsigned char> smooth_marked_neighbour_counts(const edge_triangle_map& edge_triangles,
                                                          const std::vector<point<double, 3>>& normals,
                                                          const std::vector<unsigned char>& marks, double limit);

}  // namespace Zelkov::Geometry::detail
