#pragma once
// The sub-commands of the program. Each reads its input, does its work in
// timed stages and returns its report; errors are thrown as the exceptions
// below and turned into one line and an exit status by `run`.

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <geometry/triangle_surface.h>
#include <processing/surface_info.h>
#include <processing/weld.h>

#include <meshio/meshio.h>
#include "report.h"
#include "stages.h"

namespace Zelkov::Cli {

/// Exit statuses of the program.
enum exit_status : int {
    exit_ok = 0,
    exit_internal_error = 1,  // a fault of the program itself
    exit_usage = 2,           // bad command line
    exit_bad_input = 3,       // the input file is missing, unreadable or malformed
    exit_output_failed = 4,   // the output cannot be written (or would overwrite the input)
};

/// A command line that names things that do not fit together.
class usage_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What every sub-command is given.
struct common_options {
    std::string input;   // empty: the built-in default mesh
    std::string output;  // empty: write nothing
    bool json = false;
    std::size_t default_mesh_triangles = 1'000'000;
};

struct clean_options {
    bool consider_orientation = true;
    bool remove_degenerate = false;
};

struct simplify_cli_options {
    std::optional<std::size_t> target;
    std::optional<double> ratio;
    std::optional<double> max_error;
    std::optional<double> max_error_relative;
    double max_normal_turn_degrees = 60.0;
    double relax_flat_degrees = 5.0;
    std::string boundary = "locked";
    std::optional<double> preserve_sharp_degrees;
    std::string lock_file;  // empty: no vertex is locked
};

struct repair_cli_options {
    double tolerance = 0.0;
    double tolerance_relative = 0.0;
    bool zero_area = false;
    std::string back_to_back = "drop-both";
    std::size_t min_component_triangles = 0;
    double min_component_area = 0.0;
    bool keep_non_manifold = false;
    bool keep_orientation = false;
    std::size_t fill_holes = 0;
    std::string fill = "faired";
};

/// The most smoothing iterations `features` accepts.
inline constexpr std::size_t max_smoothing_iterations = 100'000;

struct features_options {
    double sharp_angle_degrees = 30.0;
    std::size_t smoothing_iterations = 10;
};

/// The surface a sub-command works on and how the report names it.
struct input_mesh {
    Zelkov::Geometry::triangle_surface surface;
    std::string name;
};

/// Reads the input file, or generates the default mesh when there is none.
/// \throws Zelkov::Meshio::read_error.
input_mesh load_input(const common_options& options, stage_clock& clock);

/// One mark per vertex, set for the vertices that the text file at `path`
/// lists: vertex numbers from 0, separated by white space.
/// \throws Zelkov::Meshio::read_error, naming the file and the line, when the
/// file is missing or not a regular file, holds anything but numbers, or a
/// number of `vertex_count` or more.
std::vector<unsigned char> read_vertex_marks(const std::string& path, std::size_t vertex_count);

/// A new report that names the command, its input and, under "before", the
/// input's counts and box.
value begin_report(const char* command, const input_mesh& in);

/// The report of a weld done with `options`.
value weld_report(const Zelkov::Processing::weld_result& result, const Zelkov::Processing::weld_options& options);

/// Welds `surface` with the processing job and returns its report.
value weld(Zelkov::Geometry::triangle_surface& surface, const Zelkov::Processing::weld_options& options,
           stage_clock& clock);

/// Writes the result to `options.output`, if one is given, and names it in
/// the report. Rounding that the format forces (STL's floats) is added to the
/// report's warnings.
/// \throws Zelkov::Meshio::write_error when the surface has no triangles or
/// the file cannot be written.
void write_output(const common_options& options, const Zelkov::Geometry::triangle_surface& surface,
                  const Zelkov::Meshio::ply_content& content, value& report, stage_clock& clock);

/// Appends a line to the report's "warnings", which the program also prints
/// on the error stream after the report.
void add_warning(value& report, const std::string& text);

/// The investigation block of a report: the core's text and its numbers,
/// labelled as counting triangle sides, or why it was left out.
value investigation_report(const Zelkov::Processing::investigation_figures& figures);

/// The topology and defect figures of `info`, as its report gives them.
value figures_report(const Zelkov::Processing::inspect_result& result);

/// Counts and the bounding box of a surface, for the report.
value surface_summary(const Zelkov::Geometry::triangle_surface& surface);

/// Summary statistics of a per-vertex field: count, min, max, mean and some
/// percentiles, over the finite values other than `skip_value`.
value field_summary(const std::vector<double>& values, std::optional<double> skip_value = std::nullopt);

value run_info(const common_options& options, stage_clock& clock);
value run_clean(const common_options& options, const clean_options& clean, stage_clock& clock);
value run_simplify(const common_options& options, const simplify_cli_options& simplify, stage_clock& clock);
value run_features(const common_options& options, const features_options& features, stage_clock& clock);
value run_repair(const common_options& options, const repair_cli_options& repair, stage_clock& clock);

}  // namespace Zelkov::Cli
