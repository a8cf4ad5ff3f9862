// PLY, ASCII and binary of either endianness. Positions come from the x, y, z
// properties of the "vertex" element in whatever scalar type they are stored
// (float and double alike keep their exact value); polygons come from the
// "vertex_indices" (or "vertex_index") list of the "face" element and are
// fan-triangulated. Other elements and properties are read past.

#include <cmath>
#include <limits>
#include <optional>

#include "parse.h"

namespace Zelkov::Meshio::detail {

namespace {

enum class scalar { int8, uint8, int16, uint16, int32, uint32, float32, float64 };

std::optional<scalar> scalar_from_name(std::string_view name)
{
    if (name == "char" || name == "int8") return scalar::int8;
    if (name == "uchar" || name == "uint8") return scalar::uint8;
    if (name == "short" || name == "int16") return scalar::int16;
    if (name == "ushort" || name == "uint16") return scalar::uint16;
    if (name == "int" || name == "int32") return scalar::int32;
    if (name == "uint" || name == "uint32") return scalar::uint32;
    if (name == "float" || name == "float32") return scalar::float32;
    if (name == "double" || name == "float64") return scalar::float64;
    return std::nullopt;
}

std::size_t size_of(scalar s)
{
    switch (s) {
    case scalar::int8:
    case scalar::uint8: return 1;
    case scalar::int16:
    case scalar::uint16: return 2;
    case scalar::int32:
    case scalar::uint32:
    case scalar::float32: return 4;
    case scalar::float64: return 8;
    }
    return 0;
}

bool is_integral(scalar s) { return s != scalar::float32 && s != scalar::float64; }

struct property {
    std::string name;
    scalar type = scalar::float64;
    std::optional<scalar> count_type;  // set for a list
};

struct element {
    std::string name;
    std::size_t count = 0;
    std::vector<property> properties;
};

enum class encoding { ascii, little, big };

struct header {
    encoding format = encoding::ascii;
    std::vector<element> elements;
    std::size_t body = 0;   // offset of the first byte after "end_header"
    std::size_t lines = 0;  // lines up to and including "end_header"
};

header parse_header(std::string_view bytes)
{
    line_scanner in(bytes);
    if (!in.next_line() || in.token() != "ply") throw format_error("not a PLY file (missing 'ply' header)");
    if (bytes.find("end_header") == std::string_view::npos)
        throw format_error("truncated: PLY header without 'end_header'");
    header h;
    bool has_format = false;
    std::size_t offset = bytes.find('\n') + 1;
    for (;;) {
        if (!in.next_line()) throw format_error("PLY header without an 'end_header' line");
        const std::size_t line_end = bytes.find('\n', offset);
        offset = line_end == std::string_view::npos ? bytes.size() : line_end + 1;
        const std::string_view tag = in.token();
        if (tag == "end_header") break;
        if (tag == "format") {
            const std::string_view name = in.token();
            if (name == "ascii") h.format = encoding::ascii;
            else if (name == "binary_little_endian") h.format = encoding::little;
            else if (name == "binary_big_endian") h.format = encoding::big;
            else in.fail("unknown PLY format " + quoted(name));
            has_format = true;
        } else if (tag == "element") {
            element e;
            e.name = std::string(in.token());
            const std::string_view token = in.token();
            std::int64_t n = 0;
            const parsed status = parse_integer(token, n);
            if (status != parsed::ok || n < 0)
                in.number_fault(status, token, "malformed count of element '" + e.name + "'");
            e.count = static_cast<std::size_t>(n);
            h.elements.push_back(std::move(e));
        } else if (tag == "property") {
            if (h.elements.empty()) in.fail("property before any element");
            property p;
            std::string_view type = in.token();
            if (type == "list") {
                const auto count_type = scalar_from_name(in.token());
                if (!count_type || !is_integral(*count_type)) in.fail("malformed list count type");
                p.count_type = count_type;
                type = in.token();
            }
            const auto item = scalar_from_name(type);
            if (!item) in.fail("unknown property type " + quoted(type));
            p.type = *item;
            p.name = std::string(in.token());
            h.elements.back().properties.push_back(std::move(p));
        } else if (tag != "comment" && tag != "obj_info" && !tag.empty()) {
            in.fail("unknown PLY header line " + quoted(tag));
        }
    }
    if (!has_format) throw format_error("PLY header without a 'format' line");
    h.body = offset;
    h.lines = in.line_number();
    return h;
}

/// Reads the values of the body one at a time, in the file's encoding.
class value_reader {
public:
    value_reader(std::string_view bytes, const header& h)
        : bytes_(bytes), cursor_(h.body), format_(h.format),
          tokens_(h.format == encoding::ascii ? bytes.substr(h.body) : std::string_view(), "", h.lines)
    {
    }

