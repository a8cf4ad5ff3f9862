#pragma once
/// \file
/// The neighbourhood cache: compact corner and neighbour links over a surface it does not own, for long runs of edge
/// collapses.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <vector>

#include <oneapi/tbb/concurrent_vector.h>

#include <geometry/export.h>
#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry {

namespace detail {
enum class link_width : unsigned char;
struct neighbourhood_cache_access;
}  // namespace detail

/// Reading the entries of `neighbourhood_cache::vertex_corners` and
/// `neighbourhood_cache::triangle_neighbours`, for callers that walk the links
/// themselves. Header-only; the cache decodes its entries with the same steps.
namespace cache_entries {

/// The corner that follows corner c of a triangle: (c + 1) mod 3.
inline constexpr std::size_t next_index[3] = {1, 2, 0};
/// The corner that comes before corner c of a triangle: (c + 2) mod 3.
inline constexpr std::size_t previous_index[3] = {2, 0, 1};

/// The corner entry of a vertex without triangles.
inline constexpr std::size_t no_vertex_entry = SIZE_MAX;

/// Whether a corner entry names a triangle and a corner (and not a stored
/// set, and not `no_vertex_entry`).
constexpr bool is_corner_entry(std::size_t entry) noexcept { return (entry & 3) != 3; }
/// Whether a corner entry names a stored set; false for `no_vertex_entry`.
constexpr bool is_set_entry(std::size_t entry) noexcept { return (entry & 3) == 3 && entry != no_vertex_entry; }
/// The corner entry of `corner` in `triangle`.
constexpr std::size_t corner_entry(std::size_t triangle, std::size_t corner) noexcept { return triangle * 4 + corner; }
/// The triangle of a corner entry, or the set of a set entry.
constexpr std::size_t entry_triangle(std::size_t entry) noexcept { return entry >> 2; }
/// The corner of a corner entry.
constexpr std::size_t entry_corner(std::size_t entry) noexcept { return entry & 3; }

/// The triangle across the edge of a neighbour entry (`no_triangle` on a
/// boundary or a non-manifold edge).
constexpr std::size_t neighbour_of(std::size_t entry) noexcept { return entry >> 3; }
/// The edge index, in the triangle across, of a neighbour entry.
constexpr std::size_t edge_of(std::size_t entry) noexcept { return (entry >> 1) & 3; }
/// 1 when the two triangles of a neighbour entry run their shared edge the
/// same way (an inconsistently oriented pair), else 0.
constexpr std::size_t flip_of(std::size_t entry) noexcept { return entry & 1; }

}  // namespace cache_entries

/// Corner and neighbour links over a `triangle_surface`, made for collapsing
/// many edges of a large surface one after another in time proportional to
/// the fan of one vertex.
///
/// Vocabulary. Corner c of triangle t holds `triangles[t][c]`. Edge e of a
/// triangle runs from corner e to corner (e + 1) mod 3, so corner c touches
/// edge c (which starts there) and edge (c + 2) mod 3 (which ends there).
///
/// The cache keeps one corner entry per vertex and three neighbour entries per
/// triangle; the triangles around an ordinary vertex are found by walking from
/// triangle to triangle. Only a vertex whose star is not one fan keeps a stored
/// set of triangles.
///
/// Life cycle. The cache holds a reference to `surface`, which must outlive it.
/// Once constructed it is in step with the surface, and every `collapse_edge`
/// keeps it so. `remove_invalid_triangles` compacts the surface and spends the
/// cache: no collapse may follow. After construction nothing in the class is
/// safe to run concurrently with anything else that uses the cache or surface.
class ZELKOV_TRIMESH_EXPORT neighbourhood_cache {
public:
    /// One edge of one triangle, the argument of `collapse_edge`.
    struct triangle_edge {
        /// The index of the triangle.
        std::size_t triangle;
        /// The edge index 0, 1 or 2 in that triangle, shifted left by one. The
        /// lowest bit is not read and is free for the caller; the upper bits
        /// are not masked, so `edge_code / 2` must be a valid edge index.
        std::uint32_t edge_code;

        /// Edge `edge` (0, 1 or 2) of `triangle`.
        static constexpr triangle_edge of(std::size_t triangle, std::uint32_t edge) noexcept
        {
            return {triangle, edge << 1};
        }
    };

    /// Builds the links of `surface`, whose contents are read, not changed.
    ///
    /// `callback`, which may be empty, receives (triangle, edge, is_boundary)
    /// once for every boundary edge (is_boundary true: exactly one triangle
    /// has that vertex pair) and once for every non-manifold edge
    /// (is_boundary false: three or more triangles have it; one of them, in no
    /// defined order, reports it). It is called concurrently from several
    /// threads with no lock held and in no defined order, so it must be safe
    /// to call that way. It is destroyed when construction ends.
    ///
    /// The links, corners and sets are the same for every thread count. The
    /// flip bits stored on non-manifold edges are not.
    /// \pre every triangle index of `surface` is below its vertex count.
    /// \throws std::bad_alloc when memory runs out, or when the vertex count is
    /// SIZE_MAX or the triangle count is at least 2^61 - 1; whatever `callback`
    /// throws. The surface is left unchanged.
    neighbourhood_cache(triangle_surface& surface, std::function<void(std::size_t, std::size_t, bool)> callback);

