// Our side of every pairing, and the collapse policy that all libraries replay.

#include <algorithm>
#include <iterator>
#include <queue>

#include <geometry/trimesh.h>

#include "peers.h"

namespace Zelkov::Peers {

using namespace Zelkov::Geometry;

namespace {

std::size_t total_size(const std::vector<std::vector<std::size_t>>& lists)
{
    std::size_t n = 0;
    for (const auto& list : lists) n += list.size();
    return n;
}

struct queued_edge {
    double length_sqr;
    std::size_t triangle;
    std::uint32_t edge;
    std::size_t from, to;
    bool operator>(const queued_edge& other) const { return length_sqr > other.length_sqr; }
};

/// The shared collapse policy, run with our cache (see peers.h).
class shortest_edge_policy {
public:
    shortest_edge_policy(triangle_surface& surface, neighbourhood_cache& cache) : surface_(surface), cache_(cache)
    {
        for (std::size_t t = 0; t < surface.triangles.size(); ++t)
            for (std::uint32_t e = 0; e < 3; ++e)
                if (surface.triangles[t][e] < surface.triangles[t][(e + 1) % 3]) push(t, e);
    }

    std::vector<collapse_step> run(std::size_t target)
    {
        std::vector<collapse_step> done;
        std::size_t live = surface_.triangles.size();
        while (live > target && !queue_.empty()) {
            const queued_edge c = queue_.top();
            queue_.pop();
            if (!current(c) || !link_condition(c.from, c.to)) continue;
            const neighbourhood_cache::triangle_edge edge{c.triangle, c.edge * 2};
            const std::size_t kept = cache_.collapse_edge(edge);
            done.push_back({c.triangle, c.edge * 2, kept, c.to});
            live -= 2;
            auto& p = surface_.vertices[kept];
            const auto& q = surface_.vertices[c.to];
            p = {(p.x + q.x) / 2, (p.y + q.y) / 2, (p.z + q.z) / 2};
            star_.clear();
            cache_.append_vertex_triangles(kept, star_);
            for (const std::size_t t : star_)
                for (std::uint32_t e = 0; e < 3; ++e)
                    if (surface_.triangles[t][e] == kept) push(t, e);
        }
        return done;
    }

    /// The ends share exactly two neighbours and each has more than three.
    bool link_condition(std::size_t a, std::size_t b)
    {
        ring(a, ring_a_);
        ring(b, ring_b_);
        common_.clear();
        std::set_intersection(ring_a_.begin(), ring_a_.end(), ring_b_.begin(), ring_b_.end(),
                              std::back_inserter(common_));
        return common_.size() == 2 && ring_a_.size() > 3 && ring_b_.size() > 3;
    }

private:
    double length_sqr(std::size_t a, std::size_t b) const
    {
        const auto& p = surface_.vertices[a];
        const auto& q = surface_.vertices[b];
        return (p.x - q.x) * (p.x - q.x) + (p.y - q.y) * (p.y - q.y) + (p.z - q.z) * (p.z - q.z);
    }

    void push(std::size_t t, std::uint32_t e)
    {
        const std::size_t a = surface_.triangles[t][e], b = surface_.triangles[t][(e + 1) % 3];
        queue_.push({length_sqr(a, b), t, e, a, b});
    }

    bool current(const queued_edge& c) const
    {
        const auto& t = surface_.triangles[c.triangle];
        return t[0] != SIZE_MAX && t[c.edge] == c.from && t[(c.edge + 1) % 3] == c.to &&
               length_sqr(c.from, c.to) == c.length_sqr;
    }

    void ring(std::size_t v, std::vector<std::size_t>& out)
    {
        star_.clear();
        cache_.append_vertex_triangles(v, star_);
        out.clear();
        for (const std::size_t t : star_)
            for (const std::size_t w : surface_.triangles[t])
                if (w != v) out.push_back(w);
        std::sort(out.begin(), out.end());
        out.erase(std::unique(out.begin(), out.end()), out.end());
    }

    triangle_surface& surface_;
    neighbourhood_cache& cache_;
    std::priority_queue<queued_edge, std::vector<queued_edge>, std::greater<>> queue_;
    std::vector<std::size_t> star_, ring_a_, ring_b_, common_;
};

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

}  // namespace Zelkov::Peers
