#include "figures.h"

#include <algorithm>
#include <numeric>

#include <boost/pending/disjoint_sets.hpp>
#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>

namespace Zelkov::Cli {

namespace {

bool repeats_vertex(const std::array<std::size_t, 3>& t) { return t[0] == t[1] || t[0] == t[2] || t[1] == t[2]; }

/// Disjoint sets over 0..n-1 with their own storage.
class index_sets {
public:
    explicit index_sets(std::size_t n) : rank_(n, 0), parent_(n), sets_(rank_.data(), parent_.data())
    {
        std::iota(parent_.begin(), parent_.end(), 0);
    }
    void join(std::size_t a, std::size_t b) { sets_.union_set(a, b); }
    bool is_root(std::size_t i) { return sets_.find_set(i) == i; }

private:
    std::vector<std::size_t> rank_, parent_;
    boost::disjoint_sets<std::size_t*, std::size_t*> sets_;
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

edge_figures count_edges(const Eigen::SparseMatrix<double, 0, int>& edge_counts)
{
    edge_figures f;
    for (int k = 0; k < edge_counts.outerSize(); ++k)
        for (Eigen::SparseMatrix<double, 0, int>::InnerIterator it(edge_counts, k); it; ++it) {
            if (it.row() <= k) continue;  // each edge once, from below the diagonal
            const auto n = static_cast<long>(it.value()) + static_cast<long>(edge_counts.coeff(k, it.row()));
            ++f.edges;
            if (n == 1) ++f.boundary;
            else if (n == 2) ++f.manifold;
            else if (n >= 3) ++f.non_manifold;
        }
    return f;
}

std::vector<unsigned char> pinch_vertices(const Zelkov::Geometry::triangle_surface& surface,
                                          const Zelkov::Geometry::vertex_to_triangles_map& map)
{
    std::vector<unsigned char> pinched(map.size(), 0);
    oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, map.size(), 1),
                              [&](const oneapi::tbb::blocked_range<std::size_t>& r) {
                                  for (std::size_t v = r.begin(); v != r.end(); ++v)
                                      pinched[v] = fan_count(v, surface, map) >= 2;
                              });
    return pinched;
}

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

}  // namespace Zelkov::Cli
