#include <map>

#include <gtest/gtest.h>

#include <geometry/connectivity.h>

#include "connectivity/oracles.h"

namespace {

using namespace Zelkov::Geometry;
using namespace Zelkov::Testing;

/// Whether (a, b) has exactly two triangles running it in opposite directions.
bool coherent_pair(const std::vector<tri>& triangles, std::size_t a, std::size_t b)
{
    const auto on = triangles_on(triangles, a, b, false);
    if (on.size() != 2) return false;
    const auto& t = triangles[on[0]];
    const auto& u = triangles[on[1]];
    return (runs(t, a, b) && runs(u, b, a)) || (runs(t, b, a) && runs(u, a, b));
}

TEST(TopologyPredicates, EqualTheDefinitionThroughTheEdgeCount)
{
    for (const auto& [name, s] : awkward_surfaces()) {
        const auto map = get_vertex_to_triangles_map(s);
        const auto& ts = s.triangles;
        for (std::size_t a = 0; a < map.size(); ++a) {
            for (std::size_t b = 0; b < map.size(); ++b) {
                const std::size_t k = triangles_on(ts, a, b, false).size();
                ASSERT_EQ(is_boundary_edge({a, b}, s, map), k == 1) << name << " " << a << " " << b;
                ASSERT_EQ(is_non_manifold_edge({a, b}, s, map), k >= 3);
                ASSERT_EQ(is_manifold_edge({a, b}, s, map, false), k == 2);
                ASSERT_EQ(is_manifold_edge({a, b}, s, map, true), coherent_pair(ts, a, b));
            }
            // Boundary vertex: some w left over exactly once when v is struck
            // once from each of its triangles.
            std::map<std::size_t, int> left_over;
            bool on_non_manifold_edge = false;
            for (const auto& t : ts) {
                if (occurrences(t, a) == 0) continue;
                bool struck = false;
                for (const std::size_t w : t) {
                    if (w == a && !struck) struck = true;
                    else ++left_over[w];
                    if (triangles_on(ts, w, a, false).size() >= 3) on_non_manifold_edge = true;
                }
            }
            const bool boundary =
                std::any_of(left_over.begin(), left_over.end(), [](auto& p) { return p.second == 1; });
            ASSERT_EQ(is_boundary_vertex(a, s, map), boundary) << name << " vertex " << a;
            ASSERT_EQ(is_non_manifold_vertex(a, s, map), on_non_manifold_edge) << name << " vertex " << a;
        }
        for (const bool oriented : {false, true}) {
            bool manifold = true;
            for (const auto& t : ts)
                for (std::size_t i = 0; i < 3; ++i)
                    manifold = manifold && (oriented ? coherent_pair(ts, t[i], t[(i + 1) % 3])
                                                     : triangles_on(ts, t[i], t[(i + 1) % 3], false).size() == 2);
            EXPECT_EQ(is_manifold(s, map, oriented), manifold) << name;
            EXPECT_EQ(is_bad(s, map, oriented), !manifold) << name;
            EXPECT_EQ(is_bad(s, oriented), !manifold) << name;
        }
        std::size_t degenerate = 0;
        for (const auto& t : ts) degenerate += std::set<std::size_t>(t.begin(), t.end()).size() < 3;
        EXPECT_EQ(count_topologically_degenerate_triangles(s), degenerate) << name;
    }
}

}  // namespace
