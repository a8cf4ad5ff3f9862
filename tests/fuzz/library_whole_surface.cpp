// Every whole-surface operation on an arbitrary valid surface: nothing
// crashes or reads out of bounds, and the promises that can be checked
// cheaply hold.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <vector>

#include <geometry/trimesh.h>

#include "library_input.h"

using namespace Zelkov::Geometry;

namespace {

bool every_new_index_occurs(const std::vector<std::size_t>& old_to_new, std::size_t count)
{
    std::vector<bool> seen(count);
    for (const std::size_t n : old_to_new) {
        if (n >= count) return false;
        seen[n] = true;
    }
    return std::find(seen.begin(), seen.end(), false) == seen.end();
}

void measures_and_connectivity(const triangle_surface& s, const vertex_to_triangles_map& map)
{
    (void)area(s);
    (void)volume(s);
    (void)bounding_volume(s, true);
    (void)bounding_volume(s, false);
    (void)barycenter(s);
    (void)inertia(s);
    ZELKOV_FUZZ_CHECK(map.size() == s.vertices.size());
    ZELKOV_FUZZ_CHECK(check_vertex_to_triangles_map(s, map));
    const auto all = triangle_neighbour_indices(s, map);
    for (std::size_t t = 0; t < s.triangles.size(); ++t) {
        (void)area(t, s);
        (void)normal(t, s, true);
        (void)triangle_quality(t, s);
        (void)is_sharp(t, s, 0.3);
        double a0, a1, a2, radius;
        angles(a0, a1, a2, t, s);
        point<double, 3> centre;
        circumsphere(centre, radius, t, s);
        ZELKOV_FUZZ_CHECK(all[t] == triangle_neighbour_indices(s, map, t));
        for (std::size_t c = 0; c < 3; ++c) {
            const std::array<std::size_t, 2> e{s.triangles[t][c], s.triangles[t][(c + 1) % 3]};
            const auto on = triangle_indices_from_edge(e, s, map, false);
            ZELKOV_FUZZ_CHECK(std::is_sorted(on.begin(), on.end()));
            ZELKOV_FUZZ_CHECK(is_boundary_edge(e, s, map) == (on.size() == 1));
            ZELKOV_FUZZ_CHECK(is_non_manifold_edge(e, s, map) == (on.size() >= 3));
            ZELKOV_FUZZ_CHECK(!is_manifold_edge(e, s, map, true) || is_manifold_edge(e, s, map, false));
            (void)is_sharp_edge(e, s, map, 30.0, c == 1);
        }
    }
    for (std::size_t v = 0; v < map.size(); ++v) {
        (void)normal(v, s, map);
        const auto ring = one_ring_vertices_from_vertex(v, s, map);
        ZELKOV_FUZZ_CHECK(std::adjacent_find(ring.begin(), ring.end(), std::greater_equal<>()) == ring.end());
        ZELKOV_FUZZ_CHECK(edges_from_vertex(v, s, map).size() == ring.size());
        (void)is_boundary_vertex(v, s, map);
        (void)is_non_manifold_vertex(v, s, map);
        (void)vertex_on_sharp_edge(v, s, map, 45.0, true);
    }
    for (const bool oriented : {false, true})
        ZELKOV_FUZZ_CHECK(s.triangles.empty() ? !is_bad(s, map, oriented)
                                              : is_bad(s, map, oriented) != is_manifold(s, map, oriented));
    ZELKOV_FUZZ_CHECK(count_topologically_degenerate_triangles(s) <= s.triangles.size());
    (void)adjacency_matrix(s, false);
    (void)adjacency_matrix(s, true);
    const auto counts = adjacency_matrix_with_edge_count(s, true);
    ZELKOV_FUZZ_CHECK(classify_vertex_topology(counts).size() == s.vertices.size());
    std::ostringstream report;
    investigate(s, map, report);
    const std::string text = report.str();
    ZELKOV_FUZZ_CHECK(std::count(text.begin(), text.end(), '\n') == 9);
}

void cleanup(const triangle_surface& s, Zelkov::Fuzzing::input& in)
{
    auto merged = s;
    const auto vertex_map = unique_vertices(merged);
    ZELKOV_FUZZ_CHECK(is_valid(merged) && vertex_map.size() == s.vertices.size());
    ZELKOV_FUZZ_CHECK(every_new_index_occurs(vertex_map, merged.vertices.size()));
    ZELKOV_FUZZ_CHECK(merged.triangles.size() == s.triangles.size());
    for (const bool oriented : {false, true}) {
        auto sorted = s;
        const auto triangle_map = unique_triangles(sorted, oriented);
        ZELKOV_FUZZ_CHECK(std::adjacent_find(sorted.triangles.begin(), sorted.triangles.end(),
                                             std::greater_equal<>()) == sorted.triangles.end());
        ZELKOV_FUZZ_CHECK(every_new_index_occurs(triangle_map, sorted.triangles.size()));
        auto both = s;
        const auto maps = unique(both, oriented);
        ZELKOV_FUZZ_CHECK(is_valid(both) && maps.first.size() == s.vertices.size() &&
                          maps.second.size() == s.triangles.size());
    }

    auto trimmed = s;
    std::vector<std::size_t> old_to_new;
    const bool removed = remove_free_points(trimmed, old_to_new);
    ZELKOV_FUZZ_CHECK(is_valid(trimmed) && old_to_new.size() == s.vertices.size());
    ZELKOV_FUZZ_CHECK(removed == (trimmed.vertices.size() < s.vertices.size()));
    const auto trimmed_map = get_vertex_to_triangles_map(trimmed);
    ZELKOV_FUZZ_CHECK(
        std::none_of(trimmed_map.begin(), trimmed_map.end(), [](const auto& set) { return set.empty(); }));
    std::vector<std::size_t> picked;
    for (std::size_t t = 0; t < s.triangles.size(); ++t)
        if (in.byte() & 1) picked.push_back(t);
    triangle_surface copy{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}}};
    copy_triangles(copy, s, picked);
    ZELKOV_FUZZ_CHECK(is_valid(copy) && copy.triangles.size() == 4 + picked.size());
    copy_triangles(copy, s);
    ZELKOV_FUZZ_CHECK(is_valid(copy));
    auto fewer = s;
    remove_triangles(fewer, picked);
    ZELKOV_FUZZ_CHECK(fewer.triangles.size() == s.triangles.size() - picked.size());

    std::vector<unsigned char> marks(s.triangles.size());
    for (auto& m : marks) m = in.byte() % 3;
    auto grown = marks, shrunk = marks, smooth = marks;
    expand_marked(s, grown);
    shrink_marked(s, shrunk);
    expand_marked(s, smooth, in.below(4), in.coordinate());
    for (std::size_t t = 0; t < marks.size(); ++t) {
        ZELKOV_FUZZ_CHECK(!marks[t] || grown[t]);
        ZELKOV_FUZZ_CHECK(marks[t] || !shrunk[t]);
        ZELKOV_FUZZ_CHECK(!marks[t] || smooth[t]);
    }
}

