// The zelkov program end to end: every option checked, its reports on real
// and awkward meshes, files written whole or not at all, and one clear line
// and a distinct exit status for every kind of bad input.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <streambuf>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "cli.h"
#include "commands.h"
#include <meshio/meshio.h>
#include "support/fixtures.h"
#include "support/scratch_dir.h"

namespace {

using namespace Zelkov::Cli;
using Zelkov::Geometry::triangle_surface;
using Zelkov::Testing::scratch_dir;

struct outcome {
    int status;
    std::string out, err;
};

/// Runs the command line in process; `args` follow the program name. The
/// report goes to `into` when given.
outcome run_cli(std::vector<std::string> args, bool err_is_terminal = false, std::ostream* into = nullptr)
{
    args.insert(args.begin(), "zelkov");
    std::vector<const char*> argv;
    for (const auto& a : args) argv.push_back(a.c_str());
    std::ostringstream out, err;
    const int status = run(static_cast<int>(argv.size()), argv.data(), into ? *into : out, err, err_is_terminal);
    return {status, out.str(), err.str()};
}

/// The JSON report of a command that must succeed; null when it did not.
value report_of(const std::vector<std::string>& args)
{
    const outcome o = run_cli(args);
    EXPECT_EQ(o.status, exit_ok) << o.err;
    return o.status == exit_ok ? value::parse(o.out) : value();
}

std::uint64_t figure(const value& report, const std::string& section, const std::string& key)
{
    const value* v = report.contains(section) && report[section].contains(key) ? &report[section][key] : nullptr;
    EXPECT_NE(v, nullptr) << section << "/" << key;
    return v ? v->get<std::uint64_t>() : ~0ull;
}

bool flag(const value& report, const std::string& section, const std::string& key)
{
    return report.at(section).at(key).get<bool>();
}

common_options input(const std::string& path, const std::string& output = {})
{
    common_options o;
    o.input = path;
    o.output = output;
    return o;
}

value info_of(const std::string& path)
{
    stage_clock clock(nullptr);
    return run_info(input(path), clock);
}

/// The file written holds the surface the report describes.
void expect_file_is_reported(const std::string& path, const value& report)
{
    const triangle_surface s = Zelkov::Meshio::read_mesh_file(path);
    EXPECT_EQ(s.vertices.size(), figure(report, "after", "vertices"));
    EXPECT_EQ(s.triangles.size(), figure(report, "after", "triangles"));
}

std::string contents(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// The closed tetrahedron as OBJ text, followed by `more`.
std::string tetrahedron_obj(const std::string& more = {})
{
    return "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 3 2\nf 1 2 4\nf 1 4 3\nf 2 3 4\n" + more;
}

TEST(Options, BadValuesAreRefusedNamingTheOption)
{
    const struct {
        std::vector<std::string> args;
        const char* option;
    } cases[] = {
        {{"simplify", "--ratio", "nan"}, "--ratio"},
        {{"simplify", "--ratio", "inf"}, "--ratio"},
        {{"simplify", "--ratio", "0"}, "--ratio"},
        {{"simplify", "--ratio", "1.5"}, "--ratio"},
        {{"simplify", "--target", "-5"}, "--target"},
        {{"simplify", "--target", "0"}, "--target"},
        {{"simplify", "--target", "12x"}, "--target"},
        {{"simplify", "--max-normal-turn", "nan"}, "--max-normal-turn"},
        {{"simplify", "--relax-angle", "nan"}, "--relax-angle"},
        {{"simplify", "--relax-angle", "-1"}, "--relax-angle"},
        {{"features", "--angle", "nan"}, "--angle"},
        {{"features", "--angle", "1e400"}, "--angle"},
        {{"features", "--smooth", "-1"}, "--smooth"},
        {{"features", "--smooth", "1000000000"}, "--smooth"},
        {{"features", "--smooth", "100001"}, "--smooth"},
        {{"info", "--default-mesh-triangles", "-5"}, "--default-mesh-triangles"},
        {{"simplify", "--boundary", "loose"}, "--boundary"},
        {{"simplify", "--preserve-sharp", "190"}, "--preserve-sharp"},
        {{"simplify", "--max-error", "-1"}, "--max-error"},
        {{"simplify", "--max-error-relative", "nan"}, "--max-error-relative"},
        {{"repair", "--tolerance", "-1e-3"}, "--tolerance"},
        {{"repair", "--tolerance-relative", "inf"}, "--tolerance-relative"},
        {{"repair", "--fill-holes", "-3"}, "--fill-holes"},
        {{"repair", "--fill", "smooth"}, "--fill"},
        {{"repair", "--back-to-back", "both"}, "--back-to-back"},
    };
    for (const auto& c : cases) {
        const auto o = run_cli(c.args);
        SCOPED_TRACE(c.args[1] + " " + c.args[2]);
        EXPECT_EQ(o.status, exit_usage);
        EXPECT_NE(o.err.find(c.option), std::string::npos) << o.err;
        EXPECT_EQ(std::count(o.err.begin(), o.err.end(), '\n'), 1) << o.err;
        EXPECT_TRUE(o.out.empty());
    }
}

TEST(Options, SubCommandsVersionAndUsageErrors)
{
    // The bounds themselves are accepted.
    EXPECT_EQ(run_cli({"simplify", "--default-mesh-triangles", "8", "--target", "4294967295"}).status, exit_ok);

    auto o = run_cli({"frobnicate", "x.obj"});
    EXPECT_EQ(o.status, exit_usage);
    EXPECT_EQ(o.err, "zelkov: error: unknown sub-command 'frobnicate' (expected info, clean, repair, simplify or "
                     "features; see zelkov --help)\n");
    o = run_cli({});
    EXPECT_EQ(o.status, exit_usage);
    EXPECT_NE(o.err.find("a sub-command is required"), std::string::npos);
    o = run_cli({"--version"});
    EXPECT_EQ(o.status, exit_ok);
    EXPECT_EQ(o.out.rfind("zelkov ", 0), 0u) << o.out;
    EXPECT_EQ(run_cli({"--help"}).status, exit_ok);

    // `info` reports and has no output file: -o is an unknown option; a
    // ratio and a target together, or a feature file that is no PLY, are refused.
    scratch_dir dir;
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"info", "--default-mesh-triangles", "100", "-o", dir.file("out.obj")},
          {"info", "--no-such-option"},
          {"simplify", "--ratio", "0.5", "--target", "3"},
          {"features", "--default-mesh-triangles", "100", "-o", dir.file("f.obj")}})
        EXPECT_EQ(run_cli(args).status, exit_usage) << args[1];
    EXPECT_FALSE(std::filesystem::exists(dir.file("out.obj")));
}

