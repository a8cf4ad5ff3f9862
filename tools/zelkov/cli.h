#pragma once
// The command line of the `zelkov` program.

#include <iosfwd>

namespace Zelkov::Cli {

/// Parses the command line, runs the sub-command, prints its report on `out`
/// (text, or JSON with --json) and any error as one line on `err`. Progress
/// is shown on `err` only when `err_is_terminal`.
/// \returns the exit status (see `exit_status` in commands.h).
int run(int argc, const char* const* argv, std::ostream& out, std::ostream& err, bool err_is_terminal);

}  // namespace Zelkov::Cli
