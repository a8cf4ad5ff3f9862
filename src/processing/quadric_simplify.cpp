#include <processing/simplify.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <stdexcept>
#include <utility>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/parallel_reduce.h>
#include <oneapi/tbb/parallel_sort.h>

#include <geometry/measures.h>
#include <math/vecmath.h>

#include "stages.h"

// The collapse loop works in passes, as the fastest simplifiers do. A pass
// brings every edge's quadric cost up to date (in parallel; a cost is kept
// while neither end changes), orders the edges by the top bits of the cost,
// and walks them cheapest first, collapsing each edge whose ends no earlier
// collapse of the pass has used: its cost is then still exact. The walk
// goes a slice at a time. A slice takes edges in order while their ends lie
// outside the stars of the edges it took before them; the others wait for
// the next slice. The tests of the slice (link condition, normal turn) run
// in parallel on the surface as the slice began, in the order of the
// triangles, and stay true while the slice's collapses are made in order,
// as their stars are disjoint. Every choice is made serially in a fixed
// order, so the result is the same for every thread count.

namespace Zelkov::Processing {

namespace {

using Zelkov::Geometry::triangle_surface;
using point3 = Zelkov::Math::point<double, 3>;
using index = std::uint32_t;
using tri32 = std::array<index, 3>;

constexpr index dead = std::numeric_limits<index>::max();
constexpr std::size_t next[3] = {1, 2, 0};
/// More triangles than this around a vertex make it a hub, which keeps its
/// place in a collapse, so that a collapse next to it does not test the
/// normals of its whole star.
constexpr std::size_t hub_valence = 32;
/// A pass takes edges up to this factor times the least cost of the bucket
/// that holds the rank of the collapses still wanted: many cheaper edges are
/// refused or kept out by an earlier collapse of the pass.
constexpr double pass_cost_factor = 1.5;
/// Triangles per block of the parallel search for special edges.
constexpr std::size_t block = 4096;

point3 sub(const point3& a, const point3& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
double dot(const point3& a, const point3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
point3 cross(const point3& a, const point3& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
point3 along(const point3& a, const point3& b, double t)
{
    return {a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), a.z + t * (b.z - a.z)};
}

/// The symmetric form E(p) = p'Ap + 2b'p + c, stored as the upper triangle of
/// A, then b, then c.
struct quadric {
    std::array<double, 10> q{};

    static quadric of_plane(const point3& n, double d, double weight)
    {
        quadric r;
        r.q = {n.x * n.x, n.x * n.y, n.x * n.z, n.y * n.y, n.y * n.z, n.z * n.z, n.x * d, n.y * d, n.z * d, d * d};
        for (double& v : r.q) v *= weight;
        return r;
    }

    quadric& operator+=(const quadric& o)
    {
        for (int i = 0; i < 10; ++i) q[i] += o.q[i];
        return *this;
    }

    double error(const point3& p) const
    {
        const double x = p.x, y = p.y, z = p.z;
        return x * (q[0] * x + q[1] * y + q[2] * z) + y * (q[1] * x + q[3] * y + q[4] * z) +
               z * (q[2] * x + q[4] * y + q[5] * z) + 2.0 * (q[6] * x + q[7] * y + q[8] * z) + q[9];
    }

    /// The summed weight of the planes: the trace of A, as their normals are
    /// unit vectors.
    double weight() const { return q[0] + q[3] + q[5]; }

    /// The minimiser of E, when A is well enough conditioned to trust it:
    /// A^-1 (-b) from the cofactors of the symmetric A.
    std::optional<point3> minimiser() const
    {
        const double c00 = q[3] * q[5] - q[4] * q[4], c01 = q[2] * q[4] - q[1] * q[5], c02 = q[1] * q[4] - q[2] * q[3];
        const double c11 = q[0] * q[5] - q[2] * q[2], c12 = q[1] * q[2] - q[0] * q[4], c22 = q[0] * q[3] - q[1] * q[1];
        const double det = q[0] * c00 + q[1] * c01 + q[2] * c02;
        const double scale = weight() / 3.0;
        if (!(scale > 0) || !(std::fabs(det) > 1e-9 * scale * scale * scale)) return std::nullopt;
        const double r0 = -q[6], r1 = -q[7], r2 = -q[8];
        const double inverse = 1.0 / det;
        const point3 x{(c00 * r0 + c01 * r1 + c02 * r2) * inverse, (c01 * r0 + c11 * r1 + c12 * r2) * inverse,
                       (c02 * r0 + c12 * r1 + c22 * r2) * inverse};
        if (!std::isfinite(x.x) || !std::isfinite(x.y) || !std::isfinite(x.z)) return std::nullopt;
        return x;
    }
};

/// How an edge would be collapsed: who survives, where it goes, at what cost.
struct plan {
    double cost;
    index kept;
    index removed;
    point3 position;
};

/// What a vertex may do.
enum class freedom : std::uint8_t {
    free,     // moves anywhere
    sliding,  // on exactly two constrained edges: moves only along them
    pinned,   // never moves, never removed
};

/// A vertex's record.
struct vertex_state {
    freedom kind = freedom::free;
    std::uint8_t boundary = 0;     // on a boundary edge
    std::uint8_t on_boundary = 0;  // on a boundary edge that may collapse freely
    /// The ends of its two constrained edges, for a sliding vertex.
    std::array<index, 2> along{dead, dead};
};

/// The bits of a 21-bit cell coordinate spread to every third bit.
std::uint64_t spread_bits(std::uint64_t x)
{
    x &= 0x1fffff;
    x = (x | x << 32) & 0x1f00000000ffffULL;
    x = (x | x << 16) & 0x1f0000ff0000ffULL;
    x = (x | x << 8) & 0x100f00f00f00f00fULL;
    x = (x | x << 4) & 0x10c30c30c30c30c3ULL;
    x = (x | x << 2) & 0x1249249249249249ULL;
    return x;
}

/// Whether the triangles name vertices far apart in the numbering: the mean
/// spread of a triangle's indices is above a hundredth of the vertices.
bool scattered(const triangle_surface& s)
{
    if (s.triangles.empty()) return false;
    const double spread = oneapi::tbb::parallel_reduce(
        oneapi::tbb::blocked_range<std::size_t>(0, s.triangles.size(), 4096), 0.0,
        [&](const auto& r, double sum) {
            for (std::size_t t = r.begin(); t != r.end(); ++t) {
                const auto& tri = s.triangles[t];
                sum += static_cast<double>(std::max({tri[0], tri[1], tri[2]}) - std::min({tri[0], tri[1], tri[2]}));
            }
            return sum;
        },
        std::plus<>());
    return spread > 0.01 * static_cast<double>(s.triangles.size()) * static_cast<double>(s.vertices.size());
}

/// A numbering of the vertices and triangles under which neighbours lie
/// near each other in memory. An input whose triangles already name nearby
/// vertices keeps its own; a scattered one is renumbered: vertices by the
/// Morton order of their cell in a 2^21 grid over the bounding box (ties by
/// index; a NaN coordinate counts as the box's least), triangles by their
/// least vertex in that order (ties by index).
struct locality_order {
    bool renumbered = false;
    std::vector<index> vertex_of;    // new -> old, when renumbered
    std::vector<index> new_vertex;   // old -> new, when renumbered
    std::vector<index> triangle_of;  // new -> old

    index old_of(std::size_t v) const { return renumbered ? vertex_of[v] : static_cast<index>(v); }
    index new_of(std::size_t v) const { return renumbered ? new_vertex[v] : static_cast<index>(v); }

    explicit locality_order(const triangle_surface& s)
    {
        const std::size_t n = s.vertices.size();
        renumbered = scattered(s);
        if (!renumbered) {
            triangle_of.resize(s.triangles.size());
            for (std::size_t t = 0; t < s.triangles.size(); ++t) triangle_of[t] = static_cast<index>(t);
            return;
        }
        const auto box = Zelkov::Geometry::bounding_volume(s, true);
        const point3 low = box.min, size = sub(box.max, box.min);
        const auto cell = [](double x, double from, double extent) -> std::uint64_t {
            const double t = extent > 0 ? (x - from) / extent : 0.0;
            return t > 0 ? static_cast<std::uint64_t>(std::min(t, 1.0) * 2097151.0) : 0;  // NaN too
        };
        std::vector<std::pair<std::uint64_t, index>> keyed(n);
        oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, n, 4096), [&](const auto& r) {
            for (std::size_t v = r.begin(); v != r.end(); ++v) {
                const point3& p = s.vertices[v];
                keyed[v] = {spread_bits(cell(p.x, low.x, size.x)) | spread_bits(cell(p.y, low.y, size.y)) << 1 |
                                spread_bits(cell(p.z, low.z, size.z)) << 2,
                            static_cast<index>(v)};
            }
        });
        oneapi::tbb::parallel_sort(keyed.begin(), keyed.end());
        vertex_of.resize(n);
        for (std::size_t v = 0; v < n; ++v) vertex_of[v] = keyed[v].second;
        new_vertex.resize(n);
        for (std::size_t v = 0; v < n; ++v) new_vertex[vertex_of[v]] = static_cast<index>(v);
        // Triangles by their least new vertex: a counting sort, stable.
        std::vector<index> start(n + 1, 0);
        const auto least = [&](const std::array<std::size_t, 3>& t) {
            return std::min({new_vertex[t[0]], new_vertex[t[1]], new_vertex[t[2]]});
        };
        for (const auto& t : s.triangles) ++start[least(t) + 1];
        for (std::size_t v = 0; v < n; ++v) start[v + 1] += start[v];
        triangle_of.resize(s.triangles.size());
        for (std::size_t t = 0; t < s.triangles.size(); ++t) triangle_of[start[least(s.triangles[t])]++] = static_cast<index>(t);
    }
};

class simplifier {
public:
    simplifier(triangle_surface& surface, const collapse_options& options, const std::vector<unsigned char>& pinned,
               const progress_callback& progress)
        : surface_(surface), options_(options), progress_(progress), order_(surface)
    {
        state_.assign(surface.vertices.size(), vertex_state{});
        for (std::size_t v = 0; v < pinned.size() && v < state_.size(); ++v)
            if (pinned[v]) state_[order_.new_of(v)].kind = freedom::pinned;
        min_turn_cos_ = std::cos(options.max_normal_turn_degrees * 3.141592653589793 / 180.0);
        tris_.resize(surface.triangles.size());
        for (std::size_t t = 0; t < tris_.size(); ++t)
            for (std::size_t c = 0; c < 3; ++c)
                tris_[t][c] = order_.new_of(surface.triangles[order_.triangle_of[t]][c]);
        origin_ = std::move(order_.triangle_of);
        // The positions are worked on in the new order and put back at the end.
        if (order_.renumbered) {
            std::vector<point3> positions(surface.vertices.size());
            for (std::size_t v = 0; v < positions.size(); ++v) positions[v] = surface.vertices[order_.vertex_of[v]];
            surface.vertices.swap(positions);
        }
    }

