#pragma once
#include <chrono>
#include <string>
#include <vector>

#include "cli/Progress.h"

// The demo's report: one printed line per step with its timing, and the same facts as summary.json.
namespace qssse::tool {

class Summary {
 public:
  // `plannedSteps` drives the progress shown on stderr when it is a terminal.
  explicit Summary(int plannedSteps) : planned_(plannedSteps), progress_("qssse demo") {}

  // Prints "  name  detail  (ms)" and records it.
  void Step(const std::string& name, const std::string& detail, double ms);
  // Prints and records a step this build cannot run.
  void Missing(const std::string& name, const std::string& what);
  // Clears the progress line before the closing output.
  void Done() { progress_.Finish(); }
  // A number for summary.json under "results".
  void Result(const std::string& key, double value);
  void File(const std::string& path);
  std::string Json(int size) const;
  // The recorded file names, comma-separated.
  std::string FileList() const;

 private:
  struct Entry {
    std::string name, detail;
    double ms;
    bool available;
  };
  std::vector<Entry> steps_;
  std::vector<std::pair<std::string, double>> results_;
  std::vector<std::string> files_;
  int planned_;
  Progress progress_;
};

class Stopwatch {
 public:
  double Ms() const {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// A JSON string literal of s (quotes added, control characters escaped).
std::string JsonString(const std::string& s);

}  // namespace qssse::tool
