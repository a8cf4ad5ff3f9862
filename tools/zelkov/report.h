#pragma once
// The report of a sub-command: an ordered JSON object whose keys are
// snake_case and stay in insertion order. Printed as JSON for programs, or as
// indented "key: value" lines for people.

#include <iosfwd>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace Zelkov::Cli {

using value = nlohmann::ordered_json;

/// A point or vector as a three-element array.
value triple(double x, double y, double z);

/// `text` as a report key: lower case, every run of other characters than
/// letters and digits turned into one '_', none at either end
/// ("vertex-to-triangles map" becomes "vertex_to_triangles_map").
std::string snake_case(std::string_view text);

/// The report as JSON with two-space indentation and a final newline. Always
/// valid JSON: non-finite numbers are written as null, and bytes that are not
/// UTF-8 (in a file name, say) as U+FFFD.
void write_json(std::ostream& out, const value& report);

/// The report as text: one "key: value" line per entry with the key's
/// underscores shown as blanks, nested objects indented, blocks of text
/// (the library's investigation report) indented under their key.
void write_text(std::ostream& out, const value& report);

}  // namespace Zelkov::Cli
