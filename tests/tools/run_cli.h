#pragma once
// Runs the program's command line in process and keeps what it printed.

#include <sstream>
#include <string>
#include <vector>

#include "cli.h"

namespace Zelkov::Testing {

struct cli_outcome {
    int status;
    std::string out;
    std::string err;
};

/// `args` are the arguments after the program name; `out` receives the report.
inline cli_outcome run_cli_into(std::ostream& out, std::vector<std::string> args, bool err_is_terminal = false)
{
    args.insert(args.begin(), "zelkov");
    std::vector<const char*> argv;
    for (const auto& a : args) argv.push_back(a.c_str());
    std::ostringstream err;
    const int status = Zelkov::Cli::run(static_cast<int>(argv.size()), argv.data(), out, err, err_is_terminal);
    return {status, {}, err.str()};
}

inline cli_outcome run_cli(std::vector<std::string> args, bool err_is_terminal = false)
{
    std::ostringstream out;
    cli_outcome o = run_cli_into(out, std::move(args), err_is_terminal);
    o.out = out.str();
    return o;
}

}  // namespace Zelkov::Testing
