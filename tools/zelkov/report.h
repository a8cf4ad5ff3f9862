#pragma once
// The report of a sub-command: an ordered tree of named values, printed as
// indented text for people or as JSON for programs.

#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace Zelkov::Cli {

/// One value of a report. Objects keep their keys in insertion order.
class value {
public:
    using object = std::vector<std::pair<std::string, value>>;
    using array = std::vector<value>;

    value() = default;
    value(bool b) : data_(b) {}
    value(int i) : data_(static_cast<std::int64_t>(i)) {}
    value(long i) : data_(static_cast<std::int64_t>(i)) {}
    value(long long i) : data_(static_cast<std::int64_t>(i)) {}
    value(unsigned long u) : data_(static_cast<std::uint64_t>(u)) {}
    value(unsigned long long u) : data_(static_cast<std::uint64_t>(u)) {}
    value(unsigned u) : data_(static_cast<std::uint64_t>(u)) {}
    value(double d) : data_(d) {}
    value(const char* s) : data_(std::string(s)) {}
    value(std::string s) : data_(std::move(s)) {}
    value(array a) : data_(std::move(a)) {}
    value(object o) : data_(std::move(o)) {}

    static value new_object() { return value(object{}); }

    /// Appends a key to an object (or replaces its value if present) and
    /// returns the stored value. \pre this is an object.
    value& set(const std::string& key, value v);

    /// The value under `key`, or null when absent. \pre this is an object.
    const value* find(const std::string& key) const;

    bool is_object() const { return std::holds_alternative<object>(data_); }
    const object& as_object() const { return std::get<object>(data_); }
    const array& as_array() const { return std::get<array>(data_); }
    double as_double() const;
    std::uint64_t as_unsigned() const { return std::get<std::uint64_t>(data_); }
    const std::string& as_string() const { return std::get<std::string>(data_); }
    bool as_bool() const { return std::get<bool>(data_); }

    /// Compact-free JSON with two-space indentation. Non-finite numbers become null.
    void write_json(std::ostream& out, int indent = 0) const;

    /// "key: value" lines, nested objects indented; `indent` is the depth.
    void write_text(std::ostream& out, int indent = 0) const;

private:
    std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string, array, object> data_;
};

/// A point or vector as a three-element array.
value triple(double x, double y, double z);

}  // namespace Zelkov::Cli
