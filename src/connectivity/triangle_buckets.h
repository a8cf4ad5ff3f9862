#pragma once
// Internal steps of the vertex-to-triangles map build: the serial dealing of
// triangles into vertex-disjoint buckets and the filling of one bucket.

#include <cstddef>
#include <cstdint>
#include <vector>

#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry::detail {

/// Deals the triangles into buckets. Buckets 0 .. bucket_count-2 ("parallel"
/// buckets) name pairwise disjoint sets of vertices; the last bucket takes the
/// triangles refused by them and every triangle after the parallel buckets are
/// full. Every list is ascending and every triangle stands in exactly one.
///
/// \param bucket_count 0 asks for min(max(n/10, 1), max(P, 1)) + 1 buckets,
/// P being the concurrency of the current arena; on return, the count used.
/// \param vertex_count on return, largest named index + 1 (0 without triangles).
std::vector<std::vector<std::size_t>> assign_triangle_buckets(const_span_triangles triangles, std::size_t& bucket_count,
                                                              std::size_t& vertex_count);

/// For each vertex below `vertex_count`, how many corners name it: an upper
/// bound of its set's size (a repeated corner counts twice). Used only to size
/// the sets; a count that wraps merely costs a reallocation.
std::vector<std::uint32_t> corner_counts(const_span_triangles triangles, std::size_t vertex_count);

/// Inserts each triangle of bucket `b`, in list order, into the sets of its
/// corners 0, 1, 2 (binary search, nothing inserted twice). Writes only the
/// sets of vertices that bucket `b` names; a set still without storage is
/// first given room for `capacity_hint` of its vertex.
void fill_bucket(std::size_t b, const std::vector<std::vector<std::size_t>>& triangle_buckets,
                 const_span_triangles triangles, const std::vector<std::uint32_t>& capacity_hint,
                 vertex_to_triangles_map& map);

}  // namespace Zelkov::Geometry::detail
