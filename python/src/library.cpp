// The core library: measures, transforms, connectivity, predicates, clean-up
// and fields. Per-triangle and per-vertex operations take an index array (None:
// all) and run over it in parallel; each entry is computed alone, so the
// result is the same for every thread count.

#include <cmath>
#include <sstream>

#include <oneapi/tbb/parallel_for.h>

#include "common.h"

namespace zelkov_python {

namespace G = Zelkov::Geometry;

namespace {

using opt_threads = std::optional<int>;
py::arg_v threads_arg() { return py::arg("threads") = py::none(); }

template <class F>
void for_each_index(std::size_t n, F&& f)
{
    oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, n, 1024), [&](const auto& r) {
        for (std::size_t i = r.begin(); i != r.end(); ++i) f(i);
    });
}

/// `f(index)` for each index named (all triangles for None), into an array.
template <class T, class F>
py::array per_triangle(const mesh& m, py::handle triangles, opt_threads threads, F&& f)
{
    const auto idx = indices_or_all(triangles, m.triangle_count(), "triangles");
    return own(work(threads, [&] {
        std::vector<T> out(idx.size());
        for_each_index(idx.size(), [&](std::size_t i) { out[i] = f(idx[i]); });
        return out;
    }));
}

/// The same over vertices; `f` may use the map.
template <class T, class F>
py::array per_vertex(const mesh& m, py::handle vertices, opt_threads threads, F&& f)
{
    const auto idx = indices_or_all(vertices, m.vertex_count(), "vertices");
    return own(work(threads, [&] {
        const auto& map = m.map();
        std::vector<T> out(idx.size());
        for_each_index(idx.size(), [&](std::size_t i) { out[i] = f(idx[i], map); });
        return out;
    }));
}

/// A predicate over a vertex array (or every vertex), as a bool array.
template <class F>
py::object vertex_flags(const mesh& m, py::handle vertices, opt_threads threads, F&& f)
{
    return per_vertex<unsigned char>(
               m, vertices, threads,
               [&](std::size_t v, const auto& map) { return static_cast<unsigned char>(f(v, map) ? 1 : 0); })
        .attr("view")("bool");
}

/// A predicate over an (k, 2) edge array, or one edge (a scalar result).
template <class F>
py::object per_edge(const mesh& m, py::handle edges, opt_threads threads, F&& f)
{
    const auto e = edges_from(edges, m.vertex_count(), "edges");
    const bool one = py::array::ensure(edges).ndim() == 1;
    auto flags = work(threads, [&] {
        const auto& map = m.map();
        std::vector<unsigned char> out(e.size());
        for_each_index(e.size(), [&](std::size_t i) { out[i] = f(e[i], map) ? 1 : 0; });
        return out;
    });
    if (one) return py::bool_(flags[0] != 0);
    return own(std::move(flags)).attr("view")("bool");
}

py::array bools(std::vector<unsigned char>&& v) { return own(std::move(v)).attr("view")("bool"); }

mesh with_surface(triangle_surface&& s) { return mesh(std::move(s)); }

