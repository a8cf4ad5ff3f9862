#include <cmath>

#include <gtest/gtest.h>

#include <geometry/triangle_surface.h>

#include "meshgen.h"

namespace {

using namespace Zelkov::Geometry;
using tri = std::array<std::size_t, 3>;

matrix4x4<double> diagonal(double sx, double sy, double sz)
{
    return {{sx, 0, 0, 0, 0, sy, 0, 0, 0, 0, sz, 0, 0, 0, 0, 1}};
}

TEST(Transform, MapsRowVectorsWithTranslationInTheLastRow)
{
    triangle_surface s{{{1, 2, 3}}, {}};
    // x' = y, y' = -x, z' = z, then + (10, 20, 30).
    transform(s, {{0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 10, 20, 30, 1}});
    EXPECT_EQ(s.vertices[0].x, 12.0);
    EXPECT_EQ(s.vertices[0].y, 19.0);
    EXPECT_EQ(s.vertices[0].z, 33.0);
}

TEST(Transform, TurnsTrianglesOverExactlyForNegativeDeterminants)
{
    const auto box = Zelkov::Meshgen::box();
    auto swapped = [](tri t) { return tri{t[1], t[0], t[2]}; };

    auto mirrored = box;
    transform(mirrored, diagonal(-1, 1, 1));
    for (std::size_t t = 0; t < box.triangles.size(); ++t) EXPECT_EQ(mirrored.triangles[t], swapped(box.triangles[t]));
    EXPECT_EQ(mirrored.vertices[1].x, -1.0);

    auto rotated = box;
    transform(rotated, diagonal(-1, -1, 1));
    EXPECT_EQ(rotated.triangles, box.triangles);

    auto flattened = box;
    transform(flattened, diagonal(1, 1, 0));
    EXPECT_EQ(flattened.triangles, box.triangles);

    // The projective column takes no part, neither in mapping (no division)
    // nor in the sign. With the translation (1, 1, 1), the full determinant
    // is positive, and so it stays with any one of m[3], m[7], m[11] or m[15]
    // left as given and the rest reset.
    auto noisy = box;
    auto m = diagonal(-1, 1, 1);
    m.m[12] = m.m[13] = m.m[14] = 1;
    m.m[3] = -2;
    m.m[7] = m.m[11] = 2;
    m.m[15] = -1;
    transform(noisy, m);
    EXPECT_EQ(noisy.vertices, translate(mirrored, {1, 1, 1}).vertices);
    EXPECT_EQ(noisy.triangles, mirrored.triangles);

    auto nan = box;
    transform(nan, diagonal(std::nan(""), 1, 1));
    EXPECT_EQ(nan.triangles, box.triangles);
}

TEST(Invert, SwapsTheFirstTwoCornersOfTheNamedTriangles)
{
    const auto box = Zelkov::Meshgen::box();
    auto all = box;
    invert(all);
    EXPECT_EQ(all.triangles[0], (tri{box.triangles[0][1], box.triangles[0][0], box.triangles[0][2]}));
    auto listed = box;
    std::vector<std::size_t> every(box.triangles.size());
    for (std::size_t t = 0; t < every.size(); ++t) every[t] = t;
    invert(listed, every);
    EXPECT_EQ(listed.triangles, all.triangles);
    invert(all);
    EXPECT_EQ(all.triangles, box.triangles);

    auto twice = box;
    invert(twice, {3, 3, 5});
    EXPECT_EQ(twice.triangles[3], box.triangles[3]);
    EXPECT_NE(twice.triangles[5], box.triangles[5]);
    invert(twice, {});
    EXPECT_NE(twice.triangles[5], box.triangles[5]);
}

}  // namespace
