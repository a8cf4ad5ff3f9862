// Random collapse sequences on the neighbourhood cache of arbitrary surfaces
// without repeated corners: after every collapse the links, corner entries
// and stored sets are in step with the surface; compaction keeps exactly the
// live triangles in order.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <geometry/neighbourhood_cache.h>

#include "cache/cache_checks.h"
#include "library_input.h"

using namespace Zelkov::Geometry;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Zelkov::Fuzzing::input in(data, size);
    triangle_surface s = in.surface(32, 80);
    // The promise covers surfaces whose triangles repeat no corner.
    std::erase_if(s.triangles, [](const auto& t) { return t[0] == t[1] || t[1] == t[2] || t[2] == t[0]; });
    if (s.triangles.empty()) return 0;

    neighbourhood_cache cache(s, {});
    const auto built = Zelkov::Testing::in_step(cache);
    if (!built) {
        std::fprintf(stderr, "after construction: %s\n", built.message());
        std::abort();
    }
    for (int step = 0; step < 64 && !in.empty(); ++step) {
        // The next live triangle from a place the input chooses.
        std::size_t t = in.below(s.triangles.size());
        std::size_t tries = 0;
        while (s.triangles[t][0] == SIZE_MAX && tries++ < s.triangles.size()) t = (t + 1) % s.triangles.size();
        if (s.triangles[t][0] == SIZE_MAX) break;
        const std::uint32_t code = static_cast<std::uint32_t>(in.below(3) * 2 + (in.byte() & 1));
        const std::size_t kept = s.triangles[t][code / 2];
        ZELKOV_FUZZ_CHECK(cache.collapse_edge({t, code}) == kept);
        const auto after = Zelkov::Testing::in_step(cache);
        if (!after) {
            std::fprintf(stderr, "after collapse %d: %s\n", step, after.message());
            std::abort();
        }
    }
    const auto live = Zelkov::Testing::live_rows(s);
    const std::size_t rows = s.triangles.size();
    ZELKOV_FUZZ_CHECK(cache.remove_invalid_triangles() == rows - live.size());
    ZELKOV_FUZZ_CHECK(s.triangles == live);
    return 0;
}
