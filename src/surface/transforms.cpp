#include <geometry/triangle_surface.h>

#include <utility>

namespace Zelkov::Geometry {

namespace {

point<double, 3> map_point(const point<double, 3>& p, const double* m) noexcept
{
    return {p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12],
            p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13],
            p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14]};
}

double det3(double a, double b, double c, double d, double e, double f, double g, double h,
            double i) noexcept
{
    return a * (e * i - f * h) - b * (d * i - f * g) + c * (d * h - e * g);
}

/// Full 4x4 determinant by expansion along the first row.
double determinant(const double* m) noexcept
{
    const double minor0 = det3(m[5], m[6], m[7], m[9], m[10], m[11], m[13], m[14], m[15]);
    const double minor1 = det3(m[4], m[6], m[7], m[8], m[10], m[11], m[12], m[14], m[15]);
    const double minor2 = det3(m[4], m[5], m[7], m[8], m[9], m[11], m[12], m[13], m[15]);
    const double minor3 = det3(m[4], m[5], m[6], m[8], m[9], m[10], m[12], m[13], m[14]);
    return m[0] * minor0 - m[1] * minor1 + m[2] * minor2 - m[3] * minor3;
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
    if (determinant(affine.m) < 0.0) invert(surface);
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
