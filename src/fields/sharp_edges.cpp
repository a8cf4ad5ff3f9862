#include <geometry/fields.h>

#include <cmath>
#include <complex>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>

#include <geometry/connectivity.h>
#include <math/vecmath.h>

namespace Zelkov::Geometry {

namespace {

using vec3 = point<double, 3>;

/// cos of the limit angle, multiplying by pi before dividing by 180.
double sharpness_limit(double angle_degrees) { return std::cos((angle_degrees * 3.141592653589793) / 180.0); }

/// The dot product of two normals in the one order used for sharpness.
double normal_dot(const vec3& n, const vec3& k) noexcept { return (n.y * k.y + n.x * k.x) + n.z * k.z; }

vec3 unit_normal(const std::array<std::size_t, 3>& t, const triangle_surface& surface)
{
    return Zelkov::Math::get_normal(surface.vertices[t[0]], surface.vertices[t[1]], surface.vertices[t[2]], true);
}

// While the working matrix is built, the slot at (a, b) says who runs a->b:
// (i, 0) triangle i alone; (i, j), j != 0, triangles i and j; (-1, 0) nobody,
// but somebody runs b->a; (-2, 0) three or more triangles.
using edge_slot = std::complex<double>;
using slot_matrix = Eigen::SparseMatrix<edge_slot, 0, int>;

const edge_slot only_reverse{-1.0, 0.0};
const edge_slot crowded{-2.0, 0.0};

bool is_single(const edge_slot& s) noexcept { return s.real() >= 0.0 && s.imag() == 0.0; }

/// Merges two slots of the same directed edge, `existing` first in triplet order.
edge_slot merge_slots(const edge_slot& existing, const edge_slot& incoming)
{
    if (existing == only_reverse) return incoming;
    if (incoming == only_reverse) return existing;
    if (is_single(existing) && is_single(incoming)) return {existing.real(), incoming.real()};
    return crowded;
}

std::vector<vec3> unit_normals(const triangle_surface& surface)
{
    std::vector<vec3> normals(surface.triangles.size(), vec3{0.0, 0.0, 0.0});
    if (normals.empty()) return normals;
    oneapi::tbb::parallel_for(
        oneapi::tbb::blocked_range<std::size_t>(0, normals.size(), 1),
        [&](const oneapi::tbb::blocked_range<std::size_t>& range) {
            for (std::size_t i = range.begin(); i != range.end(); ++i)
                normals[i] = unit_normal(surface.triangles[i], surface);
        },
        oneapi::tbb::auto_partitioner());
    return normals;
}

slot_matrix directed_edge_slots(const triangle_surface& surface)
{
    const auto v = static_cast<int>(surface.vertices.size());
    std::vector<Eigen::Triplet<edge_slot, int>> triplets;
    triplets.reserve(6 * surface.triangles.size());
    for (std::size_t i = 0; i < surface.triangles.size(); ++i) {
        const auto& t = surface.triangles[i];
        const edge_slot mine{static_cast<double>(i), 0.0};
        for (std::size_t c = 0; c < 3; ++c) {
            const int from = static_cast<int>(t[c]);
            const int to = static_cast<int>(t[(c + 1) % 3]);
            triplets.emplace_back(from, to, mine);
            triplets.emplace_back(to, from, only_reverse);
        }
    }
    slot_matrix w(v, v);
    w.setFromTriplets(triplets.begin(), triplets.end(), merge_slots);
    return w;
}

/// The verdict on the edge between r and k from the slots p = W(r, k) and
/// q = W(k, r). `m` is +1 to compare same-direction pairs as stored, -1 to mend them.
bool slots_are_sharp(const edge_slot& p, const edge_slot& q, const std::vector<vec3>& normals, double limit, double m)
{
    auto normal_of = [&](double index) -> const vec3& { return normals[static_cast<std::size_t>(index)]; };
    if (is_single(p) && is_single(q)) return limit > normal_dot(normal_of(q.real()), normal_of(p.real()));
    if (p.imag() != 0.0 && q == only_reverse) return limit > m * normal_dot(normal_of(p.imag()), normal_of(p.real()));
    if (p == only_reverse && q.imag() != 0.0) return limit > m * normal_dot(normal_of(q.imag()), normal_of(q.real()));
    return false;
}

}  // namespace

bool is_sharp_edge(const std::array<std::size_t, 2>& edge, const triangle_surface& surface,
                   const vertex_to_triangles_map& map, double angle_degrees, bool consider_orientation)
{
    const double limit = sharpness_limit(angle_degrees);
    const auto triangles = triangle_indices_from_edge(edge, surface, map, false);
    if (triangles.size() != 2) return false;
    double d = normal_dot(unit_normal(surface.triangles[triangles[0]], surface),
                          unit_normal(surface.triangles[triangles[1]], surface));
    // With two triangles at hand, the oriented manifold test fails exactly when
    // both run the edge in the same direction.
    if (!consider_orientation && !is_manifold_edge(edge, surface, map, true)) d = -d;
    return limit > d;
}

Eigen::SparseMatrix<double, 0, int> is_sharp_edge(const triangle_surface& surface, double angle_degrees,
                                                  bool consider_orientation)
{
    const double limit = sharpness_limit(angle_degrees);
    const std::vector<vec3> normals = unit_normals(surface);
    slot_matrix w = directed_edge_slots(surface);
    const double m = 2.0 * static_cast<double>(consider_orientation) - 1.0;

    // Each edge is decided once, from its entry below the diagonal. Overwriting
    // in place is safe: W(k, r) lies above the diagonal and is never visited,
    // and W(r, k) is read only here.
    for (int k = 0; k < w.outerSize(); ++k)
        for (slot_matrix::InnerIterator it(w, k); it; ++it) {
            const int r = it.row();
            if (r <= k) continue;
            const edge_slot q = w.coeff(k, r);
            const bool sharp = slots_are_sharp(it.value(), q, normals, limit, m);
            const edge_slot verdict{sharp ? 1.0 : 0.0, 0.0};
            it.valueRef() = verdict;
            w.coeffRef(k, r) = verdict;
        }
    return w.real();
}

bool vertex_on_sharp_edge(std::size_t vertex, const triangle_surface& surface, const vertex_to_triangles_map& map,
                          double angle_degrees, bool consider_orientation)
{
    for (const auto& edge : edges_from_vertex(vertex, surface, map))
        if (is_sharp_edge(edge, surface, map, angle_degrees, consider_orientation)) return true;
    return false;
}

}  // namespace Zelkov::Geometry
