// Quadric simplification on generated surfaces: targets, kept boundaries,
// valid closed output and closeness to the input (the Determinism suite
// compares thread counts).

#include <algorithm>
#include <limits>

#include <gtest/gtest.h>

#include <geometry/trimesh.h>

#include <processing/simplify.h>

#include <meshio/meshio.h>
#include <processing/surface_info.h>
#include "support/fixtures.h"
#include "support/surface_distance.h"

namespace {

using namespace Zelkov::Geometry;
using Zelkov::Processing::boundary_mode;
using Zelkov::Processing::collapse_by_quadrics;
using Zelkov::Processing::collapse_counts;
using Zelkov::Processing::collapse_options;

collapse_counts simplify(triangle_surface& s, std::size_t target, boundary_mode boundary = boundary_mode::locked)
{
    collapse_options o;
    o.target_triangles = target;
    o.boundary = boundary;
    const collapse_counts c = collapse_by_quadrics(s, o);
    remove_free_points(s);
    return c;
}

using Zelkov::Testing::most_sides_on_an_edge;

std::size_t boundary_edge_count(const triangle_surface& s)
{
    const auto sides = Zelkov::Testing::sides_per_edge(s);
    return std::count_if(sides.begin(), sides.end(), [](const auto& edge) { return edge.second == 1; });
}

TEST(CollapseByQuadrics, ClosedSurfaceReachesTargetAndStaysClosedAndClose)
{
    const triangle_surface input = Zelkov::Meshgen::icosphere(5);  // 20480 triangles
    triangle_surface s = input;
    const collapse_counts c = simplify(s, 2000);
    EXPECT_TRUE(c.reached_target);
    // A pass collapses every edge whose ends no collapse of the pass used: 7
    // passes here (keeping the stars of the pass's edges apart took 15).
    EXPECT_LE(c.passes, 8u);
    EXPECT_LE(s.triangles.size(), 2000u);
    EXPECT_GE(s.triangles.size(), 1996u);
    EXPECT_EQ(c.triangles_before - c.removed_triangles, s.triangles.size());
    EXPECT_EQ(c.boundary_edges + c.non_manifold_edges, 0u);
    ASSERT_TRUE(is_valid(s));
    EXPECT_TRUE(is_manifold(s, get_vertex_to_triangles_map(s), true));
    EXPECT_LT(Zelkov::Testing::sampled_hausdorff(input, s), 0.01);
    // No triangle turned over: each faces away from the centre, as the sphere's did.
    for (const auto& t : s.triangles) {
        const auto n = normal(t, s, false);
        const auto &p = s.vertices[t[0]], &q = s.vertices[t[1]], &r = s.vertices[t[2]];
        EXPECT_GT(n.x * (p.x + q.x + r.x) + n.y * (p.y + q.y + r.y) + n.z * (p.z + q.z + r.z), 0.0);
    }
}

// A flat rectangle in every boundary mode: interior collapses keep every
// vertex in the plane; a locked boundary keeps every edge, a sliding or free
// one keeps its vertices on the sides (the planes upright on the boundary
// hold the corners), so the rectangle and its area stay.
TEST(CollapseByQuadrics, FlatRectangleInEveryBoundaryMode)
{
    for (const auto mode : {boundary_mode::locked, boundary_mode::slide, boundary_mode::free}) {
        SCOPED_TRACE(static_cast<int>(mode));
        triangle_surface s = Zelkov::Meshgen::grid(40, 30);
        const collapse_counts c = simplify(s, mode == boundary_mode::locked ? 300 : 40, mode);
        EXPECT_TRUE(c.reached_target);
        EXPECT_EQ(c.boundary_edges, 2u * (40 + 30));
        ASSERT_TRUE(is_valid(s));
        EXPECT_EQ(most_sides_on_an_edge(s), 2u);
        if (mode == boundary_mode::locked) {
            EXPECT_EQ(boundary_edge_count(s), 2u * (40 + 30));
        } else {
            EXPECT_LT(boundary_edge_count(s), 2u * (40 + 30));
        }
        for (const auto& p : s.vertices) {
            EXPECT_EQ(p.z, 0.0);
            EXPECT_TRUE(p.x >= 0.0 && p.x <= 40.0 && p.y >= 0.0 && p.y <= 30.0);
        }
        const auto box = bounding_volume(s, false);
        EXPECT_TRUE(box.min.x == 0.0 && box.min.y == 0.0 && box.max.x == 40.0 && box.max.y == 30.0);
        EXPECT_NEAR(area(s), 40.0 * 30.0, 1e-6);
    }
}

// A strip one square wide, its boundary sliding: each collapse along a side
// hands the constraint on to the next vertex, so the sides shrink to their
// corners.
TEST(CollapseByQuadrics, SlidingBoundaryCollapsesAlongItsWholeLength)
{
    triangle_surface s = Zelkov::Meshgen::grid(40, 1);
    const collapse_counts c = simplify(s, 2, boundary_mode::slide);
    EXPECT_TRUE(c.reached_target);
    ASSERT_EQ(s.vertices.size(), 4u);
    EXPECT_NEAR(area(s), 40.0, 1e-9);
}

// A grid folded to a right angle along x = 10: the crease is a feature
// line, whose vertices move only along it.
TEST(CollapseByQuadrics, FeatureEdgesKeepTheirLine)
{
    triangle_surface s = Zelkov::Meshgen::grid(20, 20);
    for (auto& p : s.vertices)
        if (p.x > 10.0) p = {10.0, p.y, p.x - 10.0};
    collapse_options o;
    o.target_triangles = 250;
    o.feature_angle_degrees = 45.0;
    const collapse_counts c = collapse_by_quadrics(s, o);
    remove_free_points(s);
    EXPECT_EQ(c.feature_edges, 20u);
    EXPECT_TRUE(c.reached_target);
    ASSERT_TRUE(is_valid(s));
    EXPECT_EQ(most_sides_on_an_edge(s), 2u);
    double crease = 0.0;
    for (const auto& p : s.vertices) EXPECT_TRUE(p.z == 0.0 || p.x == 10.0);
    for (const auto& t : s.triangles)
        for (int e = 0; e < 3; ++e) {
            const auto &p = s.vertices[t[e]], &q = s.vertices[t[(e + 1) % 3]];
            if (t[e] < t[(e + 1) % 3] && p.x == 10.0 && p.z == 0.0 && q.x == 10.0 && q.z == 0.0)
                crease += std::abs(p.y - q.y);
        }
    EXPECT_EQ(crease, 20.0);
}

TEST(CollapseByQuadrics, AnErrorBoundStopsEarlierAndPinnedVerticesStay)
{
    // Shuffled, so that the simplifier works in a numbering of its own and maps back.
    const triangle_surface input = Zelkov::Meshgen::shuffled(Zelkov::Meshgen::icosphere(4), 3);  // 5120 triangles
    std::vector<unsigned char> pinned(input.vertices.size(), 0);
    for (std::size_t v = 0; v < pinned.size(); v += 7) pinned[v] = 1;
    collapse_options o;
    o.target_triangles = 100;
    o.max_error = 2e-3;
    triangle_surface s = input;
    const collapse_counts bounded = collapse_by_quadrics(s, o, pinned);
    EXPECT_FALSE(bounded.reached_target);
    EXPECT_GT(bounded.collapses, 1000u);
    EXPECT_LE(bounded.largest_distance, 2e-3);
    EXPECT_EQ(bounded.pinned_vertices, static_cast<std::size_t>(std::count(pinned.begin(), pinned.end(), 1)));
    for (std::size_t v = 0; v < pinned.size(); ++v)
        if (pinned[v]) {
            EXPECT_EQ(bounded.survivor[v], v);
            EXPECT_EQ(s.vertices[v], input.vertices[v]);
        }
    o.max_error = std::numeric_limits<double>::infinity();
    s = input;
    const collapse_counts unbounded = collapse_by_quadrics(s, o);
    EXPECT_TRUE(unbounded.reached_target);
    EXPECT_GT(unbounded.largest_distance, 2e-3);
    // Each triangle left names the survivors of its input corners, in the input's order.
    ASSERT_TRUE(is_valid(s));
    for (const auto& t : s.triangles)
        for (const std::size_t v : t) EXPECT_EQ(unbounded.survivor[v], v);
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
        const collapse_counts c = simplify(s, 0);
        EXPECT_FALSE(c.reached_target);
        EXPECT_EQ(c.collapses, 0u);
        EXPECT_LE(c.refused_by_link, 3 * input.triangles.size() / 2);
        EXPECT_EQ(s.triangles, input.triangles);
    }
}

