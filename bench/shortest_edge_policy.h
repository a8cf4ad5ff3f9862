#pragma once
// The collapse policy that the benchmarks run with the neighbourhood cache and
// that the peer benchmark replays with every library: shortest edge first,
// midpoint placement, and an edge taken only when its ends share exactly two
// neighbours and both have more than three, so a closed surface stays a
// manifold and every collapse takes the plain path.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <queue>
#include <vector>

#include <geometry/neighbourhood_cache.h>

namespace Zelkov::Bench {

using Zelkov::Geometry::neighbourhood_cache;
using Zelkov::Geometry::triangle_surface;

/// One collapse: the edge as the cache names it, and the two ends.
struct collapse_step {
    std::size_t triangle;
    std::uint32_t edge_code;
    std::size_t kept;
    std::size_t removed;
};

struct queued_edge {
    double length_sqr;
    std::size_t triangle;
    std::uint32_t edge;
    std::size_t from, to;
    bool operator>(const queued_edge& other) const { return length_sqr > other.length_sqr; }
};

/// Runs the policy on `surface` through `cache` until a target is reached.
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

}  // namespace Zelkov::Bench
