#include "report.h"

#include <cctype>
#include <ostream>

namespace Zelkov::Cli {

namespace {

using error_handler = nlohmann::detail::error_handler_t;

/// A scalar, or an array of scalars on one line ("[1, 2, 3]"), as JSON.
std::string inline_json(const value& v)
{
    if (!v.is_array()) return v.dump(-1, ' ', false, error_handler::replace);
    std::string text = "[";
    for (std::size_t i = 0; i < v.size(); ++i) text += (i ? ", " : "") + inline_json(v[i]);
    return text + "]";
}

bool is_scalar_array(const value& v)
{
    if (!v.is_array()) return false;
    for (const auto& item : v)
        if (item.is_structured()) return false;
    return true;
}

std::string label(const std::string& key)
{
    std::string text = key;
    for (char& c : text)
        if (c == '_') c = ' ';
    return text;
}

void write_block(std::ostream& out, const std::string& pad, const std::string& text)
{
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = text.find('\n', start);
        out << pad << "  " << text.substr(start, end - start) << '\n';
        if (end == std::string::npos) break;
        start = end + 1;
    }
}

void write_object(std::ostream& out, const value& object, int depth)
{
    const std::string pad(2 * static_cast<std::size_t>(depth), ' ');
    for (const auto& [key, v] : object.items()) {
        out << pad << label(key) << ':';
        if (v.is_object()) {
            out << '\n';
            write_object(out, v, depth + 1);
        } else if (v.is_string() && v.get_ref<const std::string&>().find('\n') != std::string::npos) {
            out << '\n';
            write_block(out, pad, v.get_ref<const std::string&>());
        } else if (v.is_string()) {
            out << ' ' << v.get_ref<const std::string&>() << '\n';
        } else if (v.is_array() && !is_scalar_array(v)) {
            out << '\n';
            for (std::size_t i = 0; i < v.size(); ++i) {
                out << pad << "  - " << i << ":\n";
                write_object(out, v[i], depth + 2);
            }
        } else {
            out << ' ' << inline_json(v) << '\n';
        }
    }
}

}  // namespace

value triple(double x, double y, double z) { return value::array({x, y, z}); }

std::string snake_case(std::string_view text)
{
    std::string key;
    bool gap = false;
    for (const char c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (std::isalnum(u)) {
            if (gap && !key.empty()) key += '_';
            key += static_cast<char>(std::tolower(u));
            gap = false;
        } else {
            gap = true;
        }
    }
    return key;
}

void write_json(std::ostream& out, const value& report)
{
    out << report.dump(2, ' ', false, error_handler::replace) << '\n';
}

void write_text(std::ostream& out, const value& report) { write_object(out, report, 0); }

}  // namespace Zelkov::Cli
