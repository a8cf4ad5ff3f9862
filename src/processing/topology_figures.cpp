#include "topology_figures.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <tuple>

#include <geometry/cleanup.h>
#include <geometry/measures.h>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>

namespace Zelkov::Processing::detail {

namespace {

using sparse = Eigen::SparseMatrix<double, 0, int>;

/// Calls `f(row, column, count, mirror_count)` for each undirected edge of an
/// edge-count matrix with a symmetric pattern, once, from below the diagonal.
template <class F>
void for_each_edge(const sparse& edge_counts, F&& f)
{
    for_each_lower_entry(edge_counts, [&](std::size_t row, std::size_t column, double count) {
        f(row, column, static_cast<long>(count),
          static_cast<long>(edge_counts.coeff(static_cast<int>(column), static_cast<int>(row))));
    });
}

/// Disjoint sets over triangles that also keep, for each triangle, whether it
/// must be turned over relative to its set's root for the set to be
/// consistently oriented; a set that would need a triangle both ways is
/// marked as non-orientable.
class orientation_sets {
public:
    explicit orientation_sets(std::size_t n) : parent_(n), flip_(n, 0), broken_(n, 0)
    {
        std::iota(parent_.begin(), parent_.end(), 0);
    }

    /// Joins a and b, which run their common edge the same way when `same_way`.
    void join(std::size_t a, std::size_t b, bool same_way)
    {
        const auto [ra, fa] = find(a);
        const auto [rb, fb] = find(b);
        const unsigned char needed = same_way ? 1 : 0;  // b's flip relative to a
        if (ra == rb) {
            if ((fa ^ fb) != needed) broken_[ra] = 1;
            return;
        }
        parent_[rb] = ra;
        flip_[rb] = static_cast<unsigned char>(fa ^ fb ^ needed);
        broken_[ra] = broken_[ra] | broken_[rb];
    }

    bool is_broken(std::size_t t) { return broken_[find(t).first] != 0; }

private:
    /// The root of t and t's flip relative to it, compressing the path.
    std::pair<std::size_t, unsigned char> find(std::size_t t)
    {
        std::size_t root = t;
        unsigned char flip = 0;
        while (parent_[root] != root) {
            flip ^= flip_[root];
            root = parent_[root];
        }
        // Second pass: point each node on the path straight at the root.
        unsigned char rest = flip;
        while (parent_[t] != root && t != root) {
            const std::size_t next = parent_[t];
            const unsigned char own = flip_[t];
            parent_[t] = root;
            flip_[t] = rest;
            rest ^= own;
            t = next;
        }
        return {root, flip};
    }

    std::vector<std::size_t> parent_;
    std::vector<unsigned char> flip_, broken_;
};

/// The number of fans around `v`: its triangles, joined when they share a
/// second vertex (and so an edge at v).
std::size_t fan_count(std::size_t v, const Zelkov::Geometry::triangle_surface& surface,
                      const Zelkov::Geometry::vertex_to_triangles_map& map)
{
    std::vector<std::array<std::size_t, 2>> others;  // (other vertex, local triangle)
    std::size_t local = 0;
    for (const std::size_t t : map[v]) {
        const auto& tri = surface.triangles[t];
        if (repeats_vertex(tri)) continue;
        for (const std::size_t w : tri)
            if (w != v) others.push_back({w, local});
        ++local;
    }
    if (local < 2) return local;
    std::sort(others.begin(), others.end());
    index_sets fans(local);
    for (std::size_t i = 1; i < others.size(); ++i)
        if (others[i][0] == others[i - 1][0]) fans.join(others[i][1], others[i - 1][1]);
    std::size_t roots = 0;
    for (std::size_t i = 0; i < local; ++i) roots += fans.is_root(i);
    return roots;
}

}  // namespace

std::vector<keyed_side> sorted_sides(const Zelkov::Geometry::triangle_surface& surface)
{
    // A counting sort on the lower vertex, then each vertex's few sides sorted
    // on their own: linear but for the stars, and the same order as sorting
    // the whole list by (low, high, triangle).
    const std::size_t n = surface.vertices.size();
    std::vector<std::size_t> start(n + 1, 0);
    for (const auto& tri : surface.triangles) {
        if (repeats_vertex(tri)) continue;
        for (int i = 0; i < 3; ++i) ++start[std::min(tri[i], tri[(i + 1) % 3]) + 1];
    }
    std::partial_sum(start.begin(), start.end(), start.begin());
    std::vector<keyed_side> sides(start[n]);
    std::vector<std::size_t> next(start.begin(), start.end() - 1);
    for (std::size_t t = 0; t < surface.triangles.size(); ++t) {
        const auto& tri = surface.triangles[t];
        if (repeats_vertex(tri)) continue;
        for (int i = 0; i < 3; ++i) {
            const std::size_t a = tri[i], b = tri[(i + 1) % 3];
            const std::size_t low = std::min(a, b);
            sides[next[low]++] = {low, std::max(a, b), t, a < b, static_cast<unsigned char>(i)};
        }
    }
    oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, n, 4096),
                              [&](const oneapi::tbb::blocked_range<std::size_t>& r) {
                                  for (std::size_t v = r.begin(); v != r.end(); ++v)
                                      if (start[v + 1] - start[v] > 1)
                                          std::sort(sides.begin() + static_cast<std::ptrdiff_t>(start[v]),
                                                    sides.begin() + static_cast<std::ptrdiff_t>(start[v + 1]));
                              });
    return sides;
}

edge_figures count_edges(const sparse& edge_counts)
{
    edge_figures f;
    for_each_edge(edge_counts, [&](std::size_t, std::size_t, long p, long q) {
        const long n = p + q;
        ++f.edges;
        if (n == 1) ++f.boundary;
        else if (n == 2) ++f.manifold;
        else if (n >= 3) ++f.non_manifold;
        f.misoriented += n == 2 && p != 1;
    });
    return f;
}