    collapse_counts run()
    {
        counts_.triangles_before = live_ = tris_.size();
        detail::run_stage(progress_, "edge kinds", [&] {
            build_stars();
            classify_edges();
        });
        detail::run_stage(progress_, "quadrics", [&] { build_quadrics(); });
        detail::run_stage(progress_, "collapses", [&] { collapse(); });
        detail::run_stage(progress_, "remove invalid triangles", [&] { write_back(); });
        counts_.survivor.resize(survivor_.size());
        for (std::size_t v = 0; v < survivor_.size(); ++v)
            counts_.survivor[v] = order_.old_of(final_survivor(order_.new_of(v)));
        counts_.reached_target = counts_.triangles_after <= options_.target_triangles;
        for (const vertex_state& v : state_) counts_.pinned_vertices += v.kind == freedom::pinned;
        return counts_;
    }

private:
    // ------------------------------------------------------------ stars

    /// The triangles around each vertex, ascending: offsets into one array,
    /// filled by a counting sort over the live triangles.
    /// A counting sort over the live triangles, so that each star comes out
    /// ascending. (Serial: splitting it by vertex ranges made every thread
    /// read every triangle and took longer on two threads than this on one.)
    void build_stars()
    {
        const std::size_t n = state_.size();
        offsets_.assign(n + 1, 0);
        for (const tri32& t : tris_)
            if (t[0] != dead)
                for (const index v : t) ++offsets_[v + 1];
        for (std::size_t v = 0; v < n; ++v) offsets_[v + 1] += offsets_[v];
        star_.resize(offsets_[n]);
        std::vector<index> fill(offsets_.begin(), offsets_.end() - 1);
        for (std::size_t t = 0; t < tris_.size(); ++t)
            if (tris_[t][0] != dead)
                for (const index v : tris_[t]) star_[fill[v]++] = static_cast<index>(t);
    }

    std::size_t valence(index v) const { return offsets_[v + 1] - offsets_[v]; }
    const index* star_begin(index v) const { return star_.data() + offsets_[v]; }
    const index* star_end(index v) const { return star_.data() + offsets_[v + 1]; }

    bool has(const tri32& t, index v) const { return t[0] == v || t[1] == v || t[2] == v; }

    /// The two ends of the edge on side 3 t + e, in the side's direction.
    std::pair<index, index> ends_of(index side) const
    {
        const tri32& t = tris_[side / 3];
        return {t[side % 3], t[next[side % 3]]};
    }

    /// The triangles on edge (a, b): how many, and the lowest of them.
    std::pair<std::size_t, index> edge_triangles(index a, index b) const
    {
        const index x = valence(a) <= valence(b) ? a : b, y = x == a ? b : a;
        std::size_t count = 0;
        index lowest = dead;
        for (const index* t = star_begin(x); t != star_end(x); ++t)
            if (has(tris_[*t], y)) {
                if (count++ == 0) lowest = *t;
            }
        return {count, lowest};
    }

    // ------------------------------------------------------------ edge kinds

    /// Runs `body(begin, end, part)` over blocks of `count` items in
    /// parallel and returns what the blocks appended to their parts, in
    /// block order.
    template <class T, class Body>
    static std::vector<T> gather(std::size_t count, const Body& body)
    {
        const std::size_t blocks = (count + block - 1) / block;
        std::vector<std::vector<T>> parts(blocks);
        oneapi::tbb::parallel_for(std::size_t{0}, blocks, [&](std::size_t k) {
            body(k * block, std::min(count, (k + 1) * block), parts[k]);
        });
        std::vector<T> all;
        for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
        return all;
    }

