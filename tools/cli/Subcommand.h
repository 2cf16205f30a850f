#pragma once
#include <CLI/CLI.hpp>

#include <functional>

// Subcommands defined in files of their own. Each Add function registers its subcommand and options
// on the program and returns the function that runs it once the command line has been parsed (the
// options live in the function's captures). Program.cpp calls every Add function in the order the
// commands appear in --help.
namespace qssse::tool {

struct Subcommand {
  CLI::App* app = nullptr;
  std::function<int()> run;  // the exit status; throws ToolError or any std::exception on failure
};

Subcommand AddHull(CLI::App& app);         // HullCommand.cpp
Subcommand AddDelaunay(CLI::App& app);     // DelaunayCommand.cpp
Subcommand AddTriangulate(CLI::App& app);  // TriangulateCommand.cpp
Subcommand AddOffset(CLI::App& app);       // OffsetCommand.cpp
Subcommand AddLoft(CLI::App& app);         // LoftCommand.cpp

}  // namespace qssse::tool
