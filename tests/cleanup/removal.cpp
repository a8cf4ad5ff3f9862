#include <limits>

#include <gtest/gtest.h>

#include <geometry/cleanup.h>

#include "support/fixtures.h"

namespace {

using namespace Zelkov::Geometry;
using Zelkov::Testing::point3;
using Zelkov::Testing::tri;
using list = std::vector<std::size_t>;

constexpr std::size_t removed = std::numeric_limits<std::size_t>::max();

/// Five triangles t0..t4; triangle k is {k, k, k}, so it names itself.
triangle_surface five() { return {{}, {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}, {3, 3, 3}, {4, 4, 4}}}; }

std::vector<std::size_t> names(const triangle_surface& s)
{
    std::vector<std::size_t> out;
    for (const auto& t : s.triangles) out.push_back(t[0]);
    return out;
}

TEST(RemoveTriangles, FillsHolesFromTheEnd)
{
    const std::vector<std::pair<list, list>> cases{
        {{1, 3}, {0, 4, 2}},       {{1, 4}, {0, 3, 2}},   {{0, 1, 2, 3, 4}, {}}, {{1, 1}, {0, 3, 2}},
        {{2, 7, 9}, {0, 1, 4, 3}}, {{}, {0, 1, 2, 3, 4}}, {{4}, {0, 1, 2, 3}},   {{0}, {4, 1, 2, 3}},
    };
    for (const auto& [indices, expected] : cases) {
        auto s = five();
        remove_triangles(s, indices);
        EXPECT_EQ(names(s), expected) << ::testing::PrintToString(indices);
    }
    triangle_surface empty;
    remove_triangles(empty, {0, 1});
    EXPECT_TRUE(empty.triangles.empty());
}

TEST(RemoveFreePoints, KeepsOrderAndMarksRemovedVertices)
{
    triangle_surface s{{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}}, {{1, 3, 4}}};
    const auto capacity = s.vertices.capacity();
    list map{7, 7};
    EXPECT_TRUE(remove_free_points(s, map));
    EXPECT_EQ(map, (list{removed, 0, removed, 1, 2}));
    EXPECT_EQ(s.vertices, (std::vector<point3>{{1, 0, 0}, {3, 0, 0}, {4, 0, 0}}));
    EXPECT_EQ(s.vertices.capacity(), capacity);
    EXPECT_EQ(s.triangles[0], (tri{0, 1, 2}));

    // Nothing free: false, surface as it was, the identity even over a full vector.
    const auto box = Zelkov::Meshgen::box();
    auto same = box;
    list identity(20, 5);
    EXPECT_FALSE(remove_free_points(same, identity));
    EXPECT_EQ(identity, (list{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(same.vertices, box.vertices);
    EXPECT_EQ(same.triangles, box.triangles);

    triangle_surface points_only{{{0, 0, 0}, {1, 1, 1}}, {}};
    EXPECT_TRUE(remove_free_points(points_only, map));
    EXPECT_EQ(map, (list{removed, removed}));
    EXPECT_TRUE(points_only.vertices.empty());

    triangle_surface empty;
    EXPECT_FALSE(remove_free_points(empty, map));
    EXPECT_TRUE(map.empty());
}

TEST(CopyTriangles, ListedTrianglesNumberVerticesByFirstUse)
{
    triangle_surface source;
    for (int i = 0; i < 8; ++i) source.vertices.push_back({double(i), 0, 0});
    source.triangles = {{4, 2, 0}, {0, 2, 7}, {1, 1, 1}};
    triangle_surface target;
    copy_triangles(target, source, {0, 1});
    EXPECT_EQ(target.vertices, (std::vector<point3>{{4, 0, 0}, {2, 0, 0}, {0, 0, 0}, {7, 0, 0}}));
    EXPECT_EQ(target.triangles, (std::vector<tri>{{0, 1, 2}, {2, 1, 3}}));
    EXPECT_GE(target.vertices.capacity(), 4u);

    // A second call knows nothing of the first; a repeated entry adds no vertex.
    copy_triangles(target, source, {1, 1});
    EXPECT_EQ(target.vertices.size(), 7u);
    EXPECT_EQ(target.triangles[2], (tri{4, 5, 6}));
    EXPECT_EQ(target.triangles[3], (tri{4, 5, 6}));

    const auto before = target;
    copy_triangles(target, source, {});
    EXPECT_EQ(target.vertices, before.vertices);
    EXPECT_EQ(target.triangles, before.triangles);
}

TEST(CopyTriangles, WholeSurfaceIsAppendedWithAnOffset)
{
    const auto box = Zelkov::Meshgen::box();
    triangle_surface target;
    copy_triangles(target, box);
    EXPECT_EQ(target.vertices, box.vertices);
    EXPECT_EQ(target.triangles, box.triangles);

    copy_triangles(target, box);
    EXPECT_EQ(target.vertices.size(), 16u);
    EXPECT_EQ(target.vertices.capacity(), 16u);
    EXPECT_EQ(target.triangles[12], (tri{box.triangles[0][0] + 8, box.triangles[0][1] + 8, box.triangles[0][2] + 8}));
}

}  // namespace
