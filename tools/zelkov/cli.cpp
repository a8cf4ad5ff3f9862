#include "cli.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <new>
#include <optional>
#include <ostream>
#include <sstream>

#include <CLI/CLI.hpp>

#include "commands.h"
#include <meshio/meshio.h>

namespace Zelkov::Cli {

namespace {

const char* const description = "zelkov: inspect, clean, repair, simplify and find features of triangle meshes.\n"
                                "Reads STL, OBJ, PLY and OFF; writes PLY, STL and OBJ (by the output's extension).\n"
                                "Without an input file it works on a built-in mesh of about a million triangles.";

const char* const footer = "Exit status: 0 success, 2 bad command line, 3 bad or missing input file,\n"
                           "4 output not written (its folder is missing, it would overwrite the input, the result\n"
                           "is empty, or the report could not be written to standard output), 1 internal error.";

const char* const sub_commands[] = {"info", "clean", "repair", "simplify", "features"};

/// A whole non-negative decimal count between `low` and `high`. Checked on the
/// text, before CLI11 converts it, so that "-5" cannot wrap around.
CLI::Validator count_between(std::size_t low, std::size_t high)
{
    const std::string range = "[" + std::to_string(low) + ", " + std::to_string(high) + "]";
    return CLI::Validator(
        [=](std::string& text) -> std::string {
            std::size_t n = 0;
            const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), n);
            if (text.empty() || ec != std::errc() || end != text.data() + text.size() || n < low || n > high)
                return "'" + text + "' is not a whole number in " + range;
            return {};
        },
        "INT in " + range);
}

/// A finite number within [low, high], or within (low, high] when `open_low`.
/// NaN and infinities are refused (a plain range check would let NaN through).
CLI::Validator number_between(double low, double high, bool open_low = false)
{
    std::ostringstream range;
    range << (open_low ? "(" : "[") << low << ", " << high << "]";
    return CLI::Validator(
        [=, text_range = range.str()](std::string& text) -> std::string {
            double x = 0;
            const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), x);
            const bool number = !text.empty() && ec == std::errc() && end == text.data() + text.size();
            if (!number || !std::isfinite(x) || x > high || x < low || (open_low && x == low))
                return "'" + text + "' is not a finite number in " + text_range;
            return {};
        },
        "NUMBER in " + range.str());
}

void add_common(CLI::App& sub, common_options& o, bool writes_a_mesh)
{
    sub.add_option("input", o.input, "mesh file to read (.stl, .obj, .ply, .off); none: the built-in mesh");
    if (writes_a_mesh) sub.add_option("-o,--output", o.output, "file to write (.ply, .stl, .obj); none: report only");
    sub.add_flag("--json", o.json, "print the report as JSON");
    sub.add_option("--default-mesh-triangles", o.default_mesh_triangles,
                   "size of the built-in mesh used when no input is given")
        ->check(count_between(8, 200'000'000));
}

/// The first argument, when it is meant as a sub-command but names none.
/// \pre argv[1] exists.
std::optional<std::string> unknown_sub_command(const char* const* argv)
{
    if (argv[1][0] == '-') return std::nullopt;
    for (const char* known : sub_commands)
        if (std::strcmp(argv[1], known) == 0) return std::nullopt;
    return std::string(argv[1]);
}

/// Fails before any work when the output could not be written: a format
/// that cannot be written, the input itself, or a folder that is missing.
void check_output(const common_options& o)
{
    if (o.output.empty()) return;
    Zelkov::Meshio::check_output_path(o.output, o.input);
    namespace fs = std::filesystem;
    const fs::path folder = fs::absolute(fs::path(o.output)).parent_path();
    std::error_code ec;
    if (!fs::is_directory(folder, ec))
        throw Zelkov::Meshio::write_error(o.output + ": cannot write: the folder " + folder.string() +
                                          " does not exist");
}

/// Runs one sub-command and prints its report with the stage timings.
/// \throws Zelkov::Meshio::write_error when the report cannot be written.
void run_and_print(const std::function<value(stage_clock&)>& command, const common_options& o, std::ostream& out,
                   std::ostream& err, bool err_is_terminal)
{
    check_output(o);
    stage_clock clock(err_is_terminal ? &err : nullptr);
    value report = command(clock);
    report["timings_ms"] = clock.timings();
    if (o.json) write_json(out, report);
    else write_text(out, report);
    if (!out.flush()) throw Zelkov::Meshio::write_error("cannot write the report to standard output");
    if (const auto* warnings = report.contains("warnings") ? &report["warnings"] : nullptr)
        for (const auto& w : *warnings) err << "zelkov: warning: " << w.get<std::string>() << '\n';
}

}  // namespace