    /// Where reading stands, for the message if the file ends there.
    void set_position(const std::string& element_name, std::size_t item, std::size_t count)
    {
        element_ = &element_name;
        item_ = item;
        count_ = count;
    }

    double real(scalar type)
    {
        if (format_ == encoding::ascii) {
            const std::string_view t = tokens_.next();
            if (t.empty()) truncated();
            double value = 0;
            const parsed status = parse_double(t, value);
            if (status != parsed::ok) tokens_.number_fault(status, t, "malformed value " + quoted(t));
            return value;
        }
        const char* p = take(size_of(type));
        const bool big = format_ == encoding::big;
        switch (type) {
        case scalar::int8: return load<std::int8_t>(p, big);
        case scalar::uint8: return load<std::uint8_t>(p, big);
        case scalar::int16: return load<std::int16_t>(p, big);
        case scalar::uint16: return load<std::uint16_t>(p, big);
        case scalar::int32: return load<std::int32_t>(p, big);
        case scalar::uint32: return load<std::uint32_t>(p, big);
        case scalar::float32: return load<float>(p, big);
        case scalar::float64: return load<double>(p, big);
        }
        return 0;
    }

    /// An integer value, an index or a list length. A real stored for one
    /// must be integral; one beyond any index is kept as the largest integer,
    /// which the index check then refuses.
    std::int64_t integer(scalar type)
    {
        if (format_ == encoding::ascii && is_integral(type)) {
            const std::string_view t = tokens_.next();
            if (t.empty()) truncated();
            std::int64_t value = 0;
            const parsed status = parse_integer(t, value);
            if (status != parsed::ok) tokens_.number_fault(status, t, "malformed integer " + quoted(t));
            return value;
        }
        const double value = real(type);
        if (value != std::floor(value)) {  // also NaN and infinities
            char text[32];
            const std::string shortest(text, std::to_chars(text, text + sizeof text, value).ptr);
            const std::string what = "non-integral index " + shortest + " in element '" +
                                     (element_ ? *element_ : std::string()) + "' (item " + std::to_string(item_ + 1) +
                                     ")";
            if (format_ == encoding::ascii) tokens_.fail(what);
            throw format_error(what);
        }
        if (value >= 9.0e18) return std::numeric_limits<std::int64_t>::max();
        if (value <= -9.0e18) return std::numeric_limits<std::int64_t>::min();
        return static_cast<std::int64_t>(value);
    }

    /// Refuses, before any of them is read, more items of `e` than the rest of
    /// the file can hold: binary items take at least their fixed-size values
    /// and list lengths, text items at least a token and a separator a value.
    void check_count(const element& e) const
    {
        std::size_t item_bytes = 0;
        for (const auto& p : e.properties)
            item_bytes += format_ == encoding::ascii ? 2 : size_of(p.count_type ? *p.count_type : p.type);
        if (!fits(e.count, item_bytes, bytes_left(), slack()))
            throw format_error(count_too_large("element '" + e.name + "'", e.count, "items", bytes_left()));
    }

    /// The length of list `p` of the current item, after checking that it is
    /// not negative and that the rest of the file can hold as many values.
    std::int64_t list_length(const property& p)
    {
        const std::int64_t n = integer(*p.count_type);
        const std::string where =
            "list '" + p.name + "' of element '" + *element_ + "' (item " + std::to_string(item_ + 1) + ")";
        if (n < 0) throw format_error("negative length " + std::to_string(n) + " of " + where);
        const std::size_t value_bytes = format_ == encoding::ascii ? 2 : size_of(p.type);
        if (!fits(static_cast<std::uint64_t>(n), value_bytes, bytes_left(), slack()))
            throw format_error(count_too_large(where, static_cast<std::uint64_t>(n), "values", bytes_left()));
        return n;
    }

private:
    std::size_t bytes_left() const
    {
        return format_ == encoding::ascii ? tokens_.bytes_left() : bytes_.size() - cursor_;
    }

