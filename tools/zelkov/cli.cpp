#include "cli.h"

#include <functional>
#include <new>
#include <ostream>

#include <CLI/CLI.hpp>

#include "commands.h"
#include "meshio.h"

namespace Zelkov::Cli {

namespace {

const char* const description =
    "zelkov: inspect, clean, simplify and find features of triangle meshes.\n"
    "Reads STL, OBJ, PLY and OFF; writes PLY, STL and OBJ (by the output's extension).\n"
    "Without an input file it works on a built-in mesh of about a million triangles.";

const char* const footer =
    "Exit status: 0 success, 2 bad command line, 3 bad or missing input file,\n"
    "4 output not written (e.g. it would overwrite the input), 1 internal error.";

void add_common(CLI::App& sub, common_options& o)
{
    sub.add_option("input", o.input, "mesh file to read (.stl, .obj, .ply, .off); none: the built-in mesh");
    sub.add_option("-o,--output", o.output, "file to write (.ply, .stl, .obj); none: report only");
    sub.add_flag("--json", o.json, "print the report as JSON");
    sub.add_option("--default-mesh-triangles", o.default_mesh_triangles,
                   "size of the built-in mesh used when no input is given")
        ->check(CLI::Range(std::size_t{8}, std::size_t{200'000'000}));
}

/// Runs one sub-command and prints its report with the stage timings.
void run_and_print(const std::function<value(stage_clock&)>& command, const common_options& o, std::ostream& out,
                   std::ostream& err, bool err_is_terminal)
{
    if (!o.output.empty()) Zelkov::Meshio::check_output_path(o.output, o.input);
    stage_clock clock(err_is_terminal ? &err : nullptr);
    value report = command(clock);
    report.set("timings (ms)", clock.timings());
    if (o.json) report.write_json(out);
    else report.write_text(out);
}

}  // namespace

int run(int argc, const char* const* argv, std::ostream& out, std::ostream& err, bool err_is_terminal)
{
    CLI::App app{description, "zelkov"};
    app.footer(footer);
    app.require_subcommand(1);

    common_options info_o, clean_o, simplify_o, features_o;
    clean_options clean;
    simplify_cli_options simplify;
    features_options features;

    auto* info_cmd = app.add_subcommand("info", "counts, measures, topology, defects and the investigation report");
    add_common(*info_cmd, info_o);

    auto* clean_cmd = app.add_subcommand("clean", "merge equal points and triangles, remove free points, write");
    add_common(*clean_cmd, clean_o);
    clean_cmd->add_flag(
        "--ignore-orientation{false}", clean.consider_orientation,
        "merge triangles on the same vertices whatever their orientation (a merged triangle may turn over)");
    clean_cmd->add_flag("--remove-degenerate", clean.remove_degenerate,
                        "also remove triangles that name a vertex twice after merging");

    auto* simplify_cmd =
        app.add_subcommand("simplify", "weld, then collapse edges by quadric error down to a target, relax, write");
    add_common(*simplify_cmd, simplify_o);
    auto* target = simplify_cmd->add_option("--target", simplify.target, "number of triangles to reach");
    simplify_cmd->add_option("--ratio", simplify.ratio, "fraction of the triangles to keep (default 0.1)")
        ->check(CLI::Range(0.0, 1.0))
        ->excludes(target);
    simplify_cmd->add_option("--max-normal-turn", simplify.max_normal_turn_degrees,
                             "refuse a collapse that turns a triangle's normal by more degrees than this")
        ->check(CLI::Range(0.0, 180.0))
        ->capture_default_str();
    simplify_cmd->add_flag("--collapse-boundary", simplify.collapse_boundary,
                           "let boundary edges collapse too (by default they are kept exactly as they are)");
    simplify_cmd->add_option("--relax-angle", simplify.relax_flat_degrees,
                             "relax (flip) only edges whose triangles meet within this many degrees of flat")
        ->check(CLI::Range(0.0, 180.0))
        ->capture_default_str();

    auto* features_cmd = app.add_subcommand(
        "features", "sharp edges, roughness, curvature and smoothed curvature, written as a coloured PLY");
    add_common(*features_cmd, features_o);
    features_cmd->add_option("--angle", features.sharp_angle_degrees, "an edge is sharp beyond this angle (degrees)")
        ->check(CLI::Range(0.0, 180.0))
        ->capture_default_str();
    features_cmd->add_option("--smooth", features.smoothing_iterations, "smoothing iterations for the curvature")
        ->capture_default_str();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e, out, err) == 0 ? exit_ok : exit_usage;
    }

    try {
        if (info_cmd->parsed())
            run_and_print([&](stage_clock& c) { return run_info(info_o, c); }, info_o, out, err, err_is_terminal);
        else if (clean_cmd->parsed())
            run_and_print([&](stage_clock& c) { return run_clean(clean_o, clean, c); }, clean_o, out, err,
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