    /// An edge met once, from its lowest triangle: its side and the number
    /// of triangles on it.
    struct edge_side {
        index t;
        std::uint8_t e;
        std::uint8_t multiplicity;  // 1, 2, or 3 for three or more
    };

    /// Finds the boundary and non-manifold edges and, with the options, the
    /// feature edges; pins or constrains their vertices. Each edge is listed
    /// from the side of its lowest triangle, which a collapse keeps true
    /// (`relist`) and the compaction of the rows too.
    void classify_edges()
    {
        const double feature_cos = std::cos(options_.feature_angle_degrees * 3.141592653589793 / 180.0);
        const bool features = options_.feature_angle_degrees < 180.0;
        side_costs_.assign(3 * tris_.size(), unknown_cost);
        side_refused_.assign(3 * tris_.size(), false);
        const auto special = gather<edge_side>(tris_.size(), [&](std::size_t begin, std::size_t end, auto& out) {
            for (std::size_t t = begin; t != end; ++t)
                for (std::uint8_t e = 0; e < 3; ++e) {
                    const auto [count, lowest] = edge_triangles(tris_[t][e], tris_[t][next[e]]);
                    if (lowest != t) {
                        side_costs_[3 * t + e] = not_listed;
                        continue;
                    }
                    if (count != 2 || (features && is_feature(static_cast<index>(t), e, feature_cos)))
                        out.push_back({static_cast<index>(t), e, static_cast<std::uint8_t>(std::min<std::size_t>(3, count))});
                }
        });
        std::vector<std::uint8_t> constrained(state_.size(), 0);
        auto constrain = [&](index v, index other) {
            vertex_state& s = state_[v];
            if (constrained[v] < 2) s.along[constrained[v]] = other;
            constrained[v] = static_cast<std::uint8_t>(std::min(3, constrained[v] + 1));
        };
        for (const edge_side& side : special) {
            const index a = tris_[side.t][side.e], b = tris_[side.t][next[side.e]];
            if (side.multiplicity >= 3) {
                ++counts_.non_manifold_edges;
                state_[a].kind = state_[b].kind = freedom::pinned;
                continue;
            }
            const bool boundary = side.multiplicity == 1;
            counts_.boundary_edges += boundary;
            if (boundary) state_[a].boundary = state_[b].boundary = 1;
            counts_.feature_edges += !boundary;
            if (boundary && options_.boundary == boundary_mode::locked) {
                state_[a].kind = state_[b].kind = freedom::pinned;
            } else if (boundary && options_.boundary == boundary_mode::free) {
                state_[a].on_boundary = state_[b].on_boundary = 1;
                boundary_sides_.push_back({side.t, side.e});
            } else {
                // A sliding boundary is held to its line by the same planes,
                // so that its corners keep their place while cheaper moves remain.
                if (boundary) boundary_sides_.push_back({side.t, side.e});
                constrain(a, b);
                constrain(b, a);
            }
        }
        // On one or three and more constrained edges a vertex is a corner of them.
        for (std::size_t v = 0; v < state_.size(); ++v) {
            if (constrained[v] == 0 || state_[v].kind == freedom::pinned) continue;
            state_[v].kind = constrained[v] == 2 ? freedom::sliding : freedom::pinned;
        }
        // Boundary planes are added to the quadrics by vertex pair, whatever the order found.
        const auto pair_of = [this](const std::array<index, 2>& side) {
            const index a = tris_[side[0]][side[1]], b = tris_[side[0]][next[side[1]]];
            return std::pair{std::min(a, b), std::max(a, b)};
        };
        std::sort(boundary_sides_.begin(), boundary_sides_.end(),
                  [&](const auto& x, const auto& y) { return pair_of(x) < pair_of(y); });
    }

    point3 triangle_normal(const tri32& t) const
    {
        const auto& p = surface_.vertices;
        return cross(sub(p[t[1]], p[t[0]]), sub(p[t[2]], p[t[0]]));
    }

    /// Whether the two triangles on side e of t turn by more than the feature
    /// angle; a triangle without area makes no feature.
    bool is_feature(index t, std::uint8_t e, double feature_cos) const
    {
        const index a = tris_[t][e], b = tris_[t][next[e]];
        index other = dead;
        for (const index* s = star_begin(a); s != star_end(a); ++s)
            if (*s != t && has(tris_[*s], b)) other = *s;
        const point3 n0 = triangle_normal(tris_[t]), n1 = triangle_normal(tris_[other]);
        const double s0 = dot(n0, n0), s1 = dot(n1, n1);
        if (!(s0 > 0) || !(s1 > 0)) return false;
        const double d = dot(n0, n1);
        // cos(turn) = d / sqrt(s0 s1) < feature_cos, without the root.
        if (feature_cos >= 0) return d < 0 || d * d < feature_cos * feature_cos * s0 * s1;
        return d < 0 && d * d > feature_cos * feature_cos * s0 * s1;
    }

    // ------------------------------------------------------------ quadrics

    /// The plane of triangle t, weighted by its area.
    quadric plane_of(const tri32& t) const
    {
        const auto& p = surface_.vertices;
        const point3 n = cross(sub(p[t[1]], p[t[0]]), sub(p[t[2]], p[t[0]]));
        const double length = std::sqrt(dot(n, n));
        if (!(length > 0) || !std::isfinite(length)) return {};
        const point3 unit{n.x / length, n.y / length, n.z / length};
        return quadric::of_plane(unit, -dot(unit, p[t[0]]), length / 2.0);
    }

    /// The quadric that keeps a boundary edge's vertices on the plane through
    /// the edge, upright on its triangle, weighted well above the surface's own.
    quadric boundary_plane(index t, std::size_t e) const
    {
        const auto& tri = tris_[t];
        const point3& a = surface_.vertices[tri[e]];
        const point3& b = surface_.vertices[tri[next[e]]];
        const point3& c = surface_.vertices[tri[next[next[e]]]];
        // The plane's normal m = (b - a) x n, normalised as the core does, as
        // the normal of the triangle 0, b - a, n.
        const point3 n = cross(sub(b, a), sub(c, a));
        const point3 origin{0.0, 0.0, 0.0};
        const double half_length = Zelkov::Math::get_area(origin, sub(b, a), n);
        if (!(half_length > 0) || !std::isfinite(half_length)) return {};
        const point3 unit = Zelkov::Math::get_normal(origin, sub(b, a), n, true);
        return quadric::of_plane(unit, -dot(unit, a), 100.0 * dot(sub(b, a), sub(b, a)));
    }

    /// Each vertex sums its triangles' planes in triangle order, so that the
    /// sums do not depend on the thread count; then the boundary planes.
    void build_quadrics()
    {
        quadrics_.assign(state_.size(), quadric{});
        oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, state_.size(), block), [&](const auto& r) {
            for (std::size_t v = r.begin(); v != r.end(); ++v)
                for (const index* t = star_begin(static_cast<index>(v)); t != star_end(static_cast<index>(v)); ++t)
                    quadrics_[v] += plane_of(tris_[*t]);
        });
        for (const auto& [t, e] : boundary_sides_) {
            const quadric q = boundary_plane(t, e);
            quadrics_[tris_[t][e]] += q;
            quadrics_[tris_[t][next[e]]] += q;
        }
    }

