// features: the fields of a surface whose triangles cancel or have no area
// say where they are undefined, and the display smoothing keeps that local.

#include <processing/features.h>

#include <cmath>
#include <cstring>

#include <gtest/gtest.h>

#include <geometry/trimesh.h>

#include <meshio/meshio.h>
#include "support/fixtures.h"

namespace {

using namespace Zelkov::Processing;

TEST(Features, UndefinedValuesAreCountedAndDoNotSpread)
{
    // A tetrahedron with a zero-area sliver hung on vertex 0: the sliver's
    // other corners have no normal, so their curvature and vertex 0's are
    // undefined; smoothing must not carry that over the tetrahedron.
    triangle_surface s = Zelkov::Meshgen::tetrahedron();
    s.vertices.push_back({2, 0, 0});
    s.vertices.push_back({3, 0, 0});
    s.triangles.push_back({0, 4, 5});
    features_options o;
    o.smoothing_iterations = 1;
    const features_result r = features(s, o);
    EXPECT_EQ(r.undefined_curvature, 3u);
    EXPECT_TRUE(std::isnan(r.curvature[0]) && std::isnan(r.curvature[4]) && std::isnan(r.curvature[5]));
    for (std::size_t v = 1; v < 4; ++v) EXPECT_TRUE(std::isfinite(r.smoothed_curvature[v])) << v;
    // After one pass the sliver's far corners see only undefined values;
    // further passes reach them.
    EXPECT_EQ(r.undefined_smoothed_curvature, 2u);
    o.smoothing_iterations = 25;
    EXPECT_EQ(features(s, o).undefined_smoothed_curvature, 0u);
}

TEST(Features, BackToBackDuplicatesAreSetAsideWithoutTurningTheRest)
{
    // A closed box, one of its triangles doubled the other way round.
    triangle_surface s = Zelkov::Meshgen::box();
    const auto t = s.triangles[4];
    s.triangles.push_back({t[0], t[2], t[1]});
    const features_result r = features(s);
    EXPECT_EQ(r.back_to_back_duplicates_set_aside, 1u);
    const features_result clean = features(Zelkov::Meshgen::box());
    ASSERT_EQ(r.curvature.size(), clean.curvature.size());
    for (std::size_t v = 0; v < r.curvature.size(); ++v)
        EXPECT_EQ(r.curvature[v], clean.curvature[v]) << v;  // also the sign: no triangle turned over
    EXPECT_EQ(r.sharp_edges, clean.sharp_edges);
    // Every edge of a box but the face diagonals is sharp, and every corner lies on one.
    EXPECT_EQ(clean.sharp_edges, 12u);
    EXPECT_EQ(clean.vertices_on_sharp_edges, 8u);
}

TEST(Features, WithEveryValueDefinedTheSmoothingIsTheCores)
{
    const triangle_surface s = Zelkov::Meshgen::jittered(Zelkov::Meshgen::torus(40, 30), 0.01, 5);
    features_options o;
    o.smoothing_iterations = 7;
    const features_result r = features(s, o);
    ASSERT_EQ(r.undefined_curvature, 0u);
    const auto map = Zelkov::Geometry::get_vertex_to_triangles_map(s);
    const auto core = Zelkov::Geometry::smooth_scalar_field(s, r.curvature, map, 7);
    ASSERT_EQ(core.size(), r.smoothed_curvature.size());
    EXPECT_EQ(std::memcmp(core.data(), r.smoothed_curvature.data(), core.size() * sizeof(double)), 0);
}

TEST(Features, RealScanWithCancellingDuplicatesHasEveryValue)
{
    ZELKOV_SHARED_MESH(dragon, "dragon_res4.ply");
    triangle_surface s = Zelkov::Meshio::read_mesh_file(dragon);
    Zelkov::Geometry::unique(s, true);
    const features_result r = features(s);
    EXPECT_EQ(r.back_to_back_duplicates_set_aside, 380u);
    EXPECT_EQ(r.undefined_curvature, 0u);
    EXPECT_EQ(r.undefined_smoothed_curvature, 0u);
}

}  // namespace
