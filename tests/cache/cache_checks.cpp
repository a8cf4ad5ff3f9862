#include "cache/cache_checks.h"

#include <algorithm>
#include <map>

namespace Zelkov::Testing {

namespace det = Zelkov::Geometry::detail;

std::function<void(std::size_t, std::size_t, bool)> report_log::callback()
{
    return [this](std::size_t t, std::size_t e, bool boundary) {
        const std::lock_guard<std::mutex> lock(mutex_);
        reports_.emplace_back(t, e, boundary);
    };
}

std::vector<edge_report> report_log::sorted() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    auto reports = reports_;
    std::sort(reports.begin(), reports.end());
    return reports;
}

neighbourhood_cache build_cache(triangle_surface& surface, link_width width,
                                std::function<void(std::size_t, std::size_t, bool)> callback)
{
    return det::neighbourhood_cache_access::build(surface, std::move(callback), width);
}

cache_state state_of(const neighbourhood_cache& cache)
{
    cache_state state{cache.no_triangle, cache.vertex_corners, {}, {}};
    state.neighbours.assign(cache.triangle_neighbours.begin(), cache.triangle_neighbours.end() - 1);
    for (auto& r : state.neighbours)
        for (auto& entry : r)
            if (det::neighbour_of(entry) == cache.no_triangle) entry &= ~std::size_t{1};
    state.sets.assign(cache.vertex_triangle_sets.begin(), cache.vertex_triangle_sets.end());
    return state;
}

std::vector<std::array<std::size_t, 3>> expected_neighbours(const std::vector<std::array<std::size_t, 3>>& triangles)
{
    const std::size_t count = triangles.size();
    std::map<std::pair<std::size_t, std::size_t>, std::vector<std::size_t>> edges;  // t * 3 + e
    for (std::size_t t = 0; t < count; ++t)
        for (std::size_t e = 0; e < 3; ++e) {
            const std::size_t a = triangles[t][e], b = triangles[t][(e + 1) % 3];
            edges[{std::min(a, b), std::max(a, b)}].push_back(t * 3 + e);
        }
    std::vector<std::array<std::size_t, 3>> rows(count);
    for (const auto& [key, users] : edges)
        for (const std::size_t user : users) {
            std::size_t& entry = rows[user / 3][user % 3];
            entry = count * 8;
            if (users.size() != 2) continue;
            const std::size_t other = users[0] == user ? users[1] : users[0];
            const std::size_t t = other / 3, e = other % 3;
            const bool same_direction = triangles[user / 3][user % 3] == triangles[t][e];
            entry = t * 8 + e * 2 + (same_direction ? 1 : 0);
        }
    return rows;
}

std::vector<std::array<std::size_t, 3>> live_rows(const triangle_surface& surface)
{
    std::vector<std::array<std::size_t, 3>> rows;
    for (const auto& t : surface.triangles)
        if (t[0] != SIZE_MAX) rows.push_back(t);
    return rows;
}

std::vector<std::size_t> around(const neighbourhood_cache& cache, std::size_t v)
{
    std::vector<std::size_t> out;
    cache.append_vertex_triangles(v, out);
    return out;
}

namespace {

bool is_live(const triangle_surface& surface, std::size_t t) { return surface.triangles[t][0] != SIZE_MAX; }

testing::AssertionResult links_in_step(const neighbourhood_cache& cache)
{
    const auto& triangles = cache.surface.triangles;
    const std::size_t no_triangle = cache.no_triangle;
    for (std::size_t u = 0; u < triangles.size(); ++u) {
        if (!is_live(cache.surface, u)) continue;
        const auto& tu = triangles[u];
        if (tu[0] == tu[1] || tu[1] == tu[2] || tu[2] == tu[0])
            return testing::AssertionFailure() << "live triangle " << u << " repeats a vertex";
        for (std::size_t e = 0; e < 3; ++e) {
            const std::size_t entry = cache.triangle_neighbours[u][e];
            const std::size_t n = det::neighbour_of(entry), ne = det::edge_of(entry);
            if (n == no_triangle) continue;
            if (n > no_triangle || !is_live(cache.surface, n) || ne > 2)
                return testing::AssertionFailure() << "edge " << e << " of " << u << " names " << n << "/" << ne;
            if (cache.triangle_neighbours[n][ne] != u * 8 + e * 2 + det::flip_of(entry))
                return testing::AssertionFailure() << "edge " << e << " of " << u << " is not mutual";
            const std::size_t a = tu[e], b = tu[(e + 1) % 3];
            const std::size_t c = triangles[n][ne], d = triangles[n][(ne + 1) % 3];
            const bool joins = det::flip_of(entry) ? (a == c && b == d) : (a == d && b == c);
            if (!joins) return testing::AssertionFailure() << "edge " << e << " of " << u << " joins another pair";
        }
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult stars_in_step(const neighbourhood_cache& cache)
{
    const auto& triangles = cache.surface.triangles;
    std::vector<std::vector<std::size_t>> stars(cache.vertex_corners.size());
    for (std::size_t u = 0; u < triangles.size(); ++u)
        if (is_live(cache.surface, u))
            for (const std::size_t v : triangles[u]) stars[v].push_back(u);
    for (std::size_t v = 0; v < stars.size(); ++v) {
        const std::size_t entry = cache.vertex_corners[v];
        if (stars[v].empty()) {
            // A vertex that has lost its last triangle may be left naming the
            // spare row, or with an emptied set; it is not walked.
            const bool spare = det::is_corner_entry(entry) && det::entry_triangle(entry) == cache.no_triangle;
            const bool emptied =
                det::is_set_entry(entry) && cache.vertex_triangle_sets[det::entry_triangle(entry)].empty();
            if (entry != SIZE_MAX && !spare && !emptied)
                return testing::AssertionFailure() << "vertex " << v << " has no triangles but the entry " << entry;
            continue;
        }
        if (entry == SIZE_MAX) return testing::AssertionFailure() << "vertex " << v << " has triangles and no entry";
        auto listed = around(cache, v);
        std::sort(listed.begin(), listed.end());
        if (listed != stars[v])
            return testing::AssertionFailure() << "vertex " << v << " lists " << testing::PrintToString(listed)
                                               << " instead of " << testing::PrintToString(stars[v]);
    }
    return testing::AssertionSuccess();
}

}  // namespace

testing::AssertionResult in_step(const neighbourhood_cache& cache)
{
    auto links = links_in_step(cache);
    if (!links) return links;
    return stars_in_step(cache);
}

}  // namespace Zelkov::Testing
