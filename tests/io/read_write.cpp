// Reading and writing mesh files: exact round trips, the quirks of each
// format, and one clear error for every kind of bad file.

#include <filesystem>
#include <limits>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <meshio/meshio.h>
#include "support/fixtures.h"
#include "support/scratch_dir.h"

namespace {

using namespace Zelkov::Meshio;
using Zelkov::Testing::point3;
using Zelkov::Testing::same_bits;
using Zelkov::Testing::tri;

/// A small open surface with awkward doubles: values that no float holds,
/// negative zero, tiny and huge magnitudes.
triangle_surface awkward_surface()
{
    triangle_surface s;
    s.vertices = {{0.1, -0.0, 1e-300},
                  {1.0 / 3.0, 2.0, -7.25},
                  {1e300, 5e-324, 0.3},
                  {-2.5, 0.7, 123456789.123456789},
                  {4.0, 4.0, 4.0}};
    s.triangles = {{0, 1, 2}, {0, 2, 3}, {3, 2, 4}, {4, 1, 0}};
    return s;
}

/// A surface whose coordinates are all floats, for formats that store floats.
triangle_surface float_surface()
{
    triangle_surface s = awkward_surface();
    const float values[5][3] = {{0.1f, -0.0f, 1e-30f},
                                {1.0f / 3.0f, 2.5f, -7.25f},
                                {1e10f, 1e-45f, 0.3f},
                                {-2.5f, 0.7f, 123456789.0f},
                                {4.0f, 4.0f, 4.0f}};
    for (std::size_t i = 0; i < 5; ++i) s.vertices[i] = {values[i][0], values[i][1], values[i][2]};
    return s;
}

/// The same points to the bit and the same triangles.
void expect_identical(const triangle_surface& a, const triangle_surface& b)
{
    EXPECT_TRUE(same_bits(a, b)) << testing::PrintToString(a.vertices) << "\n" << testing::PrintToString(b.vertices);
}

/// The message of the read_error that reading `bytes` (or the file at `path`)
/// raises, or "" if none.
std::string read_failure(const std::string& bytes, mesh_format format, const std::string& path = {})
{
    try {
        if (path.empty()) read_mesh_bytes(bytes, format, "f");
        else read_mesh_file(path);
    } catch (const read_error& e) {
        return e.what();
    }
    return "";
}

using Zelkov::Testing::scratch_dir;

/// `text` with its first `from` replaced by `to`.
std::string patched(std::string text, const std::string& from, const std::string& to)
{
    return text.replace(text.find(from), from.size(), to);
}

const std::string bom = "\xEF\xBB\xBF";
const std::string ply_triangle =
    "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\n"
    "element face 1\nproperty list uchar int vertex_indices\nend_header\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";

TEST(MeshRoundTrip, PlyInEveryEncodingKeepsDoublesToTheBit)
{
    const triangle_surface s = awkward_surface();
    for (auto encoding : {ply_encoding::ascii, ply_encoding::binary_little_endian, ply_encoding::binary_big_endian}) {
        ply_content content;
        content.encoding = encoding;
        content.fields = {{"f", {1, 2, 3, 4, 5}}};
        content.colours = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}, {13, 14, 15}};
        expect_identical(read_mesh_bytes(ply_bytes(s, content), mesh_format::ply, "f"), s);
    }
}

