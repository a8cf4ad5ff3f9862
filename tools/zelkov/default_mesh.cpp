#include "default_mesh.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace Zelkov::Cli {

namespace {

constexpr double pi = 3.141592653589793;
constexpr double major_radius = 1.0;
constexpr double half_side = 0.3;

/// The point at parameter s in [0, 4) around the square cross-section, as
/// (radial offset, height): side 0 the outer wall going up, then the top, the
/// inner wall going down and the bottom. Corners fall on whole numbers, so that
/// grid lines run exactly along the creases.
std::pair<double, double> square_section(double s, double u)
{
    const int side = std::min(3, static_cast<int>(s));
    const double t = s - side;  // 0..1 along the side
    const double a = -half_side + 2.0 * half_side * t;
    switch (side) {
    case 0: return {half_side + 0.04 * std::sin(8.0 * u) * std::sin(pi * t), a};  // waved outer wall
    case 1: return {-a, half_side};
    case 2: return {-half_side, -a};
    default: return {a, -half_side};
    }
}

}  // namespace

Zelkov::Geometry::triangle_surface default_mesh(std::size_t triangles)
{
    // nu around the ring, nv around the tube (a multiple of 4, for the corners);
    // the tube's edges are about as long as those around the ring.
    const double ring_over_tube = 2.0 * pi * major_radius / (8.0 * half_side);
    const auto nv = std::max<std::size_t>(
        4, 4 * static_cast<std::size_t>(std::sqrt(static_cast<double>(triangles) / (2.0 * ring_over_tube)) / 4.0));
    const std::size_t nu = std::max<std::size_t>(3, triangles / (2 * nv));

    std::mt19937_64 random(20261121);
    std::uniform_real_distribution<double> jitter(-1e-4, 1e-4);

    Zelkov::Geometry::triangle_surface s;
    s.vertices.reserve(nu * nv);
    s.triangles.reserve(2 * nu * nv);
    for (std::size_t i = 0; i < nu; ++i) {
        const double u = 2.0 * pi * static_cast<double>(i) / static_cast<double>(nu);
        for (std::size_t j = 0; j < nv; ++j) {
            const auto [radial, height] = square_section(4.0 * static_cast<double>(j) / static_cast<double>(nv), u);
            const double r = major_radius + radial;
            s.vertices.push_back(
                {r * std::cos(u) + jitter(random), r * std::sin(u) + jitter(random), height + jitter(random)});
            // The square (i, j) to (i + 1, j + 1), wrapped round in both directions.
            const std::size_t here = i * nv + j, right = ((i + 1) % nu) * nv + j;
            const std::size_t up = i * nv + (j + 1) % nv, diagonal = ((i + 1) % nu) * nv + (j + 1) % nv;
            s.triangles.push_back({here, right, diagonal});
            s.triangles.push_back({here, diagonal, up});
        }
    }
    return s;
}

}  // namespace Zelkov::Cli
