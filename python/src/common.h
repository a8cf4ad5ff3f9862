#pragma once
// What the three parts of the module share: the `Mesh` record, the moving of
// library vectors into numpy arrays, the reading of numpy input, and the
// running of work without the GIL in an arena of the caller's size.

#include <algorithm>
#include <array>
#include <functional>
#include <type_traits>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <oneapi/tbb/parallel_for.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <geometry/trimesh.h>

namespace zelkov_python {

namespace py = pybind11;
using Zelkov::Geometry::triangle_surface;
using Zelkov::Geometry::vertex_to_triangles_map;
using point3 = Zelkov::Math::point<double, 3>;
using triangle = std::array<std::size_t, 3>;
using edge = std::array<std::size_t, 2>;

/// A surface as Python sees it: the library's record, shared with every array
/// that views it, and its vertex-to-triangles map, built once on first use.
/// Triangles never change after construction, so the map stays in step; the
/// positions may be written through `Mesh.writable_vertices()`.
struct mesh {
    struct lazy_map {
        std::once_flag once;
        vertex_to_triangles_map map;
    };
    std::shared_ptr<triangle_surface> surface;
    std::shared_ptr<lazy_map> cached = std::make_shared<lazy_map>();

    explicit mesh(triangle_surface s) : surface(std::make_shared<triangle_surface>(std::move(s))) {}
    const triangle_surface& s() const { return *surface; }
    std::size_t vertex_count() const { return surface->vertices.size(); }
    std::size_t triangle_count() const { return surface->triangles.size(); }
    /// The map; call without the GIL.
    const vertex_to_triangles_map& map() const;
    /// Hands a map that was built anyway to the cache, if it has none yet.
    void offer_map(vertex_to_triangles_map&& m) const;
};

/// A mesh from two arrays: (n, 3) real positions, (m, 3) integer indices,
/// copied once into the library's record and checked by it.
mesh mesh_from_arrays(py::handle vertices, py::handle triangles);

// ---------------------------------------------------------------- arrays out

template <class T>
struct scalar_of {
    using type = T;
};
template <>
struct scalar_of<point3> {
    using type = double;
};
template <>
struct scalar_of<triangle> {
    using type = std::size_t;
};
template <>
struct scalar_of<edge> {
    using type = std::size_t;
};

/// Moves `v` to the heap, under a capsule that frees it, and gives an array
/// of `shape` over its elements: no copy is made.
template <class T>
py::array own(std::vector<T>&& v, std::vector<py::ssize_t> shape)
{
    using scalar = typename scalar_of<T>::type;
    auto* heap = new std::vector<T>(std::move(v));
    py::capsule owner(heap, [](void* p) { delete static_cast<std::vector<T>*>(p); });
    return py::array_t<scalar>(shape, reinterpret_cast<scalar*>(heap->data()), owner);
}

/// One-dimensional or, for points, triangles and edges, (n, k).
template <class T>
py::array own(std::vector<T>&& v)
{
    const auto n = static_cast<py::ssize_t>(v.size());
    constexpr std::size_t k = sizeof(T) / sizeof(typename scalar_of<T>::type);
    if constexpr (k == 1) return own(std::move(v), {n});
    else return own(std::move(v), {n, static_cast<py::ssize_t>(k)});
}

/// Lists of lists as compressed rows: (offsets, indices), row i being
/// indices[offsets[i]:offsets[i + 1]]. The rows are copied in parallel.
template <class Rows>
std::pair<std::vector<std::size_t>, std::vector<std::size_t>> compressed_rows(const Rows& rows)
{
    std::vector<std::size_t> offsets(rows.size() + 1, 0);
    for (std::size_t i = 0; i < rows.size(); ++i) offsets[i + 1] = offsets[i] + rows[i].size();
    std::vector<std::size_t> indices(offsets.back());
    oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, rows.size(), 4096), [&](const auto& r) {
        for (std::size_t i = r.begin(); i != r.end(); ++i)
            std::copy(rows[i].begin(), rows[i].end(), indices.begin() + static_cast<std::ptrdiff_t>(offsets[i]));
    });
    return {std::move(offsets), std::move(indices)};
}

py::tuple own_rows(std::pair<std::vector<std::size_t>, std::vector<std::size_t>>&& rows);

/// An instance of the dataclass `class_name` of `zelkov._results`.
py::object record(const char* class_name, const py::dict& fields);

/// The array of a 4x4 matrix, by rows.
py::array matrix_array(const Zelkov::Math::matrix4x4<double>& m);
Zelkov::Math::matrix4x4<double> matrix_from(py::handle matrix);
point3 point_from(py::handle p, const char* what);

// ---------------------------------------------------------------- arrays in

/// Indices below `limit` from an integer array of any shape (read flat).
/// \throws IndexError naming the entry out of range, TypeError for a
/// non-integer array.
std::vector<std::size_t> indices_from(py::handle array, std::size_t limit, const char* what);
/// All of 0..limit-1 when `array` is None.
std::vector<std::size_t> indices_or_all(py::handle array, std::size_t limit, const char* what);
/// Pairs of vertices from an (k, 2) array, each below `limit`.
std::vector<edge> edges_from(py::handle array, std::size_t limit, const char* what);
/// Values from a real array of any shape, with the given count.
std::vector<double> values_from(py::handle array, std::size_t count, const char* what);
/// One byte per entry, from a boolean or integer array of the given count.
std::vector<unsigned char> bytes_from(py::handle array, std::size_t count, const char* what);

// ---------------------------------------------------------------- work

/// The thread count of the calling thread's `zelkov.threads` block (0: all).
int& default_threads();

/// Runs `f` without the GIL, in an arena of `threads` (or the block's) size.
void run_in_arena(int threads, const std::function<void()>& f);
int checked_threads(std::optional<int> threads);

template <class F>
auto work(std::optional<int> threads, F&& f)
{
    const int n = checked_threads(threads);
    using R = decltype(f());
    if constexpr (std::is_void_v<R>) {
        run_in_arena(n, f);
    } else {
        std::optional<R> result;
        run_in_arena(n, [&] { result.emplace(f()); });
        return std::move(*result);
    }
}

void bind_mesh(py::module_& m);
void bind_library(py::module_& m);
void bind_edits(py::module_& m);
void bind_jobs(py::module_& m);

}  // namespace zelkov_python