TEST(MeshRoundTrip, FloatPlyAndStlKeepFloatValues)
{
    const triangle_surface s = float_surface();
    for (auto encoding : {ply_encoding::ascii, ply_encoding::binary_little_endian, ply_encoding::binary_big_endian}) {
        ply_content content;
        content.encoding = encoding;
        content.float_coordinates = true;
        expect_identical(read_mesh_bytes(ply_bytes(s, content), mesh_format::ply, "f"), s);
        // Doubles that no float holds come back rounded to float, in every encoding.
        const triangle_surface rounded = read_mesh_bytes(ply_bytes(awkward_surface(), content), mesh_format::ply, "f");
        for (std::size_t i = 0; i < rounded.vertices.size(); ++i)
            EXPECT_EQ(rounded.vertices[i].y, static_cast<double>(static_cast<float>(awkward_surface().vertices[i].y)));
    }
    // STL stores a soup: each triangle comes back with three fresh vertices.
    const triangle_surface back = read_mesh_bytes(stl_bytes(s), mesh_format::stl, "f");
    ASSERT_EQ(back.triangles.size(), s.triangles.size());
    for (std::size_t t = 0; t < s.triangles.size(); ++t)
        for (std::size_t c = 0; c < 3; ++c) {
            EXPECT_EQ(back.triangles[t][c], 3 * t + c);
            EXPECT_EQ(back.vertices[3 * t + c], s.vertices[s.triangles[t][c]]);
        }
}

TEST(MeshRoundTrip, ObjAndFilesOnDisk)
{
    const triangle_surface s = awkward_surface();
    expect_identical(read_mesh_bytes(obj_bytes(s), mesh_format::obj, "f"), s);
    scratch_dir dir;
    for (const char* name : {"a.ply", "b.OBJ"}) {
        write_mesh_file(dir.file(name), s);
        expect_identical(read_mesh_file(dir.file(name)), s);
    }
}

TEST(MeshRoundTrip, WriterRefusesTheInputFileAndUnknownExtensions)
{
    scratch_dir dir;
    const std::string input = dir.file("in.ply", ply_bytes(awkward_surface()));
    EXPECT_THROW(write_mesh_file(input, awkward_surface(), {}, input), write_error);
    EXPECT_THROW(write_mesh_file(dir.file("sub/../in.ply"), awkward_surface(), {}, input), write_error);
    EXPECT_THROW(write_mesh_file(dir.file("out.off"), awkward_surface()), write_error);
    expect_identical(read_mesh_file(input), awkward_surface());  // untouched
    ply_content short_field;
    short_field.fields.push_back({"short", {1.0}});
    EXPECT_THROW(ply_bytes(awkward_surface(), short_field), std::invalid_argument);
}

// Polygons are fanned from their first corner.
TEST(Readers, QuirksOfEachFormat)
{
    const struct {
        mesh_format format;
        std::string text;
        std::vector<tri> triangles;
        std::vector<std::pair<std::size_t, point3>> points;
    } files[] = {
        // ASCII STL: a polygon loop, several solids, numbers in any form.
        {mesh_format::stl,
         "solid a\n facet normal 0 0 1\n  outer loop\n   vertex 0 0 0\n   vertex 1 0 0\n   vertex 1 1 0\n"
         "   vertex 0 1 0.1\n  endloop\n endfacet\nendsolid a\n"
         "solid b\nfacet normal 0 0 0 outer loop vertex 0.1 0.2 0.3 vertex 1e-3 +2 3 vertex 7 8 9 endloop endfacet\n"
         "endsolid\n",
         {{0, 1, 2}, {0, 2, 3}, {4, 5, 6}},
         {{3, {0, 1, 0.1}}, {4, {0.1, 0.2, 0.3}}, {5, {1e-3, 2, 3}}}},
        // OBJ: polygons, texture and normal indices, negative indices, a fourth coordinate.
        {mesh_format::obj,
         "# comment\nmtllib x.mtl\no thing\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0 1.0\nvt 0 0\nvn 0 0 1\n"
         "s off\nf 1/1/1 2/2/1 3//1 4\nv 0.1 0.2 0.3\nf -1 -2 -3\n",
         {{0, 1, 2}, {0, 2, 3}, {4, 3, 2}},
         {{3, {0, 1, 0}}, {4, {0.1, 0.2, 0.3}}}},
        // OFF: colours after vertices and faces, comments, blank lines, the counts on the header line.
        {mesh_format::off,
         "COFF\n# a square\n4 2 0\n0 0 0 255 0 0 255\n1 0 0 0 255 0 255\n\n1 1 0 0 0 255 255\n0 1 0 9 9 9 9\n"
         "4 0 1 2 3 200 200 200\n3 3 2 1\n",
         {{0, 1, 2}, {0, 2, 3}, {3, 2, 1}},
         {{2, {1, 1, 0}}}},
        {mesh_format::off, "OFF 3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n", {{0, 1, 2}}, {{1, {1, 0, 0}}}},
        // PLY: other elements and properties read past, coordinates in any order.
        {mesh_format::ply,
         "ply\nformat ascii 1.0\ncomment c\nelement material 1\nproperty list uchar float rgb\n"
         "element vertex 3\nproperty uchar flag\nproperty double z\nproperty double y\nproperty double x\n"
         "property list uchar int extra\nelement face 1\nproperty uchar tag\nproperty list uchar uint vertex_index\n"
         "end_header\n2 0.5 0.5\n1 3 2 1 0\n1 6 5 4 2 7 7\n1 9 8 7 1 7\n4 3 0 1 2\n",
         {{0, 1, 2}},
         {{1, {4, 5, 6}}}},
    };
    for (const auto& f : files) {
        const triangle_surface s = read_mesh_bytes(f.text, f.format, "f");
        EXPECT_EQ(s.triangles, f.triangles) << f.text;
        for (const auto& [v, p] : f.points) EXPECT_EQ(s.vertices.at(v), p) << f.text;
    }
}

