// fill_holes: each small boundary loop closed by the triangulation of least
// weight, then refined to the size of the edges around it and faired, after
// Liepa, "Filling holes in meshes" (2003).

#include <processing/repair.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numbers>
#include <unordered_map>

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <Eigen/SparseCore>
#include <Eigen/SparseLU>

#include <geometry/trimesh.h>

#include "topology_figures.h"

namespace Zelkov::Processing {

using namespace Zelkov::Geometry;

namespace {

constexpr std::size_t none = std::numeric_limits<std::size_t>::max();
using vec = Eigen::Vector3d;
using corners = std::array<std::size_t, 3>;

vec at(const triangle_surface& s, std::size_t v) { return {s.vertices[v].x, s.vertices[v].y, s.vertices[v].z}; }

vec unit_normal(const vec& a, const vec& b, const vec& c)
{
    const vec n = (b - a).cross(c - a);
    const double l = n.norm();
    return l > 0.0 ? vec(n / l) : vec::Zero();
}

// ---------------------------------------------------------------- loops

/// A hole: its vertices in the order that continues the surface's
/// orientation, and for each edge v[k] -> v[k+1] the far corner of the
/// surface's triangle on it.
struct hole {
    std::vector<std::size_t> vertices;
    std::vector<std::size_t> far;
};

struct hole_edge {
    std::size_t from, to, far;
    bool operator<(const hole_edge& o) const { return from < o.from || (from == o.from && to < o.to); }
};

/// The hole edges: each side alone on its edge, reversed.
std::vector<hole_edge> hole_edges(const triangle_surface& s)
{
    const auto sides = detail::sorted_sides(s);
    std::vector<hole_edge> edges;
    for (std::size_t i = 0; i < sides.size(); ++i) {
        const bool alone =
            (i == 0 || sides[i - 1].low != sides[i].low || sides[i - 1].high != sides[i].high) &&
            (i + 1 == sides.size() || sides[i + 1].low != sides[i].low || sides[i + 1].high != sides[i].high);
        if (!alone) continue;
        const auto& t = s.triangles[sides[i].triangle];
        const std::size_t c = sides[i].side;
        edges.push_back({t[(c + 1) % 3], t[c], t[(c + 2) % 3]});
    }
    std::sort(edges.begin(), edges.end());
    return edges;
}

/// Follows the hole edges into loops. The edges are first grouped where they
/// share a vertex; a group is a hole, and a simple loop when a walk from its
/// first edge comes back after passing each of its edges once.
void trace_loops(const std::vector<hole_edge>& edges, std::size_t vertex_count, std::vector<hole>& loops,
                 std::size_t& not_simple)
{
    detail::index_sets groups(vertex_count);
    for (const hole_edge& e : edges) groups.join(e.from, e.to);
    std::vector<std::size_t> size(vertex_count, 0);
    for (const hole_edge& e : edges) ++size[groups.find(e.from)];
    const auto leaving = [&](std::size_t v) {
        auto it = std::lower_bound(edges.begin(), edges.end(), hole_edge{v, 0, 0});
        if (it == edges.end() || it->from != v || (it + 1 != edges.end() && (it + 1)->from == v)) return none;
        return static_cast<std::size_t>(it - edges.begin());
    };
    std::vector<unsigned char> done(vertex_count, 0);
    for (std::size_t start = 0; start < edges.size(); ++start) {
        const std::size_t group = groups.find(edges[start].from);
        if (done[group]) continue;
        done[group] = 1;
        hole h;
        std::size_t e = start;
        do {
            h.vertices.push_back(edges[e].from);
            h.far.push_back(edges[e].far);
            e = leaving(edges[e].to);
        } while (e != none && e != start && h.vertices.size() <= size[group]);
        if (e == start && h.vertices.size() == size[group]) loops.push_back(std::move(h));
        else ++not_simple;
    }
}

// ---------------------------------------------------------------- least-weight triangulation

/// Liepa's weight: the largest dihedral angle first, then the area. The
/// angle is kept as its cosine, the smallest cosine being the largest angle.
struct weight {
    double cosine = -std::numeric_limits<double>::infinity();
    double area = std::numeric_limits<double>::infinity();
    bool operator<(const weight& o) const { return cosine > o.cosine || (cosine == o.cosine && area < o.area); }
};

/// The cosine of the angle between the normals of two triangles that share
/// an edge; a surface triangle without a normal (of zero area) counts as
/// worse than any fold.
double fold_cosine(const vec& n, const vec& m)
{
    if (n.isZero() || m.isZero()) return -2.0;
    return std::clamp(n.dot(m), -1.0, 1.0);
}

/// Whether the surface already has an edge between two vertices.
class edge_test {
public:
    edge_test(const triangle_surface& s, const vertex_to_triangles_map& map) : s_(s), map_(map) {}
    bool operator()(std::size_t a, std::size_t b) const
    {
        if (a >= map_.size() || b >= map_.size()) return false;  // a vertex made by filling
        for (const std::size_t t : map_[a])
            if (t < s_.triangles.size() &&
                std::find(s_.triangles[t].begin(), s_.triangles[t].end(), b) != s_.triangles[t].end())
                return true;
        return false;
    }

