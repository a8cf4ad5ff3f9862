#pragma once
// Figures about a surface that the core leaves to its callers: counts taken
// from its matrices and maps.

#include <array>
#include <cstddef>
#include <numeric>
#include <tuple>
#include <vector>

#include <Eigen/SparseCore>
#include <boost/pending/disjoint_sets.hpp>

#include <geometry/triangle_surface.h>
#include <processing/surface_info.h>

namespace Zelkov::Processing::detail {

/// Whether a triangle names one vertex twice or three times.
inline bool repeats_vertex(const std::array<std::size_t, 3>& t) { return t[0] == t[1] || t[0] == t[2] || t[1] == t[2]; }

/// Disjoint sets over 0..n-1 with their own storage.
class index_sets {
public:
    explicit index_sets(std::size_t n) : rank_(n, 0), parent_(n), sets_(rank_.data(), parent_.data())
    {
        std::iota(parent_.begin(), parent_.end(), 0);
    }
    void join(std::size_t a, std::size_t b) { sets_.union_set(a, b); }
    bool is_root(std::size_t i) { return sets_.find_set(i) == i; }
    std::size_t find(std::size_t i) { return sets_.find_set(i); }

private:
    std::vector<std::size_t> rank_, parent_;
    boost::disjoint_sets<std::size_t*, std::size_t*> sets_;
};

/// One side of a triangle keyed by its undirected edge.
struct keyed_side {
    std::size_t low, high, triangle;
    bool forward;        // the triangle runs low -> high
    unsigned char side;  // the side runs from corner `side` to the next one
    bool operator<(const keyed_side& o) const
    {
        return std::tie(low, high, triangle) < std::tie(o.low, o.high, o.triangle);
    }
};

/// The sides of the triangles that do not repeat a vertex, sorted by edge and
/// then by triangle. The same for every thread count, as no two sides have
/// the same key.
std::vector<keyed_side> sorted_sides(const Zelkov::Geometry::triangle_surface& surface);

/// Calls `f(row, column, value)` for each stored entry of a vertex-by-vertex
/// matrix below its diagonal: each undirected edge of a symmetric pattern once.
template <class F>
void for_each_lower_entry(const Eigen::SparseMatrix<double, 0, int>& matrix, F&& f)
{
    using sparse = Eigen::SparseMatrix<double, 0, int>;
    for (int k = 0; k < matrix.outerSize(); ++k)
        for (sparse::InnerIterator it(matrix, k); it; ++it)
            if (it.row() > k) f(static_cast<std::size_t>(it.row()), static_cast<std::size_t>(k), it.value());
}

/// Distinct undirected edges by the number of triangles on them, read from
/// the edge-count matrix with a symmetric pattern.
edge_figures count_edges(const Eigen::SparseMatrix<double, 0, int>& edge_counts);

/// The number of pieces of the surface, triangles being joined through shared
/// vertices. Free vertices are not pieces.
std::size_t connected_components(const Zelkov::Geometry::triangle_surface& surface);

/// The number of boundary loops: pieces of the graph of boundary edges (edges
/// of one triangle, read from the edge-count matrix), joined where they share
/// a vertex. Two holes whose rims touch at a vertex count as one.
std::size_t boundary_loops(const Eigen::SparseMatrix<double, 0, int>& edge_counts);

/// The number of connected pieces (as in `connected_components`) that cannot
/// be oriented consistently across their manifold edges, such as a Moebius
/// strip. Triangles that repeat a vertex are left out.
std::size_t non_orientable_components(const Zelkov::Geometry::triangle_surface& surface);

/// Euler characteristic V - E + F of a surface whose equal positions are
/// already merged, over the triangles that do not repeat a vertex: V counts
/// the vertices they use, E their distinct edges.
welded_figures welded_euler_characteristic(const Zelkov::Geometry::triangle_surface& welded);

/// The length of the diagonal of the box around the vertices that triangles
/// use; 0 without triangles.
double box_diagonal(const Zelkov::Geometry::triangle_surface& surface);

/// The number of vertices with a NaN or infinite coordinate.
std::size_t non_finite_vertices(const Zelkov::Geometry::triangle_surface& surface);

/// Whether the library's `investigate` is affordable on `surface`: it lists,
/// for each triangle side, the triangles on the side's edge, so that its work
/// grows with the square of the number of triangles on an edge. Bounded here
/// by the smaller triangle count of the side's two ends; refused when that
/// bound exceeds what an ordinary surface of the same size needs by more than
/// about 10^8 entries.
bool investigation_is_affordable(const Zelkov::Geometry::triangle_surface& surface,
                                 const Zelkov::Geometry::vertex_to_triangles_map& map);

/// The indices of the triangles that name a vertex twice or three times, ascending.
std::vector<std::size_t> repeated_vertex_triangles(const Zelkov::Geometry::triangle_surface& surface);

}  // namespace Zelkov::Processing::detail
