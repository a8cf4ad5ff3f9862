#include <cmath>

#include <gtest/gtest.h>

#include <geometry/connectivity.h>
#include <geometry/fields.h>

#include "support/fixtures.h"

namespace {

using namespace Zelkov::Geometry;

TEST(VertexRoughness, FlatRingIsZeroAndLoneVerticesAreMarked)
{
    auto fan = Zelkov::Meshgen::fan(8);
    fan.vertices.push_back({5, 5, 5});                         // isolated
    fan.vertices.push_back(fan.vertices[1]);                   // coincides with vertex 1 ...
    fan.triangles.push_back({1, fan.vertices.size() - 1, 1});  // ... and only neighbours it
    const auto r = vertex_roughness(fan);
    ASSERT_EQ(r.size(), fan.vertices.size());
    EXPECT_NEAR(r[0], 0.0, 1e-15);
    EXPECT_GT(r[1], 0.1);  // a rim vertex: its ring lies to one side
    EXPECT_EQ(r[9], -1.0);
    EXPECT_EQ(r[10], -1.0);
    EXPECT_TRUE(vertex_roughness(triangle_surface{}).empty());
}

TEST(VertexRoughness, InverseDistanceWeightedCentre)
{
    // Ring (2,0,0) and (0,1,0): weights 1/2 and 1, centre (2/3, 2/3, 0).
    const triangle_surface s{{{0, 0, 0}, {2, 0, 0}, {0, 1, 0}}, {{0, 1, 2}}};
    const auto r = vertex_roughness(s);
    EXPECT_DOUBLE_EQ(r[0], std::sqrt(8.0) / 3.0);
}

TEST(Curvature, SphereIsAboutOneOverRadius)
{
    auto sphere = Zelkov::Meshgen::icosphere(4);
    for (auto& p : sphere.vertices) p = {2 * p.x, 2 * p.y, 2 * p.z};
    const auto k = curvature(sphere);
    double mean = 0.0;
    for (const double value : k) {
        EXPECT_NEAR(value, 0.5, 0.04);  // the twelve five-valent vertices deviate most
        mean += value / static_cast<double>(k.size());
    }
    EXPECT_NEAR(mean, 0.5, 0.005);

    auto inside_out = sphere;
    invert(inside_out);
    const auto turned = curvature(inside_out);
    for (std::size_t v = 0; v < k.size(); ++v) EXPECT_NEAR(turned[v], -k[v], 1e-12);
}

TEST(Curvature, DegenerateNeighbourhoods)
{
    triangle_surface s = Zelkov::Meshgen::grid(2, 2);
    s.vertices.push_back({7, 7, 7});  // isolated: no edges
    const auto flat = curvature(s);
    for (std::size_t v = 0; v + 1 < s.vertices.size(); ++v) EXPECT_EQ(flat[v], 0.0);
    EXPECT_EQ(flat.back(), 0.0);
    EXPECT_TRUE(curvature(triangle_surface{}).empty());

    // All neighbours at the vertex's own position: no term, positive edge count.
    const triangle_surface collapsed{{{1, 1, 1}, {1, 1, 1}, {1, 1, 1}}, {{0, 1, 2}}};
    const auto k = curvature(collapsed);
    EXPECT_EQ(k[0], 0.0);
}

}  // namespace
