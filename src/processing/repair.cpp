#include <processing/repair.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <tuple>

#include <geometry/trimesh.h>
#include <oneapi/tbb/parallel_sort.h>

#include "repair_steps.h"
#include "stages.h"
#include "topology_figures.h"

namespace Zelkov::Processing {

using namespace Zelkov::Geometry;

namespace {

constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

// ---------------------------------------------------------------- grid of tolerance-sized cells

using cell = std::array<std::int64_t, 3>;

/// The cell of a coordinate, clamped so that huge ratios stay representable;
/// clamped points share cells, which costs time, never a wrong merge.
std::int64_t cell_of(double x, double size)
{
    const double c = std::floor(x / size);
    constexpr double limit = 1e15;
    return static_cast<std::int64_t>(std::clamp(c, -limit, limit));
}

struct cell_entry {
    cell key;
    std::size_t vertex;
    bool operator<(const cell_entry& o) const { return std::tie(key, vertex) < std::tie(o.key, o.vertex); }
};

bool is_finite(const point<double, 3>& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

double distance_sqr(const point<double, 3>& a, const point<double, 3>& b)
{
    const double dx = a.x - b.x, dy = a.y - b.y, dz = a.z - b.z;
    return dx * dx + dy * dy + dz * dz;
}

/// For each vertex, the kept vertex it merges into (itself when kept).
std::vector<std::size_t> tolerance_representatives(const triangle_surface& s, double tolerance)
{
    const std::size_t n = s.vertices.size();
    std::vector<cell_entry> grid;
    grid.reserve(n);
    for (std::size_t v = 0; v < n; ++v) {
        const auto& p = s.vertices[v];
        if (is_finite(p))
            grid.push_back({{cell_of(p.x, tolerance), cell_of(p.y, tolerance), cell_of(p.z, tolerance)}, v});
    }
    oneapi::tbb::parallel_sort(grid.begin(), grid.end());
    std::vector<std::size_t> rep(n, none);
    const double limit = tolerance * tolerance;
    for (std::size_t v = 0; v < n; ++v) {
        if (rep[v] != none) continue;
        rep[v] = v;
        const auto& p = s.vertices[v];
        if (!is_finite(p)) continue;
        const cell c{cell_of(p.x, tolerance), cell_of(p.y, tolerance), cell_of(p.z, tolerance)};
        for (std::int64_t dx = -1; dx <= 1; ++dx)
            for (std::int64_t dy = -1; dy <= 1; ++dy)
                for (std::int64_t dz = -1; dz <= 1; ++dz) {
                    const cell key{c[0] + dx, c[1] + dy, c[2] + dz};
                    auto it = std::lower_bound(grid.begin(), grid.end(), cell_entry{key, v + 1});
                    for (; it != grid.end() && it->key == key; ++it)
                        if (rep[it->vertex] == none && distance_sqr(p, s.vertices[it->vertex]) <= limit)
                            rep[it->vertex] = v;
                }
    }
    return rep;
}

// ---------------------------------------------------------------- removals

/// Keeps the triangles not marked, in order.
void drop_marked(triangle_surface& s, const std::vector<unsigned char>& marked)
{
    std::size_t kept = 0;
    for (std::size_t t = 0; t < s.triangles.size(); ++t)
        if (!marked[t]) s.triangles[kept++] = s.triangles[t];
    s.triangles.resize(kept);
}

/// Whether (a, b, c) is a rotation of its corners in ascending order.
bool runs_ascending(const std::array<std::size_t, 3>& t) { return (t[0] < t[1]) + (t[1] < t[2]) + (t[2] < t[0]) == 2; }

struct sorted_triangle {
    std::array<std::size_t, 3> corners;
    std::size_t triangle;
    bool operator<(const sorted_triangle& o) const
    {
        return std::tie(corners, triangle) < std::tie(o.corners, o.triangle);
    }
};

void mark_duplicates(const triangle_surface& s, back_to_back_policy policy, std::vector<unsigned char>& marked,
                     removal_result& r)
{
    std::vector<sorted_triangle> keys;
    keys.reserve(s.triangles.size());
    for (std::size_t t = 0; t < s.triangles.size(); ++t) {
        if (marked[t]) continue;
        auto c = s.triangles[t];
        std::sort(c.begin(), c.end());
        keys.push_back({c, t});
    }
    oneapi::tbb::parallel_sort(keys.begin(), keys.end());
    for (std::size_t i = 0; i < keys.size();) {
        std::size_t j = i + 1;
        bool both_ways = false;
        const bool first_way = runs_ascending(s.triangles[keys[i].triangle]);
        for (; j < keys.size() && keys[j].corners == keys[i].corners; ++j)
            both_ways |= runs_ascending(s.triangles[keys[j].triangle]) != first_way;
        const bool drop_all = both_ways && policy == back_to_back_policy::drop_both;
        for (std::size_t k = drop_all ? i : i + 1; k < j; ++k) marked[keys[k].triangle] = 1;
        (both_ways ? r.back_to_back : r.duplicates) += j - i - (drop_all ? 0 : 1);
        i = j;
    }
}

void mark_small_components(const triangle_surface& s, const removal_options& o, std::vector<unsigned char>& marked,
                           removal_result& r)
{
    detail::index_sets pieces(s.vertices.size());
    for (std::size_t t = 0; t < s.triangles.size(); ++t) {
        if (marked[t]) continue;
        pieces.join(s.triangles[t][0], s.triangles[t][1]);
        pieces.join(s.triangles[t][0], s.triangles[t][2]);
    }
    std::vector<std::size_t> count(s.vertices.size(), 0);
    std::vector<double> piece_area(s.vertices.size(), 0.0);
    std::vector<std::size_t> root(s.triangles.size(), none);
    for (std::size_t t = 0; t < s.triangles.size(); ++t) {
        if (marked[t]) continue;
        root[t] = pieces.find(s.triangles[t][0]);
        ++count[root[t]];
        piece_area[root[t]] += area(t, s);
    }
    std::vector<unsigned char> small(s.vertices.size(), 0);
    for (std::size_t v = 0; v < s.vertices.size(); ++v)
        if (count[v] > 0 && (count[v] < o.min_component_triangles || piece_area[v] < o.min_component_area)) {
            small[v] = 1;
            ++r.small_components;
            r.component_triangles += count[v];
        }
    for (std::size_t t = 0; t < s.triangles.size(); ++t)
        if (root[t] != none && small[root[t]]) marked[t] = 1;
}

void check_options(const repair_options& o)
{
    const auto bad = [](double x) { return !(x >= 0.0); };
    if (bad(o.tolerance) || bad(o.tolerance_relative))
        throw std::invalid_argument("repair: the tolerance must be a number at or above 0");
    if (bad(o.removal.min_component_area))
        throw std::invalid_argument("repair: the smallest piece's area must be a number at or above 0");
}

/// `map` followed by `next`, where SIZE_MAX stays SIZE_MAX.
void compose(std::vector<std::size_t>& map, const std::vector<std::size_t>& next)
{
    for (std::size_t& v : map)
        if (v != none) v = next[v];
}

}  // namespace

tolerance_weld_result weld_within_tolerance(triangle_surface& surface, double tolerance)
{
    tolerance_weld_result r;
    const std::size_t n = surface.vertices.size();
    r.vertex_map.resize(n);
    if (!(tolerance > 0.0)) {
        for (std::size_t v = 0; v < n; ++v) r.vertex_map[v] = v;
        return r;
    }
    const std::vector<std::size_t> rep = tolerance_representatives(surface, tolerance);
    std::size_t kept = 0;
    for (std::size_t v = 0; v < n; ++v) {
        if (rep[v] == v) {
            surface.vertices[kept] = surface.vertices[v];
            r.vertex_map[v] = kept++;
        } else {
            r.vertex_map[v] = r.vertex_map[rep[v]];  // rep[v] < v, already numbered
        }
    }
    surface.vertices.resize(kept);
    r.vertices_merged = n - kept;
    for (auto& t : surface.triangles)
        for (std::size_t& c : t) c = r.vertex_map[c];
    return r;
}

removal_result remove_defective_triangles(triangle_surface& surface, const removal_options& options)
{
    removal_result r;
    std::vector<unsigned char> marked(surface.triangles.size(), 0);
    for (std::size_t t = 0; t < surface.triangles.size(); ++t) {
        if (detail::repeats_vertex(surface.triangles[t])) {
            marked[t] = 1;
            ++r.degenerate;
        } else if (options.zero_area && area(t, surface) == 0.0) {
            marked[t] = 1;
            ++r.zero_area;
        }
    }
    mark_duplicates(surface, options.back_to_back, marked, r);
    if (options.min_component_triangles > 0 || options.min_component_area > 0.0)
        mark_small_components(surface, options, marked, r);
    drop_marked(surface, marked);
    return r;
}

repair_result repair(triangle_surface& surface, const repair_options& options, const progress_callback& progress)
{
    using detail::run_stage;
    check_options(options);
    repair_result r;
    r.weld = run_stage(progress, "weld", [&] {
        return weld(surface, {.consider_orientation = true, .remove_degenerate = false, .remove_free_points = false});
    });
    r.vertex_map = r.weld.vertex_map;
    r.tolerance = std::max(options.tolerance, options.tolerance_relative * detail::box_diagonal(surface));
    r.tolerance_weld =
        run_stage(progress, "weld within tolerance", [&] { return weld_within_tolerance(surface, r.tolerance); });
    compose(r.vertex_map, r.tolerance_weld.vertex_map);
    r.removal =
        run_stage(progress, "remove defects", [&] { return remove_defective_triangles(surface, options.removal); });
    run_stage(progress, "remove free points", [&] {
        std::vector<std::size_t> kept;
        const std::size_t before = surface.vertices.size();
        remove_free_points(surface, kept);
        r.free_vertices_removed = before - surface.vertices.size();
        compose(r.vertex_map, kept);
    });
    // The sides sorted by edge serve both steps unless cutting adds vertices.
    std::vector<detail::keyed_side> sides;
    if (options.make_manifold)
        r.manifold = run_stage(progress, "make manifold", [&] {
            sides = detail::sorted_sides(surface);
            return detail::make_manifold(surface, sides);
        });
    if (options.orient)
        r.orientation = run_stage(progress, "orient", [&] {
            if (!options.make_manifold || r.manifold.vertices_added > 0) sides = detail::sorted_sides(surface);
            return detail::orient(surface, true, sides);
        });
    if (options.fill.max_boundary_edges > 0)
        r.fill = run_stage(progress, "fill holes", [&] { return fill_holes(surface, options.fill); });
    if (options.orient && r.fill.filled > 0) {
        // Pieces that filling closed may face inward.
        const orient_result again = run_stage(progress, "orient again", [&] { return orient(surface, true); });
        r.orientation.components = again.components;
        r.orientation.non_orientable_components = again.non_orientable_components;
        r.orientation.flipped_triangles += again.flipped_triangles;
        r.orientation.turned_outward += again.turned_outward;
    }
    return r;
}

}  // namespace Zelkov::Processing
