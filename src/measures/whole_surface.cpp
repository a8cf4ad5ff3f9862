#include <geometry/measures.h>

#include <cmath>

#include <math/vecmath.h>

namespace Zelkov::Geometry {

namespace {

/// Grows `box` by `p` axis by axis. The two tests are strict and independent,
/// so the first point sets both corners and a NaN coordinate fails both.
void grow(boundingbox<double, 3>& box, const point<double, 3>& p) noexcept
{
    if (box.min.x > p.x) box.min.x = p.x;
    if (p.x > box.max.x) box.max.x = p.x;
    if (box.min.y > p.y) box.min.y = p.y;
    if (p.y > box.max.y) box.max.y = p.y;
    if (box.min.z > p.z) box.min.z = p.z;
    if (p.z > box.max.z) box.max.z = p.z;
}

}  // namespace

double area(const triangle_surface& surface) noexcept
{
    double sum = 0.0;
    for (std::size_t t = 0; t < surface.triangles.size(); ++t) sum += area(t, surface);
    return sum;
}

double signed_volume(const triangle_surface& surface) noexcept
{
    double sum = 0.0;
    if (surface.triangles.empty()) return sum;  // vertices[0] may not exist
    const point<double, 3>& reference = surface.vertices[0];
    for (std::size_t t = 0; t < surface.triangles.size(); ++t) sum += signed_volume_of_triangle(t, surface, reference);
    return sum;
}

double volume(const triangle_surface& surface) noexcept { return std::fabs(signed_volume(surface)); }

boundingbox<double, 3> bounding_volume(const triangle_surface& surface, bool use_all_vertices) noexcept
{
    auto box = Zelkov::Math::empty_boundingbox<double>();
    if (use_all_vertices) {
        for (const auto& p : surface.vertices) grow(box, p);
    } else {
        for (const auto& t : surface.triangles)
            for (const std::size_t v : t) grow(box, surface.vertices[v]);
    }
    return box;
}

point<double, 3> barycenter(const triangle_surface& surface) noexcept
{
    point<double, 3> sum{0.0, 0.0, 0.0};
    double weight = 0.0;
    for (const auto& t : surface.triangles) {
        const auto& a = surface.vertices[t[0]];
        const auto& b = surface.vertices[t[1]];
        const auto& c = surface.vertices[t[2]];
        const double A = Zelkov::Math::get_area(a, b, c);
        weight += A * 3.0;
        sum.x += (((0.0 + a.x) + b.x) + c.x) * A;
        sum.y += (((0.0 + a.y) + b.y) + c.y) * A;
        sum.z += (((0.0 + a.z) + b.z) + c.z) * A;
    }
    // No test of the weight: an empty or area-less surface gives 0/0 = NaN.
    return {sum.x / weight, sum.y / weight, sum.z / weight};
}

}  // namespace Zelkov::Geometry