TEST(InfoCommand, CleanClosedMeshAndTheTextAndJsonForms)
{
    ZELKOV_SHARED_MESH(path, "fixed_top_genus7.ply");
    const value r = info_of(path);
    EXPECT_TRUE(flag(r, "topology", "closed_and_consistently_oriented"));
    EXPECT_EQ(figure(r, "investigation", "boundary_sides"), 0u);
    EXPECT_EQ(figure(r, "investigation", "manifold_sides"), 3u * 4772);
    EXPECT_GT(r.at("measures").at("signed_volume").get<double>(), 0.0);

    const outcome text = run_cli({"info", path});
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("    Non-manifold edges: 0\n"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("timings ms:"), std::string::npos);
    const outcome json = run_cli({"info", path, "--json"});
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.out.substr(0, 2), "{\n");
    EXPECT_NE(json.out.find("\"boundary_edges\": 0,"), std::string::npos);
    EXPECT_TRUE(json.err.empty());
}

TEST(CleanCommand, OptionsReachTheWeldAndTheFileIsTheReportedSurface)
{
    ZELKOV_SHARED_MESH(capsule, "capsule_degenerate.obj");
    scratch_dir dir;
    const value r = report_of({"clean", capsule, "--remove-degenerate", "-o", dir.file("c.obj"), "--json"});
    ASSERT_FALSE(r.is_null());
    EXPECT_EQ(figure(r, "clean_up", "degenerate_triangles_removed"), 200u);
    EXPECT_TRUE(flag(r, "clean_up", "orientation_considered"));
    expect_file_is_reported(dir.file("c.obj"), r);
}

TEST(RepairCommand, OptionsReachTheJobAndTheTableShowsEveryFigureBeforeAndAfter)
{
    ZELKOV_SHARED_MESH(soup, "teapot_soup.stl");
    scratch_dir dir;
    const value r =
        report_of({"repair", soup, "--fill-holes", "100", "--fill", "flat", "-o", dir.file("t.ply"), "--json"});
    ASSERT_FALSE(r.is_null());
    const value& topology = r.at("before_and_after").at("topology");
    EXPECT_EQ(topology.at("boundary_edges"), value::array({2682, 0}));
    EXPECT_EQ(topology.at("closed_and_consistently_oriented"), value::array({false, true}));
    EXPECT_EQ(topology.at("vertex_classes").at("pinch"), value::array({0, 0}));
    EXPECT_EQ(figure(r.at("repair"), "holes", "filled"), 6u);
    EXPECT_EQ(figure(r.at("repair"), "holes", "vertices_added"), 0u);  // flat: no new vertices
    expect_file_is_reported(dir.file("t.ply"), r);
}