void bind_measures(py::module_& m)
{
    m.def(
        "area",
        [](const mesh& self, py::handle triangles, opt_threads threads) -> py::object {
            if (triangles.is_none()) return py::float_(work(threads, [&] { return G::area(self.s()); }));
            return per_triangle<double>(self, triangles, threads, [&](std::size_t t) { return G::area(t, self.s()); });
        },
        py::arg("mesh"), py::arg("triangles") = py::none(), threads_arg());
    m.def(
        "signed_volume",
        [](const mesh& self, opt_threads threads) { return work(threads, [&] { return G::signed_volume(self.s()); }); },
        py::arg("mesh"), threads_arg());
    m.def(
        "volume",
        [](const mesh& self, opt_threads threads) { return work(threads, [&] { return G::volume(self.s()); }); },
        py::arg("mesh"), threads_arg());
    m.def(
        "bounding_volume",
        [](const mesh& self, bool use_all_vertices) {
            const auto b = G::bounding_volume(self.s(), use_all_vertices);
            return own(std::vector<point3>{b.min, b.max});
        },
        py::arg("mesh"), py::arg("use_all_vertices") = false);
    m.def(
        "barycenter", [](const mesh& self) { return own(std::vector<point3>{G::barycenter(self.s())}, {3}); },
        py::arg("mesh"));
    m.def(
        "normal",
        [](const mesh& self, py::handle triangles, bool unit_length, opt_threads threads) {
            return per_triangle<point3>(self, triangles, threads,
                                        [&](std::size_t t) { return G::normal(t, self.s(), unit_length); });
        },
        py::arg("mesh"), py::arg("triangles") = py::none(), py::arg("unit_length") = true, threads_arg());
    m.def(
        "vertex_normal",
        [](const mesh& self, py::handle vertices, opt_threads threads) {
            return per_vertex<point3>(self, vertices, threads,
                                      [&](std::size_t v, const auto& map) { return G::normal(v, self.s(), map); });
        },
        py::arg("mesh"), py::arg("vertices") = py::none(), threads_arg());
    m.def(
        "signed_volume_of_triangle",
        [](const mesh& self, py::handle reference, py::handle triangles, opt_threads threads) {
            const auto r = point_from(reference, "reference");
            return per_triangle<double>(self, triangles, threads,
                                        [&](std::size_t t) { return G::signed_volume_of_triangle(t, self.s(), r); });
        },
        py::arg("mesh"), py::arg("reference"), py::arg("triangles") = py::none(), threads_arg());
    m.def(
        "largest_edge_length_sqr",
        [](const mesh& self, py::handle triangles, opt_threads threads) {
            return per_triangle<double>(self, triangles, threads,
                                        [&](std::size_t t) { return G::largest_edge_length_sqr(t, self.s()); });
        },
        py::arg("mesh"), py::arg("triangles") = py::none(), threads_arg());
    m.def(
        "barycentric_point",
        [](const mesh& self, py::handle triangles, py::handle weights, opt_threads threads) {
            const auto idx = indices_from(triangles, self.triangle_count(), "triangles");
            const auto w = values_from(weights, 3 * idx.size(), "weights");
            return own(work(threads, [&] {
                std::vector<point3> out(idx.size());
                for_each_index(idx.size(), [&](std::size_t i) {
                    out[i] = G::barycentric_point(idx[i], self.s(), {w[3 * i], w[3 * i + 1], w[3 * i + 2]});
                });
                return out;
            }));
        },
        py::arg("mesh"), py::arg("triangles"), py::arg("weights"), threads_arg());
    m.def(
        "circumsphere",
        [](const mesh& self, py::handle triangles, opt_threads threads) {
            const auto idx = indices_or_all(triangles, self.triangle_count(), "triangles");
            std::vector<point3> centres(idx.size());
            std::vector<double> radii(idx.size());
            work(threads, [&] {
                for_each_index(idx.size(),
                               [&](std::size_t i) { G::circumsphere(centres[i], radii[i], idx[i], self.s()); });
            });
            return py::make_tuple(own(std::move(centres)), own(std::move(radii)));
        },
        py::arg("mesh"), py::arg("triangles") = py::none(), threads_arg());
    m.def(
        "angles",
        [](const mesh& self, py::handle triangles, opt_threads threads) {
            return per_triangle<point3>(self, triangles, threads, [&](std::size_t t) {
                point3 a{};
                G::angles(a.x, a.y, a.z, t, self.s());
                return a;
            });
        },
        py::arg("mesh"), py::arg("triangles") = py::none(), threads_arg());
    m.def(
        "triangle_quality",
        [](const mesh& self, py::handle triangles, opt_threads threads) {
            return per_triangle<double>(self, triangles, threads,
                                        [&](std::size_t t) { return G::triangle_quality(t, self.s()); });
        },
        py::arg("mesh"), py::arg("triangles") = py::none(), threads_arg());
    m.def(
        "is_sharp",
        [](const mesh& self, double threshold, py::handle triangles, opt_threads threads) {
            return per_triangle<unsigned char>(
                       self, triangles, threads,
                       [&](std::size_t t) { return static_cast<unsigned char>(G::is_sharp(t, self.s(), threshold)); })
                .attr("view")("bool");
        },
        py::arg("mesh"), py::arg("threshold"), py::arg("triangles") = py::none(), threads_arg());
    m.def(
        "inertia",
        [](const mesh& self, opt_threads threads) {
            return matrix_array(work(threads, [&] { return G::inertia(self.s()); }));
        },
        py::arg("mesh"), threads_arg());
    m.def(
        "inertia_transform",
        [](const mesh& self, opt_threads threads) {
            triangle_surface s = self.s();
            const auto frame = work(threads, [&] { return G::inertia_transform(s); });
            return py::make_tuple(with_surface(std::move(s)), matrix_array(frame));
        },
        py::arg("mesh"), threads_arg());
    m.def(
        "translate",
        [](const mesh& self, py::handle offset) {
            return with_surface(G::translate(self.s(), point_from(offset, "offset")));
        },
        py::arg("mesh"), py::arg("offset"));
    m.def(
        "transform",
        [](const mesh& self, py::handle matrix) {
            triangle_surface s = self.s();
            G::transform(s, matrix_from(matrix));
            return with_surface(std::move(s));
        },
        py::arg("mesh"), py::arg("matrix"));
    m.def(
        "invert",
        [](const mesh& self, py::handle triangles) {
            triangle_surface s = self.s();
            if (triangles.is_none()) G::invert(s);
            else G::invert(s, indices_from(triangles, s.triangles.size(), "triangles"));
            return with_surface(std::move(s));
        },
        py::arg("mesh"), py::arg("triangles") = py::none());
}