    /// Whether the surface has a triangle on these three vertices, either way.
    bool has_triangle(std::size_t a, std::size_t b, std::size_t c) const
    {
        if (a >= map_.size()) return false;
        for (const std::size_t t : map_[a]) {
            if (t >= s_.triangles.size()) continue;
            const auto& tri = s_.triangles[t];
            const auto named = [&](std::size_t v) { return std::find(tri.begin(), tri.end(), v) != tri.end(); };
            if (named(b) && named(c)) return true;
        }
        return false;
    }

private:
    const triangle_surface& s_;
    const vertex_to_triangles_map& map_;
};

/// The least-weight triangulation of one loop by dynamic programming over
/// its sub-polygons, O(n^3). Diagonals that the surface already has as an
/// edge are not used, so no edge gets a third triangle.
class triangulation {
public:
    triangulation(const triangle_surface& s, const hole& h, const edge_test& exists)
        : h_(h), n_(h.vertices.size()), exists_(exists)
    {
        for (std::size_t k = 0; k < n_; ++k) p_.push_back(at(s, h.vertices[k]));
        // The surface's triangle on each loop edge runs it the other way: far, to, from.
        for (std::size_t k = 0; k < n_; ++k) rim_.push_back(unit_normal(at(s, h.far[k]), p_[(k + 1) % n_], p_[k]));
        best_.assign(n_ * n_, {});
        middle_.assign(n_ * n_, none);
        normal_.assign(n_ * n_, vec::Zero());
        for (std::size_t i = 0; i + 1 < n_; ++i) best_[i * n_ + i + 1] = {1.0, 0.0};
        // Three edges whose triangle the surface already has (a lone triangle's
        // own rim): closing it would only double that triangle.
        if (n_ == 3 && exists_.has_triangle(h.vertices[0], h.vertices[1], h.vertices[2])) return;
        for (std::size_t span = 2; span < n_; ++span)
            for (std::size_t i = 0; i + span < n_; ++i) solve(i, i + span);
    }

    /// Whether a triangulation without repeated edges was found.
    bool found() const { return middle_[n_ - 1] != none; }

    /// The triangles, in the direction of the loop.
    std::vector<corners> triangles() const
    {
        std::vector<corners> out;
        collect(0, n_ - 1, out);
        return out;
    }

private:
    /// The normal of the triangle across loop edge (i, k), k = i + 1, or of
    /// the sub-triangle chosen for (i, k).
    const vec& across(std::size_t i, std::size_t k) const { return k == i + 1 ? rim_[i] : normal_[i * n_ + k]; }