TEST(SimplifyCommand, OptionsReachTheJobAndTheFileIsTheReportedSurface)
{
    ZELKOV_SHARED_MESH(bunny, "bunny.obj");
    scratch_dir dir;
    for (const bool collapse_boundary : {false, true}) {
        std::vector<std::string> args{"simplify", bunny, "--target", "5000", "-o", dir.file("b.ply"), "--json"};
        if (collapse_boundary) args.insert(args.end(), {"--boundary", "free"});
        const value r = report_of(args);
        ASSERT_FALSE(r.is_null());
        EXPECT_EQ(figure(r, "collapse", "target_triangles"), 5000u);
        EXPECT_TRUE(flag(r, "collapse", "reached_target"));
        expect_file_is_reported(dir.file("b.ply"), r);
        const std::uint64_t boundary = figure(info_of(dir.file("b.ply")), "topology", "boundary_edges");
        if (collapse_boundary) {
            EXPECT_LT(boundary, 223u);
        } else {
            EXPECT_EQ(boundary, 223u);
        }
    }
}

TEST(SimplifyCommand, ErrorBoundSlidingBoundaryAndFeaturesReachTheReport)
{
    const value r = report_of({"simplify", "--default-mesh-triangles", "20000", "--ratio", "0.01", "--boundary",
                               "slide", "--preserve-sharp", "30", "--max-error-relative", "0.0005", "--json"});
    ASSERT_FALSE(r.is_null());
    const value& c = r.at("collapse");
    EXPECT_EQ(c.at("boundary").get<std::string>(), "slide");
    EXPECT_GT(c.at("feature_edges").get<std::uint64_t>(), 0u);
    EXPECT_FALSE(c.at("reached_target").get<bool>());
    EXPECT_LE(c.at("largest_error").get<double>(), c.at("error_bound").get<double>());
    EXPECT_TRUE(report_of({"simplify", "--default-mesh-triangles", "100", "--json"})
                    .at("collapse")
                    .at("error_bound")
                    .is_null());
}

// The vertices a --lock file lists keep their places bit for bit; a file
// that lists anything but vertex numbers of the input is refused.
TEST(SimplifyCommand, LockedVerticesKeepTheirPlaces)
{
    scratch_dir dir;
    const triangle_surface sphere = Zelkov::Meshgen::icosphere(3);
    const std::string input = dir.file("sphere.ply", Zelkov::Meshio::ply_bytes(sphere));
    const value r = report_of({"simplify", input, "--target", "100", "--lock", dir.file("lock.txt", "0 5\n\n 17\t5\n"),
                               "-o", dir.file("out.ply"), "--json"});
    ASSERT_FALSE(r.is_null());
    EXPECT_EQ(figure(r, "collapse", "locked_input_vertices"), 3u);
    const triangle_surface out = Zelkov::Meshio::read_mesh_file(dir.file("out.ply"));
    for (const std::size_t v : {0, 5, 17})
        EXPECT_NE(std::find(out.vertices.begin(), out.vertices.end(), sphere.vertices[v]), out.vertices.end()) << v;

    const std::string bad = dir.file("bad.txt", "3\n4,5\n");
    EXPECT_EQ(run_cli({"simplify", input, "--lock", bad}).err,
              "zelkov: error: " + bad + ": line 2: not a vertex number (whole numbers from 0, separated by spaces)\n");
    const std::string far = dir.file("far.txt", "1\n642\n");
    const outcome o = run_cli({"simplify", input, "--lock", far});
    EXPECT_EQ(o.status, exit_bad_input);
    EXPECT_EQ(o.err, "zelkov: error: " + far + ": line 2: vertex 642 is out of range (the input has 642 vertices)\n");
    EXPECT_EQ(run_cli({"simplify", input, "--lock", dir.path.string()}).status, exit_bad_input);
}