    /// The last value of a text file needs no separator after it.
    std::size_t slack() const { return format_ == encoding::ascii ? 1 : 0; }

    const char* take(std::size_t n)
    {
        if (bytes_.size() - cursor_ < n) truncated();
        const char* p = bytes_.data() + cursor_;
        cursor_ += n;
        return p;
    }

    [[noreturn]] void truncated() const
    {
        throw format_error("truncated: file ends in element '" + (element_ ? *element_ : std::string()) + "' (item " +
                           std::to_string(item_ + 1) + " of " + std::to_string(count_) + ")");
    }

    std::string_view bytes_;
    std::size_t cursor_;
    encoding format_;
    token_stream tokens_;
    const std::string* element_ = nullptr;
    std::size_t item_ = 0;
    std::size_t count_ = 0;
};

bool is_face_list(const property& p)
{
    return p.count_type && (p.name == "vertex_indices" || p.name == "vertex_index");
}

void read_vertices(const element& e, value_reader& in, raw_mesh& mesh)
{
    int found = 0;
    for (const auto& p : e.properties) found += (p.name == "x") + (p.name == "y") + (p.name == "z");
    if (found != 3) throw format_error("PLY vertex element without exactly one x, y and z");
    in.check_count(e);
    mesh.vertices.reserve(e.count);
    for (std::size_t i = 0; i < e.count; ++i) {
        in.set_position(e.name, i, e.count);
        point3 v{};
        for (const auto& p : e.properties) {
            if (p.count_type) {
                const std::int64_t n = in.list_length(p);
                for (std::int64_t k = 0; k < n; ++k) in.real(p.type);
                continue;
            }
            const double value = in.real(p.type);
            if (p.name == "x") v.x = value;
            else if (p.name == "y") v.y = value;
            else if (p.name == "z") v.z = value;
        }
        mesh.vertices.push_back(v);
    }
}

void read_faces(const element& e, value_reader& in, raw_mesh& mesh)
{
    std::size_t lists = 0;
    for (const auto& p : e.properties) lists += is_face_list(p);
    if (lists != 1) throw format_error("PLY face element without exactly one 'vertex_indices' list");
    in.check_count(e);
    std::vector<std::size_t> polygon;
    for (std::size_t i = 0; i < e.count; ++i) {
        in.set_position(e.name, i, e.count);
        for (const auto& p : e.properties) {
            if (!p.count_type) {
                in.real(p.type);
                continue;
            }
            const std::int64_t n = in.list_length(p);
            if (!is_face_list(p)) {
                for (std::int64_t k = 0; k < n; ++k) in.real(p.type);
                continue;
            }
            if (n < 3) throw format_error("face " + std::to_string(i) + " with fewer than 3 corners");
            polygon.clear();
            for (std::int64_t k = 0; k < n; ++k) {
                const std::int64_t index = in.integer(p.type);
                polygon.push_back(index < 0 ? std::numeric_limits<std::size_t>::max()
                                            : static_cast<std::size_t>(index));
            }
            add_polygon(mesh, polygon);
        }
    }
}

/// Reads past an element. One without properties takes no bytes, whatever
/// its count.
void skip_element(const element& e, value_reader& in)
{
    if (e.properties.empty()) return;
    in.check_count(e);
    for (std::size_t i = 0; i < e.count; ++i) {
        in.set_position(e.name, i, e.count);
        for (const auto& p : e.properties) {
            const std::int64_t n = p.count_type ? in.list_length(p) : 1;
            for (std::int64_t k = 0; k < n; ++k) in.real(p.type);
        }
    }
}

}  // namespace

raw_mesh parse_ply(std::string_view bytes)
{
    bytes = without_bom(bytes);
    const header h = parse_header(bytes);
    value_reader in(bytes, h);
    raw_mesh mesh;
    bool has_vertices = false;
    for (const auto& e : h.elements) {
        if (e.name == "vertex" && !has_vertices) {
            read_vertices(e, in, mesh);
            has_vertices = true;
        } else if (e.name == "face") {
            read_faces(e, in, mesh);
        } else {
            skip_element(e, in);
        }
    }
    return mesh;
}

}  // namespace Zelkov::Meshio::detail
