#pragma once
#include <string>
#include <vector>

// The subcommands of the qssse program. Each takes its arguments (without the subcommand name) and
// returns the process exit status; errors are reported as one line on stderr.
namespace qssse::tool {

int RunDemo(const std::vector<std::string>& args);

}  // namespace qssse::tool
