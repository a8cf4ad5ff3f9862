#include "meshgen.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <random>
#include <utility>

namespace Zelkov::Meshgen {

using point3 = Zelkov::Math::point<double, 3>;
using tri = std::array<std::size_t, 3>;

triangle_surface grid(std::size_t nx, std::size_t ny)
{
    triangle_surface s;
    for (std::size_t j = 0; j <= ny; ++j)
        for (std::size_t i = 0; i <= nx; ++i)
            s.vertices.push_back({static_cast<double>(i), static_cast<double>(j), 0.0});
    auto id = [nx](std::size_t i, std::size_t j) { return j * (nx + 1) + i; };
    for (std::size_t j = 0; j < ny; ++j)
        for (std::size_t i = 0; i < nx; ++i) {
            s.triangles.push_back({id(i, j), id(i + 1, j), id(i + 1, j + 1)});
            s.triangles.push_back({id(i, j), id(i + 1, j + 1), id(i, j + 1)});
        }
    return s;
}

triangle_surface torus(std::size_t nu, std::size_t nv)
{
    const double pi = std::acos(-1.0);
    triangle_surface s;
    s.vertices.reserve(nu * nv);
    for (std::size_t i = 0; i < nu; ++i)
        for (std::size_t j = 0; j < nv; ++j) {
            const double u = 2.0 * pi * static_cast<double>(i) / static_cast<double>(nu);
            const double v = 2.0 * pi * static_cast<double>(j) / static_cast<double>(nv);
            const double ring = 1.0 + 0.35 * std::cos(v);
            s.vertices.push_back({ring * std::cos(u), ring * std::sin(u), 0.35 * std::sin(v)});
        }
    auto id = [nu, nv](std::size_t i, std::size_t j) { return (i % nu) * nv + (j % nv); };
    s.triangles.reserve(2 * nu * nv);
    for (std::size_t i = 0; i < nu; ++i)
        for (std::size_t j = 0; j < nv; ++j) {
            s.triangles.push_back({id(i, j), id(i + 1, j), id(i + 1, j + 1)});
            s.triangles.push_back({id(i, j), id(i + 1, j + 1), id(i, j + 1)});
        }
    return s;
}

triangle_surface torus_with_about(std::size_t triangles)
{
    const auto side = static_cast<std::size_t>(std::sqrt(static_cast<double>(triangles) / 2.0));
    const std::size_t nv = std::max<std::size_t>(3, side / 2);
    const std::size_t nu = std::max<std::size_t>(3, triangles / (2 * nv));
    return torus(nu, nv);
}

namespace {

point3 on_unit_sphere(point3 p)
{
    const double length = std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z);
    return {p.x / length, p.y / length, p.z / length};
}

}  // namespace

triangle_surface icosphere(unsigned levels)
{
    const double g = (1.0 + std::sqrt(5.0)) / 2.0;
    triangle_surface s;
    s.vertices = {{-1, g, 0},  {1, g, 0},  {-1, -g, 0}, {1, -g, 0}, {0, -1, g},  {0, 1, g},
                  {0, -1, -g}, {0, 1, -g}, {g, 0, -1},  {g, 0, 1},  {-g, 0, -1}, {-g, 0, 1}};
    for (auto& p : s.vertices) p = on_unit_sphere(p);
    s.triangles = {{0, 11, 5},  {0, 5, 1},  {0, 1, 7},  {0, 7, 10}, {0, 10, 11}, {1, 5, 9}, {5, 11, 4},
                   {11, 10, 2}, {10, 7, 6}, {7, 1, 8},  {3, 9, 4},  {3, 4, 2},   {3, 2, 6}, {3, 6, 8},
                   {3, 8, 9},   {4, 9, 5},  {2, 4, 11}, {6, 2, 10}, {8, 6, 7},   {9, 8, 1}};
    for (unsigned level = 0; level < levels; ++level) {
        std::map<std::pair<std::size_t, std::size_t>, std::size_t> midpoint;
        auto middle = [&](std::size_t a, std::size_t b) {
            const auto key = std::minmax(a, b);
            const auto [it, inserted] = midpoint.try_emplace({key.first, key.second}, s.vertices.size());
            if (inserted) {
                const point3 &p = s.vertices[a], &q = s.vertices[b];
                s.vertices.push_back(on_unit_sphere({p.x + q.x, p.y + q.y, p.z + q.z}));
            }
            return it->second;
        };
        std::vector<tri> finer;
        finer.reserve(4 * s.triangles.size());
        for (const auto& t : s.triangles) {
            const std::size_t ab = middle(t[0], t[1]), bc = middle(t[1], t[2]), ca = middle(t[2], t[0]);
            finer.push_back({t[0], ab, ca});
            finer.push_back({t[1], bc, ab});
            finer.push_back({t[2], ca, bc});
            finer.push_back({ab, bc, ca});
        }
        s.triangles = std::move(finer);
    }
    return s;
}

