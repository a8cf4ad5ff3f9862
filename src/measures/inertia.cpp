#include <geometry/measures.h>

#include <limits>
#include <utility>

#include <Eigen/SVD>

#include "measures/principal_frame.h"
#include "surface/stable_length.h"

namespace Zelkov::Geometry {

namespace detail {

namespace {

using vec3 = point<double, 3>;

double coordinate(const vec3& p, int i) noexcept { return i == 0 ? p.x : i == 1 ? p.y : p.z; }

/// s(i, j) += u_i * u_j for all nine elements.
void add_outer_product(Eigen::Matrix3d& s, const vec3& u) noexcept
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) s(i, j) += coordinate(u, i) * coordinate(u, j);
}

/// The tensor term of one triangle, before it is added to the sum.
Eigen::Matrix3d triangle_term(std::size_t triangle, const triangle_surface& surface, const vec3& center) noexcept
{
    Eigen::Matrix3d s = Eigen::Matrix3d::Zero();
    vec3 corner_sum{0.0, 0.0, 0.0};
    for (const std::size_t v : surface.triangles[triangle]) {
        const vec3& p = surface.vertices[v];
        corner_sum = Math::detail::add(corner_sum, p);
        add_outer_product(s, Math::detail::sub(p, center));
    }
    const vec3 q = Math::detail::sub(Math::detail::divide(corner_sum, 3.0), center);
    // (q q^T) * 9: each product is formed first and then scaled.
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) s(i, j) += (coordinate(q, i) * coordinate(q, j)) * 9.0;
    const double A = area(triangle, surface);
    s *= A + A;
    return s;
}

}  // namespace

Eigen::Matrix3d shell_inertia_tensor(const triangle_surface& surface, const point<double, 3>& center) noexcept
{
    Eigen::Matrix3d m = Eigen::Matrix3d::Zero();
    for (std::size_t t = 0; t < surface.triangles.size(); ++t) m += triangle_term(t, surface, center);
    const double trace = m(0, 0) + (m(1, 1) + m(2, 2));
    for (int i = 0; i < 3; ++i) m(i, i) -= trace;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) m(i, j) /= -12.0;
    return m;
}

principal_axes principal_axes_of(const Eigen::Matrix3d& tensor)
{
    // The decomposition refuses a tensor with a NaN or infinite element and
    // then leaves U and the singular values unwritten; reading them would give
    // whatever the stack held, different from call to call. Such a tensor has
    // NaN axes and moments instead.
    if (!tensor.allFinite()) {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        return {{vec3{nan, nan, nan}, vec3{nan, nan, nan}, vec3{nan, nan, nan}}, {nan, nan, nan}};
    }
    const Eigen::BDCSVD<Eigen::Matrix3d> svd(tensor, Eigen::ComputeFullU | Eigen::ComputeFullV);
    const Eigen::Matrix3d& u = svd.matrixU();
    const auto& values = svd.singularValues();
    principal_axes frame;
    for (int j = 0; j < 3; ++j) {
        frame.axes[j] = normalised(vec3{u(0, j), u(1, j), u(2, j)});
        frame.moments[j] = values(j);
    }
    return frame;
}

void order_by_moment(principal_axes& frame) noexcept
{
    const auto swap_if_larger = [&frame](int first, int later) {
        if (frame.moments[later] > frame.moments[first]) {
            std::swap(frame.moments[first], frame.moments[later]);
            std::swap(frame.axes[first], frame.axes[later]);
        }
    };
    swap_if_larger(0, 1);
    swap_if_larger(0, 2);
    swap_if_larger(1, 2);
}

matrix4x4<double> right_handed_frame(const principal_axes& frame, const point<double, 3>& origin) noexcept
{
    const auto& [e0, e1, e2] = frame.axes;
    matrix4x4<double> result{
        {e0.x, e0.y, e0.z, 0.0, e1.x, e1.y, e1.z, 0.0, e2.x, e2.y, e2.z, 0.0, origin.x, origin.y, origin.z, 1.0}};
    if (determinant(result) < 0.0) {
        result.m[0] *= -1.0;
        result.m[1] *= -1.0;
        result.m[2] *= -1.0;
    }
    return result;
}

matrix4x4<double> inverse_frame(const matrix4x4<double>& frame) noexcept
{
    const double* m = frame.m;
    const vec3 e0{m[0], m[1], m[2]};
    const vec3 e1{m[4], m[5], m[6]};
    const vec3 e2{m[8], m[9], m[10]};
    const vec3 b{m[12], m[13], m[14]};
    const auto shift = [&b](const vec3& e) { return -((b.y * e.y + b.x * e.x) + b.z * e.z); };
    return {
        {e0.x, e1.x, e2.x, 0.0, e0.y, e1.y, e2.y, 0.0, e0.z, e1.z, e2.z, 0.0, shift(e0), shift(e1), shift(e2), 1.0}};
}

}  // namespace detail

matrix4x4<double> inertia(const triangle_surface& surface)
{
    const point<double, 3> center = barycenter(surface);
    auto frame = detail::principal_axes_of(detail::shell_inertia_tensor(surface, center));
    detail::order_by_moment(frame);
    return detail::right_handed_frame(frame, center);
}

matrix4x4<double> inertia_transform(triangle_surface& surface)
{
    const matrix4x4<double> frame = inertia(surface);
    transform(surface, detail::inverse_frame(frame));
    return frame;
}

}  // namespace Zelkov::Geometry
