#include "report.h"

#include <charconv>
#include <cmath>
#include <ostream>

namespace Zelkov::Cli {

namespace {

std::string number_text(double d)
{
    char buffer[32];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, d);
    return std::string(buffer, r.ptr);
}

void write_json_string(std::ostream& out, const std::string& s)
{
    out << '"';
    for (const char c : s) {
        switch (c) {
        case '"': out << "\\\""; break;
        case '\\': out << "\\\\"; break;
        case '\n': out << "\\n"; break;
        case '\r': out << "\\r"; break;
        case '\t': out << "\\t"; break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                const char* hex = "0123456789abcdef";
                out << "\\u00" << hex[(c >> 4) & 0xF] << hex[c & 0xF];
            } else {
                out << c;
            }
        }
    }
    out << '"';
}

bool is_scalar_array(const value::array& a)
{
    for (const auto& v : a)
        if (v.is_object()) return false;
    return true;
}

}  // namespace

value& value::set(const std::string& key, value v)
{
    auto& o = std::get<object>(data_);
    for (auto& [k, existing] : o)
        if (k == key) return existing = std::move(v);
    o.emplace_back(key, std::move(v));
    return o.back().second;
}

const value* value::find(const std::string& key) const
{
    for (const auto& [k, v] : std::get<object>(data_))
        if (k == key) return &v;
    return nullptr;
}

double value::as_double() const
{
    if (const auto* d = std::get_if<double>(&data_)) return *d;
    if (const auto* i = std::get_if<std::int64_t>(&data_)) return static_cast<double>(*i);
    return static_cast<double>(std::get<std::uint64_t>(data_));
}

value triple(double x, double y, double z) { return value(value::array{x, y, z}); }

void value::write_json(std::ostream& out, int indent) const
{
    const std::string pad(2 * (indent + 1), ' ');
    const std::string close(2 * indent, ' ');
    std::visit(
        [&](const auto& d) {
            using T = std::decay_t<decltype(d)>;
            if constexpr (std::is_same_v<T, std::monostate>) out << "null";
            else if constexpr (std::is_same_v<T, bool>) out << (d ? "true" : "false");
            else if constexpr (std::is_same_v<T, double>) out << (std::isfinite(d) ? number_text(d) : "null");
            else if constexpr (std::is_same_v<T, std::string>) write_json_string(out, d);
            else if constexpr (std::is_same_v<T, array>) {
                // Arrays of numbers stay on one line.
                const bool flat = is_scalar_array(d);
                out << '[';
                for (std::size_t i = 0; i < d.size(); ++i) {
                    if (i) out << ',';
                    if (flat) out << (i ? " " : "");
                    else out << '\n' << pad;
                    d[i].write_json(out, indent + 1);
                }
                if (!flat && !d.empty()) out << '\n' << close;
                out << ']';
            } else if constexpr (std::is_same_v<T, object>) {
                out << '{';
                for (std::size_t i = 0; i < d.size(); ++i) {
                    out << (i ? ",\n" : "\n") << pad;
                    write_json_string(out, d[i].first);
                    out << ": ";
                    d[i].second.write_json(out, indent + 1);
                }
                if (!d.empty()) out << '\n' << close;
                out << '}';
            } else {
                out << d;
            }
        },
        data_);
    if (indent == 0) out << '\n';
}

void value::write_text(std::ostream& out, int indent) const
{
    const std::string pad(2 * indent, ' ');
    for (const auto& [key, v] : as_object()) {
        out << pad << key << ':';
        if (v.is_object()) {
            out << '\n';
            v.write_text(out, indent + 1);
        } else if (const auto* s = std::get_if<std::string>(&v.data_); s && s->find('\n') != std::string::npos) {
            // A block of text (such as the investigation report), indented under its key.
            out << '\n';
            std::size_t start = 0;
            while (start < s->size()) {
                const std::size_t end = s->find('\n', start);
                out << pad << "  " << s->substr(start, end - start) << '\n';
                if (end == std::string::npos) break;
                start = end + 1;
            }
        } else if (const auto* s = std::get_if<std::string>(&v.data_)) {
            out << ' ' << *s << '\n';
        } else if (const auto* a = std::get_if<array>(&v.data_); a && !is_scalar_array(*a)) {
            out << '\n';
            for (std::size_t i = 0; i < a->size(); ++i) {
                out << pad << "  - " << i << ":\n";
                (*a)[i].write_text(out, indent + 2);
            }
        } else {
            out << ' ';
            v.write_json(out, 1);
            out << '\n';
        }
    }
}

}  // namespace Zelkov::Cli