    // ------------------------------------------------------------ plans

    bool is_constrained_edge(index a, index b) const
    {
        const auto& s = state_[a];
        return s.kind == freedom::sliding && (s.along[0] == b || s.along[1] == b);
    }

    /// The cheapest point of the segment from a to b under q: the ends, the
    /// middle, and the minimum of the parabola through them.
    static plan best_on_segment(const quadric& q, index a, index b, const point3& pa, const point3& pb)
    {
        const double e0 = std::max(0.0, q.error(pa)), e1 = std::max(0.0, q.error(pb));
        const double em = std::max(0.0, q.error(along(pa, pb, 0.5)));
        plan p{e0, a, b, pa};
        if (e1 < p.cost) p = {e1, a, b, pb};
        if (em < p.cost) p = {em, a, b, along(pa, pb, 0.5)};
        const double curvature = 2.0 * e1 + 2.0 * e0 - 4.0 * em, slope = e1 - e0 - curvature;
        if (curvature > 0) {
            const double t = std::clamp(-slope / (2.0 * curvature), 0.0, 1.0);
            const point3 x = along(pa, pb, t);
            if (const double e = std::max(0.0, q.error(x)); e < p.cost) p = {e, a, b, x};
        }
        return p;
    }

    /// How edge (a, b) would be collapsed, or nothing when it may not be.
    std::optional<plan> plan_for(index a, index b) const
    {
        const vertex_state &sa = state_[a], &sb = state_[b];
        if (sa.kind == freedom::sliding && sb.kind == freedom::sliding && !is_constrained_edge(a, b))
            return std::nullopt;
        quadric q = quadrics_[a];
        q += quadrics_[b];
        const point3& pa = surface_.vertices[a];
        const point3& pb = surface_.vertices[b];
        // A vertex that may not go anywhere else keeps its place; so does a
        // hub, whose star would all have to be tested, and which is never
        // removed for the same reason.
        const bool a_hub = valence(a) > hub_valence, b_hub = valence(b) > hub_valence;
        const bool a_stays = sa.kind == freedom::pinned || (sa.kind == freedom::sliding && sb.kind == freedom::free) || a_hub;
        const bool b_stays = sb.kind == freedom::pinned || (sb.kind == freedom::sliding && sa.kind == freedom::free) || b_hub;
        if (a_stays && b_stays) return std::nullopt;
        if (a_stays) return plan{std::max(0.0, q.error(pa)), a, b, pa};
        if (b_stays) return plan{std::max(0.0, q.error(pb)), b, a, pb};
        if (sa.kind == freedom::sliding) return best_on_segment(q, a, b, pa, pb);

        const point3 mid{(pa.x + pb.x) / 2.0, (pa.y + pb.y) / 2.0, (pa.z + pb.z) / 2.0};
        // Trust the optimum only near the edge: far off it lies along a
        // nearly flat direction of the quadric.
        if (const auto best = q.minimiser();
            best && dot(sub(*best, mid), sub(*best, mid)) <= dot(sub(pa, pb), sub(pa, pb)))
            return plan{std::max(0.0, q.error(*best)), a, b, *best};
        plan p{std::max(0.0, q.error(pa)), a, b, pa};
        for (const point3& c : {pb, mid})
            if (const double e = std::max(0.0, q.error(c)); e < p.cost) p = {e, a, b, c};
        return p;
    }

    /// The error of a plan as a length: the root of the mean squared
    /// distance to the merged planes.
    double distance_of(const plan& p) const
    {
        const double w = quadrics_[p.kept].weight() + quadrics_[p.removed].weight();
        return w > 0 ? std::sqrt(p.cost / w) : 0.0;
    }

    // ------------------------------------------------------------ tests

    /// The link condition on the stars as the pass began: two triangles on
    /// the edge with distinct apexes (one, on a boundary edge that may
    /// collapse), each apex keeping enough triangles, no other vertex
    /// adjacent to both ends, and no inner edge joining two boundary vertices.
    bool link_allows(index a, index b, std::array<index, 2>& apexes, std::size_t& shared, bool& boundary_edge) const
    {
        const index x = valence(a) <= valence(b) ? a : b, y = x == a ? b : a;
        apexes = {dead, dead};
        shared = 0;
        for (const index* t = star_begin(x); t != star_end(x); ++t) {
            const tri32& tri = tris_[*t];
            if (tri[0] == dead || !has(tri, y)) continue;
            if (shared == 2) return false;
            for (const index w : tri)
                if (w != a && w != b) apexes[shared] = w;
            ++shared;
        }
        const bool both_on_boundary = state_[a].on_boundary && state_[b].on_boundary;
        boundary_edge = shared == 1 && (both_on_boundary || is_constrained_edge(a, b));
        if (shared != 2 && !boundary_edge) return false;
        if (shared == 2 && (apexes[0] == apexes[1] || both_on_boundary)) return false;
        if (!apexes_keep(apexes, shared, boundary_edge)) return false;
        if (boundary_edge && (live_valence_[a] <= 1 || live_valence_[b] <= 1)) return false;
        // The constrained edges on either side of a sliding collapse must not
        // close a loop of three.
        if (is_constrained_edge(a, b)) {
            const auto other = [&](index v, index not_this) {
                const auto& s = state_[v].along;
                return s[0] == not_this ? s[1] : s[0];
            };
            if (other(a, b) == other(b, a)) return false;
        }
        return !rings_meet_outside(x, y, apexes);
    }

    /// Whether each apex keeps enough triangles: three inside, one on the
    /// boundary.
    bool apexes_keep(const std::array<index, 2>& apexes, std::size_t shared, bool boundary_edge) const
    {
        for (std::size_t i = 0; i < shared; ++i)
            if (live_valence_[apexes[i]] <= (boundary_edge || state_[apexes[i]].boundary ? 1u : 3u))
                return false;
        return true;
    }

    /// Whether a vertex other than the apexes is adjacent to both x and y:
    /// the ring of y is listed, each vertex once, unless y is a hub; then
    /// each neighbour of x is looked for in its own star.
    bool rings_meet_outside(index x, index y, const std::array<index, 2>& apexes) const
    {
        const auto outside = [&](index w) { return w != x && w != y && w != apexes[0] && w != apexes[1]; };
        if (valence(y) > hub_valence) {
            // Only the stars of the ends are up to date within a pass.
            std::vector<index> hub_ring;
            for (const index* t = star_begin(y); t != star_end(y); ++t)
                if (tris_[*t][0] != dead)
                    for (const index w : tris_[*t])
                        if (outside(w)) hub_ring.push_back(w);
            std::sort(hub_ring.begin(), hub_ring.end());
            for (const index* t = star_begin(x); t != star_end(x); ++t)
                if (tris_[*t][0] != dead)
                    for (const index w : tris_[*t])
                        if (std::binary_search(hub_ring.begin(), hub_ring.end(), w)) return true;
            return false;
        }
        std::array<index, 2 * hub_valence + 2> ring;  // a vertex of a star of n triangles has at most 2 n neighbours
        std::size_t size = 0;
        for (const index* t = star_begin(y); t != star_end(y); ++t)
            if (tris_[*t][0] != dead)
                for (const index w : tris_[*t])
                    if (outside(w) && std::find(ring.begin(), ring.begin() + static_cast<std::ptrdiff_t>(size), w) ==
                                      ring.begin() + static_cast<std::ptrdiff_t>(size))
                        ring[size++] = w;
        const auto end = ring.begin() + static_cast<std::ptrdiff_t>(size);
        for (const index* t = star_begin(x); t != star_end(x); ++t)
            if (tris_[*t][0] != dead)
                for (const index w : tris_[*t])
                    if (std::find(ring.begin(), end, w) != end) return true;
        return false;
    }

