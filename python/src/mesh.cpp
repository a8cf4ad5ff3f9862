// The `Mesh` class, numpy input and output, and the arenas that limit threads.

#include <map>
#include <sstream>

#include <oneapi/tbb/task_arena.h>

#include "common.h"

namespace zelkov_python {

const vertex_to_triangles_map& mesh::map() const
{
    std::call_once(cached->once, [this] { cached->map = Zelkov::Geometry::get_vertex_to_triangles_map(*surface); });
    return cached->map;
}

void mesh::offer_map(vertex_to_triangles_map&& m) const
{
    std::call_once(cached->once, [&] { cached->map = std::move(m); });
}

namespace {

py::array as_array(py::handle obj, const char* what)
{
    auto a = py::array::ensure(obj);
    if (!a) throw py::type_error(std::string(what) + " must be an array or a nested sequence of numbers");
    return a;
}

void require_rows_of(const py::array& a, py::ssize_t k, const char* what)
{
    if (a.ndim() != 2 || a.shape(1) != k) {
        std::ostringstream shape;
        for (py::ssize_t i = 0; i < a.ndim(); ++i) shape << (i ? ", " : "") << a.shape(i);
        throw py::value_error(std::string(what) + " must have shape (n, " + std::to_string(k) + "), not (" +
                              shape.str() + (a.ndim() == 1 ? ",)" : ")"));
    }
}

char kind(const py::array& a) { return a.dtype().kind(); }

bool is_integer(const py::array& a) { return kind(a) == 'i' || kind(a) == 'u'; }

/// Copies an integer array of any layout into size_t values; negative values
/// wrap to huge ones, which every bound check refuses.
template <class T>
void copy_integers(const py::array& a, std::size_t* out)
{
    const auto flat = py::array_t<T, py::array::forcecast>::ensure(a.attr("reshape")(-1));
    const auto r = flat.template unchecked<1>();
    for (py::ssize_t i = 0; i < r.shape(0); ++i) out[i] = static_cast<std::size_t>(r(i));
}

void copy_any_integers(const py::array& a, std::size_t* out, const char* what)
{
    if (!is_integer(a))
        throw py::type_error(std::string(what) + " must be an integer array, not " +
                             py::str(a.dtype()).cast<std::string>());
    switch (a.dtype().itemsize() * (kind(a) == 'u' ? -1 : 1)) {
    case 1: copy_integers<std::int8_t>(a, out); break;
    case 2: copy_integers<std::int16_t>(a, out); break;
    case 4: copy_integers<std::int32_t>(a, out); break;
    case 8: copy_integers<std::int64_t>(a, out); break;
    case -1: copy_integers<std::uint8_t>(a, out); break;
    case -2: copy_integers<std::uint16_t>(a, out); break;
    case -4: copy_integers<std::uint32_t>(a, out); break;
    default: copy_integers<std::uint64_t>(a, out); break;
    }
}

template <class T>
void copy_reals(const py::array& a, double* out)
{
    const auto r = py::array_t<T, py::array::forcecast>::ensure(a).template unchecked<2>();
    for (py::ssize_t i = 0; i < r.shape(0); ++i)
        for (py::ssize_t j = 0; j < r.shape(1); ++j) *out++ = static_cast<double>(r(i, j));
}

bool is_contiguous_8_byte(const py::array& a, char k1, char k2)
{
    return (kind(a) == k1 || kind(a) == k2) && a.dtype().itemsize() == 8 && (a.flags() & py::array::c_style) != 0;
}

}  // namespace

mesh mesh_from_arrays(py::handle vertices_in, py::handle triangles_in)
{
    const auto v = as_array(vertices_in, "vertices");
    const auto t = as_array(triangles_in, "triangles");
    require_rows_of(v, 3, "vertices");
    require_rows_of(t, 3, "triangles");
    if (kind(v) != 'f' && !is_integer(v))
        throw py::type_error("vertices must be a real array, not " + py::str(v.dtype()).cast<std::string>());
    if (!is_integer(t))
        throw py::type_error("triangles must be an integer array, not " + py::str(t.dtype()).cast<std::string>());
    const auto nv = static_cast<std::size_t>(v.shape(0));
    const auto nt = static_cast<std::size_t>(t.shape(0));

    triangle_surface s;
    bool ok = false;
    if (is_contiguous_8_byte(v, 'f', 'f') && is_contiguous_8_byte(t, 'i', 'u')) {
        // The library's own layout: its constructor copies and checks in one pass.
        const Zelkov::Geometry::const_span_vertices vs{static_cast<const point3*>(v.data()), nv};
        const Zelkov::Geometry::const_span_triangles ts{static_cast<const triangle*>(t.data()), nt};
        auto made = [&] {
            py::gil_scoped_release release;
            return Zelkov::Geometry::make_triangle_surface(vs, ts);
        }();
        ok = made.success;
        s = std::move(made.surface);
    } else {
        // Any other type or layout: converted straight into the record, then
        // checked by the library's rule.
        s.vertices.resize(nv);
        s.triangles.resize(nt);
        auto* out = reinterpret_cast<double*>(s.vertices.data());
        if (kind(v) == 'f' && v.dtype().itemsize() == 4) copy_reals<float>(v, out);
        else copy_reals<double>(v, out);
        copy_any_integers(t, reinterpret_cast<std::size_t*>(s.triangles.data()), "triangles");
        ok = Zelkov::Geometry::is_valid(s);
        if (!ok) {
            const auto first_good =
                Zelkov::Geometry::make_triangle_surface({s.vertices.data(), nv}, {s.triangles.data(), nt});
            s.triangles.resize(first_good.surface.triangles.size());
        }
    }
    if (!ok) {
        // The library keeps the triangles before the first bad one.
        const auto k = s.triangles.size();
        if (nv == 0) throw py::value_error("triangles name vertices, but there are none");
        throw py::value_error("triangles[" + std::to_string(k) +
                              "] = " + py::str(t[py::int_(k)].attr("tolist")()).cast<std::string>() +
                              " names a vertex outside 0.." + std::to_string(nv - 1));
    }
    return mesh(std::move(s));
}

py::tuple own_rows(std::pair<std::vector<std::size_t>, std::vector<std::size_t>>&& rows)
{
    return py::make_tuple(own(std::move(rows.first)), own(std::move(rows.second)));
}

py::object record(const char* class_name, const py::dict& fields)
{
    return py::module_::import("zelkov._results").attr(class_name)(**fields);
}

py::array matrix_array(const Zelkov::Math::matrix4x4<double>& m)
{
    py::array_t<double> a({4, 4});
    std::copy(m.m, m.m + 16, a.mutable_data());
    return a;
}

Zelkov::Math::matrix4x4<double> matrix_from(py::handle matrix)
{
    const auto a = as_array(matrix, "matrix");
    if (a.ndim() != 2 || a.shape(0) != 4 || a.shape(1) != 4) throw py::value_error("matrix must have shape (4, 4)");
    Zelkov::Math::matrix4x4<double> m{};
    copy_reals<double>(a, m.m);
    return m;
}

point3 point_from(py::handle p, const char* what)
{
    const auto a = py::array_t<double, py::array::forcecast>::ensure(p);
    if (!a || a.ndim() != 1 || a.shape(0) != 3) throw py::value_error(std::string(what) + " must be three numbers");
    return {a.at(0), a.at(1), a.at(2)};
}

std::vector<std::size_t> indices_from(py::handle array, std::size_t limit, const char* what)
{
    const auto a = as_array(array, what);
    std::vector<std::size_t> out(static_cast<std::size_t>(a.size()));
    copy_any_integers(a, out.data(), what);
    for (std::size_t i = 0; i < out.size(); ++i)
        if (out[i] >= limit)
            throw py::index_error(std::string(what) + ": entry " + std::to_string(i) + " is out of range 0.." +
                                  std::to_string(limit) + " (exclusive)");
    return out;
}

std::vector<std::size_t> indices_or_all(py::handle array, std::size_t limit, const char* what)
{
    if (!array.is_none()) return indices_from(array, limit, what);
    std::vector<std::size_t> all(limit);
    for (std::size_t i = 0; i < limit; ++i) all[i] = i;
    return all;
}

std::vector<edge> edges_from(py::handle array, std::size_t limit, const char* what)
{
    const auto a = as_array(array, what);
    if (a.ndim() != 1 || a.shape(0) != 2) require_rows_of(a, 2, what);
    const auto flat = indices_from(a, limit, what);
    std::vector<edge> out(flat.size() / 2);
    for (std::size_t i = 0; i < out.size(); ++i) out[i] = {flat[2 * i], flat[2 * i + 1]};
    return out;
}

std::vector<double> values_from(py::handle array, std::size_t count, const char* what)
{
    const auto a = py::array_t<double, py::array::forcecast>::ensure(as_array(array, what).attr("reshape")(-1));
    if (static_cast<std::size_t>(a.size()) != count)
        throw py::value_error(std::string(what) + " must hold " + std::to_string(count) + " values, not " +
                              std::to_string(a.size()));
    return {a.data(), a.data() + a.size()};
}

std::vector<unsigned char> bytes_from(py::handle array, std::size_t count, const char* what)
{
    const auto a = py::array_t<unsigned char, py::array::forcecast>::ensure(
        as_array(array, what).attr("astype")("bool").attr("reshape")(-1));
    if (static_cast<std::size_t>(a.size()) != count)
        throw py::value_error(std::string(what) + " must hold " + std::to_string(count) + " values, not " +
                              std::to_string(a.size()));
    return {a.data(), a.data() + a.size()};
}

int& default_threads()
{
    thread_local int n = 0;
    return n;
}

int checked_threads(std::optional<int> threads)
{
    if (threads && *threads < 1) throw py::value_error("threads must be at least 1");
    return threads ? *threads : default_threads();
}

void run_in_arena(int threads, const std::function<void()>& f)
{
    // One arena per size and calling thread, kept for the thread's life.
    thread_local std::map<int, std::unique_ptr<oneapi::tbb::task_arena>> arenas;
    oneapi::tbb::task_arena* arena = nullptr;
    if (threads > 0) {
        auto& slot = arenas[threads];
        if (!slot) slot = std::make_unique<oneapi::tbb::task_arena>(threads);
        arena = slot.get();
    }
    py::gil_scoped_release release;
    if (arena) arena->execute(f);
    else f();
}

namespace {

/// A read-only view of one of the record's arrays, keeping the record alive.
template <class T>
py::array view(const mesh& m, std::vector<T>& v, bool writable)
{
    using scalar = typename scalar_of<T>::type;
    auto* keep = new std::shared_ptr<triangle_surface>(m.surface);
    py::capsule owner(keep, [](void* p) { delete static_cast<std::shared_ptr<triangle_surface>*>(p); });
    py::array_t<scalar> a({static_cast<py::ssize_t>(v.size()), py::ssize_t{3}}, reinterpret_cast<scalar*>(v.data()),
                          owner);
    if (!writable) a.attr("flags").attr("writeable") = false;
    return a;
}

}  // namespace

void bind_mesh(py::module_& m)
{
    py::class_<mesh>(m, "Mesh")
        .def(py::init(&mesh_from_arrays), py::arg("vertices"), py::arg("triangles"))
        .def_property_readonly("vertices", [](const mesh& self) { return view(self, self.surface->vertices, false); })
        .def_property_readonly("triangles", [](const mesh& self) { return view(self, self.surface->triangles, false); })
        .def("writable_vertices", [](const mesh& self) { return view(self, self.surface->vertices, true); })
        .def_property_readonly("vertex_count", &mesh::vertex_count)
        .def_property_readonly("triangle_count", &mesh::triangle_count)
        .def("copy", [](const mesh& self) { return mesh(self.s()); })
        .def("__repr__",
             [](const mesh& self) {
                 return "<zelkov.Mesh with " + std::to_string(self.vertex_count()) + " vertices and " +
                        std::to_string(self.triangle_count()) + " triangles>";
             })
        .def(py::pickle(
            [](const mesh& self) {
                return py::make_tuple(view(self, self.surface->vertices, false),
                                      view(self, self.surface->triangles, false));
            },
            [](const py::tuple& state) { return mesh_from_arrays(state[0], state[1]); }));

    m.def("_set_threads", [](int n) {
        if (n < 0) throw py::value_error("threads must be at least 1");
        return std::exchange(default_threads(), n);
    });
    m.attr("NO_INDEX") = py::int_(SIZE_MAX);
}

}  // namespace zelkov_python