int run(int argc, const char* const* argv, std::ostream& out, std::ostream& err, bool err_is_terminal)
{
    CLI::App app{description, "zelkov"};
    app.footer(footer);
    app.require_subcommand(1);
    app.set_version_flag("--version", "zelkov " ZELKOV_VERSION);

    common_options info_o, clean_o, repair_o, simplify_o, features_o;
    clean_options clean;
    repair_cli_options repair;
    simplify_cli_options simplify;
    features_options features;

    auto* info_cmd = app.add_subcommand("info", "counts, measures, topology, defects and the investigation report");
    add_common(*info_cmd, info_o, false);

    auto* clean_cmd = app.add_subcommand("clean", "merge equal points and triangles, remove free points, write");
    add_common(*clean_cmd, clean_o, true);
    clean_cmd->add_flag(
        "--ignore-orientation{false}", clean.consider_orientation,
        "merge triangles on the same vertices whatever their orientation (a merged triangle may turn over)");
    clean_cmd->add_flag("--remove-degenerate", clean.remove_degenerate,
                        "also remove triangles that name a vertex twice after merging");

    auto* repair_cmd = app.add_subcommand(
        "repair", "weld, remove defects, cut non-manifold edges and pinches, orient, fill holes, write");
    add_common(*repair_cmd, repair_o, true);
    const double largest = std::numeric_limits<double>::max();
    repair_cmd->add_option("--tolerance", repair.tolerance, "also merge points closer than this distance")
        ->check(number_between(0.0, largest));
    repair_cmd
        ->add_option("--tolerance-relative", repair.tolerance_relative,
                     "the same as a fraction of the bounding-box diagonal (the larger tolerance is used)")
        ->check(number_between(0.0, largest));
    repair_cmd->add_flag("--zero-area", repair.zero_area, "also remove triangles of zero area");
    repair_cmd
        ->add_option("--back-to-back", repair.back_to_back,
                     "triangles on the same vertices running both ways: drop-both or keep-one")
        ->check(CLI::IsMember({"drop-both", "keep-one"}))
        ->capture_default_str();
    repair_cmd
        ->add_option("--min-component-triangles", repair.min_component_triangles,
                     "remove pieces with fewer triangles than this")
        ->check(count_between(0, std::numeric_limits<std::uint32_t>::max()));
    repair_cmd->add_option("--min-component-area", repair.min_component_area, "remove pieces with less area than this")
        ->check(number_between(0.0, largest));
    repair_cmd->add_flag("--keep-non-manifold", repair.keep_non_manifold,
                         "leave non-manifold edges and pinch vertices as they are");
    repair_cmd->add_flag("--keep-orientation", repair.keep_orientation, "turn no triangle over");
    repair_cmd
        ->add_option("--fill-holes", repair.fill_holes, "fill holes of at most this many boundary edges (0: none)")
        ->check(count_between(0, 100'000))
        ->capture_default_str();
    repair_cmd
        ->add_option("--fill", repair.fill,
                     "flat: the least-weight triangulation; refined: split to the size of the edges around; "
                     "faired: refined, then smoothed into the surface's curvature")
        ->check(CLI::IsMember({"flat", "refined", "faired"}))
        ->capture_default_str();

    auto* simplify_cmd =
        app.add_subcommand("simplify", "weld, then collapse edges by quadric error down to a target, relax, write");
    add_common(*simplify_cmd, simplify_o, true);
    auto* target = simplify_cmd->add_option("--target", simplify.target, "number of triangles to reach")
                       ->check(count_between(1, std::numeric_limits<std::uint32_t>::max()));
    simplify_cmd->add_option("--ratio", simplify.ratio, "fraction of the triangles to keep (default 0.1)")
        ->check(number_between(0.0, 1.0, true))
        ->excludes(target);
    simplify_cmd
        ->add_option("--max-normal-turn", simplify.max_normal_turn_degrees,
                     "refuse a collapse that turns a triangle's normal by more degrees than this")
        ->check(number_between(0.0, 180.0))
        ->capture_default_str();
    simplify_cmd
        ->add_option("--boundary", simplify.boundary,
                     "locked: boundary edges kept as they are; slide: boundary vertices move along the boundary; "
                     "free: boundary edges collapse like the others")
        ->check(CLI::IsMember({"locked", "slide", "free"}))
        ->capture_default_str();
    simplify_cmd
        ->add_option("--preserve-sharp", simplify.preserve_sharp_degrees,
                     "keep edges sharper than this many degrees as features: their vertices slide only along them")
        ->check(number_between(0.0, 180.0));
    simplify_cmd
        ->add_option("--max-error", simplify.max_error,
                     "stop before a collapse would move the surface further than this distance")
        ->check(number_between(0.0, std::numeric_limits<double>::max()));
    simplify_cmd
        ->add_option("--max-error-relative", simplify.max_error_relative,
                     "the same bound as a fraction of the bounding-box diagonal")
        ->check(number_between(0.0, std::numeric_limits<double>::max()));
    simplify_cmd->add_option("--lock", simplify.lock_file,
                             "keep the input vertices listed in this text file where they are: vertex numbers "
                             "from 0, separated by spaces or lines");
    simplify_cmd
        ->add_option("--relax-angle", simplify.relax_flat_degrees,
                     "relax (flip) only edges whose triangles meet within this many degrees of flat")
        ->check(number_between(0.0, 180.0))
        ->capture_default_str();

    auto* features_cmd = app.add_subcommand(
        "features", "sharp edges, roughness, curvature and smoothed curvature, written as a coloured PLY");
    add_common(*features_cmd, features_o, true);
    features_cmd->add_option("--angle", features.sharp_angle_degrees, "an edge is sharp beyond this angle (degrees)")
        ->check(number_between(0.0, 180.0))
        ->capture_default_str();
    features_cmd->add_option("--smooth", features.smoothing_iterations, "smoothing iterations for the curvature")
        ->check(count_between(0, max_smoothing_iterations))
        ->capture_default_str();

    if (argc < 2) {
        err << "zelkov: error: a sub-command is required (info, clean, repair, simplify or features; see zelkov "
               "--help)\n";
        return exit_usage;
    }
    if (const auto name = unknown_sub_command(argv)) {
        err << "zelkov: error: unknown sub-command '" << *name
            << "' (expected info, clean, repair, simplify or features; see zelkov --help)\n";
        return exit_usage;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) return app.exit(e, out, err) == 0 ? exit_ok : exit_usage;  // --help, --version
        err << "zelkov: error: " << e.what() << " (see zelkov --help)\n";
        return exit_usage;
    }

    try {
        if (info_cmd->parsed())
            run_and_print([&](stage_clock& c) { return run_info(info_o, c); }, info_o, out, err, err_is_terminal);
        else if (clean_cmd->parsed())
            run_and_print([&](stage_clock& c) { return run_clean(clean_o, clean, c); }, clean_o, out, err,
                          err_is_terminal);
        else if (repair_cmd->parsed())
            run_and_print([&](stage_clock& c) { return run_repair(repair_o, repair, c); }, repair_o, out, err,
                          err_is_terminal);
        else if (simplify_cmd->parsed())
            run_and_print([&](stage_clock& c) { return run_simplify(simplify_o, simplify, c); }, simplify_o, out, err,
                          err_is_terminal);
        else if (features_cmd->parsed()) {
            if (!features_o.output.empty() &&
                Zelkov::Meshio::format_from_extension(features_o.output) != Zelkov::Meshio::mesh_format::ply)
                throw usage_error(features_o.output + ": features are written as a PLY file (use a .ply name)");
            run_and_print([&](stage_clock& c) { return run_features(features_o, features, c); }, features_o, out, err,
                          err_is_terminal);
        }
        return exit_ok;
    } catch (const Zelkov::Meshio::read_error& e) {
        err << "zelkov: error: " << e.what() << '\n';
        return exit_bad_input;
    } catch (const Zelkov::Meshio::write_error& e) {
        err << "zelkov: error: " << e.what() << '\n';
        return exit_output_failed;
    } catch (const usage_error& e) {
        err << "zelkov: error: " << e.what() << '\n';
        return exit_usage;
    } catch (const std::bad_alloc&) {
        err << "zelkov: error: out of memory\n";
        return exit_internal_error;
    } catch (const std::exception& e) {
        err << "zelkov: internal error: " << e.what() << '\n';
        return exit_internal_error;
    }
}

}  // namespace Zelkov::Cli
