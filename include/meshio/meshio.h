#pragma once
/// \file
/// Zelkov.Trimesh.IO: reading and writing mesh files. STL (binary and ASCII),
/// OBJ, PLY (ASCII and binary of either endianness) and OFF in; PLY, STL and
/// OBJ out. The core has no files; this library is how they reach it.
//
// Readers keep coordinates exactly as stored (a float becomes the same double,
// decimal text is converted with correct rounding) and never merge vertices:
// welding is the library's `unique`. Indices are checked by
// `make_triangle_surface`, so the surface handed back is always valid.
//
// What a file declares is believed only as far as its size allows: a count of
// items larger than the rest of the file could hold is refused before any
// item is read, so time and memory stay within a small multiple of the file's
// size. Text formats may start with a UTF-8 byte order mark.

#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <geometry/triangle_surface.h>
#include <meshio/export.h>

namespace Zelkov::Meshio {

using Zelkov::Geometry::triangle_surface;

/// The formats the readers know.
enum class mesh_format { stl, obj, ply, off };

/// A file that cannot be turned into a surface. `what()` is one line that
/// names the file and the fault: missing, not a regular file, unreadable,
/// truncated, a count too large for the file, unknown format, malformed
/// content, a number out of range, index out of range at triangle k, empty mesh.
class ZELKOV_IO_EXPORT read_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A file that cannot be written. `what()` names the file and the reason.
class ZELKOV_IO_EXPORT write_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The format named by a file's extension (case ignored), or nothing.
ZELKOV_IO_EXPORT std::optional<mesh_format> format_from_extension(const std::string& path);

/// The format that the content announces ("ply", "OFF", "solid", after a byte
/// order mark if there is one, or a binary STL whose size matches its triangle
/// count), or nothing.
ZELKOV_IO_EXPORT std::optional<mesh_format> format_from_content(std::string_view bytes);

/// Reads a mesh file, which must be a regular file or a link to one. The
/// format comes from the extension; a file with an unknown extension is
/// recognised by its content where it can be.
/// \throws read_error with a one-line message naming `path`.
ZELKOV_IO_EXPORT triangle_surface read_mesh_file(const std::string& path);

/// Parses bytes already in memory; `name` stands for the file in messages.
/// A surface without triangles is refused as an empty mesh.
/// \throws read_error.
ZELKOV_IO_EXPORT triangle_surface read_mesh_bytes(std::string_view bytes, mesh_format format, const std::string& name);

// ---------------------------------------------------------------- writing

/// A named per-vertex value, written as a `double` property of PLY vertices.
struct vertex_field {
    std::string name;            ///< the property's name
    std::vector<double> values;  ///< one value per vertex
};

/// A colour: red, green and blue from 0 to 255.
using rgb = std::array<std::uint8_t, 3>;

/// How a PLY file stores its numbers.
enum class ply_encoding { ascii, binary_little_endian, binary_big_endian };

/// What a PLY file carries besides positions and triangles. Each field and the
/// colours, when not empty, hold one entry per vertex.
struct ply_content {
    std::vector<vertex_field> fields;                            ///< extra per-vertex properties
    std::vector<rgb> colours;                                    ///< red, green, blue per vertex, or none
    ply_encoding encoding = ply_encoding::binary_little_endian;  ///< binary by default
    /// Store coordinates as `float` instead of `double` (rounds; for small files).
    bool float_coordinates = false;
};

/// The PLY file of a surface as bytes. Coordinates as `double` by default, so
/// reading it back gives the same surface bit for bit.
/// \throws std::invalid_argument when a field or the colours have the wrong length.
ZELKOV_IO_EXPORT std::string ply_bytes(const triangle_surface& surface, const ply_content& content = {});

/// The binary STL file of a surface: one facet per triangle with its unit
/// normal, coordinates rounded to `float` as the format demands.
ZELKOV_IO_EXPORT std::string stl_bytes(const triangle_surface& surface);

/// The OBJ file of a surface: `v` and `f` lines, coordinates in the shortest
/// decimal form that reads back to the same double.
ZELKOV_IO_EXPORT std::string obj_bytes(const triangle_surface& surface);

/// Tests, before any work is done, that `path` names a format that can be
/// written and is not the same file as `protected_input` (when given).
/// \throws write_error.
ZELKOV_IO_EXPORT void check_output_path(const std::string& path, const std::string& protected_input);

/// Writes a surface in the format of `path`'s extension (.ply, .stl, .obj).
/// PLY gets `content`; the other formats drop fields and colours.
/// \throws write_error when the extension is not one of these, when the file
/// cannot be written, or when `path` is the same file as `protected_input`.
ZELKOV_IO_EXPORT void write_mesh_file(const std::string& path, const triangle_surface& surface,
                                      const ply_content& content = {}, const std::string& protected_input = {});

}  // namespace Zelkov::Meshio
