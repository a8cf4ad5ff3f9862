#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include <geometry/measures.h>
#include <math/vecmath.h>

#include "measures/uneven_surface.h"
#include "meshgen.h"

namespace {

using namespace Zelkov::Geometry;
using Zelkov::Testing::bits;
using point3 = point<double, 3>;

constexpr double big = std::numeric_limits<double>::max();

void expect_empty_box(const boundingbox<double, 3>& box)
{
    for (const double v : {box.min.x, box.min.y, box.min.z}) EXPECT_EQ(bits(v), bits(big));
    for (const double v : {box.max.x, box.max.y, box.max.z}) EXPECT_EQ(bits(v), bits(-big));
}

void expect_nan(const point3& p)
{
    EXPECT_TRUE(std::isnan(p.x));
    EXPECT_TRUE(std::isnan(p.y));
    EXPECT_TRUE(std::isnan(p.z));
}

TEST(WholeSurfaceMeasures, WithoutTriangles)
{
    const triangle_surface nothing;
    EXPECT_EQ(area(nothing), 0.0);
    EXPECT_EQ(signed_volume(nothing), 0.0);  // must not read vertices[0]
    EXPECT_EQ(volume(nothing), 0.0);
    expect_nan(barycenter(nothing));
    expect_empty_box(bounding_volume(nothing, true));
    expect_empty_box(bounding_volume(nothing, false));

    const triangle_surface points{{{1, 2, 3}, {-1, 5, 0}}, {}};
    EXPECT_EQ(signed_volume(points), 0.0);
    expect_nan(barycenter(points));
    expect_empty_box(bounding_volume(points, false));
    const auto box = bounding_volume(points, true);
    EXPECT_EQ(box.min, (point3{-1, 2, 0}));
    EXPECT_EQ(box.max, (point3{1, 5, 3}));
}

TEST(SignedVolume, UnitCubeBeforeAndAfterInvert)
{
    for (const auto& cube : {Zelkov::Meshgen::box(), Zelkov::Meshgen::shuffled(Zelkov::Meshgen::box(), 5)}) {
        EXPECT_DOUBLE_EQ(signed_volume(cube), 1.0);
        EXPECT_DOUBLE_EQ(volume(cube), 1.0);
        EXPECT_DOUBLE_EQ(area(cube), 6.0);
        auto inverted = cube;
        invert(inverted);
        EXPECT_DOUBLE_EQ(signed_volume(inverted), -1.0);
        EXPECT_DOUBLE_EQ(volume(inverted), 1.0);
    }
    const auto tetrahedron = Zelkov::Meshgen::tetrahedron();
    EXPECT_DOUBLE_EQ(signed_volume(tetrahedron), 1.0 / 6.0);
}

TEST(SignedVolume, ReferenceIsTheFirstVertex)
{
    // An open surface: its signed volume follows vertices[0], so moving the
    // whole surface leaves it alone (a fixed origin as reference would not).
    auto open = Zelkov::Meshgen::box(2, 1, 3);
    open.triangles.pop_back();
    const double before = signed_volume(open);
    const double after = signed_volume(translate(open, {40, -7, 12}));
    EXPECT_NEAR(after, before, 1e-12);

    // Vertex 3 lies in the plane of the missing triangle, vertex 0 does not.
    auto other_first = open;
    std::swap(other_first.vertices[0], other_first.vertices[3]);
    for (auto& t : other_first.triangles)
        for (auto& v : t) v = v == 0 ? 3 : v == 3 ? 0 : v;
    EXPECT_GT(std::fabs(signed_volume(other_first) - before), 0.1);
}

TEST(BoundingVolume, FreePointsAndNaNCoordinates)
{
    auto cube = Zelkov::Meshgen::box();
    cube.vertices.push_back({5, -1, 0.5});
    const auto used = bounding_volume(cube, false);
    EXPECT_EQ(used.min, (point3{0, 0, 0}));
    EXPECT_EQ(used.max, (point3{1, 1, 1}));
    const auto all = bounding_volume(cube, true);
    EXPECT_EQ(all.min, (point3{0, -1, 0}));
    EXPECT_EQ(all.max, (point3{5, 1, 1}));

    // A NaN is skipped on its own axis; the other axes of that point count.
    const double nan = std::nan("");
    const triangle_surface partial{{{nan, 1, 2}, {3, nan, 4}, {nan, nan, nan}}, {{0, 1, 2}}};
    for (const bool use_all : {true, false}) {
        const auto box = bounding_volume(partial, use_all);
        EXPECT_EQ(box.min, (point3{3, 1, 2}));
        EXPECT_EQ(box.max, (point3{3, 1, 4}));
    }
    // Strict tests: -0.0 does not replace a 0.0 already there.
    const auto zeros = bounding_volume(triangle_surface{{{0, 0, 0}, {-0.0, -0.0, -0.0}}, {}}, true);
    EXPECT_FALSE(std::signbit(zeros.min.x));
    EXPECT_FALSE(std::signbit(zeros.max.z));
}

TEST(Barycenter, AreaWeightedCentroids)
{
    auto cube = Zelkov::Meshgen::box(2, 4, 6);
    cube.vertices.push_back({100, 100, 100});  // free points play no part
    const point3 b = barycenter(cube);
    EXPECT_DOUBLE_EQ(b.x, 1.0);
    EXPECT_DOUBLE_EQ(b.y, 2.0);
    EXPECT_DOUBLE_EQ(b.z, 3.0);

    // A large and a small triangle: the weights are the areas.
    const triangle_surface two{{{0, 0, 0}, {3, 0, 0}, {0, 3, 0}, {10, 0, 0}, {11, 0, 0}, {10, 1, 0}},
                               {{0, 1, 2}, {3, 4, 5}}};
    const point3 weighted = barycenter(two);
    EXPECT_DOUBLE_EQ(weighted.x, (4.5 * 1.0 + 0.5 * 31.0 / 3.0) / 5.0);
    EXPECT_DOUBLE_EQ(weighted.y, (4.5 * 1.0 + 0.5 * 1.0 / 3.0) / 5.0);

    // Zero-area triangles weigh nothing, and alone they give 0/0.
    auto with_sliver = two;
    with_sliver.triangles.push_back({0, 1, 1});
    EXPECT_EQ(barycenter(with_sliver), weighted);
    expect_nan(barycenter(triangle_surface{{{0, 0, 0}, {1, 1, 1}}, {{0, 1, 1}}}));
}

}  // namespace
