#pragma once
#include <CLI/CLI.hpp>

#include <functional>
#include <limits>

// Subcommands defined in files of their own. Each Add function registers its subcommand and options
// on the program and returns the function that runs it once the command line has been parsed (the
// options live in the function's captures). Program.cpp calls every Add function in the order the
// commands appear in --help.
namespace qssse::tool {

struct Subcommand {
  CLI::App* app = nullptr;
  std::function<int()> run;  // the exit status; throws ToolError or any std::exception on failure
};

// Validators that state their bounds in plain numbers (CLI11's PositiveNumber and Range print doubles
// in full, the largest one with 309 digits): a number above 0, an integer of at least 1, a number from lo
// to hi (no upper bound when hi is infinite).
CLI::Validator PositiveNumber();
CLI::Validator AtLeastOne();
CLI::Validator NumberFrom(double lo, double hi = std::numeric_limits<double>::infinity());

Subcommand AddHull(CLI::App& app);         // HullCommand.cpp
Subcommand AddDelaunay(CLI::App& app);     // DelaunayCommand.cpp
Subcommand AddTriangulate(CLI::App& app);  // TriangulateCommand.cpp
Subcommand AddOffset(CLI::App& app);       // OffsetCommand.cpp
Subcommand AddLoft(CLI::App& app);         // LoftCommand.cpp
Subcommand AddBorder(CLI::App& app);       // BorderCommand.cpp

}  // namespace qssse::tool
