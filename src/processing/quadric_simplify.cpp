#include <processing/simplify.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <queue>
#include <stdexcept>
#include <utility>

#include <oneapi/tbb/parallel_sort.h>
#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/concurrent_vector.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

#include <geometry/neighbourhood_cache.h>
#include <math/vecmath.h>

#include "stages.h"

namespace Zelkov::Processing {

namespace {

using Zelkov::Geometry::neighbourhood_cache;
using Zelkov::Geometry::triangle_surface;
using point3 = Zelkov::Math::point<double, 3>;

constexpr std::size_t dead = std::numeric_limits<std::size_t>::max();
/// More live triangles than this make a vertex a hub, whose star is walked
/// only when a collapse cannot be refused without it.
constexpr std::uint32_t hub_valence = 32;
using Zelkov::Geometry::cache_entries::next_index;
namespace entries = Zelkov::Geometry::cache_entries;

point3 sub(const point3& a, const point3& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
double dot(const point3& a, const point3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
point3 cross(const point3& a, const point3& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
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

    /// The minimiser of E, when A is well enough conditioned to trust it:
    /// A^-1 (-b) from the cofactors of the symmetric A.
    std::optional<point3> minimiser() const
    {
        const double c00 = q[3] * q[5] - q[4] * q[4], c01 = q[2] * q[4] - q[1] * q[5], c02 = q[1] * q[4] - q[2] * q[3];
        const double c11 = q[0] * q[5] - q[2] * q[2], c12 = q[1] * q[2] - q[0] * q[4], c22 = q[0] * q[3] - q[1] * q[1];
        const double det = q[0] * c00 + q[1] * c01 + q[2] * c02;
        const double scale = (q[0] + q[3] + q[5]) / 3.0;
        if (!(scale > 0) || !(std::fabs(det) > 1e-9 * scale * scale * scale)) return std::nullopt;
        const double r0 = -q[6], r1 = -q[7], r2 = -q[8];
        const double inverse = 1.0 / det;
        const point3 x{(c00 * r0 + c01 * r1 + c02 * r2) * inverse, (c01 * r0 + c11 * r1 + c12 * r2) * inverse,
                       (c02 * r0 + c12 * r1 + c22 * r2) * inverse};
        if (!std::isfinite(x.x) || !std::isfinite(x.y) || !std::isfinite(x.z)) return std::nullopt;
        return x;
    }
};

/// The plan for collapsing one edge: who survives, where it goes, at what cost.
struct plan {
    double cost;
    std::size_t kept;
    std::size_t removed;
    point3 position;
};

/// A queued edge; it is stale when either vertex has changed since. Kept
/// small (24 bytes), since popping the queue is the bulk of the work. An edge
/// is queued once at the start, and again only by a collapse that leaves one
/// of its ends the survivor, with that end's new version: a refused edge is
/// not tried again until one of its ends has changed.
struct candidate {
    double cost;
    std::uint32_t a;
    std::uint32_t b;
    std::uint32_t version_a;
    std::uint32_t version_b;

    bool operator>(const candidate& o) const { return o < *this; }
    bool operator<(const candidate& o) const
    {
        if (cost != o.cost) return cost < o.cost;
        if (a != o.a) return a < o.a;
        return b < o.b;
    }
};

/// What the collapse loop reads of a vertex, together in one record so
/// that a vertex met at random costs one cache miss, not one per array.
struct vertex_state {
    std::uint32_t version = 0;  // bumped whenever the vertex moves or its quadric grows
    std::uint32_t valence = 0;  // live triangles around it
    std::uint32_t mark = 0;     // ring membership, by the values of fresh_marks
    std::uint8_t alive = 1;
    std::uint8_t pinned = 0;       // never moved or removed
    std::uint8_t on_boundary = 0;  // on a boundary edge that may be collapsed
};

class simplifier {
public:
    simplifier(triangle_surface& surface, const collapse_options& options, std::vector<unsigned char> pinned,
               const progress_callback& progress)
        : surface_(surface), options_(options), progress_(progress)
    {
        state_.assign(surface.vertices.size(), vertex_state{});
        for (std::size_t v = 0; v < pinned.size() && v < state_.size(); ++v) state_[v].pinned = pinned[v] != 0;
        min_turn_cos_ = std::cos(options.max_normal_turn_degrees * 3.141592653589793 / 180.0);
    }

    collapse_counts run()
    {
        counts_.triangles_before = surface_.triangles.size();
        live_ = surface_.triangles.size();
        detail::run_stage(progress_, "neighbourhood cache", [&] { build_cache(); });
        detail::run_stage(progress_, "quadrics", [&] { build_quadrics(); });
        detail::run_stage(progress_, "edge queue", [&] { build_queue(); });
        detail::run_stage(progress_, "collapses", [&] { collapse(); });
        detail::run_stage(progress_, "remove invalid triangles",
                          [&] { counts_.removed_triangles = cache_->remove_invalid_triangles(); });
        counts_.survivor = std::move(survivor_);
        for (std::size_t v = 0; v < counts_.survivor.size(); ++v)
            counts_.survivor[v] = final_survivor(counts_.survivor, v);
        counts_.triangles_after = surface_.triangles.size();
        counts_.reached_target = counts_.triangles_after <= options_.target_triangles;
        for (const vertex_state& v : state_) counts_.pinned_vertices += v.pinned;
        return counts_;
    }

private:
    void build_cache()
    {
        // The callback runs on several threads at once: collect, then mark.
        oneapi::tbb::concurrent_vector<std::array<std::size_t, 3>> reported;
        cache_.emplace(surface_, [&reported](std::size_t t, std::size_t e, bool is_boundary) {
            reported.push_back({t, e, is_boundary ? 1u : 0u});
        });
        for (const auto& [t, e, boundary] : reported) {
            ++(boundary ? counts_.boundary_edges : counts_.non_manifold_edges);
            const std::size_t a = surface_.triangles[t][e], b = surface_.triangles[t][next_index[e]];
            if (boundary && !options_.preserve_boundary) {
                state_[a].on_boundary = state_[b].on_boundary = 1;
                boundary_sides_.push_back({t, e});
            } else {
                state_[a].pinned = state_[b].pinned = 1;
            }
        }
        // The reports come in an order that depends on the threads' timing,
        // and two planes added to a quadric in the other order may differ in
        // the last bit: the boundary sides go by their vertex pairs.
        const auto pair_of = [this](const std::array<std::size_t, 2>& side) {
            const std::size_t a = surface_.triangles[side[0]][side[1]];
            const std::size_t b = surface_.triangles[side[0]][next_index[side[1]]];
            return std::pair{std::min(a, b), std::max(a, b)};
        };
        std::sort(boundary_sides_.begin(), boundary_sides_.end(),
                  [&](const auto& x, const auto& y) { return pair_of(x) < pair_of(y); });
    }

    /// The quadric that keeps a boundary edge's vertices on the plane through
    /// the edge, upright on its triangle, weighted well above the surface's own.
    quadric boundary_plane(std::size_t t, std::size_t e) const
    {
        const auto& tri = surface_.triangles[t];
        const point3& a = surface_.vertices[tri[e]];
        const point3& b = surface_.vertices[tri[next_index[e]]];
        const point3& c = surface_.vertices[tri[next_index[next_index[e]]]];
        // The plane's normal m = (b - a) x n, normalised as the core does, as
        // the normal of the triangle 0, b - a, n.
        const point3 n = cross(sub(b, a), sub(c, a));
        const point3 origin{0.0, 0.0, 0.0};
        const double half_length = Zelkov::Math::get_area(origin, sub(b, a), n);
        if (!(half_length > 0) || !std::isfinite(half_length)) return {};
        const point3 unit = Zelkov::Math::get_normal(origin, sub(b, a), n, true);
        return quadric::of_plane(unit, -dot(unit, a), 100.0 * dot(sub(b, a), sub(b, a)));
    }

    /// Each vertex's quadric sums its triangles' planes in triangle order, so
    /// the sums do not depend on the thread count. The vertices are split in
    /// as many ranges as the arena has threads; each range's task reads every
    /// triangle and adds to its own vertices only.
    void build_quadrics()
    {
        const auto& tris = surface_.triangles;
        const std::size_t n = surface_.vertices.size();
        quadrics_.assign(n, quadric{});
        const auto ranges = static_cast<std::size_t>(oneapi::tbb::this_task_arena::max_concurrency());
        oneapi::tbb::parallel_for(std::size_t{0}, ranges, [&](std::size_t r) {
            const std::size_t begin = n * r / ranges, end = n * (r + 1) / ranges;
            for (std::size_t t = 0; t < tris.size(); ++t) {
                const auto& tri = tris[t];
                if ((tri[0] < begin || tri[0] >= end) && (tri[1] < begin || tri[1] >= end) &&
                    (tri[2] < begin || tri[2] >= end))
                    continue;
                const quadric plane = plane_of(t);
                for (std::size_t v : tri)
                    if (v >= begin && v < end) {
                        quadrics_[v] += plane;
                        ++state_[v].valence;
                    }
            }
        });
        for (const auto& [t, e] : boundary_sides_) {
            const quadric q = boundary_plane(t, e);
            quadrics_[tris[t][e]] += q;
            quadrics_[tris[t][next_index[e]]] += q;
        }
    }

    quadric plane_of(std::size_t t) const
    {
        const auto& tri = surface_.triangles[t];
        const point3& p0 = surface_.vertices[tri[0]];
        const point3 &p1 = surface_.vertices[tri[1]], &p2 = surface_.vertices[tri[2]];
        const double area = Zelkov::Math::get_area(p0, p1, p2);
        if (!(area > 0) || !std::isfinite(area)) return {};
        const point3 unit = Zelkov::Math::get_normal(p0, p1, p2, true);
        return quadric::of_plane(unit, -dot(unit, p0), area);
    }

    /// How edge (a, b) would be collapsed, or nothing when it may not be.
    std::optional<plan> plan_for(std::size_t a, std::size_t b) const
    {
        if (state_[a].pinned && state_[b].pinned) return std::nullopt;
        quadric q = quadrics_[a];
        q += quadrics_[b];
        const point3& pa = surface_.vertices[a];
        const point3& pb = surface_.vertices[b];
        if (state_[a].pinned) return plan{std::max(0.0, q.error(pa)), a, b, pa};
        if (state_[b].pinned) return plan{std::max(0.0, q.error(pb)), b, a, pb};

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

    /// Whether side e of triangle t is the one its edge is queued from: it
    /// runs from the smaller vertex index, and where the triangle across runs
    /// the same way (a misoriented pair), t is the lower of the two.
    bool queues_side(std::size_t t, std::size_t e) const
    {
        const auto& tri = surface_.triangles[t];
        if (!(tri[e] < tri[next_index[e]])) return false;
        const std::size_t across = cache_->triangle_neighbours[t][e];
        return entries::flip_of(across) == 0 || entries::neighbour_of(across) > t;
    }

    /// Queues every edge once: inner edges from the triangle in which they
    /// run from the smaller vertex index, collapsible boundary edges from
    /// their one triangle. A misoriented inner edge, which both its triangles
    /// run the same way, is queued from the lower of them, or not at all when
    /// both run it from the larger index.
    void build_queue()
    {
        const auto& tris = surface_.triangles;
        // Blocks of triangles count their edges, then write them at their
        // offsets: one array, written once, in triangle order.
        constexpr std::size_t block = 4096;
        const std::size_t blocks = (tris.size() + block - 1) / block;
        std::vector<std::size_t> offsets(blocks + 1, 0);
        auto for_blocks = [&](auto&& body) {
            oneapi::tbb::parallel_for(std::size_t{0}, blocks, [&](std::size_t k) {
                body(k, k * block, std::min(tris.size(), (k + 1) * block));
            });
        };
        for_blocks([&](std::size_t k, std::size_t begin, std::size_t end) {
            std::size_t count = 0;
            for (std::size_t t = begin; t != end; ++t)
                for (std::size_t e = 0; e < 3; ++e) count += queues_side(t, e);
            offsets[k + 1] = count;
        });
        for (std::size_t k = 0; k < blocks; ++k) offsets[k + 1] += offsets[k];
        initial_.resize(offsets[blocks]);
        for_blocks([&](std::size_t k, std::size_t begin, std::size_t end) {
            std::size_t at = offsets[k];
            for (std::size_t t = begin; t != end; ++t)
                for (std::size_t e = 0; e < 3; ++e)
                    if (queues_side(t, e)) initial_[at++] = candidate_for(tris[t][e], tris[t][next_index[e]]);
        });
        for (const auto& [t, e] : boundary_sides_) {
            const std::size_t a = tris[t][e], b = tris[t][next_index[e]];
            if (a > b) initial_.push_back(candidate_for(b, a));
        }
        std::erase_if(initial_, [](const candidate& c) { return c.cost < 0; });
        // About twice the collapses asked for are read from the start before the rest is needed.
        chunk_ = std::max<std::size_t>(1 << 16, live_ - std::min(live_, options_.target_triangles));
        sort_next_chunk();
    }

    /// The queue entry of edge (a, b) as the vertices stand now; a negative
    /// cost when it may not be collapsed.
    candidate candidate_for(std::size_t a, std::size_t b) const
    {
        const auto p = plan_for(a, b);
        return {p ? p->cost : -1.0, static_cast<std::uint32_t>(a), static_cast<std::uint32_t>(b), state_[a].version,
                state_[b].version};
    }

    bool is_dead(std::size_t t) const { return surface_.triangles[t][0] == dead; }

    /// Walks the triangles around `v` into `around`, asking for their rows.
    void walk_star(std::size_t v, std::vector<std::size_t>& around) const
    {
        around.clear();
        cache_->append_vertex_triangles(v, around);
        for (std::size_t t : around) __builtin_prefetch(&surface_.triangles[t]);
    }

    /// Keeps the live triangles of a walked star, ascending, each once.
    void tidy_star(std::vector<std::size_t>& around) const
    {
        std::erase_if(around, [this](std::size_t t) { return is_dead(t); });
        std::sort(around.begin(), around.end());
        around.erase(std::unique(around.begin(), around.end()), around.end());
    }

    /// Asks for the positions and records of the corners of a star's
    /// triangles, which the tests read scattered in memory.
    void prefetch_ring(const std::vector<std::size_t>& around) const
    {
        for (std::size_t t : around)
            for (std::size_t w : surface_.triangles[t]) {
                __builtin_prefetch(&surface_.vertices[w]);
                __builtin_prefetch(&state_[w].mark);
            }
    }

    bool has_both(std::size_t t, std::size_t a, std::size_t b) const
    {
        const auto& tri = surface_.triangles[t];
        return std::find(tri.begin(), tri.end(), a) != tri.end() && std::find(tri.begin(), tri.end(), b) != tri.end();
    }

    /// A fresh value for `vertex_state::mark`, below which every mark is old. Three are
    /// taken at a time (a's ring, common, b's ring only).
    std::uint32_t fresh_marks()
    {
        if (stamp_ > std::numeric_limits<std::uint32_t>::max() - 4) {
            for (vertex_state& v : state_) v.mark = 0;
            stamp_ = 0;
        }
        stamp_ += 3;
        return stamp_ - 2;
    }

    /// Lists the union of the rings of a and b into `ring_` (a and b
    /// included, each vertex once) and returns how many vertices other than
    /// a and b lie on both rings.
    std::size_t gather_rings(std::size_t a, std::size_t b)
    {
        const std::uint32_t on_a = fresh_marks(), on_both = on_a + 1, on_b = on_a + 2;
        ring_.clear();
        for (std::size_t t : around_a_)
            for (std::size_t w : surface_.triangles[t])
                if (w != a && state_[w].mark != on_a) {
                    state_[w].mark = on_a;
                    ring_.push_back(w);
                }
        std::size_t common = 0;
        for (std::size_t t : around_b_)
            for (std::size_t w : surface_.triangles[t]) {
                if (w == b || state_[w].mark == on_both || state_[w].mark == on_b) continue;
                if (state_[w].mark == on_a) {
                    state_[w].mark = on_both;
                    common += w != a;
                } else {
                    state_[w].mark = on_b;
                    ring_.push_back(w);
                }
            }
        return common;
    }

    /// Whether (a, b) is a boundary edge that may collapse: one triangle on
    /// it, both ends on a collapsible boundary.
    bool is_boundary_edge(std::size_t a, std::size_t b) const
    {
        return shared_.size() == 1 && state_[a].on_boundary && state_[b].on_boundary;
    }

    /// The link condition as far as the edge's own triangles (`shared_`) and
    /// the star of one end tell it: two triangles on the edge with distinct
    /// apexes (one on a boundary edge), each apex keeping enough triangles,
    /// and on a boundary edge more than one triangle around that end. An
    /// inner edge between two boundary vertices would pinch the surface and
    /// is refused.
    bool edge_allows(std::size_t a, std::size_t b, const std::vector<std::size_t>& one_star)
    {
        const bool boundary_edge = is_boundary_edge(a, b);
        if (shared_.size() != 2 && !boundary_edge) return false;
        if (!boundary_edge && state_[a].on_boundary && state_[b].on_boundary) return false;
        std::size_t found = 0;
        for (std::size_t t : shared_)
            for (std::size_t w : surface_.triangles[t])
                if (w != a && w != b && found < 2) apexes_[found++] = w;
        if (found != shared_.size() || (found == 2 && apexes_[0] == apexes_[1])) return false;
        for (std::size_t i = 0; i < found; ++i)
            if (state_[apexes_[i]].valence <= (boundary_edge ? 1u : 3u)) return false;
        return !boundary_edge || one_star.size() > 1;
    }

    /// The rest of the link condition, on both stars: the rings of a and b
    /// meet exactly in the apexes (any other shared neighbour breaks it),
    /// and a boundary edge leaves each end a triangle.
    bool rings_allow(std::size_t a, std::size_t b)
    {
        if (gather_rings(a, b) != shared_.size()) return false;
        return !is_boundary_edge(a, b) || (around_a_.size() > 1 && around_b_.size() > 1);
    }

    /// No triangle that stays may turn its normal by more than the limit.
    /// Compared in squares, so that no root is taken.
    bool normals_allow(const plan& p) const
    {
        for (const auto* around : {&around_a_, &around_b_})
            for (std::size_t t : *around) {
                if (has_both(t, p.kept, p.removed)) continue;
                const auto& tri = surface_.triangles[t];
                std::array<point3, 3> before, after;
                for (int c = 0; c < 3; ++c) {
                    before[c] = surface_.vertices[tri[c]];
                    after[c] = (tri[c] == p.kept || tri[c] == p.removed) ? p.position : before[c];
                }
                const point3 n0 = cross(sub(before[1], before[0]), sub(before[2], before[0]));
                const point3 n1 = cross(sub(after[1], after[0]), sub(after[2], after[0]));
                const double s0 = dot(n0, n0), s1 = dot(n1, n1);
                if (!(s1 > 0)) return false;
                if (!(s0 > 0)) continue;
                if (!turn_within_limit(dot(n0, n1), s0 * s1)) return false;
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

    /// The triangle and edge index in which `kept` runs to `removed`.
    std::optional<neighbourhood_cache::triangle_edge> directed_edge(std::size_t kept, std::size_t removed) const
    {
        for (std::size_t t : shared_)
            for (std::uint32_t k = 0; k < 3; ++k)
                if (surface_.triangles[t][k] == kept && surface_.triangles[t][next_index[k]] == removed)
                    return neighbourhood_cache::triangle_edge::of(t, k);
        return std::nullopt;
    }

    /// Queues the edges from the survivor `v` of a collapse of (a, b). Its
    /// ring is the union of the two rings the link test took, without a and b.
    void push_edges_of(std::size_t v, std::size_t a, std::size_t b)
    {
        // The ring's quadrics lie scattered: ask for all of them before the first is needed.
        for (std::size_t w : ring_) {
            __builtin_prefetch(&quadrics_[w].q[0]);
            __builtin_prefetch(&quadrics_[w].q[9]);
            __builtin_prefetch(&state_[w]);
        }
        for (std::size_t w : ring_) {
            if (w == a || w == b) continue;
            if (const candidate c = candidate_for(v, w); c.cost >= 0) push(c);
        }
    }

    /// Collapses the edge of candidate `c` if every test allows it; returns
    /// the number of triangles that died, or nothing when it was refused.
    std::optional<std::size_t> try_collapse(const candidate& c)
    {
        // The plan is made again, not stored in the queue: only one entry in
        // three is still current when it is taken, and a smaller entry makes
        // the queue cheaper than the solve saved.
        auto p = plan_for(c.a, c.b);
        if (!p) return std::nullopt;
        // The star of the end with fewer triangles holds the edge's own
        // triangles and settles most refusals. A hub's star at the other end
        // is walked only for an edge that passes those tests; an ordinary
        // one at once, so that the misses of both walks overlap.
        const bool a_is_small = state_[c.a].valence <= state_[c.b].valence;
        const std::size_t small_end = a_is_small ? c.a : c.b, large_end = a_is_small ? c.b : c.a;
        auto& small_star = a_is_small ? around_a_ : around_b_;
        auto& large_star = a_is_small ? around_b_ : around_a_;
        const bool large_is_hub = state_[large_end].valence > hub_valence;
        walk_star(small_end, small_star);
        if (!large_is_hub) walk_star(large_end, large_star);
        tidy_star(small_star);
        if (!large_is_hub) tidy_star(large_star);
        prefetch_ring(small_star);
        if (!large_is_hub) prefetch_ring(large_star);
        shared_.clear();
        for (std::size_t t : small_star)
            if (has_both(t, c.a, c.b)) shared_.push_back(t);
        if (!edge_allows(c.a, c.b, small_star)) {
            ++counts_.refused_by_link;
            return std::nullopt;
        }
        if (large_is_hub) {
            walk_star(large_end, large_star);
            tidy_star(large_star);
            prefetch_ring(large_star);
        }
        if (!rings_allow(c.a, c.b)) {
            ++counts_.refused_by_link;
            return std::nullopt;
        }
        if (!normals_allow(*p)) {
            ++counts_.refused_by_normal;
            return std::nullopt;
        }
        auto edge = directed_edge(p->kept, p->removed);
        if (!edge && !state_[p->kept].pinned) {  // only the other direction is stored: let the other end survive
            std::swap(p->kept, p->removed);
            edge = directed_edge(p->kept, p->removed);
        }
        if (!edge) return std::nullopt;

        const std::size_t kept = cache_->collapse_edge(*edge);
        const std::size_t removed = kept == p->kept ? p->removed : p->kept;
        surface_.vertices[kept] = p->position;
        quadrics_[kept] += quadrics_[removed];
        state_[removed].alive = 0;
        survivor_[removed] = kept;
        ++state_[kept].version;
        state_[kept].pinned = state_[kept].pinned | state_[removed].pinned;
        state_[kept].valence += state_[removed].valence - 2 * static_cast<std::uint32_t>(shared_.size());
        state_[removed].valence = 0;
        for (std::size_t i = 0; i < shared_.size(); ++i) --state_[apexes_[i]].valence;
        state_[kept].on_boundary = state_[kept].on_boundary | state_[removed].on_boundary;
        // The two stars have only the shared triangles in common.
        std::size_t died = 0;
        for (std::size_t t : around_a_) died += is_dead(t);
        for (std::size_t t : around_b_)
            died += is_dead(t) && std::find(shared_.begin(), shared_.end(), t) == shared_.end();
        ++counts_.collapses;
        counts_.largest_error = std::max(counts_.largest_error, p->cost);
        push_edges_of(kept, c.a, c.b);
        return died;
    }

    /// The cheapest queued edge, taken out of the queue. The queue has three
    /// parts: the front of `initial_`, sorted; a heap of the edges queued
    /// later that sort before the front's last entry; and everything else,
    /// unsorted (the rest of `initial_` and `overflow_`), which is sorted a
    /// chunk at a time only when the first two run dry. Most edges queued
    /// during a run are never taken, and so never pass through the heap.
    /// \pre the queue is not empty.
    candidate pop_cheapest()
    {
        if (next_initial_ == sorted_end_ && queue_.empty()) sort_next_chunk();
        if (next_initial_ < sorted_end_ && (queue_.empty() || !(queue_.top() < initial_[next_initial_])))
            return initial_[next_initial_++];
        const candidate c = queue_.top();
        queue_.pop();
        return c;
    }

    bool queue_empty() const { return next_initial_ == initial_.size() && queue_.empty() && overflow_.empty(); }

    void push(const candidate& c)
    {
        if (sorted_end_ > 0 && c < initial_[sorted_end_ - 1]) queue_.push(c);
        else overflow_.push_back(c);
    }

    /// Sorts the cheapest `chunk_` of the unsorted edges into place after the
    /// sorted front (dropping the front already taken).
    void sort_next_chunk()
    {
        initial_.erase(initial_.begin(), initial_.begin() + static_cast<std::ptrdiff_t>(next_initial_));
        initial_.insert(initial_.end(), overflow_.begin(), overflow_.end());
        overflow_.clear();
        next_initial_ = 0;
        const std::size_t size = std::min(chunk_, initial_.size());
        const auto last = initial_.begin() + static_cast<std::ptrdiff_t>(size);
        if (last != initial_.end()) std::nth_element(initial_.begin(), last, initial_.end());
        oneapi::tbb::parallel_sort(initial_.begin(), last, std::less<candidate>());
        sorted_end_ = size;
    }

    /// Asks for what a queued edge's vertex is read for first: its state,
    /// position, quadric and corner entry.
    void prefetch_vertex(std::uint32_t v) const
    {
        __builtin_prefetch(&state_[v]);
        __builtin_prefetch(&surface_.vertices[v]);
        __builtin_prefetch(&quadrics_[v].q[0]);
        __builtin_prefetch(&quadrics_[v].q[9]);
        __builtin_prefetch(&cache_->vertex_corners[v]);
    }

    /// Prefetches for the edges a few places ahead in the sorted front, and
    /// for the next of them the triangle rows their corners name; and for
    /// the top of the heap.
    void prefetch_ahead() const
    {
        // Most entries read are stale and cost only the state test: the
        // states are asked for furthest ahead.
        constexpr std::size_t furthest = 32, far = 8, near = 3;
        if (next_initial_ + furthest < sorted_end_) {
            __builtin_prefetch(&state_[initial_[next_initial_ + furthest].a]);
            __builtin_prefetch(&state_[initial_[next_initial_ + furthest].b]);
        }
        if (next_initial_ + far < sorted_end_) {
            const candidate& c = initial_[next_initial_ + far];
            prefetch_vertex(c.a);
            prefetch_vertex(c.b);
        }
        if (next_initial_ + near < sorted_end_) {
            const candidate& c = initial_[next_initial_ + near];
            for (const std::uint32_t v : {c.a, c.b}) {
                const std::size_t corner = cache_->vertex_corners[v];
                if (!entries::is_corner_entry(corner)) continue;
                __builtin_prefetch(&surface_.triangles[entries::entry_triangle(corner)]);
                __builtin_prefetch(&cache_->triangle_neighbours[entries::entry_triangle(corner)]);
            }
        }
        if (!queue_.empty()) {
            prefetch_vertex(queue_.top().a);
            prefetch_vertex(queue_.top().b);
        }
    }

    /// The vertex that `v` ended in, following the collapses; shortens the
    /// chain as it goes.
    static std::size_t final_survivor(std::vector<std::size_t>& into, std::size_t v)
    {
        std::size_t end = v;
        while (into[end] != end) end = into[end];
        while (into[v] != end) v = std::exchange(into[v], end);
        return end;
    }

    void collapse()
    {
        survivor_.resize(surface_.vertices.size());
        for (std::size_t v = 0; v < survivor_.size(); ++v) survivor_[v] = v;
        // The caller hears of each hundredth of the collapses asked for.
        const std::size_t start = live_, asked = live_ - std::min(live_, options_.target_triangles);
        std::size_t told = 0;
        while (live_ > options_.target_triangles && !queue_empty()) {
            prefetch_ahead();
            const candidate c = pop_cheapest();
            const vertex_state &a = state_[c.a], &b = state_[c.b];
            if (!a.alive || !b.alive || a.version != c.version_a || b.version != c.version_b) continue;
            if (const auto died = try_collapse(c)) {
                live_ -= *died;
                if (progress_ && 100 * (start - live_) >= (told + 1) * asked && start - live_ < asked) {
                    told = 100 * (start - live_) / asked;
                    detail::report(progress_, "collapses", static_cast<double>(told) / 100.0);
                }
            }
        }
    }

    triangle_surface& surface_;
    const collapse_options& options_;
    std::vector<std::array<std::size_t, 2>> boundary_sides_;  // (triangle, edge) of such edges
    const progress_callback& progress_;
    std::vector<std::size_t> survivor_;  // the vertex each collapsed vertex went into
    double min_turn_cos_ = 0.0;
    std::optional<neighbourhood_cache> cache_;
    std::vector<quadric> quadrics_;
    std::vector<vertex_state> state_;
    std::uint32_t stamp_ = 0;
    using queue_type = std::priority_queue<candidate, std::vector<candidate>, std::greater<candidate>>;
    std::vector<candidate> initial_;  // the edges as they stood at the start, ascending
    std::size_t next_initial_ = 0;
    std::size_t sorted_end_ = 0;       // initial_ is sorted up to here; nothing unsorted sorts before it
    std::vector<candidate> overflow_;  // queued later, not before initial_[sorted_end_ - 1]
    std::size_t chunk_ = 0;
    queue_type queue_;  // the edges queued since
    std::size_t live_ = 0;
    collapse_counts counts_;
    // Scratch lists of one collapse, kept to save allocations.
    std::vector<std::size_t> around_a_, around_b_, shared_, ring_;
    std::array<std::size_t, 2> apexes_{};
};

}  // namespace

collapse_counts collapse_by_quadrics(triangle_surface& surface, const collapse_options& options,
                                     std::vector<unsigned char> pinned, const progress_callback& progress)
{
    if (surface.vertices.size() > std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("too many vertices to simplify (at most 4294967295)");
    return simplifier(surface, options, std::move(pinned), progress).run();
}

}  // namespace Zelkov::Processing