void bind_connectivity(py::module_& m)
{
    m.def(
        "get_vertex_to_triangles_map",
        [](const mesh& self, opt_threads threads) {
            return own_rows(work(threads, [&] {
                auto map = G::get_vertex_to_triangles_map(self.s());
                auto rows = compressed_rows(map);
                self.offer_map(std::move(map));
                return rows;
            }));
        },
        py::arg("mesh"), threads_arg());
    m.def(
        "one_ring_vertices_from_vertex",
        [](const mesh& self, py::handle vertices, opt_threads threads) -> py::object {
            if (py::isinstance<py::int_>(vertices)) {
                const auto v = indices_from(py::array::ensure(vertices), self.vertex_count(), "vertex")[0];
                return own(work(threads, [&] { return G::one_ring_vertices_from_vertex(v, self.s(), self.map()); }));
            }
            const auto idx = indices_or_all(vertices, self.vertex_count(), "vertices");
            return own_rows(work(threads, [&] {
                std::vector<std::vector<std::size_t>> rings(idx.size());
                const auto& map = self.map();
                for_each_index(idx.size(), [&](std::size_t i) {
                    rings[i] = G::one_ring_vertices_from_vertex(idx[i], self.s(), map);
                });
                return compressed_rows(rings);
            }));
        },
        py::arg("mesh"), py::arg("vertices") = py::none(), threads_arg());
    m.def(
        "triangle_neighbour_indices",
        [](const mesh& self, py::handle triangles, opt_threads threads) -> py::object {
            if (py::isinstance<py::int_>(triangles)) {
                const auto t = indices_from(py::array::ensure(triangles), self.triangle_count(), "triangle")[0];
                return own(work(threads, [&] { return G::triangle_neighbour_indices(self.s(), self.map(), t); }));
            }
            if (triangles.is_none())
                return own_rows(work(
                    threads, [&] { return compressed_rows(G::triangle_neighbour_indices(self.s(), self.map())); }));
            const auto idx = indices_from(triangles, self.triangle_count(), "triangles");
            return own_rows(work(threads, [&] {
                std::vector<std::vector<std::size_t>> rows(idx.size());
                const auto& map = self.map();
                for_each_index(idx.size(),
                               [&](std::size_t i) { rows[i] = G::triangle_neighbour_indices(self.s(), map, idx[i]); });
                return compressed_rows(rows);
            }));
        },
        py::arg("mesh"), py::arg("triangles") = py::none(), threads_arg());
    m.def(
        "triangle_indices_from_edge",
        [](const mesh& self, py::handle e, bool consider_orientation) {
            const auto pair = edges_from(e, self.vertex_count(), "edge").at(0);
            return own(work(std::nullopt, [&] {
                return G::triangle_indices_from_edge(pair, self.s(), self.map(), consider_orientation);
            }));
        },
        py::arg("mesh"), py::arg("edge"), py::arg("consider_orientation") = false);
    m.def(
        "edges",
        [](const mesh& self, opt_threads threads) {
            return own(work(threads, [&] {
                const auto a = G::adjacency_matrix(self.s(), false);
                std::vector<edge> out;
                for (int col = 0; col < a.outerSize(); ++col)
                    for (decltype(a)::InnerIterator it(a, col); it; ++it)
                        if (it.row() < col)
                            out.push_back({static_cast<std::size_t>(it.row()), static_cast<std::size_t>(col)});
                return out;
            }));
        },
        py::arg("mesh"), threads_arg());

    m.def(
        "is_manifold_edge",
        [](const mesh& self, py::handle edges, bool consider_orientation, opt_threads threads) {
            return per_edge(self, edges, threads, [&](const edge& e, const auto& map) {
                return G::is_manifold_edge(e, self.s(), map, consider_orientation);
            });
        },
        py::arg("mesh"), py::arg("edges"), py::arg("consider_orientation") = true, threads_arg());
    m.def(
        "is_non_manifold_edge",
        [](const mesh& self, py::handle edges, opt_threads threads) {
            return per_edge(self, edges, threads,
                            [&](const edge& e, const auto& map) { return G::is_non_manifold_edge(e, self.s(), map); });
        },
        py::arg("mesh"), py::arg("edges"), threads_arg());
    m.def(
        "is_boundary_edge",
        [](const mesh& self, py::handle edges, opt_threads threads) {
            return per_edge(self, edges, threads,
                            [&](const edge& e, const auto& map) { return G::is_boundary_edge(e, self.s(), map); });
        },
        py::arg("mesh"), py::arg("edges"), threads_arg());
    m.def(
        "is_boundary_vertex",
        [](const mesh& self, py::handle vertices, opt_threads threads) {
            return vertex_flags(self, vertices, threads, [&](std::size_t v, const auto& map) {
                return G::is_boundary_vertex(v, self.s(), map);
            });
        },
        py::arg("mesh"), py::arg("vertices") = py::none(), threads_arg());
    m.def(
        "is_non_manifold_vertex",
        [](const mesh& self, py::handle vertices, opt_threads threads) {
            return vertex_flags(self, vertices, threads, [&](std::size_t v, const auto& map) {
                return G::is_non_manifold_vertex(v, self.s(), map);
            });
        },
        py::arg("mesh"), py::arg("vertices") = py::none(), threads_arg());
    m.def(
        "is_manifold",
        [](const mesh& self, bool consider_orientation, opt_threads threads) {
            return work(threads, [&] { return G::is_manifold(self.s(), self.map(), consider_orientation); });
        },
        py::arg("mesh"), py::arg("consider_orientation") = true, threads_arg());
    m.def(
        "is_bad",
        [](const mesh& self, bool consider_orientation, opt_threads threads) {
            return work(threads, [&] { return G::is_bad(self.s(), self.map(), consider_orientation); });
        },
        py::arg("mesh"), py::arg("consider_orientation") = true, threads_arg());
    m.def(
        "count_topologically_degenerate_triangles",
        [](const mesh& self) { return G::count_topologically_degenerate_triangles(self.s()); }, py::arg("mesh"));
    m.def(
        "classify_vertex_topology",
        [](const mesh& self, opt_threads threads) {
            return own(work(threads, [&] {
                return G::classify_vertex_topology(G::adjacency_matrix_with_edge_count(self.s(), true));
            }));
        },
        py::arg("mesh"), threads_arg());
    m.def(
        "investigate",
        [](const mesh& self, opt_threads threads) {
            return work(threads, [&] {
                std::ostringstream text;
                G::investigate(self.s(), self.map(), text);
                return text.str();
            });
        },
        py::arg("mesh"), threads_arg());
}

