#pragma once
// Figures about a surface that the reports need and the library leaves to its
// callers: counts taken from the library's matrices and maps.

#include <cstddef>
#include <vector>

#include <Eigen/SparseCore>

#include <geometry/triangle_surface.h>

namespace Zelkov::Cli {

/// Distinct undirected edges by the number of triangles on them, read from
/// the edge-count matrix with a symmetric pattern.
struct edge_figures {
    std::size_t edges = 0;
    std::size_t boundary = 0;      // one triangle
    std::size_t manifold = 0;      // two triangles
    std::size_t non_manifold = 0;  // three or more
};
edge_figures count_edges(const Eigen::SparseMatrix<double, 0, int>& edge_counts);

/// For each vertex, 1 when its triangles form two or more fans that share no
/// edge at the vertex (a pinch or bow-tie), else 0. Triangles that repeat a
/// vertex are left out. Parallel over the vertices.
std::vector<unsigned char> pinch_vertices(const Zelkov::Geometry::triangle_surface& surface,
                                          const Zelkov::Geometry::vertex_to_triangles_map& map);

/// The number of pieces of the surface, triangles being joined through shared
/// vertices. Free vertices are not pieces.
std::size_t connected_components(const Zelkov::Geometry::triangle_surface& surface);

/// The indices of the triangles that name a vertex twice or three times, ascending.
std::vector<std::size_t> repeated_vertex_triangles(const Zelkov::Geometry::triangle_surface& surface);

}  // namespace Zelkov::Cli