    void solve(std::size_t i, std::size_t k)
    {
        if (!(i == 0 && k == n_ - 1) && exists_(h_.vertices[i], h_.vertices[k])) return;
        weight best;
        std::size_t choice = none;
        vec chosen = vec::Zero();
        for (std::size_t m = i + 1; m < k; ++m) {
            if ((m > i + 1 && middle_[i * n_ + m] == none) || (k > m + 1 && middle_[m * n_ + k] == none)) continue;
            const vec cross = (p_[m] - p_[i]).cross(p_[k] - p_[i]);
            const double length = cross.norm();
            if (!(length > 0.0)) continue;  // never a new triangle of zero area
            const vec n = cross / length;
            const weight& left = best_[i * n_ + m];
            const weight& right = best_[m * n_ + k];
            double cosine =
                std::min({left.cosine, right.cosine, fold_cosine(n, across(i, m)), fold_cosine(n, across(m, k))});
            if (i == 0 && k == n_ - 1) cosine = std::min(cosine, fold_cosine(n, rim_[n_ - 1]));
            const weight w{cosine, left.area + right.area + 0.5 * length};
            if (choice == none || w < best) {
                best = w;
                choice = m;
                chosen = n;
            }
        }
        best_[i * n_ + k] = best;
        middle_[i * n_ + k] = choice;
        normal_[i * n_ + k] = chosen;
    }

    void collect(std::size_t i, std::size_t k, std::vector<corners>& out) const
    {
        if (k <= i + 1) return;
        const std::size_t m = middle_[i * n_ + k];
        out.push_back({h_.vertices[i], h_.vertices[m], h_.vertices[k]});
        collect(i, m, out);
        collect(m, k, out);
    }

