// Quadric simplification on generated surfaces: targets, kept boundaries,
// valid closed output, closeness to the input and independence of threads.

#include <gtest/gtest.h>

#include <geometry/trimesh.h>

#include "default_mesh.h"
#include "quadric_simplify.h"
#include "support/fixtures.h"
#include "tools/surface_distance.h"

namespace {

using namespace Zelkov::Geometry;
using Zelkov::Cli::collapse_by_quadrics;
using Zelkov::Cli::simplify_counts;
using Zelkov::Cli::simplify_options;
using Zelkov::Cli::stage_clock;

simplify_counts simplify(triangle_surface& s, std::size_t target, bool preserve_boundary = true)
{
    stage_clock clock(nullptr);
    simplify_options o;
    o.target_triangles = target;
    o.preserve_boundary = preserve_boundary;
    const simplify_counts c = collapse_by_quadrics(s, o, {}, clock);
    remove_free_points(s);
    return c;
}

std::size_t boundary_edge_count(const triangle_surface& s)
{
    const auto map = get_vertex_to_triangles_map(s);
    std::size_t n = 0;
    for (const auto& t : s.triangles)
        for (int e = 0; e < 3; ++e) n += triangle_indices_from_edge({t[e], t[(e + 1) % 3]}, s, map, false).size() == 1;
    return n;
}

TEST(CollapseByQuadrics, ClosedSurfaceReachesTargetAndStaysClosedAndClose)
{
    const triangle_surface input = Zelkov::Meshgen::icosphere(5);  // 20480 triangles
    triangle_surface s = input;
    const simplify_counts c = simplify(s, 2000);
    EXPECT_TRUE(c.reached_target);
    EXPECT_LE(s.triangles.size(), 2000u);
    EXPECT_GE(s.triangles.size(), 1996u);
    EXPECT_EQ(c.triangles_before - c.removed_triangles, s.triangles.size());
    EXPECT_EQ(c.boundary_edges + c.non_manifold_edges, 0u);
    ASSERT_TRUE(is_valid(s));
    EXPECT_TRUE(is_manifold(s, get_vertex_to_triangles_map(s), true));
    EXPECT_LT(Zelkov::Testing::sampled_hausdorff(input, s), 0.01);
    EXPECT_GT(signed_volume(s), 0.0);  // not turned inside out
}

TEST(CollapseByQuadrics, BoundaryIsKeptWhereItIsAndFlatStaysFlat)
{
    const triangle_surface input = Zelkov::Meshgen::grid(40, 30);
    triangle_surface s = input;
    const simplify_counts c = simplify(s, 300);
    EXPECT_TRUE(c.reached_target);
    EXPECT_EQ(c.boundary_edges, 2u * (40 + 30));
    // The boundary edges are never collapsed, and interior collapses keep every
    // vertex in the plane.
    EXPECT_EQ(boundary_edge_count(s), 2u * (40 + 30));
    for (const auto& p : s.vertices) EXPECT_EQ(p.z, 0.0);
    EXPECT_NEAR(area(s), 40.0 * 30.0, 1e-9);
}

TEST(CollapseByQuadrics, BoundaryMayCollapseAlongItsOwnLine)
{
    triangle_surface s = Zelkov::Meshgen::grid(40, 30);
    const simplify_counts c = simplify(s, 40, false);
    EXPECT_TRUE(c.reached_target);
    EXPECT_LT(boundary_edge_count(s), 2u * (40 + 30));
    // Boundary vertices slide along the straight sides, so the rectangle stays.
    const auto box = bounding_volume(s, false);
    EXPECT_EQ(box.min.x, 0.0);
    EXPECT_EQ(box.min.y, 0.0);
    EXPECT_EQ(box.max.x, 40.0);
    EXPECT_EQ(box.max.y, 30.0);
    EXPECT_NEAR(area(s), 40.0 * 30.0, 1e-6);
    for (const auto& p : s.vertices) EXPECT_EQ(p.z, 0.0);
}

TEST(CollapseByQuadrics, CreasesOfTheDefaultMeshSurvive)
{
    const triangle_surface input = Zelkov::Cli::default_mesh(40'000);
    triangle_surface s = input;
    const simplify_counts c = simplify(s, 4000);
    EXPECT_TRUE(c.reached_target);
    // The square tube keeps its corners: the box is the same to within the jitter.
    const auto before = bounding_volume(input, false), after = bounding_volume(s, false);
    EXPECT_NEAR(after.max.z, before.max.z, 2e-4);
    EXPECT_NEAR(after.min.z, before.min.z, 2e-4);
    EXPECT_LT(Zelkov::Testing::sampled_hausdorff(input, s), 0.01);
}

// More edges than the first sorted chunk of the queue holds, and a target low
// enough that the queue sorts more of them on the way.
TEST(CollapseByQuadrics, LargeSurfaceDownToATenthStaysClosedAndAlikeOnAnyThreads)
{
    const triangle_surface input = Zelkov::Meshgen::jittered(Zelkov::Meshgen::torus_with_about(60'000), 0.002, 5);
    ASSERT_GT(3 * input.triangles.size() / 2, std::size_t{1} << 16);
    auto run = [&] {
        triangle_surface s = input;
        EXPECT_TRUE(simplify(s, input.triangles.size() / 10).reached_target);
        return s;
    };
    const triangle_surface one = Zelkov::Testing::in_arena(1, run);
    const triangle_surface all = run();
    ASSERT_TRUE(is_valid(all));
    EXPECT_TRUE(is_manifold(all, get_vertex_to_triangles_map(all), true));
    EXPECT_LT(Zelkov::Testing::sampled_hausdorff(input, all), 0.05);
    EXPECT_EQ(one.triangles, all.triangles);
    ASSERT_EQ(one.vertices.size(), all.vertices.size());
    for (std::size_t i = 0; i < one.vertices.size(); ++i) EXPECT_EQ(one.vertices[i], all.vertices[i]);
}

// Every collapse is refused by the link condition, each edge once. On the
// tetrahedron the apexes would keep too few triangles. With one triangle
// turned, both triangles on its edges run them the same way. On a 3 by 3
// torus each apex keeps six triangles, and only the comparison of the two
// rings, which share more than the apexes, refuses.
TEST(CollapseByQuadrics, TinyClosedSurfacesCannotCollapseFurther)
{
    std::vector<triangle_surface> inputs{Zelkov::Meshgen::tetrahedron(), Zelkov::Meshgen::torus(3, 3)};
    for (std::size_t t = 0; t < 4; ++t) {
        inputs.push_back(Zelkov::Meshgen::tetrahedron());
        std::swap(inputs.back().triangles[t][1], inputs.back().triangles[t][2]);
    }
    for (const triangle_surface& input : inputs) {
        triangle_surface s = input;
        const simplify_counts c = simplify(s, 0);
        EXPECT_FALSE(c.reached_target);
        EXPECT_EQ(c.collapses, 0u);
        EXPECT_LE(c.refused_by_link, 3 * input.triangles.size() / 2);
        EXPECT_EQ(s.triangles, input.triangles);
    }
}

// A closed fan around one hub, its rim kept: every spoke would leave its
// apexes two triangles each, so each is refused, and only once.
TEST(CollapseByQuadrics, SpokesOfAWideFanAreRefusedOnceEach)
{
    constexpr std::size_t spokes = 20'000;
    const triangle_surface input = Zelkov::Meshgen::fan(spokes, true);
    triangle_surface s = input;
    const simplify_counts c = simplify(s, spokes / 10);
    EXPECT_EQ(c.collapses, 0u);
    EXPECT_EQ(c.refused_by_link, spokes);
    EXPECT_EQ(s.triangles, input.triangles);
}

TEST(DefaultMesh, ClosedOutwardTorusOfTheRequestedSize)
{
    const triangle_surface s = Zelkov::Cli::default_mesh(100'000);
    EXPECT_NEAR(static_cast<double>(s.triangles.size()), 100'000.0, 2'000.0);
    EXPECT_TRUE(is_manifold(s, get_vertex_to_triangles_map(s), true));
    EXPECT_EQ(2 * s.vertices.size(), s.triangles.size());  // genus 1: V - E + F = 0 with E = 3F/2
    EXPECT_GT(signed_volume(s), 0.0);
    triangle_surface copy = s;
    EXPECT_EQ(unique_vertices(copy).size(), s.vertices.size());
    EXPECT_EQ(copy.vertices.size(), s.vertices.size());  // no two vertices share a position
}

}  // namespace