void bind_cleanup(py::module_& m)
{
    m.def(
        "unique_vertices",
        [](const mesh& self, opt_threads threads) {
            triangle_surface s = self.s();
            auto map = work(threads, [&] { return G::unique_vertices(s); });
            return py::make_tuple(with_surface(std::move(s)), own(std::move(map)));
        },
        py::arg("mesh"), threads_arg());
    m.def(
        "unique_triangles",
        [](const mesh& self, bool consider_orientation, opt_threads threads) {
            triangle_surface s = self.s();
            auto map = work(threads, [&] { return G::unique_triangles(s, consider_orientation); });
            return py::make_tuple(with_surface(std::move(s)), own(std::move(map)));
        },
        py::arg("mesh"), py::arg("consider_orientation") = true, threads_arg());
    m.def(
        "unique",
        [](const mesh& self, bool consider_orientation, opt_threads threads) {
            triangle_surface s = self.s();
            auto maps = work(threads, [&] { return G::unique(s, consider_orientation); });
            return py::make_tuple(with_surface(std::move(s)), own(std::move(maps.first)), own(std::move(maps.second)));
        },
        py::arg("mesh"), py::arg("consider_orientation") = true, threads_arg());
    m.def(
        "remove_triangles",
        [](const mesh& self, py::handle indices) {
            auto idx = indices_from(indices, self.triangle_count(), "indices");
            for (std::size_t i = 1; i < idx.size(); ++i)
                if (idx[i] <= idx[i - 1]) throw py::value_error("indices must be ascending without repeats");
            triangle_surface s = self.s();
            G::remove_triangles(s, std::move(idx));
            return with_surface(std::move(s));
        },
        py::arg("mesh"), py::arg("indices"));
    m.def(
        "remove_free_points",
        [](const mesh& self) {
            triangle_surface s = self.s();
            std::vector<std::size_t> map;
            G::remove_free_points(s, map);
            return py::make_tuple(with_surface(std::move(s)), own(std::move(map)));
        },
        py::arg("mesh"));
    m.def(
        "copy_triangles",
        [](const mesh& target, const mesh& source, py::handle indices) {
            triangle_surface s = target.s();
            if (indices.is_none()) G::copy_triangles(s, source.s());
            else G::copy_triangles(s, source.s(), indices_from(indices, source.triangle_count(), "indices"));
            return with_surface(std::move(s));
        },
        py::arg("target"), py::arg("source"), py::arg("indices") = py::none());
    m.def(
        "expand_marked",
        [](const mesh& self, py::handle marks, std::optional<std::size_t> min_marked_neighbours,
           std::optional<double> max_angle, opt_threads threads) {
            auto v = bytes_from(marks, self.triangle_count(), "marks");
            if (min_marked_neighbours.has_value() != max_angle.has_value())
                throw py::value_error("give min_marked_neighbours and max_angle together, or neither");
            const bool changed = work(threads, [&] {
                return min_marked_neighbours ? G::expand_marked(self.s(), v, *min_marked_neighbours, *max_angle)
                                             : G::expand_marked(self.s(), v);
            });
            return py::make_tuple(bools(std::move(v)), changed);
        },
        py::arg("mesh"), py::arg("marks"), py::arg("min_marked_neighbours") = py::none(),
        py::arg("max_angle") = py::none(), threads_arg());
    m.def(
        "shrink_marked",
        [](const mesh& self, py::handle marks, opt_threads threads) {
            auto v = bytes_from(marks, self.triangle_count(), "marks");
            const bool changed = work(threads, [&] { return G::shrink_marked(self.s(), v); });
            return py::make_tuple(bools(std::move(v)), changed);
        },
        py::arg("mesh"), py::arg("marks"), threads_arg());
}