    neighbourhood_cache(const neighbourhood_cache&) = delete;
    neighbourhood_cache& operator=(const neighbourhood_cache&) = delete;

    /// Collapses `edge`: its end vertex (`removed`) is replaced by its start
    /// vertex (`kept`) in every triangle around `removed`, and the triangles
    /// that this flattens are invalidated by writing SIZE_MAX into their first
    /// vertex index. Never refuses, never looks at positions, never moves a
    /// vertex. In the plain neighbourhood (one fan per vertex, the edge's two
    /// triangles, or one on a boundary, the only ones holding both vertices,
    /// not both ends on a boundary) it allocates nothing; otherwise it hands
    /// over to `unoptimal_collapse_edge_impl`, after which `kept` has a stored
    /// set of triangles for good.
    ///
    /// Afterwards, when no triangle had a repeated vertex at construction:
    /// every live triangle's neighbour entries name live triangles and point
    /// back with the same flip; a vertex with live triangles has an entry
    /// other than SIZE_MAX, and walking from it, or its stored set, lists
    /// exactly those triangles. A vertex that has lost its last triangle has
    /// SIZE_MAX, an emptied set, or an entry naming the spare row T (when the
    /// removed triangle had no neighbour on either side of it); it is not to
    /// be walked. `removed` has the entry SIZE_MAX. The row counts of
    /// `surface` do not change.
    /// \pre `edge` names an edge of a live triangle; the cache is not spent.
    /// \returns `kept`, the vertex that stood at the start of the edge.
    /// \throws std::bad_alloc from the general path only; the cache is then
    /// not to be used further.
    std::size_t collapse_edge(const triangle_edge& edge);

    /// The general collapse, for any neighbourhood. Expects that `removed` has
    /// already been replaced by `kept` in the triangles around `removed` (as
    /// `collapse_edge` does before it calls). Gathers the triangles of both
    /// stars, invalidates and unlinks every one of them that has two equal
    /// adjacent corners, leaves `kept` a set vertex holding the survivors (or
    /// with the entry SIZE_MAX when none survives) and gives `removed` the
    /// entry SIZE_MAX.
    /// \returns `kept`.
    /// \throws std::bad_alloc; the cache is then not to be used further.
    std::size_t unoptimal_collapse_edge_impl(std::size_t kept, std::size_t removed);

    /// Removes the dead triangles (first index SIZE_MAX; only that index is
    /// looked at) from `surface.triangles`, keeping the order of the live ones.
    /// `surface.vertices` is not touched. Empties `vertex_corners` and
    /// `triangle_neighbours` (keeping their storage): the cache is spent, and a
    /// second call finds nothing and returns 0. Allocates nothing.
    /// \returns the number of rows removed.
    std::size_t remove_invalid_triangles();

    /// Appends the triangles around `vertex` to `out`, without clearing it and
    /// without filtering repeats: a set vertex's set in ascending order, else
    /// the fan walked from the vertex's entry. Appends nothing for a vertex
    /// with the entry SIZE_MAX.
    /// \pre `vertex` < `vertex_corners.size()`; the cache is not spent.
    void append_vertex_triangles(std::size_t vertex, std::vector<std::size_t>& out) const;

    /// The surface; not owned.
    triangle_surface& surface;

    /// The triangle count at construction (T): in a neighbour entry, the index
    /// that means that nothing lies there. Never changes after construction.
    std::size_t no_triangle;

    /// One corner entry per vertex: triangle * 4 + corner, the corner at which
    /// the vertex stands in that triangle; set * 4 + 3 for a vertex with a
    /// stored set (an index into `vertex_triangle_sets`); SIZE_MAX for a vertex
    /// without triangles. Test for SIZE_MAX before reading a set index. An
    /// ordinary entry of a vertex whose fan has two ends names an end of it.
    std::vector<std::size_t> vertex_corners;

    /// T + 1 rows; row t holds the neighbour entries of edges 0, 1, 2 of
    /// triangle t: tri * 8 + edge * 2 + flip, where tri is the triangle across
    /// the edge (`no_triangle` on a boundary or a non-manifold edge), edge the
    /// edge index in it (0 with `no_triangle`), and flip 1 when both run along
    /// the shared edge in the same direction. Row T is spare storage without
    /// meaning. Rows of dead triangles are not to be read.
    std::vector<std::array<std::size_t, 3>> triangle_neighbours;

    /// The stored stars of the vertices that are not one fan. Only grows: an
    /// element never moves and is never removed; an emptied set stays behind.
    oneapi::tbb::concurrent_vector<std::set<std::size_t>> vertex_triangle_sets;

private:
    friend struct detail::neighbourhood_cache_access;

    ZELKOV_TRIMESH_NO_EXPORT neighbourhood_cache(triangle_surface& surface,
                                                 std::function<void(std::size_t, std::size_t, bool)> callback,
                                                 detail::link_width width);

    template <class E>
    ZELKOV_TRIMESH_NO_EXPORT void init_neighbours(std::function<void(std::size_t, std::size_t, bool)> callback);
};

}  // namespace Zelkov::Geometry