    /// No triangle that stays may turn its normal by more than the limit.
    /// Compared in squares, so that no root is taken. A kept vertex that
    /// does not move leaves its own triangles as they are.
    bool normals_allow(const plan& p) const
    {
        const auto& pos = surface_.vertices;
        const bool kept_moves = !(p.position == pos[p.kept]);
        for (const index v : {p.kept, p.removed}) {
            if (v == p.kept && !kept_moves) continue;
            const index other = v == p.kept ? p.removed : p.kept;
            const point3& from = pos[v];
            for (const index* s = star_begin(v); s != star_end(v); ++s) {
                const tri32& tri = tris_[*s];
                if (tri[0] == dead) continue;
                // The triangle turned round to start at v, which moves to the plan's place.
                const std::size_t c = tri[0] == v ? 0 : tri[1] == v ? 1 : 2;
                const index b = tri[next[c]], d = tri[next[next[c]]];
                if (b == other || d == other) continue;  // on the edge: it goes
                const point3 &q = pos[b], &r = pos[d];
                const point3 n0 = cross(sub(q, from), sub(r, from));
                const point3 n1 = cross(sub(q, p.position), sub(r, p.position));
                const double s0 = dot(n0, n0), s1 = dot(n1, n1);
                if (!(s1 > 0)) return false;
                if (!(s0 > 0)) continue;
                if (!turn_within_limit(dot(n0, n1), s0 * s1)) return false;
            }
        }
        return true;
    }

    /// Whether cos(turn) = d / sqrt(ss) is at least the limit's cosine.
    bool turn_within_limit(double d, double ss) const
    {
        const double bound = min_turn_cos_ * min_turn_cos_ * ss;
        if (min_turn_cos_ >= 0) return d >= 0 && d * d >= bound;
        return d >= 0 || d * d <= bound;
    }

    // ------------------------------------------------------------ passes

    /// Whether a vertex of the stars of a or b changed in the last pass: the
    /// tests of edge (a, b) read nothing else.
    bool stars_changed(index a, index b) const
    {
        for (const index v : {a, b})
            for (const index* t = star_begin(v); t != star_end(v); ++t)
                for (const index w : tris_[*t])
                    if (changed_[w] == listing_) return true;
        return false;
    }

    /// The triangles of a block of the listing: few enough that a block's
    /// count of a bucket fits 16 bits, and a multiple of 64, so that each
    /// block's refusal bits start a word of their own.
    static constexpr std::size_t listing_block = 16384;

    /// Brings the sides' costs up to date and counts, per block of
    /// triangles, the listed edges of each bucket. Every edge that might
    /// collapse is listed once, from its lowest triangle; a side keeps the
    /// cost found at the last listing while neither end has changed since,
    /// and a refused edge is not listed while nothing in its stars has.
    void refresh_costs()
    {
        const std::size_t size = listing_block, blocks = (tris_.size() + size - 1) / size;
        block_counts_.assign(blocks * buckets, 0);
        oneapi::tbb::parallel_for(std::size_t{0}, blocks, [&](std::size_t k) {
            std::uint16_t* counts = block_counts_.data() + k * buckets;
            for (std::size_t t = k * size; t < std::min(tris_.size(), (k + 1) * size); ++t)
                for (std::size_t e = 0; e < 3 && tris_[t][0] != dead; ++e)
                    if (const float cost = refresh_side(t, e); cost >= 0) ++counts[bucket_of(cost)];
        });
        bucket_start_.assign(buckets + 1, 0);
        for (std::size_t k = 0; k < blocks; ++k)
            for (std::size_t j = 0; j < buckets; ++j) bucket_start_[j + 1] += block_counts_[k * buckets + j];
        for (std::size_t j = 0; j < buckets; ++j) bucket_start_[j + 1] += bucket_start_[j];
        ++listing_;
    }

    /// The cost of the edge listed from side e of t, or a negative value
    /// when it is not listed from there.
    float refresh_side(std::size_t t, std::size_t e)
    {
        float& cached = side_costs_[3 * t + e];
        if (cached == not_listed) return not_listed;
        const index a = tris_[t][e], b = tris_[t][next[e]];
        const bool ends_changed = changed_[a] == listing_ || changed_[b] == listing_;
        if (side_refused_[3 * t + e]) {
            if (!ends_changed && !stars_changed(a, b)) return not_listed;
            side_refused_[3 * t + e] = false;
        }
        if (std::isnan(cached) || ends_changed) {
            if (state_[a].kind == freedom::pinned && state_[b].kind == freedom::pinned) {
                cached = no_plan;
            } else {
                const auto p = plan_for(a, b);
                cached = p ? static_cast<float>(p->cost) : no_plan;
            }
        }
        return cached;
    }

    /// The bucket of a cost: the top bits of its float, which order like the
    /// costs themselves.
    static std::uint32_t bucket_of(float cost) { return std::bit_cast<std::uint32_t>(cost) >> 19; }
    /// The least cost of a bucket.
    static float bucket_floor(std::uint32_t k) { return std::bit_cast<float>(k << 19); }

    /// The listed edges of the buckets up to that of `limit`, by bucket, in
    /// triangle order within a bucket, into `sorted_`. The places of edges
    /// refused since the listing, or dearer than `limit`, stay empty (side `dead`).
    void sort_up_to(float limit)
    {
        const std::uint32_t last = bucket_of(limit);
        const std::size_t size = listing_block, blocks = (tris_.size() + size - 1) / size;
        // Each block's first place in each bucket.
        std::vector<std::uint32_t> at(blocks * (last + 1));
        for (std::uint32_t j = 0; j <= last; ++j) {
            std::uint32_t place = bucket_start_[j];
            for (std::size_t k = 0; k < blocks; ++k) {
                at[k * (last + 1) + j] = place;
                place += block_counts_[k * buckets + j];
            }
        }
        sorted_.assign(bucket_start_[last + 1], dead);
        oneapi::tbb::parallel_for(std::size_t{0}, blocks, [&](std::size_t k) {
            std::uint32_t* place = at.data() + k * (last + 1);
            for (std::size_t t = k * size; t < std::min(tris_.size(), (k + 1) * size); ++t)
                for (std::size_t e = 0; e < 3 && tris_[t][0] != dead; ++e) {
                    const float cost = side_costs_[3 * t + e];
                    if (!(cost >= 0) || side_refused_[3 * t + e]) continue;
                    if (const std::uint32_t j = bucket_of(cost); j <= last && cost <= limit)
                        sorted_[place[j]++] = static_cast<index>(3 * t + e);
                }
        });
    }

