// The program against hostile command lines and awkward meshes: every option
// checked, reports a program can parse, outputs that are written whole or not
// at all, and fields that say where they have no value.

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <algorithm>
#include <streambuf>
#include <sys/wait.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "commands.h"
#include <meshio/meshio.h>
#include "support/fixtures.h"
#include "tools/run_cli.h"
#include "support/scratch_dir.h"

namespace {

using namespace Zelkov::Cli;
using Zelkov::Testing::run_cli;
using Zelkov::Testing::scratch_dir;

std::size_t lines(const std::string& text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

/// A stream that fails on every write, as standard output does on a full disk.
struct failing_buffer : std::streambuf {
    int overflow(int) override { return traits_type::eof(); }
    std::streamsize xsputn(const char*, std::streamsize) override { return 0; }
};

/// The tetrahedron as OBJ text, with the triangles given.
std::string tetrahedron_obj(const std::string& faces) { return "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\n" + faces; }

const std::string closed_tetrahedron = "f 1 3 2\nf 1 2 4\nf 1 4 3\nf 2 3 4\n";

value info_of(const std::string& path)
{
    stage_clock clock(nullptr);
    common_options o;
    o.input = path;
    return run_info(o, clock);
}

std::uint64_t at(const value& v, const char* section, const char* key)
{
    return v.at(section).at(key).get<std::uint64_t>();
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
        EXPECT_EQ(lines(o.err), 1u) << o.err;
        EXPECT_TRUE(o.out.empty());
    }
}

TEST(Options, SubCommandsVersionAndInfoWritesNothing)
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

    // `info` reports and has no output file: -o is an unknown option.
    scratch_dir dir;
    o = run_cli({"info", "--default-mesh-triangles", "100", "-o", dir.file("out.obj")});
    EXPECT_EQ(o.status, exit_usage);
    EXPECT_FALSE(std::filesystem::exists(dir.file("out.obj")));
}

TEST(Output, CheckedBeforeTheWorkAndNeverEmptyOrHalfDone)
{
    scratch_dir dir;
    const std::string tet = dir.file("tet.obj", tetrahedron_obj(closed_tetrahedron));

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

    // A report that cannot be written is a failure, not a success.
    failing_buffer full;
    std::ostream out(&full);
    const auto f = Zelkov::Testing::run_cli_into(out, {"info", tet});
    EXPECT_EQ(f.status, exit_output_failed);
    EXPECT_NE(f.err.find("cannot write the report to standard output"), std::string::npos) << f.err;
}

TEST(Output, RoundingToStlFloatsIsAWarning)
{
    scratch_dir dir;
    const std::string thirds = dir.file("thirds.obj", "v 0 0 0\nv 0.1 0 0\nv 0 0.3333333333333333 0\nf 1 2 3\n");
    const auto o = run_cli({"clean", thirds, "-o", dir.file("thirds.stl"), "--json"});
    EXPECT_EQ(o.status, exit_ok) << o.err;
    EXPECT_NE(o.err.find("zelkov: warning: "), std::string::npos);
    EXPECT_NE(o.err.find("2 coordinates were rounded"), std::string::npos) << o.err;
    EXPECT_EQ(nlohmann::json::parse(o.out).at("warnings").size(), 1u);
    // Exact floats go through without a word.
    const std::string halves = dir.file("halves.obj", "v 0 0 0\nv 0.5 0 0\nv 0 0.25 0\nf 1 2 3\n");
    EXPECT_TRUE(run_cli({"clean", halves, "-o", dir.file("halves.stl")}).err.empty());
    // The file appears whole under its name, with nothing left beside it.
    EXPECT_FALSE(std::filesystem::exists(dir.file("halves.stl.partial")));
    EXPECT_EQ(Zelkov::Meshio::read_mesh_file(dir.file("halves.stl")).triangles.size(), 1u);
}