void bind_fields(py::module_& m)
{
    m.def(
        "curvature",
        [](const mesh& self, opt_threads threads) {
            return own(work(threads, [&] { return G::curvature(self.s(), self.map()); }));
        },
        py::arg("mesh"), threads_arg());
    m.def(
        "vertex_roughness",
        [](const mesh& self, opt_threads threads) {
            return own(work(threads, [&] { return G::vertex_roughness(self.s(), self.map()); }));
        },
        py::arg("mesh"), threads_arg());
    m.def(
        "smooth_scalar_field",
        [](const mesh& self, py::handle field, std::size_t iterations, opt_threads threads) {
            auto f = values_from(field, self.vertex_count(), "field");
            return own(
                work(threads, [&] { return G::smooth_scalar_field(self.s(), std::move(f), self.map(), iterations); }));
        },
        py::arg("mesh"), py::arg("field"), py::arg("iterations"), threads_arg());
    m.def(
        "is_sharp_edge",
        [](const mesh& self, py::handle edges, double angle_degrees, bool consider_orientation,
           opt_threads threads) -> py::object {
            if (!edges.is_none())
                return per_edge(self, edges, threads, [&](const edge& e, const auto& map) {
                    return G::is_sharp_edge(e, self.s(), map, angle_degrees, consider_orientation);
                });
            // Every edge at once: the edges and their flags, from the matrix.
            std::vector<edge> all;
            std::vector<unsigned char> sharp;
            work(threads, [&] {
                const auto a = G::is_sharp_edge(self.s(), angle_degrees, consider_orientation);
                for (int col = 0; col < a.outerSize(); ++col)
                    for (decltype(a)::InnerIterator it(a, col); it; ++it)
                        if (it.row() < col) {
                            all.push_back({static_cast<std::size_t>(it.row()), static_cast<std::size_t>(col)});
                            sharp.push_back(it.value() == 1.0 ? 1 : 0);
                        }
            });
            return py::make_tuple(own(std::move(all)), bools(std::move(sharp)));
        },
        py::arg("mesh"), py::arg("edges") = py::none(), py::arg("angle_degrees") = 30.0,
        py::arg("consider_orientation") = true, threads_arg());
    m.def(
        "vertex_on_sharp_edge",
        [](const mesh& self, py::handle vertices, double angle_degrees, bool consider_orientation,
           opt_threads threads) {
            return vertex_flags(self, vertices, threads, [&](std::size_t v, const auto& map) {
                return G::vertex_on_sharp_edge(v, self.s(), map, angle_degrees, consider_orientation);
            });
        },
        py::arg("mesh"), py::arg("vertices") = py::none(), py::arg("angle_degrees") = 30.0,
        py::arg("consider_orientation") = true, threads_arg());
}

}  // namespace

void bind_library(py::module_& m)
{
    bind_measures(m);
    bind_connectivity(m);
    bind_cleanup(m);
    bind_fields(m);
}

}  // namespace zelkov_python
