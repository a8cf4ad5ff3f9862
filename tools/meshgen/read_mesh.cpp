// A small, permissive reader for the mesh files that tests and benchmarks use.
// It keeps coordinates exactly as stored and never merges vertices.

#include "meshgen.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

namespace Zelkov::Meshgen {

namespace {

using point3 = Zelkov::Math::point<double, 3>;

std::string extension_of(const std::string& path)
{
    std::string ext = std::filesystem::path(path).extension().string();
    for (auto& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

std::optional<std::string> slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
}

/// Adds a polygon as a fan from its first corner.
void add_polygon(triangle_surface& s, const std::vector<std::size_t>& polygon)
{
    for (std::size_t k = 1; k + 1 < polygon.size(); ++k)
        s.triangles.push_back({polygon[0], polygon[k], polygon[k + 1]});
}

std::optional<triangle_surface> read_obj(const std::string& text)
{
    triangle_surface s;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string tag;
        words >> tag;
        if (tag == "v") {
            point3 p{};
            words >> p.x >> p.y >> p.z;
            s.vertices.push_back(p);
        } else if (tag == "f") {
            std::vector<std::size_t> polygon;
            std::string corner;
            while (words >> corner) {
                const long long index = std::stoll(corner.substr(0, corner.find('/')));
                polygon.push_back(index < 0 ? s.vertices.size() + static_cast<std::size_t>(index)
                                            : static_cast<std::size_t>(index - 1));
            }
            add_polygon(s, polygon);
        }
    }
    return s;
}

std::optional<triangle_surface> read_off(const std::string& text)
{
    std::istringstream in(text);
    std::string magic;
    std::size_t nv = 0, nf = 0, ne = 0;
    in >> magic >> nv >> nf >> ne;
    if (!in) return std::nullopt;
    triangle_surface s;
    s.vertices.resize(nv);
    for (auto& p : s.vertices) in >> p.x >> p.y >> p.z;
    for (std::size_t f = 0; f < nf && in; ++f) {
        std::size_t k = 0;
        in >> k;
        std::vector<std::size_t> polygon(k);
        for (auto& v : polygon) in >> v;
        add_polygon(s, polygon);
    }
    if (!in) return std::nullopt;
    return s;
}

template <class T>
T load(const char* bytes, bool big_endian)
{
    T value;
    std::memcpy(&value, bytes, sizeof(T));
    if (big_endian != (std::endian::native == std::endian::big)) {
        char* raw = reinterpret_cast<char*>(&value);
        std::reverse(raw, raw + sizeof(T));
    }
    return value;
}

std::optional<triangle_surface> read_stl(const std::string& text)
{
    triangle_surface s;
    if (text.size() >= 84) {
        const auto count = load<std::uint32_t>(text.data() + 80, false);
        if (text.size() == 84 + 50 * static_cast<std::size_t>(count)) {
            for (std::size_t f = 0; f < count; ++f) {
                const char* facet = text.data() + 84 + 50 * f + 12;
                for (std::size_t c = 0; c < 3; ++c) {
                    const char* q = facet + 12 * c;
                    s.vertices.push_back({load<float>(q, false), load<float>(q + 4, false),
                                          load<float>(q + 8, false)});
                }
                s.triangles.push_back({3 * f, 3 * f + 1, 3 * f + 2});
            }
            return s;
        }
    }
    std::istringstream in(text);
    std::string word;
    while (in >> word) {
        if (word != "vertex") continue;
        point3 p{};
        in >> p.x >> p.y >> p.z;
        s.vertices.push_back(p);
        if (s.vertices.size() % 3 == 0) {
            const std::size_t first = s.vertices.size() - 3;
            s.triangles.push_back({first, first + 1, first + 2});
        }
    }
    return s;
}

struct ply_property {
    std::string type;       // scalar type, or the item type of a list
    std::string count_type; // empty unless a list
    std::string name;
};

struct ply_element {
    std::string name;
    std::size_t count = 0;
    std::vector<ply_property> properties;
};

std::size_t ply_size(const std::string& type)
{
    if (type == "char" || type == "uchar" || type == "int8" || type == "uint8") return 1;
    if (type == "short" || type == "ushort" || type == "int16" || type == "uint16") return 2;
    if (type == "double" || type == "float64") return 8;
    return 4;
}

double ply_binary_value(const char*& cursor, const std::string& type, bool big)
{
    double value = 0;
    if (type == "char" || type == "int8") value = load<std::int8_t>(cursor, big);
    else if (type == "uchar" || type == "uint8") value = load<std::uint8_t>(cursor, big);
    else if (type == "short" || type == "int16") value = load<std::int16_t>(cursor, big);
    else if (type == "ushort" || type == "uint16") value = load<std::uint16_t>(cursor, big);
    else if (type == "int" || type == "int32") value = load<std::int32_t>(cursor, big);
    else if (type == "uint" || type == "uint32") value = load<std::uint32_t>(cursor, big);
    else if (type == "float" || type == "float32") value = load<float>(cursor, big);
    else value = load<double>(cursor, big);
    cursor += ply_size(type);
    return value;
}

std::optional<triangle_surface> read_ply(const std::string& text)
{
    const std::size_t header_end = text.find("end_header");
    if (header_end == std::string::npos) return std::nullopt;
    std::istringstream header(text.substr(0, header_end));
    std::string line, format;
    std::vector<ply_element> elements;
    while (std::getline(header, line)) {
        std::istringstream words(line);
        std::string tag;
        words >> tag;
        if (tag == "format") words >> format;
        else if (tag == "element") {
            elements.emplace_back();
            words >> elements.back().name >> elements.back().count;
        } else if (tag == "property" && !elements.empty()) {
            ply_property p;
            words >> p.type;
            if (p.type == "list") words >> p.count_type >> p.type;
            words >> p.name;
            elements.back().properties.push_back(p);
        }
    }
    std::size_t body = text.find('\n', header_end);
    if (body == std::string::npos) return std::nullopt;
    ++body;
    const bool ascii = format == "ascii";
    const bool big = format == "binary_big_endian";
    std::istringstream ascii_in(ascii ? text.substr(body) : std::string());
    const char* cursor = text.data() + body;
    auto next = [&](const std::string& type) {
        if (ascii) {
            double v = 0;
            ascii_in >> v;
            return v;
        }
        return ply_binary_value(cursor, type, big);
    };

    triangle_surface s;
    for (const auto& element : elements)
        for (std::size_t e = 0; e < element.count; ++e) {
            point3 p{};
            std::vector<std::size_t> polygon;
            for (const auto& property : element.properties) {
                if (!property.count_type.empty()) {
                    const auto n = static_cast<std::size_t>(next(property.count_type));
                    std::vector<std::size_t> items(n);
                    for (auto& item : items) item = static_cast<std::size_t>(next(property.type));
                    if (property.name == "vertex_indices" || property.name == "vertex_index")
                        polygon = std::move(items);
                    continue;
                }
                const double v = next(property.type);
                if (property.name == "x") p.x = v;
                if (property.name == "y") p.y = v;
                if (property.name == "z") p.z = v;
            }
            if (element.name == "vertex") s.vertices.push_back(p);
            if (element.name == "face") add_polygon(s, polygon);
        }
    return s;
}

}  // namespace

std::optional<triangle_surface> read_mesh(const std::string& path)
{
    const auto text = slurp(path);
    if (!text) return std::nullopt;
    const std::string ext = extension_of(path);
    if (ext == ".obj") return read_obj(*text);
    if (ext == ".off") return read_off(*text);
    if (ext == ".stl") return read_stl(*text);
    if (ext == ".ply") return read_ply(*text);
    return std::nullopt;
}

std::string shared_mesh_dir()
{
    const char* configured = std::getenv("ZELKOV_SHARED_MESHES");
    for (const char* candidate : {configured ? configured : "", ZELKOV_SOURCE_DIR "/../shared/meshes", "../shared/meshes"})
        if (std::filesystem::is_directory(candidate))
            return std::filesystem::canonical(candidate).string();
    return {};
}

}  // namespace Zelkov::Meshgen