void fields(const triangle_surface& s, const vertex_to_triangles_map& map, Zelkov::Fuzzing::input& in)
{
    const auto sharp = is_sharp_edge(s, in.coordinate(), in.byte() & 1);
    ZELKOV_FUZZ_CHECK(static_cast<std::size_t>(sharp.rows()) == s.vertices.size());
    ZELKOV_FUZZ_CHECK(vertex_roughness(s, map).size() == s.vertices.size());
    ZELKOV_FUZZ_CHECK(curvature(s, map).size() == s.vertices.size());
    std::vector<double> field(s.vertices.size() + in.below(3));
    for (auto& f : field) f = in.coordinate();
    ZELKOV_FUZZ_CHECK(smooth_scalar_field(s, field, map, in.below(4)).size() == field.size());
    std::size_t reports = 0;
    auto cached = s;
    neighbourhood_cache cache(cached, [&reports](std::size_t, std::size_t, bool) { ++reports; });
    ZELKOV_FUZZ_CHECK(cache.vertex_corners.size() == s.vertices.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Zelkov::Fuzzing::input in(data, size);
    triangle_surface s = in.surface();
    const auto map = get_vertex_to_triangles_map(s);
    measures_and_connectivity(s, map);
    cleanup(s, in);
    fields(s, map, in);
    auto moved = s;
    transform(moved, {{in.coordinate(), 0, 0, 0, 0, in.coordinate(), 0, 0, 0, 0, -1, 0, 1, 2, 3, 1}});
    invert(moved);
    ZELKOV_FUZZ_CHECK(is_valid(translate(moved, {1, 1, 1})));
    return 0;
}