std::size_t boundary_loops(const sparse& edge_counts)
{
    const auto n = static_cast<std::size_t>(edge_counts.rows());
    index_sets sets(n);
    std::vector<unsigned char> on_boundary(n, 0);
    for_each_edge(edge_counts, [&](std::size_t a, std::size_t b, long p, long q) {
        if (p + q != 1) return;
        sets.join(a, b);
        on_boundary[a] = on_boundary[b] = 1;
    });
    std::size_t loops = 0;
    for (std::size_t v = 0; v < n; ++v) loops += on_boundary[v] && sets.is_root(v);
    return loops;
}

std::size_t non_orientable_components(const Zelkov::Geometry::triangle_surface& surface)
{
    const std::vector<keyed_side> sides = sorted_sides(surface);
    orientation_sets patches(surface.triangles.size());
    for (std::size_t i = 0; i < sides.size();) {
        std::size_t j = i + 1;
        while (j < sides.size() && sides[j].low == sides[i].low && sides[j].high == sides[i].high) ++j;
        if (j - i == 2 && sides[i].triangle != sides[i + 1].triangle)
            patches.join(sides[i].triangle, sides[i + 1].triangle, sides[i].forward == sides[i + 1].forward);
        i = j;
    }
    // A piece is non-orientable when one of its triangles lies in a broken patch.
    index_sets pieces(surface.vertices.size());
    for (const auto& t : surface.triangles) {
        pieces.join(t[0], t[1]);
        pieces.join(t[0], t[2]);
    }
    std::set<std::size_t> broken_pieces;
    for (std::size_t t = 0; t < surface.triangles.size(); ++t)
        if (!repeats_vertex(surface.triangles[t]) && patches.is_broken(t))
            broken_pieces.insert(pieces.find(surface.triangles[t][0]));
    return broken_pieces.size();
}

welded_figures welded_euler_characteristic(const Zelkov::Geometry::triangle_surface& welded)
{
    const std::vector<keyed_side> sides = sorted_sides(welded);
    welded_figures f;
    std::vector<unsigned char> used(welded.vertices.size(), 0);
    for (const auto& t : welded.triangles) {
        if (repeats_vertex(t)) continue;
        ++f.triangles;
        used[t[0]] = used[t[1]] = used[t[2]] = 1;
    }
    for (const unsigned char u : used) f.vertices += u;
    for (std::size_t i = 0; i < sides.size(); ++i)
        f.edges += i == 0 || sides[i].low != sides[i - 1].low || sides[i].high != sides[i - 1].high;
    f.euler_characteristic =
        static_cast<long long>(f.vertices) - static_cast<long long>(f.edges) + static_cast<long long>(f.triangles);
    return f;
}

double box_diagonal(const Zelkov::Geometry::triangle_surface& surface)
{
    if (surface.triangles.empty()) return 0.0;
    const auto box = Zelkov::Geometry::bounding_volume(surface, false);
    const double dx = box.max.x - box.min.x, dy = box.max.y - box.min.y, dz = box.max.z - box.min.z;
    return std::sqrt(dx * dx + dy * dy + dz * dz);
}

std::size_t non_finite_vertices(const Zelkov::Geometry::triangle_surface& surface)
{
    std::size_t n = 0;
    for (const auto& p : surface.vertices) n += !(std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z));
    return n;
}

bool investigation_is_affordable(const Zelkov::Geometry::triangle_surface& surface,
                                 const Zelkov::Geometry::vertex_to_triangles_map& map)
{
    const double sides = 3 * static_cast<double>(surface.triangles.size());
    const double budget = 1e8 + 64 * sides;  // an ordinary surface needs about 12 a side
    double work = 0;
    for (const auto& t : surface.triangles) {
        for (int i = 0; i < 3; ++i)
            work += 2 * static_cast<double>(std::min(map[t[i]].size(), map[t[(i + 1) % 3]].size()));
        if (work > budget) return false;
    }
    return true;
}

}  // namespace Zelkov::Processing::detail

namespace Zelkov::Processing {

std::vector<unsigned char> pinch_vertices(const Zelkov::Geometry::triangle_surface& surface,
                                          const Zelkov::Geometry::vertex_to_triangles_map& map)
{
    std::vector<unsigned char> pinched(map.size(), 0);
    oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, map.size(), 1),
                              [&](const oneapi::tbb::blocked_range<std::size_t>& r) {
                                  for (std::size_t v = r.begin(); v != r.end(); ++v)
                                      pinched[v] = detail::fan_count(v, surface, map) >= 2;
                              });
    return pinched;
}

}  // namespace Zelkov::Processing

namespace Zelkov::Processing::detail {

std::size_t connected_components(const Zelkov::Geometry::triangle_surface& surface)
{
    const std::size_t n = surface.vertices.size();
    index_sets sets(n);
    std::vector<unsigned char> used(n, 0);
    for (const auto& t : surface.triangles) {
        sets.join(t[0], t[1]);
        sets.join(t[0], t[2]);
        used[t[0]] = used[t[1]] = used[t[2]] = 1;
    }
    std::size_t pieces = 0;
    for (std::size_t v = 0; v < n; ++v) pieces += used[v] && sets.is_root(v);
    return pieces;
}

std::vector<std::size_t> repeated_vertex_triangles(const Zelkov::Geometry::triangle_surface& surface)
{
    std::vector<std::size_t> out;
    for (std::size_t t = 0; t < surface.triangles.size(); ++t)
        if (repeats_vertex(surface.triangles[t])) out.push_back(t);
    return out;
}

}  // namespace Zelkov::Processing::detail
