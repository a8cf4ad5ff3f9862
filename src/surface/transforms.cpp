#include <geometry/triangle_surface.h>

#include <utility>

#include "surface/determinant.h"

namespace Zelkov::Geometry {

namespace {

point<double, 3> map_point(const point<double, 3>& p, const double* m) noexcept
{
    return {p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12], p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13],
            p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14]};
}

void turn_over(std::array<std::size_t, 3>& t) noexcept { std::swap(t[0], t[1]); }

}  // namespace

triangle_surface translate(triangle_surface surface, const point<double, 3>& offset)
{
    for (auto& p : surface.vertices) {
        p.x += offset.x;
        p.y += offset.y;
        p.z += offset.z;
    }
    return surface;
}

void transform(triangle_surface& surface, const matrix4x4<double>& matrix)
{
    for (auto& p : surface.vertices) p = map_point(p, matrix.m);

    // The sign is asked of the affine part alone: the projective row is reset
    // so that whatever the caller stored there cannot flip the decision.
    matrix4x4<double> affine = matrix;
    affine.m[3] = affine.m[7] = affine.m[11] = 0.0;
    affine.m[15] = 1.0;
    if (detail::determinant(affine) < 0.0) invert(surface);
}

void invert(triangle_surface& surface)
{
    for (auto& t : surface.triangles) turn_over(t);
}

void invert(triangle_surface& surface, const std::vector<std::size_t>& triangle_indices)
{
    for (const std::size_t t : triangle_indices) turn_over(surface.triangles[t]);
}

}  // namespace Zelkov::Geometry
