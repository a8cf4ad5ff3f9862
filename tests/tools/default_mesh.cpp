// The program's built-in mesh: a closed square-section torus of the size
// asked for, whose creases survive simplification.

#include <gtest/gtest.h>

#include <geometry/trimesh.h>
#include <processing/simplify.h>

#include "default_mesh.h"
#include "support/surface_distance.h"

namespace {

using namespace Zelkov::Geometry;

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

TEST(DefaultMesh, CreasesSurviveSimplification)
{
    const triangle_surface input = Zelkov::Cli::default_mesh(40'000);
    triangle_surface s = input;
    Zelkov::Processing::collapse_options o;
    o.target_triangles = 4000;
    const auto c = Zelkov::Processing::collapse_by_quadrics(s, o);
    EXPECT_TRUE(c.reached_target);
    // The square tube keeps its corners: the box is the same to within the jitter.
    const auto before = bounding_volume(input, false), after = bounding_volume(s, false);
    EXPECT_NEAR(after.max.z, before.max.z, 2e-4);
    EXPECT_NEAR(after.min.z, before.min.z, 2e-4);
    EXPECT_LT(Zelkov::Testing::sampled_hausdorff(input, s), 0.01);
}

}  // namespace