/// A bad file, its format and the message after "f: ", or a part of it.
struct bad_file {
    std::string bytes;
    mesh_format format;
    std::string message;
    bool whole = true;
};

TEST(ReadMeshErrors, TruncatedMalformedAndOutOfRangeContentHasOneMessage)
{
    const std::string stl = stl_bytes(float_surface()), too_big = "99999999999999999999";
    const std::string huge = "9000000000000000000", more = " bytes left in the file can hold";
    const std::string off = "OFF\n3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n",
                      cut_ply = patched(ply_triangle, "\n0 0 0", "\n0.25 0.25 0.25");
    auto out_of_range = ply_bytes([] {
        auto s = awkward_surface();
        s.triangles[3][1] = 5;
        return s;
    }());
    std::vector<bad_file> files{
        // A cut binary file holds fewer items than it declares.
        {stl.substr(0, stl.size() - 7), mesh_format::stl, "binary STL declares 4 triangles, more than the 193" + more},
        {stl.substr(0, 40), mesh_format::stl, "truncated", false},
        {"solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0", mesh_format::stl, "truncated", false},
        {cut_ply.substr(0, cut_ply.find("\n0 1 0") + 4), mesh_format::ply,
         "truncated: file ends in element 'vertex' (item 3 of 3)"},
        {"OFF\n4 1 0\n0 0 0\n1 0 0\n", mesh_format::off, "truncated: expected 4 vertices, found 2"},
        {"OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n", mesh_format::off, "truncated: expected 2 faces, found 1"},
        // Indices out of range name the triangle.
        {"v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\nf 1 2 3 4\n", mesh_format::obj,
         "index out of range at triangle 2 (the file has 3 vertices)"},
        {"v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 0\n", mesh_format::obj,
         "index out of range at triangle 0 (the file has 3 vertices)"},
        {"v 0 0 0\nv 1 0 0\nf -1 -2 -3\n", mesh_format::obj,
         "index out of range at triangle 0 (the file has 2 vertices)"},
        {"OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n3 0 -1 2\n", mesh_format::off,
         "index out of range at triangle 1 (the file has 3 vertices)"},
        {out_of_range, mesh_format::ply, "index out of range at triangle 3 (the file has 5 vertices)"},
        // Malformed and empty content.
        {"v 0 0 0\nv 1 0 zero\n", mesh_format::obj, "malformed vertex at line 2"},
        {"v 0 0 0\nf 1 1\n", mesh_format::obj, "face with fewer than 3 corners at line 2"},
        {"OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n2 0 1\n", mesh_format::off, "face with fewer than 3 corners", false},
        {"v 0 0 0\nv 1 1 1\n", mesh_format::obj, "empty mesh (2 vertices, no triangles)"},
        {"ply\nformat ascii 1.0\nelement vertex 0\nproperty float x\nproperty float y\nproperty float z\nend_header\n",
         mesh_format::ply, "empty mesh (0 vertices, no triangles)"},
        {"OFF\nx 1 0\n", mesh_format::off, "malformed vertex count at line 2"},
        {"hello", mesh_format::ply, "not a PLY file (missing 'ply' header)"},
        {"ply\nformat binary 1.0\nend_header\n", mesh_format::ply, "unknown PLY format 'binary' at line 2"},
        {"ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nend_header\n1\n", mesh_format::ply,
         "PLY vertex element without exactly one x, y and z"},
        {"solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0 nan?\n", mesh_format::stl,
         "malformed number 'nan?' at line 4"},
        // Messages name the line and tell out of range from malformed.
        {patched(ply_triangle, "0 1 0", "0 1 oops"), mesh_format::ply, "malformed value 'oops' at line 12"},
        {bom + "solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0 q\n", mesh_format::stl,
         "malformed number 'q' at line 4"},
        {"v 0 0 0\nv 1 0 0\nv 0 -1e400 0\n", mesh_format::obj, "number out of range '-1e400' at line 3"},
        {patched(ply_triangle, "1 0 0", "1e400 0 0"), mesh_format::ply, "number out of range '1e400' at line 11"},
        {"OFF\n3 1\n1e400 0 0\n", mesh_format::off, "number out of range '1e400' at line 3"},
        {"solid\nfacet normal 0 0 1e999\n", mesh_format::stl, "number out of range '1e999' at line 2"},
        {"v 0 0 0\nf 1 1 " + too_big + "/2\n", mesh_format::obj, "number out of range '" + too_big + "' at line 2"},
        {patched(ply_triangle, "vertex 3", "vertex " + too_big), mesh_format::ply,
         "number out of range '" + too_big + "' at line 3"},
        {"OFF\n" + too_big + " 1\n", mesh_format::off, "number out of range '" + too_big + "' at line 2"},
        // Counts beyond what the file holds are refused up front.
        {patched(ply_triangle, "vertex 3", "vertex " + huge), mesh_format::ply,
         "element 'vertex' declares " + huge + " items, more than the 26" + more},
        {patched(ply_bytes(float_surface(), {}), "face 4", "face " + huge), mesh_format::ply,
         "element 'face' declares " + huge + " items, more than the 52" + more},
        {patched(ply_triangle, "\n3 0 1 2", "\n300 0 1 2"), mesh_format::ply,
         "list 'vertex_indices' of element 'face' (item 1) declares 300 values, more than the 7" + more},
        {std::string(stl).replace(80, 4, "\xFF\xFF\xFF\xFF"), mesh_format::stl,
         "binary STL declares 4294967295 triangles, more than the 200" + more},
        {patched(off, "3 1", "3 " + huge), mesh_format::off,
         "OFF header declares 3 vertices and " + huge + " faces, more than the 27" + more},
        {patched(off, "\n3 0", "\n300 0"), mesh_format::off, "face 0 declares 300 corners, more than the 7" + more}};
    for (auto encoding : {ply_encoding::ascii, ply_encoding::binary_little_endian, ply_encoding::binary_big_endian}) {
        ply_content content;
        content.encoding = encoding;
        const std::string ply = ply_bytes(float_surface(), content);
        files.push_back({ply.substr(0, ply.size() - 3), mesh_format::ply,
                         "list 'vertex_indices' of element 'face' (item 4) declares 3 values, more than the", false});
        files.push_back({ply.substr(0, 40), mesh_format::ply, "truncated", false});
    }
    for (const auto& f : files) {
        const std::string message = read_failure(f.bytes, f.format);
        if (f.whole) EXPECT_EQ(message, "f: " + f.message);
        else EXPECT_NE(message.find(f.message), std::string::npos) << message;
    }
}

