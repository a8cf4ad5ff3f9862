// The repair job on an arbitrary valid surface with arbitrary options: nothing
// crashes, and what it promises holds whatever the input: every edge carries
// at most two triangles, no vertex is a pinch, nothing new repeats a vertex,
// and the vertex map points into the result.

#include <cstdint>
#include <limits>
#include <stdexcept>

#include <processing/repair.h>
#include <processing/surface_info.h>

#include "library_input.h"

using namespace Zelkov::Processing;

namespace {

repair_options decode_options(Zelkov::Fuzzing::input& in)
{
    repair_options o;
    const std::uint8_t flags = in.byte();
    if (flags & 1) o.tolerance = in.coordinate();  // may be negative or NaN: refused
    if (flags & 2) o.tolerance_relative = in.coordinate();
    o.removal.zero_area = flags & 4;
    o.removal.back_to_back = flags & 8 ? back_to_back_policy::keep_one : back_to_back_policy::drop_both;
    o.removal.min_component_triangles = flags & 16 ? in.below(4) : 0;
    o.fill.max_boundary_edges = flags & 32 ? in.below(40) : 0;
    o.fill.refine = flags & 64;
    o.fill.fair = flags & 128;
    return o;
}

bool tolerances_refused(const repair_options& o) { return !(o.tolerance >= 0.0) || !(o.tolerance_relative >= 0.0); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Zelkov::Fuzzing::input in(data, size);
    triangle_surface s = in.surface(48, 96);
    const repair_options o = decode_options(in);
    const std::size_t input_vertices = s.vertices.size();
    repair_result r;
    try {
        r = repair(s, o);
    } catch (const std::invalid_argument&) {
        ZELKOV_FUZZ_CHECK(tolerances_refused(o));
        return 0;
    }
    ZELKOV_FUZZ_CHECK(!tolerances_refused(o));
    ZELKOV_FUZZ_CHECK(Zelkov::Geometry::is_valid(s));
    ZELKOV_FUZZ_CHECK(r.vertex_map.size() == input_vertices);
    for (const std::size_t v : r.vertex_map)
        ZELKOV_FUZZ_CHECK(v == std::numeric_limits<std::size_t>::max() || v < s.vertices.size());
    const inspect_result after = inspect(s, {.investigate = false});
    ZELKOV_FUZZ_CHECK(after.defects.topologically_degenerate == 0);
    ZELKOV_FUZZ_CHECK(after.edges.non_manifold == 0);
    ZELKOV_FUZZ_CHECK(after.vertex_classes.pinch == 0);
    ZELKOV_FUZZ_CHECK(r.fill.filled + r.fill.too_large + r.fill.not_simple + r.fill.refused == r.fill.holes);
    return 0;
}
