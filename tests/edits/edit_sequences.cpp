// Long random runs of mixed edits on surfaces with boundaries, repeated
// vertices and non-manifold edges: after every edit the map must equal a fresh
// build, refusals must change nothing, and indices must never move.

#include <random>

#include <gtest/gtest.h>

#include "edits/edit_support.h"
#include "meshgen.h"

namespace {

using namespace Zelkov::Geometry;
using namespace Zelkov::Testing;
using edge = std::array<std::size_t, 2>;

/// A grid with extra triangles that repeat vertices, duplicate or reverse
/// others, and make non-manifold fins.
triangle_surface grid_with_oddities()
{
    auto s = Zelkov::Meshgen::jittered(Zelkov::Meshgen::grid(5, 5), 0.2, 11);
    const std::size_t extra = s.vertices.size();
    s.vertices.push_back({2.5, 2.5, 1.0});
    s.vertices.push_back({1.5, 0.5, -1.0});
    const std::vector<tri> oddities{{0, 1, 7},  {7, 1, 0},  {3, 3, 9},     {4, 4, 4},         {8, 9, 8},
                                    {7, 8, 14}, {7, 8, 14}, {7, 8, extra}, {8, 7, extra + 1}, {20, 20, 21}};
    s.triangles.insert(s.triangles.end(), oddities.begin(), oddities.end());
    return s;
}

/// Random triangles over few vertices: most edges non-manifold, many repeats.
triangle_surface random_soup(std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> coordinate(-1.0, 1.0);
    triangle_surface s;
    for (int i = 0; i < 10; ++i) s.vertices.push_back({coordinate(random), coordinate(random), coordinate(random)});
    for (int i = 0; i < 16; ++i) s.triangles.push_back({random() % 10, random() % 10, random() % 10});
    return s;
}

class edit_run {
public:
    edit_run(triangle_surface surface, std::uint64_t seed)
        : s_(std::move(surface)), map_(get_vertex_to_triangles_map(s_)), random_(seed)
    {
        for (std::size_t t = 0; t < s_.triangles.size(); ++t) labels_.push_back(t);
    }

    /// One random edit, then the checks that hold after every edit.
    void step()
    {
        const auto before = s_;
        const auto map_before = map_;
        const std::size_t t = random_() % s_.triangles.size();
        const std::size_t corner = random_() % 3;
        const edge e = pick_edge(t, corner);
        const auto on_edge = triangle_indices_from_edge(e, s_, map_, false);
        const std::size_t n = s_.triangles.size();
        bool changed = true;
        std::vector<std::size_t> parents;  // of the new triangles, for labelled splits
        // Splits at existing vertices and of degenerate or non-manifold edges
        // can grow the surface geometrically: past a size, only flips remain.
        const bool may_grow = n + on_edge.size() < 2000;
        switch (may_grow ? random_() % 10 : 6 + random_() % 4) {
        case 0: split_triangle_in_three(t, s_, map_); break;
        case 1: split_edge(e, weight(), s_, map_); break;
        case 2: split_edge(e, weight(), s_, map_, labels_), parents = on_edge; break;
        case 3: split_edge(e, pick_vertex(t), s_, map_, labels_), parents = on_edge; break;
        case 4:
            if (on_edge.empty()) return;
            split_boundary_edge(e, pick_vertex(t), s_, map_, labels_);
            parents = {on_edge.front()};
            break;
        case 5: {
            const std::size_t side =
                triangle_indices_from_edge({s_.triangles[t][(corner + 1) % 3], s_.triangles[t][(corner + 2) % 3]}, s_,
                                           map_, false)
                    .size();
            if (n + side > 2000) return;
            changed = collapse_triangle(t, corner, s_, map_);
            EXPECT_EQ(changed, side >= 2);
            if (changed) {
                EXPECT_EQ(s_.triangles.size() + 2, n + side);
            }
            break;
        }
        case 6: changed = flip_edge(e, s_, map_); break;
        case 7: changed = flip_if_random(e); break;
        case 8: changed = relax_edge(e, s_, map_); break;
        default: changed = relax_edge(e, s_, map_, 1.0); break;
        }
        check_labels(n, parents);
        if (!changed) {
            ASSERT_EQ(s_.triangles, before.triangles);
            ASSERT_EQ(map_, map_before);
        }
        check_vertices(before);
        ASSERT_TRUE(check_vertex_to_triangles_map(s_, map_)) << "after " << steps_ << " edits";
        ++steps_;
    }

    const triangle_surface& surface() const { return s_; }

private:
    edge pick_edge(std::size_t t, std::size_t corner)
    {
        if (random_() % 20 == 0) return {random_() % s_.vertices.size(), random_() % s_.vertices.size()};
        const auto& triangle = s_.triangles[t];
        return {triangle[corner], triangle[(corner + 1) % 3]};
    }

    /// Half of the time a corner of triangle t, so that splits at existing
    /// vertices make triangles that repeat a vertex amid ordinary ones.
    std::size_t pick_vertex(std::size_t t)
    {
        return random_() % 2 == 0 ? s_.triangles[t][random_() % 3] : random_() % s_.vertices.size();
    }

    double weight() { return std::uniform_real_distribution<double>(-0.5, 1.5)(random_); }

    /// flip_edge_if with a coin for a predicate: true exactly when it was asked and said yes.
    bool flip_if_random(const edge& e)
    {
        const bool two_triangles = triangle_indices_from_edge(e, s_, map_, false).size() == 2;
        bool asked = false;
        const bool answer = random_() % 2 == 0;
        const bool flipped = flip_edge_if(e, s_, map_, [&](const edge&) { return asked = true, answer; });
        EXPECT_EQ(flipped, asked && answer);
        EXPECT_EQ(asked, two_triangles);
        return flipped;
    }

    /// Old vertices stay where they were and vertices and map grow together.
    void check_vertices(const triangle_surface& before)
    {
        ASSERT_EQ(map_.size(), s_.vertices.size());
        ASSERT_GE(s_.vertices.size(), before.vertices.size());
        for (std::size_t v = 0; v < before.vertices.size(); ++v) ASSERT_EQ(s_.vertices[v], before.vertices[v]);
    }

    /// A labelled split gives its pieces their parents' labels, in the parents'
    /// order; after the other edits fresh labels are handed out.
    void check_labels(std::size_t n, const std::vector<std::size_t>& parents)
    {
        if (parents.empty()) {
            while (labels_.size() < s_.triangles.size()) labels_.push_back(labels_.size());
            return;
        }
        ASSERT_EQ(labels_.size(), s_.triangles.size());
        ASSERT_EQ(s_.triangles.size(), n + parents.size());
        for (std::size_t j = 0; j < parents.size(); ++j) EXPECT_EQ(labels_[n + j], labels_[parents[j]]);
    }

    triangle_surface s_;
    vertex_to_triangles_map map_;
    std::vector<std::size_t> labels_;
    std::mt19937_64 random_;
    std::size_t steps_ = 0;
};

TEST(EditSequences, MapStaysInStepThroughMixedEdits)
{
    const std::vector<triangle_surface> starts{Zelkov::Meshgen::jittered(Zelkov::Meshgen::grid(6, 6), 0.25, 3),
                                               grid_with_oddities(), random_soup(5), random_soup(6), random_soup(7)};
    for (std::size_t i = 0; i < starts.size(); ++i) {
        edit_run run(starts[i], 100 + i);
        for (int k = 0; k < 1000 && !testing::Test::HasFatalFailure(); ++k) run.step();
        EXPECT_GT(run.surface().triangles.size(), starts[i].triangles.size());
    }
}

}  // namespace