TEST(Readers, ValuesThatRoundToZeroAndElementsWithoutPropertiesAreRead)
{
    // An element without properties takes no bytes: skipped whatever its count.
    const std::string junk =
        patched(ply_triangle, "element vertex", "element junk 9000000000000000000\nelement vertex");
    EXPECT_EQ(read_mesh_bytes(junk, mesh_format::ply, "f").triangles.size(), 1u);
    // Values that round to a subnormal or to zero are values like any other.
    const triangle_surface s = read_mesh_bytes(
        "v 1e-400 4.9e-324 -1e-400\nv 2.4703282292062328e-324 2.4703282292062327e-324 -2e-310\nv 0 0 0\nf 1 2 3\n",
        mesh_format::obj, "f");
    const double tiny = std::numeric_limits<double>::denorm_min();
    EXPECT_TRUE(same_bits(s.vertices[0], point3{0.0, tiny, -0.0}));
    EXPECT_TRUE(same_bits(s.vertices[1], point3{tiny, 0.0, -2e-310}));
}

TEST(ReadMeshFile, MissingUnknownAndSniffedFiles)
{
    scratch_dir dir;
    try {
        read_mesh_file(dir.file("nothing.obj"));
        FAIL();
    } catch (const read_error& e) {
        EXPECT_EQ(std::string(e.what()), dir.file("nothing.obj") + ": no such file");
    }
    EXPECT_THROW(read_mesh_file(dir.path.string()), read_error);
    EXPECT_THROW(read_mesh_file(dir.file("notes.txt", "just text\n")), read_error);
    // A known content under an unknown name is still read.
    EXPECT_EQ(read_mesh_file(dir.file("mesh.bin", ply_bytes(awkward_surface()))).triangles.size(), 4u);
}

