// Random sequences of local edits on arbitrary valid surfaces: after every
// edit the caller's map equals a fresh build, indices stay in range, and a
// refused edit changes nothing.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <geometry/connectivity.h>
#include <geometry/edits.h>

#include "library_input.h"

using namespace Zelkov::Geometry;

namespace {

using edge = std::array<std::size_t, 2>;

/// An edge of triangle t, or an arbitrary vertex pair when the input says so.
edge pick_edge(const triangle_surface& s, const vertex_to_triangles_map& map, Zelkov::Fuzzing::input& in)
{
    if (s.triangles.empty() || in.byte() < 32) return {in.below(map.size()), in.below(map.size())};
    const auto& t = s.triangles[in.below(s.triangles.size())];
    const std::size_t c = in.below(3);
    return {t[c], t[(c + 1) % 3]};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Zelkov::Fuzzing::input in(data, size);
    triangle_surface s = in.surface(24, 48);
    auto map = get_vertex_to_triangles_map(s);
    std::vector<std::size_t> labels(s.triangles.size());

    for (int step = 0; step < 48 && !in.empty() && s.triangles.size() < 4000; ++step) {
        labels.resize(s.triangles.size());
        const auto before = s;
        const std::size_t vertices = s.vertices.size();
        bool changed = true;
        const std::uint8_t op = in.byte() % 10;
        if (s.triangles.empty() && op != 1) break;
        switch (op) {
        case 0: split_triangle_in_three(in.below(s.triangles.size()), s, map); break;
        case 1: split_edge(pick_edge(s, map, in), in.coordinate(), s, map); break;
        case 2: split_edge(pick_edge(s, map, in), in.coordinate(), s, map, labels); break;
        case 3: split_edge(pick_edge(s, map, in), in.below(map.size()), s, map, labels); break;
        case 4: {
            const auto& t = s.triangles[in.below(s.triangles.size())];
            const std::size_t c = in.below(3);
            split_boundary_edge({t[c], t[(c + 1) % 3]}, in.below(map.size()), s, map);
            break;
        }
        case 5: changed = collapse_triangle(in.below(s.triangles.size()), in.below(3), s, map); break;
        case 6: changed = flip_edge(pick_edge(s, map, in), s, map); break;
        case 7: {
            const bool answer = in.byte() & 1;
            changed = flip_edge_if(pick_edge(s, map, in), s, map, [answer](const edge&) { return answer; });
            break;
        }
        case 8: changed = relax_edge(pick_edge(s, map, in), s, map); break;
        default: changed = relax_edge(pick_edge(s, map, in), s, map, in.coordinate()); break;
        }
        ZELKOV_FUZZ_CHECK(is_valid(s) && map.size() == s.vertices.size());
        ZELKOV_FUZZ_CHECK(check_vertex_to_triangles_map(s, map));
        ZELKOV_FUZZ_CHECK(s.vertices.size() >= vertices && s.triangles.size() >= before.triangles.size());
        for (std::size_t v = 0; v < vertices; ++v)  // no vertex moves
            ZELKOV_FUZZ_CHECK(std::memcmp(&s.vertices[v], &before.vertices[v], sizeof s.vertices[v]) == 0);
        if (!changed) ZELKOV_FUZZ_CHECK(s.triangles == before.triangles && s.vertices.size() == vertices);
    }
    return 0;
}
