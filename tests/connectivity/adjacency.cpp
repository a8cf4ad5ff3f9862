#include <map>

#include <gtest/gtest.h>

#include <geometry/connectivity.h>

#include "connectivity/oracles.h"

namespace {

using namespace Zelkov::Geometry;
using namespace Zelkov::Testing;
using sparse = Eigen::SparseMatrix<double, 0, int>;
using entries = std::map<std::pair<int, int>, double>;

/// Every stored entry, explicit zeros included.
entries stored(const sparse& m)
{
    entries result;
    for (int k = 0; k < m.outerSize(); ++k)
        for (sparse::InnerIterator it(m, k); it; ++it) result[{static_cast<int>(it.row()), k}] = it.value();
    return result;
}

/// Triangles per directed edge a -> b.
entries directed_counts(const std::vector<tri>& triangles)
{
    entries counts;
    for (const auto& t : triangles)
        for (std::size_t i = 0; i < 3; ++i) counts[{static_cast<int>(t[i]), static_cast<int>(t[(i + 1) % 3])}] += 1.0;
    return counts;
}

TEST(AdjacencyMatrix, EqualsTheDirectedEdgeCounts)
{
    for (const auto& [name, s] : awkward_surfaces()) {
        const auto counts = directed_counts(s.triangles);
        entries directed, undirected, counted = counts, symmetric = counts;
        for (const auto& [e, n] : counts) {
            const std::pair<int, int> back{e.second, e.first};
            directed[e] = undirected[e] = undirected[back] = 1.0;
            symmetric.emplace(back, 0.0);  // keeps a count that is there
        }
        const auto v = static_cast<Eigen::Index>(s.vertices.size());
        for (const auto& m : {adjacency_matrix(s, true), adjacency_matrix(s, false),
                              adjacency_matrix_with_edge_count(s, false), adjacency_matrix_with_edge_count(s, true)}) {
            EXPECT_EQ(m.rows(), v);
            EXPECT_EQ(m.cols(), v);
        }
        EXPECT_EQ(stored(adjacency_matrix(s, true)), directed) << name;
        EXPECT_EQ(stored(adjacency_matrix(s, false)), undirected) << name;
        EXPECT_EQ(stored(adjacency_matrix_with_edge_count(s, false)), counted) << name;
        EXPECT_EQ(stored(adjacency_matrix_with_edge_count(s, true)), symmetric) << name;
    }
    EXPECT_EQ(adjacency_matrix(triangle_surface{}, false).rows(), 0);
    EXPECT_EQ(adjacency_matrix_with_edge_count(surface_of({}, 3), true).nonZeros(), 0);
}

TEST(ClassifyVertexTopology, RanksTheCodesOfTheEdgesAtEachVertex)
{
    for (const auto& [name, s] : awkward_surfaces()) {
        // By rank: the largest count from 3 up, else 1 for a lone triangle,
        // else 2 for a same-way pair, else 0. The diagonal plays no part.
        const auto counts = directed_counts(s.triangles);
        std::vector<int> worst(s.vertices.size(), 0);
        std::vector<bool> lone(s.vertices.size(), false), same_way(s.vertices.size(), false);
        for (const auto& [e, n] : counts) {
            if (e.first == e.second) continue;
            const auto back = counts.find({e.second, e.first});
            const int p = static_cast<int>(n), q = back == counts.end() ? 0 : static_cast<int>(back->second);
            for (const int v : {e.first, e.second}) {
                if (p + q >= 3) worst[v] = std::max(worst[v], p + q);
                if (p + q == 1) lone[v] = true;
                if (p + q == 2 && p != 1) same_way[v] = true;
            }
        }
        std::vector<int> expected(s.vertices.size());
        for (std::size_t v = 0; v < expected.size(); ++v)
            expected[v] = worst[v] >= 3 ? worst[v] : lone[v] ? 1 : same_way[v] ? 2 : 0;
        EXPECT_EQ(classify_vertex_topology(adjacency_matrix_with_edge_count(s, true)), expected) << name;
    }
    // Without the symmetric pattern only 2 -> 0 lies below the diagonal.
    EXPECT_EQ(classify_vertex_topology(adjacency_matrix_with_edge_count(surface_of({{0, 1, 2}}), false)),
              (std::vector<int>{1, 0, 1}));
}

}  // namespace