TEST(Readers, OnlyRegularFilesOrLinksToThemAreRead)
{
    scratch_dir dir;
    const std::string fifo = dir.file("pipe.obj"), link = dir.file("link.obj");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::filesystem::create_symlink(dir.file("a.obj", obj_bytes(awkward_surface())), link);
    expect_identical(read_mesh_file(link), awkward_surface());
    for (const std::string& path : {std::string("/dev/zero"), fifo})
        EXPECT_EQ(read_failure({}, {}, path), path + ": not a regular file");
    EXPECT_EQ(read_failure({}, {}, dir.path.string()), dir.path.string() + ": is a directory, not a mesh file");
}

TEST(Readers, ByteOrderMarkBeforeEveryTextFormat)
{
    const std::string stl = "solid s\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\n"
                            "endloop\nendfacet\nendsolid s\n";
    const std::pair<std::string, mesh_format> files[] = {{"v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n", mesh_format::obj},
                                                         {"OFF 3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n", mesh_format::off},
                                                         {stl, mesh_format::stl},
                                                         {ply_triangle, mesh_format::ply},
                                                         {ply_bytes(float_surface(), {}), mesh_format::ply}};
    for (const auto& [text, format] : files) {
        expect_identical(read_mesh_bytes(bom + text, format, "f"), read_mesh_bytes(text, format, "f"));
        EXPECT_EQ(format_from_content(bom + text), format == mesh_format::obj ? std::nullopt : std::optional(format));
    }
    // A binary STL of the right size stays binary, whatever its header says.
    const std::string binary_stl = stl_bytes(float_surface()).replace(0, 10, bom + "solid x");
    EXPECT_EQ(read_mesh_bytes(binary_stl, mesh_format::stl, "f").triangles.size(), 4u);
    EXPECT_EQ(format_from_content(binary_stl), mesh_format::stl);
}

}  // namespace