TEST(SimplifyCommand, DefaultMeshWhenNoInputIsGivenAndProgressOnlyOnATerminal)
{
    const std::vector<std::string> args{"simplify", "--default-mesh-triangles", "20000", "--ratio", "0.05", "--json"};
    const outcome quiet = run_cli(args);
    EXPECT_EQ(quiet.status, 0) << quiet.err;
    EXPECT_TRUE(quiet.err.empty());
    EXPECT_NE(quiet.out.find("built-in default mesh"), std::string::npos);
    EXPECT_NE(quiet.out.find("\"reached_target\": true"), std::string::npos);
    EXPECT_NE(quiet.out.find("\"collapses\": "), std::string::npos);
    const outcome shown = run_cli(args, true);
    EXPECT_NE(shown.err.find("collapses ["), std::string::npos);
    EXPECT_NE(shown.err.find("] 99%"), std::string::npos);
    EXPECT_EQ(shown.out.substr(0, 40), quiet.out.substr(0, 40));
}

TEST(FeaturesCommand, WritesAColouredPlyWithTheFields)
{
    ZELKOV_SHARED_MESH(fandisk, "fandisk.obj");
    scratch_dir dir;
    stage_clock clock(nullptr);
    const value r = run_features(input(fandisk, dir.file("f.ply")), {}, clock);
    EXPECT_GT(figure(r, "sharp_edges", "sharp_edges"), 100u);
    EXPECT_EQ(figure(r, "curvature", "values"), 6475u);
    const std::string bytes = contents(dir.file("f.ply"));
    for (const char* property :
         {"property double sharp\n", "property double roughness\n", "property double curvature\n",
          "property double curvature_smoothed\n", "property uchar red\n"})
        EXPECT_NE(bytes.find(property), std::string::npos) << property;
    EXPECT_EQ(Zelkov::Meshio::read_mesh_file(dir.file("f.ply")).triangles.size(), 12946u);
}

TEST(CommandErrors, OneLineAndADistinctStatusForEachKind)
{
    scratch_dir dir;
    const std::string missing = dir.file("missing.obj");
    outcome o = run_cli({"info", missing});
    EXPECT_EQ(o.status, exit_bad_input);
    EXPECT_EQ(o.err, "zelkov: error: " + missing + ": no such file\n");
    EXPECT_TRUE(o.out.empty());

    o = run_cli({"simplify", dir.file("cut.ply", Zelkov::Meshio::ply_bytes(Zelkov::Meshgen::box()).substr(0, 300))});
    EXPECT_EQ(o.status, exit_bad_input);
    EXPECT_NE(o.err.find("cut.ply: "), std::string::npos) << o.err;

    const std::string bad = dir.file("bad.off", "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n");
    EXPECT_EQ(run_cli({"clean", bad}).err,
              "zelkov: error: " + bad + ": index out of range at triangle 0 (the file has 3 vertices)\n");
    EXPECT_EQ(run_cli({"features", dir.file("noise.stl", std::string(1000, '\x7f'))}).status, exit_bad_input);
}

TEST(CommandErrors, TheInputFileIsNeverOverwritten)
{
    scratch_dir dir;
    const std::string bytes = Zelkov::Meshio::ply_bytes(Zelkov::Meshgen::box());
    const std::string path = dir.file("box.ply", bytes);
    for (const char* command : {"clean", "simplify", "features"}) {
        const outcome o = run_cli({command, path, "-o", path});
        EXPECT_EQ(o.status, exit_output_failed) << command;
        EXPECT_NE(o.err.find("refusing to overwrite the input file"), std::string::npos);
    }
    EXPECT_EQ(run_cli({"clean", path, "-o", dir.file("box.txt")}).status, exit_output_failed);
    EXPECT_EQ(contents(path), bytes);
}

/// The exit status of the built program run by the shell.
int program_status(const std::string& arguments)
{
    const int status = std::system((std::string(ZELKOV_PROGRAM) + " " + arguments).c_str());
    EXPECT_TRUE(WIFEXITED(status));
    return WEXITSTATUS(status);
}

TEST(CommandErrors, TheBuiltProgramExitsWithTheStatus)
{
    scratch_dir dir;
    const std::string err = dir.file("err.txt");
    EXPECT_EQ(program_status("info " + dir.file("none.stl") + " 2>" + err), exit_bad_input);
    EXPECT_EQ(contents(err), "zelkov: error: " + dir.file("none.stl") + ": no such file\n");
    // A report that cannot be written is a failure, not a success.
    if (std::filesystem::exists("/dev/full")) {
        EXPECT_EQ(program_status("info --default-mesh-triangles 100 >/dev/full 2>/dev/null"), exit_output_failed);
    }
}

