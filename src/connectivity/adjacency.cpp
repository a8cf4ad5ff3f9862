#include <geometry/connectivity.h>

#include <algorithm>

namespace Zelkov::Geometry {

namespace {

using sparse_matrix = Eigen::SparseMatrix<double, 0, int>;
using triplet = Eigen::Triplet<double, int>;

/// A vertex index as a matrix index: its low 32 bits.
int matrix_index(std::size_t vertex) noexcept { return static_cast<int>(vertex); }

triplet entry(std::size_t row, std::size_t column, double value) noexcept
{
    return triplet(matrix_index(row), matrix_index(column), value);
}

sparse_matrix square_matrix(const triangle_surface& surface)
{
    const auto size = static_cast<Eigen::Index>(surface.vertices.size());
    return sparse_matrix(size, size);
}

/// The code of a vertex after one more edge of code c: any code from 3 up
/// beats a 1, a 1 beats a 2, a 2 beats a 0, and among codes from 3 up the
/// larger wins, whatever the order of the edges.
int ranked_code(int code, int c) noexcept
{
    if (code < 3 && c == 1) return 1;
    if (code == 1 && c < 3) return 1;
    return std::max(code, c);
}

}  // namespace

Eigen::SparseMatrix<double, 0, int> adjacency_matrix(const triangle_surface& surface, bool directed)
{
    auto result = square_matrix(surface);
    std::vector<triplet> triplets;
    triplets.reserve(3 * surface.triangles.size() * (directed ? 1 : 2));
    for (const auto& [t0, t1, t2] : surface.triangles) {
        triplets.push_back(entry(t0, t1, 1.0));
        if (!directed) triplets.push_back(entry(t0, t2, 1.0));
        triplets.push_back(entry(t1, t2, 1.0));
        if (!directed) triplets.push_back(entry(t1, t0, 1.0));
        triplets.push_back(entry(t2, t0, 1.0));
        if (!directed) triplets.push_back(entry(t2, t1, 1.0));
    }
    // Repeated pairs stay 1.0: adjacency, not a count.
    result.setFromTriplets(triplets.begin(), triplets.end(), [](const double&, const double&) { return 1.0; });
    return result;
}

Eigen::SparseMatrix<double, 0, int> adjacency_matrix_with_edge_count(const triangle_surface& surface,
                                                                     bool symmetric_pattern)
{
    auto result = square_matrix(surface);
    std::vector<triplet> triplets;
    triplets.reserve(3 * surface.triangles.size() * (symmetric_pattern ? 2 : 1));
    for (const auto& [t0, t1, t2] : surface.triangles) {
        triplets.push_back(entry(t0, t1, 1.0));
        if (symmetric_pattern) triplets.push_back(entry(t1, t0, 0.0));
        triplets.push_back(entry(t1, t2, 1.0));
        if (symmetric_pattern) triplets.push_back(entry(t2, t1, 0.0));
        triplets.push_back(entry(t2, t0, 1.0));
        if (symmetric_pattern) triplets.push_back(entry(t0, t2, 0.0));
    }
    // The default duplicate handling sums: the ones count triangles, the
    // zeros only hold a place in the pattern.
    result.setFromTriplets(triplets.begin(), triplets.end());
    return result;
}

std::vector<int> classify_vertex_topology(const Eigen::SparseMatrix<double, 0, int>& edge_counts)
{
    std::vector<int> codes(static_cast<std::size_t>(edge_counts.rows()), 0);
    for (Eigen::Index k = 0; k < edge_counts.outerSize(); ++k) {
        for (sparse_matrix::InnerIterator it(edge_counts, k); it; ++it) {
            const Eigen::Index r = it.row();
            if (r <= k) continue;  // each edge once, from below the diagonal
            const int p = static_cast<int>(it.value());
            const int q = static_cast<int>(edge_counts.coeff(k, r));  // binary search in column r
            const int c = (p + q == 2 && p == 1) ? 0 : p + q;         // one triangle each way is regular
            auto& row_code = codes[static_cast<std::size_t>(r)];
            row_code = ranked_code(row_code, c);
            auto& column_code = codes[static_cast<std::size_t>(k)];
            column_code = ranked_code(column_code, c);
        }
    }
    return codes;
}

}  // namespace Zelkov::Geometry