// A closed fan around one hub, its rim kept: the hub could only go into a rim
// vertex, and a vertex with that many triangles is never removed, so no spoke
// is even tried.
TEST(CollapseByQuadrics, HubsAreNeverRemoved)
{
    constexpr std::size_t spokes = 20'000;
    const triangle_surface input = Zelkov::Meshgen::fan(spokes, true);
    triangle_surface s = input;
    const collapse_counts c = simplify(s, spokes / 10);
    EXPECT_EQ(c.collapses, 0u);
    EXPECT_EQ(c.refused_by_link + c.refused_by_normal, 0u);
    EXPECT_EQ(s.triangles, input.triangles);
}

}  // namespace

namespace {

using Zelkov::Processing::simplify_options;
using Zelkov::Processing::simplify_result;

TEST(SimplifyJob, TheVertexMapFollowsEveryInputVertex)
{
    // A soup: the job welds it first, so the map has to go through the weld too.
    const triangle_surface input = Zelkov::Meshgen::soup(Zelkov::Meshgen::icosphere(3));
    triangle_surface s = input;
    simplify_options o;
    o.target_triangles = 200;
    const simplify_result r = Zelkov::Processing::simplify(s, o);
    EXPECT_TRUE(r.collapse.reached_target);
    EXPECT_TRUE(r.valid);
    EXPECT_TRUE(r.closed_and_consistently_oriented);
    ASSERT_EQ(r.vertex_map.size(), input.vertices.size());
    std::vector<unsigned char> hit(s.vertices.size(), 0);
    for (std::size_t v = 0; v < input.vertices.size(); ++v) {
        ASSERT_LT(r.vertex_map[v], s.vertices.size()) << v;
        hit[r.vertex_map[v]] = 1;
        // Copies of one point end in the same vertex, near where they were.
        EXPECT_EQ(r.vertex_map[v], r.vertex_map[r.weld.vertex_map[v] == r.weld.vertex_map[0] ? 0 : v]);
        const auto& p = input.vertices[v];
        const auto& q = s.vertices[r.vertex_map[v]];
        EXPECT_LT(std::hypot(p.x - q.x, p.y - q.y, p.z - q.z), 0.5) << v;
    }
    EXPECT_EQ(std::count(hit.begin(), hit.end(), 1), static_cast<long>(s.vertices.size()));
    EXPECT_EQ(r.curvature.size(), s.vertices.size());
}

TEST(SimplifyJob, LockedInputVerticesStayThroughTheWeld)
{
    // A soup: each point has several copies, and locking one copy locks the welded point.
    const triangle_surface input = Zelkov::Meshgen::soup(Zelkov::Meshgen::icosphere(3));
    simplify_options o;
    o.target_triangles = 100;
    o.locked.assign(input.vertices.size(), 0);
    for (std::size_t v = 0; v < input.vertices.size(); v += 40) o.locked[v] = 1;
    triangle_surface s = input;
    const simplify_result r = Zelkov::Processing::simplify(s, o);
    EXPECT_TRUE(r.valid);
    for (std::size_t v = 0; v < input.vertices.size(); ++v)
        if (o.locked[v]) {
            ASSERT_LT(r.vertex_map[v], s.vertices.size());
            EXPECT_EQ(s.vertices[r.vertex_map[v]], input.vertices[v]) << v;
        }
    o.locked.pop_back();
    EXPECT_THROW(Zelkov::Processing::simplify(s, o), std::invalid_argument);
}

TEST(SimplifyJob, ARelativeErrorBoundScalesWithTheBoxDiagonal)
{
    simplify_options o;
    o.max_error_relative = 1e-3;
    o.max_error = 1.0;
    triangle_surface s = Zelkov::Meshgen::box(3, 4, 12);  // diagonal 13
    EXPECT_DOUBLE_EQ(Zelkov::Processing::simplify(s, o).error_bound, 13e-3);
    o.max_error = 1e-3;
    s = Zelkov::Meshgen::box(3, 4, 12);
    EXPECT_EQ(Zelkov::Processing::simplify(s, o).error_bound, 1e-3);
}

TEST(SimplifyJob, RealMeshesReachTheirTargetCloseToTheInput)
{
    const struct {
        const char* name;
        double ratio;
        bool locked_boundary, closed;
    } meshes[] = {{"fandisk.obj", 0.1, true, true},
                  {"knot.ply", 0.2, true, true},
                  {"bunny.obj", 0.1, true, false},
                  {"bunny.obj", 0.05, false, false}};
    for (const auto& m : meshes) {
        ZELKOV_SHARED_MESH(path, m.name);
        SCOPED_TRACE(std::string(m.name) + (m.locked_boundary ? "" : ", boundary collapsed"));
        const triangle_surface input = Zelkov::Meshio::read_mesh_file(path);
        triangle_surface s = input;
        simplify_options o;
        o.ratio = m.ratio;
        o.boundary = m.locked_boundary ? boundary_mode::locked : boundary_mode::free;
        const simplify_result r = Zelkov::Processing::simplify(s, o);
        EXPECT_TRUE(r.collapse.reached_target);
        EXPECT_LE(s.triangles.size(), r.target_triangles);
        EXPECT_GE(s.triangles.size() + 4, r.target_triangles);
        EXPECT_TRUE(r.valid);
        EXPECT_EQ(r.closed_and_consistently_oriented, m.closed);
        EXPECT_LT(Zelkov::Testing::sampled_hausdorff(input, s), 0.01 * Zelkov::Testing::box_diagonal(input));
        // The boundary stays where it is unless it may collapse, and never pinches.
        const auto after = Zelkov::Processing::inspect(s, {false});
        EXPECT_EQ(after.edges.non_manifold + after.vertex_classes.pinch, 0u);
        EXPECT_EQ(after.connected_components, 1u);
        if (m.locked_boundary) {
            EXPECT_EQ(after.edges.boundary, r.collapse.boundary_edges);
        } else {
            EXPECT_LT(after.edges.boundary, r.collapse.boundary_edges);
        }
    }
}

TEST(SimplifyJob, ReportsTheCollapsesAsTheyGoAndStopsWhenAsked)
{
    const triangle_surface input = Zelkov::Meshgen::torus(200, 100);
    std::vector<double> fractions;
    const auto watch = [&](const Zelkov::Processing::progress_event& e) {
        if (e.stage == "collapses") fractions.push_back(e.fraction);
        return true;
    };
    triangle_surface s = input;
    Zelkov::Processing::simplify(s, {}, watch);
    ASSERT_GT(fractions.size(), 50u);
    EXPECT_EQ(fractions.front(), 0.0);
    EXPECT_EQ(fractions.back(), 1.0);
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));

    const auto stop_halfway = [](const Zelkov::Processing::progress_event& e) {
        return e.stage != "collapses" || e.fraction < 0.5;
    };
    triangle_surface t = input;
    EXPECT_THROW(Zelkov::Processing::simplify(t, {}, stop_halfway), Zelkov::Processing::cancelled);
}

}  // namespace
