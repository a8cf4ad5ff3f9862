#include <geometry/triangle_surface.h>

#include <cstring>
#include <utility>

namespace Zelkov::Geometry {

namespace {

enum class span_verdict { rejected, accepted_empty, accepted_without_triangles, walk_triangles };

/// Rules 1 to 5 of the acceptance rule: everything that can be decided
/// without looking at a triangle.
span_verdict judge_spans(const_span_vertices vertices, const_span_triangles triangles) noexcept
{
    if (vertices.size != 0 && vertices.data == nullptr) return span_verdict::rejected;
    if (vertices.size == 0 && triangles.size == 0) return span_verdict::accepted_empty;
    if (triangles.size != 0 && triangles.data == nullptr) return span_verdict::rejected;
    if (vertices.size == 0) return span_verdict::rejected;
    if (triangles.size == 0) return span_verdict::accepted_without_triangles;
    return span_verdict::walk_triangles;
}

bool indices_below(const std::array<std::size_t, 3>& t, std::size_t vertex_count) noexcept
{
    return t[0] < vertex_count && t[1] < vertex_count && t[2] < vertex_count;
}

void copy_vertices(triangle_surface& surface, const_span_vertices vertices)
{
    surface.vertices.resize(vertices.size);
    if (vertices.size != 0)
        std::memcpy(surface.vertices.data(), vertices.data, vertices.size * sizeof(point<double, 3>));
}

}  // namespace

triangle_surface_with_success make_triangle_surface(const_span_vertices vertices, const_span_triangles triangles)
{
    switch (judge_spans(vertices, triangles)) {
    case span_verdict::rejected: return {{}, false};
    case span_verdict::accepted_empty: return {{}, true};
    default: break;
    }

    triangle_surface surface;
    copy_vertices(surface, vertices);
    if (triangles.size == 0) return {std::move(surface), true};

    surface.triangles.resize(triangles.size);
    for (std::size_t k = 0; k < triangles.size; ++k) {
        if (!indices_below(triangles.data[k], vertices.size)) {
            surface.triangles.resize(k);
            return {std::move(surface), false};
        }
        surface.triangles[k] = triangles.data[k];
    }
    return {std::move(surface), true};
}

triangle_surface_with_success make_triangle_surface(const_span_vertices vertices)
{
    const std::size_t n = vertices.size;
    if (vertices.data == nullptr) return {{}, n == 0};
    if (n == 0 || n % 3 != 0) return {{}, false};

    triangle_surface surface;
    copy_vertices(surface, vertices);
    surface.triangles.resize(n / 3, {0, 0, 0});
    // Read the triangles as one flat run of n indices and number its first n/3 slots.
    for (std::size_t k = 0; k < n / 3; ++k) surface.triangles[k / 3][k % 3] = k;
    return {std::move(surface), true};
}

bool is_valid(const_span_vertices vertices, const_span_triangles triangles) noexcept
{
    switch (judge_spans(vertices, triangles)) {
    case span_verdict::rejected: return false;
    case span_verdict::walk_triangles: break;
    default: return true;
    }
    for (std::size_t k = 0; k < triangles.size; ++k)
        if (!indices_below(triangles.data[k], vertices.size)) return false;
    return true;
}

bool is_valid(const triangle_surface& surface) noexcept
{
    return is_valid(const_span_vertices{surface.vertices.data(), surface.vertices.size()},
                    const_span_triangles{surface.triangles.data(), surface.triangles.size()});
}

void swap(triangle_surface& a, triangle_surface& b) noexcept
{
    a.vertices.swap(b.vertices);
    a.triangles.swap(b.triangles);
}

}  // namespace Zelkov::Geometry