TEST(Output, TheProgramFailsWhenStandardOutputIsFull)
{
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full on this system";
    const std::string command =
        std::string(ZELKOV_PROGRAM) + " info --default-mesh-triangles 100 >/dev/full 2>/dev/null";
    const int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), exit_output_failed);
}

/// Lower-case words of letters and digits joined by single underscores.
bool is_snake_case(const std::string& key)
{
    if (key.empty() || key.front() == '_' || key.back() == '_' || key.find("__") != std::string::npos) return false;
    return std::all_of(key.begin(), key.end(),
                       [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_'; });
}

/// Every key of a report, at every depth, is snake_case.
void expect_snake_case_keys(const nlohmann::json& v, const std::string& where)
{
    if (v.is_array())
        for (const auto& item : v) expect_snake_case_keys(item, where);
    if (!v.is_object()) return;
    for (const auto& [key, item] : v.items()) {
        EXPECT_TRUE(is_snake_case(key)) << where << ": key '" << key << "'";
        expect_snake_case_keys(item, where + "/" + key);
    }
}

TEST(Reports, JsonIsValidWithSnakeCaseKeysWhateverTheInput)
{
    scratch_dir dir;
    // A file name that is not UTF-8, and a vertex that is not a number.
    const std::string odd = dir.file("odd\xff\xfe.obj", tetrahedron_obj(closed_tetrahedron + "v nan 0 0\n"));
    for (const char* command : {"info", "clean", "simplify", "features"}) {
        const auto o = run_cli({command, odd, "--json"});
        SCOPED_TRACE(command);
        ASSERT_EQ(o.status, exit_ok) << o.err;
        nlohmann::json report;
        ASSERT_NO_THROW(report = nlohmann::json::parse(o.out)) << o.out;
        expect_snake_case_keys(report, command);
        EXPECT_NE(report.at("input").get<std::string>().find("\xEF\xBF\xBD"), std::string::npos);
    }
    EXPECT_EQ(at(info_of(odd), "defects", "non_finite_vertices"), 1u);
}

TEST(Reports, InvestigationCountsSidesAndStepsAsideFromStackedTriangles)
{
    scratch_dir dir;
    const value tet = info_of(dir.file("tet.obj", tetrahedron_obj(closed_tetrahedron)));
    EXPECT_EQ(at(tet, "investigation", "manifold_sides"), 12u);
    EXPECT_EQ(at(tet, "investigation", "oriented_manifold_sides"), 12u);
    EXPECT_NE(tet.at("investigation").at("text").get<std::string>().find("Boundary edges: 0\n"), std::string::npos);

    // 100k corners on the same three vertices: every side's edge carries all
    // the triangles, so the side-by-side count is left out and says why.
    std::string stack = "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1";
    for (int i = 0; i < 50'000; ++i) stack += " 2 3";
    const value r = info_of(dir.file("stack.obj", stack + "\n"));
    EXPECT_TRUE(r.at("investigation").contains("skipped"));
    EXPECT_FALSE(r.at("investigation").contains("text"));
    EXPECT_EQ(at(r, "topology", "non_manifold_edges"), 3u);
    EXPECT_EQ(at(r, "defects", "duplicate_triangles"), 99'998u);
}

TEST(Fields, FeaturesSaysWhereValuesAreUndefined)
{
    scratch_dir dir;
    // A zero-area sliver hung on a tetrahedron: three vertices without curvature.
    const std::string path =
        dir.file("sliver.obj", tetrahedron_obj(closed_tetrahedron) + "v 2 0 0\nv 3 0 0\nf 1 5 6\n");
    const auto o = run_cli({"features", path, "--json", "--smooth", "25"});
    ASSERT_EQ(o.status, exit_ok) << o.err;
    const auto undefined = nlohmann::json::parse(o.out).at("undefined_values");
    EXPECT_EQ(undefined.at("curvature").get<std::uint64_t>(), 3u);
    EXPECT_TRUE(undefined.contains("curvature_reason"));
    EXPECT_EQ(undefined.at("smoothed_curvature").get<std::uint64_t>(), 0u);
}

}  // namespace