triangle_surface tetrahedron()
{
    return {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}}};
}

triangle_surface box(double sx, double sy, double sz)
{
    triangle_surface s;
    for (int k = 0; k < 8; ++k) s.vertices.push_back({(k & 1) ? sx : 0.0, (k & 2) ? sy : 0.0, (k & 4) ? sz : 0.0});
    s.triangles = {{0, 2, 3}, {0, 3, 1}, {4, 5, 7}, {4, 7, 6}, {0, 1, 5}, {0, 5, 4},
                   {2, 6, 7}, {2, 7, 3}, {0, 4, 6}, {0, 6, 2}, {1, 3, 7}, {1, 7, 5}};
    return s;
}

triangle_surface fan(std::size_t n, bool closed)
{
    const double pi = std::acos(-1.0);
    triangle_surface s;
    s.vertices.push_back({0, 0, 0});
    const std::size_t rim = closed ? n : n + 1;
    for (std::size_t i = 0; i < rim; ++i) {
        const double a = 2.0 * pi * static_cast<double>(i) / static_cast<double>(rim);
        s.vertices.push_back({std::cos(a), std::sin(a), 0.0});
    }
    for (std::size_t i = 0; i < n; ++i) s.triangles.push_back({0, 1 + i, 1 + (i + 1) % rim});
    return s;
}

triangle_surface shuffled(const triangle_surface& surface, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    std::vector<std::size_t> vertex_order(surface.vertices.size());
    std::iota(vertex_order.begin(), vertex_order.end(), 0);
    std::shuffle(vertex_order.begin(), vertex_order.end(), random);
    std::vector<std::size_t> new_index(vertex_order.size());
    triangle_surface s;
    s.vertices.reserve(vertex_order.size());
    for (std::size_t k = 0; k < vertex_order.size(); ++k) {
        new_index[vertex_order[k]] = k;
        s.vertices.push_back(surface.vertices[vertex_order[k]]);
    }
    s.triangles = surface.triangles;
    std::shuffle(s.triangles.begin(), s.triangles.end(), random);
    for (auto& t : s.triangles) {
        const tri mapped{new_index[t[0]], new_index[t[1]], new_index[t[2]]};
        const std::size_t r = random() % 3;
        t = {mapped[r], mapped[(r + 1) % 3], mapped[(r + 2) % 3]};
    }
    return s;
}

triangle_surface soup(const triangle_surface& surface)
{
    triangle_surface s;
    s.vertices.reserve(3 * surface.triangles.size());
    s.triangles.reserve(surface.triangles.size());
    for (const auto& t : surface.triangles) {
        const std::size_t first = s.vertices.size();
        for (const std::size_t v : t) s.vertices.push_back(surface.vertices[v]);
        s.triangles.push_back({first, first + 1, first + 2});
    }
    return s;
}

triangle_surface jittered(triangle_surface surface, double amount, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> offset(-amount, amount);
    for (auto& p : surface.vertices) {
        p.x += offset(random);
        p.y += offset(random);
        p.z += offset(random);
    }
    return surface;
}

}  // namespace Zelkov::Meshgen