/// A stream that fails on every write, as standard output does on a full disk.
struct failing_buffer : std::streambuf {
    int overflow(int) override { return traits_type::eof(); }
    std::streamsize xsputn(const char*, std::streamsize) override { return 0; }
};

TEST(Output, CheckedBeforeTheWorkAndNeverEmptyOrHalfDone)
{
    scratch_dir dir;
    const std::string tet = dir.file("tet.obj", tetrahedron_obj());

    auto o = run_cli({"clean", tet, "-o", dir.file("no/such/folder/out.ply")});
    EXPECT_EQ(o.status, exit_output_failed);
    EXPECT_NE(o.err.find("does not exist"), std::string::npos) << o.err;
    EXPECT_TRUE(o.out.empty()) << "the work ran although the output could not be written";

    // Every triangle of this file flattens when its equal points are welded.
    const std::string flat = dir.file("flat.obj", "v 0 0 0\nv 0 0 0\nv 1 0 0\nf 1 2 3\nf 2 1 3\n");
    o = run_cli({"simplify", flat, "-o", dir.file("flat_out.ply")});
    EXPECT_EQ(o.status, exit_output_failed);
    EXPECT_NE(o.err.find("the result has no triangles"), std::string::npos) << o.err;
    EXPECT_FALSE(std::filesystem::exists(dir.file("flat_out.ply")));

    failing_buffer full;
    std::ostream out(&full);
    o = run_cli({"info", tet}, false, &out);
    EXPECT_EQ(o.status, exit_output_failed);
    EXPECT_NE(o.err.find("cannot write the report to standard output"), std::string::npos) << o.err;
}

TEST(Output, RoundingToStlFloatsIsAWarning)
{
    scratch_dir dir;
    const std::string thirds = dir.file("thirds.obj", "v 0 0 0\nv 0.1 0 0\nv 0 0.3333333333333333 0\nf 1 2 3\n");
    const auto o = run_cli({"clean", thirds, "-o", dir.file("thirds.stl"), "--json"});
    EXPECT_EQ(o.status, exit_ok) << o.err;
    EXPECT_NE(o.err.find("zelkov: warning: "), std::string::npos);
    EXPECT_NE(o.err.find("2 coordinates were rounded"), std::string::npos) << o.err;
    EXPECT_EQ(value::parse(o.out).at("warnings").size(), 1u);
    // Exact floats go through without a word.
    const std::string halves = dir.file("halves.obj", "v 0 0 0\nv 0.5 0 0\nv 0 0.25 0\nf 1 2 3\n");
    EXPECT_TRUE(run_cli({"clean", halves, "-o", dir.file("halves.stl")}).err.empty());
    // The file appears whole under its name, with nothing left beside it.
    EXPECT_FALSE(std::filesystem::exists(dir.file("halves.stl.partial")));
    EXPECT_EQ(Zelkov::Meshio::read_mesh_file(dir.file("halves.stl")).triangles.size(), 1u);
}

/// Every key of a report, at every depth, is lower-case words of letters and
/// digits joined by single underscores.
void expect_snake_case_keys(const value& v, const std::string& where)
{
    if (v.is_array())
        for (const auto& item : v) expect_snake_case_keys(item, where);
    if (!v.is_object()) return;
    for (const auto& [key, item] : v.items()) {
        const bool words = std::all_of(key.begin(), key.end(), [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
        });
        EXPECT_TRUE(words && !key.empty() && key.front() != '_' && key.back() != '_' &&
                    key.find("__") == std::string::npos)
            << where << ": key '" << key << "'";
        expect_snake_case_keys(item, where + "/" + key);
    }
}

TEST(Reports, JsonIsValidWithSnakeCaseKeysWhateverTheInput)
{
    scratch_dir dir;
    // A file name that is not UTF-8, and a vertex that is not a number.
    const std::string odd = dir.file("odd\xff\xfe.obj", tetrahedron_obj("v nan 0 0\n"));
    for (const char* command : {"info", "clean", "simplify", "features"}) {
        const auto o = run_cli({command, odd, "--json"});
        SCOPED_TRACE(command);
        ASSERT_EQ(o.status, exit_ok) << o.err;
        value report;
        ASSERT_NO_THROW(report = value::parse(o.out)) << o.out;
        expect_snake_case_keys(report, command);
        EXPECT_NE(report.at("input").get<std::string>().find("\xEF\xBF\xBD"), std::string::npos);
    }
    EXPECT_EQ(figure(info_of(odd), "defects", "non_finite_vertices"), 1u);
}

}  // namespace