    const hole& h_;
    std::size_t n_;
    const edge_test& exists_;
    std::vector<vec> p_, rim_, normal_;
    std::vector<weight> best_;
    std::vector<std::size_t> middle_;
};

// ---------------------------------------------------------------- refinement

using edge_key = std::pair<std::size_t, std::size_t>;

edge_key key(std::size_t a, std::size_t b) { return {std::min(a, b), std::max(a, b)}; }

/// Flips each inner edge of the patch whose opposite angles sum to more
/// than pi, until none does (or a bound on the passes is reached).
void relax_patch(const triangle_surface& s, std::vector<corners>& patch, const edge_test& exists)
{
    for (int pass = 0; pass < 50; ++pass) {
        std::map<edge_key, std::vector<std::size_t>> on_edge;
        for (std::size_t t = 0; t < patch.size(); ++t)
            for (std::size_t i = 0; i < 3; ++i) on_edge[key(patch[t][i], patch[t][(i + 1) % 3])].push_back(t);
        std::vector<unsigned char> touched(patch.size(), 0);
        bool flipped = false;
        for (const auto& entry : on_edge) {
            const edge_key e = entry.first;
            const std::vector<std::size_t>& ts = entry.second;
            if (ts.size() != 2 || touched[ts[0]] || touched[ts[1]]) continue;
            const auto opposite = [&](const corners& t) {
                for (const std::size_t v : t)
                    if (v != e.first && v != e.second) return v;
                return none;
            };
            const std::size_t c = opposite(patch[ts[0]]), d = opposite(patch[ts[1]]);
            if (c == none || d == none || c == d || on_edge.count(key(c, d)) || exists(c, d)) continue;
            const vec a = at(s, e.first), b = at(s, e.second), pc = at(s, c), pd = at(s, d);
            const auto angle = [](const vec& apex, const vec& u, const vec& w) {
                return std::acos(std::clamp((u - apex).normalized().dot((w - apex).normalized()), -1.0, 1.0));
            };
            if (angle(pc, a, b) + angle(pd, a, b) <= std::numbers::pi + 1e-12) continue;
            if (unit_normal(a, pd, pc).isZero() || unit_normal(b, pc, pd).isZero()) continue;
            // Keep the patch's direction: the first triangle runs x -> y for its edge.
            const corners& t0 = patch[ts[0]];
            std::size_t x = e.first, y = e.second;
            for (std::size_t i = 0; i < 3; ++i)
                if (t0[i] == e.second && t0[(i + 1) % 3] == e.first) std::swap(x, y);
            patch[ts[0]] = {x, d, c};
            patch[ts[1]] = {y, c, d};
            touched[ts[0]] = touched[ts[1]] = 1;
            flipped = true;
        }
        if (!flipped) return;
    }
}

/// Splits patch triangles at their centroid while they are larger than the
/// edges around them (Liepa's density test with alpha = sqrt 2), relaxing
/// after each round. New vertices are appended to `s`.
std::size_t refine_patch(triangle_surface& s, std::vector<corners>& patch,
                         std::unordered_map<std::size_t, double>& scale, const edge_test& exists)
{
    const double alpha = std::numbers::sqrt2;
    std::size_t added = 0;
    relax_patch(s, patch, exists);
    for (int round = 0; round < 20; ++round) {
        bool split = false;
        const std::size_t count = patch.size();
        for (std::size_t t = 0; t < count; ++t) {
            const corners tri = patch[t];
            const vec c = (at(s, tri[0]) + at(s, tri[1]) + at(s, tri[2])) / 3.0;
            const double sc = (scale[tri[0]] + scale[tri[1]] + scale[tri[2]]) / 3.0;
            bool large = true;
            for (const std::size_t v : tri) {
                const double d = alpha * (c - at(s, v)).norm();
                large = large && d > sc && d > scale[v];
            }
            if (!large) continue;
            const std::size_t m = s.vertices.size();
            s.vertices.push_back({c.x(), c.y(), c.z()});
            scale[m] = sc;
            patch[t] = {tri[0], tri[1], m};
            patch.push_back({tri[1], tri[2], m});
            patch.push_back({tri[2], tri[0], m});
            ++added;
            split = true;
        }
        if (!split) break;
        relax_patch(s, patch, exists);
    }
    return added;
}

// ---------------------------------------------------------------- fairing

/// Moves the vertices from `first_new` on so that the bi-Laplacian of the
/// positions (uniform weights) vanishes at them, the loop and the surface
/// around it held: the patch then continues the surface's curvature.
void fair_patch(triangle_surface& s, const std::vector<corners>& patch, std::size_t first_new,
                const std::vector<std::size_t>& loop, const std::vector<corners>& surface_triangles_at_loop)
{
    if (s.vertices.size() == first_new) return;
    std::unordered_map<std::size_t, std::vector<std::size_t>> ring;
    for (const auto& t : patch)
        for (std::size_t i = 0; i < 3; ++i) {
            ring[t[i]].push_back(t[(i + 1) % 3]);
            ring[t[i]].push_back(t[(i + 2) % 3]);
        }
    for (const auto& t : surface_triangles_at_loop)
        for (std::size_t i = 0; i < 3; ++i)
            if (ring.count(t[i]) && t[i] < first_new) {
                ring[t[i]].push_back(t[(i + 1) % 3]);
                ring[t[i]].push_back(t[(i + 2) % 3]);
            }
    for (auto& [v, r] : ring) {
        std::sort(r.begin(), r.end());
        r.erase(std::unique(r.begin(), r.end()), r.end());
    }
    // Columns: the unknowns first, then every held vertex that appears.
    std::unordered_map<std::size_t, int> column;
    std::vector<std::size_t> vertex_of;
    const auto col = [&](std::size_t v) {
        auto [it, added] = column.emplace(v, static_cast<int>(vertex_of.size()));
        if (added) vertex_of.push_back(v);
        return it->second;
    };
    const std::size_t unknowns = s.vertices.size() - first_new;
    for (std::size_t v = first_new; v < s.vertices.size(); ++v) col(v);
    for (const std::size_t v : loop) col(v);
    using triplet = Eigen::Triplet<double>;
    std::vector<triplet> entries;
    // Row i of L*L: L_i minus the mean of L_j over the ring of i.
    const auto add_laplacian = [&](int row, std::size_t v, double factor) {
        const auto& r = ring.at(v);
        entries.emplace_back(row, col(v), factor);
        for (const std::size_t w : r) entries.emplace_back(row, col(w), -factor / static_cast<double>(r.size()));
    };
    for (std::size_t k = 0; k < unknowns; ++k) {
        const std::size_t v = first_new + k;
        const int row = static_cast<int>(k);
        add_laplacian(row, v, 1.0);
        const auto& r = ring.at(v);
        for (const std::size_t w : r) add_laplacian(row, w, -1.0 / static_cast<double>(r.size()));
    }
    const auto n_cols = static_cast<int>(vertex_of.size());
    Eigen::SparseMatrix<double> a(static_cast<int>(unknowns), n_cols);
    a.setFromTriplets(entries.begin(), entries.end());
    const auto u = static_cast<int>(unknowns);
    Eigen::SparseMatrix<double> free_part = a.leftCols(u);
    Eigen::SparseMatrix<double> held_part = a.rightCols(n_cols - u);
    Eigen::MatrixXd held(n_cols - u, 3);
    for (int c = u; c < n_cols; ++c) held.row(c - u) = at(s, vertex_of[static_cast<std::size_t>(c)]).transpose();
    Eigen::SparseLU<Eigen::SparseMatrix<double>> solver;
    solver.compute(free_part);
    if (solver.info() != Eigen::Success) return;  // keep the flat fill
    const Eigen::MatrixXd rhs = -(held_part * held);
    const Eigen::MatrixXd x = solver.solve(rhs);
    if (solver.info() != Eigen::Success || !x.allFinite()) return;
    for (std::size_t k = 0; k < unknowns; ++k)
        s.vertices[first_new + k] = {x(static_cast<int>(k), 0), x(static_cast<int>(k), 1), x(static_cast<int>(k), 2)};
}

/// The mean length of the edges of the surface's triangles at each vertex.
std::vector<double> mean_edge_lengths(const triangle_surface& s)
{
    std::vector<double> sum(s.vertices.size(), 0.0);
    std::vector<std::size_t> count(s.vertices.size(), 0);
    for (const auto& t : s.triangles)
        for (std::size_t i = 0; i < 3; ++i) {
            const double l = (at(s, t[i]) - at(s, t[(i + 1) % 3])).norm();
            sum[t[i]] += l;
            sum[t[(i + 1) % 3]] += l;
            ++count[t[i]];
            ++count[t[(i + 1) % 3]];
        }
    for (std::size_t v = 0; v < sum.size(); ++v)
        if (count[v] > 0) sum[v] /= static_cast<double>(count[v]);
    return sum;
}

/// The surface's own triangles at the loop's vertices, each once.
std::vector<corners> around(const triangle_surface& s, const vertex_to_triangles_map& map, const hole& h,
                            std::size_t original_triangles)
{
    std::vector<std::size_t> ts;
    for (const std::size_t v : h.vertices)
        for (const std::size_t t : map[v])
            if (t < original_triangles) ts.push_back(t);
    std::sort(ts.begin(), ts.end());
    ts.erase(std::unique(ts.begin(), ts.end()), ts.end());
    std::vector<corners> out;
    out.reserve(ts.size());
    for (const std::size_t t : ts) out.push_back(s.triangles[t]);
    return out;
}

}  // namespace

fill_result fill_holes(triangle_surface& surface, const fill_options& options)
{
    fill_result r;
    std::vector<hole> loops;
    trace_loops(hole_edges(surface), surface.vertices.size(), loops, r.not_simple);
    r.holes = loops.size() + r.not_simple;
    if (options.max_boundary_edges == 0) {
        r.too_large = loops.size();
        return r;
    }
    // Built when the first hole is filled, from the surface before filling.
    vertex_to_triangles_map map;
    std::vector<double> lengths;
    const std::size_t original_triangles = surface.triangles.size();
    for (const hole& h : loops) {
        if (h.vertices.size() > options.max_boundary_edges || h.vertices.size() < 3) {
            ++r.too_large;
            continue;
        }
        if (map.empty()) {
            map = get_vertex_to_triangles_map(surface);
            if (options.refine) lengths = mean_edge_lengths(surface);
        }
        const edge_test exists(surface, map);
        const triangulation best(surface, h, exists);
        if (!best.found()) {
            ++r.refused;
            continue;
        }
        std::vector<corners> patch = best.triangles();
        const std::size_t first_new = surface.vertices.size();
        if (options.refine) {
            std::unordered_map<std::size_t, double> scale;
            for (const std::size_t v : h.vertices) scale[v] = lengths[v];
            r.vertices_added += refine_patch(surface, patch, scale, exists);
            if (options.fair)
                fair_patch(surface, patch, first_new, h.vertices, around(surface, map, h, original_triangles));
        }
        surface.triangles.insert(surface.triangles.end(), patch.begin(), patch.end());
        r.triangles_added += patch.size();
        ++r.filled;
    }
    return r;
}

}  // namespace Zelkov::Processing