    /// Whether a collapse made in this pass has an end at v.
    bool used(index v) const { return marks_[v] == used_mark(); }
    /// The mark of the ends of the pass's collapses, above every slice's.
    std::uint32_t used_mark() const { return std::numeric_limits<std::uint32_t>::max() - pass_; }

    /// Marks the vertices whose edges a chosen collapse gives another cost
    /// or other triangles: the ends, apexes that are hubs (fewer triangles)
    /// and, on a constrained edge, the next vertex along it.
    void mark_changed(const plan& p, const std::array<index, 2>& apexes, std::size_t shared)
    {
        changed_[p.kept] = changed_[p.removed] = listing_;
        // An apex's edges cost the same unless it stops being a hub.
        for (std::size_t k = 0; k < shared; ++k)
            if (valence(apexes[k]) > hub_valence) changed_[apexes[k]] = listing_;
        if (is_constrained_edge(p.kept, p.removed))
            for (const index w : state_[p.removed].along) changed_[w] = listing_;
    }

    /// What the tests of one edge found.
    enum class outcome : std::uint8_t { no_plan, refused_by_link, refused_by_normal, allowed };
    struct verdict {
        plan p;
        std::array<index, 2> apexes;
        std::uint8_t shared;
        bool boundary_edge;
        outcome result;
    };

    /// Tests edge (a, b) on the surface as it is.
    verdict examine(index a, index b) const
    {
        verdict v{};
        const auto p = plan_for(a, b);
        if (!p || distance_of(*p) > options_.max_error) return v;
        v.p = *p;
        std::size_t shared = 0;
        const bool linked = link_allows(a, b, v.apexes, shared, v.boundary_edge);
        v.shared = static_cast<std::uint8_t>(shared);
        v.result = !linked ? outcome::refused_by_link
                           : normals_allow(*p) ? outcome::allowed : outcome::refused_by_normal;
        return v;
    }

    /// The ends of the candidate at `place` in sorted_, or nothing when its
    /// triangle died or a collapse of this pass used one of them.
    std::optional<std::pair<index, index>> free_ends(std::size_t place) const
    {
        const index side = sorted_[place];
        if (tris_[side / 3][0] == dead) return std::nullopt;
        const auto ends = ends_of(side);
        if (used(ends.first) || used(ends.second)) return std::nullopt;
        return ends;
    }

    /// Walks the pass's order (`sorted_`), cheapest first, and collapses
    /// each edge whose ends are unused and that passes the tests,
    /// until the collapses remove `wanted` triangles. The walk goes a slice
    /// at a time: the edges that wait from the last slice, then the next
    /// ones, each taken when its ends lie outside the stars of the edges
    /// taken before it in the slice (it waits for the next slice otherwise).
    /// Their tests run in parallel on the surface as the slice begins, and
    /// stay true whatever the edges taken before them do.
    void choose(std::size_t wanted)
    {
        chosen_ = removing_ = 0;
        waiting_.clear();
        for (std::size_t i = 0; removing_ < wanted;) {
            ++slice_;
            // A slice: about as many edges as collapses still wanted, within
            // bounds that keep its verdicts a small part of the memory.
            const std::size_t most = std::clamp<std::size_t>(tris_.size() / 32, 64, 4096);
            const std::size_t size = std::clamp<std::size_t>((wanted - removing_ + 1) / 2, 64, most);
            // The window: the edges that wait, then the next ones, `size` in all.
            const std::size_t from_waiting = std::min(size, waiting_.size());
            window_.assign(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(from_waiting));
            later_.assign(waiting_.begin() + static_cast<std::ptrdiff_t>(from_waiting), waiting_.end());
            for (; i < sorted_.size() && window_.size() < size; ++i)
                if (sorted_[i] != dead) window_.push_back(static_cast<index>(i));
            gather_stars();
            tentative_.clear();
            for (std::size_t k = 0; k < window_.size(); ++k) take(k);
            if (tentative_.empty() && later_.empty()) break;
            examine_slice();
            walk_slice(wanted);
            make_chosen();
            // The places in sorted_ follow the order of the walk.
            std::sort(later_.begin(), later_.end());
            waiting_.swap(later_);
        }
    }

