// make_triangle_surface and is_valid on arbitrary counts, indices and
// coordinates: the two agree, and a refusal keeps exactly the triangles
// before the first bad one.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <geometry/triangle_surface.h>

#include "library_input.h"

using namespace Zelkov::Geometry;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Zelkov::Fuzzing::input in(data, size);
    const std::size_t nv = in.below(40);
    const std::size_t nt = in.below(40);
    const std::uint8_t nulls = in.byte();
    std::vector<point<double, 3>> points;
    for (std::size_t v = 0; v < nv; ++v) points.push_back({in.coordinate(), in.coordinate(), in.coordinate()});
    std::vector<std::array<std::size_t, 3>> faces;
    for (std::size_t t = 0; t < nt; ++t) {
        std::array<std::size_t, 3> f{};
        // Mostly near the vertex count, sometimes anything at all.
        for (auto& c : f) c = in.byte() < 240 ? in.below(nv + 2) : in.word();
        faces.push_back(f);
    }
    const const_span_vertices vertices{(nulls & 1) ? nullptr : points.data(), nv};
    const const_span_triangles triangles{(nulls & 2) ? nullptr : faces.data(), nt};

    const auto made = make_triangle_surface(vertices, triangles);
    ZELKOV_FUZZ_CHECK(made.success == is_valid(vertices, triangles));
    ZELKOV_FUZZ_CHECK(is_valid(made.surface) || !made.success);
    if (made.success) {
        ZELKOV_FUZZ_CHECK(made.surface.vertices.size() == nv && made.surface.triangles.size() == nt);
    } else if (!made.surface.vertices.empty()) {
        // Refused at triangle k: the k triangles before it are kept.
        const std::size_t k = made.surface.triangles.size();
        ZELKOV_FUZZ_CHECK(k < nt && made.surface.vertices.size() == nv);
        ZELKOV_FUZZ_CHECK(faces[k][0] >= nv || faces[k][1] >= nv || faces[k][2] >= nv);
        for (std::size_t t = 0; t < k; ++t) ZELKOV_FUZZ_CHECK(made.surface.triangles[t] == faces[t]);
    }

    // The placeholder triangles of the one-argument form.
    const auto placeholders = make_triangle_surface(vertices);
    ZELKOV_FUZZ_CHECK(is_valid(placeholders.surface));
    if (placeholders.success) ZELKOV_FUZZ_CHECK(placeholders.surface.triangles.size() == nv / 3);
    return 0;
}
