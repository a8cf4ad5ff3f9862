#include <geometry/connectivity.h>

#include <algorithm>
#include <iterator>

#include <oneapi/tbb/info.h>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>

#include "connectivity/triangle_buckets.h"

namespace Zelkov::Geometry {

namespace detail {

namespace {

std::size_t chosen_bucket_count(std::size_t n)
{
    const auto concurrency = static_cast<std::size_t>(std::max(oneapi::tbb::this_task_arena::max_concurrency(), 1));
    return std::min(std::max<std::size_t>(n / 10, 1), concurrency) + 1;
}

std::size_t largest_index_plus_one(const std::array<std::size_t, 3>& t) noexcept
{
    return std::max(std::max(t[0], t[1]), t[2]) + 1;
}

/// Sorted unique insertion. Within a bucket the triangles arrive in ascending
/// order, so the common case is an append, taken without a search.
void insert_ascending(boost::container::flat_set<std::size_t>& set, std::size_t t)
{
    auto& sequence = set.get_sequence_ref();
    if (sequence.empty() || sequence.back() < t) sequence.push_back(t);
    else set.insert(t);
}

}  // namespace

std::vector<std::vector<std::size_t>> assign_triangle_buckets(const_span_triangles triangles, std::size_t& bucket_count,
                                                              std::size_t& vertex_count)
{
    const std::size_t n = triangles.size;
    if (bucket_count == 0) bucket_count = chosen_bucket_count(n);
    const std::size_t bucket_capacity = n / bucket_count + 1;
    const std::size_t last = bucket_count - 1;
    vertex_count = 0;

    // bucket_owner[v] <= k: a parallel bucket before k has claimed v.
    // bucket_count stands for "unclaimed"; k + 1 for "claimed by bucket k".
    std::vector<std::size_t> bucket_owner;
    bucket_owner.reserve(n);
    std::vector<std::vector<std::size_t>> buckets(bucket_count);
    for (auto& bucket : buckets) bucket.reserve(bucket_capacity);

    std::size_t i = 0;
    for (std::size_t k = 0; k < last; ++k) {
        auto& bucket = buckets[k];
        for (; bucket.size() < bucket_capacity && i < n; ++i) {
            const auto& t = triangles.data[i];
            vertex_count = std::max(vertex_count, largest_index_plus_one(t));
            if (bucket_owner.size() < vertex_count) bucket_owner.resize(vertex_count, bucket_count);
            if (bucket_owner[t[0]] > k && bucket_owner[t[1]] > k && bucket_owner[t[2]] > k) {
                bucket.push_back(i);
                bucket_owner[t[0]] = bucket_owner[t[1]] = bucket_owner[t[2]] = k + 1;
            } else {
                buckets[last].push_back(i);
            }
        }
    }
    for (; i < n; ++i) {
        vertex_count = std::max(vertex_count, largest_index_plus_one(triangles.data[i]));
        buckets[last].push_back(i);
    }
    return buckets;
}

std::vector<std::uint32_t> corner_counts(const_span_triangles triangles, std::size_t vertex_count)
{
    std::vector<std::uint32_t> counts(vertex_count, 0);
    for (std::size_t t = 0; t < triangles.size; ++t)
        for (const std::size_t corner : triangles.data[t]) ++counts[corner];
    return counts;
}

void fill_bucket(std::size_t b, const std::vector<std::vector<std::size_t>>& triangle_buckets,
                 const_span_triangles triangles, const std::vector<std::uint32_t>& capacity_hint,
                 vertex_to_triangles_map& map)
{
    // On a large surface nearly every corner misses the cache twice: once for
    // its set and once for the set's storage, which hangs off the set. Both are
    // fetched ahead, the set `reach` triangles and its storage `reach / 2`
    // triangles before they are needed, so that the misses overlap.
    constexpr std::size_t reach = 16;
    const auto& bucket = triangle_buckets[b];
    const std::size_t n = bucket.size();
    for (std::size_t i = 0; i < n; ++i) {
        if (i + reach < n)
            for (const std::size_t corner : triangles.data[bucket[i + reach]]) {
                __builtin_prefetch(&map[corner], 1);
                __builtin_prefetch(&capacity_hint[corner]);
            }
        if (i + reach / 2 < n)
            for (const std::size_t corner : triangles.data[bucket[i + reach / 2]]) {
                const auto& set = map[corner];
                if (!set.empty()) __builtin_prefetch(&*std::prev(set.end()), 1);
            }
        const std::size_t t = bucket[i];
        for (const std::size_t corner : triangles.data[t]) {
            auto& set = map[corner];
            // The first toucher of a set is its only writer at that time, so it
            // may size it once for all the triangles still to come.
            if (set.capacity() == 0) set.reserve(capacity_hint[corner]);
            insert_ascending(set, t);
        }
    }
}

}  // namespace detail

vertex_to_triangles_map get_vertex_to_triangles_map(const_span_triangles triangles)
{
    std::size_t bucket_count = 0;
    std::size_t vertex_count = 0;
    const auto buckets = detail::assign_triangle_buckets(triangles, bucket_count, vertex_count);

    const auto capacity_hint = detail::corner_counts(triangles, vertex_count);
    // Never resized after this point, so the tasks may hold on to its sets.
    vertex_to_triangles_map map(vertex_count);
    oneapi::tbb::task_group group;
    for (std::size_t b = 0; b + 1 < bucket_count; ++b)
        group.run([b, &buckets, triangles, &capacity_hint, &map] {
            detail::fill_bucket(b, buckets, triangles, capacity_hint, map);
        });
    group.wait();
    // The last bucket shares vertices with the parallel ones: strictly after the wait.
    detail::fill_bucket(bucket_count - 1, buckets, triangles, capacity_hint, map);
    return map;
}

vertex_to_triangles_map get_vertex_to_triangles_map(const triangle_surface& surface)
{
    auto map = get_vertex_to_triangles_map(const_span_triangles{surface.triangles.data(), surface.triangles.size()});
    if (map.size() < surface.vertices.size()) map.resize(surface.vertices.size());
    return map;
}

bool check_vertex_to_triangles_map(const triangle_surface& surface, const vertex_to_triangles_map& map)
{
    const auto fresh = get_vertex_to_triangles_map(surface);
    if (fresh.size() != map.size()) return false;
    for (std::size_t v = 0; v < fresh.size(); ++v) {
        if (fresh[v].size() != map[v].size()) return false;
        if (!std::equal(fresh[v].begin(), fresh[v].end(), map[v].begin())) return false;
    }
    return true;
}

}  // namespace Zelkov::Geometry
