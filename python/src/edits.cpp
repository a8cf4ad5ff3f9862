// Local edits and the neighbourhood cache, for callers who choose their
// splits, flips and collapses themselves. Each object owns a copy of the mesh
// it was made from; `mesh()` or `finish()` hands the result back as a new Mesh.
// An edit is too small to be worth giving up the GIL for, except for the
// batch `collapse_edges`.

#include "common.h"

namespace zelkov_python {

namespace G = Zelkov::Geometry;

namespace {

/// A surface and its map, kept in step by the core's edits.
struct editor {
    triangle_surface surface;
    vertex_to_triangles_map map;

    explicit editor(const mesh& m) : surface(m.s()), map(m.map()) {}

    std::size_t checked_triangle(std::size_t t) const
    {
        if (t >= surface.triangles.size())
            throw py::index_error("triangle " + std::to_string(t) + " is out of range 0.." +
                                  std::to_string(surface.triangles.size()) + " (exclusive)");
        return t;
    }
    edge checked_edge(py::handle e) const { return edges_from(e, map.size(), "edge").at(0); }
};

/// The cache over a surface of its own. A collapse names a live triangle and
/// one of its edges; both are checked, since the core trusts them.
struct cache {
    std::unique_ptr<triangle_surface> surface;
    std::unique_ptr<G::neighbourhood_cache> links;
    bool spent = false;

    explicit cache(const mesh& m)
        : surface(std::make_unique<triangle_surface>(m.s())),
          links(std::make_unique<G::neighbourhood_cache>(*surface, nullptr))
    {
    }

    void check_usable() const
    {
        if (spent) throw py::value_error("the cache is spent: finish() has been called");
    }
    /// An empty string when the collapse may be made, else why not.
    std::string refusal(std::size_t t, std::size_t e) const
    {
        if (t >= surface->triangles.size()) return "triangle " + std::to_string(t) + " is out of range";
        if (e > 2) return "edge " + std::to_string(e) + " is not 0, 1 or 2";
        if (surface->triangles[t][0] == SIZE_MAX) return "triangle " + std::to_string(t) + " has been collapsed";
        return {};
    }
    std::size_t collapse(std::size_t t, std::size_t e)
    {
        return links->collapse_edge(G::neighbourhood_cache::triangle_edge::of(t, static_cast<std::uint32_t>(e)));
    }
};

}  // namespace

void bind_edits(py::module_& m)
{
    py::class_<editor>(m, "Editor")
        .def(py::init<const mesh&>(), py::arg("mesh"))
        .def("mesh", [](const editor& self) { return mesh(self.surface); })
        .def_property_readonly("vertex_count", [](const editor& self) { return self.surface.vertices.size(); })
        .def_property_readonly("triangle_count", [](const editor& self) { return self.surface.triangles.size(); })
        .def(
            "vertex_triangles",
            [](const editor& self, std::size_t v) {
                if (v >= self.map.size()) throw py::index_error("vertex " + std::to_string(v) + " is out of range");
                return std::vector<std::size_t>(self.map[v].begin(), self.map[v].end());
            },
            py::arg("vertex"))
        .def(
            "split_triangle_in_three",
            [](editor& self, std::size_t t) {
                G::split_triangle_in_three(self.checked_triangle(t), self.surface, self.map);
            },
            py::arg("triangle"))
        .def(
            "split_edge",
            [](editor& self, py::handle e, double weight) {
                return G::split_edge(self.checked_edge(e), weight, self.surface, self.map);
            },
            py::arg("edge"), py::arg("weight") = 0.5)
        .def(
            "collapse_triangle",
            [](editor& self, std::size_t t, std::size_t corner) {
                if (corner > 2) throw py::value_error("corner must be 0, 1 or 2");
                return G::collapse_triangle(self.checked_triangle(t), corner, self.surface, self.map);
            },
            py::arg("triangle"), py::arg("corner"))
        .def(
            "flip_edge",
            [](editor& self, py::handle e) { return G::flip_edge(self.checked_edge(e), self.surface, self.map); },
            py::arg("edge"))
        .def(
            "relax_edge",
            [](editor& self, py::handle e, std::optional<double> min_angle) {
                const auto pair = self.checked_edge(e);
                return min_angle ? G::relax_edge(pair, self.surface, self.map, *min_angle)
                                 : G::relax_edge(pair, self.surface, self.map);
            },
            py::arg("edge"), py::arg("min_angle") = py::none());

    py::class_<cache>(m, "NeighbourhoodCache")
        .def(py::init([](const mesh& from) {
                 // The cache keeps its links exact only over triangles of three vertices.
                 if (G::count_topologically_degenerate_triangles(from.s()) != 0)
                     throw py::value_error("the mesh has triangles that repeat a vertex: weld it with "
                                           "remove_degenerate=True first");
                 return std::make_unique<cache>(from);
             }),
             py::arg("mesh"))
        .def(
            "collapse_edge",
            [](cache& self, std::size_t t, std::size_t e) {
                self.check_usable();
                if (auto why = self.refusal(t, e); !why.empty()) throw py::value_error(why);
                return self.collapse(t, e);
            },
            py::arg("triangle"), py::arg("edge"))
        .def(
            "collapse_edges",
            [](cache& self, py::handle pairs, std::optional<int> threads) {
                self.check_usable();
                const auto flat = indices_from(pairs, SIZE_MAX, "edges");
                if (flat.size() % 2 != 0) throw py::value_error("edges must be (triangle, edge) pairs");
                std::vector<std::size_t> kept;
                std::string why;
                work(threads, [&] {
                    for (std::size_t i = 0; i < flat.size() && why.empty(); i += 2) {
                        why = self.refusal(flat[i], flat[i + 1]);
                        if (why.empty()) kept.push_back(self.collapse(flat[i], flat[i + 1]));
                    }
                });
                if (!why.empty())
                    throw py::value_error("edges[" + std::to_string(kept.size()) + "]: " + why + " (the " +
                                          std::to_string(kept.size()) + " collapses before it were made)");
                return own(std::move(kept));
            },
            py::arg("edges"), py::arg("threads") = py::none())
        .def(
            "triangle",
            [](const cache& self, std::size_t t) -> py::object {
                self.check_usable();
                if (t >= self.surface->triangles.size()) throw py::index_error("triangle out of range");
                const auto& tri = self.surface->triangles[t];
                if (tri[0] == SIZE_MAX) return py::none();
                return py::make_tuple(tri[0], tri[1], tri[2]);
            },
            py::arg("triangle"))
        .def(
            "vertex_triangles",
            [](const cache& self, std::size_t v) {
                self.check_usable();
                if (v >= self.links->vertex_corners.size()) throw py::index_error("vertex out of range");
                std::vector<std::size_t> out;
                self.links->append_vertex_triangles(v, out);
                return own(std::move(out));
            },
            py::arg("vertex"))
        .def(
            "move_vertex",
            [](cache& self, std::size_t v, py::handle position) {
                self.check_usable();
                if (v >= self.surface->vertices.size()) throw py::index_error("vertex out of range");
                self.surface->vertices[v] = point_from(position, "position");
            },
            py::arg("vertex"), py::arg("position"))
        .def("finish", [](cache& self) {
            self.check_usable();
            self.links->remove_invalid_triangles();
            self.spent = true;
            return mesh(std::move(*self.surface));
        });
}

}  // namespace zelkov_python
