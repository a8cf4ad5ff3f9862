#include <geometry/neighbourhood_cache.h>

#include <iterator>
#include <set>
#include <vector>

#include "cache/links.h"

namespace Zelkov::Geometry {

namespace detail {

namespace {

/// What the rewriting of the fan of `removed` found out.
struct rewritten_fan {
    std::size_t shared_count;  // triangles of the fan that held both end vertices
    bool on_boundary;          // the fan of `removed` has two ends
};

/// Replaces `removed` by `kept` once in every triangle of a stored star,
/// ascending: at corner 1 if it holds `removed`, else at corner 0 if it holds
/// it, else at corner 2.
void rewrite_star(neighbourhood_cache& cache, const std::set<std::size_t>& star, std::size_t kept, std::size_t removed)
{
    for (const std::size_t u : star) {
        auto& triangle = cache.surface.triangles[u];
        if (triangle[1] == removed) triangle[1] = kept;
        else if (triangle[0] == removed) triangle[0] = kept;
        else triangle[2] = kept;
    }
}

/// Writes `kept` at the corner of `removed` in every triangle of its fan,
/// counting beforehand the triangles that also hold `kept`.
rewritten_fan rewrite_fan(neighbourhood_cache& cache, std::size_t removed_entry, std::size_t kept)
{
    const auto& neighbours = cache.triangle_neighbours;
    const std::size_t no_triangle = cache.no_triangle;
    const std::size_t r = entry_triangle(removed_entry), c = entry_corner(removed_entry);

    fan_walk walk = walk_from(r, c, 0);
    std::size_t stop = r;
    bool on_boundary = true;
    if (neighbour_of(neighbours[r][c]) == no_triangle) {
        walk = walk_from(r, c, 1);
        stop = no_triangle;
    } else if (neighbour_of(neighbours[r][previous_index[c]]) == no_triangle) {
        stop = no_triangle;
    } else {
        on_boundary = false;
    }

    std::size_t shared_count = 0;
    walk_fan(neighbours, walk, no_triangle, stop, [&](const fan_walk& at) {
        auto& triangle = cache.surface.triangles[at.triangle];
        if (triangle[next_index[at.corner]] == kept || triangle[previous_index[at.corner]] == kept) ++shared_count;
        triangle[at.corner] = kept;
    });
    return {shared_count, on_boundary};
}

/// Whether one of the two edges at the corner of an ordinary entry has no neighbour.
bool entry_on_boundary(const neighbourhood_cache& cache, std::size_t entry)
{
    const auto& row = cache.triangle_neighbours[entry_triangle(entry)];
    const std::size_t c = entry_corner(entry);
    return neighbour_of(row[c]) == cache.no_triangle || neighbour_of(row[previous_index[c]]) == cache.no_triangle;
}

void invalidate(neighbourhood_cache& cache, std::size_t u) { cache.surface.triangles[u][0] = SIZE_MAX; }

/// What surrounded a triangle that `unlink` took out at edge z: the entries
/// of edge next(z), which ends at the opposite vertex, and of edge prev(z),
/// which starts there, as they stood before.
struct taken_out {
    std::size_t ending;    // A
    std::size_t starting;  // B
    std::size_t opposite;
};

taken_out take_out(neighbourhood_cache& cache, std::size_t u, std::size_t z)
{
    const auto& row = cache.triangle_neighbours[u];
    const taken_out around{row[next_index[z]], row[previous_index[z]], cache.surface.triangles[u][previous_index[z]]};
    unlink(cache.triangle_neighbours, u, z);
    return around;
}

/// Moves the entry of `v` off the dying triangle `u`: a set loses `u`, and
/// an ordinary entry that names `u` becomes `replacement`.
void move_entry_off(neighbourhood_cache& cache, std::size_t v, std::size_t u, std::size_t replacement)
{
    const std::size_t entry = cache.vertex_corners[v];
    if (is_set_entry(entry)) cache.vertex_triangle_sets[entry_triangle(entry)].erase(u);
    else if (is_corner_entry(entry) && entry_triangle(entry) == u) cache.vertex_corners[v] = replacement;
}

/// Removes the twin `t1` of the collapsed edge, which faces it at edge `z`.
/// The opposite vertex x prefers the triangle across the edge that starts at
/// it; with no triangle on either side its entry names the spare row.
void remove_twin(neighbourhood_cache& cache, std::size_t t1, std::size_t z, std::size_t kept)
{
    const std::size_t no_triangle = cache.no_triangle;
    const auto [a, b, x] = take_out(cache, t1, z);
    move_entry_off(cache, x, t1,
                   neighbour_of(b) != no_triangle ? corner_entry(neighbour_of(b), start_corner(b))
                                                  : corner_entry(neighbour_of(a), end_corner(a)));
    auto& kept_entry = cache.vertex_corners[kept];
    if (entry_triangle(kept_entry) == t1)
        kept_entry = neighbour_of(a) == no_triangle ? corner_entry(neighbour_of(b), end_corner(b))
                                                    : corner_entry(neighbour_of(a), start_corner(a));
    invalidate(cache, t1);
}

/// The end of the merged fan of `kept` on a boundary, walking away from the
/// seam that the removal of t has just closed; `q` is the old entry of the
/// edge of t that started at `kept`.
std::size_t merged_fan_end(const neighbourhood_cache& cache, std::size_t q)
{
    const std::size_t d = flip_of(q), e = edge_of(q);
    const fan_walk start{neighbour_of(q), cycle_table[1 - d][e], d, cycle_table[1 + d][e]};
    const fan_walk end =
        walk_fan(cache.triangle_neighbours, start, cache.no_triangle, start.triangle, [](const fan_walk&) {});
    return corner_entry(end.triangle, cycle_table[end.direction][end.exit]);
}

/// Removes the triangle t of the collapsed edge k. Here the opposite vertex y
/// prefers the triangle across the edge that ends at it.
void remove_collapsed(neighbourhood_cache& cache, std::size_t t, std::size_t k, std::size_t kept, bool has_twin)
{
    auto& corners = cache.vertex_corners;
    const std::size_t no_triangle = cache.no_triangle;
    const auto [q, p, y] = take_out(cache, t, k);
    move_entry_off(cache, y, t,
                   neighbour_of(q) != no_triangle   ? corner_entry(neighbour_of(q), end_corner(q))
                   : neighbour_of(p) != no_triangle ? corner_entry(neighbour_of(p), start_corner(p))
                                                    : no_vertex_entry);

    if (entry_triangle(corners[kept]) == t) {
        if (has_twin) {
            corners[kept] = neighbour_of(q) == no_triangle ? corner_entry(neighbour_of(p), end_corner(p))
                                                           : corner_entry(neighbour_of(q), start_corner(q));
            if (entry_triangle(corners[kept]) == t) {
                // t was its own neighbour: nothing is left around these vertices.
                corners[kept] = no_vertex_entry;
                const std::size_t entry = corners[y];
                if (!is_set_entry(entry) || cache.vertex_triangle_sets[entry_triangle(entry)].empty())
                    corners[y] = no_vertex_entry;
            }
        } else if (neighbour_of(q) == no_triangle) {
            corners[kept] =
                neighbour_of(p) == no_triangle ? no_vertex_entry : corner_entry(neighbour_of(p), end_corner(p));
        } else {
            corners[kept] = merged_fan_end(cache, q);
        }
    }
    invalidate(cache, t);
}

/// Takes a triangle with two equal adjacent corners out of the links and
/// invalidates it; leaves any other triangle alone. The vertex y opposite the
/// doubled edge prefers the triangle across the edge that starts at it, and
/// treats a self-neighbour as none.
bool flatten_if_degenerate(neighbourhood_cache& cache, std::size_t u)
{
    const auto& triangle = cache.surface.triangles[u];
    std::size_t c = 0;
    while (c < 3 && triangle[c] != triangle[next_index[c]]) ++c;
    if (c == 3) return false;

    const auto [a, b, y] = take_out(cache, u, c);
    const auto usable = [&](std::size_t entry) {
        return neighbour_of(entry) != cache.no_triangle && neighbour_of(entry) != u;
    };
    move_entry_off(cache, y, u,
                   usable(b)   ? corner_entry(neighbour_of(b), start_corner(b))
                   : usable(a) ? corner_entry(neighbour_of(a), end_corner(a))
                               : no_vertex_entry);
    invalidate(cache, u);
    return true;
}

}  // namespace

}  // namespace detail

std::size_t neighbourhood_cache::collapse_edge(const triangle_edge& edge)
{
    using namespace detail;
    const std::size_t t = edge.triangle;
    const std::size_t k = edge.edge_code / 2;
    const std::size_t kept = surface.triangles[t][k];
    const std::size_t removed = surface.triangles[t][next_index[k]];
    // On a large surface each load below tends to miss the cache, and the walk
    // round `removed` is a chain of them; the entries read after the walk are
    // fetched now, so that their misses overlap the chain.
    __builtin_prefetch(&vertex_corners[kept]);
    __builtin_prefetch(&triangle_neighbours[t]);
    const std::size_t removed_entry = vertex_corners[removed];

    // The triangles are rewritten before any test that may hand over to the
    // general path, which expects to find that done.
    if (!is_corner_entry(removed_entry)) {
        rewrite_star(*this, vertex_triangle_sets[entry_triangle(removed_entry)], kept, removed);
        return unoptimal_collapse_edge_impl(kept, removed);
    }
    const rewritten_fan fan = rewrite_fan(*this, removed_entry, kept);

    if (!is_corner_entry(vertex_corners[kept])) return unoptimal_collapse_edge_impl(kept, removed);

    const std::size_t twin = triangle_neighbours[t][k];
    const std::size_t t1 = neighbour_of(twin);
    if (t1 == no_triangle) {
        if (fan.shared_count != 1) return unoptimal_collapse_edge_impl(kept, removed);
    } else {
        if (fan.shared_count != 2) return unoptimal_collapse_edge_impl(kept, removed);
        if (fan.on_boundary) {
            if (entry_on_boundary(*this, vertex_corners[kept])) return unoptimal_collapse_edge_impl(kept, removed);
            // The merged vertex is on the boundary, and this entry already stands at an end of its fan.
            vertex_corners[kept] = removed_entry;
        }
        remove_twin(*this, t1, edge_of(twin), kept);
    }
    remove_collapsed(*this, t, k, kept, t1 != no_triangle);
    vertex_corners[removed] = no_vertex_entry;
    return kept;
}

std::size_t neighbourhood_cache::unoptimal_collapse_edge_impl(std::size_t kept, std::size_t removed)
{
    using namespace detail;
    std::vector<std::size_t> around;
    append_vertex_triangles(kept, around);
    append_vertex_triangles(removed, around);
    std::set<std::size_t> star(around.begin(), around.end());

    for (auto it = star.begin(); it != star.end();) {
        const auto following = std::next(it);
        if (flatten_if_degenerate(*this, *it)) star.erase(it);
        it = following;
    }

    const std::size_t kept_entry = vertex_corners[kept];
    const std::size_t removed_entry = vertex_corners[removed];
    const bool kept_has_set = is_set_entry(kept_entry);
    const bool removed_has_set = is_set_entry(removed_entry);
    std::size_t entry = no_vertex_entry;
    if (star.empty()) {
        if (kept_has_set) vertex_triangle_sets[entry_triangle(kept_entry)].clear();
        if (removed_has_set) vertex_triangle_sets[entry_triangle(removed_entry)].clear();
    } else {
        if (!kept_has_set && !removed_has_set) {
            entry = corner_entry(vertex_triangle_sets.size(), 3);
            vertex_triangle_sets.emplace_back();
        } else if (!kept_has_set) {
            entry = removed_entry;  // kept takes over the set of removed
        } else {
            if (removed_has_set) vertex_triangle_sets[entry_triangle(removed_entry)].clear();
            entry = kept_entry;
        }
        vertex_triangle_sets[entry_triangle(entry)].swap(star);
    }
    vertex_corners[kept] = entry;
    vertex_corners[removed] = no_vertex_entry;
    return kept;
}

}  // namespace Zelkov::Geometry
