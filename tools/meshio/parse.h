#pragma once
// Shared pieces of the readers: the raw result of a parse, the error a parser
// raises, and a scanner over text that converts numbers exactly.

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <math/records.h>

namespace Zelkov::Meshio::detail {

using point3 = Zelkov::Math::point<double, 3>;
using index_triangle = std::array<std::size_t, 3>;

/// What a reader found, before indices are checked. An index that the file
/// cannot express as a vertex (OBJ index 0, a negative PLY index) is stored as
/// SIZE_MAX, so that the check reports it as out of range.
struct raw_mesh {
    std::vector<point3> vertices;
    std::vector<index_triangle> triangles;
};

/// A fault in the content of a file; the message does not name the file.
class format_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Appends a polygon as a fan from its first corner. Fewer than three corners
/// add nothing.
inline void add_polygon(raw_mesh& mesh, const std::vector<std::size_t>& polygon)
{
    for (std::size_t k = 1; k + 1 < polygon.size(); ++k)
        mesh.triangles.push_back({polygon[0], polygon[k], polygon[k + 1]});
}

/// Parses a whole token as a double with correct rounding; "+" and a leading
/// "+" are allowed, trailing characters are not.
inline bool parse_double(std::string_view token, double& value)
{
    if (!token.empty() && token.front() == '+') token.remove_prefix(1);
    if (token.empty()) return false;
    const auto [end, ec] = std::from_chars(token.data(), token.data() + token.size(), value);
    return ec == std::errc() && end == token.data() + token.size();
}

inline bool parse_integer(std::string_view token, std::int64_t& value)
{
    if (!token.empty() && token.front() == '+') token.remove_prefix(1);
    if (token.empty()) return false;
    const auto [end, ec] = std::from_chars(token.data(), token.data() + token.size(), value);
    return ec == std::errc() && end == token.data() + token.size();
}

/// Walks text line by line and, within a line, token by token (blanks, tabs and
/// carriage returns separate tokens). Keeps the line number for messages.
class line_scanner {
public:
    explicit line_scanner(std::string_view text) : rest_(text) {}

    /// Moves to the next line; false at the end of the text.
    bool next_line()
    {
        if (rest_.empty() && done_) return false;
        const std::size_t end = rest_.find('\n');
        line_ = rest_.substr(0, end);
        if (end == std::string_view::npos) {
            rest_ = {};
            done_ = true;
            if (line_.empty()) return false;
        } else {
            rest_.remove_prefix(end + 1);
        }
        ++number_;
        return true;
    }

    /// The next token of the current line, or empty at its end.
    std::string_view token()
    {
        std::size_t i = 0;
        while (i < line_.size() && is_blank(line_[i])) ++i;
        std::size_t j = i;
        while (j < line_.size() && !is_blank(line_[j])) ++j;
        const std::string_view result = line_.substr(i, j - i);
        line_.remove_prefix(j);
        return result;
    }

    double number(const char* what)
    {
        double value = 0;
        if (!parse_double(token(), value)) fail(std::string("malformed ") + what);
        return value;
    }

    std::size_t line_number() const { return number_; }

    [[noreturn]] void fail(const std::string& what) const
    {
        throw format_error(what + " at line " + std::to_string(number_));
    }

private:
    static bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v'; }

    std::string_view rest_;
    std::string_view line_;
    std::size_t number_ = 0;
    bool done_ = false;
};

/// A value of type T stored at `bytes` in the given byte order.
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

/// The tokens of a text, across lines. `context` completes the message
/// "truncated: ... ends ..." when the text runs out where a token is needed.
class token_stream {
public:
    token_stream(std::string_view text, std::string ends_where) : lines_(text), ends_where_(std::move(ends_where)) {}

    /// The next token, or empty at the end of the text.
    std::string_view next()
    {
        for (;;) {
            if (has_line_) {
                const std::string_view t = lines_.token();
                if (!t.empty()) return t;
            }
            has_line_ = lines_.next_line();
            if (!has_line_) return {};
        }
    }

    void skip_line() { has_line_ = false; }

    void expect(std::string_view word)
    {
        const std::string_view t = next();
        if (t.empty()) truncated();
        if (t != word) lines_.fail("expected '" + std::string(word) + "', found '" + std::string(t) + "'");
    }

    double number()
    {
        const std::string_view t = next();
        if (t.empty()) truncated();
        double value = 0;
        if (!parse_double(t, value)) lines_.fail("malformed number '" + std::string(t) + "'");
        return value;
    }

    [[noreturn]] void fail(const std::string& what) const { lines_.fail(what); }

    [[noreturn]] void truncated() const { throw format_error("truncated: " + ends_where_); }

private:
    line_scanner lines_;
    std::string ends_where_;
    bool has_line_ = false;
};

raw_mesh parse_stl(std::string_view bytes);
raw_mesh parse_obj(std::string_view bytes);
raw_mesh parse_off(std::string_view bytes);
raw_mesh parse_ply(std::string_view bytes);

/// True when the bytes are a binary STL: at least 84 bytes, and the count at
/// offset 80 fits the size exactly.
bool is_exact_binary_stl(std::string_view bytes);

}  // namespace Zelkov::Meshio::detail
