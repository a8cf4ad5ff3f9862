// weld: soups become surfaces, the vertex map follows every point, and the
// options drop exactly what they name.

#include <processing/weld.h>

#include <limits>

#include <gtest/gtest.h>

#include <geometry/trimesh.h>

#include <meshio/meshio.h>
#include "support/fixtures.h"

namespace {

using namespace Zelkov::Processing;
constexpr std::size_t removed = std::numeric_limits<std::size_t>::max();

TEST(Weld, SoupBecomesAClosedSurfaceAndTheMapFollowsEachPoint)
{
    const triangle_surface soup = Zelkov::Meshgen::shuffled(Zelkov::Meshgen::soup(Zelkov::Meshgen::box()), 3);
    triangle_surface s = soup;
    const weld_result r = weld(s);
    EXPECT_EQ(s.vertices.size(), 8u);
    EXPECT_EQ(r.vertices_merged, 28u);
    EXPECT_EQ(r.triangles_merged, 0u);
    EXPECT_TRUE(Zelkov::Geometry::is_manifold(s, Zelkov::Geometry::get_vertex_to_triangles_map(s), true));
    ASSERT_EQ(r.vertex_map.size(), soup.vertices.size());
    for (std::size_t v = 0; v < soup.vertices.size(); ++v) {
        ASSERT_LT(r.vertex_map[v], s.vertices.size());
        EXPECT_EQ(s.vertices[r.vertex_map[v]].x, soup.vertices[v].x);
        EXPECT_EQ(s.vertices[r.vertex_map[v]].z, soup.vertices[v].z);
    }
}

TEST(Weld, OptionsDropDegenerateTrianglesAndFreePoints)
{
    // Two copies of a point, a triangle that flattens when they merge, a
    // back-to-back pair and a free point.
    triangle_surface s;
    s.vertices = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 0}, {5, 5, 5}};
    s.triangles = {{0, 1, 2}, {3, 1, 0}, {0, 2, 1}};
    triangle_surface kept = s;
    weld_options keep_all;
    keep_all.remove_free_points = false;
    const weld_result k = weld(kept, keep_all);
    EXPECT_EQ(kept.triangles.size(), 3u);  // the pair runs both ways: not merged
    EXPECT_EQ(k.free_vertices_removed, 0u);
    EXPECT_EQ(k.vertex_map[0], k.vertex_map[3]);

    weld_options drop;
    drop.remove_degenerate = true;
    drop.consider_orientation = false;
    const weld_result d = weld(s, drop);
    EXPECT_EQ(d.triangles_merged, 1u);
    EXPECT_EQ(d.degenerate_removed, 1u);
    EXPECT_EQ(d.free_vertices_removed, 1u);
    EXPECT_EQ(s.triangles.size(), 1u);
    EXPECT_EQ(s.vertices.size(), 3u);
    EXPECT_EQ(d.vertex_map[4], removed);
    EXPECT_TRUE(Zelkov::Geometry::is_valid(s));
}

TEST(Weld, RealFilesLoseExactlyTheirDuplicates)
{
    const struct {
        const char* name;
        bool either_way, drop_degenerate;
        std::size_t vertices_merged, triangles_merged, degenerate, free, vertices_after;
        bool closed_after;
    } files[] = {
        {"thingi243015_genus32.stl", false, false, 9402, 0, 0, 0, 1806, true},
        {"teapot_soup.stl", false, false, 2202, 0, 0, 0, 480, false},
        {"two_cubes_edge.stl", false, false, 58, 0, 0, 0, 14, false},
        {"bunny.obj", false, false, 0, 0, 0, 1113, 34834, false},
        {"dragon_res4.ply", true, false, 0, 502, 0, 2, 5203, false},
        // Welding the capsule's poles flattens 200 triangles, which go.
        {"capsule_degenerate.obj", false, true, 250, 0, 200, 0, 5002, true},
    };
    for (const auto& f : files) {
        ZELKOV_SHARED_MESH(path, f.name);
        SCOPED_TRACE(f.name);
        triangle_surface s = Zelkov::Meshio::read_mesh_file(path);
        weld_options o;
        o.consider_orientation = !f.either_way;
        o.remove_degenerate = f.drop_degenerate;
        const weld_result r = weld(s, o);
        EXPECT_EQ(r.vertices_merged, f.vertices_merged);
        EXPECT_EQ(r.triangles_merged, f.triangles_merged);
        EXPECT_EQ(r.degenerate_removed, f.degenerate);
        EXPECT_EQ(r.free_vertices_removed, f.free);
        EXPECT_EQ(s.vertices.size(), f.vertices_after);
        EXPECT_EQ(Zelkov::Geometry::is_manifold(s, Zelkov::Geometry::get_vertex_to_triangles_map(s), true),
                  f.closed_after);
    }
}

}  // namespace
