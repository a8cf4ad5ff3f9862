#pragma once
// A sampled Hausdorff-style distance between two surfaces, for judging a
// simplification: brute force over the triangles, parallel over the samples.

#include <algorithm>
#include <cmath>
#include <limits>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_reduce.h>

#include <geometry/triangle_surface.h>

#include "vecmath/point_ops.h"

namespace Zelkov::Testing {

namespace distance_detail {

using p3 = Zelkov::Math::point<double, 3>;
using Zelkov::Math::detail::add;
using Zelkov::Math::detail::dot;
using Zelkov::Math::detail::sub;
inline p3 mul(p3 a, double s) { return Zelkov::Math::detail::scale(a, s); }

/// The point of triangle abc nearest to p (Ericson, Real-Time Collision Detection 5.1.5).
inline p3 closest_on_triangle(p3 p, p3 a, p3 b, p3 c)
{
    const p3 ab = sub(b, a), ac = sub(c, a), ap = sub(p, a);
    const double d1 = dot(ab, ap), d2 = dot(ac, ap);
    if (d1 <= 0 && d2 <= 0) return a;
    const p3 bp = sub(p, b);
    const double d3 = dot(ab, bp), d4 = dot(ac, bp);
    if (d3 >= 0 && d4 <= d3) return b;
    const double vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0) return add(a, mul(ab, d1 / (d1 - d3)));
    const p3 cp = sub(p, c);
    const double d5 = dot(ab, cp), d6 = dot(ac, cp);
    if (d6 >= 0 && d5 <= d6) return c;
    const double vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0) return add(a, mul(ac, d2 / (d2 - d6)));
    const double va = d3 * d6 - d5 * d4;
    if (va <= 0 && (d4 - d3) >= 0 && (d5 - d6) >= 0) return add(b, mul(sub(c, b), (d4 - d3) / ((d4 - d3) + (d5 - d6))));
    const double denom = 1.0 / (va + vb + vc);
    return add(a, add(mul(ab, vb * denom), mul(ac, vc * denom)));
}

inline double distance_to_surface(p3 p, const Zelkov::Geometry::triangle_surface& s)
{
    double best = std::numeric_limits<double>::infinity();
    for (const auto& t : s.triangles) {
        const p3 q = closest_on_triangle(p, s.vertices[t[0]], s.vertices[t[1]], s.vertices[t[2]]);
        const p3 d = sub(p, q);
        best = std::min(best, dot(d, d));
    }
    return std::sqrt(best);
}

/// The largest distance from up to `samples` evenly spread used vertices of
/// `from` to the surface `to`.
inline double one_sided(const Zelkov::Geometry::triangle_surface& from, const Zelkov::Geometry::triangle_surface& to,
                        std::size_t samples)
{
    const std::size_t step = std::max<std::size_t>(1, from.triangles.size() / samples);
    return oneapi::tbb::parallel_reduce(
        oneapi::tbb::blocked_range<std::size_t>(0, from.triangles.size() / step, 1), 0.0,
        [&](const oneapi::tbb::blocked_range<std::size_t>& r, double worst) {
            for (std::size_t i = r.begin(); i != r.end(); ++i)
                worst = std::max(worst, distance_to_surface(from.vertices[from.triangles[i * step][0]], to));
            return worst;
        },
        [](double a, double b) { return std::max(a, b); });
}

}  // namespace distance_detail

/// The larger of the two one-sided distances, each from sampled vertices of
/// one surface to the other surface.
inline double sampled_hausdorff(const Zelkov::Geometry::triangle_surface& a,
                                const Zelkov::Geometry::triangle_surface& b, std::size_t samples = 600)
{
    return std::max(distance_detail::one_sided(a, b, samples), distance_detail::one_sided(b, a, samples));
}

/// The length of the diagonal of the box around the used vertices.
inline double box_diagonal(const Zelkov::Geometry::triangle_surface& s)
{
    auto lo = s.vertices[s.triangles[0][0]], hi = lo;
    for (const auto& t : s.triangles)
        for (std::size_t v : t) {
            const auto& p = s.vertices[v];
            lo = {std::min(lo.x, p.x), std::min(lo.y, p.y), std::min(lo.z, p.z)};
            hi = {std::max(hi.x, p.x), std::max(hi.y, p.y), std::max(hi.z, p.z)};
        }
    const auto d = distance_detail::sub(hi, lo);
    return std::sqrt(distance_detail::dot(d, d));
}

}  // namespace Zelkov::Testing
