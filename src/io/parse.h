#pragma once
// Shared pieces of the readers: the raw result of a parse, the error a parser
// raises, and a scanner over text that converts numbers exactly.

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
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

/// How a token read as a number turned out.
enum class parsed { ok, malformed, out_of_range };

/// Converts a whole token with `from_chars`; a leading "+" is allowed,
/// trailing characters are not.
template <class T>
parsed parse_whole(std::string_view token, T& value)
{
    if (!token.empty() && token.front() == '+') token.remove_prefix(1);
    if (token.empty()) return parsed::malformed;
    const char* last = token.data() + token.size();
    const auto [end, ec] = std::from_chars(token.data(), last, value);
    if (end != last) return parsed::malformed;
    if (ec == std::errc()) return parsed::ok;
    return ec == std::errc::result_out_of_range ? parsed::out_of_range : parsed::malformed;
}

/// Parses a whole token as a signed 64-bit integer.
inline parsed parse_integer(std::string_view token, std::int64_t& value) { return parse_whole(token, value); }

/// Parses a whole token as a double with correct rounding. A value beyond
/// the largest double is out of range; one that rounds to a subnormal or to
/// zero is read as such.
inline parsed parse_double(std::string_view token, double& value)
{
    const parsed result = parse_whole(token, value);
    if (result != parsed::out_of_range) return result;
    // from_chars refuses values that round to zero as well as overflow. The
    // token is plain decimal, which strtod (in the "C" locale, which the
    // library expects its callers to keep) rounds correctly too, telling the
    // two apart.
    const std::string copy(token);
    char* copy_end = nullptr;
    const double slow = std::strtod(copy.c_str(), &copy_end);
    if (copy_end != copy.c_str() + copy.size() || std::isinf(slow)) return parsed::out_of_range;
    value = slow;
    return parsed::ok;
}

/// A token in quotes for a message, shortened when it is long.
inline std::string quoted(std::string_view token)
{
    constexpr std::size_t longest = 40;
    std::string text(1, '\'');
    text.append(token.substr(0, longest));
    text.append(token.size() > longest ? "...'" : "'");
    return text;
}

/// The message for more items than the rest of a file can hold, given the
/// fewest bytes each item needs.
inline std::string count_too_large(const std::string& what_declares, std::uint64_t count, const std::string& items,
                                   std::size_t bytes_left)
{
    return what_declares + " declares " + std::to_string(count) + " " + items + ", more than the " +
           std::to_string(bytes_left) + " bytes left in the file can hold";
}

/// True when `count` items of at least `item_bytes` each, the last of which
/// may lack `slack` bytes (a final separator), fit in `bytes_left`.
inline bool fits(std::uint64_t count, std::size_t item_bytes, std::size_t bytes_left, std::size_t slack = 0)
{
    return item_bytes == 0 || count <= (static_cast<std::uint64_t>(bytes_left) + slack) / item_bytes;
}

/// The text without a UTF-8 byte order mark at its start.
inline std::string_view without_bom(std::string_view text)
{
    if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
    return text;
}

/// Walks text line by line and, within a line, token by token (blanks, tabs and
/// carriage returns separate tokens). Keeps the line number for messages;
/// `lines_before` is the number of the line before the text's first, for text
/// that starts inside a file.
class line_scanner {
public:
    explicit line_scanner(std::string_view text, std::size_t lines_before = 0)
        : rest_(text), end_(text.data() + text.size()), number_(lines_before)
    {
    }

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

    /// The next token as a number; `what` names it when it is malformed.
    double number(const char* what)
    {
        const std::string_view t = token();
        double value = 0;
        const parsed status = parse_double(t, value);
        if (status != parsed::ok) number_fault(status, t, std::string("malformed ") + what);
        return value;
    }

    std::size_t line_number() const { return number_; }

    /// The bytes from the current place in the current line to the end of the
    /// text (all of it before the first line is read).
    std::size_t bytes_left() const
    {
        return line_.data() ? static_cast<std::size_t>(end_ - line_.data()) : rest_.size();
    }

    [[noreturn]] void fail(const std::string& what) const
    {
        throw format_error(what + " at line " + std::to_string(number_));
    }

    /// Fails for a token that did not parse: out of range, or else `malformed`.
    [[noreturn]] void number_fault(parsed status, std::string_view token, const std::string& malformed) const
    {
        if (status == parsed::out_of_range) fail("number out of range " + quoted(token));
        fail(malformed);
    }

private:
    static bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v'; }

    std::string_view rest_;
    std::string_view line_;
    const char* end_;
    std::size_t number_;
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
    token_stream(std::string_view text, std::string ends_where, std::size_t lines_before = 0)
        : lines_(text, lines_before), ends_where_(std::move(ends_where))
    {
    }

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
        if (t != word) lines_.fail("expected '" + std::string(word) + "', found " + quoted(t));
    }

    double number()
    {
        const std::string_view t = next();
        if (t.empty()) truncated();
        double value = 0;
        const parsed status = parse_double(t, value);
        if (status != parsed::ok) lines_.number_fault(status, t, "malformed number " + quoted(t));
        return value;
    }

    /// At most the bytes that the tokens still to come can take.
    std::size_t bytes_left() const { return lines_.bytes_left(); }

    [[noreturn]] void fail(const std::string& what) const { lines_.fail(what); }

    [[noreturn]] void number_fault(parsed status, std::string_view token, const std::string& malformed) const
    {
        lines_.number_fault(status, token, malformed);
    }

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