    /// For each edge of the window, in parallel: its ends, or none when its
    /// triangle died or a collapse of the pass used an end; and the vertices
    /// of the stars of its ends (with repeats), so that the serial choice of
    /// the slice reads them in order instead of walking the stars.
    void gather_stars()
    {
        const std::size_t count = window_.size();
        window_ends_.resize(count);
        star_vertices_at_.resize(count + 1);
        const auto for_window = [&](const auto& body) {
            oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, count, 256), [&](const auto& r) {
                for (std::size_t k = r.begin(); k != r.end(); ++k) body(k);
            });
        };
        for_window([&](std::size_t k) {
            const auto ends = free_ends(window_[k]);
            window_ends_[k] = ends ? *ends : std::pair{dead, dead};
            star_vertices_at_[k + 1] = ends ? static_cast<index>(3 * (valence(ends->first) + valence(ends->second))) : 0;
        });
        star_vertices_at_[0] = 0;
        for (std::size_t k = 0; k < count; ++k) star_vertices_at_[k + 1] += star_vertices_at_[k];
        star_vertices_.resize(star_vertices_at_[count]);
        for_window([&](std::size_t k) {
            const auto [a, b] = window_ends_[k];
            if (a == dead) return;
            index* out = star_vertices_.data() + star_vertices_at_[k];
            for (const index v : {a, b})
                for (const index* t = star_begin(v); t != star_end(v); ++t)
                    for (const index w : tris_[*t]) *out++ = tris_[*t][0] == dead ? v : w;
        });
    }

    /// Takes the `k`-th edge of the window into the slice, or lets it wait
    /// when an end lies in the stars of an edge taken before it, or drops it
    /// when a collapse used an end.
    void take(std::size_t k)
    {
        const auto [a, b] = window_ends_[k];
        if (a == dead) return;
        if (marks_[a] == slice_ || marks_[b] == slice_) {
            later_.push_back(window_[k]);
            return;
        }
        for (index j = star_vertices_at_[k]; j != star_vertices_at_[k + 1]; ++j)
            if (marks_[star_vertices_[j]] != used_mark()) marks_[star_vertices_[j]] = slice_;
        tentative_.push_back(window_[k]);
    }

    /// Tests the edges of the slice in parallel, in the order of their
    /// triangles, so that neighbouring tests share what they read.
    void examine_slice()
    {
        by_row_.resize(tentative_.size());
        for (std::size_t k = 0; k < tentative_.size(); ++k)
            by_row_[k] = std::uint64_t{sorted_[tentative_[k]]} << 32 | k;
        oneapi::tbb::parallel_sort(by_row_.begin(), by_row_.end());
        verdicts_.resize(tentative_.size());
        oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, by_row_.size(), 256), [&](const auto& r) {
            for (std::size_t j = r.begin(); j != r.end(); ++j) {
                const auto k = static_cast<std::uint32_t>(by_row_[j]);
                const auto [a, b] = ends_of(static_cast<index>(by_row_[j] >> 32));
                verdicts_[k] = examine(a, b);
            }
        });
    }

    /// Goes through the slice in order: an edge is collapsed when it passed
    /// its tests and its apexes still keep enough triangles. A refused edge
    /// is not listed again until something in its stars changes.
    void walk_slice(std::size_t wanted)
    {
        chosen_in_slice_.clear();
        for (std::size_t k = 0; k < tentative_.size(); ++k) {
            if (removing_ >= wanted) {
                later_.push_back(tentative_[k]);
                continue;
            }
            const verdict& v = verdicts_[k];
            if (v.result == outcome::no_plan) continue;
            const bool link = v.result == outcome::refused_by_link || !apexes_keep(v.apexes, v.shared, v.boundary_edge);
            if (link || v.result == outcome::refused_by_normal) {
                ++(link ? counts_.refused_by_link : counts_.refused_by_normal);
                side_refused_[sorted_[tentative_[k]]] = true;
                continue;
            }
            const plan& p = v.p;
            marks_[p.kept] = marks_[p.removed] = used_mark();
            live_valence_[p.kept] += live_valence_[p.removed] - 2 * static_cast<index>(v.shared);
            for (std::size_t j = 0; j < v.shared; ++j) --live_valence_[v.apexes[j]];
            mark_changed(p, v.apexes, v.shared);
            counts_.largest_error = std::max(counts_.largest_error, p.cost);
            counts_.largest_distance = std::max(counts_.largest_distance, distance_of(p));
            chosen_in_slice_.push_back(static_cast<index>(k));
            removing_ += v.shared;
            tell(removing_);
        }
        chosen_ += chosen_in_slice_.size();
    }

    /// Makes the slice's chosen collapses, in parallel as their stars are
    /// disjoint; then moves the ends of the constrained lines they shortened.
    void make_chosen()
    {
        oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, chosen_in_slice_.size(), 64),
                                  [&](const auto& r) {
                                      for (std::size_t i = r.begin(); i != r.end(); ++i)
                                          make(verdicts_[chosen_in_slice_[i]]);
                                  });
        for (const index k : chosen_in_slice_) {
            const plan& p = verdicts_[k].p;
            if (is_constrained_edge(p.kept, p.removed)) slide_on(p.kept, p.removed);
        }
    }

    /// Collapses one edge: the removed vertex's triangles go to the kept one,
    /// those on the edge die, and the kept vertex takes the plan's place.
    void make(const verdict& v)
    {
        const plan& p = v.p;
        for (const index* s = star_begin(p.removed); s != star_end(p.removed); ++s) {
            tri32& tri = tris_[*s];
            if (tri[0] == dead) continue;
            if (has(tri, p.kept)) tri[0] = dead;
            else
                for (index& w : tri)
                    if (w == p.removed) w = p.kept;
        }
        for (std::size_t j = 0; j < v.shared; ++j) relist(p, v.apexes[j]);
        surface_.vertices[p.kept] = p.position;
        quadrics_[p.kept] += quadrics_[p.removed];
        survivor_[p.removed] = p.kept;
        vertex_state &k = state_[p.kept], &r = state_[p.removed];
        k.on_boundary |= r.on_boundary;
        k.boundary |= r.boundary;
    }

    /// After a collapse merged the edges from the kept and the removed vertex
    /// to an apex: the edge is listed from its lowest triangle only. Its
    /// triangles lie in the stars of the two ends as the pass began (an apex
    /// may have gained others in the pass).
    void relist(const plan& p, index apex)
    {
        std::array<index, 4> on_edge{};
        std::size_t count = 0;
        for (const index v : {p.kept, p.removed})
            for (const index* t = star_begin(v); t != star_end(v); ++t)
                if (tris_[*t][0] != dead && has(tris_[*t], apex) && count < on_edge.size()) on_edge[count++] = *t;
        const index lowest = *std::min_element(on_edge.begin(), on_edge.begin() + static_cast<std::ptrdiff_t>(count));
        for (std::size_t k = 0; k < count; ++k)
            side_costs_[3 * on_edge[k] + side_from(tris_[on_edge[k]], p.kept, apex)] =
                on_edge[k] == lowest ? unknown_cost : not_listed;
    }

    /// The edge of t that joins a and b, either way round.
    static index side_from(const tri32& t, index a, index b)
    {
        for (index e = 0; e < 3; ++e)
            if ((t[e] == a && t[next[e]] == b) || (t[e] == b && t[next[e]] == a)) return e;
        return 0;
    }

    /// Ends a pass that made collapses.
    void finish_pass()
    {
        counts_.collapses += chosen_;
        live_ -= removing_;
        // Dead rows are skipped until they are many.
        if (2 * live_ < tris_.size()) compact();
    }

    /// Takes the dead triangles out of the rows, keeping the others in order,
    /// with what is kept per side.
    void compact()
    {
        const bool sides = side_costs_.size() == 3 * tris_.size();  // not once the loop is over
        std::size_t kept = 0;
        for (std::size_t t = 0; t < tris_.size(); ++t) {
            if (tris_[t][0] == dead) continue;
            tris_[kept] = tris_[t];
            origin_[kept] = origin_[t];
            if (sides) {
                std::copy_n(side_costs_.begin() + static_cast<std::ptrdiff_t>(3 * t), 3,
                            side_costs_.begin() + static_cast<std::ptrdiff_t>(3 * kept));
                for (std::size_t e = 0; e < 3; ++e) side_refused_[3 * kept + e] = side_refused_[3 * t + e];
            }
            ++kept;
        }
        tris_.resize(kept);
        origin_.resize(kept);
        if (sides) {
            side_costs_.resize(3 * kept);
            side_refused_.resize(3 * kept);
        }
    }

    /// After the constrained edge (kept, removed) collapsed: kept now runs
    /// to removed's other constrained neighbour, which runs back to kept.
    void slide_on(index kept, index removed)
    {
        auto& k = state_[kept].along;
        auto& r = state_[removed].along;
        const index beyond = r[0] == kept ? r[1] : r[0];
        (k[0] == removed ? k[0] : k[1]) = beyond;
        auto& b = state_[beyond].along;
        (b[0] == removed ? b[0] : b[1]) = kept;
    }

    /// Reports "collapses" when the triangles removed, with `removing` more
    /// in this pass, reach another hundredth of those asked for.
    void tell(std::size_t removing)
    {
        if (!progress_ || asked_ == 0) return;
        const std::size_t done = std::min(asked_, started_with_ - live_ + removing);
        if (100 * done < (told_ + 1) * asked_ || told_ >= 99) return;
        told_ = std::min<std::size_t>(99, 100 * done / asked_);  // the stage's end says 100 %
        detail::report(progress_, "collapses", static_cast<double>(told_) / 100.0);
    }

    /// The cost up to which a pass takes edges: a factor above the least
    /// cost of the bucket that holds the rank of the collapses still wanted.
    float pass_limit(std::size_t wanted_collapses) const
    {
        if (wanted_collapses >= bucket_start_[buckets]) return std::numeric_limits<float>::infinity();
        const auto above = std::upper_bound(bucket_start_.begin(), bucket_start_.end(), wanted_collapses);
        const auto k = static_cast<std::uint32_t>(above - bucket_start_.begin() - 1);
        return static_cast<float>(pass_cost_factor) * bucket_floor(k);
    }

    void collapse()
    {
        survivor_.resize(state_.size());
        for (std::size_t v = 0; v < survivor_.size(); ++v) survivor_[v] = static_cast<index>(v);
        marks_.assign(state_.size(), 0);
        changed_.assign(state_.size(), std::numeric_limits<std::uint32_t>::max());
        live_valence_.resize(state_.size());
        const std::size_t target = options_.target_triangles;
        started_with_ = live_;
        asked_ = started_with_ - std::min(started_with_, target);
        for (bool first = true; live_ > target; first = false) {
            if (!first) build_stars();
            for (std::size_t v = 0; v < live_valence_.size(); ++v)
                live_valence_[v] = static_cast<index>(valence(static_cast<index>(v)));
            refresh_costs();
            const std::size_t wanted = live_ - target;
            const float limit = pass_limit((wanted + 1) / 2);
            sort_up_to(limit);
            // When every edge up to the limit is refused, the dearer ones are tried.
            ++pass_;
            choose(wanted);
            if (chosen_ == 0 && limit < all_costs) {
                sort_up_to(all_costs);
                choose(wanted);
            }
            if (chosen_ == 0) break;
            ++counts_.passes;
            finish_pass();
        }
        // Only the rows, the numbering and the survivors are needed from here on.
        std::vector<float>().swap(side_costs_);
        std::vector<bool>().swap(side_refused_);
        std::vector<index>().swap(sorted_);
        std::vector<std::uint16_t>().swap(block_counts_);
        std::vector<quadric>().swap(quadrics_);
        for (auto* list : {&offsets_, &star_, &marks_, &chosen_in_slice_, &changed_, &live_valence_, &tentative_, &waiting_, &later_, &window_, &star_vertices_, &star_vertices_at_})
            std::vector<index>().swap(*list);
        std::vector<verdict>().swap(verdicts_);
        std::vector<std::pair<index, index>>().swap(window_ends_);
        std::vector<std::uint64_t>().swap(by_row_);
    }

    /// Puts the positions back in the input's order, and the live triangles,
    /// in their input order, with the input's vertex numbers.
    void write_back()
    {
        if (order_.renumbered) {
            std::vector<point3> positions(surface_.vertices.size());
            for (std::size_t v = 0; v < positions.size(); ++v) positions[order_.vertex_of[v]] = surface_.vertices[v];
            surface_.vertices.swap(positions);
        }
        std::vector<index> row(surface_.triangles.size(), dead);  // input triangle -> its live row
        for (std::size_t t = 0; t < tris_.size(); ++t)
            if (tris_[t][0] != dead) row[origin_[t]] = static_cast<index>(t);
        std::size_t kept = 0;
        for (const index t : row)
            if (t != dead) {
                const tri32& tri = tris_[t];
                surface_.triangles[kept++] = {order_.old_of(tri[0]), order_.old_of(tri[1]), order_.old_of(tri[2])};
            }
        counts_.removed_triangles = surface_.triangles.size() - kept;
        surface_.triangles.resize(kept);
        counts_.triangles_after = kept;
    }

    /// The vertex that `v` ended in, following the collapses; shortens the
    /// chain as it goes.
    std::size_t final_survivor(std::size_t v)
    {
        index end = static_cast<index>(v);
        while (survivor_[end] != end) end = survivor_[end];
        while (survivor_[v] != end) v = std::exchange(survivor_[v], end);
        return end;
    }

    triangle_surface& surface_;
    const collapse_options& options_;
    const progress_callback& progress_;
    locality_order order_;  // the numbering worked in
    double min_turn_cos_ = 0.0;
    std::vector<tri32> tris_;     // the triangles in the order worked in, dead ones until compacted
    std::vector<index> origin_;  // for each row of tris_, the input triangle it came from
    std::vector<vertex_state> state_;
    std::vector<quadric> quadrics_;
    std::vector<index> survivor_;  // the vertex each collapsed vertex went into
    std::vector<std::array<index, 2>> boundary_sides_;  // (triangle, edge) of boundary edges that may collapse
    // The stars of the pass: offsets_[v] .. offsets_[v + 1] in star_.
    std::vector<index> offsets_, star_;
    // Per side of a triangle (3 t + e), what the last listing found, kept
    // while neither end changes (nor, then, do the triangles on the edge):
    // the cost of its edge, no plan, not listed from this side, or unknown.
    static constexpr float unknown_cost = std::numeric_limits<float>::quiet_NaN();
    static constexpr float no_plan = -1.0f;
    static constexpr float not_listed = -2.0f;
    std::vector<float> side_costs_;
    // Per side: its edge was refused and nothing near it changed since. Bits:
    // the parallel blocks of the listing start at whole words (`listing_block`).
    std::vector<bool> side_refused_;
    std::vector<std::uint32_t> changed_;  // the listing after which each vertex last changed
    std::uint32_t listing_ = 0;
    std::vector<std::uint16_t> block_counts_;  // listed edges per block of triangles and bucket
    static constexpr std::size_t buckets = std::size_t{1} << 12;
    std::vector<std::uint32_t> bucket_start_;
    std::vector<index> sorted_;  // the sides of the edges the pass may take, by bucket of their cost
    static constexpr float all_costs = std::numeric_limits<float>::infinity();
    std::vector<index> tentative_;  // the places in sorted_ of the edges of the slice
    std::vector<index> waiting_, later_;  // the places of the edges that wait for this slice, and for the next
    std::vector<index> window_;           // the places of the edges the slice looks at
    std::vector<std::pair<index, index>> window_ends_;
    std::vector<index> star_vertices_, star_vertices_at_;  // the vertices of the stars of the window's edges
    std::vector<verdict> verdicts_;
    std::vector<index> chosen_in_slice_;  // the places in the slice of its chosen edges
    std::vector<std::uint64_t> by_row_;  // the slice's edges by side: side << 32 | place in the slice
    std::size_t chosen_ = 0;    // collapses made in the pass
    std::size_t removing_ = 0;  // the triangles they killed
    std::size_t live_ = 0;      // triangles alive at the start of the pass; dead ones stay in the rows until compacted
    // Per vertex: the slice whose taken edges last had it in their stars, or
    // `used_mark` when it is an end of a collapse of the pass.
    std::vector<std::uint32_t> marks_;
    std::uint32_t slice_ = 0;
    std::vector<std::uint32_t> live_valence_;  // the live triangles around each vertex
    std::uint32_t pass_ = 0;
    std::size_t started_with_ = 0, asked_ = 0, told_ = 0;  // triangles, for the progress
    collapse_counts counts_;
};

}  // namespace

collapse_counts collapse_by_quadrics(triangle_surface& surface, const collapse_options& options,
                                     std::vector<unsigned char> pinned, const progress_callback& progress)
{
    if (surface.vertices.size() >= std::numeric_limits<index>::max())
        throw std::length_error("too many vertices to simplify (at most 4294967294)");
    return simplifier(surface, options, pinned, progress).run();
}

}  // namespace Zelkov::Processing
