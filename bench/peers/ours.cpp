// Our side of every pairing, and the collapse policy that all libraries replay.

#include <algorithm>
#include <iterator>
#include <queue>

#include <geometry/trimesh.h>

#include "peers.h"
#include "../shortest_edge_policy.h"
#include <processing/simplify.h>

namespace Zelkov::Peers {

using namespace Zelkov::Geometry;
using Zelkov::Bench::shortest_edge_policy;

namespace {

std::size_t total_size(const std::vector<std::vector<std::size_t>>& lists)
{
    std::size_t n = 0;
    for (const auto& list : lists) n += list.size();
    return n;
}

}  // namespace

std::vector<collapse_step> make_collapse_sequence(const triangle_surface& surface, std::size_t target)
{
    auto copy = surface;
    neighbourhood_cache cache(copy, {});
    shortest_edge_policy policy(copy, cache);
    return policy.run(target);
}

std::size_t ours_map(const bench_input& in, stopwatch& sw)
{
    sw.start();
    const auto map = get_vertex_to_triangles_map(in.surface);
    sw.stop();
    return map.size();
}

std::size_t ours_cache(const bench_input& in, stopwatch& sw)
{
    auto surface = in.surface;  // the cache keeps a reference; contents are only read
    sw.start();
    const neighbourhood_cache cache(surface, {});
    sw.stop();
    return cache.vertex_triangle_sets.size();
}

std::size_t ours_collapse(const bench_input& in, stopwatch& sw)
{
    auto surface = in.surface;
    neighbourhood_cache cache(surface, {});
    std::size_t sum = 0;
    sw.start();
    for (const auto& step : in.collapses) sum += cache.collapse_edge({step.triangle, step.edge_code});
    sw.stop();
    return in.collapses.size() + (sum == 0 ? 1 : 0);
}

std::size_t ours_collapse_prefetched(const bench_input& in, stopwatch& sw)
{
    auto surface = in.surface;
    neighbourhood_cache cache(surface, {});
    const auto& steps = in.collapses;
    constexpr std::size_t ahead = 4;
    std::size_t sum = 0;
    sw.start();
    for (std::size_t i = 0; i < steps.size(); ++i) {
        // A caller that knows its next collapses asks for their first rows early.
        if (i + ahead < steps.size()) {
            const auto& next = steps[i + ahead];
            __builtin_prefetch(&surface.triangles[next.triangle]);
            __builtin_prefetch(&cache.triangle_neighbours[next.triangle]);
            __builtin_prefetch(&cache.vertex_corners[next.kept]);
            __builtin_prefetch(&cache.vertex_corners[next.removed]);
        }
        sum += cache.collapse_edge({steps[i].triangle, steps[i].edge_code});
    }
    sw.stop();
    return steps.size() + (sum == 0 ? 1 : 0);
}

std::size_t ours_collapse_with_link_test(const bench_input& in, stopwatch& sw)
{
    auto surface = in.surface;
    neighbourhood_cache cache(surface, {});
    shortest_edge_policy policy(surface, cache);  // its queue is built untimed and not used
    std::size_t done = 0;
    sw.start();
    for (const auto& step : in.collapses)
        if (policy.link_condition(step.kept, step.removed)) {
            cache.collapse_edge({step.triangle, step.edge_code});
            ++done;
        }
    sw.stop();
    return done;
}

std::size_t ours_compaction(const bench_input& in, stopwatch& sw)
{
    auto surface = in.surface;
    neighbourhood_cache cache(surface, {});
    for (const auto& step : in.collapses) cache.collapse_edge({step.triangle, step.edge_code});
    sw.start();
    cache.remove_invalid_triangles();
    sw.stop();
    return surface.triangles.size();
}

std::size_t ours_compaction_and_free_points(const bench_input& in, stopwatch& sw)
{
    auto surface = in.surface;
    neighbourhood_cache cache(surface, {});
    for (const auto& step : in.collapses) cache.collapse_edge({step.triangle, step.edge_code});
    sw.start();
    cache.remove_invalid_triangles();
    remove_free_points(surface);
    sw.stop();
    return surface.vertices.size();
}

std::size_t ours_unique(const bench_input& in, stopwatch& sw)
{
    auto surface = in.surface;
    sw.start();
    unique(surface, false);
    sw.stop();
    return surface.vertices.size() * 1'000'000'000ULL + surface.triangles.size();
}

std::size_t ours_unique_vertices(const bench_input& in, stopwatch& sw)
{
    auto surface = in.surface;
    sw.start();
    unique_vertices(surface);
    sw.stop();
    return surface.vertices.size();
}

std::size_t ours_neighbours_with_build(const bench_input& in, stopwatch& sw)
{
    sw.start();
    const auto lists = triangle_neighbour_indices(in.surface);
    sw.stop();
    return total_size(lists);
}

std::size_t ours_neighbours(const bench_input& in, stopwatch& sw)
{
    const auto map = get_vertex_to_triangles_map(in.surface);
    sw.start();
    const auto lists = triangle_neighbour_indices(in.surface, map);
    sw.stop();
    return total_size(lists);
}

std::size_t ours_sharp_edges(const bench_input& in, stopwatch& sw)
{
    sw.start();
    const auto sharp = is_sharp_edge(in.surface, sharp_angle_degrees, false);
    sw.stop();
    std::size_t count = 0;
    for (int k = 0; k < sharp.outerSize(); ++k)
        for (decltype(sharp)::InnerIterator it(sharp, k); it; ++it)
            if (it.row() < it.col() && it.value() == 1.0) ++count;
    return count;
}

std::size_t ours_curvature_with_build(const bench_input& in, stopwatch& sw)
{
    sw.start();
    const auto field = curvature(in.surface);
    sw.stop();
    return field.size();
}

std::size_t ours_curvature(const bench_input& in, stopwatch& sw)
{
    const auto map = get_vertex_to_triangles_map(in.surface);
    sw.start();
    const auto field = curvature(in.surface, map);
    sw.stop();
    return field.size();
}

namespace {
std::vector<double> height_field(const triangle_surface& surface)
{
    std::vector<double> field(surface.vertices.size());
    for (std::size_t v = 0; v < field.size(); ++v) field[v] = surface.vertices[v].z;
    return field;
}
}  // namespace

std::size_t ours_smooth_with_build(const bench_input& in, stopwatch& sw)
{
    auto field = height_field(in.surface);
    sw.start();
    const auto map = get_vertex_to_triangles_map(in.surface);
    field = smooth_scalar_field(in.surface, std::move(field), map, smoothing_iterations);
    sw.stop();
    return field.size();
}

std::size_t ours_smooth(const bench_input& in, stopwatch& sw)
{
    auto field = height_field(in.surface);
    const auto map = get_vertex_to_triangles_map(in.surface);
    sw.start();
    field = smooth_scalar_field(in.surface, std::move(field), map, smoothing_iterations);
    sw.stop();
    return field.size();
}

std::size_t ours_measures(const bench_input& in, stopwatch& sw)
{
    sw.start();
    const double a = area(in.surface);
    const double v = volume(in.surface);
    const auto c = barycenter(in.surface);
    sw.stop();
    return static_cast<std::size_t>(a + v + c.x + c.y + c.z != 0.0);
}

std::size_t ours_simplify(const bench_input& in, stopwatch& sw)
{
    auto surface = in.surface;
    Zelkov::Processing::collapse_options options;
    options.target_triangles = simplify_target(in);
    sw.start();
    Zelkov::Processing::collapse_by_quadrics(surface, options);
    remove_free_points(surface);
    sw.stop();
    const std::size_t triangles = surface.triangles.size();
    if (in.simplified != nullptr) *in.simplified = std::move(surface);
    return triangles;
}

}  // namespace Zelkov::Peers
